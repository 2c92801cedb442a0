// SPDX-License-Identifier: MIT
#include <vnBase/vnKeyDatabase.h>

#include "vnKeyFolder.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace
{
constexpr const char* defaultHeader = "software/Norvane Systems/VantorSDK";

class vnKeyDatabaseTest : public testing::Test
{
protected:
    vnKeyFolder m_folder;
};

std::string user(const std::string& key, const char* password = "", unsigned char userOnly = 0)
{
    return vnKeyText(vnKeyDatabase::getDefaultUserKey(vnKeyString(key), "absent", password, userOnly));
}

// The places of what is stored, "key|name" with a blank behind each.
std::string stored(const char* key)
{
    std::string text;
    for (const vnRegKeyPlace& place : vnKeyDatabase::getStoredKeys(VN_REG_KEY_USER, key))
        text += vnKeyText(place.key) + "|" + vnKeyText(place.name) + " ";
    return text;
}

// Ends after the state of the settings, which is made later.
struct Late
{
    ~Late()
    {
        if (acts)
            std::_Exit(vnKeyDatabase::getUserKey("k/a") == "1" ? 0 : 1);
    }
    bool acts = false;
} late;
} // namespace

TEST_F(vnKeyDatabaseTest, TakesWhatStandsBehindTheLastSlashAsTheName)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("a\\b/c", "1"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("plain", "2"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("a/", "3")); // no name is a name
    EXPECT_TRUE(vnKeyDatabase::setRegKey(VN_REG_KEY_USER, "\\x//y\\", "n/m\\", "4"));
    EXPECT_EQ(vnKeyDatabase::getRegKey(VN_REG_KEY_USER, "a/b", "c"), "1");
    EXPECT_EQ(vnKeyDatabase::getRegKey(VN_REG_KEY_USER, defaultHeader, "plain"), "2");
    EXPECT_EQ(vnKeyDatabase::getRegKey(VN_REG_KEY_USER, "a", ""), "3");
    EXPECT_EQ(vnKeyDatabase::getRegKey(VN_REG_KEY_USER, "x/y", "n/m\\"), "4");
    EXPECT_EQ(user("/a//b\\c"), "1");
    EXPECT_EQ(user("A/b/c"), "absent");
    EXPECT_EQ(vnKeyDatabase::getRegKey(VN_REG_KEY_CLASSES, "a/b", "c"), "");
    vnKeyDatabase::setDefaultKeyHeader("a\\b");
    EXPECT_EQ(user("c"), "1");
}

