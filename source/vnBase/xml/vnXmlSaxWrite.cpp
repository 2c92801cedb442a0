// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlSax.h>

#include "core/vnUtfScan.h"
#include "serialize/vnAdapterWindow.h"
#include "vnXmlLevel.h"
#include "vnXmlText.h"

#include <vnBase/vnSerializeAdapter.h>

#include <array>
#include <string>

namespace
{
/// What was written last. 2 stands for itself: it is accepted where an element starts, and nothing sets it.
/// No state forbids an element, so that the error for it only guards what may be added here.
enum State : unsigned char
{
    VN_STATE_START = 0,
    VN_STATE_HEADER = 2,
    VN_STATE_CONTENTS = 3,
    VN_STATE_TAG = 4,      // in a start tag
    VN_STATE_CHILD = 5,    // behind the end of an element
    VN_STATE_ATTRIBUTE = 6 // in a start tag that has attributes
};

struct Escape
{
    char character;
    std::string_view name;
};

/// In the order in which a text is searched for them.
constexpr Escape escapes[] = {{'&', "amp"}, {'"', "quot"}, {'\'', "apos"}, {'<', "lt"}, {'>', "gt"}};

std::string_view viewOf(const vnString& text) noexcept
{
    return {text.getString(), text.length()};
}

bool isUtf16(std::string_view encoding) noexcept
{
    return encoding == "utf-16";
}

/// As `vnString::isAsciiString` decides, for a text without a NUL behind it.
bool isUtf8(std::string_view text) noexcept
{
    for (std::size_t i = vnUtf::plainLength(text.data(), text.size()); i < text.size();)
    {
        const unsigned char size = vnUtf::leadSize(vnUtf::byteAt(text.data(), i));
        if (size == 0 || size > text.size() - i || vnUtf::sequenceSize(text.data() + i) == 0)
            return false;
        i += size;
    }
    return true;
}

/// Whether a reference that every reader knows stands at the start of the text.
bool isKnownReference(std::string_view text) noexcept
{
    for (const Escape& escape : escapes)
        if (text.substr(1, escape.name.size()) == escape.name &&
            text.substr(1 + escape.name.size(), 1) == ";")
            return true;
    return false;
}

std::string escapedAttribute(std::string_view value)
{
    std::string result;
    for (std::size_t i = 0; i < value.size(); ++i)
    {
        const Escape* found =
            std::find_if(std::begin(escapes), std::end(escapes),
                         [&](const Escape& escape) { return escape.character == value[i]; });
        if (found == std::end(escapes) || (value[i] == '&' && isKnownReference(value.substr(i))))
            result += value[i];
        else
            result.append("&").append(found->name).append(";");
    }
    return result;
}
} // namespace

/// Puts pieces of text out for the operations of a writer.
class vnXmlWriter
{
public:
    explicit vnXmlWriter(vnXmlSax& sax) : m_sax(sax), m_adapter(sax.getAdapter())
    {
        if (!m_adapter)
            fail("No adapter to write XML data to");
    }

    [[noreturn]] void fail(const char* error)
    {
        m_sax.setError("%s", error);
        throw vnBasicParseException(3);
    }

    template <class... Texts>
    void put(const Texts&... texts)
    {
        putAll(std::string_view(texts)...);
    }
    void putIndent(unsigned int level)
    {
        if (m_sax.isPlainOutput())
            return;
        putOne("\n");
        static constexpr std::string_view tabs = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
        for (; level > tabs.size(); level -= static_cast<unsigned int>(tabs.size()))
            putOne(tabs);
        putOne(tabs.substr(0, level));
    }
    void putCharData(std::string_view text)
    {
        if (vnXmlText::isSimpleCharData(text))
            put(text);
        else
            putReferences(text);
        setState(VN_STATE_CONTENTS);
    }
    void setState(State state) noexcept { m_sax.m_writeState = state; }
    bool isInTag() const noexcept
    {
        return m_sax.m_writeState == VN_STATE_TAG || m_sax.m_writeState == VN_STATE_ATTRIBUTE;
    }

private:
    template <class... Texts>
    void putAll(const Texts&... texts)
    {
        const std::size_t size = (texts.size() + ...);
        if (isWide() || !vnAdapterWindow::hasPlace(*m_adapter, size))
        {
            (putOne(texts), ...);
            return;
        }
        unsigned char* to = vnAdapterWindow::place(*m_adapter);
        ((to = std::copy(texts.begin(), texts.end(), to)), ...);
        vnAdapterWindow::wrote(*m_adapter, to);
    }
    bool isWide() const noexcept { return (m_adapter->getAdapterFlags() & VN_ADAPTER_UNICODE) != 0; }
    void putReferences(std::string_view text);
    void putOne(std::string_view text)
    {
        if (isWide())
            putWide(text);
        else if (!text.empty())
            m_adapter->write(reinterpret_cast<const unsigned char*>(text.data()),
                             static_cast<unsigned int>(text.size()));
    }
    void putWide(std::string_view text);

