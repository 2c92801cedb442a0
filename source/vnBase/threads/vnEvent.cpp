// SPDX-License-Identifier: MIT
#include <vnBase/vnEvent.h>

#include "vnLockPlatform.h"

#include <core/vnLockedCount.h>

vnEvent::~vnEvent() noexcept(false) = default;

void vnEvent::ref()
{
    vnLockedRaise(*this, m_count);
}

void vnEvent::unref()
{
    if (vnLockedLower(*this, m_count, [] { throwZeroCountNoDelete(); }) == 0)
        checkDelete();
}

unsigned int vnEvent::unrefNoDelete()
{
    return vnLockedLower(*this, m_count, [] { throwZeroCountNoDelete(); });
}

unsigned char vnEvent::checkDelete()
{
    if (vnLockedRead(*this, m_count) != 0)
        return 0;
    delete this;
    return 1;
}

unsigned int vnEvent::getRef() const
{
    return vnLockedRead(*this, m_count);
}

// Who fires under the mutex wakes nobody yet: the sleepers could only wait for the mutex. They come one after
// the other when it is given back.
void vnEvent::fire()
{
    if (m_sleepers.load(std::memory_order_seq_cst) == 0)
        return;
    const unsigned int fired = m_fired.fetch_add(1, std::memory_order_seq_cst) + 1;
    if (adoptSleepers(m_fired, fired) == 0)
        vnLockWake(&m_fired, VN_LOCK_ALL);
}

void vnEvent::fireOnlyOne()
{
    const unsigned int sleepers = m_sleepers.load(std::memory_order_seq_cst);
    if (sleepers <= 1)
    {
        fire();
        return;
    }
    // The word changes only when nobody sleeps on it yet, since that wakes all who are about to. For the same
    // reason the sleeper does not wait for the mutex in its sleep: one whose time is over then could not know
    // that it was woken.
    if (vnLockWake(&m_fired, 1) != 0)
        return;
    m_fired.fetch_add(1, std::memory_order_seq_cst);
    vnLockWake(&m_fired, 1);
}

unsigned char vnEvent::wait(unsigned int milliseconds, unsigned char locked)
{
    if (!locked)
        waitLock();
    return sleepReleased(milliseconds, 0, m_fired.load(std::memory_order_relaxed));
}

unsigned char vnEvent::waitAndLock(unsigned int milliseconds, unsigned char locked)
{
    if (!locked)
        waitLock();
    return sleepReleased(milliseconds, 1, m_fired.load(std::memory_order_relaxed));
}

// Called with the mutex held. Gives all holds back, since a hold that a recursive caller kept would shut out
// whoever is to fire, sleeps unless more than `fired` has been fired, and takes them again: all with `keep`,
// one less without.
unsigned char vnEvent::sleepReleased(unsigned int milliseconds, unsigned char keep, unsigned int fired)
{
    m_sleepers.fetch_add(1, std::memory_order_seq_cst);
    // A caller that claims to hold the mutex and does not has none to give back.
    const unsigned int held = releaseAll();
    bool woken = false;
    if (milliseconds != 0)
    {
        const vnInt64 deadline = vnLockDeadline(milliseconds);
        vnThisThread.waitingFor = this; // where fire() may let it sleep on
        vnLockSleepResult result;
        do
            result = vnLockSleep(&m_fired, fired, deadline);
        while (result == VN_LOCK_CHANGED && m_fired.load(std::memory_order_acquire) == fired);
        vnThisThread.waitingFor = nullptr;
        woken = result != VN_LOCK_TIMED_OUT;
    }
    woken = woken || m_fired.load(std::memory_order_acquire) != fired;
    m_sleepers.fetch_sub(1, std::memory_order_seq_cst);
    retake(held > 0 ? held : 1, woken);
    if (!keep)
        unLock();
    return woken;
}
