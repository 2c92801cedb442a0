// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefList.h>

#include <atomic>
#include <new>

/// Borrows a value of type `T` from a pool of used ones for a scope, so that hot code finds its scratch with
/// its memory already grown. A derived class says how a value is prepared:
///
///     class vnScratch : public vnRecycleData_vnBase<vnDynamicArray<unsigned char>>
///     {
///         void onNewItem(vnDynamicArray<unsigned char>& bytes) const override { bytes.setChunkSize(1000); }
///         void onInitItem(vnDynamicArray<unsigned char>& bytes) const override { bytes.setSize(0); }
///     };
///
/// The hooks run at the first access, not at construction: `onNewItem` for a value that was just made, then
/// `onInitItem` for each one. A hook that throws runs again at the next access. A new value that was never
/// accessed, or whose `onNewItem` threw, is not pooled. All classes that borrow one `T` share one pool, which
/// lives until the statics are destroyed or the cleanup references are let go; borrowing works later as well,
/// without a pool.
///
/// Thread-safety: a borrower belongs to one thread at a time; any threads may borrow.
template <class T>
class vnRecycleData_vnBase
{
public:
    vnRecycleData_vnBase() : m_flags(VN_PENDING)
    {
        Pool& shared = pool();
        if (!shared.lock.isValidMemory())
        {
            makeItem();
            return;
        }
        openOnce(shared);
        m_item = takeHead(shared);
        if (!m_item.get())
            makeItem();
    }
    virtual ~vnRecycleData_vnBase() noexcept(false)
    {
        Pool& shared = pool();
        if (!shared.lock.isValidMemory())
            return;
        vnBodyGuard guard(shared.lock);
        if (!(m_flags & VN_NEW) && shared.isEnabled && shared.free.getCount() < shared.limit)
            giveBack(shared);
    }
    vnRecycleData_vnBase(const vnRecycleData_vnBase&) = delete;
    vnRecycleData_vnBase& operator=(const vnRecycleData_vnBase&) = delete;

    /// Prepares a value that was just made.
    virtual void onNewItem(T&) const {}

    /// Prepares a value for this borrower.
    virtual void onInitItem(T&) const {}

    /// The value; each of these prepares it when it is the first access.
    T& getData() const
    {
        if (m_flags & VN_PENDING)
            prepare();
        return m_item->getData();
    }
    operator T&() const { return getData(); }
    T& operator*() const { return getData(); }
    T* operator->() const { return &getData(); }

    /// The limit of values that wait in the pool of `T`; none at the start.
    static void setPoolLimit(unsigned int limit)
    {
        Pool& shared = pool();
        if (!shared.lock.isValidMemory())
            return;
        vnBodyGuard guard(shared.lock);
        shared.limit = limit;
    }

    /// Frees the values that wait in the pool of `T`.
    static void emptyPool()
    {
        Pool& shared = pool();
        if (shared.lock.isValidMemory())
            dropItems(shared);
    }

private:
    enum Flags : unsigned char
    {
        VN_PENDING = 1, // not accessed yet
        VN_NEW = 2      // made by this borrower, and not accessed yet
    };

    // Values are made and destroyed outside of the pool's lock: what they do then, such as taking the lock of
    // the cleanup references, under which a pass takes the pool's, is theirs.
    struct Pool
    {
        Pool() { free.setReuseNodes(1); }

        std::atomic<bool> isOpened{false};
        vnMemCheck<vnMutex> lock; // guards the fields up to the list
        unsigned char isEnabled = 1;
        unsigned int limit = 0xFFFFFFFFu;
        vnRefList<vnRefData<T>> free;
        // Behind what it empties, so that it is destroyed first.
        vnCleanupReference cleanup{nullptr, 0};
    };

    // Ends the pool: of its own when the statics are destroyed, or earlier through the cleanup references.
    class vnRecycleCleanup : public vnReference
    {
    public:
        explicit vnRecycleCleanup(Pool& pool) noexcept : m_pool(pool) {}
        ~vnRecycleCleanup() noexcept(false) override
        {
            if (!m_pool.lock.isValidMemory())
                return;
            disable();
            dropItems(m_pool);
        }

    private:
        void disable()
        {
            vnBodyGuard guard(m_pool.lock);
            m_pool.isEnabled = 0;
        }

        Pool& m_pool;
    };

    static Pool& pool()
    {
        static Pool shared;
        return shared;
    }

    // Outside of the pool's lock, since a pass over the cleanup references takes that under its own.
    static void openOnce(Pool& shared)
    {
        if (shared.isOpened.load(std::memory_order_relaxed) || shared.isOpened.exchange(true))
            return;
        try
        {
            shared.cleanup = new vnRecycleCleanup(shared);
        }
        catch (...)
        {
            reopen(shared);
            throw;
        }
    }

    // The object that found no place among the cleanup references has ended the pool.
    static void reopen(Pool& shared)
    {
        vnBodyGuard guard(shared.lock);
        shared.isEnabled = 1;
        shared.isOpened = false;
    }

    // Null when nothing waits there.
    static vnRefPointer<vnRefData<T>> takeHead(Pool& shared)
    {
        vnBodyGuard guard(shared.lock);
        vnRefPointer<vnRefData<T>> item(shared.free.getHead());
        shared.free.removeHead();
        return item;
    }

    // As many as wait at the start: what others return meanwhile is theirs.
    static void dropItems(Pool& shared)
    {
        for (unsigned int left = countItems(shared); left > 0; --left)
            takeHead(shared);
    }
    static unsigned int countItems(Pool& shared)
    {
        vnBodyGuard guard(shared.lock);
        return shared.free.getCount();
    }

    void makeItem()
    {
        m_item = new vnRefData<T>;
        m_flags |= VN_NEW;
    }

    // A value for whose place there is no memory is simply not kept. One that is kept is let go of here,
    // since the next borrower may count on it as soon as the lock is free.
    void giveBack(Pool& shared)
    {
        try
        {
            shared.free.insertHead(m_item.get());
            m_item = nullptr;
        }
        catch (const std::bad_alloc&)
        {
        }
    }

    // Cleared first, since a hook may access the value through here. What a hook did not finish, because it
    // threw, is still to be done.
    void prepare() const
    {
        struct Pending
        {
            ~Pending() { flags = left; }
            unsigned char& flags;
            unsigned char left;
        };

        Pending pending{m_flags, m_flags};
        m_flags = 0;
        if (pending.left & VN_NEW)
            onNewItem(m_item->getData());
        pending.left = VN_PENDING;
        onInitItem(m_item->getData());
        pending.left = 0;
    }

    vnRefPointer<vnRefData<T>> m_item;
    mutable unsigned char m_flags;
};

/// Scratch bytes that grow by 1000 and begin empty.
class vnCacheData : public vnReference, public vnRecycleData_vnBase<vnDynamicArray<unsigned char>>
{
public:
    void onNewItem(vnDynamicArray<unsigned char>& bytes) const override { bytes.setChunkSize(1000); }
    void onInitItem(vnDynamicArray<unsigned char>& bytes) const override { bytes.setSize(0); }
};
