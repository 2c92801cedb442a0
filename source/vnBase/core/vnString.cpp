// SPDX-License-Identifier: MIT
#include <vnBase/vnString.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDictIndex.h>
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

namespace
{
// The bytes of the block of a text: what the heap hands out anyway for length + 1 bytes, in steps of 16. It
// follows from the length, so that it need not be kept, and appending within a step needs no new block.
unsigned int blockSize(unsigned int length)
{
    return std::max(((length + 8) & ~15u) + 8, 24u);
}

template <class Word>
vnUInt64 load(const char* bytes) noexcept
{
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}
} // namespace

char* vnString::allocate(unsigned int length)
{
    char* const text = static_cast<char*>(vn_malloc(blockSize(length)));
    if (!text)
        vnThrowBadAlloc(__FILE__, __LINE__);
    return text;
}

// Whether the present storage is this string's own and is what a text of that length would get.
bool vnString::hasRoomFor(unsigned int length) const noexcept
{
    if (!m_text || m_uniqueID)
        return false;
    return m_text == m_inline ? length <= VN_INLINE_LENGTH : blockSize(length) == blockSize(m_length);
}

// Gives a string without text the storage for one. The caller fills it.
char* vnString::start(unsigned int length)
{
    m_text = length <= VN_INLINE_LENGTH ? m_inline : allocate(length);
    m_length = static_cast<unsigned short>(length);
    m_text[length] = 0;
    return m_text;
}

// Takes everything over from `other`, which is left without text.
void vnString::steal(vnString& other) noexcept
{
    m_text = other.m_text;
    if (other.m_text == other.m_inline)
    {
        std::memcpy(m_inline, other.m_inline, sizeof m_inline);
        m_text = m_inline;
    }
    m_length = other.m_length;
    m_uniqueID = other.m_uniqueID;
    m_hash.store(other.m_hash.load(std::memory_order_relaxed), std::memory_order_relaxed);
    other.forget();
}

// Points to a text of the intern table.
void vnString::share(char* text, unsigned short length, unsigned short id, unsigned int hash) noexcept
{
    release();
    m_text = text;
    m_length = length;
    m_uniqueID = id;
    m_hash.store(hash, std::memory_order_relaxed);
}

// The bytes may stand in the present text.
void vnString::assignBytes(const char* text, unsigned int length)
{
    if (hasRoomFor(length))
    {
        std::memmove(m_text, text, length);
        m_text[length] = 0;
        m_length = static_cast<unsigned short>(length);
        m_hash.store(0, std::memory_order_relaxed);
        return;
    }
    vnString fresh;
    std::memcpy(fresh.start(length), text, length);
    *this = std::move(fresh);
}

// The length is taken modulo 65536 and the joined text cut there. That is meant, callers stay below the
// limit; the storage always holds what is copied.
void vnString::startJoined(const char* left, unsigned int leftLength, const char* right,
                           unsigned int rightLength)
{
    const unsigned int length = (leftLength + rightLength) & VN_MAX_LENGTH;
    char* const joined = start(length);
    const unsigned int first = std::min(length, leftLength);
    std::memcpy(joined, left, first);
    std::memcpy(joined + first, right, length - first);
}

// The bytes may stand in the present text.
void vnString::append(const char* text, unsigned int length)
{
    const unsigned int total = m_length + length;
    if (total <= VN_MAX_LENGTH && hasRoomFor(total))
    {
        std::memcpy(m_text + m_length, text, length);
        m_text[total] = 0;
        m_length = static_cast<unsigned short>(total);
        m_hash.store(0, std::memory_order_relaxed);
        return;
    }
    vnString joined;
    joined.startJoined(getString(), m_length, text, length);
    *this = std::move(joined);
}

// The text as bytes that may be written, for the operations that change it in place. They leave the hash as
// it is, so the one of the present text is found first.
char* vnString::ownText()
{
    const unsigned int present = hash();
    if (m_uniqueID)
    {
        vnString copy;
        std::memcpy(copy.start(m_length), m_text, m_length);
        *this = std::move(copy);
        m_hash.store(present, std::memory_order_relaxed);
    }
    return m_text;
}

vnString::vnString(const char* text)
{
    const unsigned int length = scannedLength(text);
    if (length)
        std::memcpy(start(length), text, length);
}

vnString::vnString(const char* text, unsigned short length)
{
    if (text && length)
        std::memcpy(start(length), text, length);
}

