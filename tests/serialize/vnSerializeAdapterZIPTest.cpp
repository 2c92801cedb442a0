// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterZIP.h>

#include "../messages/vnMessageRecorder.h"
#include "vnArchiveBytes.h"
#include "vnEncodeTestHelp.h"
#include "vnSmallHeap.h"
#include "vnTempFolder.h"

#include <vnBase/vnSerializeAdapterCache.h>
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterRandomAccess.h>

#include <gtest/gtest.h>

#include <iterator>
#include <utility>
#include <vector>

namespace
{
using Member = vnArchiveMember;

const Member hello{"dir/b.txt", "Hello", 5, 0xF7D18982u, 0, 0};
const Member empty{"empty", "", 0, 0, 0, 0};
// zlib's raw deflate of 1000 times "a".
const Member letters{
    "letters", std::string("\x4b\x4c\x1c\x05\xa3\x60\x14\x0c\x77\x00\x00", 11), 1000, 0x9A38DA03u, 8, 0};

// Nothing is copied.
Adapter memoryOf(std::string& bytes)
{
    return new vnSerializeAdapterMemory(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

std::string failureOf(const vnString& url, vnSerializeAction action = VN_SERIALIZE_INPUT, vnUInt64 flags = 0)
{
    vnString error;
    const Adapter adapter(
        vnSerializeAdapter::getURLAdapter(url, action, flags | VN_ADAPTER_SILENT, vnString(), &error));
    return adapter ? "opened" : error.getString();
}
} // namespace

TEST(vnSerializeAdapterZIP, ReadsStoredDeflatedAndEmptyMembers)
{
    std::string bytes = vnArchiveOf({hello, empty, letters}, "a comment");
    vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
    EXPECT_FALSE(zip.hasError()) << zip.getError().getString();
    EXPECT_EQ(zip.getComment(), "a comment");
    EXPECT_TRUE(zip.setCurrentItem("letters"));
    EXPECT_EQ(restOf(&zip), std::string(1000, 'a'));
    EXPECT_TRUE(zip.setCurrentItem("empty"));
    EXPECT_EQ(zip.length(), 0u);
    EXPECT_FALSE(zip.hasData());
    EXPECT_TRUE(zip.setCurrentItem("dir/b.txt"));
    EXPECT_EQ(zip.getCurrentItem(), "dir/b.txt");
    EXPECT_EQ(zip.read(), 'H');
    EXPECT_EQ(zip.length(), 4u);
    EXPECT_EQ(zip.seek(-2, VN_ORIGIN_CURRENT), 0xFFFFFFFFu);
    EXPECT_EQ(zip.seek(2, VN_ORIGIN_CURRENT), 3u);
    EXPECT_EQ(restOf(&zip), "lo");
    EXPECT_EQ(zip.seek(0, VN_ORIGIN_SET), 0u);
    EXPECT_EQ(restOf(&zip), "Hello");
}

TEST(vnSerializeAdapterZIP, NamesAreComparedByTheCaseOfTheirLetters)
{
    std::string bytes = vnArchiveOf({hello});
    vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
    EXPECT_TRUE(zip.setCurrentItem("dir/b.txt"));
    EXPECT_FALSE(zip.setCurrentItem("dir/B.txt"));
    EXPECT_EQ(zip.getCurrentItem(), "");
    EXPECT_EQ(zip.length(), 0u);
    EXPECT_EQ(zip.getError(), "Couldn't locate dir/B.txt in archive ");
}

TEST(vnSerializeAdapterZIP, RefusesMembersThatAreNotWhatTheyClaim)
{
    const auto changed = [](Member member, unsigned int Member::*field, unsigned int value)
    {
        member.*field = value;
        return member;
    };
    const std::pair<Member, const char*> members[] = {
        {changed(hello, &Member::crc, 1), "read"},
        {changed(hello, &Member::size, 0xFFFFFFF0u), "read"},
        {changed(hello, &Member::size, 4), "read"},
        {changed(changed(hello, &Member::size, 4), &Member::crc, 0xBCB4AFDDu), "read"}, // of "Hell"
        {changed(letters, &Member::size, 0xFFFFFFF0u), "read"},
        {changed(letters, &Member::size, 999), "read"},
        {changed(hello, &Member::method, 8), "read"},
        {changed(hello, &Member::method, 12), "open"},
        {changed(hello, &Member::flags, 1), "open"}, // encrypted
    };
    for (const auto& [member, failed] : members)
    {
        SCOPED_TRACE(member.name + " of " + std::to_string(member.size) + " by " +
                     std::to_string(member.method));
        std::string bytes = vnArchiveOf({member, empty});
        vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
        EXPECT_FALSE(zip.setCurrentItem(member.name.c_str()));
        EXPECT_EQ(
            zip.getError(),
            ("Couldn't " + std::string(failed) + " current file " + member.name + " in archive ").c_str());
        EXPECT_EQ(zip.length(), 0u);
        EXPECT_TRUE(zip.setCurrentItem("empty")); // the archive is usable all the same
    }
}

TEST(vnSerializeAdapterZIP, TakesLittleMemoryForAClaimAlone)
{
    // Both sizes in the directory claim 4 GiB - 16, or that 32 bits don't hold them, before 5 MB of archive.
    const std::string large(5000000, 'x');
    const Member behind{"large", large, 5000000, vnArchiveCRC(large), 0, 0};
    for (const unsigned int claim : {0xFFFFFFF0u, 0xFFFFFFFFu})
    {
        std::string bytes = vnArchiveOf({letters, behind});
        const std::size_t entry = bytes.find("PK\x01\x02");
        std::string sizes;
        vnPutNumber(sizes, claim, 4);
        bytes.replace(entry + 20, 8, sizes + sizes);
        bytes.replace(bytes.find("PK\x03\x04") + 18, 8, sizes + sizes);
        const SmallHeap heap(64u << 20);
        vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
        EXPECT_FALSE(zip.setCurrentItem("letters"));
        EXPECT_EQ(zip.getError(), "Couldn't read current file letters in archive ");
        EXPECT_LT(heap.getLargest(), claim == 0xFFFFFFFFu ? 1u << 20 : 17u << 20);
        EXPECT_TRUE(zip.setCurrentItem("large"));
        EXPECT_EQ(zip.length(), 5000000u);
    }
}

TEST(vnSerializeAdapterZIP, TakesNoMemoryForMembersBeyondTheLimitOrTheHeap)
{
    const std::string large(40000000, 'x');
    std::string bytes = vnArchiveOf({letters, Member{"large", large, 40000000, vnArchiveCRC(large), 0, 0}});
    vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
    {
        const SmallHeap heap(32u << 20);
        EXPECT_FALSE(zip.setCurrentItem("large"));
        EXPECT_EQ(zip.getError(), "Couldn't read current file large in archive ");
        EXPECT_TRUE(zip.setCurrentItem("letters"));
    }
    const auto opens = [&zip](unsigned int limit)
    {
        vnSerializeAdapterZIP::setMaxMemberSize(limit);
        const bool isOpen = zip.setCurrentItem("large");
        vnSerializeAdapterZIP::setMaxMemberSize(0xFFFFFFFFu);
        return isOpen;
    };
    EXPECT_FALSE(opens(39999999));
    EXPECT_EQ(zip.getError(), "Too large file large in archive ");
    EXPECT_TRUE(opens(40000000));
}

TEST(vnSerializeAdapterZIP, TakesNoMoreIntoMemoryForAURLFromOutsideThanIsAllowed)
{
    const vnTempFolder folder;
    const vnString archive = folder.write("a.zip", vnArchiveOf({letters}));
    const vnString zip = vnString("zip:{") + archive + "},letters";
    const vnString file = folder.write("a.txt", std::string(1000, 'a'));
    const auto adapterError = [](const vnString& url, const vnString& error)
    { return vnString("URL Adapter (") + url + ") Error:" + error; };
    const vnString tooMany = "Source adapter gives too many bytes";
    const struct
    {
        unsigned int limit; // the largest that is too small
        vnString url, error;
    } rows[] = {
        {999, zip, adapterError(zip, vnString("Too large file letters in archive ") + archive)},
        {999, vnString("rand:") + file, adapterError(vnString("rand:") + file, tooMany)},
        {999, vnString("cache:0,1000,") + file, adapterError(vnString("cache:0,1000,") + file, tooMany)},
        // These hold the member as well.
        {1999, vnString("rand:") + zip, adapterError(vnString("rand:") + zip, tooMany)},
        {1299, vnString("cache:9,300,") + zip, adapterError(vnString("cache:9,300,") + zip, tooMany)},
        {2999, vnString("rand:rand:") + zip, adapterError(vnString("rand:rand:") + zip, tooMany)},
    };
    const unsigned int before = vnSerializeAdapter::getMaxUntrustedSize();
    EXPECT_EQ(before, 64u << 20);
    for (const auto& row : rows)
    {
        const auto failure = [&row](unsigned int limit, vnUInt64 flags)
        {
            vnSerializeAdapter::setMaxUntrustedSize(limit);
            vnSerializeAdapterCache::resetCaches();
            return failureOf(row.url, VN_SERIALIZE_INPUT, flags);
        };
        EXPECT_EQ(failure(row.limit, VN_ADAPTER_UNTRUSTED), row.error.getString());
        EXPECT_EQ(failure(row.limit + 1, VN_ADAPTER_UNTRUSTED), "opened") << row.url;
        EXPECT_EQ(failure(row.limit, 0), "opened") << row.url;
    }
    vnSerializeAdapter::setMaxUntrustedSize(1000);
    const Adapter access(vnSerializeAdapter::getURLAdapter(vnString("rand:") + file, VN_SERIALIZE_INPUT,
                                                           VN_ADAPTER_UNTRUSTED));
    access->seek(0, VN_ORIGIN_END);
    EXPECT_EQ(access->read(), 0); // which would make it longer
    EXPECT_EQ(access->getError(), "Random Access Adapter moved outside size");
    vnSerializeAdapter::setMaxUntrustedSize(before);
}

TEST(vnSerializeAdapterZIP, SupportsAnyActionWhateverItsParentDoes)
{
    const vnTempFolder folder;
    const Adapter file(
        new vnSerializeAdapterFile(folder.write("a.zip", vnArchiveOf({hello})), VN_SERIALIZE_INPUT, 0, 0));
    vnSerializeAdapterZIP zip(file, VN_SERIALIZE_INPUT);
    EXPECT_TRUE(zip.supportAction(VN_SERIALIZE_INPUT));
    EXPECT_TRUE(zip.supportAction(VN_SERIALIZE_OUTPUT));
}

TEST(vnSerializeAdapterZIP, TruncationAtEachByteIsAnErrorOrTheMember)
{
    for (const bool isZip64 : {false, true})
    {
        const std::string whole = vnArchiveOf({hello, letters}, "comment", isZip64);
        for (std::size_t size = 0; size <= whole.size(); ++size)
        {
            std::string bytes = whole.substr(0, size);
            vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
            // Cut in its comment an archive can be read, and one of 64 bits also in its old end record.
            const bool isThere = size >= whole.size() - 7 - (isZip64 ? 22 : 0);
            SCOPED_TRACE((isZip64 ? "64 bits " : "32 bits ") + std::to_string(size));
            EXPECT_EQ(!zip.hasError(), isThere);
            EXPECT_EQ(zip.setCurrentItem("letters") != 0, isThere);
            EXPECT_EQ(restOf(&zip), std::string(isThere ? 1000 : 0, 'a'));
            EXPECT_EQ(zip.setCurrentItem("dir/b.txt") != 0, isThere);
            EXPECT_EQ(zip.getComment() == "comment", size == whole.size());
        }
    }
}

TEST(vnSerializeAdapterZIP, OpensByURLOrTellsWhyNot)
{
    const vnTempFolder folder;
    const vnString path = folder.write("a.zip", vnArchiveOf({hello}));
    const vnString none = folder.write("none", "no archive");
    const std::string at = path.getString(), noneAt = none.getString();
    const vnString url = vnString("zip:{file:") + path + "},dir/b.txt";
    const Adapter adapter(vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT));
    ASSERT_TRUE(adapter);
    EXPECT_EQ(restOf(adapter), "Hello");
    EXPECT_EQ(adapter->getURL(), url);
    const std::pair<vnString, std::string> rows[] = {
        {vnString("zip:{rand:file:") + path + "},dir/b.txt", "opened"},
        {vnString("zip:{file:") + path + "},no",
         "URL Adapter (zip:{file:" + at + "},no) Error:Couldn't locate no in archive file:" + at},
        {vnString("zip:{file:") + none + "},a",
         "URL Adapter (zip:{file:" + noneAt +
             "},a) Error:Failed to initialize ZIP archive from adapter file:" + noneAt},
        {vnString("zip:{file:") + path + "x},a", ""}, // what the archive's own URL reported
    };
    for (const auto& [wrong, failure] : rows)
        EXPECT_EQ(failureOf(wrong), failure);
    for (const vnSerializeAction action : {VN_SERIALIZE_OUTPUT, VN_SERIALIZE_APPEND})
        EXPECT_EQ(failureOf(url, action), "Can not open 'zip:{file:" + at + "},dir/b.txt' as output");
    EXPECT_EQ(vnTempFolder::content(path), vnArchiveOf({hello})); // nothing was cut
}

TEST(vnSerializeAdapterZIP, MissingAndBrokenParentsAreErrors)
{
    EXPECT_EQ(vnSerializeAdapterZIP(nullptr, VN_SERIALIZE_INPUT).getError(),
              "Missing parent adapter for ZIP archive");
    const Adapter broken(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    broken->setError("gone");
    vnSerializeAdapterZIP zip(broken, VN_SERIALIZE_INPUT);
    EXPECT_EQ(zip.getError(), "Parent archive has error:gone");
    EXPECT_FALSE(zip.setCurrentItem("a"));
    vnSerializeAdapterZIP none(nullptr, VN_SERIALIZE_OUTPUT);
    unsigned char block[] = "abc";
    EXPECT_EQ(none.readZIP(block, 3), 0u);
    none.writeZIP(block, 3);
    EXPECT_EQ(none.seekZIP(0, VN_ORIGIN_END), 0xFFFFFFFFu);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(block)), "abc");
}

