// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnNumberText.h>
#include <vnBase/vnString.h>

#include <cmath>
#include <cstdio>
#include <string>

/// The format language walked one character and one state at a time, as slow and plain as its definition:
/// what the engine is compared with. Warnings are counted, not posted.
class vnFormatOracle
{
public:
    vnFormatOracle(const std::string& format, const vnArgument* arguments, unsigned int count)
        : m_arguments(arguments), m_count(count)
    {
        const vnString text(format.data(), static_cast<unsigned short>(format.size()));
        m_format = charactersOf(text);
        m_ascii = text.isAsciiString();
        run();
    }

    unsigned int warnings() const { return m_warnings; }

    std::string result() const
    {
        std::string bytes;
        for (char32_t character : m_result)
        {
            char encoded[6] = {static_cast<char>(character)};
            const unsigned int size = m_ascii ? 1 : vnUInt32ToUTF8(encoded, character);
            if (bytes.size() + size > 65535)
                break;
            bytes.append(encoded, size);
        }
        return bytes;
    }

private:
    static std::u32string charactersOf(const vnString& text)
    {
        std::u32string characters;
        const bool ascii = text.isAsciiString();
        for (unsigned int i = 0; i < text.length();)
        {
            unsigned char size = 1;
            if (ascii)
                characters += static_cast<unsigned char>(text.getString()[i]);
            else
                characters += vnUTF8ToULong(text.getString() + i, &size);
            i += size;
        }
        return characters;
    }

    vnArgument at(unsigned int index) const { return index < m_count ? m_arguments[index] : vnArgument(); }

    void run()
    {
        unsigned int state = 0;
        unsigned long long n = 0;
        for (std::size_t i = 0; i < m_format.size();)
        {
            const char32_t c = m_format[i];
            const bool digit = c >= '0' && c <= '9';
            const auto to = [&](unsigned int next, bool consume)
            {
                state = next;
                i += consume;
            };
            switch (state)
            {
            case 0:
                if (c != '%')
                    m_result += c;
                else
                {
                    m_index = m_precision = -1;
                    m_width = 0;
                    m_size = 8;
                    m_left = m_zero = m_plus = m_space = m_hash = false;
                }
                to(c == '%' ? 1 : 0, true);
                break;
            case 1:
                if (c == '%')
                    m_result += c;
                to(c == '%' ? 0 : 2, c == '%');
                break;
            case 2:
                if (c == '*')
                    m_star = at(m_counter++).getInt64();
                n = 0;
                to(c == '*' ? 3 : c >= '1' && c <= '9' ? 4 : 5, c == '*');
                break;
            case 3:
                if (c == '$' && m_star >= 1 && m_star <= 16)
                    m_index = static_cast<int>(m_star) - 1;
                if (c != '$')
                    m_width = static_cast<unsigned int>(m_star) % 65536;
                to(c == '$' ? 5 : 6, c == '$');
                break;
            case 4:
                if (digit)
                {
                    n = 10 * n + (c - '0');
                    to(4, true);
                    break;
                }
                if (c == '$' && n >= 1 && n <= 16)
                    m_index = static_cast<int>(n) - 1;
                else if (c == '$')
                    ++m_warnings;
                else
                    m_width = n % 65536;
                to(c == '$' ? 5 : 6, c == '$');
                break;
            case 5:
                if (c == '-')
                    m_left = true, m_zero = false;
                else if (c == '+')
                    m_plus = true, m_space = false;
                else if (c == '0')
                    m_zero = !m_left;
                else if (c == ' ')
                    m_space = !m_plus;
                else if (c == '#')
                    m_hash = true;
                else
                {
                    to(7, false);
                    break;
                }
                to(5, true);
                break;
            case 7:
                if (c == '*')
                    m_width = static_cast<unsigned int>(at(m_counter++).getInt64()) % 65536;
                n = 0;
                to(c == '*' ? 6 : 8, c == '*');
                break;
            case 8:
                if (digit)
                    n = 10 * n + (c - '0');
                else
                    m_width = n % 65536;
                to(digit ? 8 : 6, digit);
                break;
            case 6:
                to(c == '.' ? 9 : 11, c == '.');
                break;
            case 9:
                if (c == '*')
                    setPrecision(at(m_counter++).getInt64());
                n = 0;
                to(c == '*' ? 11 : 10, c == '*');
                break;
            case 10:
                if (digit)
                    n = 10 * n + (c - '0');
                else
                    setPrecision(static_cast<long long>(n));
                to(digit ? 10 : 11, digit);
                break;
            case 11:
                m_size = c == 'l' || c == 'L' ? 4 : c == 'h' || c == 'H' ? 2 : 8;
                to(m_size == 4 ? 12 : 13, m_size != 8);
                break;
            case 12:
                if (c == 'l' || c == 'L')
                    m_size = 8;
                to(13, m_size == 8);
                break;
            default:
                convert(c);
                to(0, true);
                break;
            }
        }
    }

