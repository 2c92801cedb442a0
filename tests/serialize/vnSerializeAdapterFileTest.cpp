// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterFile.h>

#include "../messages/vnMessageRecorder.h"
#include "vnSmallHeap.h"
#include "vnTempFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr unsigned int BLOCK = 1000000;

std::string numbers(unsigned int count)
{
    std::string text(count, '\0');
    for (unsigned int i = 0; i < count; ++i)
        text[i] = static_cast<char>(i % 251);
    return text;
}

void put(vnSerializeAdapter& adapter, const std::string& text)
{
    adapter.write(reinterpret_cast<const unsigned char*>(text.data()),
                  static_cast<unsigned int>(text.size()));
}

std::string take(vnSerializeAdapter& adapter, unsigned int count)
{
    std::string text(count, '\0');
    text.resize(adapter.read(reinterpret_cast<unsigned char*>(text.data()), count));
    return text;
}

std::string takeByteByByte(vnSerializeAdapter& adapter)
{
    std::string text;
    while (adapter.hasData())
        text += static_cast<char>(adapter.read());
    return text;
}

vnSerializeAdapterFile reader(const vnString& name)
{
    return vnSerializeAdapterFile(name, VN_SERIALIZE_INPUT, 0, 0);
}

vnSerializeAdapterFile writer(const vnString& name, unsigned char append = 0)
{
    return vnSerializeAdapterFile(name, VN_SERIALIZE_OUTPUT, append, VN_ADAPTER_SILENT);
}
} // namespace

TEST(vnSerializeAdapterFile, ReadsTheSameByBytesAndByBlocksOfAnySize)
{
    const vnTempFolder folder;
    const std::string content = numbers(2 * BLOCK + 12345);
    const vnString name = folder.write("a", content);
    vnSerializeAdapterFile bytes = reader(name);
    EXPECT_EQ(bytes.length(), content.size());
    EXPECT_TRUE(takeByteByByte(bytes) == content);
    EXPECT_EQ(bytes.length(), 0u);
    EXPECT_FALSE(bytes.hasError());
    for (unsigned int size : {7u, 64000u, 999999u, BLOCK, BLOCK + 1, 5 * BLOCK})
        for (unsigned char mode : {0, 1})
        {
            if (mode && size == 7)
                continue;
            vnSerializeAdapterFile blocks = reader(name);
            blocks.setSeekMode(mode);
            std::string all(1, static_cast<char>(blocks.read()));
            while (blocks.length() > 0)
                all += take(blocks, size);
            EXPECT_TRUE(all == content) << "blocks of " << size;
            EXPECT_EQ(take(blocks, 1), "");
            EXPECT_FALSE(blocks.hasError()) << "blocks of " << size;
        }
}

TEST(vnSerializeAdapterFile, KeepsItsBufferSmallWhenBlocksDoNotFit)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", numbers(5 * BLOCK));
    vnSerializeAdapterFile::cleanUpLargeFiles();
    vnMemoryControl::debugMem(1);
    vnSerializeAdapterFile adapter = reader(name);
    unsigned char bytes[7];
    while (adapter.length() > 7)
        ASSERT_EQ(adapter.read(bytes, 7), 7u);
    const vnUInt64 used = vnMemoryControl::getAllocMem(0, 0);
    vnMemoryControl::debugMem(0);
    EXPECT_GE(used, BLOCK);
    EXPECT_LT(used, 2 * BLOCK);
}

TEST(vnSerializeAdapterFile, ReadsAFileOfOneBlockAtOnce)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", numbers(BLOCK));
    vnSerializeAdapterFile adapter = reader(name);
    adapter.read();
    std::filesystem::resize_file(name.getString(), 0); // all of it is here by now
    EXPECT_EQ(adapter.length(), BLOCK - 1);
    EXPECT_EQ(take(adapter, BLOCK).size(), BLOCK - 1);
    EXPECT_FALSE(adapter.hasError());
    EXPECT_THROW(adapter.read(), vnFatalError);
}