TEST(vnSerializeAdapterZIP, OpensOneArchiveBehindAnother)
{
    std::string first = vnArchiveOf({hello}, "first"), second = vnArchiveOf({letters}), none = "no archive";
    vnSerializeAdapterZIP zip(nullptr, VN_SERIALIZE_INPUT);
    zip.setAdapter(memoryOf(first));
    EXPECT_FALSE(zip.hasError()) << zip.getError().getString();
    EXPECT_TRUE(zip.setCurrentItem("dir/b.txt"));
    zip.read(nullptr, 9); // beyond the end, which is an error of the member
    zip.setAdapter(memoryOf(second));
    EXPECT_FALSE(zip.hasError()) << zip.getError().getString();
    EXPECT_EQ(zip.getComment(), "");
    EXPECT_EQ(zip.getCurrentItem(), "");
    EXPECT_EQ(zip.length(), 0u);
    EXPECT_TRUE(zip.setCurrentItem("letters"));
    zip.setAdapter(memoryOf(first));
    zip.setAdapter(memoryOf(none));
    EXPECT_EQ(zip.getError(), "Failed to initialize ZIP archive from adapter ");
    EXPECT_EQ(zip.getComment(), "");
    EXPECT_FALSE(zip.setCurrentItem("letters"));
}

TEST(vnSerializeAdapterZIP, SharesTheInstancesOfItsParents)
{
    const Adapter queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    EXPECT_EQ(queue->getNewSharedInstanceID(), 0u);
    const Adapter access(new vnSerializeAdapterRandomAccess(queue));
    vnSerializeAdapterZIP zip(access, VN_SERIALIZE_OUTPUT);
    EXPECT_EQ(zip.getNewSharedInstanceID(), 1u);
    EXPECT_EQ(access->getNewSharedInstanceID(), 2u);
    EXPECT_EQ(&zip.getRefInstanceDictionary(), &queue->getRefInstanceDictionary());
    EXPECT_EQ(&zip.getRefInstanceArray(), &queue->getRefInstanceArray());
    zip.clearSharedRefs();
    EXPECT_EQ(queue->getNewSharedInstanceID(), 0u);
}

