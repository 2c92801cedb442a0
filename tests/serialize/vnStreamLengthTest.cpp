// SPDX-License-Identifier: MIT
// Streams whose length is none, or an estimate, and memory that does not reach for what they hold.
#include "vnArchiveBytes.h"
#include "vnEncodeTestHelp.h"
#include "vnSmallHeap.h"

#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterEncoder.h>
#include <vnBase/vnSerializeAdapterMux.h>
#include <vnBase/vnSerializeAdapterPacket.h>
#include <vnBase/vnSerializeAdapterRandomAccess.h>
#include <vnBase/vnSerializeAdapterZIP.h>
#include <vnBase/vnVarUInt64.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>

TEST(vnSerializeAdapterPacket, RefusesAPacketThatMemoryDoesNotHold)
{
    const std::string large(64u << 20, 'x');
    vnSerializeAdapterPacket packets(0xFFFFFFFFu);
    writeText(&packets, "abc");
    {
        const SmallHeap heap(40u << 20);
        EXPECT_THROW(writeText(&packets, large), std::bad_alloc);
    }
    EXPECT_EQ(packets.length(), 3u);
    writeText(&packets, "def");
    EXPECT_EQ(readAll(&packets), "abcdef");
}

TEST(vnSerializeAdapterCompress, ReportsDamageBehindAChannelWithoutWaiting)
{
    const std::string damaged("\x03\x07xyz", 5); // no such method
    for (const bool isScrambled : {false, true})
    {
        const vnRefPointer<vnSerializeAdapterMux> channel(new vnSerializeAdapterMux);
        channel->setAdapterFlags(VN_ADAPTER_SILENT);
        const auto scrambled = [&] { return Adapter(new vnSerializeAdapterEncoder(channel, 7)); };
        const Adapter writer = isScrambled ? scrambled() : Adapter(channel.get());
        const Adapter reader = isScrambled ? scrambled() : Adapter(channel.get());
        const Adapter adapter(new vnSerializeAdapterCompress(reader));
        writeText(writer, isScrambled ? damaged.substr(0, 2) : damaged);
        auto answer = std::async(std::launch::async, [&] { return adapter->hasData(); });
        const bool isInTime = answer.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
        if (!isInTime)
            channel->setActive(0);
        EXPECT_TRUE(isInTime) << isScrambled;
        EXPECT_EQ(answer.get(), 0);
        EXPECT_TRUE(adapter->hasError());
        writeText(writer, blockOf("good"));
        EXPECT_EQ(readAll(adapter, 4), "good");
    }
}

TEST(vnSerializeAdapterCompress, TakesMemoryForALargeBlockAFewTimesOnly)
{
    const std::string plain = noise(2u << 20);
    const auto size = static_cast<unsigned int>(plain.size());
    unsigned char head[vnVarUInt64::VN_MAX_SIZE];
    const std::string number(reinterpret_cast<char*>(head), vnVarUInt64::encode(size, head));
    for (const std::string& block : {blockOf(plain), number + std::string(1, '\0') + plain})
    {
        const vnRefPointer<Portions> target(new Portions(block, 1000)); // in pieces of that size
        SmallHeap heap(1u << 30);
        const Adapter adapter(new vnSerializeAdapterCompress(target));
        EXPECT_EQ(adapter->hasData(), 1);
        EXPECT_LT(heap.getTotal(), vnUInt64{size} * 10); // of what is read and of what comes of it
        EXPECT_TRUE(readAll(adapter, size) == plain);
    }
}

TEST(vnSerializeAdapterEncoder, HasTheDataOfItsTarget)
{
    const std::pair<Adapter, unsigned int> targets[] = {
        {Adapter(new vnSerializeAdapterBase64Encoder(memoryWith("TQ==\n\n\n\n"))), 1},
        {Adapter(new vnSerializeAdapterBase64Encoder(queueWith("\n\n"))), 0},
        {Adapter(new vnSerializeAdapterCompress(queueWith(blockOf("ab") + blockOf("")))), 2},
        {Adapter(new vnSerializeAdapterCompress(memoryWith(blockOf("")))), 0},
    };
    for (const auto& [target, count] : targets)
        EXPECT_EQ(readByByte(Adapter(new vnSerializeAdapterEncoder(target, 7))).size(), count);
    // Asking for more than a byte reads nothing where the target knows, so that the key stays.
    const Adapter queue = queueWith("abcdef");
    const Adapter adapter(new vnSerializeAdapterEncoder(queue, 7));
    EXPECT_EQ(adapter->hasData(6), 1);
    EXPECT_EQ(queue->length(), 6u);
    const vnRefPointer<vnSerializeAdapterMux> channel(new vnSerializeAdapterMux);
    writeText(channel, "ab");
    const Adapter reader(new vnSerializeAdapterEncoder(channel, 7));
    EXPECT_EQ(reader->hasData(5), channel->hasData(5));
}

