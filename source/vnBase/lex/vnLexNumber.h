// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// A number under construction, digit by digit. Its real value is the double nearest to what was written,
/// whatever the number of digits.
class vnLexNumber
{
public:
    void setNegative() noexcept { m_isNegative = true; }
    bool isNegative() const noexcept { return m_isNegative; }

    void addDigit(unsigned int digit) noexcept;
    void addHexDigit(unsigned int digit) noexcept { m_magnitude = m_magnitude * 16 + digit; }
    void addFractionDigit(unsigned int digit) noexcept;
    void setExponentNegative() noexcept { m_isExponentNegative = true; }
    void addExponentDigit(unsigned int digit) noexcept;

    /// The digits as an integer, modulo 2 to the power of 64.
    vnUInt64 getMagnitude() const noexcept { return m_magnitude; }

    /// Infinite or zero when the exponent is beyond what a double holds.
    double getReal() const noexcept;

private:
    // No double needs more digits to be told from its neighbours than 768; what is behind only counts as
    // being there.
    static constexpr unsigned int VN_MAX_DIGITS = 800;
    static constexpr unsigned int VN_MAX_EXPONENT_TEXT = 24;
    static constexpr vnInt64 VN_MAX_EXPONENT = 1000000000000;

    double parse(vnInt64 exponent) const noexcept;

    bool m_isNegative = false;
    bool m_isExponentNegative = false;
    bool m_hasRest = false; // a digit that was left out was not 0
    vnUInt64 m_magnitude = 0;
    vnInt64 m_exponent = 0;
    vnInt64 m_scale = 0; // the power of ten of the digits kept
    unsigned int m_count = 0;
    char m_digits[VN_MAX_DIGITS]; // without leading zeros
};
