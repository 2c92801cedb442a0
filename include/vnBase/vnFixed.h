// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <type_traits>

/// A fixed point number with 16 integer and 16 fraction bits: -32768 to a little below 32768 in steps of
/// 1/65536. Numbers of any arithmetic type take part in its arithmetic; they are converted first.
///
///     vnFixed pen(1.5f);
///     pen += 2;
///     float x = pen * pen;
///
/// Converting cuts toward zero. What lies outside of the range becomes its nearest end, NaN becomes 0.
/// Arithmetic that leaves the range wraps around, as that of integers does in hardware. Dividing by zero
/// throws `vnFatalError`.
///
/// Thread-safety: a plain value.
class VN_BASE_API vnFixed
{
public:
    constexpr vnFixed() noexcept = default;
    constexpr vnFixed(short value) noexcept : m_bits(value * 65536) {}
    constexpr vnFixed(int value) noexcept : vnFixed(static_cast<double>(value)) {}
    constexpr vnFixed(float value) noexcept : vnFixed(static_cast<double>(value)) {}
    constexpr vnFixed(double value) noexcept : m_bits(scaled(value * 65536.0)) {}

    // The factor is the float nearest to these digits, which is exactly 2^-16.
    constexpr operator float() const noexcept { return static_cast<float>(m_bits) * 1.5258789e-5f; }

    /// The number in units of 1/65536.
    constexpr int bits() const noexcept { return m_bits; }
    constexpr void setBits(int bits) noexcept { m_bits = bits; }

    constexpr vnFixed operator-() const noexcept { return fromWide(-static_cast<vnInt64>(m_bits)); }
    constexpr vnFixed operator+(const vnFixed& other) const noexcept
    {
        return fromWide(static_cast<vnInt64>(m_bits) + other.m_bits);
    }
    constexpr vnFixed operator-(const vnFixed& other) const noexcept
    {
        return fromWide(static_cast<vnInt64>(m_bits) - other.m_bits);
    }
    constexpr vnFixed operator*(const vnFixed& other) const noexcept
    {
        return fromWide(static_cast<vnInt64>(m_bits) * other.m_bits >> 16);
    }
    vnFixed operator/(const vnFixed& other) const
    {
        if (other.m_bits == 0)
            throwDivisionByZero();
        return fromWide(static_cast<vnInt64>(m_bits) * 65536 / other.m_bits);
    }

    vnFixed& operator+=(const vnFixed& other) noexcept { return *this = *this + other; }
    vnFixed& operator-=(const vnFixed& other) noexcept { return *this = *this - other; }
    vnFixed& operator*=(const vnFixed& other) noexcept { return *this = *this * other; }
    vnFixed& operator/=(const vnFixed& other) { return *this = *this / other; }

    // Templates, since plain numbers would otherwise fit the built-in operators, through the conversion to
    // float, as well as the ones above.
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    constexpr vnFixed operator+(N number) const noexcept
    {
        return *this + fromNumber(number);
    }
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    constexpr vnFixed operator-(N number) const noexcept
    {
        return *this - fromNumber(number);
    }
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    constexpr vnFixed operator*(N number) const noexcept
    {
        return *this * fromNumber(number);
    }
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    vnFixed operator/(N number) const
    {
        return *this / fromNumber(number);
    }
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    vnFixed& operator+=(N number) noexcept
    {
        return *this += fromNumber(number);
    }
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    vnFixed& operator-=(N number) noexcept
    {
        return *this -= fromNumber(number);
    }
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    vnFixed& operator*=(N number) noexcept
    {
        return *this *= fromNumber(number);
    }
    template <class N, class = std::enable_if_t<std::is_arithmetic_v<N>>>
    vnFixed& operator/=(N number)
    {
        return *this /= fromNumber(number);
    }

private:
    template <class N>
    static constexpr vnFixed fromNumber(N number) noexcept
    {
        return vnFixed(static_cast<double>(number));
    }

    static constexpr int scaled(double units) noexcept
    {
        if (units >= 2147483647.0)
            return 2147483647;
        if (units <= -2147483648.0)
            return -2147483647 - 1;
        return units == units ? static_cast<int>(units) : 0;
    }

    static constexpr vnFixed fromWide(vnInt64 units) noexcept
    {
        vnFixed result;
        result.m_bits = static_cast<int>(static_cast<unsigned int>(units & 0xFFFFFFFFll));
        return result;
    }

    [[noreturn]] static void throwDivisionByZero();

    int m_bits = 0;
};

static_assert(sizeof(vnFixed) == 4);
