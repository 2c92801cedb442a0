// SPDX-License-Identifier: MIT
#include <vnBase/vnThreadTicker.h>

#include <vnBase/vnMemory.h>
#include <vnBase/vnTime.h>

#include "../core/vnEternal.h"
#include "vnThreadPlatform.h"

#include <algorithm>
#include <limits>
#include <new>

namespace
{
constexpr unsigned int removeMilliseconds = 10;
constexpr unsigned int pollMilliseconds = 100;

constexpr double longestInterval = 10.0; // seconds
constexpr double roundsPerInterval = 0.334;
constexpr double shortestSleep = 10.0; // milliseconds; a shorter one is not left to the interval
} // namespace

struct vnThreadPoolTicker::Pools
{
    vnMutex mutex;
    vnRefList<vnThreadPoolTicker> list;
};

// One call of a ticker's operation. Begun under the event's mutex; the call itself comes without it. Whoever
// wants to destroy the ticker waits for its end.
class vnThreadPoolTicker::Call
{
public:
    explicit Call(vnThreadPoolTicker& pool) : m_pool(pool) {}
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() noexcept(false)
    {
        if (!m_ticker)
            return;
        vnBodyGuard guard(m_pool.m_event);
        m_pool.m_called = nullptr;
        m_pool.m_event.fire();
    }

    /// Called under the event's mutex.
    void begin(vnThreadTicker* ticker)
    {
        m_ticker = ticker;
        m_pool.m_called = ticker;
        m_pool.m_callingThread = vnCurrentThreadID();
    }

    /// Whether the ticker was destroyed by its own operation.
    bool isGone() const
    {
        vnBodyGuard guard(m_pool.m_event);
        return m_pool.m_called != m_ticker;
    }

private:
    vnThreadPoolTicker& m_pool;
    vnThreadTicker* m_ticker = nullptr;
};

// One round on the calling thread. It holds no lock while it calls tickers, so that a thread that is killed
// in one does not lock the pool up.
class vnThreadPoolTicker::Round
{
public:
    explicit Round(vnThreadPoolTicker& pool) : m_pool(pool)
    {
        vnBodyGuard guard(pool.m_event);
        // A ticker of pool 0 that drives the application's loop gets here again.
        m_isNested = pool.m_roundThread == vnCurrentThreadID() && !pool.hasRoundEnded();
        if (m_isNested)
            return;
        while (pool.m_poolID == 0 && pool.m_roundThread != 0 && !pool.hasRoundEnded())
            pool.m_event.waitAndLock(pollMilliseconds, 1);
        pool.takeRoundOver();
        // A thread of the pool that was killed outside its rounds has left its call behind.
        if (pool.m_poolID != 0)
            pool.m_called = nullptr;
        pool.m_roundThread = vnCurrentThreadID();
        pool.m_roundControl = vnThreadControl::getCaller();
        if (pool.m_roundControl)
            pool.m_roundControl->use();
        m_seenWakes = pool.m_wakes;
    }
    ~Round()
    {
        if (m_isNested)
            return;
        vnBodyGuard guard(m_pool.m_event);
        m_pool.takeRoundOver();
        m_pool.m_event.fire();
    }
    Round(const Round&) = delete;
    Round& operator=(const Round&) = delete;

    bool isNested() const { return m_isNested; }
    unsigned int getSeenWakes() const { return m_seenWakes; }

private:
    vnThreadPoolTicker& m_pool;
    bool m_isNested;
    unsigned int m_seenWakes = 0;
};

vnThreadPoolTicker::vnThreadPoolTicker(unsigned int poolID, vnThreadPriority priority)
    : vnThread(priority), m_poolID(poolID)
{
}

vnThreadPoolTicker::~vnThreadPoolTicker() noexcept(false)
{
    vnThreadPoolTicker::stop(1);
}

// Never destroyed, since static tickers may come late.
vnThreadPoolTicker::Pools& vnThreadPoolTicker::pools()
{
    static vnEternal<Pools> eternal;
    static const struct Closer
    {
        ~Closer() { closeAll(); }
    } closer;
    return eternal.value;
}

