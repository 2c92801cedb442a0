// SPDX-License-Identifier: MIT
#include <vnBase/vnArgumentParser.h>

#include "vnCharacter.h"

#include <vnBase/vnFile.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnStringTokenizer.h>
#include <vnBase/vnUtf.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{
constexpr int VN_EXIT_HELP = 0;
constexpr int VN_EXIT_WRONG_COUNT = 0;
constexpr int VN_EXIT_ERROR = 99;

/// Cuts a text into words.
class WordReader
{
public:
    explicit WordReader(const vnString& text)
        : m_next(text.getString()), m_end(text.getString() + text.length())
    {
    }

    bool read(vnString& word)
    {
        while (m_next < m_end && isWhiteSpace(*m_next))
            ++m_next;
        if (m_next == m_end)
            return false;
        std::string bytes;
        while (m_next < m_end && !isWhiteSpace(*m_next))
            if (!readQuoted(bytes))
                bytes += *m_next++;
        word = vnString(bytes.data(), static_cast<unsigned short>(bytes.size()));
        return true;
    }

private:
    // As the lexical reader sees it.
    static bool isWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

    bool readQuoted(std::string& bytes)
    {
        const char quote = *m_next;
        bool* isOpen = quote == '"' ? &m_isDoubleOpen : quote == '\'' ? &m_isSingleOpen : nullptr;
        if (!isOpen || *isOpen)
            return false;
        const char* end = findQuote(m_next + 1, quote);
        if (!end)
        {
            // Those behind it are left alone too: each would be looked for up to the end of the text.
            *isOpen = true;
            return false;
        }
        for (const char* at = m_next + 1; at < end; ++at)
            bytes += *at == '\\' ? decoded(*++at) : *at;
        m_next = end + 1;
        return true;
    }

    const char* findQuote(const char* at, char quote) const
    {
        for (; at < m_end; ++at)
        {
            if (*at == quote)
                return at;
            if (*at == '\\')
                ++at;
        }
        return nullptr;
    }

    static char decoded(char c)
    {
        static const char names[] = "nrbtafv0";
        static const char values[] = "\n\r\b\t\a\f\v";
        const char* name = c ? std::strchr(names, c) : nullptr;
        return name ? values[name - names] : c;
    }

    const char* m_next;
    const char* m_end;
    bool m_isDoubleOpen = false;
    bool m_isSingleOpen = false;
};

bool isNonZeroNumber(const vnString& text)
{
    if (!std::strchr("+-0123456789", *text.getString()) || text.isEmpty())
        return false;
    vnStringTokenizer tokens(text);
    const auto numbers = VN_LEX_INTEGER | VN_LEX_REAL | VN_LEX_LARGE_INTEGER;
    if (!(tokens.getDataType(1) & numbers))
        return false;
    return tokens.getDataType(1) == VN_LEX_NONE && text.real() != 0;
}

/// An integer of a text, as `vnString::num` reads it, but of any length.
class Integer
{
public:
    explicit Integer(const vnString& text)
    {
        const char* at = text.getString();
        while (vnCharacter::isWhite(*at))
            ++at;
        isNegative = *at == '-';
        if (*at == '-' || *at == '+')
            ++at;
        const bool isHex = at[0] == '0' && (at[1] | 0x20) == 'x';
        readDigits(isHex ? at + 2 : at, isHex ? 16 : 10);
        if (!isHex && (*m_end == '.' || (*m_end | 0x20) == 'e'))
            magnitude = cut(std::abs(text.real()));
    }

    vnUInt64 magnitude = 0; // at most 2^64 - 1
    bool isNegative = false;

private:
    void readDigits(const char* at, unsigned int base)
    {
        for (unsigned int digit; (digit = digitOf(*at)) < base; ++at)
            if (__builtin_mul_overflow(magnitude, base, &magnitude) ||
                __builtin_add_overflow(magnitude, digit, &magnitude))
                m_isCut = true;
        if (m_isCut)
            magnitude = std::numeric_limits<vnUInt64>::max();
        m_end = at;
    }

    static unsigned int digitOf(char c)
    {
        if (vnCharacter::isDigit(c))
            return static_cast<unsigned int>(c - '0');
        const char letter = static_cast<char>(c | 0x20);
        return letter >= 'a' && letter <= 'f' ? static_cast<unsigned int>(letter - 'a' + 10) : 16u;
    }

    static vnUInt64 cut(double value)
    {
        constexpr double limit = 18446744073709551616.0; // 2 to the power of 64
        return value < limit ? static_cast<vnUInt64>(value) : std::numeric_limits<vnUInt64>::max();
    }

    const char* m_end = nullptr;
    bool m_isCut = false;
};

// Whether a word of the program has more bytes than a string holds.
bool isTooLong(const char* word)
{
    return std::strlen(word) > vnString::VN_MAX_LENGTH;
}

