// SPDX-License-Identifier: MIT
#include <vnBase/vnMutex.h>

#include "vnLockPlatform.h"
#include "vnThreadKill.h"

#include <vnBase/vnMessage.h>

vnMutex::~vnMutex() noexcept(false)
{
    const unsigned int count = getSpinLockCount();
    if (count == 0)
        return;
    // The holds go with the lock, but the lock itself is not repaired.
    vnThreadState& self = vnCurrentThreadState();
    for (unsigned int i = 0; holder() == self.id && i < count; ++i)
        vnKillGuard::leave(self);
    vnMessage::message(VN_MESSAGE_WARNING | VN_MESSAGE_UNTRANSLATED,
                       "vnMutex (%x) deleted with unbalanced Lock/unLock", static_cast<const void*>(this));
}

void vnMutex::waitLockSlow(vnThreadState& self) const
{
    for (unsigned int i = 0; i < VN_LOCK_SPINS; ++i)
    {
        vnLockRelax();
        if (m_word.load(std::memory_order_relaxed) == 0 && take(self))
            return;
    }
    waitLockAsleep(self);
}

void vnMutex::waitLockAsleep(vnThreadState& self) const
{
    self.waitingFor = this;
    for (;;)
    {
        unsigned int word = m_word.load(std::memory_order_relaxed);
        if (word == 0)
        {
            vnKillGuard::enter(self);
            // It takes the lock with the bit set, since others may sleep beside it.
            if (m_word.compare_exchange_strong(word, self.id | VN_MUTEX_WAITERS, std::memory_order_acquire,
                                               std::memory_order_relaxed))
                break;
            vnKillGuard::leave(self);
            continue;
        }
        if (!(word & VN_MUTEX_WAITERS) &&
            !m_word.compare_exchange_strong(word, word | VN_MUTEX_WAITERS, std::memory_order_relaxed))
            continue;
        vnLockSleep(&m_word, word | VN_MUTEX_WAITERS, VN_LOCK_FOREVER);
    }
    self.waitingFor = nullptr;
    m_lockCount.store(1, std::memory_order_relaxed);
}

void vnMutex::wakeOne() const
{
    vnLockWake(&m_word, 1);
}

unsigned int vnMutex::releaseAll() const
{
    vnThreadState& self = vnCurrentThreadState();
    if (holder() != self.id)
        return 0;
    const unsigned int count = m_lockCount.load(std::memory_order_relaxed);
    m_lockCount.store(0, std::memory_order_relaxed);
    if (m_word.exchange(0, std::memory_order_release) & VN_MUTEX_WAITERS)
        wakeOne();
    std::atomic_signal_fence(std::memory_order_seq_cst);
    self.guarded = self.guarded - static_cast<int>(count);
    return count;
}

void vnMutex::retake(unsigned int count, bool woken) const
{
    vnThreadState& self = vnCurrentThreadState();
    if (woken)
        waitLockAsleep(self);
    else
        waitLock();
    m_lockCount.store(count, std::memory_order_relaxed);
    self.guarded = self.guarded + static_cast<int>(count) - 1;
}

unsigned int vnMutex::adoptSleepers(const std::atomic<unsigned int>& word, unsigned int expected) const
{
    if (holder() != vnCurrentThreadID())
        return 0;
    const unsigned int moved = vnLockMove(&word, expected, &m_word, VN_LOCK_ALL);
    if (moved != 0)
        m_word.fetch_or(VN_MUTEX_WAITERS, std::memory_order_relaxed);
    return moved;
}

// A lock is counted before it can be held, so that the counts tell of all.
bool vnHoldsLocks(const vnThreadState& state) noexcept
{
    return state.guarded > 0 || state.shared > 0;
}

void vnPassWakeUpOn(const vnThreadState& state) noexcept
{
    if (state.waitingFor)
        state.waitingFor->wakeOne();
}

vnRecursiveBodyGuard::~vnRecursiveBodyGuard() noexcept(false)
{
    if (*m_counter != 0)
    {
        --*m_counter;
        return;
    }
    vnMessage::message(VN_MESSAGE_WARNING, "RECURSIVE MISMATCH ! Left recursion with zero recursion count.");
}
