// SPDX-License-Identifier: MIT
#include <vnBase/vnKeyDatabase.h>

#include "vnKeyFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// The files of the settings: their bytes, files with faults, and many who write at once.

namespace
{
class vnKeyStoreTest : public testing::Test
{
protected:
    vnKeyFolder m_folder;
};

vnString user(const vnString& key)
{
    return vnKeyDatabase::getDefaultUserKey(key, "absent");
}

// CRC-32 as zlib and Ethernet compute it.
unsigned int checkSum(const std::string& bytes)
{
    unsigned int sum = ~0u;
    for (const char byte : bytes)
    {
        sum ^= static_cast<unsigned char>(byte);
        for (int i = 0; i < 8; ++i)
            sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320u : 0);
    }
    return ~sum;
}

std::string little(unsigned long long value, unsigned int bytes)
{
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8)
        text += static_cast<char>(value);
    return text;
}

std::string entry(unsigned int type, const std::string& key, const std::string& name,
                  const std::string& value)
{
    return little(type, 2) + little(key.size(), 2) + little(name.size(), 2) + little(value.size(), 2) + key +
           name + value;
}

std::string document(const std::string& entries, unsigned int count, int sizeError = 0)
{
    const std::string bytes = std::string("vnKeys\1\0", 8) +
                              little(entries.size() + 20 + static_cast<unsigned int>(sizeError), 4) +
                              little(count, 4) + entries;
    return bytes + little(checkSum(bytes), 4);
}

// Runs the work in a process of its own; what it returns is the exit code.
template <class Work>
pid_t inProcess(Work work)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(work());
    return child;
}

int exitCode(pid_t child)
{
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

unsigned int modeOf(const std::string& path)
{
    struct stat found = {};
    ::stat(path.c_str(), &found);
    return found.st_mode & 0777;
}
} // namespace

TEST_F(vnKeyStoreTest, WritesTheBytesOfItsForm)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/n", "v"));
    EXPECT_EQ(m_folder.userBytes(),
              std::string("vnKeys\x01\0\x1F\0\0\0\x01\0\0\0\x01\0\x01\0\x01\0\x01\0knv\x6C\xF9\x4A\x27", 31));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/n", "w"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", ""));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("j/z", "1"));
    EXPECT_EQ(m_folder.userBytes(),
              document(entry(1, "j", "z", "1") + entry(1, "k", "a", "") + entry(1, "k", "n", "w"), 3));
    EXPECT_TRUE(vnKeyDatabase::removeUserKey("k/a"));
    EXPECT_EQ(m_folder.userBytes(), document(entry(1, "j", "z", "1") + entry(1, "k", "n", "w"), 2));
    EXPECT_TRUE(vnKeyDatabase::removeUserKey("k/n"));
    EXPECT_TRUE(vnKeyDatabase::removeUserKey("j/z"));
    EXPECT_EQ(m_folder.userBytes(), document("", 0));
}

TEST_F(vnKeyStoreTest, ReadsValuesOfAllTypesAndKeepsThem)
{
    const struct
    {
        unsigned int type;
        std::string bytes;
        std::string text;
    } rows[] = {
        {1, "text", "text"},
        {2, "$(x)", "$(x)"},
        {3, std::string("\0\xFF", 2), std::string("\0\xFF", 2)},
        {4, little(7, 4), "7"},
        {4, little(0xFFFFFFFF, 4), "4294967295"},
        {4, "123", ""},
        {11, little(~0ull, 8), "18446744073709551615"},
        {11, little(7, 4), ""},
        {7, "strings", ""},
        {0, "none", ""},
    };
    std::string entries;
    char name = 'a';
    for (const auto& row : rows)
        entries += entry(row.type, "k", std::string(1, name++), row.bytes);
    m_folder.writeUserFile(document(entries, 10));
    name = 'a';
    for (const auto& row : rows)
        EXPECT_EQ(vnKeyText(user((std::string("k/") + name++).c_str())), row.text) << row.type;
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/z", "1"));
    EXPECT_EQ(m_folder.userBytes(), document(entries + entry(1, "k", "z", "1"), 11));
}

