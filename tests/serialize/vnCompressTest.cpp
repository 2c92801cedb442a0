// SPDX-License-Identifier: MIT
#include "../messages/vnMessageRecorder.h"
#include "vnEncodeTestHelp.h"
#include "vnSmallHeap.h"
#include "vnTempFolder.h"

#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterEncoder.h>
#include <vnBase/vnSerializeAdapterFile.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include <unistd.h>

namespace
{
using Bytes = vnDynamicArray<unsigned char>;

Bytes bytesOf(const std::string& text)
{
    Bytes bytes;
    bytes.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    return bytes;
}

std::string textOf(const Bytes& bytes)
{
    return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.getSize());
}

// "-" for a block that is refused with an emptied destination.
std::string plainOf(const std::string& block)
{
    Bytes plain = bytesOf("left over");
    if (vnUnCompress(bytesOf(block), plain))
        return textOf(plain);
    return plain.isEmpty() ? "-" : "not emptied";
}

// "aaaaaaaaaa" as zlib writes it at its default level.
const std::string tenBlock = std::string("\x0a\x01\x78\x9c\x4b\x4c\x84\x01\x00\x14\xe1\x03\xcb", 13);
const std::string emptyBlock = std::string("\x00\x01\x78\x9c\x03\x00\x00\x00\x00\x01", 10);
} // namespace

TEST(vnCompress, makesBlocksOfSizeMethodAndPayload)
{
    EXPECT_EQ(blockOf("aaaaaaaaaa"), tenBlock);
    EXPECT_EQ(blockOf(""), emptyBlock);
    EXPECT_EQ(plainOf(tenBlock), "aaaaaaaaaa");
    EXPECT_EQ(plainOf(emptyBlock), "");
    EXPECT_EQ(plainOf(std::string("\x03\x00xyz", 5)), "xyz");
    EXPECT_EQ(plainOf(tenBlock + "what follows"), "aaaaaaaaaa");
    for (const std::string& text : {noise(100000), std::string(3000000, 'x'), noise(1)})
    {
        const std::string block = blockOf(text);
        EXPECT_EQ(plainOf(block), text);
        EXPECT_LE(block.size(), vnCompressBound(static_cast<unsigned int>(text.size())));
    }
    EXPECT_EQ(blockOf(noise(100000))[3], 1); // incompressible, and not stored for that
}

TEST(vnCompress, takesArraysOfEachForm)
{
    const auto roundTrip = [](auto array)
    {
        auto block = array;
        auto scratch = array;
        auto plain = array;
        array.setSize(1000);
        for (unsigned int i = 0; i < 1000; ++i)
            array[i] = 'e'; // which is no block
        EXPECT_EQ(vnCompress(array, block, scratch), 1);
        EXPECT_LT(block.getSize(), 50u);
        EXPECT_EQ(vnUnCompress(block, plain), 1);
        EXPECT_EQ(plain.getSize(), 1000u);
        EXPECT_EQ(plain[999], 'e');
        EXPECT_EQ(vnUnCompress(block, block), 1); // in place
        EXPECT_EQ(block.getSize(), 1000u);
        EXPECT_EQ(vnUnCompress(block, block), 0);
        EXPECT_EQ(block.getSize(), 0u);
    };
    roundTrip(vnArray<unsigned char>());
    roundTrip(vnDynamicArray<unsigned char>());
    roundTrip(vnArray<vnQuadWordAligned<unsigned char>>());
    roundTrip(vnDynamicArray<vnQuadWordAligned<unsigned char>>());
}

TEST(vnCompress, plainMemoryIsNeverLeft)
{
    const std::string text = noise(1000);
    const auto* from = reinterpret_cast<const unsigned char*>(text.data());
    unsigned char block[1003];
    unsigned int size = sizeof block;
    // What has no room compressed is stored, to the last byte.
    EXPECT_EQ(vnCompress(from, 1000, block, size), 1);
    EXPECT_EQ(size, 1003u);
    EXPECT_EQ(block[2], 0);
    unsigned char plain[1000];
    unsigned int plainSize = 1000;
    EXPECT_EQ(vnUnCompress(block, size, plain, plainSize), 1);
    EXPECT_EQ(std::memcmp(plain, from, 1000), 0);
    plainSize = 999;
    EXPECT_EQ(vnUnCompress(block, size, plain, plainSize), 0);
    EXPECT_EQ(plainSize, 0u);
    size = 1002;
    EXPECT_EQ(vnCompress(from, 1000, block, size), 0);
    EXPECT_EQ(size, 0u);
}

