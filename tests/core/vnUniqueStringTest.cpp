// SPDX-License-Identifier: MIT
#include <vnBase/vnBaseError.h>
#include <vnBase/vnUniqueString.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{
std::string errorOf(vnString text, unsigned short id)
{
    try
    {
        text.makeUnique(id);
    }
    catch (const vnFatalError& error)
    {
        return error.getErrorString().getString();
    }
    return "";
}

// Interned before main, by a static of this file.
const vnUniqueString early("interned early", 4000);
} // namespace

TEST(vnUniqueString, KnowsTheFixedTexts)
{
    const std::pair<const char*, unsigned int> fixed[] = {{"str", 1},
                                                          {"void", 2},
                                                          {"num", 3},
                                                          {"ptr", 4},
                                                          {"ref", 5},
                                                          {"error", 6},
                                                          {"llnum", 7},
                                                          {"array", 8},
                                                          {"vec2", 9},
                                                          {"vec3", 10},
                                                          {"vec4", 11},
                                                          {"cont", 12},
                                                          {"chain", 13},
                                                          {"Value not set", 14},
                                                          {"Not implemented", 15},
                                                          {"OK", 16},
                                                          {"Test OK", 17},
                                                          {"Test FAIL", 18},
                                                          {"guid", 19},
                                                          {"ttag", 20}};
    for (const auto& [text, id] : fixed)
    {
        vnString string(text);
        EXPECT_TRUE(string.checkUnique()) << text;
        EXPECT_EQ(string.getUniqueID(), id) << text;
        EXPECT_STREQ(vnUniqueString(static_cast<unsigned short>(id)).getString(), text);
    }
    EXPECT_EQ(early.getUniqueID(), 4000u);
}

TEST(vnUniqueString, KeepsOneTextForEqualStrings)
{
    vnUniqueString first("one text");
    vnUniqueString second("one text");
    EXPECT_TRUE(first.isUnique());
    EXPECT_EQ(first.getUniqueID(), second.getUniqueID());
    EXPECT_EQ(first.getString(), second.getString());
    const vnString copy(first);
    EXPECT_EQ(copy.getString(), first.getString());
    vnString assigned("other");
    assigned = first;
    EXPECT_EQ(assigned.getUniqueID(), first.getUniqueID());
    assigned += "!";
    EXPECT_FALSE(assigned.isUnique());
    EXPECT_STREQ(first.getString(), "one text");
}

TEST(vnUniqueString, InternsAnOrdinaryStringThatComparesEqual)
{
    const vnUniqueString unique("compared");
    const vnString left("compared"), right("compared"), other("different");
    EXPECT_TRUE(left == unique);
    EXPECT_TRUE(unique == right);
    EXPECT_FALSE(unique == other);
    for (const vnString* string : {&left, &right})
    {
        EXPECT_EQ(string->getUniqueID(), unique.getUniqueID());
        EXPECT_EQ(string->getString(), unique.getString());
        EXPECT_EQ(string->length(), 8u);
    }
    EXPECT_FALSE(other.isUnique());
    const vnString bytes("compared");
    EXPECT_TRUE(bytes == "compared"); // bytes only
    EXPECT_FALSE(bytes.isUnique());
}

TEST(vnUniqueString, GivesAnEmptyStringTheTextOfTheId)
{
    vnUniqueString named("has id 5000", 5000);
    vnString empty;
    EXPECT_TRUE(empty.makeUnique(5000));
    EXPECT_STREQ(empty.getString(), "has id 5000");
    EXPECT_EQ(empty.length(), 11u);
    EXPECT_EQ(empty.hash(), vnString("has id 5000").hash());

    vnUniqueString placeholder(5001);
    EXPECT_STREQ(placeholder.getString(), "Unique(5001)");
    EXPECT_EQ(placeholder.getUniqueID(), 5001u);
    vnString nothing;
    EXPECT_FALSE(nothing.makeUnique());
    EXPECT_FALSE(nothing.checkUnique());
    EXPECT_FALSE(nothing.isUnique());
}

