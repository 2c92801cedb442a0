// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArgument.h>
#include <vnBase/vnArray.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnType.h>
#include <vnBase/vnUtf.h>

#include <atomic>
#include <cstring>

/// The text type of the library: 8-bit, at most 65535 bytes, with its hash kept. The text is normally
/// UTF-8; an 8-bit text that is not is accepted and told apart when it matters (`isAsciiString`).
///
///     vnString path("models/");
///     path += name;
///     if (path.isLast(".png", 0))
///         ...
///     vnString line = vnString::formatString("%s: %d bytes", path, size);
///
/// Each string owns its bytes, and a copy copies them; only an interned string (see `vnUniqueString`) shares
/// its text with the intern table. Texts of up to 15 bytes stand in the object itself, so that their address
/// changes when it is moved; longer ones have a block of their own that grows in steps of 16 bytes. Comparing
/// for equality is one compare of hashes, or of ids for two interned strings. Indexes and lengths are in
/// bytes.
///
/// An exhausted heap is reported and throws `std::bad_alloc`; the string keeps its old text. Index faults
/// throw `vnFatalError`.
///
/// Thread-safety: none for one string. Comparing writes: an ordinary string that equals an interned one
/// becomes interned, also through a const reference. So does a look-up in a dictionary, for a key and an
/// equal stored key.
class VN_BASE_API vnString
{
public:
    static constexpr unsigned int VN_MAX_LENGTH = 65535;

    /// Constant-initialised as a static, so that code which runs before the statics of its file may set it.
    constexpr vnString() noexcept : m_nothing() {}

    /// A text that ends with NUL, its first 65535 bytes at most. Null gives the empty string.
    vnString(const char* text);

    /// Exactly `length` bytes, NUL bytes included; not scanned.
    vnString(const char* text, unsigned short length);
    vnString(const vnString& other);
    vnString(vnString&& other) noexcept;

    /// A 16-bit text that ends with NUL. Each unit is encoded by itself, so a pair of surrogates becomes two
    /// characters.
    vnString(const char16_t* text);

    /// `count` units. With `ascii` the low byte of each, exactly `count` bytes; otherwise UTF-8.
    vnString(const char16_t* text, unsigned short count, unsigned char ascii);

    /// An integer in `radix` 2 to 62, padded with "0" to `minDigits`, also to more than the 32767 that
    /// `vnLtoA` can be asked for; empty for any other radix.
    vnString(vnInt64 value, unsigned char radix, unsigned short minDigits);

    /// A number through `format`; an empty format means "%f".
    vnString(double value, const vnString& format);

    static vnType s_type;
    static vnType* getClassType() { return &s_type; }
    virtual vnType* getType() const;

    /// Throws nothing itself; members of derived classes may.
    virtual ~vnString() noexcept(false) { release(); }

    vnString& operator=(const vnString& other);
    vnString& operator=(vnString&& other) noexcept;
    vnString& operator=(const char* text);

    /// Lets go of the text.
    void clear() noexcept;

    /// Concatenation. A NUL character adds nothing, a `char16_t` is added as UTF-8. Only the `const char*`
    /// forms test the length and throw `vnFatalError` with "Too many characters in vnString" beyond 65535
    /// bytes; in the others the length is taken modulo 65536 and the joined text is cut there: with one byte
    /// too many it is empty. Collect long texts in a `vnSerializeAdapterQueue`.
    vnString operator+(const vnString& other) const;
    vnString operator+(const char* text) const;
    vnString operator+(char character) const;
    vnString operator+(char16_t character) const;
    vnString& operator+=(const vnString& other);
    vnString& operator+=(const char* text);
    vnString& operator+=(char character);
    vnString& operator+=(char16_t character);

    unsigned short length() const noexcept { return m_length; }
    unsigned char isEmpty() const noexcept { return m_length == 0; }

    /// True when there is no text or it starts with NUL. There is no opposite: `if (text)` tests the pointer
    /// below, and always holds. Ask `isEmpty()`.
    bool operator!() const noexcept { return !m_text || !*m_text; }

