// SPDX-License-Identifier: MIT
#include <vnBase/vnString.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnNumberText.h>

#include <core/vnStringOrder.h>

#include <algorithm>

namespace
{
bool isWhiteSpace(char byte)
{
    return byte == '\t' || byte == '\n' || byte == '\r' || byte == ' ';
}

// The text without what `drops` says at the chosen ends.
template <class Drops>
vnString stripped(const vnString& text, bool atStart, bool atEnd, Drops drops)
{
    const char* const bytes = text.getString();
    unsigned int first = 0;
    unsigned int end = text.length();
    while (atStart && first < end && drops(bytes[first]))
        ++first;
    while (atEnd && end > first && drops(bytes[end - 1]))
        --end;
    if (end - first == text.length())
        return text;
    return vnString(bytes + first, static_cast<unsigned short>(end - first));
}
} // namespace

char& vnString::operator()(unsigned short index)
{
    if (index >= m_length)
        vnExceptionThrows::vnThrowFatal("vnString(index) out of bounds");
    return ownText()[index];
}

char vnString::operator()(unsigned short index) const
{
    if (index >= m_length)
        vnExceptionThrows::vnThrowFatal("vnString(index) out of bounds");
    return m_text[index];
}

vnString vnString::operator()(unsigned short index, unsigned short len) const
{
    if (len == 0)
        return vnString();
    if (index >= m_length)
        vnExceptionThrows::vnThrowFatal("vnString(index,len) out of bounds");
    return vnString(m_text + index, std::min<unsigned short>(len, m_length - index));
}

vnString vnString::left(unsigned short n, unsigned char invert) const
{
    const unsigned short count = std::min(n, m_length);
    return invert ? vnString(getString() + count, m_length - count) : vnString(m_text, count);
}

vnString vnString::right(unsigned short n, unsigned char invert) const
{
    const unsigned short rest = m_length - std::min(n, m_length);
    return invert ? vnString(m_text, rest) : vnString(getString() + rest, m_length - rest);
}

// The first or the last match. The empty pattern stands at 0 either way.
bool vnString::findPlace(const vnString& pattern, bool first, bool caseSensitive, unsigned short* pos) const
{
    if (first || pattern.isEmpty())
        return contains(pattern, 0, caseSensitive, pos);
    if (pattern.m_length > m_length)
        return false;
    for (unsigned int at = m_length - pattern.m_length + 1u; at-- > 0;)
    {
        if (!vnOrder::agree(m_text + at, pattern.m_text, pattern.m_length, caseSensitive))
            continue;
        *pos = static_cast<unsigned short>(at);
        return true;
    }
    return false;
}

vnString vnString::leftOf(const vnString& pattern, unsigned char first, unsigned char caseSensitive) const
{
    unsigned short pos = 0;
    return findPlace(pattern, first != 0, caseSensitive != 0, &pos) ? left(pos) : vnString();
}

vnString vnString::rightOf(const vnString& pattern, unsigned char last, unsigned char caseSensitive) const
{
    unsigned short pos = 0;
    if (!findPlace(pattern, last == 0, caseSensitive != 0, &pos))
        return vnString();
    return left(static_cast<unsigned short>(pos + pattern.m_length), 1);
}

unsigned short vnString::find(unsigned char byte, unsigned short from) const noexcept
{
    if (from >= m_length)
        return from;
    const void* const found = std::memchr(m_text + from, byte, m_length - from);
    return found ? static_cast<unsigned short>(static_cast<const char*>(found) - m_text) : m_length;
}

unsigned char vnString::contains(const vnString& pattern, unsigned short from, unsigned char caseSensitive,
                                 unsigned short* pos) const
{
    if (from >= m_length)
        return 0;
    const char* const start = m_text;
    const char* const end = start + m_length;
    const char* found = start; // the empty pattern is found at 0, whatever `from` is
    if (!pattern.isEmpty())
    {
        const char* const wanted = pattern.m_text;
        const char* const wantedEnd = wanted + pattern.m_length;
        const auto agree = [caseSensitive](char left, char right)
        { return vnOrder::agree(left, right, caseSensitive != 0); };
        found = std::search(start + from, end, wanted, wantedEnd, agree);
    }
    if (found == end)
        return 0;
    if (pos)
        *pos = static_cast<unsigned short>(found - start);
    return 1;
}

unsigned char vnString::compare(const vnString& other, unsigned char caseSensitive,
                                unsigned short* matched) const
{
    const unsigned short both = std::min(m_length, other.m_length);
    unsigned short count = 0;
    while (count < both && vnOrder::agree(m_text[count], other.m_text[count], caseSensitive != 0))
        ++count;
    if (matched)
        *matched = count;
    return count == other.m_length;
}