TEST(vnSerializeAdapterZIP, ReadsCommentsOfAnyKind)
{
    const std::pair<std::string, vnString> comments[] = {
        {std::string(1500, 'c'), std::string(1000, 'c').c_str()},
        {std::string("a\0b", 3), vnString("a\0b", 3)}};
    for (const auto& [comment, found] : comments)
    {
        std::string bytes = vnArchiveOf({hello}, comment);
        const vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
        EXPECT_EQ(zip.getComment().length(), found.length());
        EXPECT_EQ(zip.getComment(), found);
    }
}

TEST(vnSerializeAdapterZIP, TakesBytesBackUntilAnotherMemberIsSelected)
{
    Member second = letters;
    second.name = hello.name;
    std::string bytes = vnArchiveOf({hello, second});
    vnSerializeAdapterZIP zip(memoryOf(bytes), VN_SERIALIZE_INPUT);
    EXPECT_TRUE(zip.setCurrentItem("dir/b.txt")); // the first of two of this name
    EXPECT_EQ(zip.read(), 'H');
    EXPECT_EQ(zip.read(), 'e');
    zip.pushBack('X');
    zip.flush();
    EXPECT_EQ(zip.length(), 4u);
    EXPECT_EQ(zip.seek(1, VN_ORIGIN_CURRENT), 3u); // of the member
    EXPECT_EQ(restOf(&zip), "Xlo");
    zip.pushBack('X');
    EXPECT_TRUE(zip.setCurrentItem("dir/b.txt"));
    EXPECT_EQ(restOf(&zip), "Hello");
}

