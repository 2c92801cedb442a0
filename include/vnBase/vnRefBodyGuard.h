// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>
#include <vnBase/vnReference.h>

/// A `vnBodyGuard` that is handed on by reference count: the lock goes when the last reference goes. It must
/// go on the thread that took it.
class VN_BASE_API vnRefBodyGuard : public vnReference
{
public:
    explicit vnRefBodyGuard(const vnMutex& mutex) : m_mutex(&mutex) { m_mutex->waitLock(); }

    /// Takes the same mutex once more.
    vnRefBodyGuard(const vnRefBodyGuard& other) : vnReference(other), m_mutex(other.m_mutex)
    {
        m_mutex->waitLock();
    }
    ~vnRefBodyGuard() noexcept(false) override { m_mutex->unLock(); }

private:
    explicit vnRefBodyGuard(const vnBodyGuard&);
    vnRefBodyGuard& operator=(const vnRefBodyGuard&);

    const vnMutex* m_mutex;
};
