// SPDX-License-Identifier: MIT
#include <core/vnDigits.h>

#include <vnBase/vnNumberText.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{
constexpr char lowerDigits[] = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr char upperDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

constexpr char pairs[] = "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
                         "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
                         "8081828384858687888990919293949596979899";

constexpr vnUInt64 wholePowers[] = {1ull,
                                    10ull,
                                    100ull,
                                    1000ull,
                                    10000ull,
                                    100000ull,
                                    1000000ull,
                                    10000000ull,
                                    100000000ull,
                                    1000000000ull,
                                    10000000000ull,
                                    100000000000ull,
                                    1000000000000ull,
                                    10000000000000ull,
                                    100000000000000ull,
                                    1000000000000000ull,
                                    10000000000000000ull,
                                    100000000000000000ull,
                                    1000000000000000000ull,
                                    10000000000000000000ull};

using Wide = unsigned __int128;

char* writeDecimal(char* end, vnUInt64 value) noexcept
{
    while (value >= 100)
    {
        end -= 2;
        std::memcpy(end, pairs + 2 * (value % 100), 2);
        value /= 100;
    }
    if (value >= 10)
    {
        end -= 2;
        std::memcpy(end, pairs + 2 * value, 2);
        return end;
    }
    *--end = static_cast<char>('0' + value);
    return end;
}

char* writeBits(char* end, vnUInt64 value, unsigned int shift, const char* digits) noexcept
{
    const vnUInt64 mask = (1u << shift) - 1;
    do
    {
        *--end = digits[value & mask];
        value >>= shift;
    } while (value != 0);
    return end;
}

// Exactly `count` digits, zeros in front.
void writePadded(char* to, vnUInt64 value, unsigned int count) noexcept
{
    char* end = to + count;
    for (; count >= 2; count -= 2)
    {
        end -= 2;
        std::memcpy(end, pairs + 2 * (value % 100), 2);
        value /= 100;
    }
    if (count)
        *--end = static_cast<char>('0' + value % 10);
}

char* writeWhole(char* to, vnUInt64 value) noexcept
{
    char digits[24];
    char* const end = digits + sizeof digits;
    const char* const first = writeDecimal(end, value);
    return std::copy(first, static_cast<const char*>(end), to);
}

// A value as whole + fraction / 2^shift, the fraction below 2^53.
struct Parts
{
    vnUInt64 whole;
    vnUInt64 fraction;
    unsigned int shift;

    explicit Parts(double value) noexcept
    {
        vnUInt64 bits;
        std::memcpy(&bits, &value, sizeof bits);
        const unsigned int exponent =
            static_cast<unsigned int>(bits >> 52) & 0x7FF; // without the sign of -0.0
        const vnUInt64 mantissa = (bits & 0xFFFFFFFFFFFFFull) | (exponent ? 1ull << 52 : 0);
        const int scale = static_cast<int>(std::max(exponent, 1u)) - 1075; // value = mantissa * 2^scale
        shift = scale < 0 ? static_cast<unsigned int>(-scale) : 0;
        if (scale >= 0)
        {
            whole = mantissa << scale;
            fraction = 0;
        }
        else
        {
            whole = shift < 64 ? mantissa >> shift : 0;
            fraction = shift < 64 ? mantissa & ((1ull << shift) - 1) : mantissa;
        }
    }
};

// The definition of the automatic mode, one digit a step. Each digit tolerates what is lost to rounding: a
// tenth of a unit of the last place.
char* writeStepwise(char* to, double fraction, int decimals) noexcept
{
    double tolerance = vnPow10(static_cast<short>(-decimals));
    if (!(fraction > tolerance))
        return to;
    *to++ = '.';
    for (int i = 0; i < decimals; ++i)
    {
        const double step = tolerance;
        fraction *= 10;
        tolerance *= 10;
        const int digit = std::clamp(static_cast<int>(fraction + step), 0, 9);
        *to++ = static_cast<char>('0' + digit);
        fraction -= digit;
        if (!(fraction > tolerance))
            break;
    }
    return to;
}

// The same in one multiplication. False where the result hangs on the rounding errors of the steps, which
// stay below a fiftieth of a unit of the last place for up to 14 decimals.
bool writeAtOnce(char*& to, const Parts& parts, unsigned int decimals) noexcept
{
    constexpr double unsure = 0.03;
    if (decimals > 14 || parts.shift > 120)
        return false;
    const Wide product = static_cast<Wide>(parts.fraction) * wholePowers[decimals];
    vnUInt64 digits = static_cast<vnUInt64>(product >> parts.shift);
    const Wide rest = product & ((static_cast<Wide>(1) << parts.shift) - 1);
    const double tail = static_cast<double>(static_cast<vnUInt64>(
                            parts.shift > 53 ? rest >> (parts.shift - 53) : rest << (53 - parts.shift))) *
                        0x1p-53;
    if (std::fabs(tail - 0.9) < unsure)
        return false;
    const bool carries = tail > 0.9;
    if (carries)
        ++digits;
    if (digits % 10 == 1)
    {
        // The steps end once no more than one unit is left; a tail near 0 leaves that open.
        if (tail < unsure || tail > 1 - unsure)
            return false;
        if (carries)
            --digits;
    }
    if (digits == 0)
        return true;
    if (digits >= wholePowers[decimals])
        return false;
    for (; digits % 10 == 0; digits /= 10)
        --decimals;
    *to++ = '.';
    writePadded(to, digits, decimals);
    to += decimals;
    return true;
}