TEST(vnSerializeAdapterZIP, WrapsAParentThatCanNotSeek)
{
    const std::string bytes = vnArchiveOf({hello});
    vnSerializeAdapterZIP zip(queueWith(bytes), VN_SERIALIZE_INPUT);
    EXPECT_TRUE(zip.setCurrentItem("dir/b.txt"));
    EXPECT_EQ(restOf(&zip), "Hello");
}

TEST(vnSerializeAdapterZIP, WritesAnArchiveWithoutMembersBehindWhatIsThere)
{
    const vnTempFolder folder;
    const vnString path = folder.write("out", "before");
    {
        vnSerializeAdapterZIP zip(new vnSerializeAdapterFile(path, VN_SERIALIZE_APPEND, 0, 0),
                                  VN_SERIALIZE_OUTPUT);
        EXPECT_FALSE(zip.hasError()) << zip.getError().getString();
        EXPECT_TRUE(zip.setCurrentItem("a"));
        zip.write('x');
        zip.read(); // errors of reading don't concern what is written
        EXPECT_EQ(zip.seek(1, VN_ORIGIN_SET), 0xFFFFFFFFu);
        EXPECT_TRUE(zip.hasError());
        zip.setComment("hi");
    }
    const std::string written = vnTempFolder::content(path);
    ASSERT_EQ(written.size(), 6u + 24);
    EXPECT_EQ(written.substr(0, 10), "beforePK\x05\x06");
    EXPECT_EQ(written.substr(28), "hi");
}

