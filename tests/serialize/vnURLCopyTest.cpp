// SPDX-License-Identifier: MIT
#include <vnBase/vnURL.h>

#include "../messages/vnMessageRecorder.h"
#include "vnTempFolder.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterString.h>

#include <gtest/gtest.h>

#include <string>

namespace
{
// Gives the numbers 0, 1, 2, ... and does not know how many are left.
class Unmeasured : public vnSerializeAdapter
{
public:
    explicit Unmeasured(unsigned int count, const char* lastError = "")
        : m_left(count), m_lastError(lastError)
    {
    }

protected:
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char) override {}
    unsigned int read_imp(unsigned char* data, unsigned int count) override
    {
        EXPECT_EQ(count, 1u) << "a block may wait for more than there is";
        *data = read_imp();
        return 1;
    }
    unsigned char read_imp() override
    {
        if (--m_left == 0)
            setError(m_lastError);
        return m_next++;
    }
    unsigned char hasData_imp() override { return m_left > 0; }

private:
    unsigned int m_left;
    vnString m_lastError;
    unsigned char m_next = 0;
};

// Promises data that never come.
struct Liar : vnSerializeAdapter
{
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char) override {}
    unsigned int read_imp(unsigned char*, unsigned int) override { return 0; }
    unsigned char read_imp() override { return 0; }
    unsigned int length_imp() override { return 0xF0000; }
};

// Keeps the sizes of the blocks that come.
class Sizes : public vnSerializeAdapter
{
public:
    std::string sizes;

protected:
    using vnSerializeAdapter::read_imp;
    void write_imp(unsigned char* data, unsigned int count) override
    {
        // Another copy on this thread, from within this one.
        vnSerializeAdapterString from, to;
        from = "inner";
        EXPECT_TRUE(copyAdapters(&to, &from, nullptr));
        EXPECT_EQ(vnString(to), "inner");
        sizes += std::to_string(count) + static_cast<char>(data[0]) + " ";
    }
    void write_imp(unsigned char) override { sizes += "1 "; }
    unsigned char read_imp() override { return 0; }
};
} // namespace

TEST(vnURLCopy, CopiesAllThatTheSourceHas)
{
    vnSerializeAdapterString source, destination;
    source = "text";
    source.pushBack('a');
    EXPECT_TRUE(copyAdapters(&destination, &source, nullptr));
    EXPECT_EQ(vnString(destination), "atext");
    EXPECT_TRUE(copyAdapters(&destination, &source, nullptr)); // of no data
}

TEST(vnURLCopy, RefusesToCopyAnAdapterToItself)
{
    vnSerializeAdapterString text;
    text = "text";
    vnString error;
    EXPECT_FALSE(copyAdapters(&text, &text, &error));
    EXPECT_EQ(error, "Source and destination are one adapter");
    EXPECT_EQ(vnString(text), "text");
}

// Flushing a memory adapter empties it.
TEST(vnURLCopy, LeavesADestinationUnflushedThatSomebodyElseHolds)
{
    struct Holding : vnSerializeURLManagerInterface
    {
        vnSerializeAdapter* getURLAdapter(const vnString&, vnSerializeAction, vnUInt64, const vnString&,
                                          vnString*) override
        {
            return held;
        }
        unsigned char block[8] = {};
        vnRefPointer<vnSerializeAdapter> held{new vnSerializeAdapterMemory(block, sizeof block)};
    };
    const vnRefPointer<Holding> manager(new Holding);
    vnSerializeAdapter::registerURLManager("held", manager);
    const vnTempFolder folder;
    EXPECT_TRUE(copyAdapters("held:a", folder.write("a.txt", "abc"), nullptr));
    EXPECT_EQ(manager->held->length(), 5u);
    manager->held->seek(0, VN_ORIGIN_SET);
    EXPECT_EQ(manager->held->read(), 'a');
    vnSerializeAdapter::unregisterURLManager("held", manager);
}

