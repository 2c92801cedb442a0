// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <algorithm>
#include <cstring>
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
/// of the first hash otherwise. Entries of one mark stand in the order of insertion: a few in slots of their
/// own, and all further ones chained to the last of these. So adding and removing an entry takes the same
/// time however many equal keys there are.
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

    void close() noexcept
    {
        vn_delete(std::exchange(m_slots, nullptr));
        vn_delete(std::exchange(m_links, nullptr));
        m_linkCount = 0;
    }

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
                larger.put(m_slots[at]);
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

    /// Adds an entry and answers whether one of this mark was there. There must be room. Exhausted memory
    /// throws `std::bad_alloc` and changes nothing.
    bool insert(unsigned int mark, unsigned int number)
    {
        unsigned int equals = 0;
        unsigned int at = homeOf(mark);
        for (; m_slots[at].number; at = next(at))
            if (m_slots[at].mark == mark && (m_slots[at].isChain || ++equals == VN_SLOTS_OF_A_MARK))
            {
                append(m_slots[at], number);
                return true;
            }
        m_slots[at] = {mark, number, 0};
        ++m_used;
        return equals > 0;
    }

    /// Removes an entry that is there.
    void remove(unsigned int mark, unsigned int number) noexcept
    {
        unsigned int at = homeOf(mark);
        // An entry that no slot of its mark names is in the chain.
        while (m_slots[at].number != number && !(m_slots[at].isChain && m_slots[at].mark == mark))
            at = next(at);
        if (m_slots[at].isChain)
            unlink(m_slots[at], number);
        else
            freeSlot(at);
    }

    /// Hands the numbers of the entries of a mark to `accept` until it answers true.
    template <class Accept>
    void find(unsigned int mark, Accept accept) const
    {
        for (unsigned int at = homeOf(mark); m_slots[at].number; at = next(at))
            if (m_slots[at].mark == mark && findIn(m_slots[at], accept))
                return;
    }

private:
    struct Slot
    {
        unsigned int mark;
        unsigned int number : 31; // 0 in a free slot
        unsigned int isChain : 1; // others are linked to it; the last slot of its mark
    };
    static_assert(sizeof(Slot) == 8, "a cache line holds eight slots");

    // The neighbours of an entry in its chain, which is a circle.
    struct Link
    {
        unsigned int next;
        unsigned int previous;
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
    static constexpr unsigned int VN_LEAST_LINKS = 64;

    // More than different keys come to by accident, so that the links cost memory for equal ones only.
    static constexpr unsigned int VN_SLOTS_OF_A_MARK = 8;
    static constexpr vnUInt64 VN_MIXER = 0x9E3779B97F4A7C15u;

    static unsigned int limitOf(unsigned int bits) noexcept { return (1u << bits) / 4 * 3; }

    static Slot* create(unsigned int bits)
    {
        void* block = vn_calloc(vnCheckedSize(sizeof(Slot), static_cast<std::size_t>(1) << bits), nullptr);
        if (!block)
            vnThrowBadAlloc(__FILE__, __LINE__);
        return static_cast<Slot*>(block);
    }

    // Adds a slot as it is.
    void put(const Slot& slot) noexcept
    {
        unsigned int at = homeOf(slot.mark);
        while (m_slots[at].number)
            at = next(at);
        m_slots[at] = slot;
        ++m_used;
    }

    void freeSlot(unsigned int hole) noexcept
    {
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

    void append(Slot& slot, unsigned int number)
    {
        const unsigned int first = slot.number;
        reserveLink(std::max(first, number));
        if (!slot.isChain)
            m_links[first] = {first, first};
        slot.isChain = 1;
        const unsigned int last = m_links[first].previous;
        m_links[number] = {first, last};
        m_links[last].next = m_links[first].previous = number;
    }

    void unlink(Slot& slot, unsigned int number) noexcept
    {
        const Link link = m_links[number];
        m_links[link.previous].next = link.next;
        m_links[link.next].previous = link.previous;
        if (slot.number == number)
            slot.number = link.next;
        slot.isChain = m_links[slot.number].next != slot.number;
    }

    template <class Accept>
    bool findIn(const Slot& slot, Accept& accept) const
    {
        unsigned int number = slot.number;
        if (accept(number))
            return true;
        if (slot.isChain)
            while ((number = m_links[number].next) != slot.number)
                if (accept(number))
                    return true;
        return false;
    }

    void reserveLink(unsigned int number)
    {
        if (number < m_linkCount)
            return;
        const unsigned int count = std::max({VN_LEAST_LINKS, 2 * m_linkCount, number + 1});
        auto* larger = static_cast<Link*>(vn_new(vnCheckedSize(sizeof(Link), count)));
        if (m_links)
            std::memcpy(larger, m_links, m_linkCount * sizeof(Link));
        vn_delete(std::exchange(m_links, larger));
        m_linkCount = count;
    }

    // The high bits, so that a table twice as large keeps the order of the homes.
    unsigned int homeOf(unsigned int mark) const noexcept { return mark >> (32 - m_bits); }
    unsigned int next(unsigned int at) const noexcept { return (at + 1) & ((1u << m_bits) - 1); }
    unsigned int distance(unsigned int from, unsigned int to) const noexcept
    {
        return (to - from) & ((1u << m_bits) - 1);
    }

    Slot* m_slots = nullptr;
    Link* m_links = nullptr; // by number; made for the first chain
    unsigned int m_linkCount = 0;
    vnUInt64 m_seed = 0;
    unsigned int m_bits = 0;
    unsigned int m_used = 0;
};