    /// The hash of the text as it was set last; equal on all hosts.
    unsigned int hash() const noexcept
    {
        const unsigned int known = m_hash.load(std::memory_order_relaxed);
        return known || !m_length ? known : computeHash();
    }

    /// The hash of any bytes. A `length` of 0 scans to the NUL, 65535 bytes at most.
    static unsigned int hash(const char* text, unsigned int length);

    /// A 64-bit hash made by shifting and folding each byte.
    vnUInt64 wrapHash() const noexcept;

    /// A hash of good spread for tables inside one process, which `seed` makes hard to foresee.
    vnUInt64 mixedHash(vnUInt64 seed) const noexcept;

    /// The text, ended by NUL; never null, also of an empty text.
    const char* getString() const noexcept { return m_text ? m_text : s_empty; }
    operator const char*() const noexcept { return getString(); }

    /// A writable byte. It does not renew the hash, by which strings are compared and dictionaries look up:
    /// after a change the text may differ from an equal one, until `text = vnString(text.getString())`
    /// hashes it anew. An interned string that is not const copies the shared
    /// text first and drops its id, also when the caller only reads: `isUnique()` answers 0 then. An index at
    /// or past the length throws.
    char& operator()(unsigned short index);

    /// The byte of a const string, which stays as it is.
    char operator()(unsigned short index) const;

    /// `len` bytes from `index`, cut at the end of the text. `len` 0 gives the empty string; otherwise an
    /// index at or past the length throws.
    vnString operator()(unsigned short index, unsigned short len) const;

    /// The first `n` bytes, or with `invert` all but those.
    vnString left(unsigned short n, unsigned char invert = 0) const;

    /// The last `n` bytes, or with `invert` all but those.
    vnString right(unsigned short n, unsigned char invert = 0) const;

    /// The text before the first match of `pattern`, or with `first` 0 before the last; empty when there is
    /// none.
    vnString leftOf(const vnString& pattern, unsigned char first = 1, unsigned char caseSensitive = 1) const;

    /// The text behind the first match of `pattern`, or with `last` behind the last; empty when there is
    /// none.
    vnString rightOf(const vnString& pattern, unsigned char last = 0, unsigned char caseSensitive = 1) const;

    /// The index of the first byte at or after `from` that equals `byte`, or the length. A `from` at or past
    /// the length is returned as it is.
    unsigned short find(unsigned char byte, unsigned short from = 0) const noexcept;

    /// 1 when `pattern` stands at or after `from`; its place goes to `pos`. The empty pattern is found at 0;
    /// an empty text holds nothing.
    unsigned char contains(const vnString& pattern, unsigned short from = 0, unsigned char caseSensitive = 1,
                           unsigned short* pos = nullptr) const;

    /// 1 when all of `other` stands at the start of this text; `matched` receives how many bytes agree.
    unsigned char compare(const vnString& other, unsigned char caseSensitive = 1,
                          unsigned short* matched = nullptr) const;

    /// 1 when the text begins, or ends, with the pattern.
    unsigned char isFirst(const vnString& pattern, unsigned char caseSensitive = 1) const;
    unsigned char isFirst(char character, unsigned char caseSensitive = 1) const noexcept;
    unsigned char isLast(const vnString& pattern, unsigned char caseSensitive = 1) const;
    unsigned char isLast(char character, unsigned char caseSensitive = 1) const noexcept;

    /// The text without leading and trailing `character`s, or without tabs, line feeds, carriage returns,
    /// blanks.
    vnString strip(char character, unsigned char atStart = 1, unsigned char atEnd = 1) const;
    vnString stripWhiteSpace(unsigned char atStart = 1, unsigned char atEnd = 1) const;

    /// Replaces each `from` in place and returns how many there were. The hash is not renewed, see
    /// `operator()`.
    unsigned short substitute(char from, char to);

    /// A copy in which the first `from` is replaced; cut at 65535 bytes. An empty `from` stands nowhere here,
    /// although `contains` finds it: the copy equals the text.
    vnString substitute(const vnString& from, const vnString& to) const;

