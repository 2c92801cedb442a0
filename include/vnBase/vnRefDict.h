// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDict.h>
#include <vnBase/vnRefPointer.h>

/// A `vnDict` that holds a reference on each of its values.
///
/// A copy of the dictionary clones the values whose `useDeepCopy()` answers 1 and shares the others. A
/// removed value that nobody else holds is gone when the removal returns its address, unless
/// `setKeepLast(1)` keeps the value removed last alive until the next removal or `clear()`.
///
/// Thread-safety: none.
template <class K, class V>
class vnRefDict : public vnDict<K, V>
{
public:
    using Entry = vnDictEntry<K, V>;

    explicit vnRefDict(unsigned int hashSize = vnDict<K, V>::VN_DEFAULT_HASH_SIZE) noexcept
        : vnDict<K, V>(hashSize)
    {
    }
    vnRefDict(const vnRefDict& other) : vnDict<K, V>(other.getHashSize()), m_keepLast(other.m_keepLast)
    {
        this->copyEntries(other);
    }
    vnRefDict& operator=(const vnRefDict& other)
    {
        if (this == &other)
            return *this;
        andLetGo([&] { vnDict<K, V>::operator=(other); });
        m_keepLast = other.m_keepLast;
        return *this;
    }
    ~vnRefDict() noexcept(false) override { vnRefDict::clear(); }

    void onInsertItem(V* value) override
    {
        if (value)
            value->ref();
    }
    void onRemoveItem(V* value) override
    {
        // The end of the one held before may throw; the reference of the container goes all the same.
        try
        {
            if (m_keepLast)
                m_held = value;
        }
        catch (...)
        {
            if (value)
                value->unref();
            throw;
        }
        if (value)
            value->unref();
    }
    Entry* copyEntry(Entry* entry) override
    {
        Entry* copy = vnDict<K, V>::copyEntry(entry);
        V* value = entry->getValue();
        if (!value)
            return copy;
        try
        {
            if (value->useDeepCopy())
                copy->setValue(vnReference::cloneOf(*value));
        }
        catch (...)
        {
            this->dropEntry(copy);
            throw;
        }
        return copy;
    }

    /// Hands the mode on to every value.
    virtual void setCopyMode(const vnCopyMode& mode)
    {
        for (const Entry& entry : *this)
            if (entry.getValue())
                entry.getValue()->setCopyMode(mode);
    }

    /// Removes all entries and lets go of the held value.
    virtual void clear()
    {
        andLetGo([this] { vnDict<K, V>::clear(); });
    }

    void setKeepLast(unsigned char enable) noexcept { m_keepLast = enable; }
    unsigned char getKeepLast() const noexcept { return m_keepLast; }

    /// The value removed last while keep-last was on; null when there is none.
    V* getHeldItem() const noexcept { return m_held.get(); }

private:
    // Lets go of the held value behind `action`, also when that throws.
    template <class Action>
    void andLetGo(Action action)
    {
        try
        {
            action();
        }
        catch (...)
        {
            m_held = nullptr;
            throw;
        }
        m_held = nullptr;
    }

    vnRefPointer<V> m_held;
    unsigned char m_keepLast = 0;
};
