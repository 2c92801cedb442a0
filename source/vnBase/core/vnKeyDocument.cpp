// SPDX-License-Identifier: MIT
#include "core/vnKeyDocument.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <zlib.h>

namespace
{
constexpr unsigned char magic[] = {'v', 'n', 'K', 'e', 'y', 's', 1, 0}; // with the version
constexpr unsigned int sizePlace = sizeof magic;
constexpr unsigned int countPlace = sizePlace + 4;
constexpr unsigned int headSize = countPlace + 4;
constexpr unsigned int sumSize = 4;
constexpr unsigned int entryHeadSize = 4 * 2;

vnUInt64 number(const unsigned char* from, unsigned int bytes)
{
    vnUInt64 value = 0;
    while (bytes > 0)
        value = value << 8 | from[--bytes];
    return value;
}

unsigned short number16(const unsigned char* from)
{
    return static_cast<unsigned short>(number(from, 2));
}

unsigned int number32(const unsigned char* from)
{
    return static_cast<unsigned int>(number(from, 4));
}

unsigned char* put(unsigned char* to, vnUInt64 value, unsigned int bytes)
{
    for (; bytes > 0; --bytes, value >>= 8)
        *to++ = static_cast<unsigned char>(value);
    return to;
}

unsigned char* put(unsigned char* to, const unsigned char* from, unsigned int count)
{
    std::memcpy(to, from, count);
    return to + count;
}

unsigned int checkSum(const unsigned char* bytes, unsigned int count)
{
    return static_cast<unsigned int>(::crc32(::crc32(0, nullptr, 0), bytes, count));
}

int compare(const vnKeyDocument::Text& left, const vnKeyDocument::Text& right)
{
    const int order = std::memcmp(left.data, right.data, std::min(left.size, right.size));
    return order != 0 ? order : left.size - right.size;
}

int compare(const vnKeyDocument::Entry& entry, const vnKeyDocument::Text& key,
            const vnKeyDocument::Text& name)
{
    const int order = compare(entry.key, key);
    return order != 0 ? order : compare(entry.name, name);
}

// All but the bytes of an entry that starts here. The sizes may be anything.
struct EntryHead
{
    explicit EntryHead(const unsigned char* from)
        : type(number16(from)), key(number16(from + 2)), name(number16(from + 4)), value(number16(from + 6))
    {
    }
    unsigned int size() const { return entryHeadSize + key + name + value; }

    unsigned short type, key, name, value;
};

vnKeyDocument::Entry entryAt(const unsigned char* from)
{
    const EntryHead head(from);
    const unsigned char* key = from + entryHeadSize;
    const unsigned char* name = key + head.key;
    return {head.type, {key, head.key}, {name, head.name}, {name + head.name, head.value}};
}

unsigned int sizeOf(const vnKeyDocument::Entry& entry)
{
    return entryHeadSize + entry.key.size + entry.name.size + entry.value.size;
}

unsigned char* put(unsigned char* to, const vnKeyDocument::Entry& entry)
{
    to = put(to, entry.type, 2);
    for (const vnKeyDocument::Text* text : {&entry.key, &entry.name, &entry.value})
        to = put(to, text->size, 2);
    for (const vnKeyDocument::Text* text : {&entry.key, &entry.name, &entry.value})
        to = put(to, text->data, text->size);
    return to;
}
} // namespace

bool vnKeyDocument::read(vnArray<unsigned char> bytes)
{
    m_offsets = vnArray<unsigned int>();
    m_bytes = std::move(bytes);
    // A file that was made and never written has nothing to lose.
    if (m_bytes.isEmpty() || index())
        return true;
    *this = vnKeyDocument();
    return false;
}