TEST(vnUniqueString, RefusesASecondIdAndASecondText)
{
    vnUniqueString taken("taken", 5100);
    EXPECT_EQ(errorOf("taken", 5101),
              "Bad unique string (\"taken\":5101). String already used with ID (\"taken\":5100)");
    EXPECT_EQ(errorOf("other", 5100),
              "Bad unique string (\"other\":5100). ID already used with string (\"taken\":5100)");
    EXPECT_EQ(errorOf("taken", 5100), "");
    EXPECT_EQ(errorOf("taken", 0), "");
    vnString refused("other");
    EXPECT_THROW(refused.makeUnique(5100), vnFatalError);
    EXPECT_FALSE(refused.isUnique());
    EXPECT_STREQ(refused.getString(), "other");
    // The placeholder of 5103 is in use elsewhere, so the empty string stays empty.
    vnUniqueString squatter("Unique(5103)", 5102);
    vnString empty;
    EXPECT_THROW(empty.makeUnique(5103), vnFatalError);
    EXPECT_TRUE(empty.isEmpty());
}

TEST(vnUniqueString, LooksATextUpWithoutEnteringIt)
{
    vnString unknown("never interned");
    EXPECT_FALSE(unknown.checkUnique());
    EXPECT_FALSE(vnString("never interned").checkUnique());
    vnUniqueString known("looked up");
    vnString same("looked up");
    EXPECT_TRUE(same.checkUnique());
    EXPECT_EQ(same.getString(), known.getString());
}

TEST(vnUniqueString, TellsTheLowestFreeId)
{
    const unsigned short free = vnUniqueString::getNextFreeId();
    EXPECT_GT(free, 20u);
    EXPECT_TRUE(vnUniqueString::isFreeId(free));
    const vnUniqueString next("takes the lowest id");
    EXPECT_EQ(next.getUniqueID(), free);
    EXPECT_FALSE(vnUniqueString::isFreeId(free));
    EXPECT_FALSE(vnUniqueString::isFreeId(1));
    EXPECT_FALSE(vnUniqueString::isFreeId(0));
    EXPECT_TRUE(vnUniqueString::isFreeId(65535));
    const vnUniqueString last("the last id", 65535);
    EXPECT_FALSE(vnUniqueString::isFreeId(65535));
}

TEST(vnUniqueString, NeverChangesTheSharedText)
{
    const vnUniqueString unique("shared");
    vnString written(unique), turned(unique), replaced(unique);
    written(0) = 'S';
    turned.reverse();
    replaced.substitute('s', 'z');
    EXPECT_STREQ(unique.getString(), "shared");
    EXPECT_STREQ(written.getString(), "Shared");
    EXPECT_STREQ(turned.getString(), "derahs");
    EXPECT_STREQ(replaced.getString(), "zhared");
    EXPECT_FALSE(written.isUnique());
    // The hash is that of the old text now, but not in the table.
    EXPECT_TRUE(written.makeUnique());
    EXPECT_EQ(written.hash(), vnString("Shared").hash());
    EXPECT_EQ(vnUniqueString("Shared").getUniqueID(), written.getUniqueID());
}

TEST(vnUniqueString, GivesOneIdToTextsInternedByManyThreads)
{
    constexpr unsigned int texts = 500;
    std::vector<std::vector<unsigned short>> ids(4, std::vector<unsigned short>(texts));
    std::vector<std::thread> threads;
    for (std::vector<unsigned short>& own : ids)
        threads.emplace_back(
            [&own]
            {
                for (unsigned int i = 0; i < texts; ++i)
                    own[i] = vnUniqueString(vnString::formatString("threads %d", i)).getUniqueID();
            });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::vector<unsigned short>& own : ids)
        EXPECT_EQ(own, ids[0]);
    EXPECT_STREQ(vnUniqueString(ids[0][77]).getString(), "threads 77");
}

TEST(vnUniqueIDManager, HandsOutTheLowestAndWhatCameBackLast)
{
    vnUniqueIDManager manager;
    for (unsigned int i = 0; i < 120; ++i) // over two refills
        ASSERT_EQ(manager.allocateID(), i);
    manager.freeID(0);
    EXPECT_EQ(manager.allocateID(), 0u);
    manager.freeID(3);
    manager.freeID(7);
    EXPECT_EQ(manager.allocateID(), 7u);
    EXPECT_EQ(manager.allocateID(), 3u);
    EXPECT_EQ(manager.allocateID(), 120u);
}
