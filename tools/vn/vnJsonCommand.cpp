// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnJSON.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnUniqueString.h>
#include <vnBase/vnVarUInt64.h>

#include <algorithm>
#include <cmath>
#include <cstring>

// The command that reads JSON and writes it again, or shows the value that it is.

namespace
{
constexpr unsigned int maxSize = 1u << 30;  // of what is read, and of what is written
constexpr unsigned int maxTreeDepth = 1000; // each level of the tree takes stack

// Hands on what is written to standard output.
class ResultAdapter : public vnSerializeAdapter
{
protected:
    void write_imp(unsigned char* data, unsigned int count) override { vnWriteResult(data, count); }
    void write_imp(unsigned char byte) override { vnWriteResult(&byte, 1); }
    unsigned char read_imp() override { return 0; }
};

void checkError(const vnJSON& json)
{
    if (json.hasError())
        throw vnFailure(json.getError().getString());
}

vnDynamicType readValue(vnJSON& json, const std::string& url)
{
    vnAdapter source = vnOpenURL(url, VN_SERIALIZE_INPUT);
    json.read(source);
    vnCheckError(source);
    if (json.hasError())
        throw vnFailure("line " + std::to_string(json.getLine() + 1u) + ", column " +
                        std::to_string(json.getColumn() + 1u) + ": " + json.getError().getString());
    return json.takeData();
}

// A part of a payload as a value of its own.
class Value : public vnDynamicType
{
public:
    Value(const vnString& tag, const unsigned char* bytes, std::size_t size)
        : vnDynamicType(tag, vnDynamicPayload(bytes, static_cast<unsigned int>(size)))
    {
    }
};

// Shows a value that was read as a tree. It walks over the payload as it is: values that were taken out of
// each other would make a copy of the innermost ones for each level above them.
class Tree
{
public:
    void show(const vnDynamicType& value)
    {
        const vnDynamicPayload& payload = value.getPayload();
        show(value.getDynamicType(), payload.begin(), payload.end(), Place{"", 0});
    }

private:
    struct Place
    {
        std::string label;
        unsigned int depth;
    };

    void show(const vnString& tag, const unsigned char* at, const unsigned char* end, const Place& place);
    const unsigned char* showNext(const unsigned char* at, const unsigned char* end, const Place& place);
    void writeLine(const Place& place, const std::string& text);
    std::string textOf(const vnDynamicType& value);

    vnJSON m_json;
    vnSerializeAdapterQueue m_queue{VN_QUEUE_FIFO};
    std::size_t m_left = maxSize;
};

void Tree::show(const vnString& tag, const unsigned char* at, const unsigned char* end, const Place& place)
{
    if (tag == "array")
    {
        writeLine(place, "array");
        const vnUInt64 count = vnVarUInt64::decode(at, end);
        for (vnUInt64 i = 0; i < count; ++i)
            at = showNext(at, end, Place{std::to_string(i) + ": ", place.depth + 1});
    }
    else if (tag == "cont")
    {
        writeLine(place, "cont");
        // Behind the head come the attributes up to the end; without any there is not even a head.
        constexpr std::size_t head = 8;
        for (at += std::min<std::size_t>(head, static_cast<std::size_t>(end - at)); at != end;)
        {
            const char* const name = reinterpret_cast<const char*>(at);
            at += std::strlen(name) + 1;
            at = showNext(at, end, Place{textOf(name) + ": ", place.depth + 1});
        }
    }
    else
    {
        const Value value(tag, at, static_cast<std::size_t>(end - at));
        writeLine(place, tag.getString() + (" " + textOf(value)));
    }
}

// Shows the value whose stream form stands at `at`, and returns where it ends.
const unsigned char* Tree::showNext(const unsigned char* at, const unsigned char* end, const Place& place)
{
    // What was read from JSON has no tags but those with an id.
    const vnUniqueString tag(static_cast<unsigned short>((at[1] | at[2] << 8) + 1));
    at += 3;
    const vnUInt64 size = vnVarUInt64::decode(at, end);
    show(tag, at, at + size, place);
    return at + size;
}

void Tree::writeLine(const Place& place, const std::string& text)
{
    const std::string line = std::string(2 * static_cast<std::size_t>(place.depth), ' ') + place.label + text;
    if (line.size() >= m_left)
        throw vnFailure("The text is longer than " + std::to_string(maxSize) + " bytes");
    m_left -= line.size() + 1;
    vnWriteLine(line);
}

// A value without others in it, with the control characters of texts in their written form.
std::string Tree::textOf(const vnDynamicType& value)
{
    m_json.setStrict(!value.is("num") || std::isfinite(value.getNumber())); // which others have no form in
    m_json.writeValue(&m_queue, value);
    checkError(m_json);
    std::string text(m_queue.length(), ' ');
    m_queue.read(reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    return text;
}
} // namespace

void vnRunJson(vnArguments& arguments)
{
    const bool isStrict = arguments.takeFlag("--strict");
    const bool showsValue = arguments.takeFlag("--value");
    const std::string url = arguments.takeOperands(1, 1)[0];
    vnJSON json;
    json.setStrict(isStrict);
    json.setMaxSize(maxSize);
    if (showsValue)
        json.setMaxDepth(maxTreeDepth);
    const vnDynamicType value = readValue(json, url);
    if (value.is("error")) // of nothing but white space
        throw vnFailure(vnDynamicTypeError(value).getError().getString());
    if (showsValue)
    {
        Tree().show(value);
        return;
    }
    ResultAdapter results;
    json.writeValue(&results, value);
    checkError(json);
    vnWriteLine("");
}
