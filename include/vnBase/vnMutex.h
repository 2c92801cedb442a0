// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnThreadID.h>

#include <atomic>

/// A recursive lock. A thread that holds it may take it again; each `waitLock()` or successful `tryLock()` is
/// undone by one `unLock()`.
///
///     vnMutex m_mutex;
///     ...
///     vnBodyGuard guard(m_mutex);
///
/// The lock is one 32-bit word that holds the owner's thread id, changed by a single atomic instruction when
/// no other thread wants it; a thread that has to wait sleeps in the kernel. There is no fairness. A lock
/// that is destroyed while it is held is reported as a Warning and not repaired.
///
/// Thread-safety: all operations, on any thread. The operations are const, since a lock guards const objects
/// too.
class VN_BASE_API vnMutex
{
public:
    /// With `trackOwner` 0, `getOwnerThreadID()` always answers 0.
    explicit constexpr vnMutex(unsigned char trackOwner = 1) noexcept : m_trackOwner(trackOwner) {}

    /// A new, unlocked mutex that tracks its owner like `other`; the lock itself is never shared or copied.
    vnMutex(const vnMutex& other) noexcept : m_trackOwner(other.m_trackOwner) {}

    /// Takes over whether the owner is tracked, nothing else.
    vnMutex& operator=(const vnMutex& other) noexcept
    {
        m_trackOwner = other.m_trackOwner;
        return *this;
    }

    virtual ~vnMutex() noexcept(false);

    /// Takes the lock, waiting as long as another thread holds it.
    void waitLock() const;

    /// Gives one hold back. Does nothing on a mutex that the calling thread does not hold, so a stray unlock
    /// is harmless.
    void unLock() const;

    /// Takes the lock when no other thread holds it and answers 1; answers 0 at once otherwise.
    unsigned char tryLock() const;

    /// 1 while any thread, also the calling one, holds the lock.
    unsigned char isLocked() const noexcept { return m_word.load(std::memory_order_relaxed) != 0; }

    /// The id of the thread that holds the lock; 0 when it is free or the owner is not tracked.
    unsigned int getOwnerThreadID() const noexcept { return m_trackOwner ? holder() : 0; }

    /// How many times the owner holds the lock.
    unsigned int getSpinLockCount() const noexcept { return m_lockCount.load(std::memory_order_relaxed); }

protected:
    /// For `vnEvent`: gives all holds of the calling thread back at once and returns how many there were.
    unsigned int releaseAll() const;

    /// For `vnEvent`: takes the lock anew with `count` holds. With `woken` the caller may have been among the
    /// sleepers of this lock, and others may still be.
    void retake(unsigned int count, bool woken) const;

    /// For `vnEvent`: makes the sleepers of another word wait for this lock, which the calling thread holds,
    /// instead of waking them for it. Answers how many; 0 when the thread does not hold the lock.
    unsigned int adoptSleepers(const std::atomic<unsigned int>& word, unsigned int expected) const;

private:
    friend void vnPassWakeUpOn(const vnThreadState& state) noexcept;
    friend void vnEndRunsHere() noexcept;

    static constexpr unsigned int VN_MUTEX_WAITERS = 0x80000000u;

    unsigned int holder() const noexcept
    {
        return m_word.load(std::memory_order_relaxed) & ~VN_MUTEX_WAITERS;
    }
    unsigned char take(vnThreadState& self) const noexcept;
    void waitLockSlow(vnThreadState& self) const;
    void waitLockAsleep(vnThreadState& self) const;
    void wakeOne() const;

    mutable std::atomic<unsigned int> m_word{
        0}; // 0, or the owner's id; the top bit tells that others may sleep
    mutable std::atomic<unsigned int> m_lockCount{0}; // written by the owner alone
    unsigned char m_trackOwner;
};

/// Holds a `vnMutex` for a scope.
class VN_BASE_API vnBodyGuard
{
public:
    explicit vnBodyGuard(const vnMutex& mutex) : m_mutex(&mutex) { m_mutex->waitLock(); }
    virtual ~vnBodyGuard() { m_mutex->unLock(); }

private:
    vnBodyGuard(const vnBodyGuard&);
    vnBodyGuard& operator=(const vnBodyGuard&);

    const vnMutex* m_mutex;
};

/// Counts how deep a scope has been entered again, in a counter of the caller's. It guards no more than that:
/// the counter belongs to one thread.
class VN_BASE_API vnRecursiveBodyGuard
{
public:
    explicit vnRecursiveBodyGuard(unsigned int& counter) noexcept : m_counter(&counter) { ++*m_counter; }

    /// Posts a Warning when the counter is already 0, and leaves it so.
    virtual ~vnRecursiveBodyGuard() noexcept(false);

    unsigned int getRecursionDepth() const noexcept { return *m_counter; }

private:
    vnRecursiveBodyGuard(const vnRecursiveBodyGuard&);
    vnRecursiveBodyGuard& operator=(const vnRecursiveBodyGuard&);

    unsigned int* m_counter;
};

// One attempt; counts the hold in the thread's state when it succeeds.
inline unsigned char vnMutex::take(vnThreadState& self) const noexcept
{
    // The region is entered before the lock can be ours, so that no thread is ended between the two.
    vnKillGuard::enter(self);
    unsigned int expected = 0;
    if (m_word.compare_exchange_strong(expected, self.id, std::memory_order_acquire,
                                       std::memory_order_relaxed))
    {
        m_lockCount.store(1, std::memory_order_relaxed);
        return 1;
    }
    if ((expected & ~VN_MUTEX_WAITERS) == self.id)
    {
        m_lockCount.store(m_lockCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        return 1;
    }
    vnKillGuard::leave(self);
    return 0;
}

inline void vnMutex::waitLock() const
{
    vnThreadState& self = vnCurrentThreadState();
    if (!take(self))
        waitLockSlow(self);
}

inline unsigned char vnMutex::tryLock() const
{
    return take(vnCurrentThreadState());
}

inline void vnMutex::unLock() const
{
    vnThreadState& self = vnCurrentThreadState();
    if (holder() != self.id)
        return;
    const unsigned int count = m_lockCount.load(std::memory_order_relaxed) - 1;
    m_lockCount.store(count, std::memory_order_relaxed);
    if (count == 0 && (m_word.exchange(0, std::memory_order_release) & VN_MUTEX_WAITERS))
        wakeOne();
    vnKillGuard::leave(self);
}
