// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnRefList.h>
#include <vnBase/vnString.h>

#include <algorithm>
#include <limits>
#include <type_traits>

/// An option of a command line.
class VN_BASE_API vnArgOption : public vnReference
{
public:
    vnArgOption(const vnString& name, unsigned int firstArgument) : m_name(name), m_first(firstArgument) {}
    VN_TYPE(vnArgOption)
    vnReference* clone() const override { return new vnArgOption(*this); }

    /// Without its prefix.
    const vnString& getName() const noexcept { return m_name; }

    /// The index of the first argument behind the option, among all arguments.
    unsigned int getFirstArgument() const noexcept { return m_first; }

private:
    vnString m_name;
    unsigned int m_first;
};

/// An argument of a command line.
class VN_BASE_API vnArgArgument : public vnReference
{
public:
    vnArgArgument(const vnString& value, unsigned int option) : m_value(value), m_option(option) {}
    VN_TYPE(vnArgArgument)
    vnReference* clone() const override { return new vnArgArgument(*this); }

    const vnString& getValue() const noexcept { return m_value; }

    /// The number of the option that stands before the argument, counted from 1; 0 for a free argument.
    unsigned int getOption() const noexcept { return m_option; }

private:
    vnString m_value;
    unsigned int m_option;
};

/// Reads a command line: options, which start with a prefix, and arguments. The arguments between an option
/// and the next one belong to it; those before the first option are free.
///
///     vnArgumentParser arguments(argc, argv, "-");
///     arguments.setSyntaxString("FILE [-size WIDTH HEIGHT]"); // shown for -help, which ends the program
///     arguments.checkArgumentCount(1);
///     int width = arguments.getOptionValue("size", 640, 0);
///     int height = arguments.getOptionValue("size", 480, 1); // "-size 640" ends the program with code 99
///
/// A negative number is an argument: "-5" and "-1.5e3" are, but "-0" is an option, and "-.5" too, since
/// numbers begin with a digit. Every word starts with an empty prefix, so that all but the numbers are
/// options then.
///
/// This class is made for programs, and it ends them where it says so: when help was asked for, when the
/// arguments are too few or too many. After `exitOnError(0)` it never does.
///
/// Thread-safety: none.
class VN_BASE_API vnArgumentParser
{
public:
    vnArgumentParser() = default;

    /// As `setArgumentString`.
    vnArgumentParser(const vnString& arguments, const vnString& optionPrefix);

    /// The first word is the name of the program; each of the others is taken as it is. One of more than
    /// 65535 bytes is cut, and that is the error; the program goes on.
    vnArgumentParser(int argc, char* const argv[], const vnString& optionPrefix);
    vnArgumentParser(int argc, char16_t* const argv[], const vnString& optionPrefix);
    virtual ~vnArgumentParser() noexcept(false);

    /// Splits a text into words at white space and reads them, in place of those before. Between quotes,
    /// double or single, white space belongs to the word, and backslash escapes are decoded; a quote that is
    /// not closed stands for itself. Quotes don't hide the prefix: "-a" in quotes is an option, too. The name
    /// of the program is that of the process, unless one was given.
    void setArgumentString(const vnString& arguments, const vnString& optionPrefix);

    /// 1 when the option is there; of several the first one counts. `first` receives the index of its first
    /// argument for `getArgument(index, 0)`, `count` how many it has; either may be null.
    unsigned char hasOption(const vnString& name, unsigned char caseSensitive = 1,
                            unsigned int* first = nullptr, unsigned int* count = nullptr) const;

    /// Argument `index` of an option, or the default. An option that is there with fewer arguments is an
    /// error, unless `optional` is set.
    vnString getOptionValue(const vnString& name, const vnString& defaultValue, unsigned int index = 0,
                            unsigned char caseSensitive = 1, unsigned char optional = 0);
    vnString getOptionValue(const vnString& name, const char* defaultValue, unsigned int index = 0,
                            unsigned char caseSensitive = 1, unsigned char optional = 0)
    {
        return getOptionValue(name, vnString(defaultValue), index, caseSensitive, optional);
    }

