// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnProgramExecution.h>

#include <atomic>

class vnEvent;
class vnThreadControl;

/// Priorities of threads, relative to that of the process. The system may refuse to raise one; that is no
/// error. Other values are stored and not applied.
enum vnThreadPriority : unsigned int
{
    VN_THREAD_PRIORITY_LOWEST = 0,
    VN_THREAD_PRIORITY_LOW = 1,
    VN_THREAD_PRIORITY_NORMAL = 2, // that of the library's own threads
    VN_THREAD_PRIORITY_HIGH = 3,
    VN_THREAD_PRIORITY_HIGHEST = 4
};

/// Which thread runs an object. `handle` is opaque, and null for a thread that was not created by `run()`.
struct vnThreadInfo
{
    unsigned int threadID;
    void* handle;
};

/// The base class of every worker: derive from it and override `process()`.
///
///     class Worker : public vnThread
///     {
///     public:
///         Worker() : vnThread(VN_THREAD_PRIORITY_NORMAL) {}
///         ~Worker() noexcept(false) override { stop(1); }
///         void process() override
///         {
///             while (!isStopping(1))
///                 step();
///         }
///     };
///
/// Stopping is cooperative: `process()` has to ask `isStopping()`. A derived class must stop its thread in
/// its own destructor, since its `process()` is gone when that of this class runs. `stop()` wakes nothing
/// that `process()` waits for; a class that waits overrides it and does so first.
///
/// Watchdog: with a tick limit, a thread that has not ticked for longer is killed by whoever asks about it
/// next, through `tickAlive()`, `isRunning(1)`, `isStopping(1)` or `stop()` on another thread. Each of these,
/// called on the thread itself, is a tick.
///
/// A thread that has stopped may be run again.
///
/// Thread-safety: any thread.
class VN_BASE_API vnThread : public vnMemoryCheck, public vnProgramExecution
{
public:
    /// Does not start the thread.
    explicit vnThread(vnThreadPriority priority = VN_THREAD_PRIORITY_NORMAL) noexcept;
    vnThread(const vnThread&) = delete;
    vnThread& operator=(const vnThread&) = delete;

    /// Stops the thread and waits for it.
    ~vnThread() noexcept(false) override;

    /// Asks the thread to stop. With `wait` it returns once the thread has ended; called on the thread itself
    /// it never waits.
    virtual void stop(unsigned char wait);

    /// Starts the thread; nothing happens when it runs. With `wait` it returns when the thread body is live,
    /// or after a second. A thread that is being killed, or has killed itself, is waited for first; on that
    /// thread itself this takes the mark back. Returns 1; 0, with a Warning, when the system has no thread to
    /// give.
    virtual unsigned char run(unsigned char wait);

    /// Runs the thread body on the calling thread and returns 1 when it has ended; 0 when it runs already.
    /// One that is being killed is waited for as in `run()`. `vnExecuteProgram()` with the object does the
    /// same.
    virtual unsigned char chain();

    /// The work. By default it waits to be stopped. A `vnBaseError`, or exhausted memory, that escapes it is
    /// posted as a Fatal message and ends the thread; any other exception ends the process.
    virtual void process();

    /// Terminates the thread where it stands: nothing is unwound, the locks that it holds stay held, except
    /// those of the objects that it runs, and its object is not deleted by `setAutoDelete()`. It is put off,
    /// for a bounded time, while the thread holds locks of the library or the standard output, or is inside
    /// an allocator. One that does not end, since it blocks all signals or another thread keeps the object's
    /// lock, is reported as a Warning and goes on running. A thread in `chain()`, and the calling thread
    /// itself, is only marked as stopped: `stop(1)` waits for it.
    void kill();

    /// With `tick` the watchdog looks first. `isRunning` answers 0 and `isStopping` 1 once the object was
    /// destroyed, so that loops over statics end.
    unsigned char isRunning(unsigned char tick);
    unsigned char isStopping(unsigned char tick);

    /// A tick, or the watchdog's look from another thread; 0 when that found the thread past its limit and
    /// called `kill()`.
    unsigned char tickAlive();