TEST(vnUnCompress, refusesWhatIsNoWholeBlock)
{
    for (std::size_t cut = 0; cut < tenBlock.size(); ++cut)
        EXPECT_EQ(plainOf(tenBlock.substr(0, cut)), "-") << cut;
    const std::string rest = tenBlock.substr(1);
    const std::string size("\x0a", 1), payload = tenBlock.substr(2);
    const std::pair<const char*, std::string> blocks[] = {
        {"no such method", size + '\2' + payload},
        {"more than claimed", '\x9' + rest},
        {"less than claimed", '\xb' + rest},
        {"another checksum", tenBlock.substr(0, 12) + static_cast<char>(tenBlock[12] ^ 1)},
        {"a byte less, stored", std::string("\4\0xyz", 5)},
        {"4 GiB - 1 from ten bytes", "\xff\xff\xff\xff\x0f" + rest},
        {"4 GiB from ten bytes", "\x80\x80\x80\x80\x10" + rest},
        {"a number that does not end", std::string(50, '\xff')},
    };
    for (const auto& [what, block] : blocks)
        EXPECT_EQ(plainOf(block), "-") << what;
}

TEST(vnUnCompress, takesMemoryAsBytesComeOut)
{
    // 64 MB claimed, 10 in truth, from as many bytes as could yield them; and 4 GB, stored.
    const std::string lies[] = {"\x80\x80\x80\x20" + tenBlock.substr(1) + std::string(70000, '\0'),
                                std::string("\xff\xff\xff\xff\x0f\x00xyz", 9)};
    for (const std::string& lie : lies)
    {
        const Bytes block = bytesOf(lie);
        Bytes plain;
        const Adapter target = queueWith(lie);
        target->setAdapterFlags(VN_ADAPTER_SILENT);
        // On a thread of its own, whose state of zlib goes back to the same heap.
        const SmallHeap heap(0xFFFFFFFFu);
        const auto use = [&]
        {
            EXPECT_EQ(vnUnCompress(block, plain), 0);
            plain.reallocate(0);
            const Adapter adapter(new vnSerializeAdapterCompress(target.get()));
            EXPECT_EQ(adapter->hasData(), 0);
            EXPECT_TRUE(adapter->hasError());
            target->setError(vnString());
        };
        std::async(std::launch::async, use).get();
        EXPECT_LE(heap.getLargest(), 2u << 20);
    }
}

TEST(vnUnCompress, takesLimitsAndNumbersThatEnd)
{
    Bytes plain;
    EXPECT_EQ(vnUnCompress(bytesOf(tenBlock), plain, 10), 1);
    EXPECT_EQ(vnUnCompress(bytesOf(tenBlock), plain, 9), 0);
    EXPECT_EQ(plain.getSize(), 0u);
    const auto adapterText = [](const std::string& text, unsigned int most)
    {
        Adapter target = queueWith(text);
        target->setAdapterFlags(VN_ADAPTER_SILENT);
        auto* compress = new vnSerializeAdapterCompress(target);
        const Adapter adapter(compress);
        compress->setMaxBlockSize(most);
        const std::string got = readAll(adapter.get());
        return adapter->hasError() ? got + "-" : got;
    };
    EXPECT_EQ(adapterText(tenBlock + emptyBlock, 10), "aaaaaaaaaa");
    EXPECT_EQ(adapterText(tenBlock, 9), "-");
    // A number of ten bytes is one, of eleven none.
    const std::string rest = tenBlock.substr(1);
    const std::string ten = "\x8a" + std::string(8, '\x80') + std::string(1, '\0') + rest;
    const std::string eleven = "\x8a" + std::string(9, '\x80') + std::string(1, '\0') + rest;
    EXPECT_EQ(plainOf(ten), "aaaaaaaaaa");
    EXPECT_EQ(adapterText(ten, 10), "aaaaaaaaaa");
    EXPECT_EQ(plainOf(eleven), "-");
    EXPECT_EQ(adapterText(eleven, 10), "-");
}

