// SPDX-License-Identifier: MIT
#include "vnThreadPlatform.h"

#include "vnLockPlatform.h"
#include "vnThreadKill.h"

#include <vnBase/vnMemory.h>
#include <vnBase/vnThreadID.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{
// The control of the calling thread; null in threads of others. Read by the signal handler.
__thread vnThreadControl* t_control __attribute__((tls_model("initial-exec"))) = nullptr;

// Answers to a request to end.
constexpr unsigned int noRequest = 0;
constexpr unsigned int considered = 0x100; // the thread looks at itself
constexpr unsigned int accepted = 0x101;   // it ends at once

constexpr unsigned int answerMilliseconds = 10;
} // namespace

struct vnThreadControl::Access
{
    static void* main(void* argument)
    {
        vnThreadControl* control = static_cast<vnThreadControl*>(argument);
        // The id comes first: whoever ends the thread, which needs the control, asks for it.
        control->m_id.store(vnCurrentThreadID(), std::memory_order_release);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        t_control = control;
        vnLockWake(&control->m_id, VN_LOCK_ALL);
        const End end{control}; // also when the thread is left by pthread_exit
        control->m_entry(control->m_argument);
        return nullptr;
    }

    struct End
    {
        vnThreadControl* control;

        ~End()
        {
            t_control = nullptr;
            std::atomic_signal_fence(std::memory_order_seq_cst);
            const unsigned int old = control->m_state.fetch_or(VN_ENDED, std::memory_order_acq_rel);
            vnLockWake(&control->m_state, VN_LOCK_ALL);
            if (old & VN_ABANDONED)
                destroy(control);
        }
    };

    static void destroy(vnThreadControl* control)
    {
        control->~vnThreadControl();
        vn_free(control);
    }

    // On the thread that is to end. Only calls what may be called in a signal handler.
    static void onSignal(int, siginfo_t*, void* context)
    {
        vnThreadControl* control = t_control;
        if (!control)
            return;
        unsigned int request = control->m_request.load(std::memory_order_acquire);
        if (request == noRequest || request >= considered ||
            !control->m_request.compare_exchange_strong(request, considered, std::memory_order_acq_rel))
            return;
        if (vnMayBeEndedHere(static_cast<vnKillForce>(request), context))
        {
            // Not in endHere: at a call that does not return AddressSanitizer may take the frames below this
            // handler for left, and use their places again.
            vnPassWakeUpOn(vnThisThread);
            vnEndRunsHere();
            endHere(control);
        }
        control->m_request.store(noRequest, std::memory_order_release);
        vnLockWake(&control->m_request, VN_LOCK_ALL);
    }

    // The C library gives the stack of an ended thread to the next one, and with it the values under its
    // keys, which only a thread that ends properly takes away.
    static void forgetSpecifics()
    {
        for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key)
            pthread_setspecific(key, nullptr);
    }

    [[noreturn]] static void endHere(vnThreadControl* control)
    {
        forgetSpecifics();
        control->m_state.fetch_or(VN_ENDED | VN_REMAINS, std::memory_order_acq_rel);
        control->m_request.store(accepted, std::memory_order_release);
        vnLockWake(&control->m_state, VN_LOCK_ALL);
        vnLockWake(&control->m_request, VN_LOCK_ALL);
        // The thread alone, without unwinding and without the C library's own clean-up; the kernel tells
        // those who join it.
        for (;;)
            syscall(SYS_exit, 0);
    }
};

vnThreadControl* vnThreadControl::create(void (*entry)(void*), void* argument, int& error)
{
    void* place = vn_malloc(sizeof(vnThreadControl), "vnThreadControl");
    if (!place)
        vnThrowBadAlloc(__FILE__, __LINE__);
    vnThreadControl* control = new (place) vnThreadControl;
    control->m_entry = entry;
    control->m_argument = argument;
    pthread_t handle{};
    error = pthread_create(&handle, nullptr, Access::main, control);
    if (error != 0)
    {
        Access::destroy(control);
        return nullptr;
    }
    control->m_handle = handle;
    return control;
}

void vnThreadControl::use() noexcept
{
    m_users.fetch_add(1, std::memory_order_relaxed);
}