TEST(vnSerializeAdapterFile, ReadsOnlyWhatIsAskedForInSeekMode)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", "abc");
    vnSerializeAdapterFile adapter = reader(name);
    adapter.setSeekMode(1);
    EXPECT_EQ(adapter.read(), 'a');
    folder.write("a", "xyz");
    EXPECT_EQ(adapter.read(), 'y');
    EXPECT_EQ(adapter.length(), 1u);
}

TEST(vnSerializeAdapterFile, CollectsABlockBeforeItWrites)
{
    const vnTempFolder folder;
    const vnString name = folder.path("a");
    vnSerializeAdapterFile adapter = writer(name);
    const std::string content = numbers(2 * BLOCK);
    put(adapter, content);
    EXPECT_EQ(vnFileSize(name), 0u); // it is in the buffer as a whole
    EXPECT_EQ(adapter.length(), 2 * BLOCK);
    adapter.write('x');
    EXPECT_EQ(vnFileSize(name), 2 * BLOCK);
    for (unsigned int i = 1; i < BLOCK; ++i)
        adapter.write('x');
    EXPECT_EQ(vnFileSize(name), 2 * BLOCK);
    adapter.write('y');
    EXPECT_EQ(vnFileSize(name), 3 * BLOCK);
    adapter.flush();
    EXPECT_TRUE(vnTempFolder::content(name) == content + std::string(BLOCK, 'x') + "y");
    EXPECT_EQ(adapter.length(), 3 * BLOCK + 1);
    EXPECT_FALSE(adapter.hasError());
}

TEST(vnSerializeAdapterFile, LosesNothingToAWriteOfNoBytes)
{
    const vnTempFolder folder;
    const vnString name = folder.path("a");
    vnSerializeAdapterFile out = writer(name);
    for (const char* text : {"a", "", "b", "", "cd", ""})
        put(out, text);
    EXPECT_EQ(out.length(), 4u);
    out.flush();
    EXPECT_EQ(vnTempFolder::content(name), "abcd");
    Recorder recorder; // of the misuse
    vnSerializeAdapterFile in = reader(name);
    EXPECT_EQ(in.read(), 'a');
    EXPECT_EQ(in.read(), 'b');
    put(in, "");
    EXPECT_EQ(takeByteByByte(in), "cd");
}

TEST(vnSerializeAdapterFile, WritesWhatIsBufferedWhenItEnds)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", "old content");
    put(*vnRefPointer<vnSerializeAdapter>(new vnSerializeAdapterFile(name, VN_SERIALIZE_OUTPUT, 0, 0)),
        "new");
    EXPECT_EQ(vnTempFolder::content(name), "new");
    put(*vnRefPointer<vnSerializeAdapter>(new vnSerializeAdapterFile(name, VN_SERIALIZE_APPEND, 0, 0)), "er");
    EXPECT_EQ(vnTempFolder::content(name), "newer");
}

TEST(vnSerializeAdapterFile, SupportsTheActionThatItWasOpenedFor)
{
    const vnTempFolder folder;
    vnSerializeAdapterFile append(folder.path("a"), VN_SERIALIZE_APPEND, 0, 0);
    EXPECT_TRUE(append.supportAction(VN_SERIALIZE_OUTPUT));
    EXPECT_FALSE(append.supportAction(VN_SERIALIZE_APPEND));
    EXPECT_TRUE(append.canSeek());
    EXPECT_FALSE(writer(folder.path("b")).canSeek());
    vnSerializeAdapterFile in = reader(folder.path("a"));
    EXPECT_TRUE(in.supportAction(VN_SERIALIZE_INPUT));
    EXPECT_FALSE(in.supportAction(VN_SERIALIZE_OUTPUT));
    EXPECT_TRUE(in.canSeek());
}

