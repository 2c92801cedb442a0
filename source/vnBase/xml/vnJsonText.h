// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <dynamic/vnDynamicBytes.h>

#include <cstddef>

/// The strings of JSON texts.
namespace vnJsonText
{
enum Mark : vnUInt64
{
    VN_EACH = 0x0101010101010101ull,
    VN_TOP = 0x8080808080808080ull
};

/// The top bit of each byte of a word that equals `byte`; above the lowest one there may be wrong ones.
inline vnUInt64 bytesThatAre(vnUInt64 word, unsigned char byte) noexcept
{
    const vnUInt64 other = word ^ (VN_EACH * byte);
    return (other - VN_EACH) & ~other & VN_TOP;
}

/// The first quote or backslash, and with `CONTROLS` also the first byte below 0x20; or `end`.
template <bool CONTROLS>
const unsigned char* findSpecial(const unsigned char* at, const unsigned char* end) noexcept
{
    for (; end - at >= 8; at += 8)
    {
        const vnUInt64 word = vnDynamicBytes::get<vnUInt64>(at);
        vnUInt64 found = bytesThatAre(word, '"') | bytesThatAre(word, '\\');
        if constexpr (CONTROLS)
            found |= (word - VN_EACH * 0x20) & ~word & VN_TOP;
        if (found)
            return at + (__builtin_ctzll(found) >> 3);
    }
    while (at != end && *at != '"' && *at != '\\' && !(CONTROLS && *at < 0x20))
        ++at;
    return at;
}

/// The first byte that may need an escape when it is written; or `end`.
template <bool STRICT>
const unsigned char* findEscaped(const unsigned char* at, const unsigned char* end) noexcept
{
    for (; end - at >= 8; at += 8)
    {
        const vnUInt64 word = vnDynamicBytes::get<vnUInt64>(at);
        vnUInt64 found = bytesThatAre(word, '"') | bytesThatAre(word, '\\');
        found |= (word - VN_EACH * 0x20) & ~word & VN_TOP;
        if constexpr (!STRICT)
            found |= bytesThatAre(word, '\'') | bytesThatAre(word, '?');
        if (found)
            return at + (__builtin_ctzll(found) >> 3);
    }
    while (at != end && *at >= 0x20 && *at != '"' && *at != '\\' && (STRICT || (*at != '\'' && *at != '?')))
        ++at;
    return at;
}

/// -1 for what is no hexadecimal digit.
int hexDigit(unsigned char c) noexcept;

/// The character that a letter behind a backslash means; -1 for others. The wide set is that of
/// `vnString::convertTextToCtrl` and the slash.
int escapeOf(unsigned char letter, bool isStrict) noexcept;

/// Writes a character as up to 4 bytes of UTF-8 and returns the end; a half of a surrogate pair takes 3.
unsigned char* encode(unsigned char* to, unsigned int character) noexcept;

/// Decodes the escapes of a raw text in its place and returns the new length. What is no escape stays as it
/// is.
std::size_t decode(unsigned char* text, std::size_t length) noexcept;

/// Whether the bytes are UTF-8 as RFC 3629 has it: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(const unsigned char* text, std::size_t length) noexcept;

/// Whether the text is "true", "false" or "null".
bool isWord(const unsigned char* text, std::size_t length) noexcept;

/// 0 for a byte that is written as it is, the letter behind its backslash otherwise; 'u' for `\u00XX`.
extern const unsigned char wideEscapes[256];
extern const unsigned char strictEscapes[256];
} // namespace vnJsonText
