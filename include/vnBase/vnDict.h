// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBlock.h>
#include <vnBase/vnCompareInterface.h>
#include <vnBase/vnDictEntry.h>
#include <vnBase/vnDictIndex.h>
#include <vnBase/vnMutex.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <utility>

/// Taken while a dictionary puts its entries in order for a walk.
VN_BASE_API vnMutex& vnDictOrderLock();

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
/// throws `std::bad_alloc` and leaves the dictionary as it was; an assignment leaves it empty.
///
/// A large dictionary, or one whose hashes are poor, keeps a table of a second hash beside its buckets, and
/// puts new entries into their order when it is next walked. The keys of removed entries may live on until
/// then, or until half of the new ones were removed.
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
        bool isEqual = false;
        try
        {
            prepareForOneMore();
            isEqual = place(entry);
        }
        catch (...)
        {
            m_pool.give(entry);
            throw;
        }
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
        Entry* entry = findEntry(key, hash);
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
        Entry* entry = findEntry(key, hash);
        return entry ? entry->m_value : nullptr;
    }

    /// 1 when there is an entry of `key`, whatever its value.
    unsigned char contains(const K& key) const
    {
        if (m_count == 0)
            return 0;
        return findEntry(key, key.hash()) != nullptr;
    }

    /// Removes the first entry of `key` and returns its value; null when there is none. Of a `vnRefDict` what
    /// is returned, here and below, may be deleted already: hold the value before.
    V* remove(const K& key)
    {
        if (m_count == 0)
            return nullptr;
        return removeEntry(findEntry(key, key.hash()));
    }

    /// Removes the first entry of `key` with this value and returns the value; null when there is none.
    V* remove(const K& key, V* value)
    {
        if (m_count == 0)
            return nullptr;
        return removeEntry(
            findEntry(key, key.hash(), [value](const Entry& entry) { return entry.m_value == value; }));
    }

    /// Removes all entries; the hash size stays. When hooks throw, all are removed and the first exception
    /// goes on.
    void clear()
    {
        m_last = nullptr;
        order();
        m_index.close(); // hooks that look keys up walk the buckets, which hold all of them
        std::exception_ptr failure;
        for (unsigned int i = 0; m_count > 0 && i < m_hashSize; ++i)
            while (Entry* entry = m_buckets[i].m_head)
                try
                {
                    m_buckets[i].m_head = entry->m_next;
                    removeFromIndex(entry); // a hook that enters a key may open it anew
                    drop(entry);
                }
                catch (...)
                {
                    if (!failure)
                        failure = std::current_exception();
                }
        if (failure)
            std::rethrow_exception(std::move(failure));
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
        other.orderForReader();
        try
        {
            createBuckets();
            for (unsigned int i = 0; i < m_hashSize; ++i)
                copyBucket(other.m_buckets[i], m_buckets[i]);
            m_wantsIndex = other.m_index.isOpen();
            if (m_wantsIndex)
                openIndex();
        }
        catch (...)
        {
            clear();
            throw;
        }
    }

