// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <atomic>

class vnMutex;

/// What the library knows of the calling thread without a call: its id, and whether it stands inside a region
/// in which `vnThread::kill` must not end it. Plain data in the thread's static storage, so that a signal
/// handler may read it at any instruction.
struct vnThreadState
{
    unsigned int id;         // the kernel's thread id; 0 until first asked for and in the child of a fork
    volatile int guarded;    // library locks held
    volatile int shared;     // holds of semaphores taken by this thread
    volatile int allocating; // regions of vnKillGuard entered, those of the allocators first
    const vnMutex* volatile waitingFor; // the mutex that this thread sleeps for or may come to, or null
};

extern VN_BASE_API __thread vnThreadState vnThisThread __attribute__((tls_model("initial-exec")));

/// Reads the kernel's id into the calling thread's state and returns it; use `vnCurrentThreadState`.
VN_BASE_API unsigned int vnFetchThreadID() noexcept;

/// The calling thread's state, with its id filled in.
inline vnThreadState& vnCurrentThreadState() noexcept
{
    if (vnThisThread.id == 0)
        vnFetchThreadID();
    return vnThisThread;
}

/// The calling thread's id: the kernel's, never 0 and never 1, unique among the live threads of the process.
/// Cached for each thread, so a call costs one load and one test.
inline unsigned int vnCurrentThreadID() noexcept
{
    return vnCurrentThreadState().id;
}

/// Puts off the end that `vnThread::kill` brings to the calling thread while the guard lives. For regions
/// that leave shared state half changed; keep them short, since the killer waits for a bounded time only. It
/// waits longer than for locks, which `enter` and `leave` count: a thread may hold those for good.
///
/// The fences keep the compiler from moving the guarded work out of the region; they cost no instruction.
class vnKillGuard
{
public:
    vnKillGuard() noexcept
    {
        vnThisThread.allocating = vnThisThread.allocating + 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    ~vnKillGuard() noexcept
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        vnThisThread.allocating = vnThisThread.allocating - 1;
    }
    vnKillGuard(const vnKillGuard&) = delete;
    vnKillGuard& operator=(const vnKillGuard&) = delete;

    static void enter(vnThreadState& state) noexcept
    {
        state.guarded = state.guarded + 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    static void leave(vnThreadState& state) noexcept
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        state.guarded = state.guarded - 1;
    }
};
