// SPDX-License-Identifier: MIT
#include <vnBase/vnMath.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
constexpr unsigned int VN_TABLE_SIZE = 170; // 0 to 169

constexpr std::array<double, VN_TABLE_SIZE> createFaculties()
{
    std::array<double, VN_TABLE_SIZE> table{};
    table[0] = 1.0;
    for (unsigned int n = 1; n < VN_TABLE_SIZE; ++n)
        table[n] = table[n - 1] * n;
    return table;
}

constexpr unsigned int rowStart(unsigned int n)
{
    return n * (n + 1) / 2;
}

// Row by row, without the places where k is above n.
constexpr std::array<double, rowStart(VN_TABLE_SIZE)> createCombinations()
{
    std::array<double, rowStart(VN_TABLE_SIZE)> table{};
    for (unsigned int n = 0; n < VN_TABLE_SIZE; ++n)
    {
        double* row = &table[rowStart(n)];
        row[0] = 1.0;
        for (unsigned int k = 1; k <= n; ++k)
            row[k] = row[k - 1] * (n - k + 1) / k;
    }
    return table;
}

// Compiled into the constant data, so that they serve the static initializers of every file.
constexpr auto faculties = createFaculties();
constexpr auto combinations = createCombinations();
} // namespace

double vnFaculty(unsigned int n)
{
    return n < VN_TABLE_SIZE ? faculties[n] : 1.0;
}

double vnCombination(unsigned int n, unsigned int k)
{
    return n < VN_TABLE_SIZE && k <= n ? combinations[rowStart(n) + k] : 1.0;
}

unsigned char vnIsPowerOfTwo(const vnUInt64& value)
{
    return value != 0 && (value & (value - 1)) == 0;
}

unsigned char vnIsDoublePowerOfTwo(double value)
{
    int exponent;
    return std::frexp(value, &exponent) == 0.5;
}

double vnGetUpperPowerOfTwo(double value)
{
    if (!(value > 0.0))
        return 0.0;
    return std::ldexp(1.0, vnGetUpperPowerOfTwoExponent(value));
}

int vnGetUpperPowerOfTwoExponent(double value)
{
    if (!(value > 0.0))
        return 0;
    if (value > std::numeric_limits<double>::max())
        return std::numeric_limits<double>::max_exponent;
    int exponent;
    const double fraction = std::frexp(value, &exponent); // 0.5 to below 1
    // Below 1 the next power downward is meant, although the name says upper: the power is found for the
    // reciprocal.
    return value < 1.0 || fraction == 0.5 ? exponent - 1 : exponent;
}

void flipEndian(vnUInt64& value)
{
    value = __builtin_bswap64(value);
}

unsigned char vnBigEndian()
{
    const unsigned short probe = 0x0100;
    unsigned char first;
    std::memcpy(&first, &probe, sizeof first);
    return first;
}
