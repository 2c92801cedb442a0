// SPDX-License-Identifier: MIT
#include <vnBase/vnCleanupReference.h>

#include "vnTestManager.h"
#include "vnTextHelpers.h"

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace
{
// Writes its name when it dies, and does what the test wants then.
class Mourned : public vnReference
{
public:
    Mourned(
        std::string& log, const char* name, std::function<void()> end = [] {})
        : m_log(log), m_name(name), m_end(std::move(end))
    {
    }
    ~Mourned() noexcept(false) override
    {
        owned = nullptr;
        m_log += m_name;
        m_end();
    }
    unsigned char releaseRefs() override { return releases; }

    unsigned char releases = 1;
    std::unique_ptr<vnCleanupReference> owned;

private:
    std::string& m_log;
    const char* m_name;
    std::function<void()> m_end;
};

// In a process of its own, since the library lets go of its tables and pools too, for good.
#define EXPECT_AFTER_CLEANING_ALL(condition)                                                                 \
    EXPECT_IN_A_PROCESS((vnCleanupReference::cleanUpReferences(-1), condition))
} // namespace

TEST(vnCleanupReference, LetsGoByPriorityTheNewestFirst)
{
    std::string log;
    vnCleanupReference a(new Mourned(log, "a"), 702);
    vnCleanupReference b(new Mourned(log, "b"), 701);
    vnCleanupReference c(new Mourned(log, "c"), 702);
    vnCleanupReference null(nullptr, 701);
    vnCleanupReference::cleanUpReferences(700);
    EXPECT_EQ(log, "");
    vnCleanupReference::cleanUpReferences(702);
    EXPECT_EQ(log, "ca");
    EXPECT_EQ(a.get(), nullptr);
    EXPECT_NE(b.get(), nullptr);
    a = new Mourned(log, "A");
    EXPECT_AFTER_CLEANING_ALL(log == "cabA");
}

TEST(vnCleanupReference, KeepsWhatDeclines)
{
    std::string log;
    Mourned* object = new Mourned(log, "x");
    object->releases = 0;
    vnCleanupReference entry(object, 710);
    vnCleanupReference::cleanUpReferences(710);
    EXPECT_EQ(entry.get(), object);
    object->releases = 1;
    vnCleanupReference::cleanUpReferences(710);
    EXPECT_EQ(log, "x") << "the entry stayed for a later pass";
}

TEST(vnCleanupReference, EntersAnewWhenAssignedAlsoWhenTheOldObjectThrows)
{
    std::string log;
    vnCleanupReference a(new Mourned(log, "1"), 720);
    vnCleanupReference b(new Mourned(log, "b"), 720);
    a = new Mourned(log, "2", [] { throw 1; }); // the newest of its priority now
    EXPECT_EQ(log, "1");
    EXPECT_THROW(vnCleanupReference::cleanUpReferences(720), int);
    EXPECT_EQ(log, "12b");
    log.clear();
    vnCleanupReference c(new Mourned(log, "3", [] { throw 1; }), 720);
    b = new Mourned(log, "b");
    EXPECT_THROW(c = new Mourned(log, "c"), int);
    vnCleanupReference::cleanUpReferences(720);
    EXPECT_EQ(log, "3cb");
}

TEST(vnCleanupReference, IsNewerThanWhatTheEndOfTheOldObjectEntered)
{
    std::string log;
    std::unique_ptr<vnCleanupReference> left;
    const auto leave = [&] { left = std::make_unique<vnCleanupReference>(new Mourned(log, "h"), 722); };
    vnCleanupReference a(new Mourned(log, "", leave), 722);
    a = new Mourned(log, "a");
    vnCleanupReference::cleanUpReferences(722);
    EXPECT_EQ(log, "ah");
}

TEST(vnCleanupReference, MayBeDestroyedByTheObjectThatItLetsGo)
{
    std::string log;
    Mourned* circle = new Mourned(log, "c");
    circle->owned = std::make_unique<vnCleanupReference>(circle, 723);
    *circle->owned = new Mourned(log, "m");
    EXPECT_EQ(log, "cm");
    vnCleanupReference::cleanUpReferences(723);
    EXPECT_EQ(log, "cm");
}

