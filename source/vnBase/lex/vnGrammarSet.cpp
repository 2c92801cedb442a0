// SPDX-License-Identifier: MIT
#include "core/vnUtfScan.h"
#include "vnCharacter.h"
#include "vnGrammarRule.h"

#include <limits>

using namespace vnCharacter;

namespace
{
constexpr unsigned int VN_LAST_CHARACTER = 0xFFFF;

// Of a character of 16 bits; 1 for a byte that begins none.
unsigned char sequenceSize(std::string_view text)
{
    const unsigned char size = vnUtf::leadSize(static_cast<unsigned char>(text.front()));
    if (size < 2 || size > 3 || size > text.size())
        return 1;
    for (unsigned char i = 1; i < size; ++i)
        if (!vnUtf::isContinuation(static_cast<unsigned char>(text[i])))
            return 1;
    return size;
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

// Of byte input each byte of the text is a character, otherwise each UTF-8 sequence is; bytes that are none
// stand for themselves.
vnGrammarSet::Elements vnGrammarSet::decode(std::string_view text, bool isByteText)
{
    Elements elements;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const bool isEscape = text[i] == '\\' && i + 1 < text.size();
        if (isEscape)
            ++i;
        unsigned int code = static_cast<unsigned char>(text[i]);
        const unsigned char size = isByteText ? 1 : sequenceSize(text.substr(i));
        if (size > 1)
        {
            code = vnUtf::decode(text.data() + i, size);
            i += size - 1u;
        }
        elements.push_back(Element{isEscape ? unescaped(static_cast<char16_t>(code)) : code, isEscape});
    }
    return elements;
}

// "#x" and digits at `at`.
bool vnGrammarSet::readHex(const Elements& elements, std::size_t& at, unsigned int& code)
{
    const auto isSign = [&](std::size_t i, unsigned int c)
    { return i < elements.size() && !elements[i].isPlain && elements[i].code == c; };
    const auto hexOf = [](const Element& element)
    { return element.isPlain ? -1 : hexValue(static_cast<char16_t>(element.code)); };
    if (!isSign(at, '#') || !isSign(at + 1, 'x') || at + 2 >= elements.size() || hexOf(elements[at + 2]) < 0)
        return false;
    vnUInt64 value = 0;
    for (at += 2; at < elements.size() && hexOf(elements[at]) >= 0; ++at)
        value = std::min<vnUInt64>(value * 16 + static_cast<unsigned int>(hexOf(elements[at])),
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
