// SPDX-License-Identifier: MIT
#pragma once

#include "vnThreadPlatform.h"

#include <vnBase/vnMutex.h>
#include <vnBase/vnTime.h>

/// Holds a lock whose holder may keep it for good: tries for a bounded time, in `isHeld` it tells whether the
/// lock was to be had.
class vnTryGuard
{
public:
    explicit vnTryGuard(const vnMutex& mutex, double seconds = 0) : m_mutex(mutex), m_isHeld(mutex.tryLock())
    {
        if (m_isHeld || seconds == 0)
            return;
        const double end = vnTime::systemSeconds() + seconds;
        while (!m_isHeld && vnTime::systemSeconds() < end)
        {
            vnSleepMilliseconds(1);
            m_isHeld = mutex.tryLock();
        }
    }
    ~vnTryGuard()
    {
        if (m_isHeld)
            m_mutex.unLock();
    }
    vnTryGuard(const vnTryGuard&) = delete;
    vnTryGuard& operator=(const vnTryGuard&) = delete;

    bool isHeld() const noexcept { return m_isHeld; }

private:
    const vnMutex& m_mutex;
    bool m_isHeld;
};
