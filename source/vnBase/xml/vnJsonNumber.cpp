// SPDX-License-Identifier: MIT
#include "vnJsonNumber.h"

#include <vnBase/vnString.h>

#include <core/vnDigits.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
constexpr unsigned int VN_EXACT_DIGITS = 19; // so many fit 64 bits
constexpr int VN_EXACT_POWER = 22;           // so large a power of ten is an exact double
constexpr vnUInt64 VN_EXACT_INTEGER = 1ull << 53;

constexpr double powers[VN_EXACT_POWER + 1] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                               1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                               1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

bool isDigit(unsigned char c)
{
    return static_cast<unsigned char>(c - '0') < 10;
}

// A number as it is passed over.
struct Scan
{
    const unsigned char* begin; // of the digits
    const unsigned char* end;
    bool isNegative = false;
    bool hasPlus = false;
    bool hasZero = false; // before further digits
    bool hasPoint = false;
    bool hasExponent = false;
    unsigned int digits = 0; // of both parts
    unsigned int fractionDigits = 0;
    vnUInt64 mantissa = 0; // modulo 2 to the power of 64
    int exponent = 0;      // as written; far out of range it is only large

    explicit Scan(const unsigned char* from, const unsigned char* limit) : begin(from), end(limit) {}

    vnJsonNumber::Result run();
    unsigned int takeDigits(const unsigned char*& at)
    {
        const unsigned char* const first = at;
        for (; at != end && isDigit(*at); ++at)
            mantissa = mantissa * 10 + (*at - '0');
        return static_cast<unsigned int>(at - first);
    }
    bool takeExponent(const unsigned char*& at);
};

vnJsonNumber::Result Scan::run()
{
    const unsigned char* at = begin;
    isNegative = *at == '-';
    hasPlus = *at == '+';
    if (isNegative || hasPlus)
        begin = ++at;
    const unsigned int whole = takeDigits(at);
    if (whole == 0)
        return at == end ? vnJsonNumber::INCOMPLETE : vnJsonNumber::NONE;
    hasZero = whole > 1 && *begin == '0';
    hasPoint = at != end && *at == '.';
    if (hasPoint)
        fractionDigits = takeDigits(++at);
    digits = whole + fractionDigits;
    hasExponent = at != end && (*at | 0x20) == 'e';
    if (hasExponent && !takeExponent(++at))
        return at == end ? vnJsonNumber::INCOMPLETE : vnJsonNumber::NONE;
    if (at == end)
        return vnJsonNumber::INCOMPLETE;
    end = at;
    return vnJsonNumber::OK;
}

bool Scan::takeExponent(const unsigned char*& at)
{
    constexpr int limit = 100000000;
    const bool isBelow = at != end && *at == '-';
    if (at != end && (*at == '-' || *at == '+'))
        ++at;
    const unsigned char* const first = at;
    for (; at != end && isDigit(*at); ++at)
        exponent = std::min(exponent * 10 + (*at - '0'), limit);
    if (isBelow)
        exponent = -exponent;
    return at != first;
}

// What the exact steps below do not cover.
double realOf(const Scan& scan, bool& isRange)
{
    const char* const from = reinterpret_cast<const char*>(scan.begin);
    double value = 0;
    const auto result = std::from_chars(from, reinterpret_cast<const char*>(scan.end), value);
    isRange = result.ec == std::errc::result_out_of_range;
    if (isRange)
        value = vnString(from, static_cast<unsigned short>(reinterpret_cast<const char*>(scan.end) - from))
                    .real();
    return value;
}

double magnitudeOf(const Scan& scan)
{
    const vnInt64 power = static_cast<vnInt64>(scan.exponent) - scan.fractionDigits;
    if (scan.digits <= VN_EXACT_DIGITS)
    {
        if (power == 0)
            return static_cast<double>(scan.mantissa);
        if (scan.mantissa <= VN_EXACT_INTEGER && power >= -VN_EXACT_POWER && power <= VN_EXACT_POWER)
            return power < 0 ? static_cast<double>(scan.mantissa) / powers[-power]
                             : static_cast<double>(scan.mantissa) * powers[power];
    }
    bool isRange;
    return realOf(scan, isRange);
}

// Forms that only the wide grammar knows mean what the text means as a number.
bool isOdd(const Scan& scan)
{
    return scan.hasPlus || scan.hasZero || (scan.hasPoint && scan.fractionDigits == 0);
}

vnJsonNumber::Result readInteger(vnJsonNumber& number, const Scan& scan)
{
    const vnUInt64 limit = static_cast<vnUInt64>(std::numeric_limits<vnInt64>::max()) + scan.isNegative;
    if (scan.digits > VN_EXACT_DIGITS || scan.mantissa > limit)
        return vnJsonNumber::OUT_OF_RANGE;
    number.isInteger = true;
    number.integer = static_cast<vnInt64>(scan.isNegative ? 0 - scan.mantissa : scan.mantissa);
    return vnJsonNumber::OK;
}
} // namespace

vnJsonNumber::Result vnJsonNumber::read(const unsigned char*& next, const unsigned char* limit, bool isStrict)
{
    const unsigned char* const text = next;
    Scan scan(text, limit);
    const Result result = scan.run();
    if (result != OK)
        return result;
    const auto length = static_cast<std::size_t>(scan.end - text);
    if (length > VN_MAX_LENGTH)
        return OUT_OF_RANGE;
    if (isStrict && isOdd(scan))
        return NONE;
    next = scan.end;
    isInteger = false;
    if (isOdd(scan))
    {
        real = vnString(reinterpret_cast<const char*>(text), static_cast<unsigned short>(length)).real();
        return OK;
    }
    if (isStrict && !scan.hasPoint && !scan.hasExponent)
        return readInteger(*this, scan);
    const double magnitude = magnitudeOf(scan);
    real = scan.isNegative ? -magnitude : magnitude;
    return isStrict && std::isinf(real) ? OUT_OF_RANGE : OK;
}

char* vnJsonNumber::writeFixed(char* to, double value)
{
    constexpr unsigned int decimals = 6;
    const double magnitude = std::fabs(value);
    if (vnDigits::needsExponent(magnitude) || std::isnan(magnitude))
    {
        const vnString text = vnString::formatString("%.6f", value);
        return std::copy_n(text.getString(), std::min<unsigned int>(text.length(), VN_MAX_WRITTEN), to);
    }
    if (value < 0)
        *to++ = '-';
    return vnDigits::writeFixed(to, magnitude, decimals);
}

char* vnJsonNumber::writeFixed(char* to, int value)
{
    constexpr char decimals[] = ".000000";
    to = std::to_chars(to, to + VN_MAX_WRITTEN, value).ptr;
    std::memcpy(to, decimals, sizeof decimals - 1);
    return to + (sizeof decimals - 1);
}

char* vnJsonNumber::writeShortest(char* to, double value)
{
    // Without an exponent a large number would read as an integer beyond 64 bits.
    constexpr double limit = 9223372036854775808.0;
    const bool isLarge = value >= limit || value <= -limit;
    return isLarge ? std::to_chars(to, to + VN_MAX_WRITTEN, value, std::chars_format::scientific).ptr
                   : std::to_chars(to, to + VN_MAX_WRITTEN, value).ptr;
}

char* vnJsonNumber::writeInteger(char* to, vnInt64 value)
{
    return std::to_chars(to, to + VN_MAX_WRITTEN, value).ptr;
}