TEST_F(vnKeyStoreTest, ReadsNoneOfADamagedFileAndKeepsIt)
{
    const std::string a = entry(1, "k", "a", "1");
    const std::string b = entry(1, "k", "b", "2");
    const std::string whole = document(a + b, 2);
    std::vector<std::string> damaged;
    for (std::size_t i = 1; i < whole.size(); ++i)
        damaged.push_back(whole.substr(0, i));
    for (std::size_t i = 0; i < whole.size(); ++i)
        damaged.push_back(std::string(whole).replace(i, 1, 1, static_cast<char>(whole[i] ^ 1)));
    damaged.push_back(whole + '\0');
    // The check sum is right in these.
    for (const int error : {-1, 1, 0x7FFFFFFF})
        damaged.push_back(document(a + b, 2, error));
    for (const unsigned int count : {0u, 1u, 3u, 0xFFFFFFFFu})
        damaged.push_back(document(a + b, count));
    damaged.push_back(document(b + a, 2));
    damaged.push_back(document(a + a, 2));
    for (const std::size_t place : {2, 4, 6})
        damaged.push_back(document(a + std::string(b).replace(place, 2, "\xFF\xFF"), 2));
    damaged.push_back(document(a + b.substr(0, 7), 2));

    for (const std::string& bytes : damaged)
    {
        m_folder.writeUserFile(whole);
        EXPECT_EQ(user("k/a"), "1");
        m_folder.writeUserFile(bytes);
        EXPECT_EQ(user("k/a"), "absent");
        vnString file;
        EXPECT_FALSE(vnKeyDatabase::checkStoredKeys(VN_REG_KEY_USER, &file));
        EXPECT_EQ(errno, EBADMSG);
        EXPECT_EQ(file, m_folder.userFile().c_str());
        errno = 0;
        EXPECT_FALSE(vnKeyDatabase::setUserKey("k/b", "3"));
        EXPECT_EQ(errno, EBADMSG);
        EXPECT_FALSE(vnKeyDatabase::removeUserKey("k/a"));
        EXPECT_EQ(m_folder.userBytes(), bytes);
    }
    m_folder.writeUserFile(""); // there is nothing to lose
    EXPECT_TRUE(vnKeyDatabase::checkStoredKeys(VN_REG_KEY_USER));
    EXPECT_TRUE(vnKeyDatabase::checkStoredKeys(VN_REG_KEY_CLASSES)) << "no file is none that is damaged";
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/b", "3"));
    EXPECT_EQ(user("k/b"), "3");
}

TEST_F(vnKeyStoreTest, RefusesWhatIsNoFileOrTooLarge)
{
    m_folder.writeUserFile(document("", 0));
    std::filesystem::resize_file(m_folder.userFile(), (16u << 20) + 1);
    EXPECT_EQ(user("k/a"), "absent");
    EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", "1"));
    EXPECT_EQ(errno, EFBIG);
    std::filesystem::remove(m_folder.userFile());
    ASSERT_EQ(mkfifo(m_folder.userFile().c_str(), 0600), 0);
    EXPECT_EQ(user("k/a"), "absent"); // nor does it wait for somebody who writes
    EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", "1"));
    std::filesystem::remove(m_folder.userFile());
    std::filesystem::create_directory(m_folder.userFile());
    EXPECT_EQ(user("k/a"), "absent");
    EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", "1"));
    std::filesystem::remove(m_folder.userFile());

    // One value more than fits.
    std::string entries;
    const std::string value(65535, 'x');
    for (unsigned int i = 0; i < 255; ++i)
        entries += entry(1, "k", little(i, 1), value);
    const std::string full = document(entries, 255);
    m_folder.writeUserFile(full);
    EXPECT_FALSE(vnKeyDatabase::setUserKey("l/a", value.c_str()));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_EQ(m_folder.userBytes(), full);
    EXPECT_TRUE(vnKeyDatabase::setUserKey("l/a", "1"));
}

