// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

template <class K, class V>
class vnDictList;
template <class K, class V>
class vnDictPool;
template <class K, class V>
class vnDict;

/// One entry of a `vnDict`: a key, its hash and a pointer to the value. It links itself into its bucket.
template <class K, class V>
class vnDictEntry
{
public:
    const K& getKey() const noexcept { return m_key; }
    V* getValue() const noexcept { return m_value; }
    unsigned int getHash() const noexcept { return m_hash; }

    /// For `vnDict::copyEntry`; the dictionary's hooks are not called.
    void setValue(V* value) noexcept { m_value = value; }

private:
    friend class vnDictList<K, V>;
    friend class vnDictPool<K, V>;
    friend class vnDict<K, V>;

    vnDictEntry(const K& key, V* value, unsigned int hash, unsigned int number)
        : m_hash(hash), m_number(number), m_isWaiting(0), m_isDead(0), m_value(value), m_key(key)
    {
    }

    vnDictEntry* m_next = nullptr;
    unsigned int m_hash;
    unsigned int m_number : 30;   // the pool's
    unsigned int m_isWaiting : 1; // stands in no bucket yet
    unsigned int m_isDead : 1;    // was removed while it waited
    V* m_value;
    K m_key;
};

/// One bucket of a `vnDict`: entries by ascending hash, equal ones in the order of insertion. One pointer
/// large; it owns nothing.
template <class K, class V>
class vnDictList
{
public:
    using Entry = vnDictEntry<K, V>;

    /// Inserts behind the entries of the same hash, and answers whether there are any. `passed` becomes the
    /// number of entries in front of it.
    bool insert(Entry* entry, unsigned int& passed) noexcept
    {
        Entry** link = &m_head;
        bool equal = false;
        for (passed = 0; *link && (*link)->m_hash <= entry->m_hash; ++passed)
        {
            equal = (*link)->m_hash == entry->m_hash;
            link = &(*link)->m_next;
        }
        entry->m_next = *link;
        *link = entry;
        return equal;
    }
    void insert(Entry* entry) noexcept
    {
        unsigned int passed = 0;
        insert(entry, passed);
    }

    /// The first entry of `key` that `accept` takes; null when there is none.
    template <class Accept>
    Entry* find(const K& key, unsigned int hash, Accept accept) const
    {
        for (Entry* entry = m_head; entry && entry->m_hash <= hash; entry = entry->m_next)
            if (entry->m_hash == hash && entry->m_key == key && accept(*entry))
                return entry;
        return nullptr;
    }

    /// Unlinks an entry of this bucket.
    void remove(Entry* entry) noexcept
    {
        Entry** link = &m_head;
        while (*link != entry)
            link = &(*link)->m_next;
        *link = entry->m_next;
    }

    Entry* getHead() const noexcept { return m_head; }

private:
    friend class vnDict<K, V>;

    Entry* m_head = nullptr;
};

/// The memory of a dictionary's entries: slabs that double in size. Slots are used again at once; slabs go
/// back to the heap when no entry is left. With reuse on, the key of a spare entry stays constructed and is
/// assigned when the entry is used again, so that a key that owns memory keeps it. Slots have numbers, from 1
/// on, by which entries are found once the directory of the slabs is open.
template <class K, class V>
class vnDictPool
{
public:
    using Entry = vnDictEntry<K, V>;

    vnDictPool() noexcept = default;
    vnDictPool(const vnDictPool&) = delete;
    vnDictPool& operator=(const vnDictPool&) = delete;
    ~vnDictPool() { releaseAll(); }

    void setReuse(unsigned char enable) noexcept { m_reuse = enable; }
    unsigned char getReuse() const noexcept { return m_reuse; }

    Entry* take(const K& key, V* value, unsigned int hash)
    {
        if (m_reuse && m_spare)
            return takeSpare(key, value, hash);
        unsigned int number = 0;
        void* slot = takeSlot(number);
        try
        {
            Entry* entry = ::new (slot) Entry(key, value, hash, number);
            ++m_inUse;
            return entry;
        }
        catch (...)
        {
            giveSlot(slot, number);
            throw;
        }
    }

    void give(Entry* entry) noexcept
    {
        --m_inUse;
        if (m_reuse)
        {
            entry->m_next = m_spare;
            m_spare = entry;
            return;
        }
        const unsigned int number = entry->m_number;
        entry->~Entry();
        giveSlot(entry, number);
    }

    /// Allows `at` from now on.
    void openDirectory()
    {
        if (m_directory)
            return;
        reserveDirectory();
        unsigned int index = m_slabCount;
        for (Slab* slab = m_slabs; slab; slab = slab->next)
        {
            --index;
            m_directory[index] = firstSlot(slab, slabSize(index));
        }
    }

    Entry* at(unsigned int number) const noexcept
    {
        unsigned int index = 0;
        unsigned int place = number - 1;
        if (place < VN_GROWING_SLOTS)
        {
            index = 31u - static_cast<unsigned int>(__builtin_clz(place / VN_FIRST_SLAB + 1));
            place -= VN_FIRST_SLAB * ((1u << index) - 1);
        }
        else
        {
            place -= VN_GROWING_SLOTS;
            index = VN_GROWING_SLABS + place / VN_LARGEST_SLAB;
            place %= VN_LARGEST_SLAB;
        }
        return reinterpret_cast<Entry*>(m_directory[index] + place * sizeof(Entry));
    }

