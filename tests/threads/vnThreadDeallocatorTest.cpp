// SPDX-License-Identifier: MIT
#include "vnThreadTestHelp.h"

#include <vnBase/vnRefPointer.h>
#include <vnBase/vnThreadDeallocator.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{
std::atomic<unsigned int> s_died{0};
std::atomic<unsigned int> s_diedOn{0};

class Scene : public vnThreadSafeReference
{
public:
    explicit Scene(unsigned char released = 1) : m_released(released) {}
    ~Scene() noexcept(false) override
    {
        s_diedOn = vnCurrentThreadID();
        ++s_died;
    }
    unsigned char releaseRefs() override { return m_released; }
    unsigned char useDeepCopy() override { return 0; }

private:
    unsigned char m_released;
};

class vnThreadDeallocatorTest : public testing::Test
{
protected:
    void SetUp() override
    {
        vnThreadDeallocator::stopDeallocator();
        s_died = 0;
    }
    void TearDown() override
    {
        vnThreadDeallocator::stopDeallocator();
        vnThreadDeallocator::setMaxPendingDeletes(1000);
    }

    static bool die(unsigned int count)
    {
        return comesTrue(
            [count]
            {
                vnThreadDeallocator::trigger();
                return s_died == count;
            });
    }
};
} // namespace

TEST_F(vnThreadDeallocatorTest, DeletesOnItsOwnThreadAndEnds)
{
    vnRefPointer<Scene> scene(new Scene);
    vnThreadDeallocator::deallocObject(scene, 0);
    EXPECT_EQ(vnThreadDeallocator::isDeallocatorRunning(), 1);
    EXPECT_EQ(scene->getRef(), 2u);
    scene = nullptr;
    EXPECT_TRUE(die(1));
    EXPECT_NE(s_diedOn, vnCurrentThreadID());
    EXPECT_TRUE(comesTrue(
        []
        {
            vnThreadDeallocator::trigger();
            return !vnThreadDeallocator::isDeallocatorRunning();
        }));
    vnThreadDeallocator::startDeallocator();
    EXPECT_EQ(vnThreadDeallocator::isDeallocatorRunning(), 1);
}

TEST_F(vnThreadDeallocatorTest, WaitsForFurtherOwners)
{
    vnRefPointer<Scene> owner(new Scene);
    vnThreadDeallocator::deallocObject(owner, 0);
    vnThreadDeallocator::deallocObject(new Scene, 0);
    EXPECT_TRUE(die(1)); // the other one; by then this one was seen, too
    EXPECT_EQ(owner->getRef(), 2u);
    EXPECT_EQ(vnThreadDeallocator::isDeallocatorRunning(), 1);
    owner = nullptr;
    EXPECT_TRUE(die(2));
}

TEST_F(vnThreadDeallocatorTest, RefusesWhatIsNotReleasedOrTooMany)
{
    vnThreadDeallocator::deallocObject(nullptr, 0);
    vnRefPointer<Scene> kept(new Scene(0));
    vnThreadDeallocator::deallocObject(kept, 1);
    EXPECT_EQ(kept->getRef(), 1u);

    vnThreadDeallocator::setMaxPendingDeletes(2);
    vnRefPointer<Scene> scenes[4];
    for (vnRefPointer<Scene>& scene : scenes)
    {
        scene = new Scene;
        vnThreadDeallocator::deallocObject(scene, &scene == &scenes[3]);
    }
    EXPECT_EQ(scenes[0]->getRef(), 2u);
    EXPECT_EQ(scenes[1]->getRef(), 2u);
    EXPECT_EQ(scenes[2]->getRef(), 1u); // the limit
    EXPECT_EQ(scenes[3]->getRef(), 2u); // by force
}

TEST_F(vnThreadDeallocatorTest, LetsGoOfPendingObjectsWhenStopped)
{
    vnThreadDeallocator::waitLock(); // the thread takes nothing
    vnThreadDeallocator::deallocObject(new Scene, 0);
    vnThreadDeallocator::stopDeallocator();
    EXPECT_EQ(s_died, 1u);
    EXPECT_EQ(s_diedOn, vnCurrentThreadID());
    vnThreadDeallocator::unLock();
    EXPECT_EQ(vnThreadDeallocator::isDeallocatorRunning(), 0);
}

TEST_F(vnThreadDeallocatorTest, LosesNoObjectBetweenItsEndAndItsNextStart)
{
    constexpr unsigned int count = 300;
    const auto work = []
    {
        for (unsigned int i = 0; i < count; ++i)
        {
            vnThreadDeallocator::deallocObject(new Scene, 1);
            vnThreadDeallocator::trigger(); // it often finds nothing more to do
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_TRUE(die(2 * count));
}

TEST_F(vnThreadDeallocatorTest, TakesWhatADestructorHandsOver)
{
    struct Chain : Scene
    {
        explicit Chain(unsigned int count) : m_count(count) {}
        ~Chain() noexcept(false) override
        {
            if (m_count > 0)
                vnThreadDeallocator::deallocObject(new Chain(m_count - 1), 1);
        }
        unsigned int m_count;
    };
    vnThreadDeallocator::deallocObject(new Chain(20), 0);
    EXPECT_TRUE(die(21));
    EXPECT_NE(s_diedOn, vnCurrentThreadID());
}

TEST_F(vnThreadDeallocatorTest, TakesObjectsWithoutWaitingWhileItIsStopped)
{
    static vnMutex s_lock;
    static std::atomic<bool> s_isInside;
    static std::atomic<bool> s_hasLock;
    struct Locking : Scene
    {
        ~Locking() noexcept(false) override
        {
            s_isInside = true;
            s_hasLock = comesTrue([] { return s_lock.tryLock() != 0; });
            s_lock.unLock();
        }
    };
    s_isInside = false;
    std::thread stopping;
    {
        vnBodyGuard guard(s_lock);
        vnThreadDeallocator::deallocObject(new Locking, 0);
        EXPECT_TRUE(comesTrue(
            []
            {
                vnThreadDeallocator::trigger();
                return s_isInside.load();
            }));
        stopping = std::thread([] { vnThreadDeallocator::stopDeallocator(); });
        vnThread::vnMicroDelayFunction(20000); // by then it has most likely been asked to stop
        vnThreadDeallocator::deallocObject(new Scene, 0);
    }
    stopping.join();
    EXPECT_TRUE(s_hasLock);
    EXPECT_TRUE(die(2));
}

TEST_F(vnThreadDeallocatorTest, MayBeStoppedByADestructor)
{
    struct Stopping : Scene
    {
        ~Stopping() noexcept(false) override { vnThreadDeallocator::stopDeallocator(); }
    };
    vnThreadDeallocator::deallocObject(new Stopping, 0);
    EXPECT_TRUE(die(1));
    vnThreadDeallocator::deallocObject(new Scene, 0);
    EXPECT_TRUE(die(2));
}

TEST_F(vnThreadDeallocatorTest, LosesNoObjectWhileItIsStoppedAgainAndAgain)
{
    constexpr unsigned int count = 300;
    std::atomic<bool> done{false};
    std::thread stopping(
        [&]
        {
            while (!done)
                vnThreadDeallocator::stopDeallocator();
        });
    for (unsigned int i = 0; i < count; ++i)
        vnThreadDeallocator::deallocObject(new Scene, 1);
    done = true;
    stopping.join();
    EXPECT_TRUE(die(count));
}
