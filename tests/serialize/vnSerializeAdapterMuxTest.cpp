// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterMux.h>
#include <vnBase/vnSerializeAdapterPacket.h>

#include "vnEncodeTestHelp.h"
#include "vnSoakTime.h"

#include <vnBase/vnURL.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <vector>

namespace
{
constexpr std::chrono::seconds VN_LIMIT(60);

struct Totals
{
    std::atomic<vnUInt64> count{0};
    std::atomic<vnUInt64> sum{0};

    void add(const unsigned char* data, unsigned int size)
    {
        vnUInt64 part = 0;
        for (unsigned int i = 0; i < size; ++i)
            part += data[i];
        sum += part;
        count += size;
    }
};

// Blocks and single bytes of all sizes until the time is over, a million bytes ahead of the readers at most.
void produce(vnSerializeAdapter& adapter, Totals& totals, const Totals& got, unsigned int seed,
             std::chrono::milliseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    unsigned char block[3000];
    for (unsigned int i = 0; i < sizeof block; ++i)
        block[i] = static_cast<unsigned char>(seed + i * 7);
    for (unsigned int step = seed; std::chrono::steady_clock::now() < end; step = step * 1103515245u + 12345u)
    {
        const unsigned int size = (step >> 8) % 4 == 0 ? 1 : (step >> 8) % sizeof block;
        if (size == 1)
            adapter.write(block[0]);
        else
            adapter.write(block, size);
        totals.add(block, size);
        while (static_cast<vnInt64>(totals.count - got.count) > 1000000)
            std::this_thread::yield();
    }
}

// Two writers, and a reader for each size of a block; `end` is called when all is written.
void expectNothingLost(vnSerializeAdapter& adapter, std::initializer_list<unsigned int> sizes,
                       const std::function<void()>& end)
{
    Totals written, got;
    std::atomic<bool> isOver{false};
    std::vector<std::thread> writers, readers;
    for (unsigned int i = 0; i < 2; ++i)
        writers.emplace_back([&, i] { produce(adapter, written, got, i + 1, vnSoakTime()); });
    for (const unsigned int size : sizes)
        readers.emplace_back(
            [&, size]
            {
                unsigned char block[1000];
                for (bool isLast = false; !isLast;)
                {
                    isLast = isOver; // before the adapter is found to be empty
                    while (adapter.hasData())
                        got.add(block, adapter.read(block, size));
                    std::this_thread::yield();
                }
            });
    for (std::thread& writer : writers)
        writer.join();
    isOver = true;
    end();
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(got.count, written.count);
    EXPECT_EQ(got.sum, written.sum);
}
} // namespace

TEST(vnSerializeAdapterMux, KeepsALengthThatIsNoneWhileItIsActive)
{
    vnSerializeAdapterMux mux;
    EXPECT_EQ(mux.getActive(), 1);
    EXPECT_EQ(mux.length(), 0xF0000u);
    EXPECT_TRUE(mux.hasData(1000));
    writeText(&mux, "abc");
    EXPECT_EQ(mux.length(), 0xF0000u);
    mux.setActive(0);
    EXPECT_EQ(mux.length(), 0u); // whatever is queued
}

TEST(vnSerializeAdapterMux, DeliversWhatIsQueuedBehindTheEndAndCountsNoFurtherByte)
{
    vnSerializeAdapterMux mux;
    writeText(&mux, "abcdef");
    mux.setActive(0);
    EXPECT_EQ(mux.read(), 'a');
    EXPECT_EQ(readAll(&mux, 10), "bcdef");
    EXPECT_FALSE(mux.hasData());
    EXPECT_EQ(mux.read(), 0);
    EXPECT_EQ(readAll(&mux, 10), "");
    mux.setActive(1);
    writeText(&mux, "abc");
    EXPECT_EQ(mux.read(), 'a');
    mux.setActive(0);
    vnSerializeAdapterQueue copy(VN_QUEUE_FIFO);
    EXPECT_TRUE(copyAdapters(&copy, &mux, nullptr));
    EXPECT_EQ(readAll(&copy), "bc");
}

TEST(vnSerializeAdapterMux, TheEndIsNoByteOfACopy)
{
    // Ends when it is asked for its length, behind the question whether there are data.
    struct Ending : vnSerializeAdapterMux
    {
        unsigned int length_imp() override
        {
            setActive(0);
            return vnSerializeAdapterMux::length_imp();
        }
    } mux;
    vnSerializeAdapterQueue copy(VN_QUEUE_FIFO);
    EXPECT_TRUE(copyAdapters(&copy, &mux, nullptr));
    EXPECT_EQ(copy.length(), 0u);
}

TEST(vnSerializeAdapterMux, ABlockWaitsForItsFirstByteOnly)
{
    vnSerializeAdapterMux mux;
    writeText(&mux, "abc");
    EXPECT_EQ(readAll(&mux, 2), "ab");
    EXPECT_EQ(readAll(&mux, 6), "c");
    auto block = std::async(std::launch::async, [&mux] { return readAll(&mux, 6); });
    writeText(&mux, "def");
    ASSERT_EQ(block.wait_for(VN_LIMIT), std::future_status::ready);
    EXPECT_EQ(block.get(), "def");
}

