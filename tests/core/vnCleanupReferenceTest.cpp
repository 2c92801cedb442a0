// SPDX-License-Identifier: MIT
#include <vnBase/vnCleanupReference.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

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
    vnCleanupReference::cleanUpReferences(-1);
    EXPECT_EQ(log, "cabA");
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
    vnCleanupReference::cleanUpReferences(-1);
    EXPECT_EQ(log, "woc") << "each died once, though some entries went with their owners";
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
    for (int i = 0; i < 200; ++i)
        vnCleanupReference::cleanUpReferences(799);
    work();
    other.join();
    vnCleanupReference last(new Mourned(log, "l"), 760);
    vnCleanupReference::cleanUpReferences(760);
    EXPECT_EQ(log, "l");
}
