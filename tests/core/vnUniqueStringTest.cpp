// SPDX-License-Identifier: MIT
#include "vnTestManager.h"
#include "vnTextHelpers.h"

#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnUniqueString.h>

#include <cstdio>
#include <new>
#include <thread>
#include <vector>

namespace
{
std::string refusalOf(vnString text, unsigned short id)
{
    return errorOf([&] { text.makeUnique(id); });
}

// Interned before main, by a static of this file.
const vnUniqueString early("interned early", 4000);

LateCall lateCall;

// In the order of their ids, from 1.
constexpr const char* fixedTexts[] = {"str",   "void",    "num",       "ptr",           "ref",
                                      "error", "llnum",   "array",     "vec2",          "vec3",
                                      "vec4",  "cont",    "chain",     "Value not set", "Not implemented",
                                      "OK",    "Test OK", "Test FAIL", "guid",          "ttag"};

// The fixed text that has not its id, or whose id has not it; empty when there is none.
std::string lostFixedText()
{
    unsigned short id = 0;
    for (const char* text : fixedTexts)
    {
        vnString string(text);
        if (!string.checkUnique() || string.getUniqueID() != ++id || vnUniqueString(id) != text)
            return text;
    }
    return "";
}
} // namespace

TEST(vnUniqueString, KnowsTheFixedTextsAndThoseOfEarlyStatics)
{
    EXPECT_EQ(lostFixedText(), "");
    EXPECT_EQ(early.getUniqueID(), 4000u);
}

TEST(vnUniqueString, GivesTextsOfIdsThatArriveOnAStream)
{
    vnString text("kept");
    vnUniqueString::setRefuseUnknownIds(1);
    for (const unsigned short id : {0, 45000})
        EXPECT_EQ(vnUniqueString::getStreamText(id, text), 0) << id;
    EXPECT_EQ(text, "kept");
    EXPECT_TRUE(vnUniqueString::isFreeId(45000));
    EXPECT_EQ(vnUniqueString::getStreamText(4000, text), 1);
    EXPECT_EQ(text, "interned early");
    vnUniqueString::setRefuseUnknownIds(0);
    EXPECT_IN_A_PROCESS(vnUniqueString::getStreamText(45000, text) && text == "Unique(45000)" &&
                        !vnUniqueString::isFreeId(45000));
}

// An id without a text can't get one that another id has.
TEST(vnUniqueString, ThrowsWhenTheTextOfAnUnknownIdIsTaken)
{
    EXPECT_IN_A_PROCESS(
        []
        {
            const vnUniqueString taken("Unique(45000)", 45001);
            vnString text("before");
            const std::string error = errorOf([&] { vnUniqueString::getStreamText(45000, text); });
            return error == "Bad unique string (\"Unique(45000)\":45000). String already used with ID "
                            "(\"Unique(45000)\":45001)" &&
                   text == "Unique(45000)"; // not what it was before
        }());
}

TEST(vnUniqueString, InternsAnOrdinaryStringThatComparesEqual)
{
    const vnUniqueString unique("compared");
    const vnString left("compared"), right("compared"), other("different"), bytes("compared");
    EXPECT_TRUE(left == unique);
    EXPECT_TRUE(unique == right);
    EXPECT_FALSE(unique == other);
    EXPECT_TRUE(bytes == "compared"); // bytes only
    EXPECT_EQ(left.getUniqueID(), unique.getUniqueID());
    EXPECT_EQ(right.getUniqueID(), unique.getUniqueID());
    EXPECT_FALSE(other.isUnique());
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
    EXPECT_EQ(refusalOf("taken", 5101),
              "Bad unique string (\"taken\":5101). String already used with ID (\"taken\":5100)");
    EXPECT_EQ(refusalOf("other", 5100),
              "Bad unique string (\"other\":5100). ID already used with string (\"taken\":5100)");
    EXPECT_EQ(refusalOf("taken", 5100), "");
    EXPECT_EQ(refusalOf("taken", 0), "");
    vnString refused("other");
    EXPECT_THROW(refused.makeUnique(5100), vnFatalError);
    EXPECT_FALSE(refused.isUnique());
    EXPECT_STREQ(refused.getString(), "other");
    // The placeholder of 5103 is in use elsewhere, so the string that was empty gets that text and no id.
    vnUniqueString squatter("Unique(5103)", 5102);
    vnString empty;
    EXPECT_EQ(errorOf([&] { empty.makeUnique(5103); }), "Bad unique string (\"Unique(5103)\":5103). String "
                                                        "already used with ID (\"Unique(5103)\":5102)");
    EXPECT_STREQ(empty.getString(), "Unique(5103)"); // holds what was refused
    EXPECT_FALSE(empty.isUnique());
}

