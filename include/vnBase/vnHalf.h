// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <array>
#include <cstring>

/// A floating point number of 16 bits, in the layout of IEEE 754 binary16: one sign bit, five exponent bits,
/// ten mantissa bits. It holds magnitudes from 2^-24 to 65504, with about three decimal digits, and is meant
/// for storage; arithmetic converts to float, operates, and converts back.
///
///     vnHalf exposure(0.1f);
///     exposure *= 2.0f;
///     float value = exposure;
///
/// A float becomes the nearest half. Halfway cases go away from zero where the result is normalized, and to
/// the even neighbour where it is denormalized. Either zero becomes positive zero; what is too large becomes
/// an infinity. NaN stays NaN.
///
/// A default-constructed half is not initialized, so that large arrays cost nothing.
///
/// Thread-safety: a plain value.
class VN_BASE_API vnHalf
{
public:
    vnHalf() noexcept = default;
    vnHalf(float value) noexcept : m_bits(fromFloat(value)) {}

    operator float() const noexcept
    {
        float value;
        std::memcpy(&value, &s_toFloat[m_bits], sizeof value);
        return value;
    }

    vnHalf& operator=(float value) noexcept
    {
        m_bits = fromFloat(value);
        return *this;
    }

    vnHalf operator-() const noexcept { return vnHalf(-static_cast<float>(*this)); }
    vnHalf& operator+=(vnHalf other) noexcept { return *this += static_cast<float>(other); }
    vnHalf& operator+=(float other) noexcept { return *this = static_cast<float>(*this) + other; }
    vnHalf& operator-=(vnHalf other) noexcept { return *this -= static_cast<float>(other); }
    vnHalf& operator-=(float other) noexcept { return *this = static_cast<float>(*this) - other; }
    vnHalf& operator*=(vnHalf other) noexcept { return *this *= static_cast<float>(other); }
    vnHalf& operator*=(float other) noexcept { return *this = static_cast<float>(*this) * other; }

    /// Division by zero gives an infinity or NaN, as it does for floats.
    vnHalf& operator/=(vnHalf other) noexcept { return *this /= static_cast<float>(other); }
    vnHalf& operator/=(float other) noexcept { return *this = static_cast<float>(*this) / other; }

    /// The number rounded to the `bits` leading bits of its mantissa, 0 to 9; 10 and more change nothing.
    /// Halfway cases go away from zero, except that a finite number never becomes infinite: it is cut
    /// instead. Infinities and NaN stay.
    vnHalf round(unsigned int bits) const noexcept;

    unsigned short bits() const noexcept { return m_bits; }
    void setBits(unsigned short bits) noexcept { m_bits = bits; }

    unsigned char isZero() const noexcept { return magnitude() == 0; }

    /// The sign bit, also of zeros and NaN.
    unsigned char isNegative() const noexcept { return (m_bits & VN_SIGN) != 0; }
    unsigned char isNan() const noexcept { return magnitude() > VN_INFINITY; }
    unsigned char isInfinity() const noexcept { return magnitude() == VN_INFINITY; }
    unsigned char isFinite() const noexcept { return magnitude() < VN_INFINITY; }

    /// 1 for a finite number of at least 2^-14.
    unsigned char isNormalized() const noexcept
    {
        return isFinite() && magnitude() >= VN_SMALLEST_NORMALIZED;
    }

    /// 1 for a number that is smaller than that and not zero.
    unsigned char isDenormalized() const noexcept
    {
        return magnitude() != 0 && magnitude() < VN_SMALLEST_NORMALIZED;
    }

    static vnHalf posInf() noexcept { return fromBits(VN_INFINITY); }
    static vnHalf negInf() noexcept { return fromBits(VN_SIGN | VN_INFINITY); }
    static vnHalf qNan() noexcept { return fromBits(0x7FFF); }
    static vnHalf sNan() noexcept { return fromBits(0x7DFF); }

private:
    static constexpr unsigned short VN_SIGN = 0x8000;
    static constexpr unsigned short VN_INFINITY = 0x7C00;
    static constexpr unsigned short VN_SMALLEST_NORMALIZED = 0x0400;

    static vnHalf fromBits(unsigned short bits) noexcept
    {
        vnHalf half;
        half.m_bits = bits;
        return half;
    }

    unsigned short magnitude() const noexcept { return m_bits & 0x7FFF; }

    static unsigned short fromFloat(float value) noexcept
    {
        unsigned int bits;
        std::memcpy(&bits, &value, sizeof bits);
        // Deliberately drops the sign of a negative zero: equal numbers have equal halves.
        if (value == 0.0f)
            return 0;
        if (const unsigned int base = s_base[bits >> 23])
            return static_cast<unsigned short>(base + (((bits & 0x007FFFFFu) + 4096) >> 13));
        return fromFloatSlow(bits);
    }

    static unsigned short fromFloatSlow(unsigned int bits) noexcept;

    // Both are compiled into the library's constant data, so that they serve the static initializers of
    // every file.
    static const std::array<unsigned int, 65536> s_toFloat; // the float of each half, as its bits
    static const std::array<unsigned short, 512> s_base;    // by a float's sign and exponent; 0: the slow way

    unsigned short m_bits;
};

static_assert(sizeof(vnHalf) == 2);
