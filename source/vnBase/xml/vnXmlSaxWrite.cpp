// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlSax.h>

#include "core/vnUtfScan.h"
#include "serialize/vnAdapterWindow.h"
#include "vnXmlClass.h"
#include "vnXmlLevel.h"
#include "vnXmlText.h"

#include <vnBase/vnSerializeAdapter.h>

#include <algorithm>
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

/// Names of 16-bit text. It is declared as "utf-16", since its order is always that of the mark.
constexpr std::string_view wideEncodings[] = {"utf-16", "utf-16le", "utf-16be", "ucs-2", "iso-10646-ucs-2"};

bool isNamed(const vnString& encoding, std::string_view name) noexcept
{
    return vnXmlClass::equalIgnoringCase(viewOf(encoding), name);
}

bool isNamedWide(const vnString& encoding) noexcept
{
    return std::any_of(std::begin(wideEncodings), std::end(wideEncodings),
                       [&](std::string_view name) { return isNamed(encoding, name); });
}

/// A character of a text that is UTF-8 in form, a pair of surrogates as one. What is none is the one that
/// stands for such: what reads as none is no markup, so it must not become one.
struct Character
{
    unsigned int value;
    unsigned int size; // in bytes
};
Character characterAt(const char* next, const char* end) noexcept
{
    const unsigned char size = vnUtf::leadSize(vnUtf::byteAt(next, 0));
    const unsigned int c = vnUtf::decode(next, size);
    if (c >= 0xD800 && c <= 0xDBFF && end - next >= 6 && vnUtf::leadSize(vnUtf::byteAt(next, 3)) == 3)
    {
        const unsigned int low = vnUtf::decode(next + 3, 3);
        if (low >= 0xDC00 && low <= 0xDFFF)
            return {0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00), 6};
    }
    const bool isCharacter = size < 4 ? c < 0xD800 || c > 0xDFFF : size == 4 && c > 0xFFFF && c <= 0x10FFFF;
    return {isCharacter ? c : 0xFFFD, size};
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

    /// How a text is read is decided here, once for all of it: in 16-bit output as UTF-8 where it is, else
    /// as one character a byte, for which UTF-8 in `characters` takes its place.
    std::string_view toRead(std::string_view text, std::string& characters) const
    {
        if (!isWide() || vnUtf::isValid(text.data(), text.size()))
            return text;
        return characters = vnXmlText::fromBytes(text);
    }

    /// Whether readers will read it, as what they take it for: UTF-8, or one character a byte.
    bool isRead(bool (&test)(std::string_view), std::string_view text) const
    {
        return areOneCharacterEach(text) ? test(vnXmlText::fromBytes(text)) : test(text);
    }

    /// And whether a string can hold it, which for bytes in 16-bit output is twice as long.
    bool isFit(bool (&test)(std::string_view), std::string_view text) const
    {
        return isHeld(text.size()) && isRead(test, text);
    }
    static bool isHeld(std::size_t size) noexcept { return size <= vnString::VN_MAX_LENGTH; }

    void putCharData(std::string_view text)
    {
        if (vnXmlText::isSimpleCharData(text))
            putPiece(text);
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

    /// Whether the encoding is one of 8 bits a character for the reader. A document without a declaration
    /// reads as UTF-8.
    bool isReadAsBytes() const noexcept
    {
        return !isWide() && !isNamed(m_sax.m_encoding, "utf-8") && !isNamed(m_sax.m_encoding, "none");
    }

    /// Whether the bytes are read one by one, and not all the same as UTF-8, which is asked first: it is
    /// quick, and most texts are.
    bool areOneCharacterEach(std::string_view text) const noexcept
    {
        return vnUtf::plainLength(text.data(), text.size()) != text.size() && isReadAsBytes();
    }
    void putReferences(std::string_view text);
    void putPiece(std::string_view text)
    {
        if (!isHeld(text.size()))
            fail("CharData is malformed");
        put(text);
    }
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

// Little-endian, as the mark says.
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
    std::string characters;
    text = toRead(text, characters); // names, and what is not tested
    const char* next = text.data();
    const char* end = next + text.size();
    while (next != end)
    {
        const auto [c, size] = characterAt(next, end);
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
    const std::size_t markupEnd =
        areOneCharacterEach(text) ? vnXmlText::behindMarkupOfBytes(text) : vnXmlText::behindMarkup(text);
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
    putPiece(text.substr(begin));
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

// Whether texts that are UTF-8 can be written in it as what they are.
bool vnXmlSax::fitsUtf8(const vnString& encoding) noexcept
{
    return isNamed(encoding, "utf-8") || isNamed(encoding, "none") || isNamedWide(encoding);
}

void vnXmlSax::writeDeclaration()
{
    if (isNamed(m_encoding, "none"))
        return;
    // What was read of 16-bit text is UTF-8, whatever name that gave itself.
    const bool isWide = m_isReadWide || isNamedWide(m_encoding);
    const vnString encoding = isWide ? vnString("utf-16") : m_encoding.toLower();
    vnSerializeAdapter& adapter = *getAdapter();
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
    std::string characters;
    std::string escaped;
    std::string_view fit = writer.toRead(viewOf(value), characters);
    if (!writer.isFit(vnXmlText::isAttribute, fit))
    {
        escaped = escapedAttribute(fit);
        if (escaped == fit || !writer.isFit(vnXmlText::isAttribute, escaped))
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
    vnXmlWriter writer(*this);
    std::string characters;
    writer.putCharData(writer.toRead(viewOf(text), characters));
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
    std::string characters;
    const std::string_view data = writer.toRead(viewOf(text), characters);
    if (!writer.isFit(vnXmlText::isCDATA, data))
        writer.fail("CDATA is malformed");
    writer.putIndent(m_level);
    writer.put("<![CDATA[", data, "]]>");
    writer.setState(VN_STATE_CONTENTS);
}

void vnXmlSax::writeComment(const vnString& text)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    std::string characters;
    const std::string_view comment = writer.toRead(viewOf(text), characters);
    if (!writer.isFit(vnXmlText::isComment, comment))
        writer.fail("Comment is malformed");
    writer.putIndent(m_level);
    writer.put("<!--", comment, "-->");
    writer.setState(VN_STATE_CONTENTS);
}

void vnXmlSax::writePI(const vnString& target, const vnString& data)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    const std::string whole = std::string(viewOf(target)).append(" ").append(viewOf(data));
    std::string characters;
    const std::string_view text = writer.toRead(whole, characters);
    // What a reader takes for the two, whichever of them a space came with.
    const std::size_t targetEnd = text.find_first_of(" \t\r\n");
    const std::size_t dataBegin = std::min(text.find_first_not_of(" \t\r\n", targetEnd), text.size());
    if (!writer.isHeld(targetEnd) || !writer.isHeld(text.size() - dataBegin) ||
        !writer.isRead(vnXmlText::isPI, text))
        writer.fail("PI is malformed");
    writer.putIndent(m_level);
    writer.put("<?", text, "?>");
}

void vnXmlSax::writeEntityReference(const vnString& name)
{
    beginElementContents();
    vnXmlWriter writer(*this);
    std::string characters;
    const std::string_view entity = writer.toRead(viewOf(name), characters);
    if (!writer.isFit(vnXmlText::isEntity, entity))
        writer.fail("Entity Reference is malformed");
    writer.put("&", entity, ";");
    writer.setState(VN_STATE_CONTENTS);
}

void vnXmlSax::writeGenericString(const vnString& text)
{
    vnXmlWriter(*this).put(viewOf(text));
}
