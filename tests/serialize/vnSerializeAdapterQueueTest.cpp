// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterQueue.h>

#include <vnBase/vnBaseError.h>

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>

namespace
{
void put(vnSerializeAdapter& adapter, const char* text)
{
    for (; *text; ++text)
        adapter.write(static_cast<unsigned char>(*text));
}

std::string take(vnSerializeAdapter& adapter, unsigned int count)
{
    std::string text(count, '\0');
    text.resize(adapter.read(reinterpret_cast<unsigned char*>(text.data()), count));
    return text;
}
} // namespace

TEST(vnSerializeAdapterQueue, ReversesUnlessItIsAFifo)
{
    vnSerializeAdapterQueue stack;
    put(stack, "abcd");
    EXPECT_EQ(stack.read(), 'd');
    put(stack, "e");
    EXPECT_EQ(take(stack, 10), "ecba");

    vnSerializeAdapterQueue fifo(VN_QUEUE_FIFO);
    put(fifo, "abcd");
    EXPECT_EQ(fifo.read(), 'a');
    put(fifo, "e");
    EXPECT_EQ(take(fifo, 10), "bcde");
}

TEST(vnSerializeAdapterQueue, ZeroesTheCellOfAByteButNotOfABlock)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    put(adapter, "abcd");
    adapter.read();
    take(adapter, 2);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(adapter.getAddress()), 4), std::string("\0bcd", 4));
}

TEST(vnSerializeAdapterQueue, StartsAgainAtTheFrontOnceItHasRunEmpty)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    put(adapter, "abc");
    take(adapter, 3);
    put(adapter, "x");
    EXPECT_EQ(adapter.getAddress()[0], 'x');
    put(adapter, "yz");
    adapter.read();
    adapter.cleanUp();
    EXPECT_EQ(adapter.getAddress()[0], 'y');
    EXPECT_EQ(take(adapter, 3), "yz");
}

TEST(vnSerializeAdapterQueue, ThrowsWhenAByteIsReadFromNothing)
{
    for (vnQueueMode mode : {VN_QUEUE_LIFO, VN_QUEUE_FIFO})
    {
        vnSerializeAdapterQueue adapter(mode);
        put(adapter, "a");
        adapter.clear();
        EXPECT_EQ(adapter.length(), 0u);
        EXPECT_EQ(take(adapter, 3), "");
        EXPECT_EQ(adapter.read(nullptr, 0), 0u);
        try
        {
            adapter.read();
            FAIL() << "mode " << mode;
        }
        catch (const vnFatalError& error)
        {
            EXPECT_EQ(error.getErrorString(), "Template-vnQueue:pop out of data");
        }
    }
}

TEST(vnSerializeAdapterQueue, DrainsIntoArraysOfFourKinds)
{
    vnArray<unsigned char> array(7);
    vnArray<vnQuadWordAligned<unsigned char>> alignedArray;
    vnDynamicArray<unsigned char> dynamic;
    vnDynamicArray<vnQuadWordAligned<unsigned char>> alignedDynamic;
    const auto expectDrained = [](vnQueueMode mode, auto& target, const char* expected)
    {
        vnSerializeAdapterQueue adapter(mode, 0);
        put(adapter, "abcd");
        adapter.read();
        adapter.getQueueData(target);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(target.data()), target.getSize()), expected);
        EXPECT_EQ(adapter.length(), 0u);
    };
    expectDrained(VN_QUEUE_FIFO, array, "bcd");
    expectDrained(VN_QUEUE_FIFO, alignedArray, "bcd");
    expectDrained(VN_QUEUE_FIFO, dynamic, "bcd");
    expectDrained(VN_QUEUE_LIFO, alignedDynamic, "cba");
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(alignedArray.data()) % 16, 0u);
}

TEST(vnSerializeAdapterQueue, AgreesWithAPlainQueueWhateverTheOrderOfOperations)
{
    for (vnQueueMode mode : {VN_QUEUE_LIFO, VN_QUEUE_FIFO})
    {
        std::mt19937 random(20 + mode);
        vnSerializeAdapterQueue adapter(mode, 3);
        std::deque<unsigned char> model;
        const auto next = [&]
        {
            const bool isStack = mode == VN_QUEUE_LIFO;
            const unsigned char byte = isStack ? model.back() : model.front();
            isStack ? model.pop_back() : model.pop_front();
            return byte;
        };
        for (unsigned int step = 0; step < 20000; ++step)
        {
            unsigned char block[40];
            const unsigned int count = random() % 40;
            switch (random() % 5)
            {
            case 0:
                for (unsigned int i = 0; i < count; ++i)
                    model.push_back(block[i] = static_cast<unsigned char>(random()));
                adapter.write(block, count);
                break;
            case 1:
                model.push_back(static_cast<unsigned char>(step));
                adapter.write(static_cast<unsigned char>(step));
                break;
            case 2:
            {
                const unsigned int got = adapter.read(block, count);
                ASSERT_EQ(got, std::min<std::size_t>(count, model.size()));
                for (unsigned int i = 0; i < got; ++i)
                    ASSERT_EQ(block[i], next()) << "step " << step;
                break;
            }
            case 3:
                if (adapter.hasData())
                {
                    ASSERT_EQ(adapter.read(), next()) << "step " << step;
                }
                break;
            default:
                adapter.cleanUp();
            }
            ASSERT_EQ(adapter.length(), model.size()) << "step " << step;
        }
    }
}