TEST(vnURLCopy, CopiesInBlocksOfBoundedSize)
{
    std::string data(1048577, 'x');
    vnSerializeAdapterMemory source(data.data(), static_cast<unsigned int>(data.size()));
    Sizes destination;
    EXPECT_TRUE(copyAdapters(&destination, &source, nullptr));
    EXPECT_EQ(destination.sizes, "1048576x 1x ");
}

TEST(vnURLCopy, ReadsSingleBytesOfASourceThatDoesNotKnowItsLength)
{
    Unmeasured source(3);
    vnSerializeAdapterString destination;
    EXPECT_TRUE(copyAdapters(&destination, &source, nullptr));
    EXPECT_EQ(destination.length(), 3u);
}

TEST(vnURLCopy, TellsTheErrorOfEitherSideAndStops)
{
    vnString error;
    vnSerializeAdapterString text;
    text = "text";
    EXPECT_FALSE(copyAdapters(nullptr, &text, &error));
    EXPECT_EQ(error, "No valid destination adapter");
    EXPECT_FALSE(copyAdapters(&text, nullptr, &error));
    EXPECT_EQ(error, "No valid source adapter");

    vnSerializeAdapterString destination;
    Unmeasured broken(3, "broken");
    EXPECT_FALSE(copyAdapters(&destination, &broken, &error));
    EXPECT_EQ(error, "broken");
    EXPECT_EQ(destination.length(), 2u); // the byte that came with the error is none

    unsigned char small[2];
    vnSerializeAdapterMemory full(small, sizeof small);
    EXPECT_FALSE(copyAdapters(&full, &text, &error));
    EXPECT_EQ(error, "Memory Adapter written beyond end");
    EXPECT_FALSE(copyAdapters(&full, &text, nullptr));
}

TEST(vnURLCopy, EndsWhenAPromisedByteDoesNotCome)
{
    Liar source;
    vnSerializeAdapterString destination;
    vnString error;
    EXPECT_FALSE(copyAdapters(&destination, &source, &error));
    EXPECT_EQ(error, "Source adapter has data and gives none");
}

TEST(vnURLCopy, CopiesFromURLToURL)
{
    const vnTempFolder folder;
    const std::string content(3000000, 'z');
    const vnString source = folder.write("a.bin", content);
    const vnString destination = folder.path("b.bin");
    vnString error;
    EXPECT_TRUE(copyAdapters(vnString("file:") + destination, source, &error)) << error;
    EXPECT_EQ(vnTempFolder::content(destination), content);
}

TEST(vnURLCopy, LeavesTheDestinationAloneWhenTheSourceDoesNotOpen)
{
    const vnTempFolder folder;
    const vnString destination = folder.write("b.txt", "kept");
    vnString error;
    EXPECT_FALSE(copyAdapters(destination, folder.path("none"), &error, 1, 1));
    EXPECT_EQ(error.left(13), "URL Adapter (");
    EXPECT_EQ(vnTempFolder::content(destination), "kept");
    EXPECT_FALSE(copyAdapters(folder.path("no/folder"), destination, &error, 1, 1));
    EXPECT_EQ(error.left(13), "URL Adapter (");
    Recorder recorder;
    EXPECT_FALSE(copyAdapters(destination, folder.path("none"), &error, 0, 1)); // each has its own flags
    EXPECT_EQ(recorder.take().size(), 0u);
    EXPECT_FALSE(copyAdapters(destination, folder.path("none"), &error, 1, 0));
    EXPECT_EQ(recorder.take().size(), 1u);
}

TEST(vnURLCopy, TellsWhatCouldNotBeWrittenInTheEnd)
{
    const vnTempFolder folder;
    vnString error;
    EXPECT_FALSE(copyAdapters("/dev/full", folder.write("a.txt", "abc"), &error, 1, 1));
    EXPECT_TRUE(error.contains("/dev/full")) << error;
}
