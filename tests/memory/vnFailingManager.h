// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>
#include <vnBase/vnMessage.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

/// The C library's heap while it lives, but for allocations that fail on request. Counts the blocks that are
/// alive; threads may allocate at once.
class vnFailingManager : public vnMemoryManagerInterface
{
public:
    struct Outcome
    {
        bool isReached; // there was such an allocation
        bool hasThrown; // std::bad_alloc came out
    };

    vnFailingManager() { vnMemoryControl::setMemoryManager(this); }
    ~vnFailingManager() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    void* allocate(unsigned int size) override
    {
        const unsigned int number = ++m_made;
        if (number == m_failing || (failsOn && m_failing && number > m_failing))
            return nullptr;
        void* const block = std::malloc(size);
        m_alive += block != nullptr;
        return block;
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override
    {
        --m_alive;
        std::free(block);
    }

    /// Those from before may go meanwhile, too.
    int getAlive() const { return m_alive; }

    /// Runs `use`, in which the allocation of this number, from 1 on, fails; 0 for none.
    template <class Use>
    Outcome run(const Use& use, unsigned int failing)
    {
        bool hasThrown = false;
        m_made = 0;
        m_failing = failing;
        try
        {
            use();
        }
        catch (const std::bad_alloc&)
        {
            hasThrown = true;
        }
        const bool isReached = m_made >= failing;
        m_failing = 0;
        return {isReached, hasThrown};
    }

    /// Lets each allocation of `use` fail once, and once more: the first time settles what is kept for later,
    /// the second time nothing must stay. Answers how many of the second ones `use` threw for.
    template <class Use>
    static unsigned int failEach(const Use& use)
    {
        vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
        use();
        unsigned int thrown = 0;
        {
            vnFailingManager manager;
            manager.run(use, 0);
            const unsigned int count = manager.m_made;
            EXPECT_GT(count, 5u);
            for (const bool isSettled : {false, true})
                for (unsigned int failing = 1; failing < count; ++failing)
                {
                    const int alive = manager.m_alive;
                    thrown += manager.run(use, failing).hasThrown && isSettled;
                    EXPECT_EQ(manager.m_alive, isSettled ? alive : manager.m_alive.load()) << failing;
                }
            use();
        }
        vnMessage::setMessageLevel(VN_MESSAGE_NOTICE);
        return thrown;
    }

    std::atomic<bool> failsOn{false}; // all later ones fail, too

private:
    std::atomic<unsigned int> m_made{0};
    std::atomic<unsigned int> m_failing{0};
    std::atomic<int> m_alive{0};
};
