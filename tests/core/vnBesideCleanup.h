// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnCleanupReference.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>

/// Uses something first on another thread, and then on this one, while this thread is in a pass over the
/// cleanup references, which holds their lock. The priority is the test's own.
inline void useBesideCleanup(int priority, const std::function<void()>& use)
{
    class Late : public vnReference
    {
    public:
        Late(std::thread& other, const std::function<void()>& use) : m_other(other), m_use(use) {}
        ~Late() noexcept(false) override
        {
            std::promise<void> started;
            m_other = std::thread(
                [&started, use = m_use]
                {
                    started.set_value();
                    use();
                });
            EXPECT_EQ(started.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
            m_use();
        }

    private:
        std::thread& m_other;
        const std::function<void()>& m_use;
    };
    std::thread other;
    const vnCleanupReference entry(new Late(other, use), priority);
    vnCleanupReference::cleanUpReferences(priority);
    other.join();
}
