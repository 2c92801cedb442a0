// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterMux.h>
#include <vnBase/vnSerializeAdapterPacket.h>

#include "vnSoakTime.h"

#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnURL.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr std::chrono::seconds VN_LIMIT(60);

void write(vnSerializeAdapter& adapter, const std::string& text)
{
    adapter.write(reinterpret_cast<const unsigned char*>(text.data()),
                  static_cast<unsigned int>(text.size()));
}

std::string read(vnSerializeAdapter& adapter, unsigned int count)
{
    std::string text(count, '?');
    text.resize(adapter.read(reinterpret_cast<unsigned char*>(text.data()), count));
    return text;
}

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
} // namespace

TEST(vnSerializeAdapterMux, KeepsALengthThatIsNoneWhileItIsActive)
{
    vnSerializeAdapterMux mux;
    EXPECT_EQ(mux.getActive(), 1);
    EXPECT_EQ(mux.length(), 0xF0000u);
    EXPECT_TRUE(mux.hasData(1000));
    write(mux, "abc");
    EXPECT_EQ(mux.length(), 0xF0000u);
    mux.setActive(0);
    EXPECT_EQ(mux.length(), 0u); // whatever is queued
}

TEST(vnSerializeAdapterMux, DeliversWhatIsQueuedBehindTheEndAndCountsNoFurtherByte)
{
    vnSerializeAdapterMux mux;
    write(mux, "abcdef");
    mux.setActive(0);
    EXPECT_EQ(mux.read(), 'a');
    EXPECT_EQ(read(mux, 10), "bcdef");
    EXPECT_FALSE(mux.hasData());
    EXPECT_EQ(mux.read(), 0);
    EXPECT_EQ(read(mux, 10), "");
    mux.setActive(1);
    write(mux, "g");
    EXPECT_EQ(mux.read(), 'g');
}

TEST(vnSerializeAdapterMux, LosesNothingThatIsWrittenBeforeTheEndOfACopy)
{
    vnSerializeAdapterMux mux;
    write(mux, "abc");
    mux.setActive(0);
    vnSerializeAdapterQueue copy(VN_QUEUE_FIFO);
    vnString error;
    EXPECT_TRUE(copyAdapters(&copy, &mux, &error));
    EXPECT_EQ(read(copy, 10), "abc");
}

namespace
{
// Ends when it is asked for its length, behind the question whether there are data.
class Ending : public vnSerializeAdapterMux
{
protected:
    unsigned int length_imp() override
    {
        setActive(0);
        return vnSerializeAdapterMux::length_imp();
    }
};
} // namespace

TEST(vnSerializeAdapterMux, TheEndIsNoByteOfACopy)
{
    Ending mux;
    vnSerializeAdapterQueue copy(VN_QUEUE_FIFO);
    EXPECT_TRUE(copyAdapters(&copy, &mux, nullptr));
    EXPECT_EQ(read(copy, 10), "");
}

TEST(vnSerializeAdapterMux, ABlockWaitsForItsFirstByteOnly)
{
    vnSerializeAdapterMux mux;
    write(mux, "abc");
    EXPECT_EQ(read(mux, 2), "ab");
    EXPECT_EQ(read(mux, 6), "c");
    auto block = std::async(std::launch::async, [&mux] { return read(mux, 6); });
    write(mux, "def");
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
        write(mux, "abc");
        mux.setActive(0);
        ASSERT_EQ(copied.wait_for(VN_LIMIT), std::future_status::ready);
        EXPECT_TRUE(copied.get()) << error.getString();
        EXPECT_EQ(read(copy, 10), "abc");
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
            read(mux, 1);
            ++began;
            while (began < 2) // so that each gets one of the bytes
                std::this_thread::yield();
            return size == 1 ? std::string(1, static_cast<char>(mux.read())) : read(mux, size);
        };
        auto byte = std::async(std::launch::async, readTwice, 1);
        auto block = std::async(std::launch::async, readTwice, 5);
        write(mux, "ab");
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
    Totals written, got;
    std::vector<std::thread> writers, readers;
    for (unsigned int i = 0; i < 2; ++i)
        writers.emplace_back([&, i] { produce(mux, written, got, i + 1, vnSoakTime()); });
    for (const unsigned int size : {1u, 1000u})
        readers.emplace_back(
            [&, size]
            {
                unsigned char block[1000];
                while (mux.hasData())
                {
                    const unsigned int count = mux.read(block, size);
                    got.add(block, count);
                }
            });
    for (std::thread& writer : writers)
        writer.join();
    mux.setActive(0);
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(got.count, written.count);
    EXPECT_EQ(got.sum, written.sum);
}

TEST(vnSerializeAdapterPacket, FillsEachPacketAndReadsAcrossThem)
{
    vnSerializeAdapterPacket packets(4);
    write(packets, "0123456789");
    EXPECT_EQ(packets.getPacketCount(), 3u); // 4, 4 and 2 bytes
    EXPECT_EQ(packets.length(), 10u);
    EXPECT_EQ(packets.read(), '0');
    EXPECT_EQ(packets.getPacketCount(), 2u);
    EXPECT_EQ(packets.length(), 9u);
    packets.write('a'); // into the last one, which has room
    EXPECT_EQ(packets.getPacketCount(), 2u);
    EXPECT_EQ(read(packets, 100), "123456789a");
    EXPECT_FALSE(packets.hasData());
    EXPECT_FALSE(packets.hasError());
}

TEST(vnSerializeAdapterPacket, GivesNothingAndAnErrorWhenItIsEmpty)
{
    vnSerializeAdapterPacket packets;
    EXPECT_EQ(read(packets, 5), "");
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
    write(smallest, "ab");
    EXPECT_EQ(smallest.getPacketCount(), 2u);
    EXPECT_EQ(read(smallest, 3), "ab");
    vnSerializeAdapterPacket largest(0xFFFFFFFFu); // takes no 4 GiB for a byte
    const std::string text(200000, 'x');
    write(largest, text);
    EXPECT_EQ(largest.getPacketCount(), 1u);
    EXPECT_EQ(read(largest, 300000), text);
}

TEST(vnSerializeAdapterPacket, ReadersAndWritersLoseNothing)
{
    vnSerializeAdapterPacket packets(100);
    Totals written, got;
    std::atomic<bool> isOver{false};
    std::vector<std::thread> writers, readers;
    for (unsigned int i = 0; i < 2; ++i)
        writers.emplace_back([&, i] { produce(packets, written, got, i + 1, vnSoakTime()); });
    for (const unsigned int size : {3u, 1000u})
        readers.emplace_back(
            [&, size]
            {
                unsigned char block[1000];
                for (bool isLast = false; !isLast;)
                {
                    isLast = isOver; // before the queue is found to be empty
                    while (const unsigned int count = packets.read(block, size))
                        got.add(block, count);
                    std::this_thread::yield();
                }
            });
    for (std::thread& writer : writers)
        writer.join();
    isOver = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(got.count, written.count);
    EXPECT_EQ(got.sum, written.sum);
    EXPECT_EQ(packets.length(), 0u);
}