    void setPrecision(long long n)
    {
        m_precision = n < 0 || n % 65536 == 65535 ? -1 : static_cast<int>(n % 65536);
    }

    void convert(char32_t letter)
    {
        const vnArgument argument = at(m_index >= 0 ? static_cast<unsigned int>(m_index) : m_counter++);
        if (m_precision == 0 && static_cast<double>(argument) == 0.0)
            return;
        std::u32string body;
        bool negative = false;
        if (letter == 'c')
            body += static_cast<char16_t>(argument.getUInt64());
        else if (letter == 's' || letter == 'S')
            body = stringBody(letter, argument);
        else if (letter == 'f' || letter == 'e' || letter == 'g')
            body = widened(realBody(static_cast<char>(letter), argument, negative));
        else if (letter < 128 && std::string("duxXbBoO").find(static_cast<char>(letter)) != std::string::npos)
            body = widened(integerBody(static_cast<char>(letter), argument, negative));
        else
            ++m_warnings;
        pad(body, negative);
    }

    static std::u32string widened(const std::string& text)
    {
        return std::u32string(text.begin(), text.end());
    }

    std::u32string stringBody(char32_t letter, const vnArgument& argument)
    {
        if (letter == 's' && m_width != 0 && (m_precision == -1 || m_precision > static_cast<int>(m_width)))
            m_precision = static_cast<int>(m_width);
        std::u32string body;
        const void* const address = static_cast<void*>(argument);
        if (argument.isString())
        {
            body = charactersOf(argument.getString());
            m_ascii = m_ascii || argument.getString().isAsciiString();
        }
        else if (!argument.isPointer())
            ++m_warnings;
        else if (letter == 's')
        {
            m_ascii = true;
            for (const char* at = static_cast<const char*>(address); at && *at; ++at)
                body += static_cast<unsigned char>(*at);
        }
        else
            for (const char16_t* at = static_cast<const char16_t*>(address); at && *at; ++at)
                body += *at;
        return m_precision < 0 ? body : body.substr(0, static_cast<std::size_t>(m_precision));
    }

    // All decimals of the value from the C library, then rounded half up.
    std::string roundedText(double value) const
    {
        const int places = m_precision > 100 ? m_precision : 100;
        std::string text(static_cast<std::size_t>(places) + 64, 0);
        const int length = std::snprintf(text.data(), text.size(), "%.*f", places, value);
        const std::size_t cut = static_cast<std::size_t>(length - places + m_precision);
        bool carry = text[cut] >= '5';
        text.resize(m_precision == 0 ? cut - 1 : cut);
        for (std::size_t i = text.size(); carry && i-- > 0;)
        {
            if (text[i] == '.')
                continue;
            carry = text[i] == '9';
            text[i] = carry ? '0' : static_cast<char>(text[i] + 1);
        }
        return carry ? "1" + text : text;
    }

    // Without a precision the digits are made one a step.
    std::string fixedText(double value) const
    {
        if (m_precision >= 0)
            return roundedText(value);
        std::string result = std::to_string(static_cast<unsigned long long>(value));
        double fraction = value - static_cast<double>(static_cast<unsigned long long>(value));
        const int decimals = 15 - static_cast<int>(result.size());
        if (decimals <= 0)
            return result;
        double tolerance = vnPow10(static_cast<short>(-decimals));
        if (!(fraction > tolerance))
            return result;
        result += '.';
        for (int i = 0; i < decimals; ++i)
        {
            const double before = tolerance;
            fraction *= 10;
            tolerance *= 10;
            int digit = static_cast<int>(fraction + before);
            digit = digit < 0 ? 0 : digit > 9 ? 9 : digit;
            result += static_cast<char>('0' + digit);
            fraction -= digit;
            if (!(fraction > tolerance))
                break;
        }
        return result;
    }

    std::string exponentText(double value) const
    {
        const double logarithm = std::log10(value);
        if (std::fabs(logarithm) > 400)
            return "<inf>";
        int exponent = static_cast<int>(logarithm);
        // Two factors where the power itself is no double.
        const int inside = -exponent > 308 ? 308 : -exponent < -307 ? -307 : -exponent;
        double mantissa = value * vnPow10(static_cast<short>(inside));
        if (inside != -exponent)
            mantissa *= vnPow10(static_cast<short>(-exponent - inside));
        while (mantissa > 1e-10 && mantissa < 1.0)
        {
            mantissa *= 10;
            --exponent;
        }
        return fixedText(mantissa) + "e" + std::to_string(exponent);
    }