void vnThreadControl::letGo() noexcept
{
    if (m_users.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    const pthread_t handle = m_handle;
    if (!(m_state.fetch_or(VN_ABANDONED, std::memory_order_acq_rel) & VN_ENDED))
    {
        pthread_detach(handle); // it frees the control itself
        return;
    }
    // The thread has nothing left to do, so that to join it waits for nobody; but for the destructors of its
    // own variables, one of which may have led here.
    if (pthread_equal(handle, pthread_self()))
        pthread_detach(handle);
    else
        pthread_join(handle, nullptr);
    Access::destroy(this);
}

unsigned int vnThreadControl::getID() const noexcept
{
    while (m_id.load(std::memory_order_acquire) == 0)
        vnLockSleep(&m_id, 0, VN_LOCK_FOREVER);
    return m_id.load(std::memory_order_relaxed);
}

bool vnThreadControl::hasEnded() const noexcept
{
    return m_state.load(std::memory_order_acquire) & VN_ENDED;
}

bool vnThreadControl::takeRemains() noexcept
{
    return m_state.fetch_and(~VN_REMAINS, std::memory_order_acq_rel) & VN_REMAINS;
}

bool vnThreadControl::isCaller() const noexcept
{
    return t_control == this;
}

vnThreadControl* vnThreadControl::getCaller() noexcept
{
    return t_control;
}

void vnThreadControl::markCallerLive() noexcept
{
    vnThreadControl* self = t_control;
    if (!self || (self->m_state.fetch_or(VN_LIVE, std::memory_order_acq_rel) & VN_LIVE))
        return;
    vnLockWake(&self->m_state, VN_LOCK_ALL);
}

void vnThreadControl::waitForLife(unsigned int milliseconds) const noexcept
{
    waitFor(VN_LIVE | VN_ENDED, milliseconds);
}

void vnThreadControl::waitForEnd(unsigned int milliseconds) const noexcept
{
    waitFor(VN_ENDED, milliseconds);
}

void vnThreadControl::waitFor(unsigned int states, unsigned int milliseconds) const noexcept
{
    const vnInt64 deadline = vnLockDeadline(milliseconds);
    unsigned int state = m_state.load(std::memory_order_acquire);
    while (!(state & states) && vnLockSleep(&m_state, state, deadline) != VN_LOCK_TIMED_OUT)
        state = m_state.load(std::memory_order_acquire);
}

bool vnThreadControl::tryToEnd(vnKillForce force) noexcept
{
    if (hasEnded())
        return true;
    const int signalNumber = vnKillSignal(Access::onSignal);
    unsigned int request = force;
    m_request.store(request, std::memory_order_release);
    if (signalNumber == 0 || pthread_kill(m_handle, signalNumber) != 0)
    {
        m_request.store(noRequest, std::memory_order_relaxed);
        return hasEnded();
    }
    const vnInt64 deadline = vnLockDeadline(answerMilliseconds);
    while (request != noRequest && request != accepted && !hasEnded())
    {
        // A request that is looked at can't be taken back, and gets its answer.
        if (vnLockSleep(&m_request, request, request == considered ? VN_LOCK_FOREVER : deadline) ==
                VN_LOCK_TIMED_OUT &&
            m_request.compare_exchange_strong(request, noRequest, std::memory_order_acq_rel))
            break;
        request = m_request.load(std::memory_order_acquire);
    }
    return hasEnded();
}

void vnSetPlatformPriority(unsigned int id, int step) noexcept
{
    constexpr int niceOfStep = -5;
    const int base = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    const int wanted = std::max(-20, std::min(19, base + step * niceOfStep));
    const id_t thread = static_cast<id_t>(vnLockKernelThread(id));
    if (getpriority(PRIO_PROCESS, thread) != wanted)
        setpriority(PRIO_PROCESS, thread, wanted);
}

void vnSleepMilliseconds(unsigned int milliseconds) noexcept
{
    if (milliseconds == 0)
    {
        sched_yield();
        return;
    }
    timespec left{};
    left.tv_sec = milliseconds / 1000;
    left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000;
    while (nanosleep(&left, &left) != 0 && errno == EINTR)
        continue;
}

bool vnTryLockOutput() noexcept
{
    if (ftrylockfile(stdout) != 0)
        return false;
    if (ftrylockfile(stderr) == 0)
        return true;
    funlockfile(stdout);
    return false;
}

void vnUnlockOutput() noexcept
{
    funlockfile(stderr);
    funlockfile(stdout);
}
