// SPDX-License-Identifier: MIT
#include "vnArguments.h"

#include "vnTool.h"

#include <algorithm>
#include <charconv>

namespace
{
unsigned int numberOf(const std::string& option, const std::string& text, unsigned int least,
                      unsigned int most)
{
    unsigned int value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < least || value > most)
        throw vnUsageError(option + " takes a number of " + std::to_string(least) + " to " +
                           std::to_string(most) + ", not '" + text + "'");
    return value;
}
} // namespace

unsigned int vnArguments::takeNumber(const std::string& name, unsigned int missing, unsigned int least,
                                     unsigned int most)
{
    unsigned int value = missing;
    const auto optionsEnd = [this] { return std::find(m_words.begin(), m_words.end(), "--"); };
    for (auto word = m_words.begin(); word < optionsEnd();)
    {
        if (word->compare(0, name.size() + 1, name + "=") == 0)
        {
            value = numberOf(name, word->substr(name.size() + 1), least, most);
            word = m_words.erase(word);
        }
        else if (*word == name)
        {
            if (word + 1 == m_words.end())
                throw vnUsageError(name + " needs a number");
            value = numberOf(name, word[1], least, most);
            word = m_words.erase(word, word + 2);
        }
        else
        {
            ++word;
        }
    }
    return value;
}

std::vector<std::string> vnArguments::takeOperands(std::size_t least, std::size_t most)
{
    const auto optionsEnd = std::find(m_words.begin(), m_words.end(), "--");
    for (auto word = m_words.begin(); word != optionsEnd; ++word)
        if (word->size() > 1 && word->front() == '-')
            throw vnUsageError("unknown option '" + *word + "'");
    if (optionsEnd != m_words.end())
        m_words.erase(optionsEnd);
    if (m_words.size() < least)
        throw vnUsageError("too few arguments");
    if (m_words.size() > most)
        throw vnUsageError("too many arguments");
    return std::move(m_words);
}
