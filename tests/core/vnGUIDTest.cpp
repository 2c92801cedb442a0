// SPDX-License-Identifier: MIT
#include <vnBase/vnGUID.h>

#include <vnBase/vnDict.h>
#include <vnBase/vnThreadID.h>
#include <vnBase/vnTime.h>

#include "vnTextHelpers.h"

#include <algorithm>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{
const char sample[] = "{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}";
} // namespace

TEST(vnGUID, ReadsItsText)
{
    const vnGUID guid(sample);
    EXPECT_EQ(guid.getData1(), 0x6BA7B810u);
    EXPECT_EQ(guid.getData2(), 0x9DAD);
    EXPECT_EQ(guid.getData3(), 0x11D1);
    const unsigned char bytes[] = {0x80, 0xB4, 0x00, 0xC0, 0x4F, 0xD4, 0x30, 0xC8};
    for (unsigned int i = 0; i < 8; ++i)
        EXPECT_EQ(guid.getData4()[i], bytes[i]) << i;
    EXPECT_TRUE(guid.asString() == sample);
}

TEST(vnGUID, AllItsFormsAgree)
{
    const vnGUID guid(sample);
    const unsigned char uuid[16] = {0x6B, 0xA7, 0xB8, 0x10, 0x9D, 0xAD, 0x11, 0xD1,
                                    0x80, 0xB4, 0x00, 0xC0, 0x4F, 0xD4, 0x30, 0xC8};
    EXPECT_EQ(vnGUID("{6ba7b810-9dad-11d1-80b4-00c04fd430c8}"), guid);
    EXPECT_EQ(vnGUID(u"{6BA7B810-9DAD-11D1-80b4-00C04FD430C8}", 38), guid);
    EXPECT_EQ(vnGUID(0x6BA7B8109DAD11D1ull, 0x80B400C04FD430C8ull), guid);
    EXPECT_EQ(vnGUID(0x6BA7B810, 0x9DAD, 0x11D1, {{0x80, 0xB4, 0x00, 0xC0, 0x4F, 0xD4, 0x30, 0xC8}}), guid);
    EXPECT_EQ(vnGUID(uuid), guid);
    EXPECT_NE(vnGUID(0x6BA7B8109DAD11D1ull, 0x80B400C04FD430C9ull), guid);
    EXPECT_NE(vnGUID(0x7BA7B8109DAD11D1ull, 0x80B400C04FD430C8ull), guid);
    EXPECT_TRUE(vnGUID().isNull());
    EXPECT_FALSE(vnGUID(0ull, 1).isNull());
}

TEST(vnGUID, ShowsTheBadPlaceOfAText)
{
    const std::string frame = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
    const std::pair<std::string, std::string> rows[] = {
        // "#" stands for "?", since "??-" is another character to some compilers
        {"{6BA7B81G-9DAD-11D1-80B4-00C04FD430C8}", "########-XXXX-XXXX-XXXX-XXXXXXXXXXXX"},
        {"{6BA7B810- DAD-11D1-80B4-00C04FD430C8}", "XXXXXXXX-####-XXXX-XXXX-XXXXXXXXXXXX"},
        {"{6BA7B810-9DAD-+1D1-80B4-00C04FD430C8}", "XXXXXXXX-XXXX-####-XXXX-XXXXXXXXXXXX"},
        {"{6BA7B810-9DAD-11D1-80x4-00C04FD430C8}", "XXXXXXXX-XXXX-XXXX-####-############"},
        {std::string("{6BA7B810-9DAD-11D1-80B4-00C04FD430C\0}", 38), "XXXXXXXX-XXXX-XXXX-####-############"},
        {"", frame},
        {"{", frame},
        {"6BA7B810-9DAD-11D1-80B4-00C04FD430C8", frame},
        {"(6BA7B810-9DAD-11D1-80B4-00C04FD430C8)", frame},
        {"{6BA7B810-9DAD-11D1-80B4-00C04FD430C8", frame},
        {"{6BA7B810-9DAD-11D1-80B4-00C04FD430C8} ", frame},
        {"{6BA7B810-9DAD-11D1-80B4000C04FD430C8}", frame},
        {std::string(100000, '{'), frame},
    };
    for (const auto& row : rows)
    {
        const std::string& text = row.first;
        std::string error = "Malformed vnGUID {" + row.second + "}";
        std::replace(error.begin(), error.end(), '#', '?');
        EXPECT_EQ(errorOf([&] { vnGUID(text.data(), static_cast<unsigned int>(text.size())); }), error)
            << text.substr(0, 50);
    }
    EXPECT_THROW(vnGUID(static_cast<const char*>(nullptr), 38), vnFatalError);
    // A unit whose low byte is a digit is none.
    EXPECT_THROW(vnGUID(u"{6BA7B810-9DAD-11D1-80B4-00C04FD430\u0143\u0138}", 38), vnFatalError);
}