TEST(vnSerializeAdapterMux, ACopyThatWaitsEndsWithTheChannel)
{
    for (int round = 0; round < 200; ++round)
    {
        vnSerializeAdapterMux mux;
        vnSerializeAdapterQueue copy(VN_QUEUE_FIFO);
        vnString error;
        auto copied = std::async(std::launch::async, [&] { return copyAdapters(&copy, &mux, &error); });
        writeText(&mux, "abc");
        mux.setActive(0);
        ASSERT_EQ(copied.wait_for(VN_LIMIT), std::future_status::ready);
        EXPECT_TRUE(copied.get()) << error.getString();
        EXPECT_EQ(readAll(&copy, 10), "abc");
    }
}

// By itself a reader looks for the end each 200 ms only, so that hardly any round would be quick. A busy
// machine makes some of them slow.
TEST(vnSerializeAdapterMux, TheEndWakesEachReader)
{
    int quick = 0;
    for (int round = 0; round < 30; ++round)
    {
        vnSerializeAdapterMux mux;
        std::atomic<int> began{0};
        const auto readTwice = [&](unsigned int size)
        {
            readAll(&mux, 1);
            ++began;
            while (began < 2) // so that each gets one of the bytes
                std::this_thread::yield();
            return size == 1 ? std::string(1, static_cast<char>(mux.read())) : readAll(&mux, size);
        };
        auto byte = std::async(std::launch::async, readTwice, 1);
        auto block = std::async(std::launch::async, readTwice, 5);
        writeText(&mux, "ab");
        while (began < 2)
            std::this_thread::yield();
        for (int i = 0; i < 20; ++i)
            std::this_thread::yield(); // they get the time to fall asleep
        const auto start = std::chrono::steady_clock::now();
        mux.setActive(0);
        ASSERT_EQ(byte.wait_for(VN_LIMIT), std::future_status::ready);
        ASSERT_EQ(block.wait_for(VN_LIMIT), std::future_status::ready);
        quick += std::chrono::steady_clock::now() - start < std::chrono::milliseconds(100);
        EXPECT_EQ(byte.get(), std::string(1, '\0'));
        EXPECT_EQ(block.get(), "");
    }
    EXPECT_GT(quick, 3);
}

TEST(vnSerializeAdapterMux, ReadersAndWritersLoseNothing)
{
    vnSerializeAdapterMux mux;
    expectNothingLost(mux, {1, 1000}, [&mux] { mux.setActive(0); });
}

TEST(vnSerializeAdapterPacket, FillsEachPacketAndReadsAcrossThem)
{
    vnSerializeAdapterPacket packets(4);
    writeText(&packets, "0123456789");
    EXPECT_EQ(packets.getPacketCount(), 3u); // 4, 4 and 2 bytes
    EXPECT_EQ(packets.length(), 10u);
    EXPECT_EQ(packets.read(), '0');
    EXPECT_EQ(packets.getPacketCount(), 2u);
    EXPECT_EQ(packets.length(), 9u);
    packets.write('a'); // into the last one, which has room
    EXPECT_EQ(packets.getPacketCount(), 2u);
    EXPECT_EQ(readAll(&packets, 100), "123456789a");
    EXPECT_FALSE(packets.hasData());
    EXPECT_FALSE(packets.hasError());
}

TEST(vnSerializeAdapterPacket, GivesNothingAndAnErrorWhenItIsEmpty)
{
    vnSerializeAdapterPacket packets;
    EXPECT_EQ(readAll(&packets, 5), "");
    EXPECT_FALSE(packets.hasError());
    EXPECT_EQ(packets.read(), 0);
    EXPECT_EQ(packets.getError(), "Memory Adapter read beyond end");
    packets.setError("");
    EXPECT_FALSE(packets.hasError());
}

TEST(vnSerializeAdapterPacket, TakesAnySize)
{
    vnSerializeAdapterPacket smallest(0);
    EXPECT_EQ(smallest.getPacketSize(), 1u);
    writeText(&smallest, "ab");
    EXPECT_EQ(smallest.getPacketCount(), 2u);
    EXPECT_EQ(readAll(&smallest, 3), "ab");
    vnSerializeAdapterPacket largest(0xFFFFFFFFu); // takes no 4 GiB for a byte
    const std::string text(200000, 'x');
    writeText(&largest, text);
    EXPECT_EQ(largest.getPacketCount(), 1u);
    EXPECT_EQ(readAll(&largest, 300000), text);
}

TEST(vnSerializeAdapterPacket, ReadersAndWritersLoseNothing)
{
    vnSerializeAdapterPacket packets(100);
    expectNothingLost(packets, {3, 1000}, [] {});
    EXPECT_EQ(packets.length(), 0u);
}