    std::string realBody(char letter, const vnArgument& argument, bool& negative) const
    {
        double value = argument.isULongLong() ? static_cast<double>(argument.getUInt64())
                                              : static_cast<double>(argument);
        if (m_size == 2)
            value = static_cast<double>(static_cast<float>(value));
        negative = value < 0;
        value = std::fabs(value);
        const bool extreme = value > 1e18 || (value < 1e-9 && value != 0);
        if (value == 0 || (letter == 'f' && !extreme))
            return fixedText(value);
        if (letter == 'e' || extreme)
            return exponentText(value);
        const std::string fixed = fixedText(value);
        const std::string exponent = exponentText(value);
        return exponent.size() < fixed.size() ? exponent : fixed;
    }

    std::string digits(unsigned long long value, unsigned char radix, bool upper) const
    {
        std::string text;
        do
        {
            const char digit = "0123456789abcdef"[value % radix];
            text.insert(text.begin(), upper ? static_cast<char>(std::toupper(digit)) : digit);
            value /= radix;
        } while (value != 0);
        while (static_cast<int>(text.size()) < m_precision)
            text.insert(text.begin(), '0');
        return text;
    }

    std::string integerBody(char letter, const vnArgument& argument, bool& negative)
    {
        const bool isUnsigned =
            m_size == 8 &&
            (argument.isULongLong() || (!argument.isLongLong() && static_cast<double>(argument) > 0));
        unsigned long long value = argument.getUInt64();
        if (m_size != 8)
            value = static_cast<unsigned long long>(vnArgument(static_cast<double>(argument)).getInt64());
        if (letter == 'd')
        {
            m_hash = false;
            if (m_size == 8 && !argument.isULongLong())
                value = static_cast<unsigned long long>(argument.getInt64());
            long long number = static_cast<long long>(value);
            if (m_size != 8)
                number = m_size == 4 ? static_cast<int>(value) : static_cast<short>(value);
            negative = number < 0 && !isUnsigned;
            return digits(negative      ? 0ull - static_cast<unsigned long long>(number)
                          : m_size == 8 ? value
                                        : static_cast<unsigned long long>(number),
                          10, false);
        }
        const bool below = m_size == 8 && static_cast<long long>(value) < 0 && !isUnsigned;
        if (m_size != 8)
            value &= m_size == 4 ? 0xFFFFFFFFull : 0xFFFFull;
        if (letter == 'u')
        {
            m_hash = false;
            return digits(below ? 0ull - value : value, 10, false);
        }
        const char lower = static_cast<char>(std::tolower(letter));
        const unsigned char radix = lower == 'x' ? 16 : lower == 'o' ? 8 : 2;
        if (!below)
            return digits(value, radix, letter == 'X');
        if (value < 0xF000000000000000ull)
            return digits(value, radix, letter == 'X');
        if (radix == 2)
            return "1" + digits(value + 0x8000000000000000ull, radix, false);
        return (radix == 16 ? "F" : "7") + digits(value + 0x1000000000000000ull, radix, letter == 'X');
    }

    void pad(std::u32string body, bool negative)
    {
        std::u32string prefix;
        std::u32string sign;
        if (negative)
            sign = U"-";
        else if (m_plus)
            sign = U"+";
        else if (m_space)
            sign = U" ";
        if (m_zero)
        {
            prefix = sign;
            while (prefix.size() + body.size() < m_width)
                prefix += U'0';
        }
        else if (m_left)
        {
            prefix = sign;
            while (prefix.size() + body.size() < m_width)
                body += U' ';
        }
        else
        {
            while (body.size() + prefix.size() + sign.size() + (m_hash ? 2 : 0) < m_width)
                prefix += U' ';
            prefix += sign;
        }
        m_result += prefix + body;
    }

    std::u32string m_format;
    std::u32string m_result;
    const vnArgument* m_arguments;
    unsigned int m_count;
    unsigned int m_counter = 0;
    unsigned int m_warnings = 0;
    long long m_star = 0;
    bool m_ascii = false;

    int m_index = -1;
    int m_precision = -1;
    unsigned int m_width = 0;
    unsigned int m_size = 8;
    bool m_left = false;
    bool m_zero = false;
    bool m_plus = false;
    bool m_space = false;
    bool m_hash = false;
};
