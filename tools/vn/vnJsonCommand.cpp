// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnStandardStreams.h"
#include "vnTool.h"

#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnJSON.h>
#include <vnBase/vnSerializeAdapterQueue.h>

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
    vnAdapter source = vnOpenStream(url, VN_SERIALIZE_INPUT);
    json.read(source);
    vnCheckError(source);
    if (json.hasError())
        throw vnFailure("line " + std::to_string(json.getLine() + 1u) + ", column " +
                        std::to_string(json.getColumn() + 1u) + ": " + json.getError().getString());
    return json.getData();
}

void write(vnJSON& json, const vnDynamicType& value, vnSerializeAdapter& adapter)
{
    json.setData(value);
    json.write(&adapter);
    checkError(json);
}

// A value without others in it, with the control characters of texts in their written form.
std::string textOf(const vnDynamicType& value)
{
    vnJSON json;
    json.setStrict(1);
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
    write(json, value, queue);
    std::string text(queue.length(), ' ');
    queue.read(reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    return text;
}

void showTree(const vnDynamicType& value, const std::string& label, unsigned int depth)
{
    const std::string start = std::string(2 * static_cast<std::size_t>(depth), ' ') + label;
    const std::string tag = value.getDynamicType().getString();
    if (value.is("array"))
    {
        vnWriteLine(start + tag);
        unsigned int index = 0;
        for (const vnDynamicType& element : vnDynamicTypeArray(value).getArray())
            showTree(element, std::to_string(index++) + ": ", depth + 1);
    }
    else if (value.is("cont"))
    {
        vnWriteLine(start + tag);
        const vnDynamicTypeContainer container = vnDynamicTypeCustom<vnDynamicTypeContainer>(value).getData();
        vnDynamicTypeContainerConstIterator iterator(container);
        vnString name;
        while (const vnDynamicType* attribute = iterator(&name))
            showTree(*attribute, textOf(name) + ": ", depth + 1);
    }
    else
        vnWriteLine(start + tag + " " + textOf(value));
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
        showTree(value, "", 0);
        return;
    }
    ResultAdapter results;
    write(json, value, results);
    vnWriteLine("");
}
