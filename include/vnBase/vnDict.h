// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBlock.h>
#include <vnBase/vnCompareInterface.h>
#include <vnBase/vnDictEntry.h>

#include <utility>

/// A hash dictionary from keys to pointers. Keys are copied and need not be unique: a look-up gives the entry
/// entered first, and the others are reached through it. The dictionary owns its entries, not the values; see
/// `vnRefDict` for values that are held.
///
///     vnDict<vnString, vnThing> things;
///     things.enter("door", &door);
///     if (vnThing* thing = things.find("door"))
///         ...
///     for (const auto& entry : things)
///         use(entry.getKey(), entry.getValue());
///
/// A key class offers `unsigned int hash() const` and `operator==`. Entries are walked by ascending hash
/// modulo the hash size, then by hash, then in the order of insertion.
///
/// A dictionary that holds twice its hash size when one more entry comes grows to four times the hash size
/// plus 3. The entry found or entered last is remembered, so that looking up one key again costs a single
/// comparison; since this writes, look-ups under a read lock, or under none, use `peek`.
///
/// While an iterator is in use the dictionary may be changed through that iterator only. Exhausted memory
/// throws `std::bad_alloc` and leaves the dictionary as it was.
///
/// A class with hooks of its own calls `clear()` in its destructor, and `copyEntries` in its copy operations.
///
/// Thread-safety: none.
template <class K, class V>
class vnDict
{
public:
    using Entry = vnDictEntry<K, V>;
    class Iterator;

    static constexpr unsigned int VN_DEFAULT_HASH_SIZE = 10;

    /// A `hashSize` of 0 becomes 1.
    explicit vnDict(unsigned int hashSize = VN_DEFAULT_HASH_SIZE) noexcept { assignHashSize(hashSize); }
    vnDict(const vnDict& other) : vnDict(other.m_hashSize) { vnDict::copyEntries(other); }
    vnDict& operator=(const vnDict& other)
    {
        if (this != &other)
        {
            vnDict::clear();
            copyEntries(other);
        }
        return *this;
    }
    virtual ~vnDict() noexcept(false) { destroyAll(); }

    /// Called with each value once its entry stands in its bucket, before it is counted and remembered, and
    /// once it has left it, before the entry is used again. They may look keys up. An insertion whose hook
    /// throws is undone; a removal stands.
    virtual void onInsertItem(V*) {}
    virtual void onRemoveItem(V*) {}

    /// A new entry for the copy of a dictionary, made by `createEntry`.
    virtual Entry* copyEntry(Entry* entry)
    {
        return createEntry(entry->m_key, entry->m_value, entry->m_hash);
    }

    /// Adds an entry, also when the key is there already.
    void enter(const K& key, V* value)
    {
        const unsigned int hash = key.hash();
        Entry* entry = m_pool.take(key, value, hash);
        try
        {
            prepareForOneMore();
        }
        catch (...)
        {
            m_pool.give(entry);
            throw;
        }
        const bool isEqual = bucketOf(hash).insert(entry);
        announce(entry);
        // An equal hash before it is all that is asked: the entry found first for this key may be another
        // one.
        if (isEqual)
            m_last = nullptr;
        else if (!m_stopLastFound)
            m_last = entry;
        ++m_count;
    }

    /// The value of the first entry of `key`; null when there is none. With `occurrence`, a value that was
    /// found for this key, the value that comes after it.
    V* find(const K& key, const V* occurrence = nullptr)
    {
        if (m_count == 0)
            return nullptr;
        if (occurrence)
            return valueAfter(key, occurrence);
        const unsigned int hash = key.hash();
        if (m_last && m_last->m_hash == hash && m_last->m_key == key)
            return m_last->m_value;
        Entry* entry = bucketOf(hash).find(key, hash);
        if (!entry)
            return nullptr;
        if (!m_stopLastFound)
            m_last = entry;
        return entry->m_value;
    }

    /// The same without reading or writing the remembered entry. Comparing may still write to keys:
    /// a look-up with an interned string interns the equal stored one. Strings that threads look up together
    /// are interned before they are entered, or looked up with ordinary strings only.
    V* peek(const K& key, const V* occurrence = nullptr) const
    {
        if (m_count == 0)
            return nullptr;
        if (occurrence)
            return valueAfter(key, occurrence);
        const unsigned int hash = key.hash();
        Entry* entry = bucketOf(hash).find(key, hash);
        return entry ? entry->m_value : nullptr;
    }

    /// 1 when there is an entry of `key`, whatever its value.
    unsigned char contains(const K& key) const
    {
        if (m_count == 0)
            return 0;
        const unsigned int hash = key.hash();
        return bucketOf(hash).find(key, hash) != nullptr;
    }

    /// Removes the first entry of `key` and returns its value; null when there is none.
    V* remove(const K& key)
    {
        if (m_count == 0)
            return nullptr;
        const unsigned int hash = key.hash();
        vnDictList<K, V>& bucket = bucketOf(hash);
        return removeFrom(bucket, bucket.find(key, hash));
    }

