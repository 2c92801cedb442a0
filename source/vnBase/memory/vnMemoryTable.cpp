// SPDX-License-Identifier: MIT
#include <memory/vnMemoryTable.h>

#include <cstdint>
#include <cstring>

static_assert(vnMemoryTable::VN_RECORDS % 64 == 0, "the search for a free record goes by whole words");

unsigned int vnMemoryTable::slotOf(const void* address) noexcept
{
    // The low bits of a block's address are always the same; Fibonacci hashing spreads the others.
    const vnUInt64 bits = reinterpret_cast<std::uintptr_t>(address) >> 4;
    return static_cast<unsigned int>(bits * 0x9E3779B97F4A7C15ull >> (64 - VN_INDEX_BITS));
}

unsigned int vnMemoryTable::find(const void* address) const noexcept
{
    unsigned int link = m_heads[slotOf(address)];
    while (link && m_records[link - 1].address != address)
        link = m_next[link - 1];
    return link ? link - 1 : VN_RECORDS;
}

unsigned int vnMemoryTable::take(void* address) noexcept
{
    if (m_live == VN_RECORDS)
        return VN_RECORDS;
    const unsigned int index = m_used < VN_RECORDS ? m_used++ : nextFree();
    unsigned int& head = m_heads[slotOf(address)];
    m_records[index].address = address;
    m_next[index] = head;
    head = index + 1;
    m_occupied[index / 64] |= 1ull << index % 64;
    ++m_live;
    return index;
}

// Called only when there is one.
unsigned int vnMemoryTable::nextFree() noexcept
{
    unsigned int word = m_hint / 64;
    vnUInt64 vacant = ~m_occupied[word] & ~0ull << m_hint % 64;
    while (!vacant)
    {
        word = (word + 1) % VN_WORDS;
        vacant = ~m_occupied[word];
    }
    const unsigned int index = word * 64 + static_cast<unsigned int>(__builtin_ctzll(vacant));
    m_hint = (index + 1) % VN_RECORDS;
    return index;
}

void vnMemoryTable::release(unsigned int index) noexcept
{
    unsigned int* link = &m_heads[slotOf(m_records[index].address)];
    while (*link != index + 1)
        link = &m_next[*link - 1];
    *link = m_next[index];
    m_records[index] = Record{};
    m_occupied[index / 64] &= ~(1ull << index % 64);
    --m_live;
}

void vnMemoryTable::clear() noexcept
{
    if (m_used == 0)
        return;
    std::memset(m_records, 0, m_used * sizeof(Record));
    std::memset(m_heads, 0, sizeof m_heads);
    std::memset(m_occupied, 0, sizeof m_occupied);
    m_used = m_live = m_hint = 0;
}

// What was never used stays untouched, so that its pages stay unwritten.
void vnMemoryTable::copyFrom(const vnMemoryTable& other) noexcept
{
    m_used = other.m_used;
    m_live = other.m_live;
    m_hint = other.m_hint;
    std::memcpy(m_records, other.m_records, m_used * sizeof(Record));
    std::memcpy(m_next, other.m_next, m_used * sizeof(unsigned int));
    std::memcpy(m_heads, other.m_heads, sizeof m_heads);
    std::memcpy(m_occupied, other.m_occupied, sizeof m_occupied);
}
