// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <atomic>

/// What threads need of the platform.

/// How much an attempt to end a thread takes into account.
enum vnKillForce : unsigned int
{
    VN_KILL_POLITELY = 1, // not while it holds a lock of the library, nor as below
    VN_KILL_FORCED = 2,   // not while it is inside an allocator or the code of another runtime
    VN_KILL_IN_ANY_CASE = 3
};

/// One thread that was created here. It lives until the thread has ended and its last user has let go.
class vnThreadControl
{
public:
    /// Starts a thread that calls `entry(argument)`; null when the system refuses, with its reason in
    /// `error`. The caller is a user.
    static vnThreadControl* create(void (*entry)(void*), void* argument, int& error);

    void use() noexcept;
    void letGo() noexcept;

    /// The id of the thread; waits for the moment in which the thread begins.
    unsigned int getID() const noexcept;
    bool hasEnded() const noexcept;
    bool isCaller() const noexcept;

    /// Whether the thread was ended by `tryToEnd`, and left behind what it would have cleaned up. Answers 1
    /// once, to whoever is to do it.
    bool takeRemains() noexcept;

    /// The control of the calling thread; null in a thread that was not created here.
    static vnThreadControl* getCaller() noexcept;

    /// Tells that the work of the calling thread has begun; nothing in a thread that was not created here.
    static void markCallerLive() noexcept;

    /// Returns when the work of the thread has begun, when the thread has ended, or after so many
    /// milliseconds.
    void waitForLife(unsigned int milliseconds) const noexcept;

    /// Returns when the thread has ended, or after so many milliseconds.
    void waitForEnd(unsigned int milliseconds) const noexcept;

    /// One attempt to end the thread on the spot. Answers whether the thread has ended, by it or otherwise.
    bool tryToEnd(vnKillForce force) noexcept;

private:
    struct Access;

    enum State : unsigned int
    {
        VN_ENDED = 1,
        VN_ABANDONED = 2,
        VN_LIVE = 4,
        VN_REMAINS = 8
    };

    void waitFor(unsigned int states, unsigned int milliseconds) const noexcept;

    vnThreadControl() = default;

    std::atomic<unsigned int> m_id{0};
    std::atomic<unsigned int> m_state{0};
    std::atomic<unsigned int> m_users{1};
    std::atomic<unsigned int> m_request{0}; // a vnKillForce, or an answer to it
    unsigned long m_handle = 0;
    void (*m_entry)(void*) = nullptr;
    void* m_argument = nullptr;
};

/// Sets the priority of a thread to that of the process plus `step`, -2 to 2. The system may refuse.
void vnSetPlatformPriority(unsigned int id, int step) noexcept;

/// Sleeps; 0 yields the processor.
void vnSleepMilliseconds(unsigned int milliseconds) noexcept;

/// Take the locks of the C library's standard output and error streams, or neither of them, without waiting.
bool vnTryLockOutput() noexcept;
void vnUnlockOutput() noexcept;