TEST(vnSerializeAdapterFile, SeeksInWhatItReads)
{
    const vnTempFolder folder;
    vnSerializeAdapterFile adapter = reader(folder.write("a", "0123456789"));
    EXPECT_EQ(take(adapter, 2), "01");
    EXPECT_EQ(adapter.seek(3, VN_ORIGIN_CURRENT), 5u);
    EXPECT_EQ(adapter.read(), '5');
    EXPECT_EQ(adapter.seek(-2, VN_ORIGIN_END), 8u);
    EXPECT_EQ(adapter.length(), 2u);
    EXPECT_EQ(take(adapter, 5), "89");
    EXPECT_EQ(adapter.seek(20, VN_ORIGIN_SET), 20u); // the stream accepts it
    EXPECT_EQ(adapter.length(), 0u);
    EXPECT_EQ(adapter.seek(1, VN_ORIGIN_SET), 1u);
    EXPECT_EQ(adapter.seek(-5, VN_ORIGIN_CURRENT), 0u); // refused, not 0xFFFFFFFF
    EXPECT_EQ(adapter.read(), '1');
}

TEST(vnSerializeAdapterFile, SeeksInWhatItAppends)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", "0123456789");
    vnSerializeAdapterFile append = writer(name, 1);
    put(append, "ab");
    EXPECT_EQ(append.seek(4, VN_ORIGIN_SET), 4u);
    put(append, "X");
    append.flush(); // and the position is at the end again
    put(append, "c");
    EXPECT_EQ(append.seek(15, VN_ORIGIN_SET), 15u);
    put(append, "d");
    append.flush();
    EXPECT_EQ(vnTempFolder::content(name), std::string("0123X56789abc\0\0d", 16));

    vnSerializeAdapterFile fresh = writer(name);
    put(fresh, "0123456789");
    EXPECT_EQ(fresh.seek(11, VN_ORIGIN_SET), 0u); // beyond the end without append
    EXPECT_EQ(fresh.seek(2, VN_ORIGIN_SET), 2u);
    put(fresh, "XY");
    fresh.flush();
    EXPECT_EQ(vnTempFolder::content(name), "01XY456789");
}

TEST(vnSerializeAdapterFile, LosesNothingWhenTwoAppendToOneFile)
{
    const vnTempFolder folder;
    const vnString name = folder.path("a");
    vnSerializeAdapterFile first = writer(name, 1);
    vnSerializeAdapterFile second = writer(name, 1);
    for (int i = 0; i < 3; ++i)
    {
        put(first, "1");
        first.flush();
        put(second, "2");
        second.flush();
    }
    EXPECT_EQ(vnTempFolder::content(name), "121212");
}

TEST(vnSerializeAdapterFile, TellsWhyItCanNotOpen)
{
    const vnTempFolder folder;
    const vnString directory = folder.path("d");
    ASSERT_TRUE(vnMakeDir(directory));
    const vnString missing = folder.path("none");
    const vnString large = folder.write("large", "");
    std::filesystem::resize_file(large.getString(), 4294967296u); // sparse
    const struct
    {
        vnString name;
        vnSerializeAction action;
        const char* purpose;
        const char* reason;
    } rows[] = {
        {missing, VN_SERIALIZE_INPUT, "reading", "No such file or directory"},
        {directory, VN_SERIALIZE_INPUT, "reading", "Is a directory"},
        {directory, VN_SERIALIZE_OUTPUT, "writing", "Is a directory"},
        {missing + "/a", VN_SERIALIZE_OUTPUT, "writing", "No such file or directory"},
        {large, VN_SERIALIZE_INPUT, "reading", "File too large"},
        {large, VN_SERIALIZE_APPEND, "writing", "File too large"},
    };
    for (const auto& row : rows)
    {
        vnSerializeAdapterFile adapter(row.name, row.action, 0, 0);
        EXPECT_EQ(adapter.getError(), vnString::formatString("Could not open '%s' for %s (%s)", row.name,
                                                             row.purpose, row.reason));
        EXPECT_FALSE(adapter.hasData());
        EXPECT_EQ(adapter.seek(1, VN_ORIGIN_SET), 0u);
    }
    EXPECT_EQ(vnFileSize(large), 4294967295u);
    std::filesystem::resize_file(large.getString(), 4294967295u);
    EXPECT_EQ(reader(large).length(), 4294967295u);

    EXPECT_TRUE(reader(vnString("a\0b", 3)).hasError());
    EXPECT_TRUE(reader(vnString::spaces(65535, 'x')).hasError());
}

