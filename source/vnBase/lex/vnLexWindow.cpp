// SPDX-License-Identifier: MIT
#include "serialize/vnAdapterWindow.h"
#include "vnCharacter.h"
#include "vnLexClass.h"

#include <algorithm>

// The common tokens, taken at once out of what the adapter lays open. What is not all in there, with the
// character behind it, and what is rare is left to the state machine, which reads the same tokens.

namespace
{
// Where the run of bytes of the class ends.
const unsigned char* skip(const unsigned char* next, const unsigned char* end, unsigned int mask)
{
    while (next != end && (vnLexClasses[*next] & mask))
        ++next;
    return next;
}

const unsigned char* find(const unsigned char* next, const unsigned char* end, unsigned char byte)
{
    const void* found = std::memchr(next, byte, static_cast<std::size_t>(end - next));
    return found ? static_cast<const unsigned char*>(found) : end;
}
} // namespace

bool vnSerializeLex::readInWindow(vnSerializeAdapter& adapter)
{
    constexpr unsigned int rare = VN_LEX_PENDING | VN_LEX_UNICODE | VN_LEX_TOKENS_ONLY | VN_LEX_HEX_MODE;
    const unsigned char* next = vnAdapterWindow::next(adapter);
    const auto open =
        std::min<std::size_t>(static_cast<std::size_t>(vnAdapterWindow::end(adapter) - next), m_budget);
    if (open < 2 || (m_options & rare))
        return false;
    const unsigned char* end = next + open;
    const unsigned int kind = vnLexClasses[*next];
    if (kind & vnLexStartMask(m_options))
    {
        const unsigned char* behind = skip(next + 1, end, vnLexContinueMask(m_options));
        return behind != end && takeText(adapter, behind, VN_LEX_IDENTIFIER, 0, 0);
    }
    if (kind & VN_CLASS_WHITESPACE)
    {
        const unsigned char* behind = skip(next + 1, end, VN_CLASS_WHITESPACE);
        if (behind == end || !take(adapter, behind))
            return false;
        setNumber(VN_LEX_WHITESPACE, ' ');
        return true;
    }
    if (kind & VN_CLASS_DECIMAL)
        return takeInteger(adapter, end);
    switch (*next)
    {
    case '"':
        if (m_options & VN_LEX_STRINGS)
            return takeDelimited(adapter, end, '"', VN_LEX_STRING);
        break;
    case '\'':
        if (m_options & VN_LEX_STRINGS)
            return takeDelimited(adapter, end, '\'', VN_LEX_QUOTED);
        break;
    case '[':
        if (m_options & VN_LEX_SETS)
            return takeDelimited(adapter, end, ']', VN_LEX_SET);
        break;
    case '#':
    case '/':
        if (takeComment(adapter, end))
            return true;
        if (*next == '#' ? (m_options & VN_LEX_HASH_COMMENT) != 0 : next[1] == '/' || next[1] == '*')
            return false;
        break;
    case '+':
    case '-':
        if (vnLexClasses[next[1]] & VN_CLASS_DECIMAL)
            return false;
        break;
    default:
        break;
    }
    const unsigned char token = *next;
    if (!take(adapter, next + 1))
        return false;
    setNumber(VN_LEX_TOKEN, token);
    return true;
}

bool vnSerializeLex::takeInteger(vnSerializeAdapter& adapter, const unsigned char* end)
{
    const unsigned char* behind = vnAdapterWindow::next(adapter);
    const vnUInt64 magnitude = vnCharacter::takeDigits(behind, end);
    if (behind == end || vnCharacter::isDigit(*behind))
        return false;
    const unsigned char c = *behind;
    // The decimal token first: it may be any character.
    const bool isReal = c == m_decimalToken || (m_decimalToken == VN_DECIMAL_BOTH && (c == '.' || c == ','));
    const unsigned char letter = c | 0x20;
    if (isReal || letter == 'e' || letter == 'x')
        return false;
    if (!take(adapter, behind))
        return false;
    setInteger(magnitude, false);
    return true;
}

bool vnSerializeLex::takeDelimited(vnSerializeAdapter& adapter, const unsigned char* end,
                                   unsigned char delimiter, vnLexDataType type)
{
    const unsigned char* begin = vnAdapterWindow::next(adapter) + 1;
    const unsigned char* close = find(begin, end, delimiter);
    if (close == end || find(begin, close, '\\') != close)
        return false;
    const bool isVerbatim =
        (m_options & VN_LEX_ESCAPES) || std::none_of(begin, close, [](unsigned char c) { return c < 14; });
    return isVerbatim && takeText(adapter, close + 1, type, 1, 1);
}

bool vnSerializeLex::takeComment(vnSerializeAdapter& adapter, const unsigned char* end)
{
    const unsigned char* next = vnAdapterWindow::next(adapter);
    const unsigned int before = *next == '#' ? 1 : 2;
    if (next[0] == '/' && next[1] == '*')
    {
        if (!(m_options & VN_LEX_BLOCK_COMMENT) || end - next == before)
            return false;
        const unsigned char* slash = next + before;
        do
            slash = find(slash + 1, end, '/');
        while (slash < end && slash[-1] != '*');
        return slash < end && takeText(adapter, slash + 1, VN_LEX_COMMENT, before, 2);
    }
    if (!(m_options & (before == 1 ? VN_LEX_HASH_COMMENT : VN_LEX_SLASH_COMMENT)) ||
        (before == 2 && next[1] != '/'))
        return false;
    const unsigned char* behind = find(next + before, end, '\n');
    return behind != end && takeText(adapter, behind, VN_LEX_COMMENT, before, 0);
}

// Takes the token up to `end` and answers false, with nothing taken, when it or the character behind it is
// not 7-bit UTF-8: that is checked character by character.
bool vnSerializeLex::take(vnSerializeAdapter& adapter, const unsigned char* end)
{
    const unsigned char* begin = vnAdapterWindow::next(adapter);
    const bool hasNext = end != vnAdapterWindow::end(adapter);
    if ((m_options & VN_LEX_UTF8) && !isPlain(begin, hasNext ? end + 1 : end))
        return false;
    const auto count = static_cast<unsigned int>(end - begin);
    m_scanned.append(begin, count);
    m_lastSize = 0;
    m_budget -= count;
    vnAdapterWindow::advance(adapter, end);
    return true;
}

bool vnSerializeLex::takeText(vnSerializeAdapter& adapter, const unsigned char* end, vnLexDataType type,
                              unsigned int before, unsigned int behind)
{
    if (!take(adapter, end))
        return false;
    m_textBegin = before;
    m_textLength = m_scanned.getCount() - before - behind;
    setText(type, Value::SCANNED);
    return true;
}

bool vnSerializeLex::isPlain(const unsigned char* begin, const unsigned char* end) const noexcept
{
    unsigned int bits = 0;
    for (; begin != end; ++begin)
        bits |= *begin;
    return bits < 0x80;
}
