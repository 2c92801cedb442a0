// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>
#include <vnBase/vnThreadID.h>

#include <atomic>

/// A lock shared by all holders that present the same value. It is free while nobody holds it; the first
/// holder's value decides who else may join, up to a maximum number of holds.
///
/// Waiters poll each 100 milliseconds (10 in `tryLock`) and are woken at once when the last hold goes, so a
/// missed wake-up delays but never hangs one. There is no fairness.
///
/// Thread-safety: all operations, on any thread. A hold may be given back by another thread than took it. For
/// `vnThread::kill` the taker goes on counting as a holder, so that its end is put off as long as possible;
/// the other thread counts one hold of its own less, so that it may be ended while it still has that.
class VN_BASE_API vnSemaphore
{
public:
    /// `maxLockCount` 0 means no maximum but that of the count itself, 2^31 - 1; a larger `lockCount` is cut
    /// to that.
    explicit vnSemaphore(unsigned int ownerValue = 0, unsigned int lockCount = 0,
                         unsigned int maxLockCount = 0);

    /// Takes over value, count and maximum.
    vnSemaphore(const vnSemaphore& other);
    vnSemaphore& operator=(const vnSemaphore&) = delete;
    virtual ~vnSemaphore() noexcept(false);

    /// Waits until it holds the lock with `value`, and returns 1.
    unsigned char waitLock(unsigned int value) const
    {
        if (!attempt(value))
            waitLockSlow(value);
        return 1;
    }

    /// One attempt, then one more after each of `milliseconds` / 10 sleeps of 10 milliseconds.
    unsigned char tryLock(unsigned int value, unsigned int milliseconds) const;

    /// Gives one hold back; a count of 0 stays. The last one clears the value and wakes all waiters.
    void unLock() const;

    /// The value of the holders; 0 while the lock is free.
    unsigned int getOwnerValue() const noexcept { return owner(m_state.load(std::memory_order_acquire)); }

    /// The holds.
    unsigned int getSpinLockCount() const noexcept { return count(m_state.load(std::memory_order_acquire)); }

    /// Returns the old maximum. Holds beyond a lowered one stay.
    unsigned int setMaxLockCount(unsigned int maxLockCount);

private:
    static constexpr vnUInt64 VN_SEMAPHORE_WAITERS = 0x80000000u;
    static constexpr unsigned int VN_SEMAPHORE_COUNT = 0x7FFFFFFFu;

    static unsigned int owner(vnUInt64 state) noexcept { return static_cast<unsigned int>(state >> 32); }
    static unsigned int count(vnUInt64 state) noexcept
    {
        return static_cast<unsigned int>(state) & VN_SEMAPHORE_COUNT;
    }
    static vnUInt64 pack(unsigned int ownerValue, unsigned int lockCount) noexcept
    {
        return static_cast<vnUInt64>(ownerValue) << 32 | lockCount;
    }

    bool isAvailable(vnUInt64 state, unsigned int value) const noexcept
    {
        const unsigned int maxLockCount = m_maxLockCount.load(std::memory_order_relaxed);
        return (count(state) == 0 || owner(state) == value) &&
               (maxLockCount == 0 || count(state) < maxLockCount) && count(state) < VN_SEMAPHORE_COUNT;
    }
    const void* countAddress() const noexcept;
    bool attempt(unsigned int value) const noexcept;
    void waitLockSlow(unsigned int value) const;
    void sleep(unsigned int value, unsigned int milliseconds) const;
    void wakeAll() const;

    // Owner value above, lock count below, and between them the bit that tells that others may sleep; all
    // changed together.
    mutable std::atomic<vnUInt64> m_state;
    std::atomic<unsigned int> m_maxLockCount;
};

inline bool vnSemaphore::attempt(unsigned int value) const noexcept
{
    // The hold is counted before it can be there, so that no thread is ended between the two.
    vnThreadState& self = vnThisThread;
    self.shared = self.shared + 1;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    vnUInt64 state = m_state.load(std::memory_order_relaxed);
    while (isAvailable(state, value))
    {
        const vnUInt64 taken = pack(value, count(state) + 1) | (state & VN_SEMAPHORE_WAITERS);
        if (m_state.compare_exchange_weak(state, taken, std::memory_order_acquire, std::memory_order_relaxed))
            return true;
    }
    std::atomic_signal_fence(std::memory_order_seq_cst);
    self.shared = self.shared - 1;
    return false;
}