    vnXmlSax& m_sax;
    vnSerializeAdapter* m_adapter;
};

// Little-endian, as the mark says. A text that is no UTF-8 is one of 8 bits a character, as in formats.
void vnXmlWriter::putWide(std::string_view text)
{
    constexpr unsigned int VN_BLOCK = 512;
    unsigned char bytes[VN_BLOCK];
    unsigned int count = 0;
    const auto unit = [&](unsigned int c)
    {
        bytes[count++] = static_cast<unsigned char>(c);
        bytes[count++] = static_cast<unsigned char>(c >> 8);
    };
    const bool isWhole = isUtf8(text);
    const char* next = text.data();
    const char* end = next + text.size();
    while (next != end)
    {
        const unsigned char size = isWhole ? vnUtf::leadSize(vnUtf::byteAt(next, 0)) : 1;
        unsigned int c = vnUtf::decode(next, size);
        if (c > 0x10FFFF)
            c = 0xFFFD; // no character: the one that stands for such
        if (c > 0xFFFF)
        {
            unit(0xD800 + ((c - 0x10000) >> 10));
            unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
        else
            unit(c);
        next += size;
        if (next == end || count > VN_BLOCK - 4)
        {
            m_adapter->write(bytes, count);
            count = 0;
        }
    }
}

// The part in front of the first character that is searched for, the character as a reference, and so on with
// the part behind it, until that is fit. A text that is fit goes out as it is, ">" and quotes as well. The
// places are kept, so that a text is searched once for each character.
void vnXmlWriter::putReferences(std::string_view text)
{
    const std::size_t markupEnd = vnXmlText::behindMarkup(text);
    std::array<std::size_t, std::size(escapes)> found{};
    std::size_t begin = 0;
    const auto find = [&](unsigned int i)
    {
        if (found[i] < begin || begin == 0)
            found[i] = std::min(text.find(escapes[i].character, begin), text.size());
        return found[i];
    };
    while (begin < markupEnd)
    {
        unsigned int i = 0;
        while (i < std::size(escapes) && find(i) == text.size())
            ++i;
        if (i == std::size(escapes))
            fail("CharData is malformed");
        if (found[i] > begin)
            putCharData(text.substr(begin, found[i] - begin));
        put("&", escapes[i].name, ";");
        setState(VN_STATE_CONTENTS);
        begin = found[i] + 1;
    }
    put(text.substr(begin));
}

void vnXmlSax::write(vnSerializeAdapter* adapter)
{
    if (!adapter)
        return;
    const vnRefPointer<vnSerializeAdapter> held(adapter);
    setAdapter(adapter);
    try
    {
        writeDeclaration();
        m_flags &= static_cast<unsigned char>(~(VN_FLAG_ENCODING_BASE64 | VN_FLAG_ENCODING_HEX));
        m_level = 0;
        m_writeState = VN_STATE_START;
        onWrite();
    }
    catch (const vnBasicParseException&)
    {
        // The error is set, and what was written stays.
    }
    catch (...)
    {
        setAdapter(nullptr);
        throw;
    }
    setAdapter(nullptr);
}

void vnXmlSax::writeDeclaration()
{
    const vnString encoding = m_encoding.toLower();
    const bool isWide = isUtf16(viewOf(encoding));
    vnSerializeAdapter& adapter = *getAdapter();
    if (viewOf(encoding) == "none")
        return;
    const vnUInt64 flags = adapter.getAdapterFlags();
    adapter.setAdapterFlags(isWide ? flags | VN_ADAPTER_UNICODE : flags & ~vnUInt64{VN_ADAPTER_UNICODE});
    if (isWide)
        adapter.write(reinterpret_cast<const unsigned char*>("\xFF\xFE"), 2);
    vnXmlWriter(*this).put("<?xml version=\"", viewOf(m_version), "\" encoding=\"", viewOf(encoding),
                           "\" standalone=\"", vnYesNo(isStandalone()), "\" ?>");
}

void vnXmlSax::writeXmlHeader()
{
    vnXmlWriter(*this).put("<?xml version=\"", viewOf(m_version), "\" encoding=\"", viewOf(m_encoding),
                           "\"?>");
}

void vnXmlSax::beginElementContents()
{
    vnXmlWriter writer(*this);
    if (!writer.isInTag())
        return;
    writer.put(">");
    writer.setState(VN_STATE_CONTENTS);
}

void vnXmlSax::writeElementStart(const vnString& name)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    if (m_writeState != VN_STATE_START && m_writeState != VN_STATE_HEADER &&
        m_writeState != VN_STATE_CONTENTS && m_writeState != VN_STATE_CHILD)
        writer.fail("Can not write element here");
    writer.putIndent(m_level);
    writer.put("<", viewOf(name));
    getLevel(m_level + 1).start(viewOf(name), name.length());
    ++m_level;
    writer.setState(VN_STATE_TAG);
}

