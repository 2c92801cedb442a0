// SPDX-License-Identifier: MIT
#include <vnBase/vnGuidStringDict.h>

#include <gtest/gtest.h>

#include <thread>

namespace
{
const vnGUID guid(0x6BA7B8109DAD11D1ull, 0x80B400C04FD430C8ull);
const vnGUID otherGuid(0x6BA7B8119DAD11D1ull, 0x80B400C04FD430C8ull);

// Entered before the tests begin, as programs do.
const bool entered = (vnGuidStringDict::enter(otherGuid, "http://host/early"), true);
} // namespace

TEST(vnGuidStringDict, FindsWhatWasEntered)
{
    ASSERT_TRUE(entered);
    EXPECT_TRUE(vnGuidStringDict::lookup(otherGuid) == "http://host/early");
    vnGuidStringDict::enter(guid, "file:///first");
    vnGuidStringDict::enter(guid, "file:///second");
    EXPECT_TRUE(vnGuidStringDict::lookup(guid) == "file:///second");
    EXPECT_TRUE(vnGuidStringDict::lookup("{6ba7b810-9dad-11d1-80b4-00c04fd430c8}") == "file:///second");
    EXPECT_TRUE(vnGuidStringDict::lookup(otherGuid) == "http://host/early");
    EXPECT_TRUE(vnGuidStringDict::remove(guid));
    EXPECT_FALSE(vnGuidStringDict::remove(guid));
    EXPECT_TRUE(vnGuidStringDict::lookup(guid).isEmpty());
    vnGuidStringDict::enter(guid, "file:///a");
    vnGuidStringDict::enter(guid, ""); // is no entry
    EXPECT_FALSE(vnGuidStringDict::remove(guid));
}

TEST(vnGuidStringDict, AnyTextInBracesMayBeAsked)
{
    for (const char* text : {"", "{}", "{no guid}", "{6BA7B810-9DAD-11D1-80B4-00C04FD430CZ}"})
        EXPECT_TRUE(vnGuidStringDict::lookup(vnString(text)).isEmpty()) << text;
}

TEST(vnGuidStringDict, ThreadsEnterAndLookUpAtOnce)
{
    constexpr unsigned int count = 2000;
    std::thread writer(
        []
        {
            for (unsigned int i = 1; i <= count; ++i)
                vnGuidStringDict::enter(vnGUID(7, i), "file:///one");
        });
    for (unsigned int i = 1; i <= count; ++i)
    {
        const vnString url = vnGuidStringDict::lookup(vnGUID(7, i));
        EXPECT_TRUE(url.isEmpty() || url == "file:///one") << url;
    }
    writer.join();
    for (unsigned int i = 1; i <= count; ++i)
        EXPECT_TRUE(vnGuidStringDict::remove(vnGUID(7, i))) << i;
}
