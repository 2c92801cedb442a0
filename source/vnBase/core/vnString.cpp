// SPDX-License-Identifier: MIT
#include <vnBase/vnString.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnNumberText.h>

#include <core/vnDigits.h>
#include <core/vnStringOrder.h>
#include <core/vnUtfScan.h>

#include <algorithm>

// Some platforms read a text a word at a time.
const char vnString::s_empty[4] = {};

vnType vnString::s_type(nullptr, "vnString");

vnType* vnString::getType() const
{
    return &s_type;
}

unsigned short vnString::scannedLength(const char* text) noexcept
{
    return strlen_safe(text, VN_MAX_LENGTH);
}

char* vnString::allocate(unsigned int length)
{
    char* const text = static_cast<char*>(vn_malloc(length + 1));
    if (!text)
        vnThrowBadAlloc(__FILE__, __LINE__);
    return text;
}

// Replaces the text by an owned block.
void vnString::take(char* text, unsigned short length, unsigned int hash) noexcept
{
    release();
    m_text = text;
    m_length = length;
    m_uniqueID = 0;
    m_hash = hash;
}

// The bytes may stand in the present text.
void vnString::assignBytes(const char* text, unsigned int length)
{
    if (m_length == length && !m_uniqueID && m_text)
    {
        std::memmove(m_text, text, length);
        m_hash = hash(m_text, length);
        return;
    }
    char* const copy = allocate(length);
    std::memcpy(copy, text, length);
    copy[length] = 0;
    take(copy, static_cast<unsigned short>(length), hash(copy, length));
}

// The length is taken modulo 65536 and the joined text cut there. That is meant, callers stay below the
// limit; the block always holds what is copied.
void vnString::assignJoined(const char* left, unsigned int leftLength, const char* right,
                            unsigned int rightLength)
{
    const unsigned int length = (leftLength + rightLength) & VN_MAX_LENGTH;
    char* const joined = allocate(length);
    const unsigned int first = std::min(length, leftLength);
    std::memcpy(joined, left, first);
    std::memcpy(joined + first, right, length - first);
    joined[length] = 0;
    take(joined, static_cast<unsigned short>(length), length ? hash(joined, length) : 0);
}

// The text as bytes that may be written, for the operations that change it in place.
char* vnString::ownText()
{
    if (m_uniqueID)
    {
        char* const copy = allocate(m_length);
        std::memcpy(copy, m_text, m_length + 1u);
        m_text = copy;
        m_uniqueID = 0;
    }
    return m_text;
}

vnString::vnString(const char* text)
{
    const unsigned int length = scannedLength(text);
    if (length)
        assignBytes(text, length);
}

vnString::vnString(const char* text, unsigned short length)
{
    if (text && length)
        assignBytes(text, length);
}

vnString::vnString(const vnString& other)
{
    if (other.m_uniqueID)
        m_text = other.m_text;
    else if (other.m_length)
    {
        m_text = allocate(other.m_length);
        std::memcpy(m_text, other.m_text, other.m_length + 1u);
    }
    else
        return;
    m_length = other.m_length;
    m_uniqueID = other.m_uniqueID;
    m_hash = other.m_hash;
}

vnString::vnString(vnString&& other) noexcept
    : m_text(other.m_text), m_length(other.m_length), m_uniqueID(other.m_uniqueID), m_hash(other.m_hash)
{
    other.m_text = nullptr;
    other.m_length = 0;
    other.m_uniqueID = 0;
    other.m_hash = 0;
}

vnString::vnString(const char16_t* text)
{
    if (text)
        assignWide(text, vnwcslen(text));
}

