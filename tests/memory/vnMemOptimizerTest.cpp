// SPDX-License-Identifier: MIT
#include <vnBase/vnMemOptimizer.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnMessage.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{
class Receiver : public vnMessageReceiverInterface
{
public:
    Receiver()
    {
        vnMessage::addMessageReceiver(this);
        vnMessage::setMessageLevel(VN_MESSAGE_DEBUG);
    }
    ~Receiver() noexcept(false) override
    {
        vnMessage::setMessageLevel(VN_MESSAGE_NOTICE);
        vnMessage::removeMessageReceiver(this);
    }
    void onMessage(const vnString&, vnMessageLevel, const char* message) override
    {
        texts.push_back(message);
    }
    std::vector<std::string> texts;
};
} // namespace

TEST(vnMemOptimizer, HandsOutItsBlocksFromTheTop)
{
    vnMemOptimizer pool(24, 3, "pool", 1);
    auto* a = static_cast<char*>(pool.malloc(24));
    auto* b = static_cast<char*>(pool.malloc(1));
    EXPECT_EQ(a - b, 24);
    EXPECT_TRUE(pool.isManaged(a));
    EXPECT_TRUE(pool.isManaged(b));
    EXPECT_EQ(pool.getFreeCount(), 1u);
    pool.free(a);
    EXPECT_EQ(pool.malloc(24), a);
    EXPECT_FALSE(pool.isManaged(b + 1000));
    EXPECT_FALSE(pool.isManaged(nullptr));
    pool.free(nullptr);
}

TEST(vnMemOptimizer, SendsTheRestToTheAllocators)
{
    vnMemOptimizer pool(16, 1, nullptr, 1);
    void* large = pool.malloc(17);
    void* fits = pool.malloc(16);
    void* late = pool.malloc(16);
    EXPECT_FALSE(pool.isManaged(large));
    EXPECT_TRUE(pool.isManaged(fits));
    EXPECT_FALSE(pool.isManaged(late));
    std::memset(large, 1, 17);
    pool.free(large);
    pool.free(late);
    pool.free(fits);
    pool.free(fits); // twice: must not be handed out twice for it
    EXPECT_EQ(pool.getFreeCount(), 1u);
}

TEST(vnMemOptimizer, KeepsBlocksInUse)
{
    vnMemOptimizer pool(16, 2, nullptr, 0);
    EXPECT_FALSE(pool.isActive());
    void* before = pool.malloc(16);
    EXPECT_FALSE(pool.isManaged(before));
    pool.enable();
    pool.free(before);
    void* block = pool.malloc(16);
    EXPECT_FALSE(pool.disable(0));
    EXPECT_FALSE(pool.tryResize(10));
    pool.free(block);
    EXPECT_TRUE(pool.tryResize(10));
    EXPECT_EQ(pool.getFreeCount(), 10u);
    EXPECT_TRUE(pool.disable(0));
    EXPECT_TRUE(pool.disable(0));
}

TEST(vnMemOptimizer, KeepsItsBlocksWhenThereAreNoLargerOnes)
{
    vnMemOptimizer pool(0x10000, 2, nullptr, 1);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(pool.tryResize(0x10000));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "No memory for vnMemOptimizer(65536,65536)\n");
    EXPECT_TRUE(pool.isActive());
    EXPECT_EQ(pool.getBlockCount(), 2u);
    void* block = pool.malloc(0x10000);
    EXPECT_TRUE(pool.isManaged(block));
    pool.free(block);
    EXPECT_TRUE(pool.tryResize(0));
    EXPECT_FALSE(pool.isActive());
}

TEST(vnMemOptimizer, StaysInactiveWithoutMemory)
{
    testing::internal::CaptureStderr();
    vnMemOptimizer pool(0x10000, 0x10000, nullptr, 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "No memory for vnMemOptimizer(65536,65536)\n");
    EXPECT_FALSE(pool.isActive());
    void* block = pool.malloc(10);
    EXPECT_NE(block, nullptr);
    pool.free(block);
    EXPECT_FALSE(vnMemOptimizer(10, 0, nullptr, 1).isActive());
}

TEST(vnMemOptimizer, ReportsWhatItWouldNeed)
{
    Receiver receiver;
    vnMemOptimizer pool(8, 10, "small", 1);
    vnMemOptimizer nameless(8, 1, nullptr, 1);
    pool.setReportPercentage(20);
    nameless.setReportPercentage(100);
    std::vector<void*> blocks;
    for (int i = 0; i < 15; ++i)
        blocks.push_back(pool.malloc(8));
    for (int i = 0; i < 3; ++i)
        blocks.push_back(nameless.malloc(8));
    EXPECT_EQ(receiver.texts, (std::vector<std::string>{
                                  "Mem Optimizer small size is 120%", "Mem Optimizer small size is 140%",
                                  "Mem Optimizer size (8) is 200%", "Mem Optimizer size (8) is 300%"}));
    for (void* block : blocks)
        if (nameless.isManaged(block))
            nameless.free(block);
        else
            pool.free(block);
    receiver.texts.clear();
    for (int i = 0; i < 14; ++i)
        blocks[static_cast<unsigned int>(i)] = pool.malloc(8);
    EXPECT_TRUE(receiver.texts.empty()) << "no more than was needed before";
    for (int i = 0; i < 14; ++i)
        pool.free(blocks[static_cast<unsigned int>(i)]);
}

TEST(vnMemOptimizer, GivesEachBlockToOneThread)
{
    vnMemOptimizer pool(8, 50, nullptr, 1);
    const auto work = [&pool](int mark)
    {
        std::vector<int*> mine(30);
        for (int round = 0; round < 500; ++round)
        {
            for (int*& block : mine)
                *(block = static_cast<int*>(pool.malloc(8))) = mark;
            for (int* block : mine)
            {
                ASSERT_EQ(*block, mark);
                pool.free(block);
            }
        }
    };
    std::thread other(work, 1);
    work(2);
    other.join();
    EXPECT_EQ(pool.getFreeCount(), 50u);
}
