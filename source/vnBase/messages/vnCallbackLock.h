// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSemaphore.h>

/// Guards for a `vnReadWriteMutex` under whose read side callbacks run. `depth` counts the calling thread's
/// own read holds, in its static storage, so that a change from within a callback does not wait for itself.

class vnCallbackReadGuard
{
public:
    vnCallbackReadGuard(const vnReadWriteMutex& mutex, unsigned int& depth) : m_mutex(mutex), m_depth(depth)
    {
        m_mutex.waitLockRead();
        ++m_depth;
    }
    ~vnCallbackReadGuard()
    {
        --m_depth;
        m_mutex.unLock();
    }
    vnCallbackReadGuard(const vnCallbackReadGuard&) = delete;
    vnCallbackReadGuard& operator=(const vnCallbackReadGuard&) = delete;

private:
    const vnReadWriteMutex& m_mutex;
    unsigned int& m_depth;
};

/// Gives the thread's read holds back while it writes, and takes them again afterwards.
class vnCallbackWriteGuard
{
public:
    vnCallbackWriteGuard(const vnReadWriteMutex& mutex, unsigned int depth) : m_mutex(mutex), m_depth(depth)
    {
        for (unsigned int i = 0; i < m_depth; ++i)
            m_mutex.unLock();
        m_mutex.waitLockWrite();
    }
    ~vnCallbackWriteGuard()
    {
        m_mutex.unLock();
        for (unsigned int i = 0; i < m_depth; ++i)
            m_mutex.waitLockRead();
    }
    vnCallbackWriteGuard(const vnCallbackWriteGuard&) = delete;
    vnCallbackWriteGuard& operator=(const vnCallbackWriteGuard&) = delete;

private:
    const vnReadWriteMutex& m_mutex;
    const unsigned int m_depth;
};