inline void vnSemaphore::unLock() const
{
    vnUInt64 state = m_state.load(std::memory_order_relaxed);
    vnUInt64 left;
    do
        left = count(state) > 1 ? state - 1 : 0;
    while (!m_state.compare_exchange_weak(state, left, std::memory_order_release, std::memory_order_relaxed));
    if (left == 0 && (state & VN_SEMAPHORE_WAITERS))
        wakeAll();
    // A hold may be given back by another thread than took it: neither count goes below 0.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (count(state) > 0 && vnThisThread.shared > 0)
        vnThisThread.shared = vnThisThread.shared - 1;
}

/// Many readers, or many shared writers, or one exclusive writer. The writer may lock again, also for
/// reading; each lock is given back by one `unLock()`. A reader that asks for a write lock waits for itself:
/// give the read lock back first. A stream of readers can starve a writer.
class VN_BASE_API vnReadWriteMutex : public vnSemaphore
{
public:
    vnReadWriteMutex() : vnSemaphore() {}

    void waitLockRead() const { waitLock(readValue()); }
    void waitLockSharedWrite() const { waitLock(VN_SHARED_WRITERS); }
    void waitLockWrite() const { waitLock(vnCurrentThreadID()); }

    /// The try forms wait at most 10 milliseconds.
    unsigned char tryLockRead() const { return tryLock(readValue(), VN_TRY_MILLISECONDS); }
    unsigned char tryLockSharedWrite() const { return tryLock(VN_SHARED_WRITERS, VN_TRY_MILLISECONDS); }
    unsigned char tryLockWrite() const { return tryLock(vnCurrentThreadID(), VN_TRY_MILLISECONDS); }

private:
    // Thread ids are the values of exclusive writers; they are never 0 or 1.
    static constexpr unsigned int VN_READERS = 0;
    static constexpr unsigned int VN_SHARED_WRITERS = 1;
    static constexpr unsigned int VN_TRY_MILLISECONDS = 10;

    // An exclusive writer reads under its own value. Only the thread itself can make the value its id.
    unsigned int readValue() const noexcept
    {
        const unsigned int self = vnCurrentThreadID();
        return getOwnerValue() == self ? self : VN_READERS;
    }
};

/// Hold a `vnReadWriteMutex` for a scope.
class VN_BASE_API vnBodyReadGuard
{
public:
    explicit vnBodyReadGuard(const vnReadWriteMutex& mutex) : m_mutex(&mutex) { m_mutex->waitLockRead(); }
    virtual ~vnBodyReadGuard() { m_mutex->unLock(); }

private:
    vnBodyReadGuard(const vnBodyReadGuard&);
    vnBodyReadGuard& operator=(const vnBodyReadGuard&);

    const vnReadWriteMutex* m_mutex;
};

class VN_BASE_API vnBodyWriteGuard
{
public:
    explicit vnBodyWriteGuard(const vnReadWriteMutex& mutex) : m_mutex(&mutex) { m_mutex->waitLockWrite(); }
    virtual ~vnBodyWriteGuard() { m_mutex->unLock(); }

private:
    vnBodyWriteGuard(const vnBodyWriteGuard&);
    vnBodyWriteGuard& operator=(const vnBodyWriteGuard&);

    const vnReadWriteMutex* m_mutex;
};

class VN_BASE_API vnBodySharedWriteGuard
{
public:
    explicit vnBodySharedWriteGuard(const vnReadWriteMutex& mutex) : m_mutex(&mutex)
    {
        m_mutex->waitLockSharedWrite();
    }
    virtual ~vnBodySharedWriteGuard() { m_mutex->unLock(); }

private:
    vnBodySharedWriteGuard(const vnBodySharedWriteGuard&);
    vnBodySharedWriteGuard& operator=(const vnBodySharedWriteGuard&);

    const vnReadWriteMutex* m_mutex;
};