TEST(vnSerializeAdapterCompress, writesABlockPerFlush)
{
    Adapter queue = queueWith("");
    Adapter adapter(new vnSerializeAdapterCompress(queue));
    writeText(adapter, "aaaa");
    for (const char c : std::string("aaaaaa"))
        adapter->write(static_cast<unsigned char>(c));
    EXPECT_EQ(adapter->length(), 10u);
    EXPECT_EQ(queue->length(), 0u);
    adapter->flush();
    EXPECT_EQ(queue->length(), tenBlock.size());
    adapter->flush();
    EXPECT_EQ(queue->length(), tenBlock.size());
    writeText(adapter, "b");
    EXPECT_EQ(adapter->read(), 'b'); // not flushed, so it comes back as it is
    adapter->flush();
    EXPECT_EQ(readAll(queue), tenBlock);
}

TEST(vnSerializeAdapterCompress, flushesItsTargetAfterWritingOnly)
{
    vnRefPointer<Portions> target(new Portions(tenBlock, 0));
    {
        Adapter adapter(new vnSerializeAdapterCompress(target));
        EXPECT_EQ(adapter->read(), 'a');
        adapter->flush();
        EXPECT_EQ(target->flushes, 0u);
        adapter->write('b'); // to what is left of the block
    }
    EXPECT_EQ(target->flushes, 1u);
    EXPECT_EQ(plainOf(target->written), "aaaaaaaaab");
    // What goes wrong when the last reference goes is thrown, and the next reader finds nothing of it.
    Adapter adapter(new vnSerializeAdapterCompress(target));
    adapter->write('c');
    target->refuses = true;
    EXPECT_THROW(adapter = nullptr, std::runtime_error);
    adapter = new vnSerializeAdapterCompress(target);
    adapter->write('c');
    EXPECT_THROW(adapter->flush(), std::runtime_error);
    target->refuses = false;
    target->written.clear();
    adapter->flush();
    EXPECT_EQ(plainOf(target->written), "c");
}

TEST(vnSerializeAdapterCompress, readsBlocksInARow)
{
    const std::string large = noise(200000) + std::string(500000, 'y');
    const std::string stream =
        blockOf(large) + emptyBlock + std::string("\x03\x00xyz", 5) + tenBlock + emptyBlock;
    const std::string expected = large + "xyzaaaaaaaaaa";
    for (const Adapter& target : {memoryWith(stream), queueWith(stream), Adapter(new Portions(stream, 0)),
                                  Adapter(new Portions(stream, 0xFFFFFFFF))})
    {
        Adapter adapter(new vnSerializeAdapterCompress(target));
        EXPECT_EQ(readAll(adapter), expected);
        EXPECT_FALSE(adapter->hasError());
    }
    EXPECT_EQ(readByByte(Adapter(new vnSerializeAdapterCompress(queueWith(stream)))), expected);
}

TEST(vnSerializeAdapterCompress, servesReadersThatGoByItsLength)
{
    const std::string stream = tenBlock + emptyBlock + tenBlock;
    const vnTempFolder folder;
    const Adapter file(new vnSerializeAdapterFile(folder.write("a", stream), VN_SERIALIZE_INPUT, 0, 0));
    for (const Adapter& target : {memoryWith(stream), queueWith(stream), file})
    {
        const Adapter adapter(new vnSerializeAdapterCompress(target.get()));
        std::string got;
        while (adapter->length() > 0)
            got += static_cast<char>(adapter->read());
        EXPECT_EQ(got, std::string(20, 'a'));
        EXPECT_FALSE(adapter->hasError());
    }
}

TEST(vnSerializeAdapterCompress, leavesWhatStandsBehindItsBlock)
{
    for (const Adapter& target : {memoryWith(tenBlock + "behind"), queueWith(tenBlock + "behind")})
    {
        Adapter adapter(new vnSerializeAdapterCompress(target));
        EXPECT_EQ(adapter->length(), 19u); // an estimate, which takes nothing
        EXPECT_EQ(adapter->hasData(10), 1);
        EXPECT_EQ(adapter->length(), 10u);
        EXPECT_EQ(readAll(adapter, 10), "aaaaaaaaaa");
        EXPECT_EQ(readAll(target), "behind");
    }
    for (const Adapter& target : {memoryWith(tenBlock), queueWith(tenBlock)})
    {
        Adapter adapter(new vnSerializeAdapterCompress(target));
        EXPECT_EQ(adapter->hasData(11), 0); // which the block has bytes for
        EXPECT_EQ(adapter->hasData(10), 1);
        EXPECT_EQ(readAll(adapter, 10), "aaaaaaaaaa");
        EXPECT_EQ(adapter->length(), 0u);
    }
    // A target that claims 4 GB is not asked for them.
    vnRefPointer<Portions> target(new Portions(tenBlock + std::string(100000, 'z'), 0xFFFFFFFF));
    Adapter adapter(new vnSerializeAdapterCompress(target));
    EXPECT_EQ(readAll(adapter, 10), "aaaaaaaaaa");
    EXPECT_LT(target->position, 50u);
    EXPECT_LT(target->largestRead, 50u);
}

