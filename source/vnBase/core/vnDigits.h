// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <algorithm>

/// The digit writers below vnNumberText.h and the format engine. None of them writes a NUL.
namespace vnDigits
{
/// The most digits that a 64-bit value takes, in radix 2.
constexpr unsigned int VN_MAX_DIGITS = 64;

/// Writes the digits of `value` so that they end before `end`, and returns the first. Radix 2 to 62.
char* writeBackwards(char* end, vnUInt64 value, unsigned int radix, bool upper) noexcept;

/// The digits of a whole number, and how many zeros fill them up to `minDigits`.
class Integer
{
public:
    Integer(vnUInt64 value, unsigned int radix, bool upper, int minDigits) noexcept
        : m_first(writeBackwards(m_digits + VN_MAX_DIGITS, value, radix, upper)),
          m_zeros(minDigits > static_cast<int>(count()) ? static_cast<unsigned int>(minDigits) - count() : 0)
    {
    }
    Integer(const Integer&) = delete;
    Integer& operator=(const Integer&) = delete;

    const char* first() const noexcept { return m_first; }
    unsigned int count() const noexcept
    {
        return static_cast<unsigned int>(m_digits + VN_MAX_DIGITS - m_first);
    }
    unsigned int zeros() const noexcept { return m_zeros; }

    /// Writes the sign of a negative number, the zeros and the digits, and returns the end.
    template <class Char>
    Char* write(Char* to, bool negative) const noexcept
    {
        if (negative)
            *to++ = '-';
        to = std::fill_n(to, m_zeros, static_cast<Char>('0'));
        return std::copy_n(m_first, count(), to);
    }

private:
    char m_digits[VN_MAX_DIGITS];
    const char* m_first;
    unsigned int m_zeros;
};

/// The most characters of `writeAutomatic`.
constexpr unsigned int VN_MAX_AUTOMATIC = 420;

/// A finite, not negative value up to 2^64 with as many decimals as show `significant` digits, without
/// trailing zeros; `signLength` is taken off them. Returns the end.
char* writeAutomatic(char* to, double value, int significant, int signLength) noexcept;

/// The same with exactly `decimals` decimals, rounded half up: up to 22 + `decimals` characters.
char* writeFixed(char* to, double value, unsigned int decimals) noexcept;

/// "<nan>", "<inf>", or what `writeFixed` and, for a `precision` below 0, `writeAutomatic` write.
char* writeReal(char* to, double value, int precision, int significant, int signLength) noexcept;

/// `value` times 10 to the power of `exponent`, also where that power is outside the table of vnPow10.
double scaled(double value, int exponent) noexcept;

/// Where "%f" gives way to the exponent form. A NaN needs none.
constexpr bool needsExponent(double magnitude) noexcept
{
    return magnitude > 1e18 || (magnitude < 1e-9 && magnitude != 0.0);
}

/// The largest value that is written in fixed notation, 2^64.
constexpr double VN_MAX_FIXED = 18446744073709551616.0;
} // namespace vnDigits