vnThreadPoolTicker* vnThreadPoolTicker::find(unsigned int poolID, vnThreadPriority priority)
{
    Pools& all = pools();
    vnBodyGuard guard(all.mutex);
    for (vnThreadPoolTicker* pool : all.list)
        if (pool->m_poolID == poolID) // whatever its priority
            return pool;
    // Pools last as long as the process and are no lost memory.
    vnPrivateMemoryScope scope;
    vnRefPointer<vnThreadPoolTicker> pool(new vnThreadPoolTicker(poolID, priority));
    all.list.append(pool);
    return pool;
}

void vnThreadPoolTicker::guiTick()
{
    find(0, VN_THREAD_PRIORITY_NORMAL)->round();
}

// Pools are only ever appended. A list of them would take memory, which the end of a program must not need.
vnThreadPoolTicker* vnThreadPoolTicker::getPool(unsigned int index)
{
    vnBodyGuard guard(pools().mutex);
    for (vnThreadPoolTicker* pool : pools().list)
        if (index-- == 0)
            return pool;
    return nullptr;
}

void vnThreadPoolTicker::closeAll()
{
    unsigned int index = 0;
    while (vnThreadPoolTicker* pool = getPool(index++))
        pool->stop(1);
}

void vnThreadPoolTicker::stop(unsigned char wait)
{
    do
    {
        vnThread::stop(0);
        wake(); // also a thread that was started meanwhile
    } while (wait && !isOwnThread() && !awaitEnd());
}

void vnThreadPoolTicker::wake()
{
    vnBodyGuard guard(m_event);
    ++m_wakes;
    m_event.fire();
}

// Starts the pool's thread when none is going to look at the lists. One that is about to end is waited for;
// it calls no ticker any more.
void vnThreadPoolTicker::serve()
{
    if (m_poolID == 0)
        return;
    {
        vnBodyGuard guard(m_event);
        if (m_isServed && isRunning(0))
            return;
        m_isServed = true;
    }
    if (isOwnThread()) // it reports the error that it ends with
    {
        runAgain();
        return;
    }
    // A thread that is being killed may still be inside a ticker; run() waits for it. Others may start the
    // next one meanwhile, which is not to be stopped.
    while (run(0) && isStopping(0))
        awaitEnd();
}

// Called under the event's mutex. Whether the thread of the current round was killed in it; it has left all
// as it was.
bool vnThreadPoolTicker::hasRoundEnded() const
{
    return m_roundControl && m_roundControl->hasEnded();
}

// Called under the event's mutex.
void vnThreadPoolTicker::takeRoundOver()
{
    if (hasRoundEnded())
        m_called = nullptr;
    if (m_roundControl)
        m_roundControl->letGo();
    m_roundControl = nullptr;
    m_roundThread = 0;
}

bool vnThreadPoolTicker::mayEnd()
{
    vnBodyGuard guard(m_event);
    const bool isIdle = m_active.isEmpty() && m_waiting.isEmpty();
    if (!m_leaving.isEmpty() || !(isIdle || isStopping(0)))
        return false;
    leave();
    return true;
}

void vnThreadPoolTicker::leave()
{
    vnBodyGuard guard(m_event);
    vnThread::stop(0);
    m_isServed = false;
}

// Enables the ticker; answers 0 when it has yet to leave. When there is no memory nothing has changed.
bool vnThreadPoolTicker::add(vnThreadTicker* ticker)
{
    vnBodyGuard guard(m_event);
    if (ticker->m_isLeaving)
        return false;
    if (!ticker->m_isWaiting && !ticker->m_isActive)
    {
        m_waiting.append(ticker);
        ticker->m_isWaiting = true;
    }
    ticker->m_enabled.store(1, std::memory_order_release); // before it is initialised
    wake();
    return true;
}

// Takes back what add() has done. Answers 0 when a thread has come to the ticker, which may be gone by now.
bool vnThreadPoolTicker::takeBack(vnThreadTicker* ticker)
{
    vnBodyGuard guard(m_event);
    for (const vnThreadTicker* waiting : m_waiting)
        if (waiting == ticker)
        {
            cancelWaiting(ticker);
            ticker->m_enabled.store(0, std::memory_order_release);
            return true;
        }
    return false;
}

