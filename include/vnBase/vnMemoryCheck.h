// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <utility>

/// A marker for static objects that may still be reached while other statics are torn down: it tells whether
/// the object is alive. Code asks `isValidMemory()` first and does nothing, or takes the plain path, once the
/// object was destroyed. It works because static storage keeps its bytes after destruction; it is no check
/// for objects on the heap or the stack.
///
/// Thread-safety: `isValidMemory()` may be called from any thread.
class VN_BASE_API vnMemoryCheck
{
public:
    constexpr vnMemoryCheck() noexcept : m_marker(VN_MEMORY_VALID) {}
    constexpr vnMemoryCheck(const vnMemoryCheck&) noexcept : m_marker(VN_MEMORY_VALID) {}
    vnMemoryCheck& operator=(const vnMemoryCheck&) noexcept { return *this; }
    virtual ~vnMemoryCheck() noexcept(false) { __atomic_store_n(&m_marker, 0, __ATOMIC_RELAXED); }

    /// 1 from the end of construction until the beginning of destruction.
    unsigned char isValidMemory() const noexcept
    {
        return __atomic_load_n(&m_marker, __ATOMIC_RELAXED) == VN_MEMORY_VALID;
    }

private:
    static constexpr unsigned int VN_MEMORY_VALID = 0xABCD1234u;

    // Volatile, since the store of the destructor is read after the end of the object's life and an optimizer
    // would otherwise drop it. Accessed atomically: a thread that nobody waits for may ask while it is
    // stored.
    volatile unsigned int m_marker;
};

/// A `T` that carries a `vnMemoryCheck`: the usual form of a lock or a registry with static storage.
template <class T>
class vnMemCheck : public T, public vnMemoryCheck
{
public:
    vnMemCheck() = default;
    template <class... Args>
    explicit constexpr vnMemCheck(Args&&... args) : T(std::forward<Args>(args)...)
    {
    }
};
