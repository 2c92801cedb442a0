// SPDX-License-Identifier: MIT
#include <vnBase/vnThread.h>

#include "messages/vnPerformanceThread.h"
#include "vnLockPlatform.h"
#include "vnThreadKill.h"
#include "vnThreadNumber.h"
#include "vnThreadPlatform.h"
#include "vnTryGuard.h"

#include <memory/vnMemoryTable.h>

#include <vnBase/vnEvent.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnPerformance.h>
#include <vnBase/vnSystem.h>
#include <vnBase/vnTime.h>

#include <utility>

namespace
{
std::atomic<unsigned int> s_workingThreads{0};

vnMutex s_prioritiesLock;
unsigned char s_usePriorities = 0; // stored for callers that set it, read by nobody

constexpr unsigned int startMilliseconds = 1000;
constexpr unsigned int pollMilliseconds = 1;
constexpr unsigned int endlessMilliseconds = 0xFFFFFFFFu;

// How long the end of a thread is put off: for locks that it holds, and for the allocator alone. Without the
// message lock and the output all comes later.
constexpr double politeSeconds = 1.0;
constexpr double forcedSeconds = 2.0;
constexpr double killSeconds = 3.0;
constexpr double unquietSeconds = 0.5;
constexpr unsigned int messageLockMilliseconds = 10;

vnKillForce forceAfter(double seconds)
{
    if (seconds < politeSeconds)
        return VN_KILL_POLITELY;
    return seconds < forcedSeconds ? VN_KILL_FORCED : VN_KILL_IN_ANY_CASE;
}

// Holds what a thread must not take with it when it ends. Others may hold it for good, so that nothing here
// waits for long.
class Quiet
{
public:
    Quiet()
        : m_hasMessages(vnMessage::tryLock(messageLockMilliseconds)),
          m_hasOutput(m_hasMessages && vnTryLockOutput())
    {
    }
    ~Quiet()
    {
        if (m_hasOutput)
            vnUnlockOutput();
        if (m_hasMessages)
            vnMessage::unLock();
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

    bool isHeld() const noexcept { return m_hasOutput; }

private:
    bool m_hasMessages;
    bool m_hasOutput;
};
} // namespace

// One run of an object on this thread. An object may be destroyed by its own process(): then the run has none
// any more.
struct vnThread::Run
{
    vnThread* object;
    Run* outer;

    static __thread Run* s_innermost __attribute__((tls_model("initial-exec")));

    explicit Run(vnThread* thread) noexcept : object(thread), outer(s_innermost)
    {
        std::atomic_signal_fence(std::memory_order_seq_cst); // the thread may be ended on the spot
        s_innermost = this;
    }
    ~Run() { s_innermost = outer; }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    static Run* find(const vnThread* thread) noexcept
    {
        Run* run = s_innermost;
        while (run && run->object != thread)
            run = run->outer;
        return run;
    }

    static void forget(const vnThread* thread) noexcept
    {
        for (Run* run = s_innermost; run; run = run->outer)
            if (run->object == thread)
                run->object = nullptr;
    }
};

__thread vnThread::Run* vnThread::Run::s_innermost = nullptr;

// What surrounds process(), also when an error leaves it.
struct vnThread::Body
{
    Run* run;
    unsigned int id;