    /// The same for code that holds the object's lock.
    unsigned char isRunning_unsafe(unsigned char tick);
    unsigned char isStopping_unsafe(unsigned char tick);
    unsigned char tickAlive_unsafe();

    /// Deletes the object when the thread ends.
    void setAutoDelete(unsigned char enable);

    /// A thread in `chain()` keeps its own.
    void setThreadPriority(vnThreadPriority priority);
    vnThreadPriority getThreadPriority() const;

    /// Seconds; 0 or less means that there is no watchdog.
    void setTickLimit(double seconds);
    double getTickLimit() const noexcept { return m_tickLimit.load(std::memory_order_relaxed); }

    /// Marks the thread as busy (1) or idle (0).
    void working(unsigned char busy);

    /// How many threads of the process are busy.
    static unsigned int getWorkingThreads() noexcept;

    vnThreadInfo getThreadInfo() const;

    /// The id of the calling thread.
    static unsigned int getThreadID() noexcept { return vnCurrentThreadID(); }

    /// A number below 10000 that stands for the thread `id` (0: the calling thread) while it lives. 10000
    /// when all are taken, which is no number.
    static unsigned int getThreadEnum(unsigned int id) noexcept;

    /// Sleeps, or waits on `event` for at most as long.
    static void vnDelayFunction(unsigned int milliseconds, vnEvent* event);

    /// A busy wait; 0 yields the processor.
    static void vnMicroDelayFunction(unsigned int microseconds);

    /// Kept for programs that call it: a switch that nothing reads.
    static void useThreadPriorities(unsigned char enable);

protected:
    /// The object's lock, for the `_unsafe` operations.
    vnMutex& getThreadLock() noexcept { return m_lock; }

    /// Whether the calling thread is the one that runs the object.
    bool isOwnThread() const noexcept;

    /// Whether there is no thread that `run()` has started and that still lives. A thread that is being
    /// killed is not running any more and has yet to end.
    bool hasThreadEnded() const;

    /// Waits for at most some milliseconds until the object does not run any more. Answers whether that is
    /// so. Unlike `stop(1)` it leaves a thread alone that was started meanwhile. Not on the thread itself.
    bool awaitEnd();

    /// On the thread itself, for work that turns up when its body has ended and is only reported on: the body
    /// runs once more, unless `stop()` comes in between.
    void runAgain();

private:
    friend void vnEndRunsHere() noexcept;

    enum Flag : unsigned int
    {
        VN_STOPPING = 1,
        VN_RUNNING = 2,
        VN_AUTO_DELETE = 4,
        VN_WORKING = 8,
        VN_KILLED = 16, // the object stays with the killer
        VN_RUN_AGAIN = 32,
        VN_INSIDE = 64 // from the start of a run until its thread does not touch the object any more
    };

    struct Run;
    struct Body;
    struct Chained;
    struct StartGuard;

    void onProgramExecution() override;

    static void enterThread(void* object);
    bool beginAgain();
    bool endRun(Run& run);

    bool has(Flag flag) const noexcept { return m_flags.load(std::memory_order_acquire) & flag; }
    unsigned int change(unsigned int set, unsigned int clear) noexcept;
    unsigned char watch();
    void refreshRunning();
    bool isKilledInside() const;
    static void pause(const vnThreadControl* control);
    vnThreadControl* useControl() const;
    void closeControl();
    void closeEnded(vnThreadControl* control);
    void applyPriority(unsigned int id) const;
    bool markKilled(vnThreadControl*& victim);
    bool endVictim(vnThreadControl* victim);
    bool tryToKill(vnThreadControl* victim, double elapsed);
    void keepVictim(const vnThreadControl* victim);
    void reportAlive() const;
    void setWorking(bool busy);
    void cleanUpAfter(const vnThreadControl* victim);

    mutable vnMutex m_lock;               // guards changes of the fields below
    std::atomic<unsigned int> m_flags{0}; // read without the lock
    std::atomic<unsigned int> m_threadID{0};
    vnThreadControl* m_control = nullptr;
    std::atomic<double> m_lastTick{0.0};
    std::atomic<double> m_tickLimit{0.0};
    std::atomic<vnThreadPriority> m_priority;
};