TEST_F(vnKeyStoreTest, LosesNothingWhereItCanNotWrite)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "old"));
    // A folder where the new file would be made.
    std::filesystem::create_directory(m_folder.userFile() + ".new");
    EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", "new"));
    EXPECT_FALSE(vnKeyDatabase::removeUserKey("k/a"));
    EXPECT_EQ(user("k/a"), "old");
    std::filesystem::remove(m_folder.userFile() + ".new");
    // A limit in the middle of the new file.
    const auto limited = []
    {
        const rlimit limit{20, 20};
        setrlimit(RLIMIT_FSIZE, &limit);
        const bool isSet = vnKeyDatabase::setUserKey("k/a", "new");
        return isSet ? 1 : errno == EFBIG ? 0 : 2;
    };
    EXPECT_EQ(exitCode(inProcess(limited)), 0);
    EXPECT_FALSE(std::filesystem::exists(m_folder.userFile() + ".new"));
    EXPECT_EQ(user("k/a"), "old");
    // Where no folder can be made, and where the name is none.
    setenv("VANTOR_SYSTEM_STORE", (m_folder.userFile() + "/below").c_str(), 1);
    EXPECT_FALSE(vnKeyDatabase::setGlobalKey("k/a", "new"));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(vnKeyDatabase::getGlobalKey("k/a"), "");
    setenv("VANTOR_SYSTEM_STORE", std::string(100000, 'x').c_str(), 1);
    EXPECT_EQ(vnKeyDatabase::getGlobalKey("k/a"), "");
    setenv("VANTOR_SYSTEM_STORE", ("/" + std::string(5000, 'x')).c_str(), 1);
    EXPECT_FALSE(vnKeyDatabase::setGlobalKey("k/a", "new"));
}

TEST_F(vnKeyStoreTest, KeepsThePermissionsAndLinksOfItsFiles)
{
    umask(022);
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "1"));
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("k/a", "1"));
    EXPECT_EQ(modeOf(m_folder.userFile()), 0600u);
    EXPECT_EQ(modeOf(m_folder.path("config/vantorsdk")), 0700u);
    EXPECT_EQ(modeOf(m_folder.machineFile()), 0644u);
    EXPECT_EQ(modeOf(m_folder.path("system")), 0755u);
    EXPECT_EQ(modeOf(m_folder.machineFile() + ".lock"), 0600u); // who can open it can hold up all others
    chmod(m_folder.machineFile().c_str(), 0664);
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("k/a", "2"));
    EXPECT_EQ(modeOf(m_folder.machineFile() + ".lock"), 0660u); // those who may write share it
    const std::string elsewhere = m_folder.path("elsewhere.keys");
    std::filesystem::rename(m_folder.userFile(), elsewhere);
    std::filesystem::create_symlink(elsewhere, m_folder.userFile());
    chmod(elsewhere.c_str(), 0640);
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/b", "2"));
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder.userFile()));
    EXPECT_EQ(modeOf(elsewhere), 0640u);
    EXPECT_EQ(user("k/a"), "1");
    EXPECT_EQ(user("k/b"), "2");
    // A link to a link to a file that is not there yet.
    std::filesystem::remove(elsewhere);
    std::filesystem::create_symlink("to.keys", elsewhere);
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/c", "3"));
    EXPECT_TRUE(std::filesystem::is_symlink(elsewhere));
    EXPECT_TRUE(std::filesystem::is_regular_file(m_folder.path("to.keys")));
    EXPECT_EQ(user("k/c"), "3");
    std::filesystem::remove(elsewhere);
    std::filesystem::create_symlink(elsewhere, elsewhere);
    EXPECT_FALSE(vnKeyDatabase::setUserKey("k/c", "4"));
    EXPECT_EQ(errno, ELOOP);
}

TEST_F(vnKeyStoreTest, GivesWhatTheSuperuserMakesToTheOwnerOfTheFolder)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the rights of the superuser";
    std::filesystem::create_directory(m_folder.path("config"));
    ASSERT_EQ(chown(m_folder.path("config").c_str(), 4711, 4712), 0);
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "1"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "2"));
    for (const std::string& path :
         {m_folder.path("config/vantorsdk"), m_folder.userFile(), m_folder.userFile() + ".lock"})
    {
        struct stat found = {};
        EXPECT_EQ(::stat(path.c_str(), &found), 0);
        EXPECT_EQ(found.st_uid, 4711u) << path;
        EXPECT_EQ(found.st_gid, 4712u) << path;
    }
}