    Body(Run* own, unsigned int threadID) : run(own), id(threadID)
    {
        vnStartPerformanceThread();
        run->object->setWorking(true);
    }
    ~Body() noexcept(false)
    {
        if (run->object)
            run->object->setWorking(false);
        vnReleaseThreadNumber(id);
        vnStopPerformanceThread();
    }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
};

vnThread::vnThread(vnThreadPriority priority) noexcept : m_priority(priority) {}

vnThread::~vnThread() noexcept(false)
{
    vnThread::stop(1);
    setWorking(false);
    Run::forget(this);
    closeControl();
}

// Answers the flags as they were.
unsigned int vnThread::change(unsigned int set, unsigned int clear) noexcept
{
    unsigned int flags = m_flags.load(std::memory_order_relaxed);
    while (!m_flags.compare_exchange_weak(flags, (flags & ~clear) | set, std::memory_order_acq_rel))
        continue;
    if (set & ~flags)
        vnLockWake(&m_flags, VN_LOCK_ALL);
    return flags;
}

bool vnThread::isOwnThread() const noexcept
{
    return Run::find(this) != nullptr;
}

bool vnThread::hasThreadEnded() const
{
    vnBodyGuard guard(m_lock);
    return !m_control || m_control->hasEnded();
}

// The watchdog's step. Answers 0 when it has called kill().
unsigned char vnThread::watch()
{
    if (isOwnThread())
    {
        m_lastTick.store(vnTime::systemSeconds(), std::memory_order_relaxed);
        return 1;
    }
    const double limit = getTickLimit();
    if (limit <= 0 || vnTime::systemSeconds() - limit <= m_lastTick.load(std::memory_order_relaxed))
        return 1;
    kill();
    return 0;
}

// Called with the lock held. A thread can have ended without its body having come to its end.
void vnThread::refreshRunning()
{
    if (m_control && m_control->hasEnded())
        change(VN_STOPPING, VN_RUNNING | VN_INSIDE);
}

// Called with the lock held. Whether the object is marked as killed while the body is still inside: kill()
// has yet to end it, or can only mark it.
bool vnThread::isKilledInside() const
{
    return !has(VN_RUNNING) && has(VN_INSIDE) && !(m_control && m_control->hasEnded());
}

// Sleeps for as long as the thread may have till the next look at it.
void vnThread::pause(const vnThreadControl* control)
{
    if (control)
        control->waitForEnd(pollMilliseconds);
    else
        vnSleepMilliseconds(pollMilliseconds);
}

vnThreadControl* vnThread::useControl() const
{
    if (m_control)
        m_control->use();
    return m_control;
}

void vnThread::closeControl()
{
    if (m_control)
        m_control->letGo();
    m_control = nullptr;
}

// For a body that has come to its end. The thread is past the object and only has to end; the system keeps
// its stack until it is closed.
void vnThread::closeEnded(vnThreadControl* control)
{
    control->waitForEnd(pollMilliseconds);
    bool closes = false;
    {
        vnBodyGuard guard(m_lock);
        closes = m_control == control && control->hasEnded();
        if (closes)
            m_control = nullptr;
    }
    // Without the lock: the thread may still run the destructors of its own variables.
    if (closes)
        control->letGo();
}

bool vnThread::awaitEnd()
{
    bool isLive = false;
    vnThreadControl* control = nullptr;
    {
        vnBodyGuard guard(m_lock);
        refreshRunning();
        isLive = has(VN_RUNNING) || has(VN_INSIDE);
        control = useControl();
    }
    if (isLive)
        pause(control);
    else if (control)
        closeEnded(control);
    if (control)
        control->letGo();
    return !isLive;
}

void vnThread::stop(unsigned char wait)
{
    watch();
    const bool waits = wait && !isOwnThread();
    while (isValidMemory())
    {
        bool isLive = false;
        bool awaitsDeletion = false;
        vnThreadControl* control = nullptr;
        {
            vnBodyGuard guard(m_lock);
            change(VN_STOPPING, VN_RUN_AGAIN);
            refreshRunning();
            // Not running alone does not tell: a thread that is being killed, or has killed itself, may still
            // use the object.
            isLive = has(VN_RUNNING) || has(VN_INSIDE);
            if (waits)
                control = useControl();
            // Such an object may be gone as soon as the lock is given back.
            awaitsDeletion = control && has(VN_AUTO_DELETE);
        }
        if (awaitsDeletion)
            control->waitForEnd(endlessMilliseconds);
        else if (waits && isLive)
            pause(control);
        else if (control)
            closeEnded(control);
        if (control)
            control->letGo();
        if (!isLive || !waits || awaitsDeletion)
            return;
    }
}

// Holds the lock for the start of a run. That comes after the end of a killed body, which would share the
// object with the new one; only on the thread of that body there is no waiting.
struct vnThread::StartGuard
{
    vnThread& thread;

