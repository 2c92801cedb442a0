// SPDX-License-Identifier: MIT
#include <vnBase/vnNumberText.h>

#include <core/vnDigits.h>
#include <core/vnScratch.h>

#include <vnBase/vnMessage.h>

#include <algorithm>
#include <cmath>

namespace
{
constexpr char identLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

constexpr int lowestPower = -307;
constexpr int highestPower = 308;

// Made by repeated multiplication and so a little off far from 1: the exponent form of numbers is defined
// over these very values.
struct PowerTable
{
    double values[highestPower - lowestPower + 1] = {};

    constexpr PowerTable()
    {
        values[-lowestPower] = 1.0;
        for (int i = 1; i <= highestPower; ++i)
            values[i - lowestPower] = values[i - 1 - lowestPower] * 10.0;
        for (int i = -1; i >= lowestPower; --i)
            values[i - lowestPower] = values[i + 1 - lowestPower] * 0.1;
    }
};
constexpr PowerTable powers;

template <class Char>
void writeInteger(Char* to, vnUInt64 magnitude, bool negative, unsigned char radix, short minDigits,
                  unsigned short* length, unsigned char upper)
{
    if (radix < 2 || radix > 62)
    {
        *to = 0;
        return;
    }
    Char* const out = vnDigits::Integer(magnitude, radix, upper != 0, minDigits).write(to, negative);
    *out = 0;
    if (length)
        *length = static_cast<unsigned short>(out - to);
}

vnUInt64 magnitudeOf(vnInt64 value)
{
    return value < 0 ? 0 - static_cast<vnUInt64>(value) : static_cast<vnUInt64>(value);
}

// False when the value is too large; its sign is written all the same, since that comes first.
bool writeDouble(char*& to, double value, short precision, int significant)
{
    const bool negative = value < 0;
    if (negative)
    {
        *to++ = '-';
        value = -value;
    }
    if (value > vnDigits::VN_MAX_FIXED && !std::isinf(value))
    {
        vnMessage::message(VN_MESSAGE_WARNING | VN_MESSAGE_INTERNAL, "Too large number for vnDtoA");
        return false;
    }
    to = vnDigits::writeReal(to, value, precision, significant, negative);
    return true;
}
} // namespace

void vnLtoA(char* to, vnInt64 value, unsigned char radix, short minDigits, unsigned short* length,
            unsigned char upper)
{
    writeInteger(to, magnitudeOf(value), value < 0, radix, minDigits, length, upper);
}

void vnLtoA(char16_t* to, vnInt64 value, unsigned char radix, short minDigits, unsigned short* length,
            unsigned char upper)
{
    writeInteger(to, magnitudeOf(value), value < 0, radix, minDigits, length, upper);
}

void vnULtoA(char* to, vnUInt64 value, unsigned char radix, short minDigits, unsigned short* length,
             unsigned char upper)
{
    writeInteger(to, value, false, radix, minDigits, length, upper);
}

void vnULtoA(char16_t* to, vnUInt64 value, unsigned char radix, short minDigits, unsigned short* length,
             unsigned char upper)
{
    writeInteger(to, value, false, radix, minDigits, length, upper);
}

void vnDtoA(char* to, double value, short precision, unsigned short* length, int significant)
{
    char* end = to;
    const bool isWritten = writeDouble(end, value, precision, significant);
    *end = 0;
    if (isWritten && length)
        *length = static_cast<unsigned short>(end - to);
}

void vnDtoA(char16_t* to, double value, short precision, unsigned short* length, int significant)
{
    vnScratch<char> text(vnDigits::VN_MAX_AUTOMATIC +
                         static_cast<unsigned int>(std::max<short>(precision, 0)));
    char* end = text.get();
    const bool isWritten = writeDouble(end, value, precision, significant);
    *std::copy(text.get(), end, to) = 0;
    if (isWritten && length)
        *length = static_cast<unsigned short>(end - text.get());
}

void vnULtoIdent(char* to, vnUInt64 value, short minLength, unsigned short* length)
{
    char* out = to;
    do
    {
        *out++ = identLetters[value % 52];
        value /= 52;
    } while (value != 0);
    while (out - to < minLength)
        *out++ = ' ';
    *out = 0;
    if (length)
        *length = static_cast<unsigned short>(out - to);
}

double vnPow10(short exponent)
{
    if (exponent > highestPower)
        return HUGE_VAL;
    // What lies below the table still has its value as long as a double can hold it.
    if (exponent < lowestPower)
        return exponent < 2 * lowestPower ? 0.0 : vnPow10(lowestPower) * vnPow10(exponent - lowestPower);
    return powers.values[exponent - lowestPower];
}

double vnPrecision(double value, unsigned int decimals, unsigned char round)
{
    const double power = vnPow10(static_cast<short>(std::min(decimals, 400u)));
    const double scaled = value * power + (round ? 0.5 : 0.0);
    // A value that leaves no room for decimals in 64 bits has none to cut.
    if (!(std::fabs(scaled) < 9223372036854775808.0))
        return value;
    return static_cast<double>(static_cast<vnInt64>(scaled)) / power;
}

double vnDigits::scaled(double value, int exponent) noexcept
{
    const int near = std::clamp(exponent, lowestPower, highestPower);
    value *= powers.values[near - lowestPower];
    return exponent == near ? value : value * vnPow10(static_cast<short>(exponent - near));
}