    /// Removes the first entry of `key` with this value and returns the value; null when there is none.
    V* remove(const K& key, V* value)
    {
        if (m_count == 0)
            return nullptr;
        const unsigned int hash = key.hash();
        vnDictList<K, V>& bucket = bucketOf(hash);
        Entry* entry = bucket.find(key, hash);
        while (entry && entry->m_value != value)
            entry = vnDictList<K, V>::findFrom(entry->m_next, key, hash);
        return removeFrom(bucket, entry);
    }

    /// Removes all entries; the hash size stays.
    void clear()
    {
        m_last = nullptr;
        for (unsigned int i = 0; m_count > 0 && i < m_hashSize; ++i)
            while (Entry* entry = m_buckets[i].m_head)
            {
                m_buckets[i].m_head = entry->m_next;
                drop(entry);
            }
    }

    unsigned int getCount() const noexcept { return m_count; }
    bool isEmpty() const noexcept { return m_count == 0; }

    /// The number of buckets.
    unsigned int getHashSize() const noexcept { return m_hashSize; }

    /// Moves all entries to `hashSize` buckets; 0 becomes 1.
    void setHashSize(unsigned int hashSize)
    {
        if (hashSize == 0)
            hashSize = 1;
        if (hashSize == m_hashSize)
            return;
        if (m_buckets)
            rehash(hashSize);
        else
            assignHashSize(hashSize);
    }

    /// With 0 the hash size changes by `setHashSize` only.
    void setAutoGrow(unsigned char enable) noexcept { m_autoGrow = enable; }

    /// With 1, removed entries are kept with their keys, and a new entry takes one over by assigning its key.
    void setReuseEntries(unsigned char enable) noexcept { m_pool.setReuse(enable); }

    /// With 1, neither look-ups nor insertions change which entry is remembered.
    void setStopLastFound(unsigned char enable) noexcept { m_stopLastFound = enable; }

    Iterator begin() const noexcept { return Iterator(const_cast<vnDict&>(*this)); }
    Iterator end() const noexcept { return Iterator(); }

protected:
    /// An entry that stands in no bucket yet; for `copyEntry`.
    Entry* createEntry(const K& key, V* value, unsigned int hash) { return m_pool.take(key, value, hash); }

    /// Gives back an entry that stands in no bucket.
    void dropEntry(Entry* entry) noexcept { m_pool.give(entry); }

    /// Takes over the settings and what `copyEntry` makes of each entry of `other`. The dictionary is empty
    /// before, and again when it throws.
    void copyEntries(const vnDict& other)
    {
        setHashSize(other.m_hashSize);
        m_autoGrow = other.m_autoGrow;
        m_stopLastFound = other.m_stopLastFound;
        m_pool.setReuse(other.m_pool.getReuse());
        if (other.m_count == 0)
            return;
        try
        {
            createBuckets();
            for (unsigned int i = 0; i < m_hashSize; ++i)
                copyBucket(other.m_buckets[i], m_buckets[i]);
        }
        catch (...)
        {
            clear();
            throw;
        }
    }

private:
    vnDictList<K, V>& bucketOf(unsigned int hash) const noexcept { return m_buckets[slotOf(hash)]; }

    // hash % m_hashSize without a division: the fraction hash / size in 64 bits, times the size. Exact for
    // all 32-bit values (Lemire, Kaser, Kurz: Faster remainder by direct computation, 2019).
    unsigned int slotOf(unsigned int hash) const noexcept
    {
        const vnUInt64 fraction = m_inverse * hash;
        const vnUInt64 low = (fraction & 0xFFFFFFFFu) * m_hashSize >> 32;
        return static_cast<unsigned int>(((fraction >> 32) * m_hashSize + low) >> 32);
    }

    void assignHashSize(unsigned int hashSize) noexcept
    {
        m_hashSize = hashSize ? hashSize : 1;
        m_inverse = ~0ull / m_hashSize + 1;
    }

    void createBuckets()
    {
        if (!m_buckets)
            m_buckets = vnBlock<vnDictList<K, V>>::create(m_hashSize);
    }

    void prepareForOneMore()
    {
        createBuckets();
        // The count before this entry decides, so that a hash size of 10 grows when the 21st comes.
        if (m_autoGrow && m_count >= 2 * static_cast<std::size_t>(m_hashSize))
            rehash(vnCheckedSize(4 * static_cast<std::size_t>(m_hashSize) + 3));
    }

    void rehash(unsigned int hashSize)
    {
        vnDictList<K, V>* buckets = vnBlock<vnDictList<K, V>>::create(hashSize);
        vnDictList<K, V>* old = std::exchange(m_buckets, buckets);
        const unsigned int oldSize = m_hashSize;
        assignHashSize(hashSize);
        for (unsigned int i = 0; i < oldSize; ++i)
            for (Entry* entry = old[i].m_head; entry;)
            {
                Entry* next = entry->m_next;
                bucketOf(entry->m_hash).insert(entry);
                entry = next;
            }
        vnBlock<vnDictList<K, V>>::destroy(old, oldSize);
    }