TEST(vnSerializeAdapterFile, TakesAnEmptyNameAsNoFile)
{
    vnSerializeAdapterFile adapter = writer("");
    EXPECT_FALSE(adapter.hasError());
    EXPECT_FALSE(adapter.hasData());
    adapter.flush();
    EXPECT_EQ(adapter.getError(), "Could not flush to file ''");
    vnSerializeAdapterFile in = reader("");
    EXPECT_FALSE(in.hasError());
    EXPECT_THROW(in.read(), vnFatalError);
}

TEST(vnSerializeAdapterFile, WarnsOfMisuseAndGoesOn)
{
    const vnTempFolder folder;
    Recorder recorder;
    vnSerializeAdapterFile in = reader(folder.write("a", "ab"));
    EXPECT_EQ(in.read(), 'a');
    in.write('x');
    EXPECT_EQ(takeByteByByte(in), "bx");
    vnSerializeAdapterFile out = writer(folder.path("b"));
    put(out, "xyz");
    EXPECT_EQ(out.read(), 'x');
    EXPECT_EQ(take(out, 2), ""); // the block form gives nothing, silently
    out.flush();
    EXPECT_EQ(vnTempFolder::content(folder.path("b")), "yz");
    EXPECT_EQ(out.read(), 0);
    EXPECT_EQ(out.getError(), "File read beyond end");
    const std::string readOnOutput =
        "VantorSDK|4200|Can use VN_SERIALIZE_OUTPUT on a file opened for reading !\n";
    EXPECT_EQ(recorder.take(),
              (Lines{"VantorSDK|4200|Can use VN_SERIALIZE_INPUT on a file opened for writing !\n",
                     readOnOutput, readOnOutput}));
}

TEST(vnSerializeAdapterFile, EndsWhenTheFileShrinks)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", numbers(3 * BLOCK));
    for (unsigned int size : {1u, 1000u, 2 * BLOCK})
    {
        std::filesystem::resize_file(name.getString(), 3 * BLOCK);
        vnSerializeAdapterFile adapter = reader(name);
        EXPECT_EQ(take(adapter, 500).size(), 500u);
        std::filesystem::resize_file(name.getString(), BLOCK + 10);
        unsigned int got = 500;
        while (adapter.hasData())
            got += size == 1 ? (adapter.read(), 1) : static_cast<unsigned int>(take(adapter, size).size());
        EXPECT_EQ(got, BLOCK + 10) << "by " << size;
        EXPECT_EQ(adapter.getError(), "File read beyond end");
    }
    // A block that goes straight to the caller's memory gives what is there, too.
    std::filesystem::resize_file(name.getString(), 3 * BLOCK);
    vnSerializeAdapterFile direct = reader(name);
    std::filesystem::resize_file(name.getString(), 1000);
    EXPECT_EQ(take(direct, 3 * BLOCK).size(), 1000u);
    EXPECT_EQ(direct.getError(), "File read beyond end");
    EXPECT_FALSE(direct.hasData());
    // Nothing at all comes: the byte is 0, and the next one is not there.
    std::filesystem::resize_file(name.getString(), 10);
    vnSerializeAdapterFile adapter = reader(name);
    std::filesystem::resize_file(name.getString(), 0);
    EXPECT_EQ(adapter.read(), 0);
    EXPECT_TRUE(adapter.hasError());
    EXPECT_FALSE(adapter.hasData());
}

TEST(vnSerializeAdapterFile, KeepsWhatAFullDiskDoesNotTake)
{
    if (!vnFileExist("/dev/full"))
        GTEST_SKIP();
    Recorder recorder;
    {
        vnSerializeAdapterFile adapter("/dev/full", VN_SERIALIZE_OUTPUT, 0, 0);
        put(adapter, std::string(BLOCK, 'a'));
        EXPECT_FALSE(adapter.hasError());
        adapter.write('b'); // finds the buffer full, and the disk too
        EXPECT_EQ(adapter.getError(), "Could not flush to file '/dev/full' (No space left on device)");
        EXPECT_EQ(adapter.length(), BLOCK);
        put(adapter, "refused");
        EXPECT_EQ(adapter.length(), BLOCK);
        EXPECT_EQ(adapter.reset(0), 0); // would lose them
        EXPECT_EQ(adapter.length(), BLOCK);
    }
    EXPECT_EQ(recorder.take(),
              Lines{"VantorSDK|4000|Could not flush to file '/dev/full' (No space left on device)"});
}