TEST(vnSerializeAdapterRandomAccess, ReadsToItsEndWhatOnlyEstimatesItsLength)
{
    const std::string plain(1000, 'a');
    const std::string archive = vnArchiveOf({{"a", plain, 1000, vnArchiveCRC(plain), 0, 0}});
    for (const bool isMemory : {true, false})
    {
        const auto makeTarget = [isMemory](const std::string& text)
        { return isMemory ? memoryWith(text) : queueWith(text); };
        const Adapter compress(new vnSerializeAdapterCompress(makeTarget(blockOf(plain))));
        EXPECT_EQ(restOf(Adapter(new vnSerializeAdapterRandomAccess(compress))), plain);
        const Adapter packed(new vnSerializeAdapterCompress(makeTarget(blockOf(archive))));
        vnSerializeAdapterZIP zip(packed, VN_SERIALIZE_INPUT);
        EXPECT_TRUE(zip.setCurrentItem("a")) << zip.getError().getString();
        EXPECT_EQ(readAll(&zip, 2000), plain);
    }
    // All of it is written back, and nothing is lost by that.
    const Adapter queue = queueWith(blockOf(plain));
    const Adapter compress(new vnSerializeAdapterCompress(queue));
    {
        const Adapter access(new vnSerializeAdapterRandomAccess(compress));
        access->write('b');
    }
    compress->flush();
    EXPECT_EQ(readAll(Adapter(new vnSerializeAdapterCompress(queue)), 2000), "b" + std::string(999, 'a'));
}

TEST(vnSerializeAdapterRandomAccess, ReadsAChannelToItsEnd)
{
    const std::string text = noise(1000000); // more than the length that an active channel tells
    for (const bool isEnded : {true, false})
    {
        const vnRefPointer<vnSerializeAdapterMux> channel(new vnSerializeAdapterMux);
        std::future<void> writer;
        if (isEnded)
        {
            writeText(channel, text);
            channel->setActive(0);
        }
        else
            writer = std::async(std::launch::async,
                                [&]
                                {
                                    writeText(channel, text.substr(0, 1));
                                    writeText(channel, text.substr(1));
                                    channel->setActive(0);
                                });
        const Adapter access(new vnSerializeAdapterRandomAccess(channel));
        EXPECT_TRUE(restOf(access) == text) << isEnded;
        EXPECT_FALSE(access->hasError());
    }
}

TEST(vnSerializeLex, ReadsNoCharacterThatALengthOnlyPromises)
{
    const std::string damaged("\x03\x07xyz", 5); // no such method
    const auto compressed = [](const std::string& stream)
    {
        const Adapter target = queueWith(stream);
        target->setAdapterFlags(VN_ADAPTER_SILENT);
        return Adapter(new vnSerializeAdapterCompress(target));
    };
    const auto base64 = [](const char* text)
    { return Adapter(new vnSerializeAdapterBase64Encoder(queueWith(text))); };
    struct Case
    {
        Adapter source;
        const char* token;
    };
    for (const bool detectsMarks : {false, true})
        for (const Case& row :
             {Case{base64("YWI=\r\n"), "ab"}, Case{base64("YWI="), "ab"}, Case{base64("YQ==\r\n\r\n"), "a"},
              Case{compressed(blockOf("a")), "a"}, Case{compressed(blockOf("ab") + blockOf("")), "ab"},
              Case{compressed(blockOf("ab") + damaged), "ab"}})
        {
            vnSerializeLex lex(detectsMarks, detectsMarks);
            lex.read(row.source);
            EXPECT_EQ(lex.getDataType(), VN_LEX_IDENTIFIER) << row.token;
            EXPECT_EQ(lex.getData(), row.token);
            lex.read(row.source);
            EXPECT_EQ(lex.getDataType(), VN_LEX_NONE) << row.token;
        }
}