// Finds the entries and checks everything that the bytes say.
bool vnKeyDocument::index()
{
    const unsigned int size = m_bytes.getSize();
    const unsigned char* bytes = m_bytes.data();
    if (size < headSize + sumSize || size > VN_MAX_SIZE || std::memcmp(bytes, magic, sizeof magic) != 0)
        return false;
    const unsigned int end = size - sumSize;
    if (number32(bytes + sizePlace) != size || number32(bytes + end) != checkSum(bytes, end))
        return false;
    const unsigned int count = number32(bytes + countPlace);
    if (count > (end - headSize) / entryHeadSize)
        return false;
    vnArray<unsigned int> offsets(count);
    unsigned int at = headSize;
    for (unsigned int i = 0; i < count; ++i)
    {
        if (end - at < entryHeadSize || end - at < EntryHead(bytes + at).size())
            return false;
        const Entry entry = entryAt(bytes + at);
        if (i > 0 && compare(entryAt(bytes + offsets[i - 1]), entry.key, entry.name) >= 0)
            return false;
        offsets[i] = at;
        at += sizeOf(entry);
    }
    if (at != end)
        return false;
    m_offsets = std::move(offsets);
    return true;
}

vnKeyDocument::Entry vnKeyDocument::getEntry(unsigned int index) const
{
    return entryAt(m_bytes.data() + m_offsets[index]);
}

bool vnKeyDocument::find(const Text& key, const Text& name, unsigned int& index) const
{
    unsigned int begin = 0;
    unsigned int end = getCount();
    while (begin < end)
    {
        const unsigned int middle = begin + (end - begin) / 2;
        const int order = compare(getEntry(middle), key, name);
        if (order == 0)
        {
            index = middle;
            return true;
        }
        (order < 0 ? begin : end) = order < 0 ? middle + 1 : middle;
    }
    index = begin;
    return false;
}

unsigned int vnKeyDocument::endOfEntries() const noexcept
{
    return m_bytes.isEmpty() ? headSize : m_bytes.getSize() - sumSize;
}

// Also of the entry behind the last one.
unsigned int vnKeyDocument::offsetOf(unsigned int index) const
{
    return index < getCount() ? m_offsets[index] : endOfEntries();
}

vnArray<unsigned char> vnKeyDocument::createWith(const Text& key, const Text& name, const Text& value) const
{
    unsigned int index = 0;
    const bool isThere = find(key, name, index);
    const Entry entry{VN_KEY_VALUE_TEXT, key, name, value};
    return splice(offsetOf(index), offsetOf(index + isThere), &entry);
}

vnArray<unsigned char> vnKeyDocument::createWithout(unsigned int index) const
{
    return splice(offsetOf(index), offsetOf(index + 1), nullptr);
}

// Puts the entry in the place of the bytes from `begin` to `end`, which are those of one entry or none.
vnArray<unsigned char> vnKeyDocument::splice(unsigned int begin, unsigned int end, const Entry* entry) const
{
    const unsigned int added = entry ? sizeOf(*entry) : 0;
    const unsigned int size = endOfEntries() - (end - begin) + added + sumSize;
    if (size > VN_MAX_SIZE)
        return vnArray<unsigned char>();
    vnArray<unsigned char> result(size);
    unsigned char* const start = result.data();
    unsigned char* to = put(start, magic, sizeof magic);
    to = put(to, size, 4);
    to = put(to, getCount() - (end > begin) + (entry != nullptr), 4);
    if (begin > headSize)
        to = put(to, m_bytes.data() + headSize, begin - headSize);
    if (entry)
        to = put(to, *entry);
    if (endOfEntries() > end)
        to = put(to, m_bytes.data() + end, endOfEntries() - end);
    put(to, checkSum(start, size - sumSize), 4);
    return result;
}

vnString vnKeyDocument::valueText(const Entry& entry)
{
    switch (entry.type)
    {
    case VN_KEY_VALUE_TEXT:
    case VN_KEY_VALUE_EXPANDABLE_TEXT:
    case VN_KEY_VALUE_BINARY:
        return entry.value.asString();
    case VN_KEY_VALUE_NUMBER:
        return entry.value.size == 4 ? vnString::formatString("%u", number32(entry.value.data)) : vnString();
    case VN_KEY_VALUE_LARGE_NUMBER:
        return entry.value.size == 8 ? vnString::formatString("%u", number(entry.value.data, 8)) : vnString();
    default:
        return vnString();
    }
}
