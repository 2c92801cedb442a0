// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDict.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

/// Counts the words of blocks of text. A word is a run of ASCII letters, digits and bytes above 127, letters
/// lower-cased, cut at 1000 bytes.
class vnWordCount
{
public:
    static constexpr std::size_t VN_MAX_WORD = 1000;

    struct Entry
    {
        const char* text;
        std::size_t length;
        vnUInt64 count;
    };

    vnWordCount() = default;
    vnWordCount(const vnWordCount&) = delete;
    vnWordCount& operator=(const vnWordCount&) = delete;

    /// Counts the words of a block, which begins and ends between words.
    void add(const unsigned char* text, std::size_t size);

    /// Adds what another one has counted.
    void add(const vnWordCount& other);

    /// The `count` most frequent words, the most frequent first, equal counts in the order of their bytes.
    /// The texts live as long as this object.
    std::vector<Entry> getTop(std::size_t count) const;

    /// Where the last word of a block begins that may go on behind the block; `size` when it ends between
    /// words.
    static std::size_t findOpenWord(const unsigned char* text, std::size_t size);

private:
    // A word as a key that points to its text, so that looking one up allocates nothing.
    class Key
    {
    public:
        Key(const char* text, std::size_t length, unsigned int hash)
            : m_text(text), m_length(length), m_hash(hash)
        {
        }
        unsigned int hash() const { return m_hash; }
        bool operator==(const Key& other) const;

    private:
        const char* m_text;
        std::size_t m_length;
        unsigned int m_hash;
    };

    void count(const char* word, std::size_t length, unsigned int hash, vnUInt64 times);
    const char* keep(const char* word, std::size_t length);

    vnDict<Key, Entry> m_words;
    std::deque<Entry> m_entries;
    std::vector<std::unique_ptr<char[]>> m_texts;
    char* m_free = nullptr; // the rest of the last block of texts
    std::size_t m_freeSize = 0;
};