namespace
{
// Lets no file of this process grow beyond so many bytes. The signal of a write that tries would end it.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_old), 0);
        const rlimit narrow{bytes, m_old.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &narrow), 0);
    }
    ~FileSizeLimit() { EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &m_old), 0); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_old{};
};
} // namespace

TEST(vnSerializeAdapterFile, GoesOnBehindAShortWriteOnceThereIsRoom)
{
    const vnTempFolder folder;
    const vnString name = folder.path("a");
    const std::string content = numbers(500000);
    vnSerializeAdapterFile adapter = writer(name);
    put(adapter, content);
    {
        const FileSizeLimit limit(300000);
        adapter.flush();
    }
    EXPECT_TRUE(adapter.getError().isLast("(File too large)"));
    EXPECT_EQ(vnFileSize(name), 300000u);
    EXPECT_EQ(adapter.length(), 500000u);
    put(adapter, "behind");
    adapter.setError("");
    adapter.flush();
    EXPECT_FALSE(adapter.hasError());
    EXPECT_TRUE(vnTempFolder::content(name) == content + "behind");
}

TEST(vnSerializeAdapterFile, WritesNothingTwiceWhenThereIsNoMemoryForTheError)
{
    const vnTempFolder folder;
    const vnString name = folder.path("a");
    const std::string content = numbers(500000);
    vnSerializeAdapterFile adapter = writer(name);
    put(adapter, content);
    {
        const FileSizeLimit limit(300000);
        const SmallHeap none(0);
        EXPECT_THROW(adapter.flush(), std::bad_alloc);
    }
    EXPECT_EQ(adapter.length(), 500000u);
    adapter.flush();
    EXPECT_TRUE(vnTempFolder::content(name) == content);
}

TEST(vnSerializeAdapterFile, LosesNothingThatItReadWhenThereIsNoMemoryForTheError)
{
    const vnTempFolder folder;
    const std::string content = numbers(3 * BLOCK);
    for (const unsigned int size : {100u, 2 * BLOCK}) // through the buffer, and into the caller's memory
    {
        const vnString name = folder.write("a", content);
        vnSerializeAdapterFile adapter = reader(name);
        std::vector<unsigned char> block(size);
        adapter.read(block.data(), 100); // the buffer stands
        adapter.reset(0);
        std::filesystem::resize_file(name.getString(), 90000);
        {
            const SmallHeap none(0);
            EXPECT_THROW(adapter.read(block.data(), size), std::bad_alloc);
        }
        EXPECT_TRUE(take(adapter, 90000) == content.substr(0, 90000)) << "by " << size;
    }
}

TEST(vnSerializeAdapterFile, KeepsWhatWasPushedBackOnFlush)
{
    const vnTempFolder folder;
    vnSerializeAdapterFile in = reader(folder.write("a", "bc"));
    in.pushBack('a');
    in.flush();
    EXPECT_EQ(take(in, 3), "abc");
}

TEST(vnSerializeAdapterFile, ReadsAPipeToItsEnd)
{
    const vnTempFolder folder;
    const vnString name = folder.path("fifo");
    ASSERT_EQ(mkfifo(name.getString(), 0600), 0);
    const std::string content = numbers(300000);
    std::thread sender(
        [&]
        {
            vnSerializeAdapterFile out = writer(name);
            put(out, content);
        });
    vnSerializeAdapterFile in = reader(name);
    EXPECT_FALSE(in.canSeek());
    EXPECT_TRUE(in.hasData(1000)); // waits
    EXPECT_GE(in.length(), 1000u);
    EXPECT_EQ(in.seek(5, VN_ORIGIN_SET), 0u);
    std::string all = take(in, 100000);
    EXPECT_EQ(all.size(), 100000u);
    all += takeByteByByte(in);
    sender.join();
    EXPECT_TRUE(all == content);
    EXPECT_FALSE(in.hasError());
    EXPECT_FALSE(in.hasData());
    EXPECT_EQ(take(in, 10), "");
    EXPECT_THROW(in.read(), vnFatalError);
}

