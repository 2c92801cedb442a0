// SPDX-License-Identifier: MIT
#include "core/vnUtfScan.h"
#include "vnCharacter.h"
#include "vnLexNumber.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnStringTokenizer.h>

#include <charconv>
#include <limits>

// The readings of a string as a number, which are those of the lexical reader.

using namespace vnCharacter;

namespace
{
// A number of plain digits, as most are, needs no lexical reader.
bool readSimple(const vnString& string, vnInt64& value)
{
    const char* text = string.getString();
    const char* end = text + string.length();
    while (isWhite(*text))
        ++text;
    const bool isNegative = *text == '-';
    if (*text == '-' || *text == '+')
        ++text;
    const char* begin = text;
    const auto magnitude = static_cast<vnInt64>(takeDigits(text, end));
    const char letter = *text | 0x20;
    if (text == begin || isDigit(*text) || *text == '.' || letter == 'e' || letter == 'x')
        return false;
    value = isNegative ? -magnitude : magnitude;
    return true;
}

void readNumber(vnSerializeLex& lex, const vnString& text)
{
    // Reading does not touch the block.
    vnSerializeAdapterMemory adapter(const_cast<char*>(text.getString()), text.length());
    do
        lex.read(&adapter);
    while (lex.getDataType() == VN_LEX_WHITESPACE);
}

bool isNumber(const vnSerializeLex& lex)
{
    return (lex.getDataType() & (VN_LEX_INTEGER | VN_LEX_REAL)) != 0;
}

// The nearest double of an integer token, which by itself keeps only its last 64 bits.
double realOf(const vnString& token)
{
    const char* text = token.getString();
    const bool isNegative = *text == '-';
    if (*text == '-' || *text == '+')
        ++text;
    if (text[0] == '0' && (text[1] | 0x20) == 'x')
    {
        double value = 0;
        const char* end = token.getString() + token.length();
        if (std::from_chars(text + 2, end, value, std::chars_format::hex).ec ==
            std::errc::result_out_of_range)
            value = std::numeric_limits<double>::infinity();
        return isNegative ? -value : value;
    }
    vnLexNumber number;
    if (isNegative)
        number.setNegative();
    for (; isDigit(*text); ++text)
        number.addDigit(static_cast<unsigned int>(*text - '0'));
    return number.getReal();
}

vnInt64 cut(double value)
{
    constexpr double limit = 9223372036854775808.0; // 2 to the power of 63
    if (value >= limit)
        return std::numeric_limits<vnInt64>::max();
    if (value < -limit)
        return std::numeric_limits<vnInt64>::min();
    return static_cast<vnInt64>(value);
}
} // namespace

vnInt64 vnString::num() const
{
    vnInt64 value = 0;
    if (readSimple(*this, value))
        return value;
    vnSerializeLex lex;
    readNumber(lex, *this);
    if (isNumber(lex))
        return cut(lex.getData().getNumber());
    return lex.getDataType() == VN_LEX_LARGE_INTEGER ? vnDynamicTypeInt64(lex.getData()).getInt64() : 0;
}

double vnString::real(unsigned short decimalToken) const
{
    vnInt64 value = 0;
    if (decimalToken == '.' && readSimple(*this, value))
        return static_cast<double>(value);
    vnSerializeLex lex;
    lex.useDecimalToken(decimalToken);
    readNumber(lex, *this);
    if (lex.getDataType() & (VN_LEX_INTEGER | VN_LEX_LARGE_INTEGER))
        return realOf(lex.getScannedBuffer());
    return lex.getDataType() == VN_LEX_REAL ? lex.getData().getNumber() : 0;
}

unsigned char vnString::yesNo() const
{
    const vnString word = stripWhiteSpace().toLower();
    return word == "yes" || word == "true" || num() > 0;
}

vnInt64 vnString::dotValue(unsigned int multiplier, unsigned int* parts) const
{
    vnUInt64 value = 0; // it wraps
    unsigned int count = 0;
    for (unsigned int begin = 0; begin <= m_length; ++count)
    {
        const auto from = static_cast<unsigned short>(begin);
        const unsigned short dot = find('.', from);
        const vnString piece(getString() + begin, static_cast<unsigned short>(dot - begin));
        value = value * multiplier + static_cast<vnUInt64>(piece.num());
        begin = dot + 1u;
    }
    if (parts)
        *parts = count;
    return static_cast<vnInt64>(value);
}

vnString vnString::convertNumListToUTF8() const
{
    vnStringTokenizer tokens(*this);
    vnDynamicArray<char> text(1000);
    while (tokens.getDataType(1) != VN_LEX_NONE && text.getSize() < VN_MAX_LENGTH)
    {
        const vnLexDataType type = tokens.getDataType();
        if (type != VN_LEX_TOKEN && type != VN_LEX_INTEGER)
        {
            const vnString scanned = tokens.getScannedBuffer();
            text.append(scanned.getString(), scanned.length());
            continue;
        }
        const double number = tokens.getData().getNumber();
        if (type == VN_LEX_TOKEN && number == ',')
            continue;
        char bytes[6];
        const auto character = static_cast<char16_t>(static_cast<vnInt64>(number));
        text.append(bytes, vnUInt32ToUTF8(bytes, character));
    }
    unsigned int length = text.getSize();
    if (length > VN_MAX_LENGTH) // the text ends between two characters
        for (length = VN_MAX_LENGTH;
             length > 0 && vnUtf::isContinuation(static_cast<unsigned char>(text[length]));)
            --length;
    return vnString(text.data(), static_cast<unsigned short>(length));
}
