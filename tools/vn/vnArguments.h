// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArgumentParser.h>

#include <string>
#include <vector>

/// The words behind the name of a command: options first or anywhere, "--" ends them.
class vnArguments
{
public:
    /// `words` begin with the name of the command. Throws `vnFailure` for a word that is too long for the
    /// library.
    vnArguments(int count, char** words);

    /// Takes "--name N" or "--name=N" out of the words, the last one when it stands several times, and
    /// returns N, or `missing` when there is none. Throws `vnUsageError` for an N that is no number of
    /// `least` to `most`.
    unsigned int takeNumber(const std::string& name, unsigned int missing, unsigned int least,
                            unsigned int most);

    /// Takes "--name TEXT" or "--name=TEXT" out of the words likewise, and returns TEXT; empty when there is
    /// none.
    std::string takeText(const std::string& name);

    /// Takes the option "--name" out of the words and answers whether it was there.
    bool takeFlag(const std::string& name);

    /// What is left, `least` to `most` words. Throws `vnUsageError` for an unknown option or another count.
    std::vector<std::string> takeOperands(std::size_t least, std::size_t most);

    /// What is left as it stands, options and all, `least` to `most` words.
    std::vector<std::string> takeAll(std::size_t least, std::size_t most);

private:
    struct Word
    {
        std::string text;
        bool isOption;
    };

    std::vector<Word>::iterator optionsEnd();
    bool takeValue(const std::string& name, const char* kind, std::string& value);

    std::vector<Word> m_words;
};
