// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// The words behind the name of a command: options first or anywhere, "--" ends them.
class vnArguments
{
public:
    vnArguments(int count, char** words) : m_words(words, words + count) {}

    /// Takes "--name N" or "--name=N" out of the words, the last one when it stands several times, and
    /// returns N, or `missing` when there is none. Throws `vnUsageError` for an N that is no number of
    /// `least` to `most`.
    unsigned int takeNumber(const std::string& name, unsigned int missing, unsigned int least,
                            unsigned int most);

    /// What is left, `least` to `most` words. Throws `vnUsageError` for an unknown option or another count.
    std::vector<std::string> takeOperands(std::size_t least, std::size_t most);

    /// What is left as it stands, options and all.
    std::vector<std::string> takeAll() { return std::move(m_words); }

private:
    std::vector<std::string> m_words;
};