    void copyBucket(const vnDictList<K, V>& from, vnDictList<K, V>& to)
    {
        Entry** link = &to.m_head;
        for (Entry* source = from.m_head; source; source = source->m_next)
        {
            Entry* entry = copyEntry(source);
            entry->m_next = nullptr;
            *link = entry;
            announce(entry);
            link = &entry->m_next;
            ++m_count;
        }
    }

    // Calls the hook of an entry that was just inserted.
    void announce(Entry* entry)
    {
        try
        {
            onInsertItem(entry->m_value);
        }
        catch (...)
        {
            bucketOf(entry->m_hash).remove(entry);
            m_pool.give(entry);
            throw;
        }
    }

    V* valueAfter(const K& key, const V* occurrence) const
    {
        const unsigned int hash = key.hash();
        bool found = false;
        for (Entry* entry = bucketOf(hash).find(key, hash); entry;
             entry = vnDictList<K, V>::findFrom(entry->m_next, key, hash))
        {
            if (found)
                return entry->m_value;
            found = entry->m_value == occurrence;
        }
        return nullptr;
    }

    V* removeFrom(vnDictList<K, V>& bucket, Entry* entry)
    {
        if (!entry)
            return nullptr;
        bucket.remove(entry);
        V* value = entry->m_value;
        drop(entry);
        return value;
    }

    // Of an entry that has left its bucket. The entry goes back behind the hook, also behind one that throws.
    void drop(Entry* entry)
    {
        struct GiveBack
        {
            ~GiveBack()
            {
                pool.give(entry);
                pool.trim();
            }
            vnDictPool<K, V>& pool;
            Entry* entry;
        };
        if (entry == m_last)
            m_last = nullptr;
        --m_count;
        GiveBack back{m_pool, entry};
        onRemoveItem(entry->m_value);
    }

    void destroyAll() noexcept
    {
        for (unsigned int i = 0; m_count > 0 && i < m_hashSize; ++i)
            for (Entry* entry = m_buckets[i].m_head; entry; --m_count)
                std::exchange(entry, entry->m_next)->~Entry();
        vnBlock<vnDictList<K, V>>::destroy(m_buckets, m_hashSize);
    }

    unsigned int m_hashSize = 0;
    unsigned int m_count = 0;
    vnUInt64 m_inverse = 0;                // 2^64 / m_hashSize, rounded up
    Entry* m_last = nullptr;               // found or entered last; the first of its key
    vnDictList<K, V>* m_buckets = nullptr; // created for the first entry
    vnDictPool<K, V> m_pool;
    unsigned char m_autoGrow = 1;
    unsigned char m_stopLastFound = 0;
};

/// Walks a dictionary. It may also remove the entry that it stands on.
template <class K, class V>
class vnDict<K, V>::Iterator
{
public:
    /// Stands behind the last entry of any dictionary.
    Iterator() noexcept = default;

    explicit Iterator(vnDict& dict) noexcept : m_dict(&dict), m_left(dict.m_count)
    {
        if (m_left == 0)
            return;
        m_bucket = dict.m_buckets;
        m_end = dict.m_buckets + dict.m_hashSize;
        m_link = &m_bucket->m_head;
        settle();
    }

    bool isValid() const noexcept { return m_left != 0; }
    explicit operator bool() const noexcept { return isValid(); }

    /// The entry and its parts; only while the iterator is valid.
    Entry& operator*() const noexcept { return **m_link; }
    const K& getKey() const noexcept { return (*m_link)->m_key; }
    V* getValue() const noexcept { return (*m_link)->m_value; }
    unsigned int getHash() const noexcept { return (*m_link)->m_hash; }

    Iterator& operator++() noexcept
    {
        m_link = &(*m_link)->m_next;
        --m_left;
        settle();
        return *this;
    }

    /// Removes the entry and stands on the next one. Returns the value.
    V* remove()
    {
        Entry* entry = *m_link;
        V* value = entry->m_value;
        *m_link = entry->m_next;
        --m_left;
        settle();
        m_dict->drop(entry);
        return value;
    }

    /// Only whether both are at the end matters to a loop.
    bool operator==(const Iterator& other) const noexcept { return m_left == other.m_left; }
    bool operator!=(const Iterator& other) const noexcept { return m_left != other.m_left; }

private:
    // How many buckets ahead of the walk the heads are fetched into the cache.
    static constexpr std::ptrdiff_t VN_AHEAD = 8;

    void settle() noexcept
    {
        if (m_left == 0)
            return;
        while (!*m_link)
        {
            ++m_bucket;
            m_link = &m_bucket->m_head;
            if (m_end - m_bucket > VN_AHEAD)
                __builtin_prefetch(m_bucket[VN_AHEAD].m_head);
        }
    }

    vnDict* m_dict = nullptr;
    vnDictList<K, V>* m_bucket = nullptr;
    vnDictList<K, V>* m_end = nullptr;
    Entry** m_link = nullptr; // where the current entry hangs
    unsigned int m_left = 0;
};
