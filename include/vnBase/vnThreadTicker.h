// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnEvent.h>
#include <vnBase/vnList.h>
#include <vnBase/vnRefList.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnReference.h>
#include <vnBase/vnThread.h>

#include <atomic>

class vnThreadPoolTicker;

/// What becomes of ticks that a delay has held up.
enum vnTickPolicy : unsigned int
{
    VN_TICK_CATCH_UP = 0, // each is made up for, one a round
    VN_TICK_DROP = 1      // the next one is due an interval from now; so do all other values
};

/// An object whose `onTick()` is called periodically or on demand without a thread of its own: all tickers
/// with one pool id share a thread. Pool 0 has none: it is driven by `vnThreadPoolTicker::guiTick()`.
///
///     class Clock : public vnThreadTicker
///     {
///     public:
///         Clock() : vnThreadTicker(1, VN_THREAD_PRIORITY_NORMAL)
///         {
///             setTickInterval(0.5);
///             enableThreadTicker();
///         }
///         ~Clock() noexcept(false) override { detachThreadTicker(); }
///         void onTick() override { ... }
///     };
///
/// A ticker stands in its pool from the moment it is enabled; `onInitialize()` comes before its first tick
/// and `onTerminate()` when it has been disabled, both on the pool's thread, never two calls at a time. The
/// destructor waits for a call that is under way, unless the ticker is destroyed in its own call. A derived
/// class begins its own destructor with `detachThreadTicker()`, since its overrides are gone when that of
/// this class runs, or is let go by `deleteThreadTicker()`.
///
/// Thread-safety: any thread.
class VN_BASE_API vnThreadTicker
{
public:
    /// The ticker is not enabled. The priority counts for the first ticker of a pool only.
    vnThreadTicker(unsigned int poolID, vnThreadPriority priority);
    vnThreadTicker(const vnThreadTicker&) = delete;
    vnThreadTicker& operator=(const vnThreadTicker&) = delete;
    virtual ~vnThreadTicker() noexcept(false);

    /// What escapes one of these ends the thread of the pool as it ends a `vnThread`, and the other tickers
    /// of the pool stand still until one is enabled or triggered; `guiTick()` hands it on.
    virtual void onInitialize();
    virtual void onTerminate();
    virtual void onTick();

    /// Does nothing for a ticker that is enabled, or that has not left its pool yet.
    void enableThreadTicker();

    /// Asks the pool to let the ticker go and gives it up to 10 milliseconds for that.
    void disableThreadTicker();
    unsigned char isEnabled() const noexcept { return m_enabled.load(std::memory_order_acquire); }

    /// Leaves the pool and is deleted by it, after a call that is under way. The object is the pool's from
    /// here on.
    void deleteThreadTicker();

    /// Seconds between ticks, from now on; 0 means that it ticks on demand only.
    void setTickInterval(double seconds);
    double getTickInterval() const noexcept { return m_interval.load(std::memory_order_relaxed); }
    void setTickPolicy(vnTickPolicy policy) noexcept { m_policy.store(policy, std::memory_order_relaxed); }

    /// Asks for one tick in `delay` seconds and enables the ticker. Answers 0 when an earlier one is pending,
    /// which stays. Waits for a tick that is under way on another thread.
    unsigned char triggerTick(double delay);

    unsigned int getPoolID() const noexcept { return m_poolID; }

    /// The shortest sleep of the pool between two rounds, in milliseconds, while this ticker has an interval.
    unsigned int getMinPoolSleepTicks() const noexcept
    {
        return m_minPoolSleepTicks.load(std::memory_order_relaxed);
    }
    void setMinPoolSleepTicks(const unsigned int& ticks) noexcept
    {
        m_minPoolSleepTicks.store(ticks, std::memory_order_relaxed);
    }

protected:
    /// Leaves the pool at once and for good, without `onTerminate()`; no operation of the ticker runs any
    /// more on another thread when it returns.
    void detachThreadTicker();

private:
    friend class vnThreadPoolTicker;