namespace
{
// Gives at most so many bytes at a time; after so many reads it throws, or has an error and gives none.
class Limited : public vnSerializeAdapterMemory
{
public:
    Limited(std::string& bytes, unsigned int most, unsigned int reads, bool isThrowing)
        : vnSerializeAdapterMemory(bytes.data(), static_cast<unsigned int>(bytes.size())), m_most(most),
          m_left(reads), m_isThrowing(isThrowing)
    {
    }

protected:
    using vnSerializeAdapterMemory::read_imp;
    unsigned int read_imp(unsigned char* data, unsigned int count) override
    {
        if (m_left == 0 && m_isThrowing)
            throw std::runtime_error("no more");
        if (m_left == 0)
            return setError("no more"), 0;
        --m_left;
        const unsigned int got = vnSerializeAdapterMemory::read_imp(data, std::min(count, m_most));
        setReadWindow(nullptr, nullptr); // the next one comes here, too
        return got;
    }

private:
    unsigned int m_most, m_left;
    bool m_isThrowing;
};

// Knows its length and moves nowhere, without an error.
class Immovable : public vnSerializeAdapterMemory
{
public:
    explicit Immovable(unsigned char (&block)[10]) : vnSerializeAdapterMemory(block, sizeof block) {}
    unsigned int seek(int, vnOriginPos origin) override { return origin == VN_ORIGIN_END ? 10 : 0; }
};

// Refuses what is written.
class Full : public vnSerializeAdapterQueue
{
public:
    Full() : vnSerializeAdapterQueue(VN_QUEUE_FIFO) {}

protected:
    void write_imp(unsigned char*, unsigned int) override { setError("full"); }
    void write_imp(unsigned char) override { setError("full"); }
};
} // namespace