TEST(vnSerializeAdapterFile, CountsWhatAPipeHoldsWithoutWaiting)
{
    const vnTempFolder folder;
    const vnString name = folder.path("fifo");
    ASSERT_EQ(mkfifo(name.getString(), 0600), 0);
    const int both = open(name.getString(), O_RDWR);
    vnSerializeAdapterFile in = reader(name);
    EXPECT_EQ(in.length(), 0u);
    ASSERT_EQ(write(both, "abc", 3), 3);
    EXPECT_EQ(in.length(), 3u);
    EXPECT_EQ(take(in, 3), "abc");
    close(both);
    EXPECT_EQ(in.length(), 0u);
    EXPECT_FALSE(in.hasData());
}

TEST(vnSerializeAdapterFile, ReportsAPipeThatNobodyReads)
{
    const vnTempFolder folder;
    const vnString name = folder.path("fifo");
    ASSERT_EQ(mkfifo(name.getString(), 0600), 0);
    const int both = open(name.getString(), O_RDWR);
    vnSerializeAdapterFile out = writer(name);
    close(both);
    put(out, "abc");
    out.flush(); // the signal of this would end the process
    EXPECT_TRUE(out.getError().isLast("(Broken pipe)"));
    EXPECT_EQ(out.length(), 3u);
}

TEST(vnSerializeAdapterFile, ReadsFilesThatTheSystemMakesUp)
{
    vnSerializeAdapterFile bytes = reader("/proc/self/maps");
    const std::string text = takeByteByByte(bytes);
    EXPECT_GT(text.size(), 4096u);
    EXPECT_NE(text.find("[stack]"), std::string::npos);
    vnSerializeAdapterFile whole = reader("/proc/self/stat");
    const unsigned int length = whole.length();
    EXPECT_GT(length, 20u);
    EXPECT_EQ(take(whole, length).size(), length);
    EXPECT_EQ(whole.length(), 0u);
    EXPECT_FALSE(whole.hasError());
    vnSerializeAdapterFile null = reader("/dev/null");
    EXPECT_EQ(takeByteByByte(null), "");
    vnSerializeAdapterFile zero = reader("/dev/zero");
    EXPECT_EQ(take(zero, 3), std::string(3, '\0'));
    EXPECT_TRUE(zero.hasData(100000));
}

TEST(vnSerializeAdapterFile, RecyclesItsBuffersBetweenThreads)
{
    const vnTempFolder folder;
    const auto work = [&folder](const char* name)
    {
        for (int i = 0; i < 100; ++i)
        {
            put(*vnRefPointer<vnSerializeAdapter>(
                    new vnSerializeAdapterFile(folder.path(name), VN_SERIALIZE_APPEND, 0, 0)),
                name);
            if (i % 10 == 0)
                vnSerializeAdapterFile::cleanUpLargeFiles();
        }
    };
    std::thread other(work, "b");
    work("a");
    other.join();
    EXPECT_EQ(vnTempFolder::content(folder.path("a")), std::string(100, 'a'));
    EXPECT_EQ(vnTempFolder::content(folder.path("b")), std::string(100, 'b'));
}

TEST(vnSerializeAdapterFile, CutsNoFileForAnActionItDoesNotKnow)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", "content");
    {
        vnSerializeAdapterFile file(name, static_cast<vnSerializeAction>(7), 0, VN_ADAPTER_SILENT);
        EXPECT_EQ(file.getError(), vnString("Could not open '") + name + "' for an unknown action");
        file.write('x');
    }
    EXPECT_EQ(vnTempFolder::content(name), "content");
}

TEST(vnSerializeAdapterFile, AnswersTheExpandedNameAsItsOwn)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", "content");
    vnSerializeAdapterFile file(vnString("file:") + name, VN_SERIALIZE_INPUT, 0, 0);
    EXPECT_EQ(file.getName(), name);
}