    std::atomic<unsigned int> m_minPoolSleepTicks{0};
    std::atomic<double> m_interval{0.0};
    std::atomic<double> m_nextTick{0.0};
    std::atomic<double> m_trigger{0.0}; // 0: none pending; changed under the tick mutex
    unsigned int m_poolID;
    std::atomic<vnTickPolicy> m_policy{VN_TICK_DROP};
    vnThreadPriority m_priority;
    vnMutex m_stateMutex; // guards enabling and disabling
    vnMutex m_tickMutex;  // held while it ticks
    std::atomic<unsigned char> m_enabled{0};
    vnRefPointer<vnThreadPoolTicker> m_pool;

    // Guarded by the pool.
    bool m_isActive = false;
    bool m_isWaiting = false;
    bool m_isLeaving = false;
};

/// The thread that drives the tickers of one pool id. Pools are made by their tickers and last as long as the
/// process. A pool's thread ends when its last ticker has left, and starts again with the next one.
class VN_BASE_API vnThreadPoolTicker : public vnThreadSafeReference, public vnThread
{
public:
    ~vnThreadPoolTicker() noexcept(false) override;

    /// Answers 0: there is one pool for each id.
    unsigned char useDeepCopy() override { return 0; }

    /// One round of pool 0 on the calling thread. Does nothing when called from one of its tickers.
    static void guiTick();

    /// Stops the threads of all pools. Their tickers stay enabled, and tick again after the next enabling or
    /// triggering in their pool.
    static void closeAll();

    unsigned int getPoolID() const noexcept { return m_poolID; }

    void stop(unsigned char wait) override;
    void process() override;

private:
    friend class vnThreadTicker;

    // A ticker that is to leave.
    class vnRemovedSubscriber : public vnReference
    {
    public:
        vnRemovedSubscriber(vnThreadTicker* ticker, unsigned char skipTerminate, bool destroys)
            : m_ticker(ticker), m_skipTerminate(skipTerminate), m_destroys(destroys)
        {
        }

        vnThreadTicker* m_ticker;
        unsigned char m_skipTerminate;
        bool m_destroys;
    };

    class Call;
    class Round;
    struct Pools;

    vnThreadPoolTicker(unsigned int poolID, vnThreadPriority priority);

    static Pools& pools();
    static vnThreadPoolTicker* find(unsigned int poolID, vnThreadPriority priority);
    static vnThreadPoolTicker* getPool(unsigned int index);

    void wake();
    void serve();
    void serveWhatIsQueued();
    bool hasRoundEnded() const;
    void takeRoundOver();
    bool mayEnd();
    void leave();

    bool add(vnThreadTicker* ticker);
    bool takeBack(vnThreadTicker* ticker);
    bool remove(vnThreadTicker* ticker);
    void awaitLeaving(vnThreadTicker* ticker);
    void removeAndDestroy(vnThreadTicker* ticker);
    void queueLeaving(vnThreadTicker* ticker, bool destroys);
    void cancelWaiting(vnThreadTicker* ticker);
    void forget(vnThreadTicker* ticker);
    void deactivate(vnThreadTicker* ticker);
    vnRemovedSubscriber* findLeaving(vnThreadTicker* ticker);

    unsigned char round();
    void compact();
    void takeWaiting();
    void tickAll(double now, unsigned int& minSleep);
    vnThreadTicker* nextDue(unsigned int& index, double now, unsigned int& minSleep);
    void letLeavingGo();
    void finishLeaving(const Call& call, const vnRemovedSubscriber& entry);
    void terminateActive();
    double getSleep(double spent, unsigned int minSleep);
    void sleep(double spent, unsigned int minSleep, unsigned int seenWakes);

    unsigned int m_poolID;

    vnEvent m_event; // its mutex guards the fields below, and each change of them fires it
    vnDynamicArray<vnThreadTicker*> m_active; // null where one has left in the midst of a round
    vnList<vnThreadTicker> m_waiting;
    vnRefList<vnRemovedSubscriber> m_leaving;
    vnThreadTicker* m_called = nullptr; // the one whose operation runs
    unsigned int m_callingThread = 0;
    unsigned int m_roundThread = 0;
    vnThreadControl* m_roundControl = nullptr; // of the same thread, when it is one of the library's
    unsigned int m_wakes = 0;
    bool m_isServed = false; // a thread will look at the lists after the mutex was given back
    double m_sleepInterval = 0.001;
};
