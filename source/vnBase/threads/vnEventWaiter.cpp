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

vnEventWaiter::vnEventWaiter(vnEvent* event, unsigned int fired, unsigned int timeoutMilliseconds,
                             std::atomic<unsigned int>& woken)
    : vnThread(VN_THREAD_PRIORITY_NORMAL), m_event(event), m_fired(fired),
      m_timeoutMilliseconds(timeoutMilliseconds), m_woken(woken)
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
    if (isStopping(0) || !m_event->sleepReleased(m_timeoutMilliseconds, 1, m_fired))
        return;
    m_result.store(1, std::memory_order_release);
    m_woken.fetch_add(1, std::memory_order_acq_rel);
    vnLockWake(&m_woken, VN_LOCK_ALL);
}

// What the caller gives up while it waits: its holds, since the sleepers, and whoever is to fire, need the
// locks. The events count a sleeper for it: one with none does not count what it fires.
class vnEvent::Holds
{
public:
    struct Entry
    {
        vnEvent* event;
        unsigned int fired; // when the wait began
    };

    // What is fired once the first lock is given back is counted. No lock is waited for until all are: others
    // may take them in another order.
    explicit Holds(const vnRefList<vnEvent>& events)
    {
        m_entries.reserve(events.getCount());
        m_held.reserve(events.getCount());
        for (vnEvent* event : events)
            if (event)
            {
                event->m_sleepers.fetch_add(1, std::memory_order_seq_cst);
                m_entries.push_back({event, event->m_fired.load(std::memory_order_seq_cst)});
            }
        for (const Entry& entry : m_entries)
            if (const unsigned int count = entry.event->releaseAll())
                m_held.emplace_back(entry.event, count);
    }
    // For the same reason none is waited for while another one is held.
    ~Holds()
    {
        for (const Entry& entry : m_entries)
            entry.event->m_sleepers.fetch_sub(1, std::memory_order_seq_cst);
        if (m_held.empty())
            return;
        std::size_t awaited = 0;
        do
            m_held[awaited].first->waitLock();
        while (!takeOthers(awaited));
        for (const auto& [event, count] : m_held)
            for (unsigned int i = 1; i < count; ++i)
                event->waitLock();
    }
    Holds(const Holds&) = delete;
    Holds& operator=(const Holds&) = delete;

    const std::vector<Entry>& getEntries() const noexcept { return m_entries; }

private:
    // Gives all back when one of them is not to be had, which is the next to wait for.
    bool takeOthers(std::size_t& awaited) const
    {
        for (std::size_t i = 1; i < m_held.size(); ++i)
        {
            const std::size_t wanted = (awaited + i) % m_held.size();
            if (m_held[wanted].first->tryLock())
                continue;
            for (std::size_t taken = 0; taken < i; ++taken)
                m_held[(awaited + taken) % m_held.size()].first->unLock();
            awaited = wanted;
            return false;
        }
        return true;
    }

    std::vector<Entry> m_entries;
    std::vector<std::pair<vnEvent*, unsigned int>> m_held; // with the number of holds
};

vnEvent* vnEvent::wait(const vnRefList<vnEvent>& events, unsigned int milliseconds)
{
    const Holds holds(events);
    const vnInt64 deadline = vnLockDeadline(milliseconds);
    std::atomic<unsigned int> woken{0};
    vnRefList<vnEventWaiter> waiters;
    bool isAnyAsleep = false;
    for (const Holds::Entry& entry : holds.getEntries())
    {
        vnRefPointer<vnEventWaiter> waiter(new vnEventWaiter(entry.event, entry.fired, milliseconds, woken));
        waiters.append(waiter);
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