TEST(vnUniqueString, GivesAnIdOneTextThoughThreadsRaceForIt)
{
    constexpr unsigned short first = 7000, count = 400;
    std::vector<vnString> named(count), claimed(count);
    std::thread claiming(
        [&claimed]
        {
            for (unsigned short i = 0; i < count; ++i)
            {
                claimed[i] = vnString::formatString("claimed %d", i);
                refusalOf(claimed[i], first + i); // whoever is faster
            }
        });
    for (unsigned short i = 0; i < count; ++i)
        EXPECT_TRUE(named[i].makeUnique(first + i)); // never refused
    claiming.join();
    for (unsigned short i = 0; i < count; ++i)
    {
        EXPECT_EQ(named[i].getUniqueID(), first + i);
        EXPECT_TRUE(named[i] == claimed[i] || named[i] == vnString::formatString("Unique(%d)", first + i));
    }
}

TEST(vnUniqueString, MakesTheTableAnewWithItsFixedTexts)
{
    const auto isNew = []
    {
        return lostFixedText().empty() && !vnString("interned early").checkUnique() &&
               vnUniqueString("first of the new table").getUniqueID() == 21;
    };
    EXPECT_IN_A_PROCESS((vnUniqueString::cleanAllUniqueId(), isNew()));
    EXPECT_IN_A_PROCESS((vnCleanupReference::cleanUpReferences(-1), isNew()));
}

TEST(vnUniqueString, RefusesAnotherTextWhenTheTableIsFull)
{
    const auto fill = []
    {
        vnString last;
        for (unsigned int i = 0; vnUniqueString::isFreeId(65535); ++i)
            last = vnUniqueString(vnString::formatString("filler %d", i));
        return last;
    };
    const auto isRefused = [&fill]
    {
        const vnString last = fill();
        const vnString refusal = refusalOf("one too many", 0).c_str();
        return last.getUniqueID() == 65535 && vnUniqueString::getNextFreeId() == 65535 &&
               refusal == vnString::formatString("Bad unique string (\"one too many\":0). ID already used "
                                                 "with string (\"%s\":0)",
                                                 last) &&
               refusalOf("filler 1", 0).empty();
    };
    EXPECT_IN_A_PROCESS(isRefused());
}

TEST(vnUniqueString, ThrowsWhenThereIsNoMemoryForTheTable)
{
    const auto isExhausted = []
    {
        vnUniqueString::cleanAllUniqueId();
        TestManager manager;
        manager.largest = 100000;
        try
        {
            vnUniqueString("no room");
        }
        catch (const std::bad_alloc&)
        {
            return true;
        }
        return false;
    };
    EXPECT_IN_A_PROCESS(isExhausted());
}

TEST(vnUniqueString, InternsInTheDestructorsOfStatics)
{
    EXPECT_EXIT(
        {
            lateCall.run = []
            {
                vnUniqueString late("interned late", 6000);
                std::fprintf(stderr, "%d %s", late.getUniqueID(), vnUniqueString(6000).getString());
            };
            std::exit(0);
        },
        testing::ExitedWithCode(0), "6000 interned late");
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
    static unsigned int run = 0; // what is interned stays so when the tests are repeated
    const vnUniqueString next(vnString::formatString("takes the lowest id %d", run++));
    EXPECT_EQ(next.getUniqueID(), free);
    EXPECT_FALSE(vnUniqueString::isFreeId(free));
    EXPECT_FALSE(vnUniqueString::isFreeId(1));
    EXPECT_FALSE(vnUniqueString::isFreeId(0));
    EXPECT_IN_A_PROCESS(vnUniqueString::isFreeId(65535) && vnUniqueString("the last id", 65535).isUnique() &&
                        !vnUniqueString::isFreeId(65535));
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