    /// Returns the slabs to the heap. No entry may be in use; spare ones are destroyed.
    void releaseAll() noexcept
    {
        while (m_spare)
            std::exchange(m_spare, m_spare->m_next)->~Entry();
        while (m_slabs)
            vn_delete(std::exchange(m_slabs, m_slabs->next));
        vn_delete(std::exchange(m_directory, nullptr));
        m_free = nullptr;
        m_unused = m_end = nullptr;
        m_slabCount = m_directorySize = m_numbers = 0;
    }

    /// Returns the slabs to the heap if there are several, no entry is in use and nothing is kept.
    void trim() noexcept
    {
        if (m_inUse == 0 && !m_reuse && m_slabs && m_slabs->next)
            releaseAll();
    }

private:
    static constexpr unsigned int VN_FIRST_SLAB = 4;
    static constexpr unsigned int VN_LARGEST_SLAB = 1024;
    static constexpr unsigned int VN_GROWING_SLABS = 8; // the slabs below the largest size, and their slots
    static constexpr unsigned int VN_GROWING_SLOTS = VN_FIRST_SLAB * ((1u << VN_GROWING_SLABS) - 1);
    static_assert(VN_FIRST_SLAB << VN_GROWING_SLABS == VN_LARGEST_SLAB,
                  "slabs double up to the largest size");
    static constexpr unsigned int VN_MOST_NUMBERS = 1u << 30;
    static constexpr unsigned int VN_ALIGNED_SLAB = 64;
    static constexpr unsigned int VN_CACHE_LINE = 64;

    struct Slot
    {
        Slot* next;
        unsigned int number;
    };
    struct alignas(std::max_align_t) Slab
    {
        Slab* next;
    };

    Entry* takeSpare(const K& key, V* value, unsigned int hash)
    {
        Entry* entry = m_spare;
        entry->m_key = key;
        entry->m_value = value;
        entry->m_hash = hash;
        entry->m_isWaiting = entry->m_isDead = 0;
        m_spare = entry->m_next;
        ++m_inUse;
        return entry;
    }

    void* takeSlot(unsigned int& number)
    {
        if (m_free)
        {
            number = m_free->number;
            return std::exchange(m_free, m_free->next);
        }
        if (m_unused == m_end)
            addSlab();
        number = ++m_numbers;
        return std::exchange(m_unused, m_unused + sizeof(Entry));
    }

    void giveSlot(void* slot, unsigned int number) noexcept { m_free = ::new (slot) Slot{m_free, number}; }

    static unsigned int slabSize(unsigned int index) noexcept
    {
        return index < VN_GROWING_SLABS ? VN_FIRST_SLAB << index : VN_LARGEST_SLAB;
    }

    // In a large dictionary each entry looked at is a cache miss, so that none is to lie across two lines.
    static unsigned int slackOf(unsigned int size) noexcept
    {
        return size < VN_ALIGNED_SLAB ? 0 : VN_CACHE_LINE;
    }

    static unsigned char* firstSlot(Slab* slab, unsigned int size) noexcept
    {
        unsigned char* first = reinterpret_cast<unsigned char*>(slab + 1);
        if (slackOf(size))
            first += -reinterpret_cast<std::uintptr_t>(first) & (VN_CACHE_LINE - 1);
        return first;
    }

    void addSlab()
    {
        if (m_directory)
            reserveDirectory();
        const unsigned int size = slabSize(m_slabCount);
        if (m_numbers + size >= VN_MOST_NUMBERS)
            vnThrowBadAlloc(__FILE__, __LINE__);
        const unsigned int bytes = vnCheckedSize(size, sizeof(Entry));
        void* block = vn_new(vnCheckedSize(sizeof(Slab) + slackOf(size) + static_cast<std::size_t>(bytes)));
        m_slabs = ::new (block) Slab{m_slabs};
        m_unused = firstSlot(m_slabs, size);
        m_end = m_unused + bytes;
        if (m_directory)
            m_directory[m_slabCount] = m_unused;
        ++m_slabCount;
    }

    // Room for one slab more.
    void reserveDirectory()
    {
        if (m_slabCount < m_directorySize)
            return;
        const unsigned int size = 2 * m_slabCount + 2;
        auto* larger = static_cast<unsigned char**>(vn_new(vnCheckedSize(size, sizeof(unsigned char*))));
        if (m_directory)
            std::memcpy(larger, m_directory, m_slabCount * sizeof(unsigned char*));
        vn_delete(std::exchange(m_directory, larger));
        m_directorySize = size;
    }

    static_assert(sizeof(Slot) <= sizeof(Entry), "a free slot keeps its number in the place of the entry");
    static_assert(alignof(Entry) <= alignof(std::max_align_t),
                  "keys of extended alignment have no place here");

    Slab* m_slabs = nullptr;
    Slot* m_free = nullptr;
    unsigned char* m_unused = nullptr; // the rest of the newest slab
    unsigned char* m_end = nullptr;
    Entry* m_spare = nullptr;
    unsigned char** m_directory = nullptr; // the first slot of each slab, when it is open
    unsigned int m_directorySize = 0;
    unsigned int m_slabCount = 0;
    unsigned int m_numbers = 0; // given out so far
    unsigned int m_inUse = 0;
    unsigned char m_reuse = 0;
};