// Disables the ticker; answers whether the pool has yet to let it go. When there is no memory nothing has
// changed.
bool vnThreadPoolTicker::remove(vnThreadTicker* ticker)
{
    vnBodyGuard guard(m_event);
    const bool leaves = ticker->m_isActive && !ticker->m_isLeaving;
    if (leaves)
        queueLeaving(ticker, false);
    cancelWaiting(ticker);
    ticker->m_enabled.store(0, std::memory_order_release);
    return leaves;
}

void vnThreadPoolTicker::awaitLeaving(vnThreadTicker* ticker)
{
    serveWhatIsQueued();
    const double end = vnTime::systemSeconds() + removeMilliseconds * 0.001;
    vnBodyGuard guard(m_event);
    // Pool 0 has no thread that could take the ticker out meanwhile, and the caller's own round does so at
    // its end.
    if (m_poolID == 0 || isOwnThread())
        return;
    // The ticker itself may be gone, destroyed by its own onTerminate().
    while ((findLeaving(ticker) || m_called == ticker) && vnTime::systemSeconds() < end)
        m_event.waitAndLock(removeMilliseconds, 1);
}

void vnThreadPoolTicker::removeAndDestroy(vnThreadTicker* ticker)
{
    {
        vnBodyGuard guard(m_event);
        if (vnRemovedSubscriber* entry = findLeaving(ticker))
            entry->m_destroys = true;
        else
            queueLeaving(ticker, true);
        cancelWaiting(ticker);
        ticker->m_enabled.store(0, std::memory_order_release);
    }
    serveWhatIsQueued();
}

// For a ticker that the pool has yet to let go: the caller's part is done, so that it must not hear of a
// failure. The next ticker starts the thread.
void vnThreadPoolTicker::serveWhatIsQueued()
{
    try
    {
        serve();
    }
    catch (const std::bad_alloc&)
    {
        // reported where it was thrown
    }
}

// Called under the event's mutex, as the next two.
void vnThreadPoolTicker::queueLeaving(vnThreadTicker* ticker, bool destroys)
{
    vnRefPointer<vnRemovedSubscriber> entry(new vnRemovedSubscriber(ticker, 0, destroys));
    m_leaving.append(entry);
    ticker->m_isLeaving = true;
    wake();
}

void vnThreadPoolTicker::cancelWaiting(vnThreadTicker* ticker)
{
    if (ticker->m_isWaiting)
        m_waiting.remove(ticker);
    ticker->m_isWaiting = false;
}

vnThreadPoolTicker::vnRemovedSubscriber* vnThreadPoolTicker::findLeaving(vnThreadTicker* ticker)
{
    for (vnRemovedSubscriber* entry : m_leaving)
        if (entry->m_ticker == ticker)
            return entry;
    return nullptr;
}

// Takes the ticker out of everything, and waits for a call of it on another thread.
void vnThreadPoolTicker::forget(vnThreadTicker* ticker)
{
    vnBodyGuard guard(m_event);
    for (;;)
    {
        cancelWaiting(ticker);
        deactivate(ticker);
        while (vnRemovedSubscriber* entry = findLeaving(ticker))
            m_leaving.remove(entry);
        ticker->m_isLeaving = false;
        wake();
        if (m_called != ticker)
            return;
        // A thread that was killed in the call does not come back.
        if (hasRoundEnded() || (m_poolID != 0 && hasThreadEnded()) || m_callingThread == vnCurrentThreadID())
        {
            m_called = nullptr;
            return;
        }
        m_event.waitAndLock(pollMilliseconds, 1);
    }
}

// Called under the event's mutex. The place stays, since a round may be in the midst of them.
void vnThreadPoolTicker::deactivate(vnThreadTicker* ticker)
{
    if (!ticker->m_isActive)
        return;
    std::replace(m_active.data(), m_active.data() + m_active.getSize(), ticker,
                 static_cast<vnThreadTicker*>(nullptr));
    ticker->m_isActive = false;
}