TEST(vnSerializeAdapterZIP, ReadsAParentThatGivesFewBytesAtATimeOrFails)
{
    const std::string whole = vnArchiveOf({hello, letters}, "comment");
    for (unsigned int reads = 0; reads < 300; ++reads)
    {
        std::string bytes = whole;
        vnSerializeAdapterZIP zip(new Limited(bytes, 1, reads, false), VN_SERIALIZE_INPUT);
        EXPECT_EQ(zip.hasError() != 0, reads < whole.size()) << reads; // it fits in one page
        EXPECT_EQ(zip.setCurrentItem("letters") != 0, reads >= whole.size()) << reads;
    }
}

TEST(vnSerializeAdapterZIP, TellsThatItsArchiveCouldNotBeWritten)
{
    Recorder recorder;
    const Adapter full(new Full);
    vnSerializeAdapterZIP(full, VN_SERIALIZE_OUTPUT); // held in memory, since it can't seek
    EXPECT_EQ(recorder.take(), Lines{"VantorSDK|4000|full"});
    unsigned char block[10] = {}; // too small for the end record
    vnSerializeAdapterZIP(new vnSerializeAdapterMemory(block, 0), VN_SERIALIZE_OUTPUT);
    EXPECT_EQ(recorder.take(), Lines{"VantorSDK|4000|Memory Adapter written beyond end"});
    const Adapter moved(new Immovable(block));
    vnSerializeAdapterZIP(moved, VN_SERIALIZE_OUTPUT);
    EXPECT_EQ(recorder.take(), Lines{"VantorSDK|4000|Failed to write ZIP archive to adapter "});
    moved->setAdapterFlags(VN_ADAPTER_SILENT);
    vnSerializeAdapterZIP zip(moved, VN_SERIALIZE_OUTPUT);
    zip.setAdapter(moved);
    EXPECT_EQ(zip.getError(), "Failed to write ZIP archive to adapter ");
    EXPECT_EQ(recorder.take(), Lines{});
}

TEST(vnSerializeAdapterZIP, HandsOnWhatItsParentThrows)
{
    Member large = letters;
    large.name.assign(200, 'n');
    std::vector<Member> members(2000, large); // over several pages
    std::string bytes = vnArchiveOf(members);
    EXPECT_THROW(vnSerializeAdapterZIP(new Limited(bytes, ~0u, 0, true), VN_SERIALIZE_INPUT),
                 std::runtime_error);
    unsigned int thrown = 0;
    for (unsigned int reads = 1; reads < 40; ++reads)
        try
        {
            vnSerializeAdapterZIP zip(new Limited(bytes, ~0u, reads, true), VN_SERIALIZE_INPUT);
            EXPECT_TRUE(zip.setCurrentItem(large.name.c_str()));
        }
        catch (const std::runtime_error&)
        {
            ++thrown;
        }
    EXPECT_GT(thrown, 0u);
    EXPECT_LT(thrown, 39u);
}