    explicit StartGuard(vnThread& object) : thread(object)
    {
        thread.m_lock.waitLock();
        while (thread.isKilledInside() && !thread.isOwnThread())
        {
            vnThreadControl* control = thread.useControl();
            thread.m_lock.unLock();
            pause(control);
            if (control)
                control->letGo();
            thread.m_lock.waitLock();
        }
    }
    ~StartGuard() { thread.m_lock.unLock(); }
    StartGuard(const StartGuard&) = delete;
    StartGuard& operator=(const StartGuard&) = delete;
};

unsigned char vnThread::run(unsigned char wait)
{
    int error = 0;
    vnThreadControl* ended = nullptr;
    vnThreadControl* control = nullptr; // the object may have deleted itself before this returns
    {
        const StartGuard guard(*this);
        if (has(VN_RUNNING))
            return 1;
        if (isKilledInside())
        {
            change(VN_RUNNING, VN_STOPPING); // the thread itself takes its own mark back
            return 1;
        }
        m_threadID.store(0, std::memory_order_relaxed);
        // The watchdog counts from here, so that it does not take a thread that is being born for a dead one.
        m_lastTick.store(vnTime::systemSeconds(), std::memory_order_relaxed);
        // The new thread has to wait for the lock before its body begins.
        vnThreadControl* created = vnThreadControl::create(enterThread, this, error);
        if (created)
        {
            ended = std::exchange(m_control, created);
            change(VN_RUNNING | VN_INSIDE, VN_STOPPING | VN_KILLED | VN_RUN_AGAIN);
            control = wait ? useControl() : nullptr;
        }
    }
    if (ended)
        ended->letGo();
    if (error != 0)
    {
        vnMessage::message(VN_MESSAGE_WARNING, "vnThread could not be started: %s",
                           vnGetSysErrorDescription(error));
        return 0;
    }
    if (control)
    {
        control->waitForLife(startMilliseconds);
        control->letGo();
    }
    return 1;
}

void vnThread::enterThread(void* object)
{
    vnThread* thread = static_cast<vnThread*>(object);
    Run run(thread);
    thread->m_threadID.store(vnCurrentThreadID(), std::memory_order_release);
    do
        vnExecuteProgram(thread);
    while (run.object && thread->isValidMemory() && thread->beginAgain());
    vnForgetMemoryState(vnCurrentThreadID());
    if (run.object && thread->isValidMemory() && thread->endRun(run))
        delete thread;
}

void vnThread::runAgain()
{
    vnBodyGuard guard(m_lock);
    change(VN_RUN_AGAIN, 0);
}

bool vnThread::beginAgain()
{
    vnBodyGuard guard(m_lock);
    if (!has(VN_RUN_AGAIN) || has(VN_KILLED))
        return false;
    change(0, VN_RUN_AGAIN | VN_STOPPING);
    return true;
}

// Answers whether the object is to be deleted. When it is not, it may be gone on return.
bool vnThread::endRun(Run& run)
{
    vnBodyGuard guard(m_lock);
    const vnKillGuard kept; // the two steps belong together
    const bool isDeleted = has(VN_AUTO_DELETE) && !has(VN_KILLED);
    if (!isDeleted)
        run.object = nullptr; // whoever sees the flags may destroy it
    change(0, VN_RUNNING | VN_INSIDE);
    return isDeleted;
}

void vnThread::onProgramExecution()
{
    Run* const run = Run::find(this);
    if (!run) // executed as any other program, by a thread that has not begun a run
    {
        vnThread::chain();
        return;
    }
    const unsigned int id = vnCurrentThreadID();
    {
        vnBodyGuard guard(m_lock);
        if (!has(VN_KILLED))
            change(VN_RUNNING, 0);
    }
    vnThreadControl::markCallerLive();
    watch();
    {
        vnBodyGuard guard(m_lock);
        // A thread that chains the object is not its own: it keeps the priority that it has.
        if (m_control && m_control->isCaller())
            applyPriority(id);
    }
    const Body body(run, id);
    process();
}

// The end of a run on the caller's thread, whatever leaves it.
struct vnThread::Chained
{
    Run run;