vnString::vnString(const char16_t* text, unsigned short count, unsigned char ascii)
{
    if (!text || !count)
        return;
    if (!ascii)
    {
        assignWide(text, count);
        return;
    }
    char* const bytes = allocate(count);
    for (unsigned int i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(text[i]);
    bytes[count] = 0;
    take(bytes, count, hash(bytes, count));
}

vnString::vnString(vnInt64 value, unsigned char radix, unsigned short minDigits)
{
    if (radix < 2 || radix > 62)
        return;
    char digits[vnDigits::VN_MAX_DIGITS];
    char* const end = digits + sizeof digits;
    const vnUInt64 magnitude = value < 0 ? 0 - static_cast<vnUInt64>(value) : static_cast<vnUInt64>(value);
    const char* const first = vnDigits::writeBackwards(end, magnitude, radix, false);
    const unsigned int count = static_cast<unsigned int>(end - first);
    const unsigned int sign = value < 0;
    const unsigned int zeros =
        std::min(std::max<unsigned int>(minDigits, count), VN_MAX_LENGTH - sign) - count;
    const unsigned int length = sign + zeros + count;
    char* const text = allocate(length);
    text[0] = '-';
    std::memset(text + sign, '0', zeros);
    std::memcpy(text + sign + zeros, first, count);
    text[length] = 0;
    take(text, static_cast<unsigned short>(length), hash(text, length));
}

vnString::vnString(double value, const vnString& format)
{
    if (format.isEmpty())
        this->format("%f", value);
    else
        this->format(format, value);
}

vnString& vnString::operator=(const vnString& other)
{
    if (this == &other)
        return *this;
    if (other.m_uniqueID)
    {
        release();
        m_text = other.m_text;
        m_length = other.m_length;
        m_uniqueID = other.m_uniqueID;
        m_hash = other.m_hash;
        return *this;
    }
    if (other.m_length == 0)
    {
        clear();
        return *this;
    }
    if (m_length == other.m_length && !m_uniqueID)
    {
        std::memcpy(m_text, other.m_text, m_length);
        m_hash = other.m_hash;
        return *this;
    }
    char* const copy = allocate(other.m_length);
    std::memcpy(copy, other.m_text, other.m_length + 1u);
    take(copy, other.m_length, other.m_hash);
    return *this;
}

vnString& vnString::operator=(vnString&& other) noexcept
{
    std::swap(m_text, other.m_text);
    std::swap(m_length, other.m_length);
    std::swap(m_uniqueID, other.m_uniqueID);
    std::swap(m_hash, other.m_hash);
    return *this;
}

vnString& vnString::operator=(const char* text)
{
    const unsigned int length = scannedLength(text);
    if (length)
        assignBytes(text, length);
    else
        clear();
    return *this;
}

void vnString::clear() noexcept
{
    take(nullptr, 0, 0);
}

vnString vnString::operator+(const vnString& other) const
{
    if (other.isEmpty())
        return *this;
    vnString joined;
    joined.assignJoined(getString(), m_length, other.m_text, other.m_length);
    return joined;
}

vnString vnString::operator+(const char* text) const
{
    const unsigned int length = scannedLength(text);
    if (length == 0)
        return *this;
    // Only here and in the form that assigns: callers of the others stay below the limit themselves.
    if (m_length + length > VN_MAX_LENGTH)
        vnExceptionThrows::vnThrowFatal("Too many characters in vnString");
    vnString joined;
    joined.assignJoined(getString(), m_length, text, length);
    return joined;
}

vnString vnString::operator+(char character) const
{
    if (!character)
        return *this;
    vnString joined;
    joined.assignJoined(getString(), m_length, &character, 1);
    return joined;
}

vnString vnString::operator+(char16_t character) const
{
    vnString joined(*this);
    joined += character;
    return joined;
}

vnString& vnString::operator+=(const vnString& other)
{
    if (!other.isEmpty())
        assignJoined(getString(), m_length, other.m_text, other.m_length);
    return *this;
}

vnString& vnString::operator+=(const char* text)
{
    const unsigned int length = scannedLength(text);
    if (m_length + length > VN_MAX_LENGTH)
        vnExceptionThrows::vnThrowFatal("Too many characters in vnString");
    if (length)
        assignJoined(getString(), m_length, text, length);
    return *this;
}

vnString& vnString::operator+=(char character)
{
    if (character)
        assignJoined(getString(), m_length, &character, 1);
    return *this;
}

vnString& vnString::operator+=(char16_t character)
{
    if (!character)
        return *this;
    char bytes[3];
    const unsigned char size = vnUtf::sizeOf(character);
    vnUtf::encode(bytes, character, size);
    assignJoined(getString(), m_length, bytes, size);
    return *this;
}

unsigned int vnString::hash(const char* text, unsigned int length)
{
    if (!text)
        return 0;
    if (length == 0)
        length = scannedLength(text);
    const unsigned char* at = reinterpret_cast<const unsigned char*>(text);
    unsigned int value = length;
    for (unsigned int words = length / 4; words-- > 0; at += 4)
    {
        // Little-endian everywhere, so that hashes agree across machines; one load where the host is.
        const unsigned int word = at[0] | static_cast<unsigned int>(at[1]) << 8 |
                                  static_cast<unsigned int>(at[2]) << 16 |
                                  static_cast<unsigned int>(at[3]) << 24;
        value ^= (word ^ words) | 2 * value;
    }
    unsigned int tail = 0;
    for (unsigned int rest = length % 4; rest > 0; --rest)
    {
        // Signed bytes on every host: plain char is unsigned on some.
        tail = tail << 8 | static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(*at++)));
    }
    return (2 * value | tail) ^ value;
}

vnUInt64 vnString::wrapHash() const noexcept
{
    vnUInt64 value = 0;
    for (unsigned int i = 0; i < m_length; ++i)
    {
        const vnInt64 byte = static_cast<signed char>(m_text[i]);
        value ^= static_cast<vnUInt64>(byte) << 8 * i % 64;
    }
    return value;
}

bool vnString::equalText(const vnString& other) const noexcept
{
    // A text that was never given counts as one that starts with NUL.
    if (!m_text || !other.m_text)
        return !*getString() && !*other.getString();
    if (m_hash != other.m_hash || m_length != other.m_length ||
        std::memcmp(m_text, other.m_text, m_length) != 0)
        return false;
    // Comparing interns on purpose, although both sides are const: keys of tables become cheap to compare by
    // being looked up.
    if (m_uniqueID)
        other.adopt(*this);
    else if (other.m_uniqueID)
        adopt(other);
    return true;
}

void vnString::adopt(const vnString& unique) const noexcept
{
    if (m_uniqueID)
        return;
    release();
    m_text = unique.m_text;
    m_uniqueID = unique.m_uniqueID;
}

bool operator==(const vnString& left, const char* right)
{
    const unsigned int length = left.length();
    const std::size_t other = right ? std::strlen(right) : 0;
    return length == other && (length == 0 || std::memcmp(left.getString(), right, length) == 0);
}

bool operator<(const vnString& left, const vnString& right)
{
    return vnOrder::isBefore(left.getString(), left.length(), right.getString(), right.length());
}

bool operator<(const vnString& left, const char* right)
{
    return vnOrder::isBefore(left.getString(), left.length(), right, right ? std::strlen(right) : 0);
}

bool operator<(const char* left, const vnString& right)
{
    return vnOrder::isBefore(left, left ? std::strlen(left) : 0, right.getString(), right.length());
}
