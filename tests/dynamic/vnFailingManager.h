// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>
#include <vnBase/vnMessage.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

/// The C library's heap, but for one allocation that fails. Messages are off meanwhile.
class vnFailingManager : public vnMemoryManagerInterface
{
public:
    vnFailingManager()
    {
        vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
        vnMemoryControl::setMemoryManager(this);
    }
    ~vnFailingManager() noexcept(false) override
    {
        vnMemoryControl::setMemoryManager(nullptr);
        vnMessage::setMessageLevel(VN_MESSAGE_NOTICE);
    }
    void* allocate(unsigned int size) override
    {
        if (++m_made == m_failing)
            return nullptr;
        ++m_alive;
        return std::malloc(size);
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override
    {
        --m_alive;
        std::free(block);
    }

    /// Lets each allocation of `run` fail once, and once more: the first time settles what is kept for later,
    /// the second time nothing must stay. Answers how many of the second ones `run` threw for.
    template <class Run>
    static unsigned int failEach(const Run& run)
    {
        run();
        vnFailingManager manager;
        run();
        const unsigned int count = manager.m_made;
        EXPECT_GT(count, 5u);
        unsigned int thrown = 0;
        for (const bool isSettled : {false, true})
            for (unsigned int failing = 1; failing < count; ++failing)
            {
                const int alive = manager.m_alive;
                manager.m_made = 0;
                manager.m_failing = failing;
                try
                {
                    run();
                }
                catch (const std::bad_alloc&)
                {
                    thrown += isSettled;
                }
                EXPECT_EQ(manager.m_alive, isSettled ? alive : manager.m_alive.load()) << failing;
            }
        manager.m_failing = 0;
        run();
        return thrown;
    }

private:
    std::atomic<unsigned int> m_made{0};
    std::atomic<unsigned int> m_failing{0};
    std::atomic<int> m_alive{0};
};
