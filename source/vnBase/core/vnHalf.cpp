// SPDX-License-Identifier: MIT
#include <vnBase/vnHalf.h>

namespace
{
constexpr unsigned int VN_FLOAT_SIGN = 0x80000000u;
constexpr unsigned int VN_FLOAT_INFINITY = 0x7F800000u;
constexpr unsigned int VN_FLOAT_MANTISSA = 0x007FFFFFu;
constexpr unsigned int VN_EXPONENT_SHIFT = 112; // the biases of float and half: 127 - 15

// A denormalized half: its mantissa is shifted until its first bit stands where a float leaves it out.
constexpr unsigned int denormalizedToFloat(unsigned int mantissa)
{
    unsigned int exponent = VN_EXPONENT_SHIFT + 1;
    for (; !(mantissa & 0x400); mantissa <<= 1)
        --exponent;
    return exponent << 23 | (mantissa & 0x3FF) << 13;
}

constexpr unsigned int toFloatBits(unsigned int half)
{
    const unsigned int sign = (half & 0x8000) << 16;
    const unsigned int magnitude = half & 0x7FFF;
    if (magnitude >= 0x7C00)
        return sign | VN_FLOAT_INFINITY | magnitude << 13;
    if (magnitude >= 0x400)
        return sign | ((magnitude << 13) + (VN_EXPONENT_SHIFT << 23));
    return magnitude ? sign | denormalizedToFloat(magnitude) : sign;
}

constexpr std::array<unsigned int, 65536> createToFloat()
{
    std::array<unsigned int, 65536> table{};
    for (unsigned int half = 0; half < 65536; ++half)
        table[half] = toFloatBits(half);
    return table;
}

// The half with an empty mantissa, for the exponents that it has too. Rounding the mantissa up may carry into
// the exponent, and for the largest one that rightly makes an infinity.
constexpr std::array<unsigned short, 512> createBase()
{
    std::array<unsigned short, 512> table{};
    for (unsigned int exponent = 1; exponent < 31; ++exponent)
    {
        table[VN_EXPONENT_SHIFT + exponent] = static_cast<unsigned short>(exponent << 10);
        table[256 + VN_EXPONENT_SHIFT + exponent] = static_cast<unsigned short>(0x8000 | exponent << 10);
    }
    return table;
}

constexpr auto floatsOfHalves = createToFloat();
constexpr auto basesOfFloats = createBase();
} // namespace

const std::array<unsigned int, 65536> vnHalf::s_toFloat = floatsOfHalves;
const std::array<unsigned short, 512> vnHalf::s_base = basesOfFloats;

vnHalf vnHalf::round(unsigned int bits) const noexcept
{
    if (bits >= 10 || !isFinite())
        return *this;
    const unsigned int unit = 1u << (10 - bits);
    const unsigned int rounded = (magnitude() + unit / 2) & ~(unit - 1);
    const unsigned int kept = rounded < VN_INFINITY ? rounded : magnitude() & ~(unit - 1);
    return fromBits(static_cast<unsigned short>((m_bits & VN_SIGN) | kept));
}

// What the table of bases can't tell: NaN, infinities and too large numbers, and numbers that become
// denormalized halves.
unsigned short vnHalf::fromFloatSlow(unsigned int bits) noexcept
{
    const unsigned int sign = (bits & VN_FLOAT_SIGN) >> 16;
    const unsigned int magnitude = bits & ~VN_FLOAT_SIGN;
    if (magnitude > VN_FLOAT_INFINITY)
    {
        // A NaN whose bits are all in the part that is cut would become an infinity.
        const unsigned int payload = (magnitude & VN_FLOAT_MANTISSA) >> 13;
        return static_cast<unsigned short>(sign | VN_INFINITY | (payload ? payload : 1));
    }
    const unsigned int exponent = magnitude >> 23;
    if (exponent > VN_EXPONENT_SHIFT)
        return static_cast<unsigned short>(sign | VN_INFINITY);

    // In units of 2^-24 the result is the mantissa shifted down by 14 places for the largest of these
    // exponents, and by one more for each smaller one. Shifted by 25 or more it is below half a unit.
    const unsigned int shift = VN_EXPONENT_SHIFT + 14 - exponent;
    if (shift > 24)
        return static_cast<unsigned short>(sign);
    const unsigned int mantissa = (magnitude & VN_FLOAT_MANTISSA) | 0x00800000u;
    const unsigned int whole = mantissa >> shift;
    const unsigned int rest = mantissa & ((1u << shift) - 1);
    const unsigned int half = 1u << (shift - 1);
    const unsigned int up = rest > half || (rest == half && (whole & 1)) ? 1 : 0;
    return static_cast<unsigned short>(sign | (whole + up));
}