TEST(vnSerializeAdapterZIP, ReadsTheArchivesOfOthers)
{
    if (std::system("python3 -c 'import zipfile' > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "there is no python3";
    const vnTempFolder folder;
    const vnString script = folder.write("make.py", R"(
import io, os, subprocess, sys, shutil, zipfile
os.chdir(sys.argv[1])
big = bytes(range(256)) * 400000  # 102,400,000 bytes
class Pipe(io.RawIOBase):  # can't seek: sizes follow in data descriptors
    def __init__(self, name): self.file = open(name, 'wb')
    def writable(self): return True
    def write(self, data): return self.file.write(data)
def fill(z):
    z.writestr('stored.txt', 'stored', zipfile.ZIP_STORED)
    z.writestr('deflated.txt', 'deflated ' * 1000, zipfile.ZIP_DEFLATED)
    z.writestr('empty', '')
    z.writestr('\u00e4\u03b2.txt', 'named', zipfile.ZIP_DEFLATED)
    z.comment = b'comment'
with zipfile.ZipFile('python.zip', 'w') as z: fill(z)
with zipfile.ZipFile(Pipe('descriptors.zip'), 'w') as z: fill(z)
with zipfile.ZipFile('zip64.zip', 'w') as z:
    fill(z)
    with z.open('forced', 'w', force_zip64=True) as f: f.write(b'forced')
with zipfile.ZipFile('big.zip', 'w') as z: z.writestr('big', big, zipfile.ZIP_DEFLATED)
os.mkdir('in'); os.chdir('in')
for name, text in (('stored.txt', 'stored'), ('deflated.txt', 'deflated ' * 1000), ('empty', ''), ('\u00e4\u03b2.txt', 'named')):
    with open(name, 'w') as f: f.write(text)
if shutil.which('zip'): subprocess.check_call('zip -q ../infozip.zip *; echo comment | zip -qz ../infozip.zip', shell=True)
for seven in ('7z', '7za', '7zz'):
    if shutil.which(seven): subprocess.check_call([seven, 'a', '-tzip', '../seven.zip', '.'], stdout=subprocess.DEVNULL); break
)");
    const std::string command =
        std::string("LC_ALL=C.UTF-8 python3 ") + script.getString() + " " + folder.path("").getString();
    ASSERT_EQ(std::system(command.c_str()), 0);
    unsigned int archives = 0;
    const char* const made[] = {"python.zip", "descriptors.zip", "zip64.zip", "infozip.zip", "seven.zip"};
    for (const std::string name : made)
    {
        const Adapter file(new vnSerializeAdapterFile(folder.path(name), VN_SERIALIZE_INPUT, 0, 0));
        if (file->hasError())
            continue;
        ++archives;
        SCOPED_TRACE(name);
        vnSerializeAdapterZIP zip(file, VN_SERIALIZE_INPUT);
        EXPECT_EQ(zip.getComment(), name == "seven.zip" ? "" : "comment");
        std::string deflated;
        for (unsigned int i = 0; i < 1000; ++i)
            deflated += "deflated ";
        std::vector<std::pair<const char*, std::string>> members = {{"stored.txt", "stored"},
                                                                    {"deflated.txt", deflated},
                                                                    {"empty", ""},
                                                                    {"\xc3\xa4\xce\xb2.txt", "named"}};
        if (name == "zip64.zip")
            members.emplace_back("forced", "forced");
        for (const auto& [member, text] : members)
        {
            EXPECT_TRUE(zip.setCurrentItem(member)) << zip.getError().getString();
            EXPECT_EQ(restOf(&zip), text) << member;
        }
    }
    EXPECT_GE(archives, 3u);
    vnSerializeAdapterZIP zip(new vnSerializeAdapterFile(folder.path("big.zip"), VN_SERIALIZE_INPUT, 0, 0),
                              VN_SERIALIZE_INPUT);
    ASSERT_TRUE(zip.setCurrentItem("big"));
    EXPECT_EQ(zip.length(), 102400000u);
    zip.seek(-1, VN_ORIGIN_END);
    EXPECT_EQ(zip.read(), 255);
    if (archives < std::size(made))
        GTEST_SKIP() << "there is no zip or no 7z: the archives of Info-ZIP or 7-Zip were not read";
}
