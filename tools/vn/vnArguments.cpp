// SPDX-License-Identifier: MIT
#include "vnArguments.h"

#include "vnTool.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace
{
constexpr const char* prefix = "-";

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

void checkCount(std::size_t count, std::size_t least, std::size_t most)
{
    if (count < least)
        throw vnUsageError("too few arguments");
    if (count > most)
        throw vnUsageError("too many arguments");
}
} // namespace

vnArguments::vnArguments(int count, char** words)
{
    for (int i = 0; i < count; ++i)
        if (std::strlen(words[i]) > vnString::VN_MAX_LENGTH)
            throw vnFailure("an argument is longer than 65535 bytes");
    const vnArgumentParser parser(count, words, prefix);
    // The library gives an option all arguments up to the next one; here each command tells how many it
    // takes.
    const auto& arguments = parser.getArguments();
    auto argument = arguments.begin();
    unsigned int taken = 0;
    for (const vnArgOption* option : parser.getOptions())
    {
        for (; taken < option->getFirstArgument(); ++taken, ++argument)
            m_words.push_back({(*argument)->getValue().getString(), false});
        m_words.push_back({prefix + std::string(option->getName().getString()), true});
    }
    for (; argument != arguments.end(); ++argument)
        m_words.push_back({(*argument)->getValue().getString(), false});
    for (Word& word : m_words)
        if (word.text == prefix)
            word.isOption = false;
}

std::vector<vnArguments::Word>::iterator vnArguments::optionsEnd()
{
    return std::find_if(m_words.begin(), m_words.end(),
                        [](const Word& word) { return word.isOption && word.text == "--"; });
}

bool vnArguments::takeValue(const std::string& name, const char* kind, std::string& value)
{
    bool isThere = false;
    for (auto word = m_words.begin(); word < optionsEnd();)
    {
        if (word->isOption && word->text.compare(0, name.size() + 1, name + "=") == 0)
        {
            value = word->text.substr(name.size() + 1);
            isThere = true;
            word = m_words.erase(word);
        }
        else if (word->isOption && word->text == name)
        {
            if (word + 1 == m_words.end())
                throw vnUsageError(name + " needs a " + kind);
            value = word[1].text;
            isThere = true;
            word = m_words.erase(word, word + 2);
        }
        else
        {
            ++word;
        }
    }
    return isThere;
}

unsigned int vnArguments::takeNumber(const std::string& name, unsigned int missing, unsigned int least,
                                     unsigned int most)
{
    std::string text;
    return takeValue(name, "number", text) ? numberOf(name, text, least, most) : missing;
}

std::string vnArguments::takeText(const std::string& name)
{
    std::string text;
    takeValue(name, "text", text);
    return text;
}

bool vnArguments::takeFlag(const std::string& name)
{
    const auto end = optionsEnd();
    const auto kept = std::remove_if(
        m_words.begin(), end, [&name](const Word& word) { return word.isOption && word.text == name; });
    const bool isThere = kept != end;
    m_words.erase(kept, end);
    return isThere;
}

std::vector<std::string> vnArguments::takeOperands(std::size_t least, std::size_t most)
{
    const auto end = optionsEnd();
    for (auto word = m_words.begin(); word != end; ++word)
        if (word->isOption)
            throw vnUsageError("unknown option '" + word->text + "'");
    if (end != m_words.end())
        m_words.erase(end);
    return takeAll(least, most);
}

std::vector<std::string> vnArguments::takeAll(std::size_t least, std::size_t most)
{
    checkCount(m_words.size(), least, most);
    std::vector<std::string> texts;
    for (Word& word : m_words)
        texts.push_back(std::move(word.text));
    m_words.clear();
    return texts;
}