unsigned char vnString::isFirst(const vnString& pattern, unsigned char caseSensitive) const
{
    return pattern.m_length <= m_length &&
           vnOrder::agree(getString(), pattern.getString(), pattern.m_length, caseSensitive != 0);
}

unsigned char vnString::isFirst(char character, unsigned char caseSensitive) const noexcept
{
    return m_length && vnOrder::agree(m_text[0], character, caseSensitive != 0);
}

unsigned char vnString::isLast(const vnString& pattern, unsigned char caseSensitive) const
{
    return pattern.m_length <= m_length &&
           vnOrder::agree(getString() + (m_length - pattern.m_length), pattern.getString(), pattern.m_length,
                          caseSensitive != 0);
}

unsigned char vnString::isLast(char character, unsigned char caseSensitive) const noexcept
{
    return m_length && vnOrder::agree(m_text[m_length - 1], character, caseSensitive != 0);
}

vnString vnString::strip(char character, unsigned char atStart, unsigned char atEnd) const
{
    return stripped(*this, atStart, atEnd, [character](char byte) { return byte == character; });
}

vnString vnString::stripWhiteSpace(unsigned char atStart, unsigned char atEnd) const
{
    return stripped(*this, atStart, atEnd, isWhiteSpace);
}

unsigned short vnString::substitute(char from, char to)
{
    unsigned short count = 0;
    for (unsigned int at = find(static_cast<unsigned char>(from)); at < m_length; ++at)
    {
        if (m_text[at] != from)
            continue;
        ownText()[at] = to; // the hash stays as it is on purpose, see the header
        ++count;
    }
    return count;
}

vnString vnString::substitute(const vnString& from, const vnString& to) const
{
    unsigned short pos = 0;
    if (from.isEmpty() || !contains(from, 0, 1, &pos))
        return *this;
    // What does not fit any more is cut, as in the other operations that may make a text longer.
    const unsigned int behind = pos + from.m_length;
    const unsigned int kept = std::min<unsigned int>(to.m_length, VN_MAX_LENGTH - pos);
    const unsigned int rest = std::min(m_length - behind, VN_MAX_LENGTH - pos - kept);
    vnString result;
    if (pos + kept + rest == 0)
        return result;
    char* const text = result.start(pos + kept + rest);
    std::memcpy(text, m_text, pos);
    std::memcpy(text + pos, to.getString(), kept);
    std::memcpy(text + pos + kept, m_text + behind, rest);
    return result;
}

vnString vnString::toLower() const
{
    vnString result;
    if (m_length)
        std::transform(m_text, m_text + m_length, result.start(m_length), vnOrder::toLower);
    return result;
}

vnString vnString::toUpper() const
{
    vnString result;
    if (m_length)
        std::transform(m_text, m_text + m_length, result.start(m_length), vnOrder::toUpper);
    return result;
}

void vnString::reverse()
{
    if (m_length < 2)
        return;
    char* const text = ownText();
    std::reverse(text, text + m_length);
}

vnString vnString::spaces(unsigned short n, char c)
{
    vnString result;
    std::memset(result.start(n), c, n);
    return result;
}

double vnString::sortval() const noexcept
{
    double value = 0;
    double weight = 1;
    for (unsigned int i = 0; i < m_length; ++i)
    {
        weight /= 256;
        value += static_cast<unsigned char>(m_text[i]) * weight;
    }
    return value;
}

vnString& vnString::identifier(vnInt64 value)
{
    char letters[100];
    unsigned short length = 0;
    vnULtoIdent(letters, static_cast<vnUInt64>(value), 0, &length);
    assignBytes(letters, length);
    return *this;
}

vnArray<unsigned char> vnString::getBSTR() const
{
    constexpr unsigned int limit = 255;
    constexpr unsigned int kept = 252;
    const bool cut = m_length > limit;
    const unsigned int length = cut ? limit : m_length;
    vnArray<unsigned char> result(length + 1);
    result[0] = static_cast<unsigned char>(length);
    if (length)
        std::memcpy(result.data() + 1, m_text, cut ? kept : length);
    if (cut)
        std::memset(result.data() + 1 + kept, '.', limit - kept);
    return result;
}

const char* vnYesNo(unsigned char value, unsigned char capitalised)
{
    if (capitalised)
        return value ? "Yes" : "No";
    return value ? "yes" : "no";
}

void strcpy_safe(char* to, const char* from, unsigned short size)
{
    if (size == 0 || !to)
        return;
    const unsigned short length = strlen_safe(from, static_cast<unsigned short>(size - 1));
    if (length)
        std::memmove(to, from, length);
    to[length] = 0;
}

unsigned short strlen_safe(const char* text, unsigned short max)
{
    if (!text)
        return 0;
    const void* const end = std::memchr(text, 0, max);
    return end ? static_cast<unsigned short>(static_cast<const char*>(end) - text) : max;
}