void vnThreadPoolTicker::process()
{
    try
    {
        do
        {
            while (isValidMemory() && !isStopping(1) && round())
                continue;
            letLeavingGo();
            terminateActive();
        } while (!mayEnd());
    }
    catch (...)
    {
        leave(); // an error that a ticker threw ends the thread, and the next ticker starts it again
        throw;
    }
}

unsigned char vnThreadPoolTicker::round()
{
    unsigned int minSleep = 0;
    unsigned int seenWakes;
    double begin;
    {
        const Round current(*this);
        if (current.isNested())
            return 1;
        seenWakes = current.getSeenWakes();
        takeWaiting();
        begin = vnTime::systemSeconds();
        tickAll(begin, minSleep);
        letLeavingGo();
        vnBodyGuard guard(m_event);
        compact();
        if (m_active.isEmpty() && m_waiting.isEmpty())
            return 0;
    }
    if (m_poolID != 0)
        sleep(vnTime::systemSeconds() - begin, minSleep, seenWakes);
    return 1;
}

// Called under the event's mutex, outside the walk over the tickers.
void vnThreadPoolTicker::compact()
{
    vnThreadTicker** end = m_active.data() + m_active.getSize();
    end = std::remove(m_active.data(), end, static_cast<vnThreadTicker*>(nullptr));
    m_active.setSize(static_cast<unsigned int>(end - m_active.data()));
}

void vnThreadPoolTicker::takeWaiting()
{
    for (;;)
    {
        Call call(*this);
        vnThreadTicker* ticker = nullptr;
        {
            vnBodyGuard guard(m_event);
            ticker = m_waiting.getHead();
            if (!ticker)
                return;
            m_active.append(ticker); // when there is no memory it goes on waiting
            m_waiting.removeHead();
            ticker->m_isWaiting = false;
            ticker->m_isActive = true;
            call.begin(ticker);
        }
        ticker->onInitialize();
    }
}

void vnThreadPoolTicker::tickAll(double now, unsigned int& minSleep)
{
    for (unsigned int index = 0;; ++index)
    {
        Call call(*this);
        vnThreadTicker* ticker = nullptr;
        {
            vnBodyGuard guard(m_event);
            ticker = nextDue(index, now, minSleep);
            if (!ticker)
                return;
            call.begin(ticker);
        }
        const struct TickLock // taken by nextDue
        {
            const Call& call;
            vnThreadTicker* ticker;

            ~TickLock()
            {
                if (!call.isGone())
                    ticker->m_tickMutex.unLock();
            }
        } lock{call, ticker};
        ticker->onTick();
    }
}

// Called under the event's mutex. The first ticker from `index` on that is to tick, with its tick mutex held;
// null at the end.
vnThreadTicker* vnThreadPoolTicker::nextDue(unsigned int& index, double now, unsigned int& minSleep)
{
    for (; index < m_active.getSize(); ++index)
    {
        vnThreadTicker* ticker = m_active.data()[index];
        // One that is busy is passed over: a ticker never blocks the pool.
        if (!ticker || ticker->m_isLeaving || !ticker->m_tickMutex.tryLock())
            continue;
        const double interval = ticker->m_interval.load(std::memory_order_acquire);
        double next = ticker->m_nextTick.load(std::memory_order_relaxed);
        const double trigger = ticker->m_trigger.load(std::memory_order_relaxed);
        if (interval != 0)
            minSleep = std::max(minSleep, ticker->getMinPoolSleepTicks());
        const bool isTime = interval != 0 && next <= now;
        if (isTime)
        {
            // Before the tick and not after it: what the ticker sets there counts, and it may be gone then.
            // What another thread sets just now counts, too.
            const bool catchesUp = ticker->m_policy.load(std::memory_order_relaxed) == VN_TICK_CATCH_UP;
            ticker->m_nextTick.compare_exchange_strong(next, (catchesUp ? next : now) + interval,
                                                       std::memory_order_relaxed);
        }
        if (isTime || (trigger != 0 && trigger <= now))
        {
            ticker->m_trigger.store(0.0, std::memory_order_relaxed);
            return ticker;
        }
        ticker->m_tickMutex.unLock();
    }
    return nullptr;
}

