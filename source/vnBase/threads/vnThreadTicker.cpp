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

void vnThreadTicker::enableThreadTicker()
{
    {
        vnBodyGuard guard(m_stateMutex);
        if (isEnabled() || !m_pool->add(this))
            return;
    }
    try
    {
        m_pool->serve();
    }
    catch (...)
    {
        m_enabled.store(0, std::memory_order_release); // so that another attempt starts the pool
        throw;
    }
}

void vnThreadTicker::disableThreadTicker()
{
    bool leaves = false;
    {
        vnBodyGuard guard(m_stateMutex);
        leaves = m_pool->remove(this);
    }
    if (leaves)
        m_pool->awaitLeaving(this);
}

void vnThreadTicker::deleteThreadTicker()
{
    // Pools outlast their tickers; this one may be gone at once.
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
    {
        vnBodyGuard guard(m_tickMutex);
        const double pending = m_trigger.load(std::memory_order_relaxed);
        if (pending != 0 && time > pending)
            return 0;
        m_trigger.store(time, std::memory_order_relaxed);
    }
    if (!isEnabled())
        enableThreadTicker();
    pool->wake();
    pool->serve();
    return 1;
}