vnString::vnString(const vnString& other)
{
    if (other.m_uniqueID)
    {
        m_text = other.m_text;
        m_length = other.m_length;
        m_uniqueID = other.m_uniqueID;
    }
    else if (other.m_length)
        std::memcpy(start(other.m_length), other.m_text, other.m_length);
    m_hash.store(other.m_hash.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

vnString::vnString(vnString&& other) noexcept
{
    steal(other);
}

vnString::vnString(const char16_t* text)
{
    if (text)
        assignCharacters(text, vnwcslen(text));
}

vnString::vnString(const char16_t* text, unsigned short count, unsigned char ascii)
{
    if (!text || !count)
        return;
    if (ascii)
        std::transform(text, text + count, start(count),
                       [](char16_t unit) { return static_cast<char>(unit); });
    else
        assignCharacters(text, count);
}

vnString::vnString(vnInt64 value, unsigned char radix, unsigned short minDigits)
{
    if (radix < 2 || radix > 62)
        return;
    const bool negative = value < 0;
    const vnUInt64 magnitude = negative ? 0 - static_cast<vnUInt64>(value) : static_cast<vnUInt64>(value);
    const unsigned int limit = VN_MAX_LENGTH - negative;
    const vnDigits::Integer digits(magnitude, radix, false,
                                   static_cast<int>(std::min<unsigned int>(minDigits, limit)));
    digits.write(start(negative + digits.zeros() + digits.count()), negative);
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
        share(other.m_text, other.m_length, other.m_uniqueID, other.m_hash.load(std::memory_order_relaxed));
    else if (other.m_length == 0)
        clear();
    else
    {
        assignBytes(other.m_text, other.m_length);
        m_hash.store(other.m_hash.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }
    return *this;
}

vnString& vnString::operator=(vnString&& other) noexcept
{
    if (this != &other)
    {
        release();
        steal(other);
    }
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
    release();
    forget();
}

vnString vnString::operator+(const vnString& other) const
{
    if (other.isEmpty())
        return *this;
    vnString joined;
    joined.startJoined(getString(), m_length, other.m_text, other.m_length);
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
    joined.startJoined(getString(), m_length, text, length);
    return joined;
}

vnString vnString::operator+(char character) const
{
    if (!character)
        return *this;
    vnString joined;
    joined.startJoined(getString(), m_length, &character, 1);
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
        append(other.m_text, other.m_length);
    return *this;
}

vnString& vnString::operator+=(const char* text)
{
    const unsigned int length = scannedLength(text);
    if (m_length + length > VN_MAX_LENGTH)
        vnExceptionThrows::vnThrowFatal("Too many characters in vnString");
    if (length)
        append(text, length);
    return *this;
}

vnString& vnString::operator+=(char character)
{
    if (!character)
        return *this;
    if (m_length < VN_MAX_LENGTH && hasRoomFor(m_length + 1u))
    {
        m_text[m_length++] = character;
        m_text[m_length] = 0;
        m_hash.store(0, std::memory_order_relaxed);
    }
    else
        append(&character, 1);
    return *this;
}

vnString& vnString::operator+=(char16_t character)
{
    if (!character)
        return *this;
    char bytes[3];
    const unsigned char size = vnUtf::sizeOf(character);
    vnUtf::encode(bytes, character, size);
    append(bytes, size);
    return *this;
}

unsigned int vnString::computeHash() const noexcept
{
    const unsigned int value = hash(m_text, m_length);
    m_hash.store(value, std::memory_order_relaxed);
    return value;
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

// Products of 16 bytes at a time.
vnUInt64 vnString::mixedHash(vnUInt64 seed) const noexcept
{
    constexpr vnUInt64 first = 0xA0761D6478BD642Fu;
    constexpr vnUInt64 second = 0xE7037ED1A0B428DBu;
    const char* at = m_text;
    unsigned int left = m_length;
    for (; left > 16; at += 16, left -= 16)
        seed = vnFoldedProduct(load<vnUInt64>(at) ^ first, load<vnUInt64>(at + 8) ^ seed);
    vnUInt64 low = 0;
    vnUInt64 high = 0;
    if (left >= 8)
    {
        low = load<vnUInt64>(at);
        high = load<vnUInt64>(at + left - 8);
    }
    else if (left >= 4)
    {
        low = load<unsigned int>(at);
        high = load<unsigned int>(at + left - 4);
    }
    else if (left > 0)
    {
        low = static_cast<unsigned char>(at[0]) |
              static_cast<vnUInt64>(static_cast<unsigned char>(at[left / 2])) << 8;
        high = static_cast<unsigned char>(at[left - 1]);
    }
    return vnFoldedProduct(low ^ second ^ m_length, vnFoldedProduct(high ^ first, seed ^ second));
}

bool vnString::equalText(const vnString& other) const noexcept
{
    if (m_uniqueID && other.m_uniqueID)
        return m_uniqueID == other.m_uniqueID;
    if (m_length && other.m_length && m_length != other.m_length)
        return false;
    // A text that was never given counts as one that starts with NUL. It stays as it is even when that one is
    // interned, unlike all others: it would become longer by being compared.
    if (!m_text || !other.m_text)
        return !*getString() && !*other.getString();
    // The hash decides even before equal bytes: it may be that of an older text, see the direct mutators.
    if (m_length != other.m_length || hash() != other.hash() ||
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
