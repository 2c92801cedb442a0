// SPDX-License-Identifier: MIT
#include "vnJsonText.h"

#include <core/vnUtfScan.h>

#include <cstring>

namespace
{
constexpr unsigned int VN_UNIT_FORM = 6; // \uXXXX

bool isHigh(int unit) noexcept
{
    return unit >> 10 == 0xD800 >> 10;
}
bool isLow(int unit) noexcept
{
    return unit >> 10 == 0xDC00 >> 10;
}

// The unit of a form \uXXXX; -1 when none stands there.
int unitAt(const unsigned char* text, std::size_t length) noexcept
{
    if (length < VN_UNIT_FORM || text[0] != '\\' || text[1] != 'u')
        return -1;
    int unit = 0;
    for (unsigned int i = 2; i < VN_UNIT_FORM; ++i)
    {
        const int digit = vnJsonText::hexDigit(text[i]);
        if (digit < 0)
            return -1;
        unit = unit << 4 | digit;
    }
    return unit;
}
} // namespace

// What `vnString::convertCtrlToText` writes.
const unsigned char vnJsonText::wideEscapes[256] = {
    '0', 0, 0,   0, 0, 0, 0, 'a',  'b', 't', 'n', 'v', 'f', 'r', 0, 0, // 0x00
    0,   0, 0,   0, 0, 0, 0, 0,    0,   0,   0,   0,   0,   0,   0, 0, // 0x10
    0,   0, '"', 0, 0, 0, 0, '\'',                                     // 0x20
    0,   0, 0,   0, 0, 0, 0, 0,                                        // 0x28
    0,   0, 0,   0, 0, 0, 0, 0,                                        // 0x30
    0,   0, 0,   0, 0, 0, 0, '?',                                      // 0x38
    0,   0, 0,   0, 0, 0, 0, 0,    0,   0,   0,   0,   0,   0,   0, 0, // 0x40
    0,   0, 0,   0, 0, 0, 0, 0,    0,   0,   0,   0,   '\\'};          // 0x50

// RFC 8259, 7.
const unsigned char vnJsonText::strictEscapes[256] = {
    'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'b', 't', 'n', 'u', 'f', 'r', 'u', 'u', // 0x00
    'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', // 0x10
    0,   0,   '"', 0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   // 0x20
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   // 0x30
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   // 0x40
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   '\\'};              // 0x50

int vnJsonText::hexDigit(unsigned char c) noexcept
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c |= 0x20;
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

int vnJsonText::escapeOf(unsigned char letter, bool isStrict) noexcept
{
    switch (letter)
    {
    case '"':
    case '\\':
    case '/':
        return letter;
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case 'a':
        return isStrict ? -1 : '\a';
    case 'v':
        return isStrict ? -1 : '\v';
    case '0':
        return isStrict ? -1 : 0;
    case '\'':
    case '?':
        return isStrict ? -1 : letter;
    default:
        return -1;
    }
}

unsigned char* vnJsonText::encode(unsigned char* to, unsigned int character) noexcept
{
    const unsigned char size = vnUtf::sizeOf(character);
    vnUtf::encode(reinterpret_cast<char*>(to), character, size);
    return to + size;
}

std::size_t vnJsonText::decode(unsigned char* text, std::size_t length) noexcept
{
    unsigned char* to = text;
    const unsigned char* const end = text + length;
    for (const unsigned char* at = text; at != end;)
    {
        const void* found = std::memchr(at, '\\', static_cast<std::size_t>(end - at));
        const unsigned char* const stop = found ? static_cast<const unsigned char*>(found) : end;
        std::memmove(to, at, static_cast<std::size_t>(stop - at));
        to += stop - at;
        at = stop;
        if (at == end)
            break;
        const auto left = static_cast<std::size_t>(end - at);
        const int unit = unitAt(at, left);
        const int low = isHigh(unit) ? unitAt(at + VN_UNIT_FORM, left - VN_UNIT_FORM) : -1;
        const int letter = left > 1 ? escapeOf(at[1], false) : -1;
        if (unit >= 0 && isLow(low))
        {
            to = encode(to, 0x10000u + (static_cast<unsigned int>(unit & 0x3FF) << 10 | (low & 0x3FFu)));
            at += 2 * VN_UNIT_FORM;
        }
        else if (unit >= 0)
        {
            to = encode(to, static_cast<unsigned int>(unit));
            at += VN_UNIT_FORM;
        }
        else if (letter >= 0)
        {
            *to++ = static_cast<unsigned char>(letter);
            at += 2;
        }
        else
            *to++ = *at++;
    }
    return static_cast<std::size_t>(to - text);
}

bool vnJsonText::isUtf8(const unsigned char* text, std::size_t length) noexcept
{
    const char* const chars = reinterpret_cast<const char*>(text);
    for (std::size_t i = vnUtf::plainLength(chars, length); i < length;)
    {
        const unsigned char lead = text[i];
        const unsigned char size = vnUtf::leadSize(lead);
        if (size == 0 || size > 4 || size > length - i)
            return false;
        for (unsigned char at = 1; at < size; ++at)
            if (!vnUtf::isContinuation(text[i + at]))
                return false;
        const unsigned int character = vnUtf::decode(chars + i, size);
        if (vnUtf::sizeOf(character) != size || character >> 11 == 0xD800 >> 11 || character > 0x10FFFF)
            return false;
        i += size;
        if (i < length && text[i] < 0x80)
            i += vnUtf::plainLength(chars + i, length - i);
    }
    return true;
}

bool vnJsonText::isWord(const unsigned char* text, std::size_t length) noexcept
{
    return (length == 4 && (std::memcmp(text, "true", 4) == 0 || std::memcmp(text, "null", 4) == 0)) ||
           (length == 5 && std::memcmp(text, "false", 5) == 0);
}
