// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnCleanupReference.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>

/// Runs `theirs` on another thread, and `mine` on this one once the other has set its promise, while this
/// thread is in a pass over the cleanup references, which holds their lock. The priority is the test's own.
inline void runBesideCleanup(int priority, const std::function<void(std::promise<void>&)>& theirs,
                             const std::function<void()>& mine)
{
    class Late : public vnReference
    {
    public:
        explicit Late(const std::function<void()>& end) : m_end(end) {}
        ~Late() noexcept(false) override { m_end(); }

    private:
        const std::function<void()>& m_end;
    };
    std::promise<void> begun;
    std::thread other;
    const std::function<void()> end = [&]
    {
        other = std::thread([&] { theirs(begun); });
        EXPECT_EQ(begun.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
        mine();
    };
    const vnCleanupReference entry(new Late(end), priority);
    vnCleanupReference::cleanUpReferences(priority);
    other.join();
}

/// Uses something first on another thread, and then on this one, in such a pass.
inline void useBesideCleanup(int priority, const std::function<void()>& use)
{
    runBesideCleanup(
        priority,
        [&use](std::promise<void>& begun)
        {
            begun.set_value();
            use();
        },
        use);
}
