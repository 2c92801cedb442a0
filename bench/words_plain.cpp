// SPDX-License-Identifier: MIT
// usage: words_plain FILE...
// Prints the 20 most frequent words of the files. The plain program that `vn words` is measured against: the
// same words, order and output, with the containers and streams of the C++ standard library.
#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

using Counts = std::unordered_map<std::string, std::uint64_t>;

// A word is a run of ASCII letters, digits and bytes above 127; letters are lower-cased, and what is behind
// the first 1000 bytes is left out.
static void countWords(std::istream& in, Counts& counts)
{
    std::vector<char> block(1 << 20);
    std::string word;
    const auto finish = [&]
    {
        if (!word.empty())
            ++counts[word];
        word.clear();
    };
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())), in.gcount() > 0)
        for (std::streamsize i = 0; i < in.gcount(); ++i)
        {
            const unsigned char byte = static_cast<unsigned char>(block[static_cast<std::size_t>(i)]);
            const bool upper = byte >= 'A' && byte <= 'Z';
            if (!upper && !(byte >= 'a' && byte <= 'z') && !(byte >= '0' && byte <= '9') && byte <= 127)
                finish();
            else if (word.size() < 1000)
                word += static_cast<char>(upper ? byte + ('a' - 'A') : byte);
        }
    finish();
}

int main(int argc, char** argv)
{
    std::ios::sync_with_stdio(false);
    Counts counts;
    for (int i = 1; i < argc; ++i)
    {
        std::ifstream file(argv[i], std::ios::binary);
        if (!file)
        {
            std::cerr << "words_plain: can't read " << argv[i] << "\n";
            return 1;
        }
        countWords(file, counts);
    }

    std::vector<std::pair<std::string, std::uint64_t>> words(counts.begin(), counts.end());
    const auto top = words.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(20, words.size()));
    std::partial_sort(words.begin(), top, words.end(),
                      [](const auto& left, const auto& right)
                      {
                          if (left.second != right.second)
                              return left.second > right.second;
                          return left.first < right.first;
                      });
    for (auto word = words.begin(); word != top; ++word)
        std::cout << word->second << " " << word->first << "\n";
    return 0;
}
