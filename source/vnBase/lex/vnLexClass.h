// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeLex.h>

#include <array>

/// The options of a `vnSerializeLex`.
enum : unsigned int
{
    VN_LEX_HASH_COMMENT = 0x1,
    VN_LEX_SLASH_COMMENT = 0x2,
    VN_LEX_BLOCK_COMMENT = 0x4,
    VN_LEX_DETECT_UNICODE = 0x8,
    VN_LEX_DETECT_UTF8 = 0x10,
    VN_LEX_STRINGS = 0x20,
    VN_LEX_SETS = 0x40,
    VN_LEX_ESCAPES = 0x80,
    VN_LEX_UNICODE = 0x100,
    VN_LEX_BIG_ENDIAN = 0x200,
    VN_LEX_PENDING = 0x400, // the mark is still to be looked for
    VN_LEX_PLAIN_IDENTIFIER = 0x800,
    VN_LEX_TOKENS_ONLY = 0x1000,
    VN_LEX_HEX_MODE = 0x2000,
    VN_LEX_UTF8 = 0x4000
};

/// What a character is, when identifiers are not plain.
constexpr unsigned short vnLexClassOf(unsigned int c)
{
    using Lex = vnSerializeLex;
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
        return Lex::VN_CLASS_WHITESPACE;
    const unsigned int identifier = Lex::VN_CLASS_IDENTIFIER_START | Lex::VN_CLASS_IDENTIFIER;
    if (c == '_')
        return identifier;
    if (c >= '0' && c <= '9')
        return static_cast<unsigned short>((c <= '1' ? Lex::VN_CLASS_BINARY : 0u) |
                                           (c <= '7' ? Lex::VN_CLASS_OCTAL : 0u) | Lex::VN_CLASS_HEX |
                                           Lex::VN_CLASS_DECIMAL | Lex::VN_CLASS_IDENTIFIER);
    const bool isLower = c >= 'a' && c <= 'z', isUpper = c >= 'A' && c <= 'Z';
    if (!isLower && !isUpper && c <= 127)
        return 0;
    unsigned int result = Lex::VN_CLASS_LETTER | identifier;
    if (c >= 'a' && c <= 'f')
        result |= Lex::VN_CLASS_HEX | Lex::VN_CLASS_LOWER_HEX;
    if (c >= 'A' && c <= 'F')
        result |= Lex::VN_CLASS_HEX | Lex::VN_CLASS_UPPER_HEX;
    return static_cast<unsigned short>(result);
}

constexpr std::array<unsigned short, 256> vnMakeLexClasses()
{
    std::array<unsigned short, 256> classes{};
    for (unsigned int c = 0; c < classes.size(); ++c)
        classes[c] = vnLexClassOf(c);
    return classes;
}

/// The classes of bytes. All codes above 127 are of one class, so that the last entry stands for the rest.
inline constexpr std::array<unsigned short, 256> vnLexClasses = vnMakeLexClasses();

/// The class bit that starts, or continues, a plain identifier is that of the letters.
inline unsigned int vnLexStartMask(unsigned int options) noexcept
{
    return options & VN_LEX_PLAIN_IDENTIFIER ? vnSerializeLex::VN_CLASS_LETTER
                                             : vnSerializeLex::VN_CLASS_IDENTIFIER_START;
}
inline unsigned int vnLexContinueMask(unsigned int options) noexcept
{
    return options & VN_LEX_PLAIN_IDENTIFIER ? vnSerializeLex::VN_CLASS_LETTER
                                             : vnSerializeLex::VN_CLASS_IDENTIFIER;
}