TEST(vnGUID, CanBeAskedWithoutAnError)
{
    vnGUID guid(1, 2);
    EXPECT_FALSE(guid.setString("{6BA7B810-9DAD-11D1-80B4-00C04FD430CG}"));
    EXPECT_EQ(guid, vnGUID(1, 2));
    EXPECT_TRUE(guid.setString(sample));
    EXPECT_EQ(guid, vnGUID(sample));
}

TEST(vnGUID, TellsHowItWasMade)
{
    struct Row
    {
        const char* text;
        bool timeBased, nameBased, randomBased, standard;
    };
    const Row rows[] = {
        {"{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}", 1, 0, 0, 1},
        {"{6BA7B810-9DAD-31D1-BFB4-00C04FD430C8}", 0, 1, 0, 1},
        {"{6BA7B810-9DAD-51D1-80B4-00C04FD430C8}", 0, 1, 0, 1},
        {"{6BA7B810-9DAD-41D1-80B4-00C04FD430C8}", 0, 0, 1, 1},
        {"{6BA7B810-9DAD-41D1-C0B4-00C04FD430C8}", 0, 0, 1, 0},
        {"{00000000-0000-0000-0000-000000000000}", 0, 0, 0, 0},
    };
    for (const Row& row : rows)
    {
        const vnGUID guid(row.text);
        EXPECT_EQ(guid.isTimeBased(), row.timeBased) << row.text;
        EXPECT_EQ(guid.isNameBased(), row.nameBased) << row.text;
        EXPECT_EQ(guid.isRandomBased(), row.randomBased) << row.text;
        EXPECT_EQ(guid.isStandardDCE(), row.standard) << row.text;
    }
}

TEST(vnGUID, ReadsTheTimeOfAnEarlierOne)
{
    const vnGUID guid(sample);
    EXPECT_EQ(guid.getTimestamp(), 0x1D19DAD6BA7B810ull);
    EXPECT_NEAR(guid.getGenerationTime(), 886630433.1512, 0.0001); // 1998-02-04 22:13:53
    EXPECT_EQ(vnGUID("{13814000-1DD2-11B2-80B4-00C04FD430C8}").getGenerationTime(), 0.0); // 1970
}

TEST(vnGUID, GeneratesFromTimeThreadAndMachine)
{
    const double before = vnTime::systemSeconds();
    const vnGUID guid = vnGUID::generateGUID();
    const double after = vnTime::systemSeconds();
    EXPECT_TRUE(guid.isTimeBased());
    EXPECT_TRUE(guid.isStandardDCE());
    EXPECT_GE(guid.getGenerationTime(), before - 1e-5);
    EXPECT_LE(guid.getGenerationTime(), after + 1e-5);
    const unsigned int clock = guid.getData4()[0] << 8 | guid.getData4()[1];
    EXPECT_EQ(clock & 0x3FFF, vnCurrentThreadID() & 0x3FFF);

    const vnGUID other = vnGUID::generateGUID();
    for (unsigned int i = 2; i < 8; ++i)
        EXPECT_EQ(other.getData4()[i], guid.getData4()[i]) << i;
    EXPECT_TRUE(guid.getData4()[2] & 1) << "the node must not look like a hardware address";
}

TEST(vnGUID, ThoseOfOneThreadIncreaseAndThoseOfSeveralDiffer)
{
    constexpr unsigned int count = 10000;
    std::vector<vnGUID> guids[3];
    std::vector<std::thread> threads;
    for (std::vector<vnGUID>& mine : guids)
        threads.emplace_back(
            [&mine]
            {
                for (unsigned int i = 0; i < count; ++i)
                    mine.push_back(vnGUID::generateGUID());
            });
    for (std::thread& thread : threads)
        thread.join();
    std::set<std::string> texts;
    for (const std::vector<vnGUID>& list : guids)
    {
        vnUInt64 previous = 0;
        for (const vnGUID& guid : list)
        {
            ASSERT_GT(guid.getTimestamp(), previous);
            previous = guid.getTimestamp();
            texts.insert(guid.asString().getString());
        }
    }
    EXPECT_EQ(texts.size(), 3 * count);
}

TEST(vnGUID, IsAKeyOfDictionaries)
{
    vnDict<vnGUID, int> dict;
    std::vector<vnGUID> keys;
    std::vector<int> values(1000);
    std::set<unsigned int> hashes;
    for (int& value : values)
    {
        keys.push_back(vnGUID::generateGUID());
        hashes.insert(keys.back().hash());
        dict.enter(keys.back(), &value);
    }
    for (std::size_t i = 0; i < keys.size(); ++i)
        EXPECT_EQ(dict.find(keys[i]), &values[i]);
    EXPECT_EQ(dict.find(vnGUID()), nullptr);
    EXPECT_GT(hashes.size(), 990u); // neighbours in time must not share their hashes
}
