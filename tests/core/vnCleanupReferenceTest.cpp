// SPDX-License-Identifier: MIT
#include <vnBase/vnCleanupReference.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace
{
// Writes its name when it dies.
class Mourned : public vnReference
{
public:
    Mourned(std::string& log, const char* name) : m_log(log), m_name(name) {}
    ~Mourned() noexcept(false) override { m_log += m_name; }
    unsigned char releaseRefs() override { return m_releases; }
    void setReleases(unsigned char releases) { m_releases = releases; }

private:
    std::string& m_log;
    const char* m_name;
    unsigned char m_releases = 1;
};

class Owner : public Mourned
{
public:
    using Mourned::Mourned;
    std::unique_ptr<vnCleanupReference> owned;
};

class Thrower : public vnReference
{
public:
    ~Thrower() noexcept(false) override { throw 1; }
};

// Fails on request.
class Manager : public vnMemoryManagerInterface
{
public:
    Manager() { vnMemoryControl::setMemoryManager(this); }
    ~Manager() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    void* allocate(unsigned int size) override { return isExhausted ? nullptr : std::malloc(size); }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override { std::free(block); }

    bool isExhausted = false;
};
// In a process of its own, since the library lets go of its tables and pools too, for good.
#define EXPECT_AFTER_CLEANING_ALL(condition)                                                                 \
    EXPECT_EXIT((vnCleanupReference::cleanUpReferences(-1), std::_Exit((condition) ? 0 : 1)),                \
                testing::ExitedWithCode(0), "")
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
    object->setReleases(0);
    vnCleanupReference entry(object, 710);
    vnCleanupReference::cleanUpReferences(710);
    EXPECT_EQ(entry.get(), object);
    object->setReleases(1);
    vnCleanupReference::cleanUpReferences(710);
    EXPECT_EQ(log, "x") << "the entry stayed for a later pass";
}

TEST(vnCleanupReference, EntersAnewWhenAssigned)
{
    std::string log;
    vnCleanupReference a(new Mourned(log, "1"), 720);
    vnCleanupReference b(new Mourned(log, "b"), 720);
    a = new Mourned(log, "a"); // the newest of its priority now
    EXPECT_EQ(log, "1");
    vnCleanupReference::cleanUpReferences(720);
    EXPECT_EQ(log, "1ab");
}

TEST(vnCleanupReference, IsNewerThanWhatTheEndOfTheOldObjectEntered)
{
    // Leaves an entry of the same priority when it dies.
    class Heir : public vnReference
    {
    public:
        Heir(std::string& log, std::unique_ptr<vnCleanupReference>& left) : m_log(log), m_left(left) {}
        ~Heir() noexcept(false) override
        {
            m_left = std::make_unique<vnCleanupReference>(new Mourned(m_log, "h"), 722);
        }

    private:
        std::string& m_log;
        std::unique_ptr<vnCleanupReference>& m_left;
    };
    std::string log;
    std::unique_ptr<vnCleanupReference> left;
    vnCleanupReference a(new Heir(log, left), 722);
    a = new Mourned(log, "a");
    vnCleanupReference::cleanUpReferences(722);
    EXPECT_EQ(log, "ah");
}

TEST(vnCleanupReference, MayBeDestroyedByTheObjectThatItLetsGo)
{
    std::string log;
    Owner* circle = new Owner(log, "c");
    circle->owned = std::make_unique<vnCleanupReference>(circle, 723);
    *circle->owned = new Mourned(log, "m");
    EXPECT_EQ(log, "cm");
    vnCleanupReference::cleanUpReferences(723);
    EXPECT_EQ(log, "cm");
}

TEST(vnCleanupReference, KeepsForALaterPassWhatTheEndOfItsObjectPutThere)
{
    class Succeeded : public vnReference
    {
    public:
        Succeeded(std::string& log, vnCleanupReference& entry) : m_log(log), m_entry(entry) {}
        ~Succeeded() noexcept(false) override { m_entry = new Mourned(m_log, "s"); }

    private:
        std::string& m_log;
        vnCleanupReference& m_entry;
    };
    std::string log;
    vnCleanupReference entry(nullptr, 726);
    entry = new Succeeded(log, entry);
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
    vnCleanupReference thrower(new Thrower, 724);
    vnCleanupReference b(new Mourned(log, "b"), 724);
    EXPECT_THROW(vnCleanupReference::cleanUpReferences(724), int);
    EXPECT_EQ(log, "ba");
    EXPECT_EQ(thrower.get(), nullptr);
}

TEST(vnCleanupReference, EntersAnewAlsoWhenTheOldObjectThrows)
{
    std::string log;
    vnCleanupReference a(new Thrower, 725);
    vnCleanupReference b(new Mourned(log, "b"), 725);
    EXPECT_THROW(a = new Mourned(log, "a"), int);
    vnCleanupReference::cleanUpReferences(725);
    EXPECT_EQ(log, "ab");
}

TEST(vnCleanupReference, LetsGoOfAnObjectThatFindsNoPlace)
{
    std::string log;
    Manager manager;
    std::vector<std::unique_ptr<vnCleanupReference>> entries;
    bool hasFailed = false;
    testing::internal::CaptureStderr();
    // The list may have spare places at first.
    while (!hasFailed && entries.size() < 10000)
    {
        entries.push_back(std::make_unique<vnCleanupReference>(nullptr, 727));
        Mourned* object = new Mourned(log, "x");
        manager.isExhausted = true;
        try
        {
            *entries.back() = object;
        }
        catch (const std::bad_alloc&)
        {
            hasFailed = true;
        }
        manager.isExhausted = false;
    }
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(hasFailed);
    EXPECT_EQ(log, "x");
    EXPECT_EQ(entries.back()->get(), nullptr);
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
    Owner* owner = new Owner(log, "o");
    vnCleanupReference entry(owner, 741);
    owner->owned = std::make_unique<vnCleanupReference>(new Mourned(log, "w"), 742);
    Owner* circle = new Owner(log, "c");
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