private:
    // From this count on, or once a bucket is this long, look-ups go through the index, and new entries wait
    // until their order matters.
    static constexpr unsigned int VN_INDEX_FROM = 16384;
    static constexpr unsigned int VN_LONG_BUCKET = 16;

    // How many waiting entries are worth sorting.
    static constexpr unsigned int VN_SORT_FROM = 32;

    // Entries that stand in no bucket yet, in the order of insertion. The dead among them are still
    // constructed.
    struct Waiting
    {
        void append(Entry* entry) noexcept
        {
            entry->m_next = nullptr;
            entry->m_isWaiting = 1;
            (last ? last->m_next : first) = entry;
            last = entry;
            ++count;
        }
        void append(const Waiting& other) noexcept
        {
            if (!other.first)
                return;
            (last ? last->m_next : first) = other.first;
            last = other.last;
            count += other.count;
            dead += other.dead;
        }

        Entry* first = nullptr;
        Entry* last = nullptr;
        unsigned int count = 0;
        unsigned int dead = 0;
    };

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
        if (m_index.isOpen())
            m_index.reserveOne();
        else if (m_wantsIndex || m_count >= VN_INDEX_FROM)
            openIndex();
    }

    void openIndex()
    {
        m_pool.openDirectory();
        m_index.open(m_count + 1);
        try
        {
            for (unsigned int i = 0; i < m_hashSize; ++i)
                for (Entry* entry = m_buckets[i].m_head; entry; entry = entry->m_next)
                    m_index.insert(m_index.markOf(entry->m_key, entry->m_hash), entry->m_number);
        }
        catch (...)
        {
            m_index.close();
            throw;
        }
    }

    // Puts an entry where look-ups find it, and answers whether one of an equal hash may have been there.
    // What it throws leaves the entry where it was.
    bool place(Entry* entry)
    {
        if (!m_index.isOpen())
        {
            unsigned int passed = 0;
            const bool isEqual = bucketOf(entry->m_hash).insert(entry, passed);
            m_wantsIndex = m_wantsIndex || passed >= VN_LONG_BUCKET;
            return isEqual;
        }
        const bool isEqual = m_index.insert(m_index.markOf(entry->m_key, entry->m_hash), entry->m_number);
        m_waiting.append(entry);
        m_isOrdered.store(false, std::memory_order_relaxed);
        return isEqual;
    }

    // The first entry of `key` that `accept` takes; null when there is none.
    template <class Accept>
    Entry* findEntry(const K& key, unsigned int hash, Accept accept) const
    {
        if (!m_index.isOpen())
            return bucketOf(hash).find(key, hash, accept);
        Entry* found = nullptr;
        m_index.find(m_index.markOf(key, hash),
                     [&](unsigned int number)
                     {
                         Entry* entry = m_pool.at(number);
                         if (entry->m_hash != hash || !(entry->m_key == key) || !accept(*entry))
                             return false;
                         found = entry;
                         return true;
                     });
        return found;
    }
    Entry* findEntry(const K& key, unsigned int hash) const
    {
        return findEntry(key, hash, [](const Entry&) { return true; });
    }

    // Moves the waiting entries to their buckets. Those of one hash go behind the ones that are there.
    void order() noexcept
    {
        dropDead();
        if (m_waiting.count < VN_SORT_FROM || !orderBySorting())
            for (Entry* entry = m_waiting.first; entry;)
            {
                Entry* next = entry->m_next;
                entry->m_isWaiting = 0;
                bucketOf(entry->m_hash).insert(entry);
                entry = next;
            }
        m_waiting = Waiting();
        m_isOrdered.store(true, std::memory_order_release);
    }

    // Gives the dead among the waiting entries back.
    void dropDead() noexcept
    {
        if (m_waiting.dead == 0)
            return;
        Waiting alive;
        for (Entry* entry = m_waiting.first; entry;)
        {
            Entry* next = entry->m_next;
            if (entry->m_isDead)
                m_pool.give(entry);
            else
                alive.append(entry);
            entry = next;
        }
        m_waiting = alive;
    }

    // The same for threads that only read, several of which may begin to walk at once.
    void orderForReader() const noexcept
    {
        if (m_isOrdered.load(std::memory_order_acquire))
            return;
        const vnBodyGuard guard(vnDictOrderLock());
        if (!m_isOrdered.load(std::memory_order_relaxed))
            const_cast<vnDict*>(this)->order();
    }

    // In one pass over the buckets in their order, which spares a cache miss per entry and the walk along
    // long buckets. False when there is no memory for it.
    bool orderBySorting() noexcept
    {
        struct Place
        {
            vnUInt64 slotAndHash;
            Entry* entry;
        };
        const vnUInt64 bytes = static_cast<vnUInt64>(m_waiting.count) * sizeof(Place);
        auto* places =
            bytes < ~0u ? static_cast<Place*>(vn_malloc(static_cast<unsigned int>(bytes))) : nullptr;
        if (!places)
            return false;
        Place* end = places;
        for (Entry* entry = m_waiting.first; entry; entry = entry->m_next)
            *end++ = {static_cast<vnUInt64>(slotOf(entry->m_hash)) << 32 | entry->m_hash, entry};
        std::stable_sort(places, end,
                         [](const Place& a, const Place& b) { return a.slotAndHash < b.slotAndHash; });
        unsigned int slot = 0;
        Entry** link = &m_buckets[0].m_head;
        for (const Place* place = places; place != end; ++place)
        {
            const auto placeSlot = static_cast<unsigned int>(place->slotAndHash >> 32);
            if (placeSlot != slot)
            {
                slot = placeSlot;
                link = &m_buckets[slot].m_head;
            }
            while (*link && (*link)->m_hash <= place->entry->m_hash)
                link = &(*link)->m_next;
            place->entry->m_isWaiting = 0;
            place->entry->m_next = *link;
            *link = place->entry;
            link = &place->entry->m_next;
        }
        vn_free(places);
        return true;
    }

    void rehash(unsigned int hashSize)
    {
        vnDictList<K, V>* buckets = vnBlock<vnDictList<K, V>>::create(hashSize);
        vnDictList<K, V>* old = std::exchange(m_buckets, buckets);
        const unsigned int oldSize = m_hashSize;
        assignHashSize(hashSize);
        Waiting older;
        for (unsigned int i = 0; i < oldSize; ++i)
            for (Entry* entry = old[i].m_head; entry;)
            {
                Entry* next = entry->m_next;
                if (m_index.isOpen())
                    older.append(entry);
                else
                    bucketOf(entry->m_hash).insert(entry);
                entry = next;
            }
        vnBlock<vnDictList<K, V>>::destroy(old, oldSize);
        if (!older.first)
            return;
        older.append(m_waiting);
        m_waiting = older;
        m_isOrdered.store(false, std::memory_order_relaxed);
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
            if (entry == m_last) // the hook looked it up
                m_last = nullptr;
            unlink(entry);
            giveBack(entry);
            throw;
        }
    }

    V* valueAfter(const K& key, const V* occurrence) const
    {
        bool found = false;
        Entry* entry = findEntry(key, key.hash(),
                                 [&](const Entry& candidate)
                                 {
                                     const bool isBehind = found;
                                     found = found || candidate.m_value == occurrence;
                                     return isBehind;
                                 });
        return entry ? entry->m_value : nullptr;
    }

    void removeFromIndex(Entry* entry) noexcept
    {
        if (m_index.isOpen())
            m_index.remove(m_index.markOf(entry->m_key, entry->m_hash), entry->m_number);
    }

    // An entry that waits stays where it is, as a dead one.
    void unlink(Entry* entry) noexcept
    {
        removeFromIndex(entry);
        if (!entry->m_isWaiting)
            bucketOf(entry->m_hash).remove(entry);
    }

    V* removeEntry(Entry* entry)
    {
        if (!entry)
            return nullptr;
        // A spare entry is there at once.
        if (entry->m_isWaiting && m_pool.getReuse())
            order();
        unlink(entry);
        V* value = entry->m_value;
        drop(entry);
        return value;
    }

    // Gives an entry back that look-ups don't find any more.
    void giveBack(Entry* entry) noexcept
    {
        if (!entry->m_isWaiting)
        {
            m_pool.give(entry);
            return;
        }
        entry->m_isDead = 1;
        ++m_waiting.dead;
        if (m_waiting.dead > m_waiting.count / 2)
            dropDead();
    }

    // Of an entry that was unlinked. The entry goes back behind the hook, also behind one that throws; one
    // that waits does so before it, since a hook that walks the dictionary puts the waiting ones in order.
    void drop(Entry* entry)
    {
        struct GiveBack
        {
            ~GiveBack()
            {
                if (entry)
                    dict.giveBack(entry);
                dict.m_pool.trim();
            }
            vnDict& dict;
            Entry* entry;
        };
        if (entry == m_last)
            m_last = nullptr;
        V* const value = entry->m_value;
        if (entry->m_isWaiting)
            giveBack(std::exchange(entry, nullptr));
        if (--m_count == 0)
        {
            if (m_waiting.first) // one whose insertion hook removes the last of the others
                order();
            m_index.close();
            m_wantsIndex = 0;
        }
        const GiveBack back{*this, entry};
        onRemoveItem(value);
    }

    void destroyAll() noexcept
    {
        for (unsigned int i = 0; m_buckets && i < m_hashSize; ++i)
            for (Entry* entry = m_buckets[i].m_head; entry;)
                std::exchange(entry, entry->m_next)->~Entry();
        for (Entry* entry = m_waiting.first; entry;)
            std::exchange(entry, entry->m_next)->~Entry();
        vnBlock<vnDictList<K, V>>::destroy(m_buckets, m_hashSize);
    }

    unsigned int m_hashSize = 0;
    unsigned int m_count = 0;
    vnUInt64 m_inverse = 0;                // 2^64 / m_hashSize, rounded up
    Entry* m_last = nullptr;               // found or entered last; the first of its key
    vnDictList<K, V>* m_buckets = nullptr; // created for the first entry
    vnDictPool<K, V> m_pool;
    vnDictIndex<K> m_index;              // of all entries, once they are many
    Waiting m_waiting;                   // with the index only
    std::atomic<bool> m_isOrdered{true}; // nothing waits
    unsigned char m_wantsIndex = 0;
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
        dict.orderForReader();
        m_bucket = dict.m_buckets;
        m_end = dict.m_buckets + dict.m_hashSize;
        m_link = &m_bucket->m_head;
        settle();
    }

    bool isValid() const noexcept { return m_left != 0; }
    explicit operator bool() const noexcept { return isValid(); }

    /// The entry and its parts; only while the iterator is valid.
    Entry& operator*() const noexcept
    {
        Entry* const entry = *m_link;
        if (!entry)
            __builtin_unreachable(); // analysers don't see that an iterator without entry isn't valid
        return *entry;
    }
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
        m_dict->removeFromIndex(entry);
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
            if (++m_bucket == m_end)
            {
                m_left = 0; // entries were removed past this iterator
                return;
            }
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
