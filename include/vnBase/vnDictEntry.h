// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <cstddef>
#include <cstdint>
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

    vnDictEntry(const K& key, V* value, unsigned int hash) : m_hash(hash), m_value(value), m_key(key) {}

    vnDictEntry* m_next = nullptr;
    unsigned int m_hash;
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

    /// Inserts behind the entries of the same hash, and answers whether there are any.
    bool insert(Entry* entry) noexcept
    {
        Entry** link = &m_head;
        bool equal = false;
        while (*link && (*link)->m_hash <= entry->m_hash)
        {
            equal = (*link)->m_hash == entry->m_hash;
            link = &(*link)->m_next;
        }
        entry->m_next = *link;
        *link = entry;
        return equal;
    }

    /// The first entry of `key`; null when there is none.
    Entry* find(const K& key, unsigned int hash) const { return findFrom(m_head, key, hash); }

    /// The first entry of `key` at or behind `entry`.
    static Entry* findFrom(Entry* entry, const K& key, unsigned int hash)
    {
        for (; entry && entry->m_hash <= hash; entry = entry->m_next)
            if (entry->m_hash == hash && entry->m_key == key)
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

    static Entry* next(const Entry* entry) noexcept { return entry->m_next; }

    Entry* m_head = nullptr;
};

/// The memory of a dictionary's entries: slabs that double in size. Slots are used again at once; slabs go
/// back to the heap when no entry is left. With reuse on, the key of a spare entry stays constructed and is
/// assigned when the entry is used again, so that a key that owns memory keeps it.
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
        void* slot = takeSlot();
        try
        {
            Entry* entry = ::new (slot) Entry(key, value, hash);
            ++m_inUse;
            return entry;
        }
        catch (...)
        {
            giveSlot(slot);
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
        entry->~Entry();
        giveSlot(entry);
    }

    /// Returns the slabs to the heap. No entry may be in use; spare ones are destroyed.
    void releaseAll() noexcept
    {
        while (m_spare)
            std::exchange(m_spare, m_spare->m_next)->~Entry();
        while (m_slabs)
            vn_delete(std::exchange(m_slabs, m_slabs->next));
        m_free = nullptr;
        m_unused = m_end = nullptr;
        m_slabSize = VN_FIRST_SLAB;
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
    static constexpr unsigned int VN_ALIGNED_SLAB = 64;
    static constexpr unsigned int VN_CACHE_LINE = 64;

    struct Slot
    {
        Slot* next;
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
        m_spare = entry->m_next;
        ++m_inUse;
        return entry;
    }

    void* takeSlot()
    {
        if (m_free)
            return std::exchange(m_free, m_free->next);
        if (m_unused == m_end)
            addSlab();
        return std::exchange(m_unused, m_unused + sizeof(Entry));
    }

    void giveSlot(void* slot) noexcept { m_free = ::new (slot) Slot{m_free}; }

    void addSlab()
    {
        const unsigned int bytes = vnCheckedSize(m_slabSize, sizeof(Entry));
        // In a large dictionary each entry looked at is a cache miss, so that none is to lie across two
        // lines.
        const unsigned int slack = m_slabSize < VN_ALIGNED_SLAB ? 0 : VN_CACHE_LINE;
        void* block = vn_new(vnCheckedSize(sizeof(Slab) + slack + static_cast<std::size_t>(bytes)));
        m_slabs = ::new (block) Slab{m_slabs};
        m_unused = static_cast<unsigned char*>(block) + sizeof(Slab);
        if (slack)
            m_unused += -reinterpret_cast<std::uintptr_t>(m_unused) & (VN_CACHE_LINE - 1);
        m_end = m_unused + bytes;
        if (m_slabSize < VN_LARGEST_SLAB)
            m_slabSize *= 2;
    }

    static_assert(alignof(Entry) <= alignof(std::max_align_t),
                  "keys of extended alignment have no place here");

    Slab* m_slabs = nullptr;
    Slot* m_free = nullptr;
    unsigned char* m_unused = nullptr; // the rest of the newest slab
    unsigned char* m_end = nullptr;
    Entry* m_spare = nullptr;
    unsigned int m_slabSize = VN_FIRST_SLAB;
    unsigned int m_inUse = 0;
    unsigned char m_reuse = 0;
};