TEST(vnSerializeAdapterCompress, reportsDamageAndGoesOnWithWhatComesNext)
{
    Recorder recorder;
    for (const bool isSilent : {false, true})
        for (std::size_t cut = 1; cut < tenBlock.size(); ++cut)
        {
            Adapter queue = queueWith(tenBlock.substr(0, cut));
            queue->setName("stream");
            queue->setAdapterFlags(isSilent ? vnUInt64{VN_ADAPTER_SILENT} : 0);
            auto* compress = new vnSerializeAdapterCompress(queue);
            Adapter adapter(compress);
            EXPECT_EQ(readAll(adapter), "");
            const std::string text =
                "Failed to uncompress data in stream from " + std::to_string(cut) + " bytes";
            EXPECT_EQ(recorder.take(), isSilent ? Lines() : Lines{"VantorSDK|4000|" + text});
            EXPECT_EQ(adapter->getError(), text.c_str());
            EXPECT_THROW(adapter->read(), vnFatalError);
            writeText(queue, tenBlock);
            EXPECT_EQ(readAll(adapter), "aaaaaaaaaa");
            adapter->pushBack('x');
            adapter->write('y');
            compress->setAdapter(queue);
            EXPECT_FALSE(adapter->hasError());
            EXPECT_EQ(adapter->length(), 0u);
        }
    // A block that is cut inside another one's size drops all that was there.
    Adapter queue = queueWith("\x0a\x02" + noise(10000));
    Adapter adapter(new vnSerializeAdapterCompress(queue));
    EXPECT_EQ(adapter->hasData(), 0);
    EXPECT_EQ(queue->length(), 0u);
}

TEST(vnSerializeAdapterCompress, doesNotReadAnOutputThroughAStack)
{
    const vnTempFolder folder;
    Recorder recorder;
    Adapter file(new vnSerializeAdapterFile(folder.path("a"), VN_SERIALIZE_OUTPUT, 0, 0));
    Adapter scrambler(new vnSerializeAdapterEncoder(file, 7));
    Adapter adapter(new vnSerializeAdapterCompress(scrambler));
    EXPECT_EQ(adapter->supportAction(VN_SERIALIZE_INPUT), 0);
    EXPECT_EQ(adapter->supportAction(VN_SERIALIZE_OUTPUT), 1);
    for (int i = 0; i < 3; ++i)
    {
        writeText(adapter, "text");
        adapter->flush();
        EXPECT_EQ(adapter->length(), 0u);
        EXPECT_EQ(adapter->hasData(), 0);
    }
    adapter = scrambler = file = nullptr;
    EXPECT_EQ(recorder.take(), Lines());
    file = new vnSerializeAdapterFile(folder.path("a"), VN_SERIALIZE_INPUT, 0, 0);
    scrambler = new vnSerializeAdapterEncoder(file, 7);
    EXPECT_EQ(readAll(Adapter(new vnSerializeAdapterCompress(scrambler))), "texttexttext");
}

TEST(vnSerializeAdapterCompress, endsOverASourceWithoutEnd)
{
    struct Endless : vnSerializeAdapter
    {
        explicit Endless(unsigned char byte) : m_byte(byte) { setAdapterFlags(VN_ADAPTER_SILENT); }
        void write_imp(unsigned char) override {}
        unsigned char read_imp() override { return m_byte; }
        unsigned char hasData_imp() override { return 1; }
        unsigned char m_byte;
    };
    for (const unsigned char byte : {0x00, 0xff}) // empty blocks, and one number
    {
        const Adapter adapter(new vnSerializeAdapterCompress(Adapter(new Endless(byte))));
        EXPECT_EQ(adapter->hasData(), 0);
        EXPECT_TRUE(adapter->hasError());
    }
}

