// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnXmlSax.h>

#include <algorithm>
#include <cstring>
#include <vector>

// Any bytes as a document: it ends, is told alike from a block of memory, byte by byte and a second time by
// the same reader, and what the writer makes of what was told is read again, alike in 8 and in 16 bits. The
// input is a byte of options and the document.

namespace
{
constexpr unsigned int maxTold = 100000;

/// Writes down what it is told, and looks at the reader while it is.
class Told : public vnXmlSax
{
public:
    explicit Told(unsigned char options)
    {
        setMaxIdleNotifications(5);
        setMaxDocumentSize(100000);
        setMaxElementDepth(200);
        if (options & 1)
            enableNotifyItemType(VN_XML_ALL_ITEMS);
        if (options & 2)
            disableNotifyItemType(static_cast<vnXmlItemType>((options >> 2) * 65)); // of twelve bits
    }

    struct Event
    {
        char what;
        vnString text;
        bool operator==(const Event& other) const { return what == other.what && text == other.text; }
    };
    std::vector<Event> events;

    void clear()
    {
        events.clear();
        m_size = 0;
    }

    unsigned char onVersion(const vnString& version) override { return add('v', version, 0); }
    unsigned char onEncoding(const vnString& encoding) override { return add('e', encoding, 0); }
    unsigned char onElementStart(const vnString& name, unsigned int level) override
    {
        return add('<', name, level);
    }
    unsigned char onElementContents(const vnString&, const vnString& contents, unsigned int level) override
    {
        return add('=', contents, level);
    }
    unsigned char onElementEnd(const vnString& name, unsigned int level) override
    {
        return add('>', name, level);
    }
    unsigned char onAttribute(const vnString& name, const vnString& value, unsigned int level) override
    {
        VN_FUZZ_CHECK(hasCurrentAttribute(name));
        return add('a', name, level) && add('"', value, level);
    }
    unsigned char onCharData(const vnString& data, unsigned int level) override
    {
        return add('t', data, level);
    }
    unsigned char onEntityReference(const vnString& name, unsigned int level,
                                    unsigned char inAttribute) override
    {
        return add(inAttribute ? '%' : '&', name, level);
    }
    unsigned char onProcessingInstruction(const vnString& target, const vnString& data,
                                          unsigned int level) override
    {
        return add('?', target, level) && add('d', data, level);
    }
    unsigned char onCDATA(const vnString& data, unsigned int level) override { return add('[', data, level); }
    unsigned char onComment(const vnString& data, unsigned int level) override
    {
        return add('-', data, level);
    }
    vnString onFunction(const vnString& name, unsigned int level) override
    {
        add('f', name, level);
        return name;
    }

private:
    unsigned char add(char what, const vnString& string, unsigned int level)
    {
        VN_FUZZ_CHECK(level == getCurrentElementLevel());
        VN_FUZZ_CHECK(getTokenData(getTokenPos() - 3, 3).length() <= 9);
        events.push_back({what, string});
        m_size += string.length() + 1u;
        return m_size < maxTold;
    }

    std::size_t m_size = 0; // of all events
};

/// Writes what was told, in an element around all.
class Writer : public vnXmlSax
{
public:
    Writer(const std::vector<Told::Event>& told, const char* encoding) : m_told(told)
    {
        setEncoding(encoding);
    }
    void onWrite() override
    {
        writeElementStart("root");
        vnString before; // the name of an attribute, the target of an instruction
        for (const Told::Event& event : m_told)
        {
            put(event.what, before, event.text);
            before = event.text;
        }
        while (getCurrentElementLevel() > 0)
            writeElementEnd();
    }

private:
    void put(char what, const vnString& before, const vnString& text)
    {
        switch (what)
        {
        case '<':
            writeElementStart(text);
            break;
        case '>':
            if (getCurrentElementLevel() > 1)
                writeElementEnd();
            break;
        case '"':
            writeAttribute(before, text);
            break;
        case 't':
            writeCharData(text);
            break;
        case '-':
            writeComment(text);
            break;
        case '[':
            writeCDATA(text);
            break;
        case '&':
            writeEntityReference(text);
            break;
        case 'd':
            writePI(before, text);
            break;
        default:
            break;
        }
    }

    const std::vector<Told::Event>& m_told;
};

/// What a document told, and the error.
struct Result
{
    std::vector<Told::Event> events;
    vnString error;
    bool operator==(const Result& other) const { return events == other.events && error == other.error; }
};

Result read(Told& reader, vnSerializeAdapter& adapter)
{
    reader.reset();
    reader.clear();
    reader.read(&adapter);
    return {reader.events, reader.getError()};
}

Result readFromMemory(Told& reader, std::string document)
{
    const vnRefPointer<vnSerializeAdapterMemory> memory(
        new vnSerializeAdapterMemory(document.data(), static_cast<unsigned int>(document.size())));
    return read(reader, *memory);
}

bool isAscii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
}

bool hasQuote(const Told::Event& event)
{
    return event.what == '"' && std::memchr(event.text.getString(), '"', event.text.length());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned char options = input.byte();
    const std::string document = input.rest();
    Told reader(options);
    const Result told = readFromMemory(reader, document);
    VN_FUZZ_CHECK(told == readFromMemory(reader, document));
    Told slowReader(options);
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->write(reinterpret_cast<const unsigned char*>(document.data()),
                 static_cast<unsigned int>(document.size()));
    VN_FUZZ_CHECK(told == read(slowReader, *queue));

    // A character that is not whole takes bytes of what is written behind it, and a double quote in a value
    // is written as it stands.
    const bool isSafe = isAscii(document) && std::none_of(told.events.begin(), told.events.end(), hasQuote);
    std::vector<Result> again;
    for (const char* encoding : {"utf-8", "utf-16"})
    {
        vnRefPointer<vnSerializeAdapterQueue> output(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
        Writer writer(told.events, encoding);
        writer.write(output.get());
        Told all(1);
        all.setMaxDocumentSize(0); // what is written is longer, and deeper
        all.setMaxElementDepth(300);
        again.push_back(read(all, *output));
        VN_FUZZ_CHECK(again.back().error.isEmpty() || writer.hasError() || !isSafe);
        std::vector<Told::Event>& events = again.back().events;
        events.erase(events.begin(),
                     std::find_if(events.begin(), events.end(),
                                  [](const Told::Event& event) { return event.what == '<'; }));
    }
    VN_FUZZ_CHECK(again[0] == again[1] || !isSafe);
    return 0;
}