TEST(vnCleanupReference, KeepsForALaterPassWhatTheEndOfItsObjectPutThere)
{
    std::string log;
    vnCleanupReference entry(nullptr, 726);
    entry = new Mourned(log, "", [&] { entry = new Mourned(log, "s"); });
    vnCleanupReference::cleanUpReferences(726);
    EXPECT_EQ(log, "");
    vnCleanupReference::cleanUpReferences(726);
    EXPECT_EQ(log, "s");
    EXPECT_EQ(entry.get(), nullptr);
}

TEST(vnCleanupReference, GoesOnWhenAnObjectThrows)
{
    std::string log;
    vnCleanupReference a(new Mourned(log, "a"), 724);
    vnCleanupReference thrower(new Mourned(log, "t", [] { throw 1; }), 724);
    vnCleanupReference b(new Mourned(log, "b"), 724);
    EXPECT_THROW(vnCleanupReference::cleanUpReferences(724), int);
    EXPECT_EQ(log, "bta");
    EXPECT_EQ(thrower.get(), nullptr);
}

TEST(vnCleanupReference, LetsGoOfAnObjectThatFindsNoPlace)
{
    std::string log;
    std::vector<std::unique_ptr<vnCleanupReference>> entries;
    for (int i = 0; i < 1000; ++i) // the list may have spare places at first
        entries.push_back(std::make_unique<vnCleanupReference>(new vnReference, 727));
    vnCleanupReference refused(nullptr, 727);
    Mourned* object = new Mourned(log, "x");
    testing::internal::CaptureStderr();
    {
        TestManager manager;
        manager.most = 0;
        EXPECT_THROW(refused = object, std::bad_alloc);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(log, "x");
    EXPECT_EQ(refused.get(), nullptr);
}

TEST(vnCleanupReference, LeavesNoEntryBehind)
{
    std::string log;
    {
        vnCleanupReference emptied(new Mourned(log, "e"), 730);
        emptied = nullptr;
        EXPECT_EQ(log, "e");
    }
    vnCleanupReference::cleanUpReferences(730); // would touch the destroyed entry
    EXPECT_EQ(log, "e");
}

TEST(vnCleanupReference, AdmitsDestructorsThatUseTheList)
{
    std::string log;
    Mourned* owner = new Mourned(log, "o");
    vnCleanupReference entry(owner, 741);
    owner->owned = std::make_unique<vnCleanupReference>(new Mourned(log, "w"), 742);
    Mourned* circle = new Mourned(log, "c");
    circle->owned = std::make_unique<vnCleanupReference>(circle, 743); // held by itself alone
    // Each died once, though some entries went with their owners.
    EXPECT_AFTER_CLEANING_ALL(log == "woc");
    vnCleanupReference::cleanUpReferences(741);
    vnCleanupReference::cleanUpReferences(743);
    EXPECT_EQ(log, "woc");
}

TEST(vnCleanupReference, CopiesShareByTheModeOfTheObject)
{
    std::string log;
    Mourned* object = new Mourned(log, "s");
    object->setCopyMode(VN_COPY_SHARED);
    vnCleanupReference entry(object, 750);
    vnCleanupReference copy(entry);
    vnCleanupReference other(nullptr, 751);
    other = copy;
    EXPECT_EQ(object->getRef(), 3u);
    vnCleanupReference::cleanUpReferences(750);
    EXPECT_EQ(object->getRef(), 1u);
    EXPECT_EQ(other.getPriority(), 751);
}

TEST(vnCleanupReference, IsSafeOnManyThreads)
{
    std::string log;
    const auto work = []
    {
        for (int i = 0; i < 2000; ++i)
        {
            vnCleanupReference entry(new vnReference, 760 + i % 3);
            entry = new vnReference;
        }
    };
    std::thread other(work);
    for (int i = 0; i < 2000; ++i)
        vnCleanupReference::cleanUpReferences(760 + i % 3);
    work();
    other.join();
    vnCleanupReference last(new Mourned(log, "l"), 760);
    vnCleanupReference::cleanUpReferences(760);
    EXPECT_EQ(log, "l");
}