bool isTooLong(const char16_t* word)
{
    unsigned int size = 0;
    while (*word && size <= vnString::VN_MAX_LENGTH)
        size += vnUTF8Size(static_cast<unsigned int>(*word++));
    return size > vnString::VN_MAX_LENGTH;
}

/// The text of a command line.
class CommandText
{
public:
    void add(const std::string& word)
    {
        if (!m_text.empty())
            m_text += ' ';
        if (!word.empty() && word.find_first_of(" \n\t\r\"'") == std::string::npos)
            m_text += word;
        else
            addQuoted(word);
    }
    void add(const vnString& word) { add(bytesOf(word)); }

    static std::string bytesOf(const vnString& word) { return std::string(word.getString(), word.length()); }

    vnString get() const
    {
        if (m_text.size() > vnString::VN_MAX_LENGTH)
            vnExceptionThrows::vnThrowFatal("vnArgumentParser: the command line has more than 65535 bytes");
        return vnString(m_text.data(), static_cast<unsigned short>(m_text.size()));
    }

private:
    void addQuoted(const std::string& word)
    {
        m_text += '"';
        for (const char c : word)
        {
            if (c == '"' || c == '\\')
                m_text += '\\';
            m_text += c;
        }
        m_text += '"';
    }

    std::string m_text;
};
} // namespace

vnType vnArgOption::s_type(vnReference::getClassType(), "vnArgOption");
vnType vnArgArgument::s_type(vnReference::getClassType(), "vnArgArgument");

vnArgumentParser::vnArgumentParser(const vnString& arguments, const vnString& optionPrefix)
{
    setArgumentString(arguments, optionPrefix);
}

vnArgumentParser::vnArgumentParser(int argc, char* const argv[], const vnString& optionPrefix)
{
    setWords(argc, argv, optionPrefix);
}

vnArgumentParser::vnArgumentParser(int argc, char16_t* const argv[], const vnString& optionPrefix)
{
    setWords(argc, argv, optionPrefix);
}

vnArgumentParser::~vnArgumentParser() noexcept(false) = default;

template <class Character>
void vnArgumentParser::setWords(int argc, Character* const argv[], const vnString& optionPrefix)
{
    start(optionPrefix);
    if (argc > 0 && argv[0])
        m_programName = vnString(argv[0]);
    for (int i = 1; i < argc && argv[i]; ++i)
    {
        if (isTooLong(argv[i]))
            m_error.format("Argument %d has more than %d bytes", i, vnString::VN_MAX_LENGTH);
        addWord(vnString(argv[i]));
    }
}

void vnArgumentParser::setArgumentString(const vnString& arguments, const vnString& optionPrefix)
{
    start(optionPrefix);
    if (m_programName.isEmpty())
        m_programName = vnGetProcessName();
    WordReader words(arguments);
    vnString word;
    while (words.read(word))
        addWord(word);
}

void vnArgumentParser::start(const vnString& optionPrefix)
{
    m_options.clear();
    m_arguments.clear();
    m_error.clear();
    m_prefix = optionPrefix;
}

void vnArgumentParser::addWord(const vnString& word)
{
    if (word.isFirst(m_prefix))
    {
        const vnString name = word.left(m_prefix.length(), 1);
        if (!isNonZeroNumber(name))
        {
            const vnRefPointer<vnArgOption> option(new vnArgOption(name, m_arguments.getCount()));
            m_options.append(option);
            return;
        }
    }
    const vnRefPointer<vnArgArgument> argument(new vnArgArgument(word, m_options.getCount()));
    m_arguments.append(argument);
}

vnInt64 vnArgumentParser::signedOf(const vnString& text)
{
    constexpr vnUInt64 most = std::numeric_limits<vnInt64>::max();
    const Integer integer(text);
    if (integer.isNegative)
        return integer.magnitude > most ? std::numeric_limits<vnInt64>::min()
                                        : -static_cast<vnInt64>(integer.magnitude);
    return static_cast<vnInt64>(std::min(integer.magnitude, most));
}

vnUInt64 vnArgumentParser::unsignedOf(const vnString& text)
{
    const Integer integer(text);
    return integer.isNegative ? 0 : integer.magnitude;
}

unsigned char vnArgumentParser::hasOption(const vnString& name, unsigned char caseSensitive,
                                          unsigned int* first, unsigned int* count) const
{
    const vnString wanted = caseSensitive ? name : name.toLower();
    unsigned int begin = 0;
    bool isFound = false;
    unsigned int end = m_arguments.getCount();
    for (const vnArgOption* option : m_options)
    {
        if (isFound)
        {
            end = option->getFirstArgument();
            break;
        }
        isFound = (caseSensitive ? option->getName() : option->getName().toLower()) == wanted;
        begin = option->getFirstArgument();
    }
    if (!isFound)
        return 0;
    if (first)
        *first = begin;
    if (count)
        *count = end - begin;
    return 1;
}

