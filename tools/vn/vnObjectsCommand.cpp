// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnDynamicType.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnProgress.h>
#include <vnBase/vnSerializeBinary.h>
#include <vnBase/vnSerializeString.h>

#include <algorithm>
#include <cstdio>

// The command that shows the objects of a stream. It makes none of them: what it knows is the base class.

namespace
{
using Number = vnSerializeBinary<unsigned int>;

constexpr unsigned int reference = 0xFFFFFFFF;
constexpr unsigned int attributesMark = 0xFFFFFFFE;
constexpr unsigned int containerMagic = 0xFEBFCD07;
constexpr unsigned int headSize = 12;

// In quotes, with what is no printing character as hexadecimal.
std::string quoted(const vnString& text)
{
    std::string result = "\"";
    const char* bytes = text.getString();
    for (unsigned int i = 0; i < text.length(); ++i)
    {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        char escaped[8] = {static_cast<char>(byte)};
        if (byte == '"' || byte == '\\')
            std::snprintf(escaped, sizeof escaped, "\\%c", byte);
        else if (byte < 0x20 || byte == 0x7F)
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
        result += escaped;
    }
    return result + "\"";
}

std::string textOf(const vnDynamicType& value)
{
    if (value.is("str"))
        return quoted(value.getString());
    if (value.is("guid"))
        return value.getString().getString();
    char number[40];
    std::snprintf(number, sizeof number, "%.17g",
                  value.is("num") || value.is("llnum") ? value.getNumber() : 0);
    if (value.is("num") || value.is("llnum"))
        return number;
    return std::to_string(value.getPayload().getSize()) + " bytes";
}

class Walk
{
public:
    // `banner` is only referred to.
    Walk(vnAdapter& source, const char* banner)
        : m_source(source), m_banner(banner), m_total(source->canSeek() ? source->length() : 0)
    {
    }

    void roots()
    {
        while (m_source->hasData())
        {
            object(0, "");
            report();
        }
        vnCheckError(m_source);
    }

private:
    // Writes the lines of one record; `label` stands before the first of them.
    void object(unsigned int depth, const std::string& label)
    {
        const unsigned int id = number(1);
        if (id == 0)
            return line(depth, label + "null");
        const unsigned int size = number(1);
        if (size < headSize)
            throw vnFailure("a record of " + std::to_string(size) + " bytes");
        const unsigned int instance = number(1);
        if (id == reference)
            return line(depth, label + "instance " + std::to_string(instance));
        if (id == vnString("vnObject").hash())
            return base(depth, label, size, instance);
        char text[60];
        std::snprintf(text, sizeof text, "unknown %08x size %u", id, size);
        line(depth, label + text);
        skip(size - headSize);
    }

    // Tells how far the walk is, as long as the source tells how much there is.
    void report()
    {
        const unsigned int finished = m_total - std::min(m_total, m_source->length());
        if (finished - m_reported < vnBlockReader::VN_BLOCK)
            return;
        m_reported = finished;
        vnProgress::progress(static_cast<unsigned char>(100.0 * finished / m_total), m_banner);
    }

    static void line(unsigned int depth, const std::string& text)
    {
        vnWriteLine(std::string(2 * static_cast<std::size_t>(depth), ' ') + text);
    }

    void testData()
    {
        vnCheckError(m_source);
        if (!m_source->hasData())
            throw vnFailure("the stream ends within an object");
    }

    unsigned int number(unsigned char bigEndian)
    {
        unsigned char bytes[4];
        // Some sources that can seek give zeros for what is not there.
        const bool isCut = m_source->canSeek() && m_source->length() < sizeof bytes;
        if (isCut || m_source->read(bytes, sizeof bytes) < sizeof bytes)
            throw vnFailure("the stream ends within an object");
        unsigned int value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8 | bytes[bigEndian ? i : 3 - i];
        return value;
    }

    void skip(unsigned int size)
    {
        unsigned char block[4096];
        if (m_source->canSeek() && m_source->length() < size)
            throw vnFailure("the stream ends within an object");
        while (size > 0)
        {
            const unsigned int step = std::min<unsigned int>(size, sizeof block);
            if (m_source->read(block, step) < step)
                throw vnFailure("the stream ends within an object");
            size -= step;
            report();
        }
    }

    vnString name()
    {
        testData();
        vnSerializeString text;
        text.read(m_source);
        return text;
    }

    void base(unsigned int depth, const std::string& label, unsigned int size, unsigned int instance)
    {
        if (depth > 2 * vnObject::getMaxDepth())
            throw vnFailure("objects are nested too deep");
        line(depth,
             label + "vnObject size " + std::to_string(size) + " instance " + std::to_string(instance));
        for (unsigned int left = number(0); left > 0; --left)
            item(depth + 1);
    }

    void item(unsigned int depth)
    {
        report();
        const std::string label = quoted(name()) + " ";
        const unsigned int mark = number(0);
        if (mark == attributesMark)
            return attributes(depth, label);
        Number(mark, 0).pushBack(m_source);
        object(depth, label);
    }

    // Byte by byte, as a source that is asked beyond its end may keep an error, or grow.
    bool takeMagic()
    {
        unsigned char bytes[sizeof containerMagic];
        unsigned int count = 0;
        bool isMagic = true;
        while (isMagic && count < sizeof bytes && m_source->hasData())
        {
            bytes[count] = m_source->read();
            isMagic = bytes[count] == static_cast<unsigned char>(containerMagic >> 8 * count);
            ++count;
        }
        if (isMagic && count == sizeof bytes)
            return true;
        m_source->pushBack(bytes, count);
        return false;
    }

    // A set that never had an attribute takes no bytes.
    void attributes(unsigned int depth, const std::string& label)
    {
        unsigned int count = takeMagic() ? number(0) : 0;
        line(depth, label + "attributes " + std::to_string(count));
        for (; count > 0; --count)
        {
            const vnString attribute = name();
            testData();
            vnDynamicType value;
            value.read(m_source);
            vnCheckError(m_source);
            line(depth + 1,
                 quoted(attribute) + " " + value.getDynamicType().getString() + " " + textOf(value));
        }
    }

    vnAdapter& m_source;
    const char* m_banner;
    unsigned int m_total;
    unsigned int m_reported = 0;
};
} // namespace

void vnRunObjects(vnArguments& arguments)
{
    const std::string url = arguments.takeOperands(1, 1)[0];
    vnAdapter source = vnOpenURL(url, VN_SERIALIZE_INPUT);
    Walk(source, url.c_str()).roots();
}