void vnXmlSax::writeElementEnd()
{
    vnXmlWriter writer(*this);
    if (m_level == 0)
        writer.fail("Unmatched element tags");
    if (writer.isInTag())
        writer.put("/>");
    else
    {
        // Behind text the end tag stands on the same line, behind an element on one of its own.
        if (m_writeState == VN_STATE_CHILD)
            writer.putIndent(m_level - 1);
        writer.put("</", getLevel(m_level).getRawName(), ">");
    }
    --m_level;
    writer.setState(VN_STATE_CHILD);
}

void vnXmlSax::writeAttribute(const vnString& name, const vnString& value)
{
    vnXmlWriter writer(*this);
    if (!writer.isInTag())
        writer.fail("Can not write attribute here");
    std::string escaped;
    std::string_view fit = viewOf(value);
    if (!vnXmlText::isAttribute(fit))
    {
        escaped = escapedAttribute(fit);
        // What is longer than any string could not be read again.
        if (escaped == fit || escaped.size() > vnString::VN_MAX_LENGTH || !vnXmlText::isAttribute(escaped))
            writer.fail("Attribute value is malformed");
        fit = escaped;
    }
    // A double quote in the value stays although it ends the value for readers: the test above stands in
    // single quotes. That is required.
    writer.put(" ", viewOf(name), "=\"", fit, "\"");
    Level& level = getLevel(m_level);
    level.addName(viewOf(name));
    level.addValue(fit);
    writer.setState(VN_STATE_ATTRIBUTE);
}

void vnXmlSax::writeCharData(const vnString& text)
{
    if (text.isEmpty())
        return;
    beginElementContents();
    vnXmlWriter(*this).putCharData(viewOf(text));
}

void vnXmlSax::writeCharDataElement(const vnString& name, const vnString& text)
{
    writeElementStart(name);
    writeCharData(text);
    writeElementEnd();
}

void vnXmlSax::writeCDATA(const vnString& text)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    if (!vnXmlText::isCDATA(viewOf(text)))
        writer.fail("CDATA is malformed");
    writer.putIndent(m_level);
    writer.put("<![CDATA[", viewOf(text), "]]>");
    writer.setState(VN_STATE_CONTENTS);
}

void vnXmlSax::writeComment(const vnString& text)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    if (!vnXmlText::isComment(viewOf(text)))
        writer.fail("Comment is malformed");
    writer.putIndent(m_level);
    writer.put("<!--", viewOf(text), "-->");
    writer.setState(VN_STATE_CONTENTS);
}

void vnXmlSax::writePI(const vnString& target, const vnString& data)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    const std::string text = std::string(viewOf(target)).append(" ").append(viewOf(data));
    if (!vnXmlText::isPI(text))
        writer.fail("PI is malformed");
    writer.putIndent(m_level);
    writer.put("<?", text, "?>");
}

void vnXmlSax::writeEntityReference(const vnString& name)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    if (!vnXmlText::isEntity(viewOf(name)))
        writer.fail("Entity Reference is malformed");
    writer.put("&", viewOf(name), ";");
    writer.setState(VN_STATE_CONTENTS);
}

void vnXmlSax::writeGenericString(const vnString& text)
{
    vnXmlWriter(*this).put(viewOf(text));
}