// Files of one size, several within one tick of the clock, in places on the disk that are used again.
TEST_F(vnKeyStoreTest, SeesEachChangeOfAnotherProcess)
{
    for (int i = 0; i < 260; ++i)
    {
        const vnString value = vnString::formatString("%d", 100 + i);
        const auto set = [&value] { return vnKeyDatabase::setUserKey("k/a", value) ? 0 : 1; };
        EXPECT_EQ(i < 60 ? exitCode(inProcess(set)) : set(), 0);
        EXPECT_EQ(user("k/a"), value);
    }
}

TEST_F(vnKeyStoreTest, SurvivesWritersThatAreKilled)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/fixed", "fixed"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/count", "0"));
    std::minstd_rand random(7);
    vnInt64 count = 0;
    for (int round = 0; round < 60; ++round)
    {
        int acknowledged[2];
        ASSERT_EQ(pipe(acknowledged), 0);
        const auto write = [&]
        {
            for (vnInt64 i = count + 1;; ++i)
            {
                // Of changing size, so that half of one would show.
                const vnString value = vnString::formatString("%d %s", i, std::string(i % 3000, 'x').c_str());
                if (!vnKeyDatabase::setUserKey("k/count", value) ||
                    ::write(acknowledged[1], &i, sizeof i) != sizeof i)
                    return 1;
            }
        };
        const pid_t child = inProcess(write);
        vnInt64 seen = count;
        ASSERT_EQ(::read(acknowledged[0], &seen, sizeof seen), static_cast<ssize_t>(sizeof seen));
        // Not to meet somebody, but to fall anywhere in what it does.
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
        kill(child, SIGKILL);
        EXPECT_EQ(exitCode(child), -1);
        ::close(acknowledged[1]);
        while (::read(acknowledged[0], &seen, sizeof seen) == static_cast<ssize_t>(sizeof seen))
        {
        }
        ::close(acknowledged[0]);
        EXPECT_EQ(user("k/fixed"), "fixed");
        count = user("k/count").num();
        EXPECT_GE(count, seen);
        EXPECT_LE(count, seen + 1);
        // What it left behind keeps nobody from going on.
        EXPECT_TRUE(vnKeyDatabase::setUserKey("k/round", vnString::formatString("%d", round)));
    }
}

TEST_F(vnKeyStoreTest, LosesNothingBetweenProcesses)
{
    constexpr int processes = 3;
    constexpr int keys = 40;
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/fixed", std::string(5000, 'x').c_str()));
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process)
        children.push_back(inProcess(
            [process]
            {
                int failed = 0;
                for (int i = 0; i < keys; ++i)
                {
                    failed += !vnKeyDatabase::setUserKey(vnString::formatString("k/%d.%d", process, i), "1");
                    failed += user("k/fixed").length() != 5000;
                }
                return std::min(failed, 100);
            }));
    for (const pid_t child : children)
        EXPECT_EQ(exitCode(child), 0);
    EXPECT_EQ(vnKeyDatabase::getStoredKeys(VN_REG_KEY_USER, "k").getSize(), processes * keys + 1u);
}

TEST_F(vnKeyStoreTest, ReadsWhileSomebodyHasTheLockAndWaitsToWrite)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "1"));
    const std::string lock = m_folder.userFile() + ".lock";
    const int held = open(lock.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    const auto begin = std::chrono::steady_clock::now();
    std::thread others[5];
    for (std::thread& other : others)
        other = std::thread([] { EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", "2")); });
    EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", "2")); // in the end
    for (std::thread& other : others)
        other.join();
    // Each of them waits its own five seconds, and not those of the others as well.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(25));
    std::atomic<bool> isSet{false};
    std::thread writer([&isSet] { isSet = vnKeyDatabase::setUserKey("k/a", "3"); });
    EXPECT_EQ(user("k/a"), "1");
    // Who waited for the old file of the lock takes the new one.
    std::filesystem::remove(lock);
    close(held);
    writer.join();
    EXPECT_TRUE(isSet);
    EXPECT_EQ(user("k/a"), "3");
    EXPECT_TRUE(std::filesystem::exists(lock));
}