    explicit Chained(vnThread* thread) noexcept : run(thread) {}
    ~Chained()
    {
        if (!run.object)
            return;
        vnBodyGuard guard(run.object->m_lock);
        const vnKillGuard kept;
        vnThread* thread = std::exchange(run.object, nullptr); // as in endRun()
        thread->change(VN_STOPPING, VN_RUNNING | VN_RUN_AGAIN | VN_INSIDE);
    }
    Chained(const Chained&) = delete;
    Chained& operator=(const Chained&) = delete;
};

unsigned char vnThread::chain()
{
    vnThreadControl* ended = nullptr;
    {
        const StartGuard guard(*this);
        if (has(VN_RUNNING) || isKilledInside())
            return 0;
        m_lastTick.store(vnTime::systemSeconds(), std::memory_order_relaxed); // as in run()
        change(VN_RUNNING | VN_INSIDE, VN_STOPPING | VN_KILLED | VN_RUN_AGAIN);
        ended = std::exchange(m_control, nullptr);
        m_threadID.store(vnCurrentThreadID(), std::memory_order_release);
    }
    const Chained chained(this);
    if (ended)
        ended->letGo();
    vnExecuteProgram(this);
    return 1;
}

void vnThread::process()
{
    while (isValidMemory())
    {
        unsigned int flags;
        {
            vnBodyGuard guard(m_lock);
            refreshRunning();
            flags = m_flags.load(std::memory_order_acquire);
        }
        if (flags & VN_STOPPING)
            return;
        // A stop changes the flags and so ends the sleep.
        vnLockSleep(&m_flags, flags, vnLockDeadline(1000));
    }
}

void vnThread::kill()
{
    vnThreadControl* victim = nullptr;
    if (!markKilled(victim))
    {
        reportAlive();
        return;
    }
    if (!victim)
        return;
    if (!victim->isCaller())
    {
        if (!endVictim(victim))
            keepVictim(victim);
        // One that has ended by itself has left nothing, and its id may be another thread's by now.
        else if (victim->takeRemains())
            cleanUpAfter(victim);
    }
    victim->letGo();
}

// Answers 0 when another thread keeps the lock.
bool vnThread::markKilled(vnThreadControl*& victim)
{
    const vnTryGuard guard(m_lock, politeSeconds);
    // The victim itself may hold the lock for good; then nobody else changes its control.
    const unsigned int self = m_threadID.load(std::memory_order_acquire);
    const bool isVictims = self != 0 && m_lock.getOwnerThreadID() == self;
    const vnTryGuard late(m_lock, 0); // the victim may have given it back just now
    if (!late.isHeld() && !isVictims)
    {
        change(VN_STOPPING, 0);
        return false;
    }
    change(VN_STOPPING | VN_KILLED, VN_RUNNING | VN_RUN_AGAIN);
    victim = useControl();
    return true;
}

bool vnThread::endVictim(vnThreadControl* victim)
{
    const double begin = vnTime::systemSeconds();
    double elapsed = 0;
    while (!victim->hasEnded() && elapsed < killSeconds)
    {
        // In between nothing is held, so that the thread can leave the region that puts its end off.
        if (!tryToKill(victim, elapsed))
            victim->waitForEnd(pollMilliseconds);
        elapsed = vnTime::systemSeconds() - begin;
    }
    return victim->hasEnded();
}

// One attempt, under the locks that the thread must not die with. It comes without them in the end.
bool vnThread::tryToKill(vnThreadControl* victim, double elapsed)
{
    const vnTryGuard guard(m_lock, 0);
    const Quiet quiet;
    if (guard.isHeld() && quiet.isHeld())
    {
        if (victim->tryToEnd(forceAfter(elapsed)))
            return true;
        // It may be on its way to one of these locks, and sleep there.
        victim->waitForEnd(pollMilliseconds);
        return victim->tryToEnd(forceAfter(elapsed));
    }
    return elapsed >= politeSeconds && victim->tryToEnd(forceAfter(elapsed - unquietSeconds));
}

// The thread could not be ended, and goes on.
void vnThread::keepVictim(const vnThreadControl* victim)
{
    {
        const vnTryGuard guard(m_lock, 0);
        if (m_control == victim && isKilledInside())
            change(VN_RUNNING, VN_KILLED);
    }
    reportAlive();
}

void vnThread::reportAlive() const
{
    vnMessage::message(VN_MESSAGE_WARNING, "vnThread (%x) does not end when killed",
                       static_cast<const void*>(this));
}

// What the thread itself would have done at its end.
void vnThread::cleanUpAfter(const vnThreadControl* victim)
{
    vnReleaseThreadNumber(victim->getID());
    vnForgetMemoryState(victim->getID());
    vnStopKilledPerformanceThread(victim->getID());
    const vnTryGuard guard(m_lock, politeSeconds);
    if (m_control != victim)
        return;
    change(VN_STOPPING, VN_RUNNING | VN_INSIDE);
    setWorking(false);
}

// Nobody else could do this for an object that was chained on the thread, or whose lock the thread holds.
void vnEndRunsHere() noexcept
{
    for (const vnThread::Run* run = vnThread::Run::s_innermost; run; run = run->outer)
    {
        vnThread* thread = run->object;
        if (!thread)
            continue;
        thread->m_lock.releaseAll();
        thread->setWorking(false);
        thread->change(vnThread::VN_STOPPING,
                       vnThread::VN_RUNNING | vnThread::VN_RUN_AGAIN | vnThread::VN_INSIDE);
    }
}

unsigned char vnThread::isRunning(unsigned char tick)
{
    if (!isValidMemory())
        return 0;
    if (tick)
        watch();
    return has(VN_RUNNING);
}

unsigned char vnThread::isStopping(unsigned char tick)
{
    if (!isValidMemory())
        return 1;
    if (tick)
        watch();
    return has(VN_STOPPING);
}

unsigned char vnThread::tickAlive()
{
    return watch();
}

// The flags and times are read without the lock, so that these need not know who holds it.
unsigned char vnThread::isRunning_unsafe(unsigned char tick)
{
    return vnThread::isRunning(tick);
}

unsigned char vnThread::isStopping_unsafe(unsigned char tick)
{
    return vnThread::isStopping(tick);
}

unsigned char vnThread::tickAlive_unsafe()
{
    return watch();
}

void vnThread::setAutoDelete(unsigned char enable)
{
    vnBodyGuard guard(m_lock);
    if (enable)
        change(VN_AUTO_DELETE, 0);
    else
        change(0, VN_AUTO_DELETE);
}

void vnThread::setThreadPriority(vnThreadPriority priority)
{
    vnBodyGuard guard(m_lock);
    m_priority.store(priority, std::memory_order_relaxed);
    if (m_control && !m_control->hasEnded())
        applyPriority(m_control->getID());
}

vnThreadPriority vnThread::getThreadPriority() const
{
    return m_priority.load(std::memory_order_relaxed);
}

void vnThread::applyPriority(unsigned int id) const
{
    const unsigned int priority = getThreadPriority();
    if (priority <= VN_THREAD_PRIORITY_HIGHEST)
        vnSetPlatformPriority(id, static_cast<int>(priority) - VN_THREAD_PRIORITY_NORMAL);
}

void vnThread::setTickLimit(double seconds)
{
    m_tickLimit.store(seconds > 0 ? seconds : 0.0, std::memory_order_relaxed);
}

void vnThread::working(unsigned char busy)
{
    setWorking(busy);
}

void vnThread::setWorking(bool busy)
{
    const vnKillGuard kept; // the flag and the counter belong together
    const bool wasBusy = (busy ? change(VN_WORKING, 0) : change(0, VN_WORKING)) & VN_WORKING;
    if (busy && !wasBusy)
        s_workingThreads.fetch_add(1, std::memory_order_relaxed);
    else if (!busy && wasBusy)
        s_workingThreads.fetch_sub(1, std::memory_order_relaxed);
}

unsigned int vnThread::getWorkingThreads() noexcept
{
    return s_workingThreads.load(std::memory_order_relaxed);
}

vnThreadInfo vnThread::getThreadInfo() const
{
    vnBodyGuard guard(m_lock);
    if (m_control)
        return {m_control->getID(), m_control};
    return {m_threadID.load(std::memory_order_relaxed), nullptr};
}

void vnThread::vnDelayFunction(unsigned int milliseconds, vnEvent* event)
{
    if (event)
        event->wait(milliseconds, 0);
    else
        vnSleepMilliseconds(milliseconds);
}

void vnThread::vnMicroDelayFunction(unsigned int microseconds)
{
    if (microseconds == 0)
    {
        vnSleepMilliseconds(0);
        return;
    }
    const double end = vnTime::systemSeconds() + microseconds * 1e-6;
    while (vnTime::systemSeconds() < end)
        vnLockRelax();
}

void vnThread::useThreadPriorities(unsigned char enable)
{
    vnBodyGuard guard(s_prioritiesLock);
    s_usePriorities = enable;
}
