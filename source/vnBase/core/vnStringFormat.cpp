// SPDX-License-Identifier: MIT
#include <vnBase/vnString.h>

#include <core/vnDigits.h>
#include <core/vnFormatOutput.h>
#include <core/vnUtfScan.h>

#include <vnBase/vnMessage.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace
{
constexpr int noPrecision = -1;
constexpr int significantDigits = 15;
constexpr vnUInt64 largestSigned = 0x7FFFFFFFFFFFFFFFull;

// Up to here signed, unsigned and real arguments print the same digits.
constexpr vnInt64 smallNumber = 0x0FFFFFFFFFFFFFFF;

struct Directive
{
    int index = -1; // of an explicit argument
    int precision = noPrecision;
    unsigned int width = 0;
    unsigned int size = 8; // of the value, in bytes
    bool left = false;
    bool zero = false;
    bool plus = false;
    bool space = false;
    bool hash = false;
};

// A whole number and its sign; the sign of an unsigned 64-bit argument is never set.
struct Whole
{
    vnUInt64 magnitude;
    bool negative;

    vnUInt64 bits() const { return negative ? 0 - magnitude : magnitude; }
};

Whole wholeOf(const vnArgument& argument, unsigned int size)
{
    if (argument.isULongLong() && size == 8)
        return {argument.getUInt64(), false};
    // The smaller sizes go through the double, also for 64-bit arguments.
    const vnArgument source = size == 8 ? argument : vnArgument(static_cast<double>(argument));
    const vnInt64 value = source.getInt64();
    if (value < 0)
        return {0 - static_cast<vnUInt64>(value), true};
    return {source.getUInt64(), false};
}

// The value cut to `size` bytes and read as signed.
Whole cutSigned(const Whole& value, unsigned int size)
{
    if (size == 8)
        return value;
    const vnInt64 cut = size == 2 ? static_cast<short>(value.bits()) : static_cast<int>(value.bits());
    return {cut < 0 ? 0 - static_cast<vnUInt64>(cut) : static_cast<vnUInt64>(cut), cut < 0};
}

vnUInt64 cutUnsigned(const Whole& value, unsigned int size)
{
    return size == 2 ? value.bits() & 0xFFFFu : value.bits() & 0xFFFFFFFFu;
}

// A conversion of what is beyond the floats is not defined, so it is rounded by hand: down to the largest
// one, or from half a step above it on to infinity.
double roundedToFloat(double value)
{
    constexpr double largest = FLT_MAX;
    constexpr double halfStep = 10141204801825835211973625643008.0; // 2^103
    const double magnitude = std::fabs(value);
    if (magnitude >= largest + halfStep)
        return std::copysign(HUGE_VAL, value);
    if (magnitude > largest)
        return std::copysign(largest, value);
    return static_cast<double>(static_cast<float>(value));
}

double realOf(const vnArgument& argument, unsigned int size)
{
    const double value =
        argument.isULongLong() ? static_cast<double>(argument.getUInt64()) : static_cast<double>(argument);
    if (size != 2)
        return value;
    return roundedToFloat(value);
}

// A message is formatted too, and the translation of one may hold the very fault that it tells of: what is
// wrong in the text of a warning is not told again. Nor is what is wrong in a format of a receiver's, for as
// long as a warning is delivered on its thread: that receiver would get a warning of it, and so on without
// end.
__thread bool isWarning __attribute__((tls_model("initial-exec"))) = false;

template <class... Args>
void warn(const char* format, const Args&... args)
{
    struct Scope
    {
        Scope() { isWarning = true; }
        ~Scope() { isWarning = false; }
    };

    if (isWarning)
        return;
    const Scope scope;
    vnMessage::message(VN_MESSAGE_WARNING, format, args...);
}

// The body of a number, without its sign. A larger precision than the nearby one needs `space`, which must
// hold that of `spaceFor`.
class NumberText
{
public:
    static constexpr int VN_NEARBY_PRECISION = 100;

    static unsigned int spaceFor(int precision) { return static_cast<unsigned int>(precision) + 64; }

    NumberText(int precision, char* space)
        : m_precision(precision), m_first(precision > VN_NEARBY_PRECISION ? space : m_nearby), m_end(m_first)
    {
    }

    void writeFixed(double value)
    {
        m_end = vnDigits::writeReal(m_end, value, m_precision, significantDigits, 0);
    }

    // `value` is above 0 or NaN.
    void writeExponent(double value)
    {
        const double logarithm = std::log10(value);
        if (std::isnan(value) || std::fabs(logarithm) > 400)
        {
            writeFixed(std::isnan(value) ? value : HUGE_VAL);
            return;
        }
        int exponent = static_cast<int>(logarithm);
        double mantissa = vnDigits::scaled(value, -exponent);
        while (mantissa > 1e-10 && mantissa < 1.0)
        {
            mantissa *= 10;
            --exponent;
        }
        writeFixed(mantissa);
        *m_end++ = 'e';
        if (exponent < 0)
            *m_end++ = '-';
        char digits[8];
        char* const end = digits + sizeof digits;
        const char* const first =
            vnDigits::writeBackwards(end, static_cast<vnUInt64>(std::abs(exponent)), 10, false);
        m_end = std::copy(first, static_cast<const char*>(end), m_end);
    }

    const char* text() const { return m_first; }
    std::size_t length() const { return static_cast<std::size_t>(m_end - m_first); }

private:
    int m_precision;
    char* m_first;
    char* m_end;
    char m_nearby[vnDigits::VN_MAX_AUTOMATIC + 16];
};

// Walks a format once and writes its text. A directive is
//
//     % [index$] flags [width] [.precision] [size] letter
//
// in which a width and a precision may be "*", the next argument, and the size is one of l, ll, h. A format
// that ends within a directive prints nothing for it.
class Formatter
{
public:
    Formatter(const char* format, unsigned int length, const vnArgumentList& arguments, vnFormatOutput& out)
        : m_format(format), m_at(format), m_end(format + length), m_arguments(arguments), m_out(out)
    {
    }

    void run()
    {
        while (m_at != m_end)
        {
            copyText();
            if (m_at == m_end)
                return;
            ++m_at;
            if (m_at == m_end)
                return;
            if (convertBare())
                continue;
            Directive directive;
            if (parse(directive))
                convert(directive);
        }
    }

private:
    void copyText();
    void checkEncoding();
    bool parse(Directive& directive);
    bool parseStart(Directive& directive);
    void parseFlags(Directive& directive);
    void parsePrecision(Directive& directive);
    void parseSize(Directive& directive);
    unsigned int parseNumber();
    char parseLetter();

    vnInt64 nextNumber() { return m_arguments[m_next++].getInt64(); }
    static unsigned int cutWidth(vnInt64 number) { return static_cast<unsigned int>(number) & 0xFFFFu; }

    bool convertBare();
    void convert(Directive& directive);
    bool convertInteger(char letter, Directive& directive, const vnArgument& argument);
    void convertString(char letter, Directive& directive, const vnArgument& argument);
    void convertReal(char letter, const Directive& directive, double magnitude);
    void appendDigits(vnUInt64 value, unsigned int radix, int minDigits, bool upper);
    void appendTwosComplement(const Whole& value, unsigned int radix, int minDigits, bool upper);
    void finish(const Directive& directive);

    const char* const m_format;
    const char* m_at;
    const char* const m_end;
    const vnArgumentList& m_arguments;
    vnFormatOutput& m_out;
    unsigned int m_next = 0; // the counter of arguments
    bool m_negative = false; // of the present directive
    bool m_checked = false;  // whether the format is UTF-8 is known
    bool m_utf8 = false;
};

// Plain formats never come here: only a byte above 127 asks how it is to be read.
void Formatter::checkEncoding()
{
    if (m_checked)
        return;
    m_checked = true;
    // The format may lack the NUL that ends each walk, so an incomplete last character is told apart first.
    const char* last = m_end;
    while (last != m_format && (static_cast<unsigned char>(last[-1]) & 0xC0) == 0x80)
        --last;
    const std::size_t trailing = static_cast<std::size_t>(m_end - last);
    const unsigned char lead = last == m_format ? 0 : static_cast<unsigned char>(last[-1]);
    const bool complete = vnUtf::leadSize(lead) <= trailing + 1;
    m_utf8 = complete && vnUtf::isValid(m_format, static_cast<std::size_t>(m_end - m_format));
    if (!m_utf8)
        m_out.becomeAscii();
}

void Formatter::copyText()
{
    const void* const percent = std::memchr(m_at, '%', static_cast<std::size_t>(m_end - m_at));
    const char* const stop = percent ? static_cast<const char*>(percent) : m_end;
    const std::size_t length = static_cast<std::size_t>(stop - m_at);
    const std::size_t plain = vnUtf::plainLength(m_at, length);
    m_out.appendBytes(m_at, plain);
    if (plain != length)
    {
        checkEncoding();
        if (m_utf8)
            m_out.appendUTF8(m_at + plain, length - plain, length);
        else
            m_out.appendBytes(m_at + plain, length - plain);
    }
    m_at = stop;
}

// The digits that follow, if any. Kept modulo 65536, but a large number stays recognisable as one.
unsigned int Formatter::parseNumber()
{
    unsigned int number = 0;
    for (; m_at != m_end && *m_at >= '0' && *m_at <= '9'; ++m_at)
    {
        number = 10 * number + static_cast<unsigned int>(*m_at - '0');
        if (number > 0xFFFF)
            number = 0x10000 + (number & 0xFFFF);
    }
    return number;
}

// A number at the start is the index of an argument or the width. True when it was the width.
bool Formatter::parseStart(Directive& directive)
{
    const bool star = *m_at == '*';
    if (!star && !(*m_at >= '1' && *m_at <= '9'))
        return false;
    if (star)
        ++m_at;
    const vnInt64 number = star ? nextNumber() : static_cast<vnInt64>(parseNumber());
    if (m_at == m_end || *m_at != '$')
    {
        directive.width = cutWidth(number);
        return true;
    }
    ++m_at;
    if (number >= 1 && number <= static_cast<vnInt64>(vnArgumentList::VN_MAX_ARGUMENTS))
        directive.index = static_cast<int>(number) - 1;
    else if (!star) // an index out of range that came from an argument passes in silence
        // A format itself: it shows as "%n$", but a translation is looked up under the text as it stands
        // here.
        warn("Using vnString::format(\"%%n$\") where n<1 or n>16");
    return false;
}

void Formatter::parseFlags(Directive& directive)
{
    for (; m_at != m_end; ++m_at)
    {
        switch (*m_at)
        {
        case '-':
            directive.left = true;
            directive.zero = false;
            break;
        case '+':
            directive.plus = true;
            directive.space = false;
            break;
        case '0':
            directive.zero = !directive.left;
            break;
        case ' ':
            directive.space = !directive.plus;
            break;
        case '#':
            directive.hash = true;
            break;
        default:
            return;
        }
    }
}

void Formatter::parsePrecision(Directive& directive)
{
    if (m_at == m_end || *m_at != '.')
        return;
    ++m_at;
    if (m_at != m_end && *m_at == '*')
    {
        ++m_at;
        const vnInt64 number = nextNumber();
        directive.precision = number < 0 ? noPrecision : static_cast<int>(cutWidth(number));
    }
    else
    {
        directive.precision = static_cast<int>(cutWidth(parseNumber()));
    }
    if (directive.precision == 0xFFFF) // -1 in 16 bits
        directive.precision = noPrecision;
}

void Formatter::parseSize(Directive& directive)
{
    const auto isOne = [this](char lower) { return m_at != m_end && (*m_at | 0x20) == lower; };
    if (isOne('h'))
    {
        directive.size = 2;
        ++m_at;
    }
    else if (isOne('l'))
    {
        ++m_at;
        directive.size = isOne('l') ? 8 : 4;
        m_at += directive.size == 8;
    }
}

// False when the format ended.
bool Formatter::parse(Directive& directive)
{
    if (!parseStart(directive))
    {
        parseFlags(directive);
        if (m_at != m_end && *m_at == '*')
        {
            ++m_at;
            directive.width = cutWidth(nextNumber());
        }
        else
        {
            directive.width = cutWidth(parseNumber());
        }
    }
    parsePrecision(directive);
    parseSize(directive);
    return m_at != m_end;
}

// The letter of the conversion; a character above 127 is passed as a whole.
char Formatter::parseLetter()
{
    const char letter = *m_at;
    unsigned char size = 1;
    if (static_cast<unsigned char>(letter) >= 0x80)
    {
        checkEncoding();
        size = m_utf8 ? vnUtf::sequenceSize(m_at) : 1;
    }
    m_at += size;
    return letter;
}

// The letters that most directives consist of, without anything to parse or to pad. False for all others.
bool Formatter::convertBare()
{
    switch (*m_at)
    {
    case '%':
        m_out.appendBytes("%", 1);
        break;
    case 's':
    {
        Directive directive;
        convertString('s', directive, m_arguments[m_next++]);
        break;
    }
    case 'd':
    case 'u':
    case 'x':
    {
        const vnArgument argument = m_arguments[m_next];
        const vnInt64 number = argument.getInt64();
        const bool isSmall = number >= (*m_at == 'd' ? -smallNumber : 0) && number <= smallNumber;
        if (!isSmall || !(argument.isLongLong() || argument.isDouble()))
            return false;
        ++m_next;
        if (number < 0)
            m_out.appendBytes("-", 1);
        appendDigits(static_cast<vnUInt64>(std::abs(number)), *m_at == 'x' ? 16 : 10, noPrecision, false);
        break;
    }
    default:
        return false;
    }
    ++m_at;
    return true;
}

void Formatter::convert(Directive& directive)
{
    const char letter = parseLetter();
    const vnArgument argument = m_arguments[directive.index >= 0 ? directive.index : m_next];
    if (directive.index < 0)
        ++m_next;
    // Nothing at all, not even padding, whatever the conversion is; so an unknown one of a zero passes
    // without the warning, too. That is meant.
    if (directive.precision == 0 && static_cast<double>(argument) == 0.0)
        return;
    m_negative = false;
    m_out.beginBody();
    switch (letter)
    {
    case 'c':
        m_out.appendCharacter(static_cast<char32_t>(argument.getUInt64() & 0xFFFFu));
        break;
    case 's':
    case 'S':
        convertString(letter, directive, argument);
        break;
    case 'f':
    case 'e':
    case 'g':
    {
        const double value = realOf(argument, directive.size);
        m_negative = value < 0;
        if (m_out.room())
            convertReal(letter, directive, m_negative ? -value : value);
        break;
    }
    default:
        if (!convertInteger(letter, directive, argument))
            warn("Unknown format option in string '%s'",
                 vnString(m_format, static_cast<unsigned short>(m_end - m_format)));
        break;
    }
    finish(directive);
}

// False for a letter that is no conversion.
bool Formatter::convertInteger(char letter, Directive& directive, const vnArgument& argument)
{
    unsigned int radix = 10;
    switch (letter)
    {
    case 'd':
    case 'u':
        break;
    case 'x':
    case 'X':
        radix = 16;
        break;
    case 'b':
    case 'B':
        radix = 2;
        break;
    case 'o':
    case 'O':
        radix = 8;
        break;
    default:
        return false;
    }
    Whole value = wholeOf(argument, directive.size);
    // A double beyond the signed range stops at its end; only unsigned arguments have more to show.
    if (letter == 'd' && !value.negative && !argument.isULongLong())
        value.magnitude = std::min(value.magnitude, largestSigned);
    if (radix == 10)
    {
        directive.hash = false;
        const Whole cut = letter == 'd'         ? cutSigned(value, directive.size)
                          : directive.size == 8 ? Whole{value.magnitude, false}
                                                : Whole{cutUnsigned(value, directive.size), false};
        m_negative = cut.negative;
        appendDigits(cut.magnitude, radix, directive.precision, false);
        return true;
    }
    const bool upper = letter == 'X';
    if (directive.size != 8)
        appendDigits(cutUnsigned(value, directive.size), radix, directive.precision, upper);
    else if (value.negative)
        appendTwosComplement(value, radix, directive.precision, upper);
    else
        appendDigits(value.magnitude, radix, directive.precision, upper);
    return true;
}

void Formatter::appendDigits(vnUInt64 value, unsigned int radix, int minDigits, bool upper)
{
    const vnDigits::Integer digits(value, radix, upper, minDigits);
    if (digits.zeros())
        m_out.appendFill('0', digits.zeros());
    m_out.appendBytes(digits.first(), digits.count());
}

// The first digit is written on its own and the rest as a number with the top cleared. The rest keeps no
// zeros in front, and the "F" is a capital in both cases: that is what readers of these texts know. Below
// -2^60 clearing the top would lose digits, so that all of them are written as they are.
void Formatter::appendTwosComplement(const Whole& value, unsigned int radix, int minDigits, bool upper)
{
    constexpr vnUInt64 top = 0x1000000000000000ull;
    if (value.magnitude > top)
    {
        appendDigits(value.bits(), radix, minDigits, upper);
    }
    else if (radix == 2)
    {
        m_out.appendBytes("1", 1);
        appendDigits(value.bits() - 0x8000000000000000ull, radix, minDigits, upper);
    }
    else
    {
        m_out.appendBytes(radix == 16 ? "F" : "7", 1);
        appendDigits(value.bits() + top, radix, minDigits, upper);
    }
}

void Formatter::convertString(char letter, Directive& directive, const vnArgument& argument)
{
    // A width also cuts the text, so that "%5s" prints five characters at most. That is meant; "%S" does not.
    if (letter == 's' && directive.width != 0 &&
        (directive.precision < 0 || directive.precision > static_cast<int>(directive.width)))
        directive.precision = static_cast<int>(directive.width);
    const std::size_t limit =
        directive.precision < 0 ? vnFormatOutput::VN_LIMIT : static_cast<std::size_t>(directive.precision);

    if (argument.isString())
    {
        const vnString& string = argument.getString();
        const char* const text = string.getString();
        const std::size_t length = string.length();
        const std::size_t plain = vnUtf::plainLength(text, length);
        m_out.appendBytes(text, std::min(plain, limit));
        if (plain == length)
            return;
        if (vnUtf::isValid(text + plain, length - plain))
        {
            if (limit > plain)
                m_out.appendUTF8(text + plain, length - plain, limit - plain);
            return;
        }
        m_out.becomeAscii();
        if (limit > plain)
            m_out.appendBytes(text + plain, std::min(length, limit) - plain);
    }
    else if (!argument.isPointer())
    {
        if (letter == 's')
            warn("Using vnString::format(\"%%s\",arg) where arg is no valid pointer");
        else
            warn("Using vnString::format(\"%%S\",arg) where arg is no valid pointer");
    }
    else if (letter == 's')
    {
        // The whole result is 8-bit text from here on; bytes of UTF-8 pass unchanged.
        m_out.becomeAscii();
        const char* const text = static_cast<const char*>(static_cast<void*>(argument));
        if (text)
            m_out.appendBytes(text, strlen_safe(text, static_cast<unsigned short>(limit)));
    }
    else if (const char16_t* text = static_cast<const char16_t*>(static_cast<void*>(argument)))
    {
        for (std::size_t i = 0; i < limit && text[i] && m_out.room(); ++i)
            m_out.appendCharacter(text[i]);
    }
}

// In whichever form, and with "g" in both, it is the one argument of the directive that is written.
void Formatter::convertReal(char letter, const Directive& directive, double magnitude)
{
    const int precision = directive.precision;
    const unsigned int size = NumberText::spaceFor(precision);
    char* const space = precision > NumberText::VN_NEARBY_PRECISION ? m_out.numberSpace(2 * size) : nullptr;
    NumberText text(precision, space);
    if (magnitude == 0.0 || (letter == 'f' && !vnDigits::needsExponent(magnitude)))
    {
        text.writeFixed(magnitude);
    }
    else if (letter != 'g' || vnDigits::needsExponent(magnitude))
    {
        text.writeExponent(magnitude);
    }
    else
    {
        text.writeFixed(magnitude);
        NumberText exponent(precision, space ? space + size : nullptr);
        exponent.writeExponent(magnitude);
        if (exponent.length() < text.length())
        {
            m_out.appendBytes(exponent.text(), exponent.length());
            return;
        }
    }
    m_out.appendBytes(text.text(), text.length());
}

void Formatter::finish(const Directive& directive)
{
    const char sign = m_negative ? '-' : directive.plus ? '+' : directive.space ? ' ' : '\0';
    const unsigned int body = m_out.bodyLength() + (sign != 0);
    const auto missing = [&directive](unsigned int length)
    { return length < directive.width ? directive.width - length : 0; };
    if (directive.zero)
        m_out.endBody(0, sign, missing(body), 0);
    else if (directive.left)
        m_out.endBody(0, sign, 0, missing(body));
    else // no "0x" is ever written, the flag only makes room for it
        m_out.endBody(missing(body + (directive.hash ? 2 : 0)), sign, 0, 0);
}
} // namespace

vnString& vnString::assignFormat(const char* format, unsigned short length, const vnArgumentList& arguments)
{
    vnFormatOutput out;
    if (format)
        Formatter(format, length, arguments, out).run();
    if (const char32_t* characters = out.characters())
        assignCharacters(characters, out.count());
    else if (out.count())
        assignBytes(out.bytes(), out.count());
    else
        clear();
    return *this;
}
