// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <type_traits>
#include <utility>

/// A number that differs from process to process, so that nobody can choose keys that collide in an index.
VN_BASE_API vnUInt64 vnDictSeed();

/// Both halves of the product of two numbers folded together: mixes every bit of one into every bit of the
/// result.
inline vnUInt64 vnFoldedProduct(vnUInt64 a, vnUInt64 b) noexcept
{
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    return static_cast<vnUInt64>(product) ^ static_cast<vnUInt64>(product >> 64);
}

/// The marks of the entries of a large dictionary, each with the number of its entry, in one table with
/// linear probing: a look-up passes over the entries of other keys without touching them. Used by `vnDict`.
///
/// A mark is a second hash, made of `vnUInt64 mixedHash(vnUInt64 seed) const` where the key class has it, and
/// of the first hash otherwise. Entries of one mark stand in the order of insertion.
template <class K>
class vnDictIndex
{
public:
    vnDictIndex() noexcept = default;
    vnDictIndex(const vnDictIndex&) = delete;
    vnDictIndex& operator=(const vnDictIndex&) = delete;
    ~vnDictIndex() { close(); }

    bool isOpen() const noexcept { return m_slots != nullptr; }

    /// Makes an empty table that takes `count` entries and a few more.
    void open(unsigned int count)
    {
        unsigned int bits = VN_LEAST_BITS;
        while (count >= limitOf(bits))
            ++bits;
        m_seed = vnDictSeed();
        m_slots = create(bits);
        m_bits = bits;
        m_used = 0;
    }

    void close() noexcept { vn_delete(std::exchange(m_slots, nullptr)); }

    /// Doubles the table when one more entry would fill it too far.
    void reserveOne()
    {
        if (m_used < limitOf(m_bits))
            return;
        vnDictIndex larger;
        larger.m_slots = create(m_bits + 1);
        larger.m_bits = m_bits + 1;
        // From behind a free slot on, so that a run of slots that goes over the end of the table stays in
        // order.
        unsigned int start = 0;
        while (m_slots[start].number)
            ++start;
        for (unsigned int at = next(start); at != start; at = next(at))
            if (m_slots[at].number)
                larger.insert(m_slots[at].mark, m_slots[at].number);
        std::swap(m_slots, larger.m_slots);
        std::swap(m_bits, larger.m_bits);
    }

    unsigned int markOf(const K& key, unsigned int hash) const
    {
        if constexpr (HasMixedHash<K>::value)
            return static_cast<unsigned int>(key.mixedHash(m_seed) >> 32);
        else
            return static_cast<unsigned int>(vnFoldedProduct(hash ^ m_seed, VN_MIXER) >> 32);
    }

    /// Adds an entry and answers whether one of this mark was there. There must be room.
    bool insert(unsigned int mark, unsigned int number) noexcept
    {
        bool isEqual = false;
        unsigned int at = homeOf(mark);
        for (; m_slots[at].number; at = next(at))
            isEqual |= m_slots[at].mark == mark;
        m_slots[at] = {mark, number};
        ++m_used;
        return isEqual;
    }

    /// Removes an entry that is there.
    void remove(unsigned int mark, unsigned int number) noexcept
    {
        unsigned int hole = homeOf(mark);
        while (m_slots[hole].number != number)
            hole = next(hole);
        // Each entry behind it that may stand in the hole moves there.
        for (unsigned int at = next(hole); m_slots[at].number; at = next(at))
            if (distance(homeOf(m_slots[at].mark), at) >= distance(hole, at))
            {
                m_slots[hole] = m_slots[at];
                hole = at;
            }
        m_slots[hole].number = 0;
        --m_used;
    }

    /// Hands the numbers of the entries of a mark to `accept` until it answers true.
    template <class Accept>
    void find(unsigned int mark, Accept accept) const
    {
        for (unsigned int at = homeOf(mark); m_slots[at].number; at = next(at))
            if (m_slots[at].mark == mark && accept(m_slots[at].number))
                return;
    }

private:
    struct Slot
    {
        unsigned int mark;
        unsigned int number; // 0 in a free slot
    };

    template <class T, class = void>
    struct HasMixedHash : std::false_type
    {
    };
    template <class T>
    struct HasMixedHash<T, std::void_t<decltype(std::declval<const T&>().mixedHash(vnUInt64()))>>
        : std::true_type
    {
    };

    static constexpr unsigned int VN_LEAST_BITS = 8;
    static constexpr vnUInt64 VN_MIXER = 0x9E3779B97F4A7C15u;

    static unsigned int limitOf(unsigned int bits) noexcept { return (1u << bits) / 4 * 3; }

    static Slot* create(unsigned int bits)
    {
        void* block = vn_calloc(vnCheckedSize(sizeof(Slot), static_cast<std::size_t>(1) << bits), nullptr);
        if (!block)
            vnThrowBadAlloc(__FILE__, __LINE__);
        return static_cast<Slot*>(block);
    }

    // The high bits, so that a table twice as large keeps the order of the homes.
    unsigned int homeOf(unsigned int mark) const noexcept { return mark >> (32 - m_bits); }
    unsigned int next(unsigned int at) const noexcept { return (at + 1) & ((1u << m_bits) - 1); }
    unsigned int distance(unsigned int from, unsigned int to) const noexcept
    {
        return (to - from) & ((1u << m_bits) - 1);
    }

    Slot* m_slots = nullptr;
    vnUInt64 m_seed = 0;
    unsigned int m_bits = 0;
    unsigned int m_used = 0;
};
