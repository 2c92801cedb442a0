// SPDX-License-Identifier: MIT
#include <vnBase/vnThreadTicker.h>

#include <vnBase/vnTime.h>

vnThreadTicker::vnThreadTicker(unsigned int poolID, vnThreadPriority priority)
    : m_poolID(poolID), m_priority(priority), m_pool(vnThreadPoolTicker::find(poolID, priority))
{
    // It does not stand in the pool before it is enabled: the pool's thread would call the operations of a
    // derived class that is still being built.
}

vnThreadTicker::~vnThreadTicker() noexcept(false)
{
    vnThreadTicker::detachThreadTicker();
}

void vnThreadTicker::onInitialize() {}

void vnThreadTicker::onTerminate() {}

void vnThreadTicker::onTick() {}

// Pools outlast their tickers. One that is in its pool may be destroyed by its own operation at any time, so
// that the functions below leave it alone from there on.

void vnThreadTicker::enableThreadTicker()
{
    vnThreadPoolTicker* pool = m_pool;
    bool isAdded = false;
    {
        vnBodyGuard guard(m_stateMutex);
        if (isEnabled())
            return;
        isAdded = pool->add(this);
    }
    try
    {
        // Also when it was refused: an error may have ended the thread that was to let it go.
        pool->serve();
    }
    catch (...)
    {
        // Nothing is lost when another ticker has started the pool meanwhile.
        if (!isAdded || pool->takeBack(this))
            throw;
    }
}

void vnThreadTicker::disableThreadTicker()
{
    vnThreadPoolTicker* pool = m_pool;
    bool leaves = false;
    {
        vnBodyGuard guard(m_stateMutex);
        leaves = pool->remove(this);
    }
    if (leaves)
        pool->awaitLeaving(this);
}

void vnThreadTicker::deleteThreadTicker()
{
    m_pool->removeAndDestroy(this);
}

void vnThreadTicker::detachThreadTicker()
{
    {
        vnBodyGuard guard(m_stateMutex);
        m_enabled.store(0, std::memory_order_release);
    }
    m_pool->forget(this);
    // Called by its own tick, which leaves the mutex to whoever destroys the ticker.
    while (m_tickMutex.getOwnerThreadID() == vnCurrentThreadID())
        m_tickMutex.unLock();
}

void vnThreadTicker::setTickInterval(double seconds)
{
    const double interval = seconds > 0 ? seconds : 0.0;
    m_nextTick.store(vnTime::systemSeconds() + interval, std::memory_order_relaxed);
    m_interval.store(interval, std::memory_order_release); // whoever sees it sees the next tick, too
    m_pool->wake();                                        // it computes its sleep anew
}

unsigned char vnThreadTicker::triggerTick(double delay)
{
    vnThreadPoolTicker* pool = m_pool;
    const double time = vnTime::systemSeconds() + delay; // also when a tick is under way
    double pending = 0;
    bool isTaken = false;
    bool isInPool = false;
    {
        vnBodyGuard guard(m_tickMutex);
        pending = m_trigger.load(std::memory_order_relaxed);
        isTaken = pending == 0 || !(time > pending);
        if (isTaken)
            m_trigger.store(time, std::memory_order_relaxed);
        isInPool = isEnabled(); // while it can not tick
    }
    if (!isTaken)
    {
        if (isInPool)
            pool->serve(); // the thread may have ended before the earlier one was due
        return 0;
    }
    if (isInPool)
    {
        pool->wake();
        pool->serve();
        return 1;
    }
    try
    {
        enableThreadTicker(); // wakes and starts the pool
    }
    catch (...)
    {
        // It is not enabled: another attempt must not find a trigger that never comes.
        vnBodyGuard guard(m_tickMutex);
        double own = time;
        m_trigger.compare_exchange_strong(own, pending, std::memory_order_relaxed);
        throw;
    }
    return 1;
}
