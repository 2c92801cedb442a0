// SPDX-License-Identifier: MIT
#include "vnEventWaiter.h"

#include "vnLockPlatform.h"

#include <vnBase/vnRefList.h>

#include <utility>
#include <vector>

namespace
{
vnEvent* firstFired(vnRefList<vnEventWaiter>& waiters)
{
    for (vnEventWaiter* waiter : waiters)
        if (waiter->getResult())
            return waiter->getEvent();
    return nullptr;
}
} // namespace

vnEventWaiter::vnEventWaiter(vnEvent* event, unsigned int timeoutMilliseconds,
                             std::atomic<unsigned int>& woken)
    : vnThread(VN_THREAD_PRIORITY_NORMAL), m_event(event), m_timeoutMilliseconds(timeoutMilliseconds),
      m_woken(woken)
{
}

vnEventWaiter::~vnEventWaiter() noexcept(false)
{
    stop(0);
    {
        // Under the mutex: the thread has either seen the stop or sleeps.
        vnBodyGuard guard(*m_event);
        m_event->fire();
    }
    stop(1);
}

void vnEventWaiter::process()
{
    vnBodyGuard guard(*m_event);
    if (isStopping(0) || !m_event->waitAndLock(m_timeoutMilliseconds, 1))
        return;
    m_result.store(1, std::memory_order_release);
    m_woken.fetch_add(1, std::memory_order_acq_rel);
    vnLockWake(&m_woken, VN_LOCK_ALL);
}

vnEvent* vnEvent::wait(const vnRefList<vnEvent>& events, unsigned int milliseconds)
{
    // The sleepers, and whoever is to fire, need the locks: the caller's holds are given back until the
    // sleepers are gone.
    struct Holds
    {
        ~Holds()
        {
            for (const auto& [event, count] : list)
                event->retake(count, false);
        }
        std::vector<std::pair<vnEvent*, unsigned int>> list;
    } holds;
    const vnInt64 deadline = vnLockDeadline(milliseconds);
    std::atomic<unsigned int> woken{0};
    vnRefList<vnEventWaiter> waiters;
    bool isAnyAsleep = false;
    for (vnEvent* event : events)
    {
        if (!event)
            continue;
        vnRefPointer<vnEventWaiter> waiter(new vnEventWaiter(event, milliseconds, woken));
        waiters.append(waiter);
        if (event->getOwnerThreadID() == vnCurrentThreadID())
        {
            holds.list.emplace_back(event, 0u);
            holds.list.back().second = event->releaseAll();
        }
        isAnyAsleep = waiter->run(0) || isAnyAsleep;
    }
    if (!isAnyAsleep && deadline == VN_LOCK_FOREVER)
        return nullptr;
    for (;;)
    {
        const unsigned int seen = woken.load(std::memory_order_acquire);
        if (vnEvent* fired = firstFired(waiters))
            return fired;
        if (vnLockSleep(&woken, seen, deadline) == VN_LOCK_TIMED_OUT)
            return firstFired(waiters);
    }
}
