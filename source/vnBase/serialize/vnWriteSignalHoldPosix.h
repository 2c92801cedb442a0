// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

/// A write past the limit on file sizes, or to a pipe that nobody reads, raises a signal that ends the
/// process. It is held off for the calling thread while it writes, and taken away again, so that only the
/// error of the call tells.
class vnWriteSignalHold
{
public:
    vnWriteSignalHold()
    {
        sigset_t pending;
        sigpending(&pending);
        sigemptyset(&m_signals);
        for (const int signal : {SIGPIPE, SIGXFSZ})
            if (!sigismember(&pending, signal)) // otherwise somebody holds it off already and waits for it
                sigaddset(&m_signals, signal);
        m_holds = pthread_sigmask(SIG_BLOCK, &m_signals, &m_before) == 0;
    }
    ~vnWriteSignalHold()
    {
        if (!m_holds)
            return;
        const int error = errno;
        if (error == EPIPE || error == EFBIG)
        {
            const timespec atOnce{};
            while (sigtimedwait(&m_signals, nullptr, &atOnce) < 0 && errno == EINTR)
            {
            }
        }
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = error;
    }
    vnWriteSignalHold(const vnWriteSignalHold&) = delete;
    vnWriteSignalHold& operator=(const vnWriteSignalHold&) = delete;

private:
    sigset_t m_signals;
    sigset_t m_before;
    bool m_holds = false;
};
