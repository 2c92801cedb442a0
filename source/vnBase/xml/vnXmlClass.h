// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string_view>

/// What characters are in XML documents. The classes of names are cut short on purpose, well before the
/// tables of the Recommendation end: names use no other characters.
namespace vnXmlClass
{
/// Bits of the tables: what a byte may be part of, or not end.
enum Bit : unsigned char
{
    SPACE = 1,
    NAME_START = 2,
    NAME = 4,
    CHAR_DATA = 8,      // goes on: all but "<", "&", "]"
    DOUBLE_QUOTED = 16, // an attribute value goes on: all but "<", "&" and the quote
    SINGLE_QUOTED = 32,
    COMMENT = 64, // goes on: a Char other than "-"
    CDATA = 128   // goes on: a Char other than "]"
};

/// Of text whose bytes are characters, and of UTF-8, where those above 127 are in no class.
extern const unsigned char byteTable[256];
extern const unsigned char utf8Table[256];

constexpr bool isSpace(int c) noexcept
{
    return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}
constexpr bool isLatin(int c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool isChar(int c) noexcept
{
    return c == 9 || c == 10 || c == 13 || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
           c >= 0x10000;
}
constexpr bool isBaseChar(int c) noexcept
{
    return isLatin(c) || (c >= 0xC0 && c <= 0x131 && c != 0xD7 && c != 0xF7);
}
constexpr bool isIdeographic(int c) noexcept
{
    return (c >= 0x4E00 && c <= 0x9FA5) || c == 0x3007 || (c >= 0x3021 && c <= 0x3029);
}
constexpr bool isCombiningChar(int c) noexcept
{
    return (c >= 0x300 && c <= 0x345) || (c >= 0x360 && c <= 0x361) || (c >= 0x483 && c <= 0x486) ||
           (c >= 0x591 && c <= 0x5A1) || (c >= 0x5A3 && c <= 0x5B9) || (c >= 0x5BB && c <= 0x5BD);
}
constexpr bool isDecimal(int c) noexcept
{
    return c >= '0' && c <= '9';
}
constexpr bool isHexDigit(int c) noexcept
{
    return isDecimal(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
constexpr bool isDigit(int c) noexcept
{
    return isDecimal(c) || (c >= 0x660 && c <= 0x669) || (c >= 0x6F0 && c <= 0x6F9) ||
           (c >= 0x966 && c <= 0x96F) || (c >= 0x9E6 && c <= 0x9EF) || (c >= 0xA66 && c <= 0xA6F);
}
constexpr bool isExtender(int c) noexcept
{
    return c == 0xB7 || c == 0x2D0;
}
constexpr bool isLetter(int c) noexcept
{
    return isBaseChar(c) || isIdeographic(c);
}
constexpr bool isNameStart(int c) noexcept
{
    return isLetter(c) || c == '_' || c == ':';
}
constexpr bool isNameChar(int c) noexcept
{
    return isLetter(c) || isDigit(c) || isCombiningChar(c) || isExtender(c) || c == '.' || c == '-' ||
           c == '_' || c == ':';
}
constexpr bool isPubidChar(int c) noexcept
{
    if (isLatin(c) || isDecimal(c))
        return true;
    for (const char* found = "\n\r !#$%'()*+,-./:;=?@_"; *found; ++found)
        if (*found == c)
            return true;
    return false;
}

/// Keywords and names of encodings; `lowerCase` is ASCII.
inline bool equalIgnoringCase(std::string_view text, std::string_view lowerCase) noexcept
{
    return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(),
                      [](char c, char lower) { return (c >= 'A' && c <= 'Z' ? c + 32 : c) == lower; });
}

/// Every target that begins with these letters is reserved, "xml-stylesheet" as well.
constexpr bool isReservedTarget(std::string_view target) noexcept
{
    return target.size() >= 3 && (target[0] == 'x' || target[0] == 'X') &&
           (target[1] == 'm' || target[1] == 'M') && (target[2] == 'l' || target[2] == 'L');
}
} // namespace vnXmlClass
