// SPDX-License-Identifier: MIT
#include "vnLexNumber.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace
{
// Up to here digits and powers of ten are exact doubles, so that one operation rounds once.
constexpr vnUInt64 VN_EXACT_INTEGER = 1ull << 53;
constexpr int VN_EXACT_POWER = 22;
constexpr double exactPowers[VN_EXACT_POWER + 1] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                    1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                    1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// So many digits always fit 64 bits.
constexpr unsigned int VN_EXACT_DIGITS = 19;
} // namespace

void vnLexNumber::addDigit(unsigned int digit) noexcept
{
    m_magnitude = m_magnitude * 10 + digit;
    if (m_count == 0 && digit == 0)
        return;
    if (m_count < VN_MAX_DIGITS)
    {
        m_digits[m_count++] = static_cast<char>('0' + digit);
        return;
    }
    ++m_scale;
    m_hasRest = m_hasRest || digit != 0;
}

void vnLexNumber::addFractionDigit(unsigned int digit) noexcept
{
    addDigit(digit);
    --m_scale;
}

void vnLexNumber::addExponentDigit(unsigned int digit) noexcept
{
    m_exponent = std::min(m_exponent * 10 + digit, VN_MAX_EXPONENT);
}

double vnLexNumber::getReal() const noexcept
{
    const vnInt64 exponent = (m_isExponentNegative ? -m_exponent : m_exponent) + m_scale;
    double value = 0;
    if (m_count > VN_EXACT_DIGITS || m_magnitude > VN_EXACT_INTEGER || exponent > VN_EXACT_POWER ||
        exponent < -VN_EXACT_POWER)
        value = m_count == 0 ? 0 : parse(exponent);
    else if (exponent < 0)
        value = static_cast<double>(m_magnitude) / exactPowers[-exponent];
    else
        value = static_cast<double>(m_magnitude) * exactPowers[exponent];
    return m_isNegative ? -value : value;
}

double vnLexNumber::parse(vnInt64 exponent) const noexcept
{
    char text[VN_MAX_DIGITS + VN_MAX_EXPONENT_TEXT];
    std::memcpy(text, m_digits, m_count);
    char* end = text + m_count;
    if (m_hasRest)
    {
        // Any digit behind the last one serves to be more than a tie.
        *end++ = '1';
        --exponent;
    }
    *end++ = 'e';
    end = std::to_chars(end, text + sizeof text, exponent).ptr;
    double value = 0;
    if (std::from_chars(text, end, value).ec == std::errc())
        return value;
    return exponent + m_count > 0 ? std::numeric_limits<double>::infinity() : 0;
}
