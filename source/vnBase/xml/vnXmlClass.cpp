// SPDX-License-Identifier: MIT
#include "vnXmlClass.h"

#include <utility>

namespace vnXmlClass
{
namespace
{
constexpr unsigned char classOf(int c)
{
    unsigned int bits = 0;
    const auto add = [&bits](bool is, Bit bit) { bits |= is ? static_cast<unsigned int>(bit) : 0u; };
    const bool isPlain = c != '<' && c != '&';
    add(isSpace(c), SPACE);
    add(isNameStart(c), NAME_START);
    add(isNameChar(c), NAME);
    add(isPlain && c != ']', CHAR_DATA);
    add(isPlain && c != '"', DOUBLE_QUOTED);
    add(isPlain && c != '\'', SINGLE_QUOTED);
    add(isChar(c) && c != '-', COMMENT);
    add(isChar(c) && c != ']', CDATA);
    return static_cast<unsigned char>(bits);
}
constexpr unsigned char asciiClassOf(int c)
{
    return c < 0x80 ? classOf(c) : static_cast<unsigned char>(0);
}
} // namespace

#define VN_ROW(f, c)                                                                                         \
    f(c), f((c) + 1), f((c) + 2), f((c) + 3), f((c) + 4), f((c) + 5), f((c) + 6), f((c) + 7), f((c) + 8),    \
        f((c) + 9), f((c) + 10), f((c) + 11), f((c) + 12), f((c) + 13), f((c) + 14), f((c) + 15)
#define VN_TABLE(f)                                                                                          \
    VN_ROW(f, 0x00), VN_ROW(f, 0x10), VN_ROW(f, 0x20), VN_ROW(f, 0x30), VN_ROW(f, 0x40), VN_ROW(f, 0x50),    \
        VN_ROW(f, 0x60), VN_ROW(f, 0x70), VN_ROW(f, 0x80), VN_ROW(f, 0x90), VN_ROW(f, 0xA0),                 \
        VN_ROW(f, 0xB0), VN_ROW(f, 0xC0), VN_ROW(f, 0xD0), VN_ROW(f, 0xE0), VN_ROW(f, 0xF0)

constexpr unsigned char byteTable[256] = {VN_TABLE(classOf)};
constexpr unsigned char utf8Table[256] = {VN_TABLE(asciiClassOf)};

#undef VN_TABLE
#undef VN_ROW
} // namespace vnXmlClass
