// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <cstddef>
#include <cstring>

/// The steps of UTF-8 that report nothing, for the loops of the string and the format engine. See vnUtf.h for
/// the form.
namespace vnUtf
{
/// 0 for 0x80000000 and above.
inline unsigned char sizeOf(unsigned int character) noexcept
{
    if (character < 0x80)
        return 1;
    if (character < 0x800)
        return 2;
    if (character < 0x10000)
        return 3;
    if (character < 0x200000)
        return 4;
    if (character < 0x4000000)
        return 5;
    return character < 0x80000000u ? 6 : 0;
}

inline unsigned char leadSize(unsigned char lead) noexcept
{
    if (lead < 0x80)
        return 1;
    if (lead < 0xC0)
        return 0;
    if (lead < 0xE0)
        return 2;
    if (lead < 0xF0)
        return 3;
    if (lead < 0xF8)
        return 4;
    if (lead < 0xFC)
        return 5;
    return lead < 0xFE ? 6 : 0;
}

inline unsigned char byteAt(const char* text, std::size_t index) noexcept
{
    return static_cast<unsigned char>(text[index]);
}

/// 0 for a malformed sequence. Stops at the first wrong byte, so that the NUL behind a text ends each walk.
inline unsigned char sequenceSize(const char* text) noexcept
{
    const unsigned char size = leadSize(byteAt(text, 0));
    for (unsigned char i = 1; i < size; ++i)
        if ((byteAt(text, i) & 0xC0) != 0x80)
            return 0;
    return size;
}

/// Whether the byte stands within a sequence and not at its beginning.
constexpr bool isContinuation(unsigned char byte) noexcept
{
    return (byte & 0xC0) == 0x80;
}

/// `size` is that of `sequenceSize` and not 0. Only bit 0 of a six-byte lead counts.
inline unsigned int decode(const char* text, unsigned char size) noexcept
{
    const unsigned char lead = byteAt(text, 0);
    if (size == 1)
        return lead;
    unsigned int character = lead & (0x7Fu >> size);
    for (unsigned char i = 1; i < size; ++i)
        character = character << 6 | (byteAt(text, i) & 0x3Fu);
    return character;
}

/// `size` is that of `sizeOf` and not 0.
inline void encode(char* to, unsigned int character, unsigned char size) noexcept
{
    if (size == 1)
    {
        to[0] = static_cast<char>(character);
        return;
    }
    for (unsigned char i = size; i-- > 1;)
    {
        to[i] = static_cast<char>(0x80 | (character & 0x3F));
        character >>= 6;
    }
    to[0] = static_cast<char>((0xFF00u >> size & 0xFF) | character);
}

/// The leading bytes of a text that have no top bit.
inline std::size_t plainLength(const char* text, std::size_t length) noexcept
{
    std::size_t i = 0;
    for (; i + 8 <= length; i += 8)
    {
        vnUInt64 word;
        std::memcpy(&word, text + i, sizeof word);
        if (word & 0x8080808080808080ull)
            break;
    }
    while (i < length && byteAt(text, i) < 0x80)
        ++i;
    return i;
}

/// A text of `length` bytes is valid UTF-8; nothing behind them is looked at.
inline bool isValid(const char* text, std::size_t length) noexcept
{
    for (std::size_t i = plainLength(text, length); i < length;)
    {
        const unsigned char size = leadSize(byteAt(text, i));
        if (size == 0 || size > length - i || sequenceSize(text + i) == 0)
            return false;
        i += size;
        if (i < length && byteAt(text, i) < 0x80)
            i += plainLength(text + i, length - i);
    }
    return true;
}
} // namespace vnUtf
