// SPDX-License-Identifier: MIT
#include <vnBase/vnSemaphore.h>

#include "vnLockPlatform.h"

#include <algorithm>

namespace
{
constexpr unsigned int waitMilliseconds = 100;
constexpr unsigned int tryMilliseconds = 10;
} // namespace

vnSemaphore::vnSemaphore(unsigned int ownerValue, unsigned int lockCount, unsigned int maxLockCount)
    : m_state(pack(ownerValue, std::min(lockCount, VN_SEMAPHORE_COUNT))), m_maxLockCount(maxLockCount)
{
}

vnSemaphore::vnSemaphore(const vnSemaphore& other)
    : vnSemaphore(other.getOwnerValue(), other.getSpinLockCount(),
                  other.m_maxLockCount.load(std::memory_order_relaxed))
{
}

vnSemaphore::~vnSemaphore() noexcept(false) = default;

const void* vnSemaphore::countAddress() const noexcept
{
    const unsigned char* state = reinterpret_cast<const unsigned char*>(&m_state);
    return state + (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 4);
}

void vnSemaphore::waitLockSlow(unsigned int value) const
{
    for (unsigned int i = 0; i < VN_LOCK_SPINS; ++i)
    {
        vnLockRelax();
        if (isAvailable(m_state.load(std::memory_order_relaxed), value) && attempt(value))
            return;
    }
    while (!attempt(value))
        sleep(value, waitMilliseconds);
}

unsigned char vnSemaphore::tryLock(unsigned int value, unsigned int milliseconds) const
{
    if (attempt(value))
        return 1;
    for (unsigned int i = milliseconds / tryMilliseconds; i > 0; --i)
    {
        sleep(value, tryMilliseconds);
        if (attempt(value))
            return 1;
    }
    return 0;
}

// Until woken, until the lock looks free for `value`, or for so many milliseconds. The futex is the half of
// the state that holds the count and the waiters' bit, so that nothing is touched after the last hold is gone
// but its address.
void vnSemaphore::sleep(unsigned int value, unsigned int milliseconds) const
{
    const vnInt64 deadline = vnLockDeadline(milliseconds);
    vnUInt64 state = m_state.load(std::memory_order_relaxed);
    while (!isAvailable(state, value))
    {
        if (!(state & VN_SEMAPHORE_WAITERS) &&
            !m_state.compare_exchange_weak(state, state | VN_SEMAPHORE_WAITERS, std::memory_order_relaxed))
            continue;
        const unsigned int expected = static_cast<unsigned int>(state | VN_SEMAPHORE_WAITERS);
        if (vnLockSleep(countAddress(), expected, deadline) != VN_LOCK_CHANGED)
            return;
        state = m_state.load(std::memory_order_relaxed);
    }
}

void vnSemaphore::wakeAll() const
{
    vnLockWake(countAddress(), VN_LOCK_ALL);
}

unsigned int vnSemaphore::setMaxLockCount(unsigned int maxLockCount)
{
    const unsigned int old = m_maxLockCount.exchange(maxLockCount, std::memory_order_relaxed);
    if (m_state.load(std::memory_order_relaxed) & VN_SEMAPHORE_WAITERS)
        wakeAll();
    return old;
}
