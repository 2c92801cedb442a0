// SPDX-License-Identifier: MIT
#pragma once

#include "core/vnControlLetter.h"

#include <vnBase/vnConfig.h>

#include <cstddef>

/// What the readers of text ask of a character. All but ASCII is of none of these kinds.
namespace vnCharacter
{
constexpr bool isLower(char16_t c)
{
    return c >= 'a' && c <= 'z';
}
constexpr bool isUpper(char16_t c)
{
    return c >= 'A' && c <= 'Z';
}
constexpr bool isAlpha(char16_t c)
{
    return isLower(c) || isUpper(c);
}
constexpr bool isDigit(char16_t c)
{
    return c >= '0' && c <= '9';
}
constexpr bool isAlphaNum(char16_t c)
{
    return isAlpha(c) || isDigit(c);
}
constexpr bool isBlank(char16_t c)
{
    return c == ' ' || c == '\t';
}
constexpr bool isLineEnd(char16_t c)
{
    return c == '\r' || c == '\n';
}
constexpr bool isNotLineEnd(char16_t c)
{
    return !isLineEnd(c);
}
constexpr bool isWhite(char16_t c)
{
    return isBlank(c) || isLineEnd(c);
}
constexpr bool isNotWhite(char16_t c)
{
    return !isWhite(c);
}
constexpr bool isAscii(char16_t c)
{
    return c < 128;
}
constexpr bool isControl(char16_t c)
{
    return c < 32 || c == 127;
}

/// The one character C.
template <char16_t C>
constexpr bool is(char16_t c)
{
    return c == C;
}

/// The value of a hexadecimal digit; -1 of any other character.
constexpr int hexValue(char16_t c)
{
    if (isDigit(c))
        return c - '0';
    if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))
        return (c | 0x20) - 'a' + 10;
    return -1;
}
constexpr bool isHex(char16_t c)
{
    return hexValue(c) >= 0;
}

/// What a backslash and this character stand for.
constexpr char16_t unescaped(char16_t c)
{
    const int control = vnControlOfLetter(c);
    return control < 0 ? c : static_cast<char16_t>(control);
}

/// Takes the decimal digits in front, no more than fit into 64 bits whatever they are, and answers their
/// value.
template <class Byte>
constexpr vnUInt64 takeDigits(const Byte*& at, const Byte* end)
{
    constexpr std::ptrdiff_t VN_SAFE_DIGITS = 18;
    const Byte* stop = end - at > VN_SAFE_DIGITS ? at + VN_SAFE_DIGITS : end;
    vnUInt64 value = 0;
    for (; at != stop && isDigit(static_cast<char16_t>(*at)); ++at)
        value = value * 10 + static_cast<unsigned int>(*at - '0');
    return value;
}
} // namespace vnCharacter