TEST_F(vnKeyDatabaseTest, FallsBackToTheMachine)
{
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("k/both", "machine"));
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("k/machine", "machine"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/both", "user"));
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("k/empty", "machine"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/empty", ""));
    EXPECT_EQ(user("k/both"), "user");
    EXPECT_EQ(user("k/machine"), "machine");
    EXPECT_EQ(user("k/machine", "", 1), "absent");
    EXPECT_EQ(user("k/empty"), ""); // is there
    EXPECT_TRUE(vnKeyDatabase::existUserKey("k/machine"));
    EXPECT_FALSE(vnKeyDatabase::existUserKey("k/machine", "", 1));
    EXPECT_EQ(vnKeyDatabase::getDefaultGlobalKey("k/both", "absent"), "machine");
    EXPECT_TRUE(vnKeyDatabase::removeUserKey("k/both"));
    EXPECT_EQ(user("k/both"), "machine");
    EXPECT_FALSE(vnKeyDatabase::removeUserKey("k/both"));
    EXPECT_TRUE(vnKeyDatabase::removeGlobalKey("k/both"));
    EXPECT_EQ(user("k/both"), "absent");
    EXPECT_FALSE(vnKeyDatabase::existGlobalKey("k/both"));
}

TEST_F(vnKeyDatabaseTest, AsksTheEnvironmentForPlainNamesFirst)
{
    setenv("VN_KEY_TEST", "environment", 1);
    setenv("k/VN_KEY_TEST", "environment", 1);
    EXPECT_TRUE(vnKeyDatabase::setUserKey("VN_KEY_TEST", "stored"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("VN_KEY_TEST", "secret", "password"));
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("VN_KEY_TEST", "machine"));
    EXPECT_EQ(user("VN_KEY_TEST"), "environment");
    EXPECT_EQ(user("VN_KEY_TEST", "", 1), "environment");
    EXPECT_EQ(user("VN_KEY_TEST", "password"), "secret");
    EXPECT_EQ(vnKeyDatabase::getUserKey("VN_KEY_TEST", "", 0, 1), "stored");
    EXPECT_EQ(vnKeyDatabase::getGlobalKey("VN_KEY_TEST"), "machine");
    EXPECT_EQ(user("k/VN_KEY_TEST"), "absent");
    EXPECT_EQ(user("k\\VN_KEY_TEST"), "absent");
    EXPECT_EQ(user(std::string("VN_KEY_TEST\0x", 13)), "absent");
    EXPECT_EQ(user("VN_KEY_TEST=environment"), "absent");
    vnKeyDatabase::enableSystemRegistry(0);
    EXPECT_EQ(user("VN_KEY_TEST"), "environment");
    setenv("VN_KEY_TEST", "", 1);
    EXPECT_EQ(user("VN_KEY_TEST"), "");
    unsetenv("k/VN_KEY_TEST");
    unsetenv("VN_KEY_TEST");
}

TEST_F(vnKeyDatabaseTest, ScramblesNamesAndValuesWithAPassword)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/account", "geheim \xC3\xBC", "password"));
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("k/account", "machine", "password"));
    EXPECT_EQ(user("k/account", "password"), "geheim \xC3\xBC");
    EXPECT_EQ(user("k/account"), "absent");
    EXPECT_EQ(user("k/account", "other"), "absent");
    const std::string file = m_folder.userBytes();
    EXPECT_EQ(file.find("account"), file.npos);
    EXPECT_EQ(file.find("geheim"), file.npos);
    EXPECT_TRUE(vnKeyDatabase::removeUserKey("k/account", "password"));
    EXPECT_EQ(user("k/account", "password"), "machine");
    // Characters that become NUL, each one.
    const vnString password("p");
    std::string zeros;
    for (unsigned int i = 1; i < 9; ++i)
        zeros += vnKeyText(vnString() + static_cast<char16_t>(password.hash() * i & 0x7FF));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/zeros", vnKeyString(zeros), password));
    EXPECT_EQ(user("k/zeros", password), zeros);
}

// The scrambler would cut or change them.
TEST_F(vnKeyDatabaseTest, RefusesWhatAPasswordWouldSpoil)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "old", "password"));
    for (const std::string& value :
         {std::string("a\xFFz"), std::string("\xF0\x9F\x98\x80"), std::string(65535, 'x')})
    {
        EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", vnKeyString(value), "password"));
        EXPECT_EQ(user("k/a", "password"), "old");
        EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", vnKeyString(value)));
        EXPECT_EQ(user("k/a"), value);
        const std::string key = "k/a" + value.substr(0, 65532);
        EXPECT_FALSE(vnKeyDatabase::setUserKey(vnKeyString(key), "x", "password"));
        EXPECT_EQ(user(key, "password"), "absent"); // not that of "k/a"
        EXPECT_FALSE(vnKeyDatabase::removeUserKey(vnKeyString(key), "password"));
    }
}

TEST_F(vnKeyDatabaseTest, KeepsAnyBytes)
{
    const std::string all[] = {std::string("\0", 1),
                               "\n",
                               "/",
                               std::string("a\0/\\\xFF", 5),
                               std::string("a\0/\\\xFE", 5),
                               std::string(65535, '\xFF'),
                               "",
                               "<cdata>"};
    unsigned int count = 0;
    for (const std::string& name : all)
        for (const std::string& key : all)
        {
            const vnString value = vnKeyString(name.substr(0, 100) + "|" + key.substr(0, 100));
            EXPECT_TRUE(
                vnKeyDatabase::setRegKey(VN_REG_KEY_CLASSES, vnKeyString(key), vnKeyString(name), value));
            count +=
                vnKeyDatabase::getRegKey(VN_REG_KEY_CLASSES, vnKeyString(key), vnKeyString(name)) == value;
        }
    EXPECT_EQ(count, 64u);
    // "/" and "" are one key.
    EXPECT_EQ(vnKeyDatabase::getStoredKeys(VN_REG_KEY_CLASSES, "").getSize(), 56u);
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/long", vnKeyString(std::string(65535, '\0'))));
    EXPECT_EQ(user("k/long"), std::string(65535, '\0'));
}