const vnArgArgument* vnArgumentParser::findArgument(unsigned int index, unsigned char onlyFree) const
{
    for (const vnArgArgument* argument : m_arguments)
    {
        // The free ones come first: all that is behind an option belongs to one.
        if (onlyFree && argument->getOption() != 0)
            return nullptr;
        if (index-- == 0)
            return argument;
    }
    return nullptr;
}

const vnArgArgument* vnArgumentParser::findOptionArgument(const vnString& name, unsigned int index,
                                                          unsigned char caseSensitive, unsigned char optional)
{
    unsigned int first = 0;
    unsigned int count = 0;
    if (!hasOption(name, caseSensitive, &first, &count))
        return nullptr;
    if (index < count)
        return findArgument(first + index, 0);
    if (!optional)
        fail(vnString::formatString("Missing argument %d for option '-%s'", index, name));
    return nullptr;
}

vnString vnArgumentParser::getOptionValue(const vnString& name, const vnString& defaultValue,
                                          unsigned int index, unsigned char caseSensitive,
                                          unsigned char optional)
{
    const vnArgArgument* argument = findOptionArgument(name, index, caseSensitive, optional);
    return argument ? argument->getValue() : defaultValue;
}

vnString vnArgumentParser::getArgument(unsigned int index, unsigned char onlyFree) const
{
    return getArgumentValue(index, vnString(), onlyFree);
}

vnString vnArgumentParser::getArgumentValue(unsigned int index, const vnString& defaultValue,
                                            unsigned char onlyFree) const
{
    const vnArgArgument* argument = findArgument(index, onlyFree);
    return argument ? argument->getValue() : defaultValue;
}

unsigned int vnArgumentParser::getArgumentCount(unsigned char onlyFree) const
{
    const vnArgOption* option = onlyFree ? m_options.getHead() : nullptr;
    return option ? option->getFirstArgument() : m_arguments.getCount();
}

vnString vnArgumentParser::getArgumentString(unsigned char onlyFree) const
{
    CommandText text;
    for (const vnArgArgument* argument : m_arguments)
        if (!onlyFree || argument->getOption() == 0)
            text.add(argument->getValue());
    return text.get();
}

vnString vnArgumentParser::getOptionString() const
{
    CommandText text;
    auto argument = m_arguments.begin();
    unsigned int number = 0;
    for (const vnArgOption* option : m_options)
    {
        ++number;
        text.add(CommandText::bytesOf(m_prefix) + CommandText::bytesOf(option->getName()));
        for (; argument != m_arguments.end() && (*argument)->getOption() <= number; ++argument)
            if ((*argument)->getOption() == number)
                text.add((*argument)->getValue());
    }
    return text.get();
}

vnString vnArgumentParser::getArgOptString() const
{
    const vnString arguments = getArgumentString(1);
    const vnString options = getOptionString();
    if (arguments.isEmpty() || options.isEmpty())
        return arguments.isEmpty() ? options : arguments;
    if (arguments.length() + 1u + options.length() > vnString::VN_MAX_LENGTH)
        vnExceptionThrows::vnThrowFatal("vnArgumentParser: the command line has more than 65535 bytes");
    return arguments + ' ' + options;
}

void vnArgumentParser::setSyntaxString(const vnString& syntax)
{
    m_syntax = syntax;
    if (m_syntax.isEmpty() || (!hasOption("help", 0) && !hasOption("h", 0)))
        return;
    postSyntax(VN_MESSAGE_NOTICE);
    if (m_exitOnError)
        std::exit(VN_EXIT_HELP);
}

unsigned char vnArgumentParser::checkArgumentCount(unsigned int count)
{
    const unsigned int actual = getArgumentCount(1);
    if (actual == count)
        return 1;
    m_error.format(" Wrong number of arguments (%d)", actual);
    if (m_syntax.isEmpty())
        vnMessage::message(VN_MESSAGE_WARNING, " Wrong number of arguments (%d)", actual);
    else if (m_programName.isEmpty())
        vnMessage::message(VN_MESSAGE_WARNING, " Wrong number of arguments (%d) - Syntax: %s", actual,
                           m_syntax);
    else
        vnMessage::message(VN_MESSAGE_WARNING, " Wrong number of arguments (%d) - Syntax: %s %s", actual,
                           m_programName, m_syntax);
    if (m_exitOnError)
        std::exit(VN_EXIT_WRONG_COUNT);
    return 0;
}

void vnArgumentParser::postSyntax(unsigned int level) const
{
    if (m_programName.isEmpty())
        vnMessage::message(level, " Syntax: %s", m_syntax);
    else
        vnMessage::message(level, " Syntax: %s %s", m_programName, m_syntax);
}

void vnArgumentParser::fail(const vnString& error)
{
    m_error = error;
    if (!m_exitOnError)
        return;
    postSyntax(VN_MESSAGE_WARNING); // also when there is none: the line tells the name of the program
    vnMessage::message(VN_MESSAGE_WARNING, "Error:%s", m_error);
    std::exit(VN_EXIT_ERROR);
}