    /// The same as a number, read as `vnString::num` or `vnString::real` do. What an integer type can't hold
    /// becomes the nearest value that it can, also beyond 64 bits.
    template <class T, class = std::enable_if_t<std::is_arithmetic<T>::value>>
    T getOptionValue(const vnString& name, T defaultValue, unsigned int index = 0,
                     unsigned char caseSensitive = 1, unsigned char optional = 0)
    {
        const vnArgArgument* argument = findOptionArgument(name, index, caseSensitive, optional);
        return argument ? convert<T>(argument->getValue()) : defaultValue;
    }

    /// Argument `index`, of the free ones or of all; the default, or the empty text, when there are fewer.
    vnString getArgument(unsigned int index, unsigned char onlyFree = 1) const;
    vnString getArgumentValue(unsigned int index, const vnString& defaultValue,
                              unsigned char onlyFree = 1) const;
    vnString getArgumentValue(unsigned int index, const char* defaultValue, unsigned char onlyFree = 1) const
    {
        return getArgumentValue(index, vnString(defaultValue), onlyFree);
    }
    template <class T, class = std::enable_if_t<std::is_arithmetic<T>::value>>
    T getArgumentValue(unsigned int index, T defaultValue, unsigned char onlyFree = 1) const
    {
        const vnArgArgument* argument = findArgument(index, onlyFree);
        return argument ? convert<T>(argument->getValue()) : defaultValue;
    }
    unsigned int getArgumentCount(unsigned char onlyFree = 1) const;

    /// The text of the command line again, for `setArgumentString`: the free or all arguments; the options,
    /// each with its arguments; both. Words with white space or quotes, and empty ones, are put in double
    /// quotes. More than 65535 bytes throw `vnFatalError`.
    vnString getArgumentString(unsigned char onlyFree = 1) const;
    vnString getOptionString() const;
    vnString getArgOptString() const;

    /// How the program is used. When the option "help" or "h" is there, in any case, a Notice shows the text
    /// and the program ends with code 0. The empty text switches this off.
    void setSyntaxString(const vnString& syntax);

    /// Answers whether there are `count` free arguments. If not, that is a Warning and the error, and the
    /// program ends with code 0: asking a tool for its usage this way is no failure.
    unsigned char checkArgumentCount(unsigned int count);

    /// Whether an error shows itself and the usage as Warnings and ends the program with code 99, and whether
    /// the program ends at all; 1 at the start. With 0 the error stays for `getError()`.
    void exitOnError(unsigned char enable) noexcept { m_exitOnError = enable; }
    unsigned char hasError() const noexcept { return m_error.length() != 0; }
    const vnString& getError() const noexcept { return m_error; }

    const vnString& getProgramName() const noexcept { return m_programName; }
    void setProgramName(const vnString& name) { m_programName = name; }

    /// What was read, in its order.
    const vnRefList<vnArgOption>& getOptions() const noexcept { return m_options; }
    const vnRefList<vnArgArgument>& getArguments() const noexcept { return m_arguments; }

private:
    template <class T>
    static T convert(const vnString& text)
    {
        using Limits = std::numeric_limits<T>;
        if constexpr (std::is_floating_point<T>::value)
            return static_cast<T>(text.real());
        else if constexpr (std::is_unsigned<T>::value)
            return static_cast<T>(std::min<vnUInt64>(unsignedOf(text), Limits::max()));
        else
            return static_cast<T>(std::clamp<vnInt64>(signedOf(text), Limits::min(), Limits::max()));
    }

    // What the widest types can't hold becomes the nearest value that they can.
    static vnInt64 signedOf(const vnString& text);
    static vnUInt64 unsignedOf(const vnString& text);

    template <class Character>
    void setWords(int argc, Character* const argv[], const vnString& optionPrefix);
    void start(const vnString& optionPrefix);
    void addWord(const vnString& word);
    const vnArgArgument* findArgument(unsigned int index, unsigned char onlyFree) const;
    const vnArgArgument* findOptionArgument(const vnString& name, unsigned int index,
                                            unsigned char caseSensitive, unsigned char optional);
    void postSyntax(unsigned int level) const;
    void fail(const vnString& error);

    vnRefList<vnArgOption> m_options;
    vnRefList<vnArgArgument> m_arguments;
    vnString m_prefix;
    vnString m_error;
    vnString m_programName;
    vnString m_syntax;
    unsigned char m_exitOnError = 1;
};
