// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnXmlSax.h>

#include <algorithm>

// Any bytes as a document: it ends, is told alike from a block of memory and byte by byte, and what the
// writer makes of what was told is read again. The input is a byte of options and the document.

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
            disableNotifyItemType(static_cast<vnXmlItemType>(options >> 2));
    }

    std::string text;

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
    unsigned char onEntityReference(const vnString& name, unsigned int level, unsigned char) override
    {
        return add('&', name, level);
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
        text += what;
        text.append(string.getString(), string.length()) += '\n';
        return text.size() < maxTold;
    }
};

/// Writes the texts that were told, in places of their own.
class Writer : public vnXmlSax
{
public:
    explicit Writer(const std::string& told) : m_told(told) { setPlainOutput(1); }
    void onWrite() override
    {
        writeElementStart("root");
        for (std::size_t begin = 0, end; (end = m_told.find('\n', begin)) != std::string::npos;
             begin = end + 1)
        {
            const vnString text(m_told.data() + begin + 1,
                                static_cast<unsigned short>(end > begin ? end - begin - 1 : 0));
            switch (m_told[begin])
            {
            case 't':
                writeCharDataElement("t", text);
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
            default:
                break;
            }
        }
        writeElementEnd();
    }

private:
    const std::string& m_told;
};

std::string read(vnSerializeAdapter* adapter, unsigned char options, std::string& told)
{
    const vnRefPointer<vnSerializeAdapter> held(adapter);
    Told reader(options);
    reader.read(adapter);
    told = reader.text;
    return reader.getError().getString();
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS); // bytes that are no characters are warnings
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned char options = input.byte();
    std::string document = input.rest();
    std::string told;
    std::string toldSlowly;
    const std::string error =
        read(new vnSerializeAdapterMemory(document.data(), static_cast<unsigned int>(document.size())),
             options, told);
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->write(reinterpret_cast<const unsigned char*>(document.data()),
                 static_cast<unsigned int>(document.size()));
    const std::string slowError = read(queue.get(), options, toldSlowly);
    VN_FUZZ_CHECK(told == toldSlowly);
    VN_FUZZ_CHECK(error == slowError);
    vnRefPointer<vnSerializeAdapterQueue> output(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    Writer writer(told);
    writer.write(output.get());
    vnXmlSax again;
    again.read(output.get());
    // A character that is not whole takes bytes of what is written behind it.
    const bool isAscii = std::all_of(document.begin(), document.end(),
                                     [](char c) { return static_cast<signed char>(c) >= 0; });
    VN_FUZZ_CHECK(!again.hasError() || writer.hasError() || !isAscii);
    return 0;
}
