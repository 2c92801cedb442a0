// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"
#include "vnFuzzSource.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnJSON.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>

// JSON texts of any bytes, in both modes: every kind of source gives the same value or the same error at the
// same place, what was read strictly is written and read again as the same value, and what is in values of
// any bytes can be written or is refused.

namespace
{
constexpr unsigned int maxSize = 1u << 20;
constexpr unsigned int maxDepth = 100;
constexpr unsigned int maxMember = 1u << 20; // what one may take in its written form: two texts, all escaped

// What a text reads as, and where its reading ends.
struct Reading
{
    vnDynamicType value;
    unsigned int line;
    unsigned int column;

    bool operator==(const Reading& other) const
    {
        return value == other.value && line == other.line && column == other.column;
    }
};

Reading readFrom(vnSerializeAdapter* source, unsigned char strict)
{
    vnRefPointer<vnSerializeAdapter> held(source);
    vnJSON json;
    json.setStrict(strict);
    json.setMaxSize(maxSize);
    json.setMaxDepth(maxDepth);
    json.useProgress(0);
    json.read(held);
    return {json.getData(), json.getLine(), json.getColumn()};
}

Reading readText(std::string& text, unsigned char strict)
{
    return readFrom(new vnSerializeAdapterMemory(text.data(), static_cast<unsigned int>(text.size())),
                    strict);
}

// The text as UTF-16 behind its mark; empty when not all of it is ASCII.
std::string toWide(const std::string& text)
{
    std::string wide = "\xFF\xFE";
    for (const char c : text)
    {
        if (static_cast<unsigned char>(c) >= 0x80)
            return std::string();
        wide += {c, 0};
    }
    return wide;
}

// Answers whether all of the value could be written.
bool write(const vnDynamicType& value, unsigned char strict, vnUInt64 flags, std::string& text)
{
    vnJSON json;
    json.setStrict(strict);
    json.setMaxSize(maxSize);
    json.setMaxDepth(maxDepth);
    json.setData(value);
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
    queue.setAdapterFlags(flags);
    json.write(&queue);
    text.resize(queue.length());
    VN_FUZZ_CHECK(text.size() <= (flags ? 2 : 1) * static_cast<std::size_t>(maxSize + maxMember));
    queue.read(reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    return !json.hasError();
}

void checkText(std::string& text)
{
    for (const unsigned char strict : {0, 1})
    {
        const Reading reading = readText(text, strict);
        for (const std::size_t window : {0, 1, 5})
            VN_FUZZ_CHECK(readFrom(new vnFuzzSource(text, window), strict) == reading);
        const std::string wide = toWide(text);
        if (!strict && !wide.empty())
            VN_FUZZ_CHECK(readFrom(new vnFuzzSource(wide), strict) == reading);
        const vnDynamicType& value = reading.value;
        std::string written;
        const bool isWhole = write(value, strict, 0, written);
        if (!strict || value.is("error"))
            continue;
        VN_FUZZ_CHECK(isWhole);
        // A whole number may come back with another tag, but not as another text.
        std::string again;
        VN_FUZZ_CHECK(write(readText(written, 1).value, 1, 0, again));
        VN_FUZZ_CHECK(again == written);
        // The wide grammar takes what the strict one takes, but for what the two read otherwise by design.
        write(readText(text, 0).value, 1, 2, written);
    }
}

void checkValue(std::string& bytes)
{
    vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
    vnDynamicType value;
    value.read(&memory);
    for (const unsigned char strict : {0, 1})
        try
        {
            std::string text;
            if (write(value, strict, 0, text) && strict)
                VN_FUZZ_CHECK(!readText(text, 1).value.is("error") || text.size() > 65535);
        }
        catch (const vnBaseError&)
        {
            // a damaged container
        }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const bool isValue = input.byte() == 'V';
    std::string bytes = input.rest();
    if (isValue)
        checkValue(bytes);
    else
        checkText(bytes);
    return 0;
}
