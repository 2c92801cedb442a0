// SPDX-License-Identifier: MIT
#include "vnJsonReader.h"

#include "vnJsonNumber.h"
#include "vnJsonText.h"

#include <dynamic/vnDynamicWire.h>
#include <lex/vnMarkedText.h>

namespace
{
constexpr unsigned int VN_MAX_TEXT = vnString::VN_MAX_LENGTH;
constexpr unsigned int VN_MAX_RAW_TEXT = 6 * VN_MAX_TEXT; // when all of it is escaped

bool isWhite(unsigned char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

bool isDigit(unsigned char c)
{
    return c >= '0' && c <= '9';
}
} // namespace

// The line is part of the error texts.
#define VN_JSON_FAIL(what) fail(__LINE__, what)

void vnJsonReader::readAll(vnDynamicArray<vnDynamicType>& results)
{
    if (m_isStrict)
    {
        readStrict(results);
        return;
    }
    // Values follow each other with or without white space between them.
    while (m_source.hasData())
    {
        m_source.settle();
        m_parser.reportProgress(0);
        if (!readValue<false>())
            break;
        append(results);
    }
    if (m_source.hasData())
        VN_JSON_FAIL("");
    m_source.settle();
}

void vnJsonReader::readStrict(vnDynamicArray<vnDynamicType>& results)
{
    if (m_source.isWide())
        VN_JSON_FAIL("The text is not UTF-8");
    m_parser.reportProgress(0);
    if (!readValue<true>())
        VN_JSON_FAIL("A value is missing");
    append(results);
    if (skipWhite())
        VN_JSON_FAIL("There is more than one value");
    m_source.settle();
}

void vnJsonReader::append(vnDynamicArray<vnDynamicType>& results)
{
    vnAppendResult(results, m_tree.makeValue(m_tree.open()[0]));
    m_tree.clear();
}

// Reads a value to the bottom of the open nodes. The topmost of them is the one that is read next.
template <bool STRICT>
bool vnJsonReader::readValue()
{
    m_tree.open().push().setKey(vnJsonSpan{0, 0, false}, 0);
    for (bool isFirst = false;;)
    {
        const unsigned char byte = skipWhite() ? *m_source.next : 0;
        if (byte == '{' || byte == '[')
        {
            const bool isOpen = openLevel<STRICT>();
            isFirst = isOpen && byte == '[';
            if (isOpen || finishValue<STRICT>())
                continue;
            return true;
        }
        if (!readLeaf<STRICT>(byte))
        {
            if (m_levels.isEmpty())
                return false;
            if (isFirst && !m_source.hasData())
                failEnd();
            VN_JSON_FAIL("A value is missing");
        }
        isFirst = false;
        if (!finishValue<STRICT>())
            return true;
    }
}

template <bool STRICT>
bool vnJsonReader::readLeaf(unsigned char byte)
{
    if (byte == '"')
    {
        ++m_source.next;
        const vnJsonSpan text = readString<STRICT>();
        const unsigned char* const data = m_tree.data(text);
        vnJsonNode& node = m_tree.open().top();
        // A text that begins with the marker has it escaped. Otherwise that form is free, and tells the
        // string "true" from the literal where they must not be one value.
        if (STRICT ? vnJsonText::isWord(data, text.length)
                   : text.length > 0 && *data == vnDynamicWire::marker)
            node.setEscapedText(copyOf(text));
        else
            node.setText(text);
        return true;
    }
    if (isDigit(byte) || byte == '-' || (!STRICT && byte == '+'))
    {
        readNumber();
        return true;
    }
    const char* const word = byte == 't' ? "true" : byte == 'f' ? "false" : byte == 'n' ? "null" : nullptr;
    if (word)
        readWord(word);
    return word != nullptr;
}

// Enters an array or object. False when it was empty and is a value already.
template <bool STRICT>
bool vnJsonReader::openLevel()
{
    const bool isObject = *m_source.next == '{';
    if (m_levels.getSize() >= m_maxDepth)
        failText("Values are nested deeper than %d", m_maxDepth);
    const unsigned int first = m_tree.open().getSize();
    ++m_source.next;
    if (!skipWhite())
        failEnd();
    const unsigned int begin = m_tree.bytes().getSize();
    const unsigned char closing = isObject ? '}' : ']';
    if (*m_source.next == closing)
    {
        ++m_source.next;
        m_tree.close(first, begin, isObject);
        return false;
    }
    if (m_levels.isEmpty())
        prepare();
    m_levels.push() = Level{first, begin, isObject};
    nextSlot<STRICT>(isObject);
    return true;
}

// Goes on behind a value: to the place of the next one, or, with false, to the end of all.
template <bool STRICT>
bool vnJsonReader::finishValue()
{
    while (!m_levels.isEmpty())
    {
        const Level level = m_levels.top();
        if (!skipWhite())
            failEnd();
        const unsigned char byte = *m_source.next;
        if (byte == ',')
        {
            ++m_source.next;
            nextSlot<STRICT>(level.isObject);
            return true;
        }
        if (byte != (level.isObject ? '}' : ']'))
            VN_JSON_FAIL("A comma or the closing bracket is missing");
        ++m_source.next;
        m_levels.cut(m_levels.getSize() - 1);
        m_tree.close(level.first, level.begin, level.isObject);
    }
    return false;
}

// All that comes is likely to be encoded in one block: what it takes is not touched before.
void vnJsonReader::prepare()
{
    constexpr std::size_t most = 1u << 26;
    const auto open = static_cast<std::size_t>(m_source.end - m_source.next);
    m_tree.bytes().reserve(std::min(open + open / 2, most));
}

// The place of the next element, or of the next member with its key.
template <bool STRICT>
void vnJsonReader::nextSlot(bool isObject)
{
    if (!isObject)
    {
        m_tree.open().push().setKey(vnJsonSpan{0, 0, false}, 0);
        return;
    }
    if (!skipWhite() || *m_source.next != '"')
        VN_JSON_FAIL("A key is missing");
    ++m_source.next;
    const vnJsonSpan key = readString<STRICT>();
    const char* const text = reinterpret_cast<const char*>(m_tree.data(key));
    if (key.length && std::memchr(text, 0, key.length))
        failText("A key with a NUL"); // which ends it on streams
    m_tree.open().push().setKey(key, key.length ? vnString::hash(text, key.length) : 0);
    if (!skipWhite())
        failEnd();
    if (*m_source.next != ':')
        VN_JSON_FAIL("A colon is missing");
    ++m_source.next;
}

// Reads a text whose first quote is read.
template <bool STRICT>
vnJsonSpan vnJsonReader::readString()
{
    const unsigned char* const from = m_source.next;
    const unsigned char* const stop = vnJsonText::findSpecial<STRICT>(from, m_source.end);
    vnJsonSpan text;
    const auto length = static_cast<std::size_t>(stop - from);
    if (stop != m_source.end && *stop == '"' && length <= VN_MAX_TEXT)
    {
        text = spanOf(from, length);
        m_source.next = stop + 1;
    }
    else
    {
        const unsigned int begin = m_tree.bytes().getSize();
        if (STRICT)
            readStrictString();
        else
            readRawString();
        text = {begin, m_tree.bytes().getSize() - begin, false};
    }
    if (text.length > VN_MAX_TEXT)
        failText("A text is longer than %d bytes", VN_MAX_TEXT);
    if (STRICT && !vnJsonText::isUtf8(m_tree.data(text), text.length))
        VN_JSON_FAIL("A text is not UTF-8");
    return text;
}

// Bytes of the block: where they stand, or a copy when they do not stay there.
vnJsonSpan vnJsonReader::spanOf(const unsigned char* from, std::size_t length)
{
    if (!m_source.isStable())
        return m_tree.copyOf(from, length);
    m_tree.setSource(m_source.getMemory());
    return {static_cast<unsigned int>(from - m_source.getMemory()), static_cast<unsigned int>(length), true};
}

vnJsonSpan vnJsonReader::copyOf(const vnJsonSpan& text)
{
    return text.isInSource ? m_tree.copyOf(m_tree.data(text), text.length) : text;
}

// How many bytes of the block a text may take that begins there in the tree: up to one too many, so that it
// is refused at the same place in any source.
std::size_t vnJsonReader::leftFor(unsigned int limit, unsigned int begin) noexcept
{
    const unsigned int taken = m_tree.bytes().getSize() - begin;
    const std::size_t room = taken > limit ? 0 : limit + 1 - taken;
    return std::min(static_cast<std::size_t>(m_source.end - m_source.next), room);
}

// A quote ends the text unless a backslash stands before it, also when that backslash is itself escaped:
// "a\\" does not end there. That is meant: texts of this kind have always been read so.
void vnJsonReader::readRawString()
{
    auto& bytes = m_tree.bytes();
    const unsigned int begin = bytes.getSize();
    for (;;)
    {
        if (!m_source.hasData())
            failEnd();
        const std::size_t left = leftFor(VN_MAX_RAW_TEXT, begin);
        const void* const found = std::memchr(m_source.next, '"', left);
        const unsigned char* const stop =
            found ? static_cast<const unsigned char*>(found) : m_source.next + left;
        bytes.append(m_source.next, static_cast<std::size_t>(stop - m_source.next));
        m_source.next = stop;
        if (bytes.getSize() - begin > VN_MAX_RAW_TEXT)
            failText("A text is longer than %d bytes", VN_MAX_TEXT);
        if (!found)
            continue;
        ++m_source.next;
        if (bytes.getSize() == begin || bytes.top() != '\\')
            break;
        bytes.push() = '"';
    }
    const std::size_t length = vnJsonText::decode(bytes.data() + begin, bytes.getSize() - begin);
    bytes.cut(begin + static_cast<unsigned int>(length));
}

void vnJsonReader::readStrictString()
{
    auto& bytes = m_tree.bytes();
    const unsigned int begin = bytes.getSize();
    for (;;)
    {
        if (!m_source.hasData())
            failEnd();
        const unsigned char* const end = m_source.next + leftFor(VN_MAX_TEXT, begin);
        const unsigned char* const stop = vnJsonText::findSpecial<true>(m_source.next, end);
        bytes.append(m_source.next, static_cast<std::size_t>(stop - m_source.next));
        m_source.next = stop;
        if (bytes.getSize() - begin > VN_MAX_TEXT)
            failText("A text is longer than %d bytes", VN_MAX_TEXT);
        if (stop == end)
            continue;
        if (*stop < 0x20)
            VN_JSON_FAIL("A text holds a control character");
        ++m_source.next;
        if (*stop == '"')
            return;
        readEscape();
    }
}

void vnJsonReader::readEscape()
{
    auto& bytes = m_tree.bytes();
    const unsigned char letter = takeByte();
    if (letter != 'u')
    {
        const int character = vnJsonText::escapeOf(letter, true);
        if (character < 0)
            VN_JSON_FAIL("A text holds an unknown escape");
        bytes.push() = static_cast<unsigned char>(character);
        return;
    }
    unsigned int character = readUnit();
    if (character >> 10 == 0xDC00 >> 10)
        VN_JSON_FAIL("A text holds half a surrogate pair");
    if (character >> 10 == 0xD800 >> 10)
    {
        const bool isPair = takeByte() == '\\' && takeByte() == 'u';
        const unsigned int low = isPair ? readUnit() : 0;
        if (low >> 10 != 0xDC00 >> 10)
            VN_JSON_FAIL("A text holds half a surrogate pair");
        character = 0x10000 + ((character & 0x3FF) << 10 | (low & 0x3FF));
    }
    unsigned char* const to = bytes.reserve(4);
    bytes.grow(static_cast<std::size_t>(vnJsonText::encode(to, character) - to));
}

unsigned int vnJsonReader::readUnit()
{
    unsigned int unit = 0;
    for (unsigned int i = 0; i < 4; ++i)
    {
        const int digit = vnJsonText::hexDigit(takeByte());
        if (digit < 0)
            VN_JSON_FAIL("A text holds an escape without four hexadecimal digits");
        unit = unit << 4 | static_cast<unsigned int>(digit);
    }
    return unit;
}

unsigned char vnJsonReader::takeByte()
{
    if (!m_source.hasData())
        failEnd();
    return *m_source.next++;
}

void vnJsonReader::readNumber()
{
    const unsigned char* const from = m_source.next;
    vnJsonNumber number;
    vnJsonNumber::Result result = number.read(m_source.next, m_source.end, m_isStrict);
    if (m_source.next == from)
    {
        // Also what is none, or too long: the fault is behind what could be one, in any source.
        gatherNumber();
        const unsigned char* text = m_number.data();
        result = number.read(text, text + m_number.getSize(), m_isStrict);
    }
    if (result == vnJsonNumber::OUT_OF_RANGE)
        failText("A number is out of range");
    // What begins a number begins nothing else.
    if (result != vnJsonNumber::OK)
        VN_JSON_FAIL("A number is malformed");
    vnJsonNode& node = m_tree.open().top();
    if (number.isInteger)
        node.setInt64(number.integer);
    else
        node.setNumber(number.real);
}

// Takes a number byte by byte, with a byte behind it that is none.
void vnJsonReader::gatherNumber()
{
    m_number.cut(0);
    gatherOneOf('-', '+');
    gatherDigits();
    if (gatherOneOf('.', '.'))
        gatherDigits();
    if (gatherOneOf('e', 'E'))
    {
        gatherOneOf('-', '+');
        gatherDigits();
    }
    m_number.push() = 0;
}

bool vnJsonReader::gatherOneOf(unsigned char first, unsigned char second)
{
    if (!m_source.hasData() || (*m_source.next != first && *m_source.next != second))
        return false;
    m_number.push() = *m_source.next++;
    return true;
}

void vnJsonReader::gatherDigits()
{
    for (; m_source.hasData() && isDigit(*m_source.next); ++m_source.next)
    {
        if (m_number.getSize() > vnJsonNumber::VN_MAX_LENGTH)
            failText("A number is out of range");
        m_number.push() = *m_source.next;
    }
}

void vnJsonReader::readWord(const char* word)
{
    const std::size_t length = std::strlen(word);
    const unsigned char* const from = m_source.next;
    if (static_cast<std::size_t>(m_source.end - from) >= length && std::memcmp(from, word, length) == 0)
        m_source.next += length;
    else
        for (const char* at = word; *at; ++at, ++m_source.next)
            if (!m_source.hasData() || *m_source.next != static_cast<unsigned char>(*at))
                VN_JSON_FAIL("A value is missing");
    const bool isThere = m_source.next == from + length;
    const vnJsonSpan text =
        isThere ? spanOf(from, length) : m_tree.copyOf(reinterpret_cast<const unsigned char*>(word), length);
    m_tree.open().top().setText(text);
}

// Whether there is more behind white space.
bool vnJsonReader::skipWhite()
{
    for (;;)
    {
        while (m_source.next != m_source.end && isWhite(*m_source.next))
            ++m_source.next;
        if (m_source.next != m_source.end)
            return true;
        if (!m_source.hasData())
            return false;
    }
}

void vnJsonReader::fail(int line, const char* what)
{
    m_source.settle();
    if (m_isStrict)
        m_parser.setError("%s", vnString(what));
    else
        m_parser.setError("%s", vnString(vnGenerateDebugString("vnJson", line, VN_BASE_VERSION_TEXT)));
    throw vnBasicParseException(0);
}

void vnJsonReader::failEnd()
{
    m_source.settle();
    m_parser.setError("Adapter out of Data");
    throw vnBasicParseException(0);
}

template <class... Args>
void vnJsonReader::failText(const char* format, const Args&... args)
{
    m_source.settle();
    m_parser.setError(format, args...);
    throw vnBasicParseException(0);
}