// Adds one to the decimal number that ends before `end`; its digits may be parted by a point. False when it
// consisted of nines, which are zeros then.
bool increment(char* first, char* end) noexcept
{
    while (end != first)
    {
        --end;
        if (*end == '.')
            continue;
        if (*end != '9')
        {
            ++*end;
            return true;
        }
        *end = '0';
    }
    return false;
}

// Any number of exact decimals: the fraction as a binary number of up to 1074 places is multiplied by ten to
// the ninth in turn.
char* writeLongFixed(char* const to, const Parts& parts, unsigned int decimals) noexcept
{
    constexpr unsigned int words = 34; // 1088 places
    unsigned int places[words] = {};   // the most significant first
    char* out = writeWhole(to, parts.whole);
    *out++ = '.';
    const unsigned int offset = words * 32 - parts.shift;
    for (unsigned int i = 0; i < 3; ++i)
    {
        const unsigned int word = offset / 32 + i; // counted from the least significant
        const Wide shifted = static_cast<Wide>(parts.fraction) << offset % 32;
        if (word < words)
            places[words - 1 - word] = static_cast<unsigned int>(shifted >> 32 * i);
    }
    for (unsigned int done = 0; done < decimals;)
    {
        vnUInt64 carry = 0;
        for (unsigned int i = words; i-- > 0;)
        {
            carry += static_cast<vnUInt64>(places[i]) * 1000000000u;
            places[i] = static_cast<unsigned int>(carry);
            carry >>= 32;
        }
        char group[9];
        writePadded(group, carry, 9);
        const unsigned int count = std::min(decimals - done, 9u);
        out = std::copy(group, group + count, out);
        done += count;
        if (done == decimals)
        {
            const bool up = count < 9 ? group[count] >= '5' : places[0] >= 0x80000000u;
            // The value is below 2^53 here and has no 20 digits, so that a new one fits in front.
            if (up && !increment(to, out))
            {
                std::copy_backward(to, out, out + 1);
                *to = '1';
                ++out;
            }
        }
    }
    return out;
}
} // namespace

char* vnDigits::writeBackwards(char* end, vnUInt64 value, unsigned int radix, bool upper) noexcept
{
    const char* const digits = upper ? upperDigits : lowerDigits;
    switch (radix)
    {
    case 10:
        return writeDecimal(end, value);
    case 16:
        return writeBits(end, value, 4, digits);
    case 8:
        return writeBits(end, value, 3, digits);
    case 2:
        return writeBits(end, value, 1, digits);
    default:
        break;
    }
    do
    {
        *--end = digits[value % radix];
        value /= radix;
    } while (value != 0);
    return end;
}

char* vnDigits::writeAutomatic(char* to, double value, int significant, int signLength) noexcept
{
    if (value >= VN_MAX_FIXED)
        return std::copy_n("18446744073709551616", 20, to);
    const Parts parts(value);
    char* const first = to;
    to = writeWhole(to, parts.whole);
    if (parts.fraction == 0)
        return to;
    const int room = static_cast<int>(VN_MAX_AUTOMATIC) - 32;
    const int decimals = std::clamp(significant, 0, room) - static_cast<int>(to - first) - signLength;
    if (decimals <= 0)
        return to;
    if (writeAtOnce(to, parts, static_cast<unsigned int>(decimals)))
        return to;
    return writeStepwise(to, value - static_cast<double>(parts.whole), decimals);
}

char* vnDigits::writeReal(char* to, double value, int precision, int significant, int signLength) noexcept
{
    if (std::isnan(value))
        return std::copy_n("<nan>", 5, to);
    if (std::isinf(value))
        return std::copy_n("<inf>", 5, to);
    return precision < 0 ? writeAutomatic(to, value, significant, signLength)
                         : writeFixed(to, value, static_cast<unsigned int>(precision));
}

char* vnDigits::writeFixed(char* to, double value, unsigned int decimals) noexcept
{
    if (value >= VN_MAX_FIXED)
    {
        to = std::copy_n("18446744073709551616", 20, to);
        if (decimals)
            *to++ = '.';
        return std::fill_n(to, decimals, '0');
    }
    Parts parts(value);
    if (decimals > 19 || parts.shift > 126)
    {
        if (decimals > 0)
            return writeLongFixed(to, parts, decimals);
        parts.fraction = 0; // far below one half
    }
    // Half a unit of the last decimal is added to the value before it is cut.
    vnUInt64 digits = 0;
    if (parts.fraction != 0)
    {
        const Wide product = static_cast<Wide>(parts.fraction) * wholePowers[decimals];
        digits =
            static_cast<vnUInt64>((product + (static_cast<Wide>(1) << (parts.shift - 1))) >> parts.shift);
    }
    if (digits >= wholePowers[decimals])
    {
        digits -= wholePowers[decimals];
        ++parts.whole;
    }
    to = writeWhole(to, parts.whole);
    if (decimals == 0)
        return to;
    *to++ = '.';
    writePadded(to, digits, decimals);
    return to + decimals;
}
