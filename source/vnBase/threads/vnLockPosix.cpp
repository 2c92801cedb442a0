// SPDX-License-Identifier: MIT
#include "vnLockPlatform.h"

#include <vnBase/vnThreadID.h>

#include <cerrno>
#include <ctime>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{
// In a container the first thread has the kernel's number 1, which is the value of shared writers. The kernel
// gives no number above 2 to the 22nd.
constexpr int kernelFirstThread = 1;
constexpr unsigned int firstThreadID = 0x7FFFFFFFu;

constexpr vnInt64 nanosecondsPerSecond = 1000000000;

constexpr unsigned int forever = 0xFFFFFFFFu; // milliseconds

long futex(const void* word, int operation, unsigned int value, const timespec* deadline, unsigned int bits)
{
    return syscall(SYS_futex, word, operation | FUTEX_PRIVATE_FLAG, value, deadline, nullptr, bits);
}

// The child of a fork consists of one thread, which has another number than in its parent and is in no region
// of the library that another thread could end.
void resetThread()
{
    vnThisThread.id = 0;
}

[[maybe_unused]] const int forkHandler = pthread_atfork(nullptr, nullptr, resetThread);
} // namespace

vnInt64 vnLockDeadline(unsigned int milliseconds) noexcept
{
    if (milliseconds == forever)
        return VN_LOCK_FOREVER;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nanosecondsPerSecond + now.tv_nsec + milliseconds * vnInt64(1000000);
}

vnLockSleepResult vnLockSleep(const void* word, unsigned int expected, vnInt64 deadline) noexcept
{
    const int oldError = errno;
    timespec until{};
    until.tv_sec = deadline / nanosecondsPerSecond;
    until.tv_nsec = deadline % nanosecondsPerSecond;
    const long failed = futex(word, FUTEX_WAIT_BITSET, expected,
                              deadline == VN_LOCK_FOREVER ? nullptr : &until, FUTEX_BITSET_MATCH_ANY);
    const int error = failed ? errno : 0;
    errno = oldError;
    if (error == ETIMEDOUT)
        return VN_LOCK_TIMED_OUT;
    // A signal has interrupted the sleep: for the caller that is like a changed word, it looks again.
    return error ? VN_LOCK_CHANGED : VN_LOCK_WOKEN;
}

unsigned int vnLockWake(const void* word, unsigned int count) noexcept
{
    const int oldError = errno;
    const long woken = futex(word, FUTEX_WAKE, count, nullptr, 0);
    errno = oldError;
    return woken > 0 ? static_cast<unsigned int>(woken) : 0;
}

unsigned int vnLockMove(const void* from, unsigned int expected, const void* to, unsigned int count) noexcept
{
    const int oldError = errno;
    // None is woken; the count of those to move stands where other operations have their deadline.
    const long moved = syscall(SYS_futex, from, FUTEX_CMP_REQUEUE | FUTEX_PRIVATE_FLAG, 0,
                               static_cast<unsigned long>(count), to, expected);
    errno = oldError;
    return moved > 0 ? static_cast<unsigned int>(moved) : 0;
}

unsigned int vnLockThreadID() noexcept
{
    const long id = syscall(SYS_gettid);
    return id == kernelFirstThread ? firstThreadID : static_cast<unsigned int>(id);
}

int vnLockKernelThread(unsigned int id) noexcept
{
    return id == firstThreadID ? kernelFirstThread : static_cast<int>(id);
}
