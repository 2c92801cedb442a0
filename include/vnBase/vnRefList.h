// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnList.h>
#include <vnBase/vnRefPointer.h>

/// A `vnList` that holds a reference on each of its items.
///
/// A copy of the list clones the items whose `useDeepCopy()` answers 1 and shares the others. A removed item
/// that nobody else holds is gone when the removal returns its address, unless `setKeepLast(1)` keeps the
/// item removed last alive until the next removal or `clear()`.
///
/// Thread-safety: none.
template <class T>
class vnRefList : public vnList<T>
{
public:
    vnRefList() noexcept = default;
    vnRefList(const vnRefList& other) : vnList<T>(), m_keepLast(other.m_keepLast) { this->copyItems(other); }
    vnRefList& operator=(const vnRefList& other)
    {
        vnList<T>::operator=(other);
        m_keepLast = other.m_keepLast;
        return *this;
    }
    ~vnRefList() noexcept(false) override { vnRefList::clear(); }

    void clear() override
    {
        try
        {
            vnList<T>::clear();
        }
        catch (...)
        {
            m_held = nullptr;
            throw;
        }
        m_held = nullptr;
    }

    /// As `clear()`: letting go is what destroys a shared item, and those held elsewhere must live on.
    void clearAndDestroy() override { clear(); }

    void onInsertItem(T* item) override
    {
        if (item)
            item->ref();
    }
    void onRemoveItem(T* item) override
    {
        // The end of the one held before may throw; the reference of the container goes all the same.
        try
        {
            if (m_keepLast)
                m_held = item;
        }
        catch (...)
        {
            if (item)
                item->unref();
            throw;
        }
        if (item)
            item->unref();
    }
    T* cloneItem(T* item) override
    {
        return item && item->useDeepCopy() ? vnReference::cloneOf(*item) : item;
    }

    /// Hands the mode on to every item.
    virtual void setCopyMode(const vnCopyMode& mode)
    {
        for (T* item : *this)
            if (item)
                item->setCopyMode(mode);
    }

    void setKeepLast(unsigned char enable) noexcept { m_keepLast = enable; }
    unsigned char getKeepLast() const noexcept { return m_keepLast; }

    /// The item removed last while keep-last was on; null when there is none.
    T* getHeldItem() const noexcept { return m_held.get(); }

private:
    vnRefPointer<T> m_held;
    unsigned char m_keepLast = 0;
};
