// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnTool.h"

#include <vnBase/vnString.h>

#include <charconv>
#include <cstdlib>
#include <deque>

// The command that shows the format engine.

namespace
{
bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Digits, then perhaps a point and digits, then perhaps an exponent; a point or an exponent must be there.
bool isReal(const char* text)
{
    const auto skipDigits = [&text]
    {
        const char* start = text;
        while (isDigit(*text))
            ++text;
        return text != start;
    };
    if (*text == '+' || *text == '-')
        ++text;
    bool digits = skipDigits();
    const bool point = *text == '.';
    if (point)
    {
        ++text;
        digits |= skipDigits();
    }
    const bool exponent = digits && (*text == 'e' || *text == 'E');
    if (exponent)
    {
        ++text;
        if (*text == '+' || *text == '-')
            ++text;
        if (!skipDigits())
            return false;
    }
    return digits && (point || exponent) && !*text;
}

// Reads all of `text` as an integer of type T.
template <class T>
bool readInteger(const std::string& text, T& value)
{
    const char* start = text.data() + (text.size() > 1 && text[0] == '+' && isDigit(text[1]));
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(start, end, value);
    return error == std::errc() && stop == end;
}

vnArgument argumentOf(const std::string& text, std::deque<vnString>& strings)
{
    vnInt64 integer = 0;
    vnUInt64 large = 0;
    if (readInteger(text, integer))
        return vnArgument(integer);
    if (readInteger(text, large))
        return vnArgument(large);
    if (isReal(text.c_str()))
        return vnArgument(std::strtod(text.c_str(), nullptr));
    strings.emplace_back(text.c_str() + (text.compare(0, 1, "=") == 0));
    return vnArgument(strings.back());
}
} // namespace

void vnRunFormat(vnArguments& arguments)
{
    const std::vector<std::string> words = arguments.takeAll(1, vnArgumentList::VN_MAX_ARGUMENTS + 1);
    std::deque<vnString> strings; // the arguments point to them
    std::vector<vnArgument> values;
    for (std::size_t i = 1; i < words.size(); ++i)
        values.push_back(argumentOf(words[i], strings));
    const vnString format(words[0].c_str());
    vnString result;
    result.assignFormat(format, format.length(),
                        vnArgumentList(values.data(), static_cast<unsigned int>(values.size())));
    vnWriteResult(result.getString(), result.length());
    vnWriteResult("\n", 1);
}