TEST_F(vnKeyDatabaseTest, ListsWhatIsStoredBelowAKey)
{
    for (const char* key : {"b/x", "a/z", "a/b/y", "a/b", "ab/q", "a-/q", "plain"})
        EXPECT_TRUE(vnKeyDatabase::setUserKey(key, "1"));
    EXPECT_EQ(stored("a"), "a|b a|z a/b|y ");
    EXPECT_EQ(stored("\\a/b/"), "a/b|y ");
    EXPECT_EQ(stored("a/z"), ""); // a name
    EXPECT_EQ(stored("none"), "");
    EXPECT_EQ(stored(""), "a|b a|z a-|q a/b|y ab|q b|x software/Norvane Systems/VantorSDK|plain ");
    vnKeyDatabase::enableSystemRegistry(0);
    EXPECT_EQ(stored(""), "");
}

TEST_F(vnKeyDatabaseTest, SetsNothingWithoutTheSystemRegistry)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "1"));
    vnKeyDatabase::enableSystemRegistry(0);
    EXPECT_FALSE(vnKeyDatabase::setUserKey("k/a", "2"));
    EXPECT_FALSE(vnKeyDatabase::setRegKey(VN_REG_KEY_USER, "k", "a", "2"));
    EXPECT_FALSE(vnKeyDatabase::removeUserKey("k/a"));
    EXPECT_EQ(user("k/a"), "absent");
    vnKeyDatabase::enableSystemRegistry(1);
    EXPECT_EQ(user("k/a"), "1");
    const auto unknown = static_cast<vnRegKeyHeader>(3);
    EXPECT_FALSE(vnKeyDatabase::setRegKey(unknown, "k", "a", "2"));
    EXPECT_FALSE(vnKeyDatabase::existRegKey(unknown, "k", "a"));
}

TEST_F(vnKeyDatabaseTest, ExpandsReferencesToSettings)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "value"));
    EXPECT_TRUE(vnKeyDatabase::setGlobalKey("VN_KEY_PLAIN", "plain"));
    EXPECT_EQ(vnRegKeyExpandedString("<$(k/a)$(k\\a)$(VN_KEY_PLAIN)$(none)${lo}>"),
              "<valuevalueplain127.0.0.1>");
    EXPECT_EQ(vnRegKeyExpandedString("a$(k/a"), "avalue");
    EXPECT_EQ(vnRegKeyExpandedString("\xEF\xBB\xBF$(k/a)"), "\xEF\xBB\xBFvalue");
}

TEST_F(vnKeyDatabaseTest, LosesNothingBetweenThreads)
{
    constexpr unsigned int threads = 4;
    constexpr unsigned int keys = 10;
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/fixed", "fixed"));
    unsigned int failed[threads] = {};
    const auto work = [&failed](unsigned int thread)
    {
        for (unsigned int i = 0; i < keys; ++i)
        {
            const vnString key = vnString::formatString("k/%d.%d", thread, i);
            failed[thread] += !vnKeyDatabase::setUserKey(key, "1") || user("k/fixed") != "fixed";
            failed[thread] += !vnKeyDatabase::existUserKey(key);
        }
    };
    std::vector<std::thread> running;
    for (unsigned int i = 1; i < threads; ++i)
        running.emplace_back(work, i);
    work(0);
    for (std::thread& thread : running)
        thread.join();
    for (const unsigned int count : failed)
        EXPECT_EQ(count, 0u);
    EXPECT_EQ(vnKeyDatabase::getStoredKeys(VN_REG_KEY_USER, "k").getSize(), threads * keys + 1);
}

TEST_F(vnKeyDatabaseTest, AnswersWhileTheProgramEnds)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("k/a", "1"));
    const auto work = []
    {
        late.acts = true;
        std::exit(2);
    };
    EXPECT_EXIT(work(), testing::ExitedWithCode(0), "");
}
