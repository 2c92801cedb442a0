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
    {
        vnBodyGuard guard(m_stateMutex);
        if (isEnabled())
            return;
        pool->add(this);
    }
    try
    {
        // Also when it was refused: an error may have ended the thread that was to let it go.
        pool->serve();
    }
    catch (...)
    {
        // There is no thread that could have destroyed it. Another attempt starts the pool.
        m_enabled.store(0, std::memory_order_release);
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
    bool isInPool = false;
    {
        vnBodyGuard guard(m_tickMutex);
        const double pending = m_trigger.load(std::memory_order_relaxed);
        if (pending != 0 && time > pending)
            return 0;
        m_trigger.store(time, std::memory_order_relaxed);
        isInPool = isEnabled(); // while it can not tick
    }
    if (!isInPool)
        enableThreadTicker();
    pool->wake();
    pool->serve();
    return 1;
}
