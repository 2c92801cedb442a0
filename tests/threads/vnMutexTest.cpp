// SPDX-License-Identifier: MIT
#include <vnBase/vnMessage.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnRefBodyGuard.h>
#include <vnBase/vnRefPointer.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace
{
class Receiver : public vnMessageReceiverInterface
{
public:
    Receiver() { vnMessage::addMessageReceiver(this); }

    void onMessage(const vnString&, vnMessageLevel level, const char* message) override
    {
        levels.push_back(level);
        texts.push_back(message);
    }

    std::vector<vnMessageLevel> levels;
    std::vector<std::string> texts;
};
} // namespace

TEST(vnMutex, IsRecursiveForItsThreadAndExclusiveAgainstOthers)
{
    vnMutex mutex;
    mutex.waitLock();
    EXPECT_EQ(mutex.tryLock(), 1);
    EXPECT_EQ(mutex.getSpinLockCount(), 2u);
    EXPECT_EQ(mutex.getOwnerThreadID(), vnCurrentThreadID());
    EXPECT_EQ(mutex.isLocked(), 1); // also for the thread that holds it
    std::thread(
        [&]
        {
            EXPECT_EQ(mutex.tryLock(), 0);
            EXPECT_EQ(mutex.isLocked(), 1);
            EXPECT_NE(mutex.getOwnerThreadID(), vnCurrentThreadID());
        })
        .join();
    mutex.unLock();
    EXPECT_EQ(mutex.getSpinLockCount(), 1u);
    mutex.unLock();
    EXPECT_EQ(mutex.isLocked(), 0);
    EXPECT_EQ(mutex.getOwnerThreadID(), 0u);
}

TEST(vnMutex, IgnoresStrayUnlocks)
{
    vnMutex mutex;
    mutex.unLock();
    EXPECT_EQ(mutex.getSpinLockCount(), 0u);
    mutex.waitLock();
    std::thread([&] { mutex.unLock(); }).join(); // not its owner
    EXPECT_EQ(mutex.getSpinLockCount(), 1u);
    mutex.unLock();
    std::thread(
        [&]
        {
            EXPECT_EQ(mutex.tryLock(), 1);
            mutex.unLock();
        })
        .join();
}

TEST(vnMutex, CopiesOnlyWhetherItTracksItsOwner)
{
    vnMutex mutex(0);
    mutex.waitLock();
    EXPECT_EQ(mutex.getOwnerThreadID(), 0u);
    vnMutex copy(mutex);
    EXPECT_EQ(copy.isLocked(), 0);
    vnMutex assigned;
    assigned = mutex;
    EXPECT_EQ(assigned.isLocked(), 0);
    assigned.waitLock();
    EXPECT_EQ(assigned.getOwnerThreadID(), 0u);
    assigned.unLock();
    mutex.unLock();
}

TEST(vnMutex, LosesNothingAndNoWakeUpBetweenThreads)
{
    vnMutex mutex;
    unsigned int total = 0;
    const auto work = [&]
    {
        for (unsigned int i = 0; i < 20000; ++i)
        {
            vnBodyGuard guard(mutex);
            vnBodyGuard again(mutex);
            ++total;
            if (i % 512 == 0)
                std::this_thread::yield(); // so that the others have to sleep
        }
    };
    std::thread threads[4];
    for (std::thread& thread : threads)
        thread = std::thread(work);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(total, 80000u);
    EXPECT_EQ(mutex.isLocked(), 0);
}

TEST(vnMutex, ReportsItsDestructionWhileLocked)
{
    Receiver receiver;
    std::optional<vnMutex> mutex(std::in_place);
    char text[100];
    std::snprintf(text, sizeof text, "vnMutex (%llx) deleted with unbalanced Lock/unLock",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&*mutex)));
    mutex->waitLock();
    mutex->unLock();
    EXPECT_TRUE(receiver.texts.empty());
    mutex->waitLock();
    mutex->waitLock();
    mutex.reset();
    ASSERT_EQ(receiver.levels.size(), 1u);
    EXPECT_EQ(receiver.levels[0], 0x4200u);
    EXPECT_EQ(receiver.texts[0], text);
    EXPECT_EQ(vnCurrentThreadState().guarded, 0); // its holds are gone, so that the thread may be killed
}

TEST(vnRefBodyGuard, HoldsUntilTheLastReferenceGoes)
{
    vnMutex mutex;
    vnRefPointer<vnRefBodyGuard> first(new vnRefBodyGuard(mutex));
    vnRefPointer<vnRefBodyGuard> second;
    second = first;
    first = nullptr;
    EXPECT_EQ(mutex.isLocked(), 1);
    vnRefPointer<vnRefBodyGuard> another(new vnRefBodyGuard(*second));
    EXPECT_EQ(mutex.getSpinLockCount(), 2u);
    second = nullptr;
    another = nullptr;
    EXPECT_EQ(mutex.isLocked(), 0);
}

TEST(vnRecursiveBodyGuard, CountsDepthAndReportsAMismatch)
{
    Receiver receiver;
    unsigned int depth = 0;
    {
        vnRecursiveBodyGuard outer(depth);
        vnRecursiveBodyGuard inner(depth);
        EXPECT_EQ(inner.getRecursionDepth(), 2u);
    }
    EXPECT_EQ(depth, 0u);
    EXPECT_TRUE(receiver.texts.empty());
    {
        vnRecursiveBodyGuard guard(depth);
        depth = 0;
    }
    EXPECT_EQ(depth, 0u);
    ASSERT_EQ(receiver.texts.size(), 1u);
    EXPECT_EQ(receiver.texts[0], "RECURSIVE MISMATCH ! Left recursion with zero recursion count.");
    EXPECT_EQ(receiver.levels[0], 0x4000u);
}
