// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnNumberText.h>
#include <vnBase/vnString.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>

/// The format language read one character at a time, as slow and plain as its definition: what the engine is
/// compared with. Warnings are counted, not posted.
class vnFormatOracle
{
public:
    vnFormatOracle(const std::string& format, const vnArgument* arguments, unsigned int count)
        : m_arguments(arguments), m_count(count)
    {
        const vnString text(format.data(), static_cast<unsigned short>(format.size()));
        m_format = charactersOf(text);
        m_ascii = text.isAsciiString();
        while (m_at < m_format.size())
        {
            const char32_t character = m_format[m_at++];
            if (character != '%' || take(U"%"))
                m_result += character;
            else
                runDirective();
        }
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

    bool isAt(std::u32string_view any) const
    {
        return m_at < m_format.size() && any.find(m_format[m_at]) != any.npos;
    }

    bool take(std::u32string_view any)
    {
        const bool isTaken = isAt(any);
        m_at += isTaken;
        return isTaken;
    }

    bool hasFlag(char32_t flag) const { return m_flags.find(flag) != m_flags.npos; }

    // The next argument for "*", or the digits that follow.
    long long takeNumber()
    {
        if (take(U"*"))
            return at(m_counter++).getInt64();
        unsigned long long number = 0;
        while (take(U"0123456789"))
            number = 10 * number + (m_format[m_at - 1] - '0');
        return static_cast<long long>(number);
    }

    // What the format ends within is not converted.
    void runDirective()
    {
        int index = -1;
        bool hasWidth = false;
        m_flags.clear();
        m_precision = -1;
        m_size = 8;
        if (isAt(U"*123456789"))
        {
            const bool isStar = isAt(U"*");
            const long long number = takeNumber();
            hasWidth = !take(U"$");
            m_width = static_cast<unsigned int>(number) % 65536;
            if (!hasWidth && number >= 1 && number <= 16)
                index = static_cast<int>(number) - 1;
            else if (!hasWidth && !isStar)
                ++m_warnings;
        }
        if (!hasWidth)
        {
            while (take(U"-+0 #"))
                m_flags += m_format[m_at - 1];
            m_width = static_cast<unsigned int>(takeNumber()) % 65536;
        }
        if (take(U"."))
        {
            const long long number = takeNumber();
            m_precision = number < 0 || number % 65536 == 65535 ? -1 : static_cast<int>(number % 65536);
        }
        if (take(U"hH"))
            m_size = 2;
        else if (take(U"lL"))
            m_size = take(U"lL") ? 8 : 4;
        if (m_at < m_format.size())
            convert(m_format[m_at++], index);
    }

    void convert(char32_t letter, int index)
    {
        const vnArgument argument = at(index >= 0 ? static_cast<unsigned int>(index) : m_counter++);
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
        else if (std::u32string_view(U"duxXbBoO").find(letter) != std::u32string_view::npos)
            body = widened(integerBody(static_cast<char>(letter), argument, negative));
        else
            ++m_warnings;
        const bool isDecimal = letter == 'd' || letter == 'u';
        pad(body, negative, hasFlag('#') && !isDecimal ? 2 : 0);
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
        double tolerance = vnPow10(static_cast<short>(-decimals));
        for (int i = 0; i < decimals && fraction > tolerance; ++i)
        {
            const double before = tolerance;
            fraction *= 10;
            tolerance *= 10;
            int digit = static_cast<int>(fraction + before);
            digit = digit < 0 ? 0 : digit > 9 ? 9 : digit;
            result += i == 0 ? "." : "";
            result += static_cast<char>('0' + digit);
            fraction -= digit;
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

    std::string digits(unsigned long long value, unsigned char radix, bool upper = false) const
    {
        std::string text;
        for (; value != 0 || text.empty() || static_cast<int>(text.size()) < m_precision; value /= radix)
            text.insert(text.begin(), (upper ? "0123456789ABCDEF" : "0123456789abcdef")[value % radix]);
        return text;
    }

    std::string integerBody(char letter, const vnArgument& argument, bool& negative) const
    {
        const bool isUnsigned = m_size == 8 && argument.isULongLong();
        // The smaller sizes go through the double.
        const vnArgument source = m_size == 8 ? argument : vnArgument(static_cast<double>(argument));
        unsigned long long bits = source.getUInt64();
        if (letter == 'd')
        {
            if (!argument.isULongLong()) // ends where signed numbers do
                bits = static_cast<unsigned long long>(source.getInt64());
            const long long number = m_size == 8   ? static_cast<long long>(bits)
                                     : m_size == 4 ? static_cast<int>(bits)
                                                   : static_cast<short>(bits);
            negative = number < 0 && !isUnsigned;
            bits = static_cast<unsigned long long>(number);
            return digits(negative ? 0 - bits : bits, 10);
        }
        const bool below = m_size == 8 && source.getInt64() < 0 && !isUnsigned;
        if (m_size != 8)
            bits &= m_size == 4 ? 0xFFFFFFFFull : 0xFFFFull;
        if (letter == 'u')
            return digits(below ? 0 - bits : bits, 10);
        const bool upper = letter == 'X';
        const char lower = static_cast<char>(std::tolower(letter));
        const unsigned char radix = lower == 'x' ? 16 : lower == 'o' ? 8 : 2;
        if (!below || bits < 0xF000000000000000ull)
            return digits(bits, radix, upper);
        if (radix == 2)
            return "1" + digits(bits + 0x8000000000000000ull, radix);
        return (radix == 16 ? "F" : "7") + digits(bits + 0x1000000000000000ull, radix, upper);
    }

    // `unseen` characters count although none are written.
    void pad(const std::u32string& body, bool negative, std::size_t unseen)
    {
        const std::u32string sign = negative ? U"-" : hasFlag('+') ? U"+" : hasFlag(' ') ? U" " : U"";
        const std::size_t used = sign.size() + body.size();
        const auto fill = [this](char32_t character, std::size_t length)
        { return std::u32string(length < m_width ? m_width - length : 0, character); };
        if (hasFlag('-'))
            m_result += sign + body + fill(' ', used);
        else if (hasFlag('0'))
            m_result += sign + fill('0', used) + body;
        else
            m_result += fill(' ', used + unseen) + sign + body;
    }

    std::u32string m_format;
    std::size_t m_at = 0;
    std::u32string m_result;
    const vnArgument* m_arguments;
    unsigned int m_count;
    unsigned int m_counter = 0;
    unsigned int m_warnings = 0;
    bool m_ascii = false;

    std::u32string m_flags;
    int m_precision = -1;
    unsigned int m_width = 0;
    unsigned int m_size = 8;
};
