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
    // It counts as a sleeper from here on: an event with none does not count what it fires.
    m_event->m_sleepers.fetch_add(1, std::memory_order_seq_cst);
    m_fired = m_event->m_fired.load(std::memory_order_seq_cst);
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
    m_event->m_sleepers.fetch_sub(1, std::memory_order_seq_cst);
}

void vnEventWaiter::process()
{
    vnBodyGuard guard(*m_event);
    if (isStopping(0) || !m_event->sleepReleased(m_timeoutMilliseconds, 1, m_fired))
        return;
    m_result.store(1, std::memory_order_release);
    m_woken.fetch_add(1, std::memory_order_acq_rel);
    vnLockWake(&m_woken, VN_LOCK_ALL);
}

// The caller's holds of the events that it waits for: the sleepers, and whoever is to fire, need the locks.
class vnEvent::Holds
{
public:
    // Others may take the locks in another order: none is waited for while another one is held.
    ~Holds()
    {
        if (m_list.empty())
            return;
        std::size_t awaited = 0;
        do
            m_list[awaited].first->waitLock();
        while (!takeOthers(awaited));
        for (const auto& [event, count] : m_list)
            for (unsigned int i = 1; i < count; ++i)
                event->waitLock();
    }

    void release(vnEvent* event)
    {
        if (event->getOwnerThreadID() != vnCurrentThreadID())
            return;
        m_list.emplace_back(event, 0u);
        m_list.back().second = event->releaseAll();
    }

private:
    // Gives all back when one of them is not to be had, which is the next to wait for.
    bool takeOthers(std::size_t& awaited) const
    {
        for (std::size_t i = 1; i < m_list.size(); ++i)
        {
            const std::size_t wanted = (awaited + i) % m_list.size();
            if (m_list[wanted].first->tryLock())
                continue;
            for (std::size_t taken = 0; taken < i; ++taken)
                m_list[(awaited + taken) % m_list.size()].first->unLock();
            awaited = wanted;
            return false;
        }
        return true;
    }

    std::vector<std::pair<vnEvent*, unsigned int>> m_list;
};

vnEvent* vnEvent::wait(const vnRefList<vnEvent>& events, unsigned int milliseconds)
{
    Holds holds;
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
        holds.release(event);
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
