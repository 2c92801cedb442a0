// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>

/// A reference count guarded by a mutex, for the classes whose objects any threads may hold.
inline void vnLockedRaise(vnMutex& mutex, unsigned int& count)
{
    mutex.waitLock();
    ++count;
    mutex.unLock();
}

/// Returns the new count. `throwZero` ends a count of 0 and leaves the mutex locked, deliberately: the object
/// is in use after its end, and whoever comes next is to stop there.
template <class ThrowZero>
unsigned int vnLockedLower(vnMutex& mutex, unsigned int& count, ThrowZero throwZero)
{
    mutex.waitLock();
    if (count == 0)
        throwZero();
    const unsigned int left = --count;
    mutex.unLock();
    return left;
}

inline unsigned int vnLockedRead(const vnMutex& mutex, const unsigned int& count)
{
    mutex.waitLock();
    const unsigned int read = count;
    mutex.unLock();
    return read;
}
