// SPDX-License-Identifier: MIT
#include <vnBase/vnThreadData.h>

#include <gtest/gtest.h>

#include <thread>

TEST(vnThreadData, LeavesAValueUntouchedThroughTheNextCallsOfItsRing)
{
    vnThreadData<int> data(3);
    int& first = data.get();
    first = 1;
    data.get() = 2;
    data.get() = 3;
    EXPECT_EQ(first, 1);
    EXPECT_EQ(&data.get(), &first);
}

TEST(vnThreadData, KeepsThreadsApart)
{
    vnThreadData<unsigned int> data(2);
    const auto work = [&data](unsigned int mine)
    {
        for (unsigned int i = 0; i < 5000; ++i)
        {
            unsigned int& value = data.get();
            value = mine;
            data.get() = mine;
            ASSERT_EQ(value, mine);
        }
    };
    std::thread threads[30]; // more than one size of the table
    for (unsigned int i = 0; i < 30; ++i)
        threads[i] = std::thread(work, i);
    for (std::thread& thread : threads)
        thread.join();
}

TEST(vnThreadData, BeginsAnewAfterClear)
{
    vnThreadData<int> data(0); // a ring of one
    data.get() = 5;
    EXPECT_EQ(data.get(), 5);
    data.clear();
    EXPECT_EQ(data.get(), 0);
}
