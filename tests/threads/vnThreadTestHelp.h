// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

// Whether the tests run under a sanitizer, by the names of either compiler.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VN_UNDER_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define VN_UNDER_THREAD_SANITIZER 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define VN_UNDER_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define VN_UNDER_THREAD_SANITIZER 1
#endif

/// Whether `condition` comes true within twenty seconds; a fault fails there instead of hanging.
template <class F>
bool comesTrue(F condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

/// The seconds that `work` takes.
template <class F>
double secondsOf(F work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}
