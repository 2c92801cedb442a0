// SPDX-License-Identifier: MIT
#include "vnWordCount.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{
// What each byte is in a word: its lower-cased form, or 0 for what stands between words.
constexpr std::array<unsigned char, 256> makeWordBytes()
{
    std::array<unsigned char, 256> bytes{};
    for (unsigned int c = 0; c < 256; ++c)
        if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || c > 127)
            bytes[c] = static_cast<unsigned char>(c);
        else if (c >= 'A' && c <= 'Z')
            bytes[c] = static_cast<unsigned char>(c - 'A' + 'a');
    return bytes;
}

constexpr std::array<unsigned char, 256> wordBytes = makeWordBytes();

// FNV-1a (Fowler, Noll, Vo), spread over the upper bits once at the end.
constexpr unsigned int hashStart = 2166136261u;
constexpr unsigned int hashStep(unsigned int hash, unsigned char byte)
{
    return (hash ^ byte) * 16777619u;
}
constexpr unsigned int hashEnd(unsigned int hash)
{
    return hash ^ (hash >> 15);
}

constexpr std::size_t textBlockSize = 65536;
} // namespace

bool vnWordCount::Key::operator==(const Key& other) const
{
    return m_length == other.m_length && std::memcmp(m_text, other.m_text, m_length) == 0;
}

void vnWordCount::add(const unsigned char* text, std::size_t size)
{
    char word[VN_MAX_WORD];
    const unsigned char* const end = text + size;
    while (text != end)
    {
        unsigned char byte = wordBytes[*text++];
        if (!byte)
            continue;
        std::size_t length = 0;
        unsigned int hash = hashStart;
        while (byte)
        {
            if (length < VN_MAX_WORD)
            {
                word[length++] = static_cast<char>(byte);
                hash = hashStep(hash, byte);
            }
            byte = text != end ? wordBytes[*text++] : 0;
        }
        count(word, length, hashEnd(hash), 1);
    }
}

void vnWordCount::add(const vnWordCount& other)
{
    for (const Entry& entry : other.m_entries)
    {
        unsigned int hash = hashStart;
        for (std::size_t i = 0; i < entry.length; ++i)
            hash = hashStep(hash, static_cast<unsigned char>(entry.text[i]));
        count(entry.text, entry.length, hashEnd(hash), entry.count);
    }
}

void vnWordCount::count(const char* word, std::size_t length, unsigned int hash, vnUInt64 times)
{
    if (Entry* entry = m_words.find(Key(word, length, hash)))
    {
        entry->count += times;
        return;
    }
    const char* text = keep(word, length);
    m_entries.push_back(Entry{text, length, times});
    m_words.enter(Key(text, length, hash), &m_entries.back());
}

const char* vnWordCount::keep(const char* word, std::size_t length)
{
    if (length > m_freeSize)
    {
        m_texts.push_back(std::make_unique<char[]>(textBlockSize));
        m_free = m_texts.back().get();
        m_freeSize = textBlockSize;
    }
    char* text = m_free;
    std::memcpy(text, word, length);
    m_free += length;
    m_freeSize -= length;
    return text;
}

std::vector<vnWordCount::Entry> vnWordCount::getTop(std::size_t count) const
{
    std::vector<Entry> entries(m_entries.begin(), m_entries.end());
    const auto middle = entries.begin() + static_cast<std::ptrdiff_t>(std::min(count, entries.size()));
    std::partial_sort(entries.begin(), middle, entries.end(),
                      [](const Entry& left, const Entry& right)
                      {
                          if (left.count != right.count)
                              return left.count > right.count;
                          const int order =
                              std::memcmp(left.text, right.text, std::min(left.length, right.length));
                          return order != 0 ? order < 0 : left.length < right.length;
                      });
    entries.erase(middle, entries.end());
    return entries;
}

std::size_t vnWordCount::findOpenWord(const unsigned char* text, std::size_t size)
{
    while (size > 0 && wordBytes[text[size - 1]])
        --size;
    return size;
}