    /// ASCII letters only; bytes above 127 stay.
    vnString toLower() const;
    vnString toUpper() const;

    /// Turns the bytes round in place. The hash is not renewed, see `operator()`.
    void reverse();

    /// `n` times `c`.
    static vnString spaces(unsigned short n, char c = ' ');

    /// A number that orders like the text: the sum of byte i (from 1) times 256 to the power of -i.
    double sortval() const noexcept;

    /// Assigns `value` in letters, see `vnULtoIdent`.
    vnString& identifier(vnInt64 value);

    /// XORs the 16-bit characters with a running key. Twice with one key restores the text, as long as the
    /// scrambled one fits in 65535 bytes, where it is cut. A character that becomes 0 is kept as NUL, which
    /// ends the text for readers of `getString()`. A text that is no valid UTF-8 loses everything from its
    /// first malformed byte on.
    vnString& scramble(unsigned int key);

    /// The length in one byte, then the text; of a longer text 255, its first 252 bytes and three dots.
    vnArray<unsigned char> getBSTR() const;

    /// The count in one unit, then the 16-bit text.
    vnArray<char16_t> getWideBSTR() const;

    /// 1 when the text is 8-bit text that is no valid UTF-8. Plain 7-bit text and the empty text answer 0:
    /// the name means code page text, and the format engine and the converters rely on this reading.
    unsigned char isAsciiString() const noexcept;

    /// 1 when any byte has its top bit set.
    unsigned char hasEscapedUTF8Chars() const noexcept;

    /// 8-bit text as UTF-8, each byte a character; anything else is copied.
    vnString convertAsciiToUTF8() const;

    /// Valid UTF-8 with each character cut to its low byte; 8-bit text is copied.
    vnString convertUTF8ToAscii() const;

    /// Control characters, quotes, question mark and backslash as backslash forms; with `escapeBlank` also
    /// the blank, as \040.
    vnString convertCtrlToText(unsigned char escapeBlank = 0) const;

    /// The reverse. A backslash before any other character stays.
    vnString convertTextToCtrl() const;

    /// Each character as a number through `format`, joined by `separator`.
    vnString convertUTF8ToNumList(const vnString& format, const vnString& separator) const;

    /// The reverse: each number is a character, of its low 16 bits; commas part them, and anything else stays
    /// as it stands.
    vnString convertNumListToUTF8() const;

    /// The number that the text begins with, as the lexical reader reads it (white space before it, a sign,
    /// "0x" and hexadecimal digits, a fraction, an exponent), cut to an integer; 0 when there is none.
    vnInt64 num() const;

    /// The same with its fraction, which `decimalToken` starts; 9999 stands for both "." and ",".
    double real(unsigned short decimalToken = '.') const;

    /// 1 for "yes" and "true", in any case and between white space, and for a number above 0.
    unsigned char yesNo() const;

    /// The value of a version number: of the pieces between the dots each is added to what those before it
    /// gave, times `multiplier`. `parts` receives how many pieces there are, when it is not null.
    vnInt64 dotValue(unsigned int multiplier, unsigned int* parts = nullptr) const;

    /// The characters of the text read as UTF-8, up to the first malformed sequence.
    unsigned short getWideStringLength() const noexcept;

    /// Decodes into the caller's buffer, the low 16 bits of each character, with a NUL when `terminate` is
    /// set, and returns the count without it.
    unsigned short getWideString(char16_t* buffer, unsigned char terminate) const noexcept;

    /// Decodes into a buffer of the calling thread with room for `length` + 1 units, or for the whole text
    /// when `length` is 0, and ends it with NUL. A longer text is cut. Valid through the thread's next 9
    /// calls.
    const char16_t* getWideString(unsigned short length = 0) const;

