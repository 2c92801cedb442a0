// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <atomic>

/// What the locks need of the platform: the number of a thread, and to sleep on a word. Plain functions that
/// allocate nothing, throw nothing and leave the error state of the C library alone.

/// How a sleep ended.
enum vnLockSleepResult : unsigned int
{
    VN_LOCK_WOKEN,    // by a wake, or without a reason
    VN_LOCK_CHANGED,  // the word did not hold the expected value, so there was no sleep
    VN_LOCK_TIMED_OUT // the deadline has passed
};

/// A deadline that never comes.
constexpr vnInt64 VN_LOCK_FOREVER = -1;

/// The moment `milliseconds` from now, on the clock that sleeps are measured by; never for 0xFFFFFFFF.
vnInt64 vnLockDeadline(unsigned int milliseconds) noexcept;

/// Sleeps until woken or until `deadline`, unless `*word` differs from `expected`. `word` is 4 bytes,
/// aligned.
vnLockSleepResult vnLockSleep(const void* word, unsigned int expected, vnInt64 deadline) noexcept;

/// Wakes up to `count` sleepers of `word` and answers how many. The word itself is not read: it may be gone.
unsigned int vnLockWake(const void* word, unsigned int count) noexcept;

/// Lets up to `count` sleepers of `from` sleep on at `to`, as long as `*from` holds `expected`, and answers
/// how many.
unsigned int vnLockMove(const void* from, unsigned int expected, const void* to, unsigned int count) noexcept;

/// All sleepers.
constexpr unsigned int VN_LOCK_ALL = 0x7FFFFFFFu;

/// How often a thread looks at a lock before it sleeps for it. Most locks of the library are held for less
/// than a microsecond: to spin about that long is cheaper than to sleep.
constexpr unsigned int VN_LOCK_SPINS = 60;

/// A hint to the processor that the caller spins.
inline void vnLockRelax() noexcept
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

/// The id of the calling thread as the kernel numbers it, 0 and 1 excepted.
unsigned int vnLockThreadID() noexcept;

/// The inverse: what the kernel calls the thread of this id.
int vnLockKernelThread(unsigned int id) noexcept;