TEST(vnSerializeAdapterCompress, keepsItsMemoryWhenWrittenAndReadInTurn)
{
    const SmallHeap heap(0xFFFFFFFFu);
    const Adapter adapter(new vnSerializeAdapterCompress);
    static_cast<vnSerializeAdapterCompress&>(*adapter).setChunkSize(0);
    std::string written, got;
    for (int i = 0; i < 3000; ++i)
    {
        const std::string piece = std::to_string(i) + std::string(100, 'x');
        written += piece;
        writeText(adapter.get(), piece);
        got += readAll(adapter.get(), static_cast<unsigned int>(piece.size()) - (i == 0)); // never empty
    }
    EXPECT_EQ(got + readAll(adapter.get()), written);
    EXPECT_LE(heap.getLargest(), 4096u);
}

TEST(vnSerializeAdapterCompress, flushesAlsoAtTheEndOfTheProgram)
{
    // Its last reference goes with the static objects, when those of the thread are gone.
    struct LateTarget : Portions
    {
        LateTarget() : Portions("", 0) {}
        ~LateTarget() noexcept(false) override
        {
            _exit(plainOf(written) == "late" + std::string(5000, 'x') ? 7 : 8);
        }
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static Adapter late(new vnSerializeAdapterCompress(Adapter(new LateTarget)));
            EXPECT_EQ(plainOf(tenBlock), "aaaaaaaaaa"); // makes the state of this thread
            EXPECT_EQ(blockOf("aaaaaaaaaa"), tenBlock);
            writeText(late, "late" + std::string(5000, 'x'));
            std::exit(0);
        },
        testing::ExitedWithCode(7), "");
}

TEST(vnCompress, storesOrRefusesWhenZlibGetsNoMemory)
{
    const std::string text(100000, 't');
    std::atomic<unsigned int> stored{0}, refused{0}, thrown{0};
    const auto use = [&]
    {
        Bytes block, scratch;
        vnCompress(bytesOf(text), block, scratch);
        stored += block[3] == 0;
        Bytes plain;
        if (!vnUnCompress(block, plain))
        {
            if (!plain.isEmpty())
                throw std::runtime_error("not emptied");
            ++refused;
            return;
        }
        if (textOf(plain) != text)
            throw std::runtime_error("other bytes");
        // In place, where an exception leaves the block as it is.
        const std::string before = textOf(block);
        try
        {
            if (vnUnCompress(block, block) ? textOf(block) != text : !block.isEmpty())
                throw std::runtime_error("other bytes in place");
        }
        catch (const std::bad_alloc&)
        {
            ++thrown;
            if (textOf(block) != before)
                throw std::runtime_error("the source is lost");
            throw;
        }
    };
    torture([&] { std::async(std::launch::async, use).get(); });
    EXPECT_GT(stored.load(), 0u);
    EXPECT_GT(refused.load(), 0u);
    EXPECT_GT(thrown.load(), 0u);
}

TEST(vnSerializeAdapterCompress, survivesExhaustedMemory)
{
    const std::string large(300000, 't');
    const std::string stored = std::string("\xa0\x8d\x06\x00", 4) + noise(100000);
    const std::string stream = blockOf(large) + stored + tenBlock;
    const std::string expected = large + noise(100000) + "aaaaaaaaaa";
    for (const bool isMemory : {true, false})
    {
        const auto use = [&]
        {
            const Adapter target = isMemory ? memoryWith(stream) : queueWith(stream);
            const Adapter adapter(new vnSerializeAdapterCompress(target.get()));
            std::string got;
            try
            {
                got = readAll(adapter.get());
            }
            catch (const std::bad_alloc&)
            {
                got = readAll(adapter.get()); // nothing is lost
            }
            if (got != expected)
                throw std::runtime_error("other bytes");
            const Adapter out(new vnSerializeAdapterCompress(queueWith("").get()));
            writeText(out.get(), large);
            out->flush();
            if (readAll(out.get()) != large)
                throw std::runtime_error("other bytes written");
        };
        // Each time on a thread of its own, which has no state of zlib yet and gives it back to the same
        // heap.
        EXPECT_GT(torture([&] { std::async(std::launch::async, use).get(); }), 10u);
    }
}
