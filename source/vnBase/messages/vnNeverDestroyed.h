// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <new>

/// A static object that is built on first use and stays until the process ends, so that other statics may
/// reach it from their constructors and destructors. What it allocates while it is built is private to the
/// library in the memory reports.
///
///     static vnNeverDestroyed<vnMutex> mutex;
///     vnBodyGuard guard(mutex.get());
template <class T>
class vnNeverDestroyed
{
public:
    template <class... Args>
    explicit vnNeverDestroyed(const Args&... args)
    {
        vnPrivateMemoryScope scope;
        new (m_bytes) T(args...);
    }
    vnNeverDestroyed(const vnNeverDestroyed&) = delete;
    vnNeverDestroyed& operator=(const vnNeverDestroyed&) = delete;

    T& get() noexcept { return *std::launder(reinterpret_cast<T*>(m_bytes)); }

private:
    alignas(T) unsigned char m_bytes[sizeof(T)];
};