    /// Assigns the formatted text. The language of formats is described with the format engine in
    /// docs/core.md.
    template <class... Args>
    vnString& format(const vnString& format, const Args&... args)
    {
        return assignFormat(format.getString(), format.m_length, vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class... Args>
    vnString& format(const char* format, const Args&... args)
    {
        return assignFormat(format, scannedLength(format), vnArgumentPack<sizeof...(Args)>(args...));
    }

    /// The formatted text as a new string; two names for one thing.
    template <class F, class... Args>
    static vnString formatString(const F& format, const Args&... args)
    {
        vnString result;
        result.format(format, args...);
        return result;
    }
    template <class F, class... Args>
    static vnString str(const F& format, const Args&... args)
    {
        return formatString(format, args...);
    }

    /// For operations that take a `vnArgumentList` themselves. `format` is not scanned.
    vnString& assignFormat(const char* format, unsigned short length, const vnArgumentList& arguments);

    /// Interns the text, under the id that is given when it is not 0. See `vnUniqueString`.
    unsigned char makeUnique(unsigned short id = 0);
    unsigned char isUnique() const noexcept { return m_uniqueID != 0; }
    unsigned short getUniqueID() const noexcept { return m_uniqueID; }

    /// Becomes interned when the text already is, and answers whether it is.
    unsigned char checkUnique();

private:
    friend VN_BASE_API bool operator==(const vnString& left, const vnString& right);

    static constexpr unsigned int VN_INLINE_LENGTH = 15;

    static unsigned short scannedLength(const char* text) noexcept;
    static char* allocate(unsigned int length);
    unsigned int computeHash() const noexcept;
    vnUInt64 lengthIdHash() const noexcept;
    bool equalText(const vnString& other) const noexcept;
    static bool equalBytes(const char* left, const char* right, unsigned int count) noexcept;
    void adopt(const vnString& unique) const noexcept;
    void release() const noexcept
    {
        if (m_text != m_inline && m_text && !m_uniqueID)
            vn_free(m_text);
    }
    void forget() noexcept
    {
        m_text = nullptr;
        m_length = 0;
        m_uniqueID = 0;
        m_hash.store(0, std::memory_order_relaxed);
    }
    void steal(vnString& other) noexcept;
    void share(char* text, unsigned short length, unsigned short id, unsigned int hash) noexcept;
    bool hasRoomFor(unsigned int length) const noexcept;
    char* start(unsigned int length);
    void startJoined(const char* left, unsigned int leftLength, const char* right, unsigned int rightLength);
    void append(const char* text, unsigned int length);
    void assignBytes(const char* text, unsigned int length);
    template <class Character>
    void assignCharacters(const Character* text, unsigned int count);
    char* ownText();
    bool takeTextOf(unsigned short id);
    bool findPlace(const vnString& pattern, bool first, bool caseSensitive, unsigned short* pos) const;

    static const char s_empty[4];

    // Null, a block of its own, the bytes below, or the intern table's when there is an id. Mutable, since an
    // equal comparison against an interned string interns this one.
    mutable char* m_text = nullptr;
    unsigned short m_length = 0;
    mutable unsigned short m_uniqueID = 0;

    // Computed when it is first asked for and 0 until then. Atomic, since reading a string is no write for
    // its users.
    mutable std::atomic<unsigned int> m_hash{0};
    struct Nothing
    {
    };
    union
    {
        Nothing m_nothing; // of a string without text, for the sake of constant initialisation
        char m_inline[VN_INLINE_LENGTH + 1]; // short texts
    };
};

// The length in the lowest 16 bits, the id in the next ones, the hash in the high half, in one load.
inline vnUInt64 vnString::lengthIdHash() const noexcept
{
    using Word [[gnu::may_alias]] = vnUInt64;
    const vnUInt64 word = __atomic_load_n(reinterpret_cast<const Word*>(&m_length), __ATOMIC_RELAXED);
    if constexpr (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__)
        return word;
    return word << 32 | (word >> 32 & 0xFFFF) << 16 | word >> 48;
}

// Most texts are short, and their words are compared faster than a function is called. The words overlap.
inline bool vnString::equalBytes(const char* left, const char* right, unsigned int count) noexcept
{
    constexpr unsigned int word = sizeof(vnUInt64);
    if (count - word > 3 * word)
        return std::memcmp(left, right, count) == 0;
    const auto difference = [left, right](unsigned int at)
    {
        vnUInt64 one, other;
        std::memcpy(&one, left + at, word);
        std::memcpy(&other, right + at, word);
        return one ^ other;
    };
    const unsigned int last = count - word;
    const unsigned int second = last < word ? last : word;
    const unsigned int third = last < word ? 0 : last - word;
    return (difference(0) | difference(second) | difference(third) | difference(last)) == 0;
}

/// Equality. Two interned strings compare by id; otherwise hash, length and bytes decide. When the strings
/// are equal and exactly one is interned, the other becomes so too.
inline bool operator==(const vnString& left, const vnString& right)
{
    // Most comparisons are of two ordinary texts of one length and with the same knowledge of their hashes.
    // The low half of the word is the length when there is no id.
    constexpr unsigned int maxLength = 0xFFFF;
    const vnUInt64 leftWord = left.lengthIdHash();
    const vnUInt64 rightWord = right.lengthIdHash();
    const unsigned int idAndLength = static_cast<unsigned int>(leftWord);
    if (leftWord == rightWord && idAndLength - 1 < maxLength)
        return vnString::equalBytes(left.m_text, right.m_text, idAndLength);
    const unsigned int leftHash = left.m_hash.load(std::memory_order_relaxed);
    const unsigned int rightHash = right.m_hash.load(std::memory_order_relaxed);
    if (leftHash != rightHash && leftHash && rightHash && !(left.m_uniqueID && right.m_uniqueID))
        return false;
    return left.equalText(right);
}

/// Bytes only; interns nothing. Null reads as empty. `right` ends at its NUL, so that a text with a NUL in it
/// equals none.
inline bool operator==(const vnString& left, const char* right)
{
    const std::size_t length = right ? std::strlen(right) : 0;
    return left.length() == length && (length == 0 || std::memcmp(left.getString(), right, length) == 0);
}

/// Order by signed bytes; a proper prefix is the smaller one.
VN_BASE_API bool operator<(const vnString& left, const vnString& right);
VN_BASE_API bool operator<(const vnString& left, const char* right);
VN_BASE_API bool operator<(const char* left, const vnString& right);

inline bool operator==(const char* left, const vnString& right)
{
    return right == left;
}
inline bool operator!=(const vnString& left, const vnString& right)
{
    return !(left == right);
}
inline bool operator!=(const vnString& left, const char* right)
{
    return !(left == right);
}
inline bool operator!=(const char* left, const vnString& right)
{
    return !(right == left);
}
inline bool operator>(const vnString& left, const vnString& right)
{
    return right < left;
}
inline bool operator>(const vnString& left, const char* right)
{
    return right < left;
}
inline bool operator>(const char* left, const vnString& right)
{
    return right < left;
}
inline bool operator<=(const vnString& left, const vnString& right)
{
    return left == right || left < right;
}
inline bool operator<=(const vnString& left, const char* right)
{
    return left == right || left < right;
}
inline bool operator<=(const char* left, const vnString& right)
{
    return left == right || left < right;
}
inline bool operator>=(const vnString& left, const vnString& right)
{
    return right <= left;
}
inline bool operator>=(const vnString& left, const char* right)
{
    return right <= left;
}
inline bool operator>=(const char* left, const vnString& right)
{
    return right <= left;
}

/// "yes" or "no", or with `capitalised` "Yes" or "No".
VN_BASE_API const char* vnYesNo(unsigned char value, unsigned char capitalised = 0);

/// Copies at most `size` - 1 bytes and ends them with NUL; does nothing for size 0. Null reads as empty.
VN_BASE_API void strcpy_safe(char* to, const char* from, unsigned short size);

/// The bytes before the NUL, `max` at most; 0 for null.
VN_BASE_API unsigned short strlen_safe(const char* text, unsigned short max = 65535);
