// SPDX-License-Identifier: MIT
#include "vnThreadTestHelp.h"

#include <vnBase/vnSemaphore.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

TEST(vnSemaphore, AdmitsHoldersOfOneValueUpToTheMaximum)
{
    vnSemaphore semaphore(0, 0, 2);
    EXPECT_EQ(semaphore.waitLock(7), 1);
    EXPECT_EQ(semaphore.tryLock(8, 0), 0); // another value
    EXPECT_EQ(semaphore.tryLock(7, 0), 1);
    EXPECT_EQ(semaphore.tryLock(7, 0), 0); // the third
    EXPECT_EQ(semaphore.getOwnerValue(), 7u);
    EXPECT_EQ(semaphore.getSpinLockCount(), 2u);
    EXPECT_EQ(semaphore.setMaxLockCount(0), 2u);
    EXPECT_EQ(semaphore.tryLock(7, 0), 1);
    for (unsigned int i = 0; i < 4; ++i) // one more than there are holds
        semaphore.unLock();
    EXPECT_EQ(semaphore.getSpinLockCount(), 0u);
    EXPECT_EQ(semaphore.getOwnerValue(), 0u);
    EXPECT_EQ(semaphore.tryLock(8, 0), 1);
    semaphore.unLock();
}

TEST(vnSemaphore, CopiesTheStateOfTheLock)
{
    const vnSemaphore semaphore(5, 1, 2);
    const vnSemaphore copy(semaphore);
    EXPECT_EQ(copy.getOwnerValue(), 5u);
    EXPECT_EQ(copy.tryLock(5, 0), 1);
    EXPECT_EQ(copy.tryLock(5, 0), 0);
    EXPECT_EQ(semaphore.getSpinLockCount(), 1u);
}

TEST(vnSemaphore, IsNotFreeWithMoreHoldsThanItCanCount)
{
    for (const unsigned int count : {0x80000000u, 0xFFFFFFFFu})
    {
        const vnSemaphore semaphore(5, count);
        EXPECT_EQ(semaphore.getSpinLockCount(), 0x7FFFFFFFu);
        EXPECT_EQ(semaphore.tryLock(6, 0), 0);
    }
}

TEST(vnSemaphore, TriesOnceBelowTenMillisecondsAndWaitsTheWholeTimeAbove)
{
    vnSemaphore semaphore;
    semaphore.waitLock(1);
    double fastest = 1;
    for (unsigned int i = 0; i < 20; ++i)
        fastest = std::min(fastest, secondsOf([&] { EXPECT_EQ(semaphore.tryLock(2, 9), 0); }));
    EXPECT_LT(fastest, 0.009); // without a sleep
    EXPECT_GE(secondsOf([&] { EXPECT_EQ(semaphore.tryLock(2, 30), 0); }), 0.029);
    semaphore.unLock();
}

TEST(vnSemaphore, WakesAllWaitersWhenTheLastHoldGoes)
{
    vnSemaphore semaphore;
    semaphore.waitLock(1);
    semaphore.waitLock(1);
    std::atomic<unsigned int> entered{0};
    std::thread waiters[3];
    for (std::thread& waiter : waiters)
        waiter = std::thread(
            [&]
            {
                semaphore.waitLock(2);
                ++entered;
                EXPECT_TRUE(comesTrue([&] { return entered == 3; })); // they hold it together
                semaphore.unLock();
            });
    semaphore.unLock();
    EXPECT_EQ(entered, 0u);
    semaphore.unLock();
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_EQ(semaphore.getSpinLockCount(), 0u);
}

TEST(vnReadWriteMutex, LetsReadersInTogetherAndAWriterAlone)
{
    vnReadWriteMutex mutex;
    mutex.waitLockRead();
    std::thread([&] { EXPECT_EQ(mutex.tryLockRead(), 1); }).join();
    EXPECT_EQ(mutex.getSpinLockCount(), 2u);
    std::atomic<bool> wrote{false};
    std::thread writer(
        [&]
        {
            vnBodyWriteGuard guard(mutex);
            EXPECT_EQ(mutex.getOwnerValue(), vnCurrentThreadID());
            wrote = true;
        });
    EXPECT_GE(secondsOf([&] { EXPECT_EQ(mutex.tryLockWrite(), 0); }), 0.0099);
    EXPECT_EQ(mutex.tryLockSharedWrite(), 0);
    mutex.unLock();
    EXPECT_FALSE(wrote);
    mutex.unLock();
    writer.join();
    EXPECT_TRUE(wrote);
    EXPECT_EQ(mutex.getSpinLockCount(), 0u);
}

TEST(vnReadWriteMutex, LetsTheWriterInAgainForReadingAndWriting)
{
    vnReadWriteMutex mutex;
    mutex.waitLockWrite();
    mutex.waitLockRead();
    mutex.waitLockWrite();
    EXPECT_EQ(mutex.getSpinLockCount(), 3u);
    mutex.unLock();
    mutex.unLock();
    std::thread([&] { EXPECT_EQ(mutex.tryLockRead(), 0); }).join();
    mutex.unLock();
    std::thread(
        [&]
        {
            vnBodyReadGuard guard(mutex);
            EXPECT_EQ(mutex.getOwnerValue(), 0u);
        })
        .join();
}

TEST(vnReadWriteMutex, LetsSharedWritersInTogetherAndReadersNot)
{
    vnReadWriteMutex mutex;
    vnBodySharedWriteGuard guard(mutex);
    std::thread(
        [&]
        {
            EXPECT_EQ(mutex.tryLockSharedWrite(), 1);
            EXPECT_EQ(mutex.tryLockRead(), 0);
            EXPECT_EQ(mutex.tryLockWrite(), 0);
            mutex.unLock();
        })
        .join();
    EXPECT_EQ(mutex.getOwnerValue(), 1u);
}

TEST(vnReadWriteMutex, KeepsReadersAndWritersApartUnderLoad)
{
    vnReadWriteMutex mutex;
    unsigned int left = 0;
    unsigned int right = 0;
    const auto write = [&]
    {
        for (unsigned int i = 0; i < 2000; ++i)
        {
            vnBodyWriteGuard guard(mutex);
            ++left;
            ++right;
        }
    };
    const auto read = [&]
    {
        for (unsigned int i = 0; i < 2000; ++i)
        {
            vnBodyReadGuard guard(mutex);
            ASSERT_EQ(left, right);
        }
    };
    std::thread threads[4] = {std::thread(write), std::thread(read), std::thread(write), std::thread(read)};
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(left, 4000u);
}

TEST(vnReadWriteMutex, KeepsSharedWritersFromAWriter)
{
    vnReadWriteMutex mutex;
    mutex.waitLockWrite();
    std::thread([&] { EXPECT_EQ(mutex.tryLockSharedWrite(), 0); }).join();
    EXPECT_EQ(mutex.tryLockSharedWrite(), 0); // nor from itself
    mutex.unLock();
    EXPECT_EQ(mutex.tryLockSharedWrite(), 1);
    EXPECT_EQ(mutex.tryLockWrite(), 0);
    mutex.unLock();
}