void vnThreadPoolTicker::letLeavingGo()
{
    for (;;)
    {
        Call call(*this);
        vnRefPointer<vnRemovedSubscriber> entry;
        bool terminates = false;
        {
            vnBodyGuard guard(m_event);
            entry = m_leaving.getHead();
            if (!entry)
                return;
            m_leaving.removeHead();
            vnThreadTicker* ticker = entry->m_ticker;
            terminates = ticker->m_isActive && !entry->m_skipTerminate;
            deactivate(ticker);
            call.begin(ticker);
        }
        try
        {
            if (terminates)
                entry->m_ticker->onTerminate();
        }
        catch (...)
        {
            finishLeaving(call, *entry); // it has left all the same
            throw;
        }
        finishLeaving(call, *entry);
    }
}

void vnThreadPoolTicker::finishLeaving(const Call& call, const vnRemovedSubscriber& entry)
{
    if (call.isGone())
        return;
    vnThreadTicker* ticker = entry.m_ticker;
    if (entry.m_destroys)
    {
        delete ticker;
        return;
    }
    vnBodyGuard guard(m_event);
    ticker->m_isLeaving = findLeaving(ticker) != nullptr;
}

// At the end of a thread that was stopped. The tickers wait, and are initialised again by the next one; those
// that are to leave do so before the thread ends.
void vnThreadPoolTicker::terminateActive()
{
    for (;;)
    {
        Call call(*this);
        vnThreadTicker* ticker = nullptr;
        {
            vnBodyGuard guard(m_event);
            compact();
            vnThreadTicker** end = m_active.data() + m_active.getSize();
            vnThreadTicker** staying = std::find_if_not(
                m_active.data(), end, [](const vnThreadTicker* active) { return active->m_isLeaving; });
            if (staying == end)
                return;
            ticker = *staying;
            m_waiting.append(ticker); // when there is no memory it stays active
            ticker->m_isWaiting = true;
            deactivate(ticker);
            call.begin(ticker);
        }
        ticker->onTerminate();
    }
}

// Called under the event's mutex; milliseconds. About three rounds for each of the shortest intervals, shared
// by the number of tickers, but never past the next tick.
double vnThreadPoolTicker::getSleep(double spent, unsigned int minSleep)
{
    double interval = longestInterval;
    double next = std::numeric_limits<double>::infinity();
    bool isTriggered = false;
    unsigned int count = 0;
    for (unsigned int i = 0; i < m_active.getSize(); ++i)
    {
        const vnThreadTicker* ticker = m_active.data()[i];
        if (!ticker || ticker->m_isLeaving)
            continue;
        ++count;
        const double own = ticker->m_interval.load(std::memory_order_relaxed);
        const double trigger = ticker->m_trigger.load(std::memory_order_relaxed);
        if (own != 0)
        {
            interval = std::min(interval, own);
            next = std::min(next, ticker->m_nextTick.load(std::memory_order_relaxed));
        }
        if (trigger != 0)
        {
            isTriggered = true;
            next = std::min(next, trigger);
        }
    }
    m_sleepInterval = interval * roundsPerInterval / std::max(count, 1u);
    double milliseconds = std::max(0.0, (m_sleepInterval - spent) * 1000);
    if (milliseconds < std::max(static_cast<double>(minSleep), shortestSleep))
        milliseconds = minSleep;
    const double untilNext =
        std::min(longestInterval * 1000, std::max(0.0, (next - vnTime::systemSeconds()) * 1000));
    // Where the pool would only yield it sleeps until the next tick: that is as punctual and costs nothing.
    if (milliseconds == 0 || isTriggered)
        return untilNext;
    return std::max(static_cast<double>(minSleep), std::min(milliseconds, untilNext));
}

void vnThreadPoolTicker::sleep(double spent, unsigned int minSleep, unsigned int seenWakes)
{
    {
        vnBodyGuard guard(m_event);
        if (m_wakes != seenWakes || isStopping(0))
            return;
        const double milliseconds = getSleep(spent, minSleep);
        if (milliseconds >= 1)
        {
            m_event.waitAndLock(static_cast<unsigned int>(milliseconds), 1);
            return;
        }
    }
    vnDelayFunction(0, nullptr);
}
