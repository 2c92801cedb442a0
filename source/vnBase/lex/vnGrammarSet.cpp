// SPDX-License-Identifier: MIT
#include "vnGrammarRule.h"

#include <limits>

namespace
{
constexpr unsigned int VN_LAST_CHARACTER = 0xFFFF;

// The character of an escape in a set.
unsigned int escaped(unsigned int c)
{
    switch (c)
    {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 'b':
        return '\b';
    case 't':
        return '\t';
    case 'a':
        return '\a';
    case 'f':
        return '\f';
    case 'v':
        return '\v';
    case '0':
        return 0;
    default:
        return c;
    }
}

int hexValue(unsigned int c)
{
    if (c >= '0' && c <= '9')
        return static_cast<int>(c - '0');
    if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))
        return static_cast<int>((c | 0x20) - 'a' + 10);
    return -1;
}
} // namespace

vnGrammarSet::vnGrammarSet(std::string_view text)
{
    const Elements bytes = decode(text, true);
    m_isEmpty = bytes.empty();
    m_isNegated = !bytes.empty() && bytes.front().isPlain == false && bytes.front().code == '^';
    m_wideRanges = readRanges(bytes);
    for (unsigned int c = 0; c < m_table.size(); ++c)
        if (isInRanges(c) != m_isNegated)
            m_table[c] |= vnParserCursor::BYTES;
    m_wideRanges = readRanges(decode(text, false));
    for (unsigned int c = 0; c < m_table.size(); ++c)
        if (isInRanges(c) != m_isNegated)
            m_table[c] |= vnParserCursor::ASCII;
    findStop();
}

vnGrammarSet::vnGrammarSet(bool (*isMember)(char16_t))
{
    for (unsigned int c = 0; c < m_table.size(); ++c)
        if (isMember(static_cast<char16_t>(c)))
            m_table[c] = vnParserCursor::BYTES | vnParserCursor::ASCII;
    if (isMember(128))
        m_wideRanges.push_back(Range{256, VN_LAST_CHARACTER});
    findStop();
}

bool vnGrammarSet::contains(char16_t character, bool isByteText) const noexcept
{
    if (character < m_table.size())
        return (m_table[character] & (isByteText ? vnParserCursor::BYTES : vnParserCursor::ASCII)) != 0;
    return isInRanges(character) != m_isNegated;
}

const unsigned char* vnGrammarSet::findEnd(const unsigned char* begin, const unsigned char* end,
                                           vnParserCursor::Mode mode) const noexcept
{
    if (mode == vnParserCursor::BYTES && m_stop >= 0 && begin != end)
    {
        const void* found = std::memchr(begin, m_stop, static_cast<std::size_t>(end - begin));
        return found ? static_cast<const unsigned char*>(found) : end;
    }
    if (mode == vnParserCursor::ASCII)
    {
        while (begin != end && *begin < 0x80 && (m_table[*begin] & mode))
            ++begin;
        return begin;
    }
    while (begin != end && (m_table[*begin] & mode))
        ++begin;
    return begin;
}

// Of byte input each byte of the text is a character, otherwise each UTF-8 sequence is.
vnGrammarSet::Elements vnGrammarSet::decode(std::string_view text, bool isByteText)
{
    Elements elements;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const bool isEscape = text[i] == '\\' && i + 1 < text.size();
        if (isEscape)
            ++i;
        unsigned int code = static_cast<unsigned char>(text[i]);
        const unsigned int size = isByteText || code < 0xC0 ? 1 : code < 0xE0 ? 2 : code < 0xF0 ? 3 : 1;
        if (size > 1 && i + size <= text.size())
        {
            code &= size == 2 ? 0x1F : 0x0F;
            for (unsigned int k = 1; k < size; ++k)
                code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3F);
            i += size - 1;
        }
        elements.push_back(Element{isEscape ? escaped(code) : code, isEscape});
    }
    return elements;
}

// "#x" and digits at `at`.
bool vnGrammarSet::readHex(const Elements& elements, std::size_t& at, unsigned int& code)
{
    const auto isSign = [&](std::size_t i, unsigned int c)
    { return i < elements.size() && !elements[i].isPlain && elements[i].code == c; };
    if (!isSign(at, '#') || !isSign(at + 1, 'x') || at + 2 >= elements.size() || elements[at + 2].isPlain ||
        hexValue(elements[at + 2].code) < 0)
        return false;
    vnUInt64 value = 0;
    for (at += 2; at < elements.size() && !elements[at].isPlain && hexValue(elements[at].code) >= 0; ++at)
        value = std::min<vnUInt64>(value * 16 + static_cast<unsigned int>(hexValue(elements[at].code)),
                                   VN_LAST_CHARACTER + 1);
    code = static_cast<unsigned int>(value);
    return true;
}

std::vector<vnGrammarSet::Range> vnGrammarSet::readRanges(const Elements& elements)
{
    std::vector<Range> ranges;
    const auto readOne = [&](std::size_t& at)
    {
        unsigned int code;
        if (!readHex(elements, at, code))
            code = elements[at++].code;
        return code;
    };
    for (std::size_t at = m_isNegated ? 1 : 0; at < elements.size();)
    {
        const unsigned int first = readOne(at);
        unsigned int last = first;
        if (at + 1 < elements.size() && !elements[at].isPlain && elements[at].code == '-')
            last = readOne(++at);
        ranges.push_back(Range{first, last});
    }
    return ranges;
}

bool vnGrammarSet::isInRanges(unsigned int code) const noexcept
{
    for (const Range& range : m_wideRanges)
        if (code >= range.first && code <= range.last)
            return true;
    return false;
}

void vnGrammarSet::findStop() noexcept
{
    for (unsigned int c = 0; c < m_table.size(); ++c)
    {
        if (m_table[c] & vnParserCursor::BYTES)
            continue;
        if (m_stop >= 0)
        {
            m_stop = -1;
            return;
        }
        m_stop = static_cast<int>(c);
    }
}
