// SPDX-License-Identifier: MIT
#include "vnThreadTestHelp.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnEvent.h>
#include <vnBase/vnRefList.h>
#include <vnBase/vnRefPointer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

TEST(vnEvent, TimesOutWhenNobodyFires)
{
    vnEvent event;
    event.fire(); // with no sleeper it is lost
    EXPECT_EQ(event.wait(0, 0), 0);
    EXPECT_GE(secondsOf([&] { EXPECT_EQ(event.wait(20, 0), 0); }), 0.0199);
    EXPECT_EQ(event.getSpinLockCount(), 0u);
}

TEST(vnEvent, GivesAllHoldsBackWhileItSleepsAndTakesThemAgain)
{
    vnEvent event;
    event.waitLock();
    event.waitLock();
    event.waitLock();
    bool ready = false;
    std::thread other(
        [&]
        {
            vnBodyGuard guard(event); // would wait for ever if a hold were kept
            ready = true;
            event.fire();
        });
    while (!ready)
        EXPECT_NE(event.waitAndLock(20000, 1), 0);
    other.join();
    EXPECT_EQ(event.getSpinLockCount(), 3u);
    EXPECT_EQ(event.getOwnerThreadID(), vnCurrentThreadID());
    event.wait(0, 1); // one hold less
    EXPECT_EQ(event.getSpinLockCount(), 2u);
    event.wait(0, 0);
    EXPECT_EQ(event.getSpinLockCount(), 2u);
    event.waitAndLock(0, 0); // one more
    EXPECT_EQ(event.getSpinLockCount(), 3u);
    for (unsigned int i = 0; i < 3; ++i)
        event.unLock();
    event.waitAndLock(0, 1); // not held: takes it
    EXPECT_EQ(event.getSpinLockCount(), 1u);
    event.unLock();
    event.wait(0, 1);
    EXPECT_EQ(event.isLocked(), 0);
}

namespace
{
struct Sleepers
{
    explicit Sleepers(vnEvent& shared) : event(shared)
    {
        for (std::thread& thread : threads)
            thread = std::thread(
                [this]
                {
                    vnBodyGuard guard(event);
                    ids[asleep] = vnCurrentThreadID();
                    ++asleep; // for whoever takes the lock next
                    if (event.waitAndLock(20000, 1))
                        ++woken;
                });
        EXPECT_TRUE(comesTrue(
            [this]
            {
                vnBodyGuard guard(event);
                return asleep == 3;
            }));
    }
    ~Sleepers()
    {
        for (std::thread& thread : threads)
            thread.join();
    }

    bool areAsleep() const
    {
        for (const unsigned int id : ids)
        {
            std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
            std::string text;
            std::getline(file, text);
            if (text.find(") S ") == std::string::npos)
                return false;
        }
        return true;
    }

    vnEvent& event;
    unsigned int ids[3] = {};
    unsigned int asleep = 0;
    std::atomic<unsigned int> woken{0};
    std::thread threads[3];
};
} // namespace

TEST(vnEvent, WakesAllSleepers)
{
    vnEvent event;
    Sleepers sleepers(event);
    event.fire();
    EXPECT_TRUE(comesTrue([&] { return sleepers.woken == 3; }));
}

TEST(vnEvent, WakesSleepersOneByOne)
{
    vnEvent event;
    Sleepers sleepers(event);
    // Its thread sleeps in the kernel: one that is only about to may wake with another one.
    ASSERT_TRUE(comesTrue([&] { return sleepers.areAsleep(); }));
    for (unsigned int i = 1; i <= 3; ++i)
    {
        event.fireOnlyOne();
        ASSERT_TRUE(comesTrue([&] { return sleepers.woken >= i; })); // no wake-up is lost
        EXPECT_EQ(sleepers.woken, i);
    }
}

TEST(vnEvent, LosesNoWakeUpBetweenTwoThreads)
{
    vnEvent event;
    unsigned int turn = 0;
    const auto play = [&](unsigned int self)
    {
        vnBodyGuard guard(event);
        for (unsigned int i = 0; i < 2000; ++i)
        {
            while (turn % 2 != self)
                ASSERT_NE(event.waitAndLock(20000, 1), 0);
            ++turn;
            event.fireOnlyOne();
        }
    };
    std::thread other(play, 1);
    play(0);
    other.join();
    EXPECT_EQ(turn, 4000u);
}

TEST(vnEvent, CountsItsReferencesUnderItsLock)
{
    vnRefPointer<vnEvent> event(new vnEvent);
    const auto work = [&event]
    {
        for (unsigned int i = 0; i < 5000; ++i)
        {
            event->ref();
            event->unref();
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(event->getRef(), 1u);
    EXPECT_EQ(event->checkDelete(), 0);
}

TEST(vnEvent, StaysLockedAfterAnUnrefTooMany)
{
    vnEvent event;
    for (const bool noDelete : {false, true})
    {
        try
        {
            if (noDelete)
                event.unrefNoDelete();
            else
                event.unref();
            ADD_FAILURE();
        }
        catch (const vnFatalError& error)
        {
            EXPECT_STREQ(error.getErrorString().getString(),
                         "REFRENCE MISMATCH ! Unref an object with zero reference count.");
        }
        EXPECT_EQ(event.getSpinLockCount(), 1u);
        event.unLock();
    }
}

TEST(vnEvent, WaitsForTheFirstOfSeveral)
{
    vnRefList<vnEvent> events;
    vnRefPointer<vnEvent> last;
    for (unsigned int i = 0; i < 3; ++i)
    {
        last = new vnEvent;
        events.append(last);
    }
    EXPECT_GE(secondsOf([&] { EXPECT_EQ(vnEvent::wait(events, 20), nullptr); }), 0.0199);
    std::atomic<bool> done{false};
    std::thread other(
        [&]
        {
            while (!done) // until its sleeper is there to hear it
            {
                last->fire();
                std::this_thread::yield();
            }
        });
    events.append(nullptr); // passed over
    EXPECT_EQ(vnEvent::wait(events, 20000), last.get());
    done = true;
    other.join();
    EXPECT_EQ(vnEvent::wait(vnRefList<vnEvent>(), 5), nullptr);
    EXPECT_EQ(vnEvent::wait(vnRefList<vnEvent>(), 0xFFFFFFFFu), nullptr); // nothing that could come
}

TEST(vnEvent, GivesTheCallersHoldsBackWhileItWaitsForSeveral)
{
    vnRefPointer<vnEvent> event(new vnEvent);
    vnRefPointer<vnEvent> silent(new vnEvent);
    vnRefList<vnEvent> events;
    for (vnEvent* each : {silent.get(), event.get(), event.get()}) // its second sleeper needs the lock, too
        events.append(each);
    for (unsigned int i = 0; i < 50 && !HasFailure(); ++i)
    {
        std::thread other;
        {
            vnBodyGuard outer(*event);
            vnBodyGuard inner(*event);
            EXPECT_EQ(vnEvent::wait(events, 1), nullptr);
            other = std::thread(
                [&]
                {
                    vnBodyGuard guard(*event); // most times before the sleepers
                    event->fire();
                });
            EXPECT_EQ(vnEvent::wait(events, 20000), event.get()); // the wake-up is not lost
            EXPECT_EQ(event->getSpinLockCount(), 2u);
        }
        other.join();
    }
    EXPECT_EQ(silent->isLocked(), 0);
}

TEST(vnEvent, WaitsForNoLockWhileItTakesTheOthersBack)
{
    vnRefPointer<vnEvent> inner(new vnEvent);
    vnRefPointer<vnEvent> outer(new vnEvent);
    vnRefList<vnEvent> events; // not in the order in which they are locked
    events.append(inner);
    events.append(outer);
    std::atomic<bool> done{false};
    std::thread other(
        [&]
        {
            while (!done)
            {
                vnBodyGuard guard(*outer);
                ASSERT_TRUE(comesTrue([&] { return inner->tryLock() != 0; }));
                inner->unLock();
            }
        });
    for (unsigned int i = 0; i < 100 && !HasFailure(); ++i)
    {
        vnBodyGuard outerGuard(*outer);
        vnBodyGuard innerGuard(*inner);
        EXPECT_EQ(vnEvent::wait(events, 0), nullptr);
    }
    done = true;
    other.join();
}

TEST(vnEvent, GivesAllHoldsBackBeforeItNeedsTheLockOfAnEvent)
{
    vnRefPointer<vnEvent> theirs(new vnEvent);
    vnRefPointer<vnEvent> ours(new vnEvent);
    vnRefList<vnEvent> events;
    events.append(theirs);
    events.append(ours);
    std::atomic<bool> isOurs{false};
    std::atomic<bool> isHeld{false};
    std::thread other(
        [&]
        {
            EXPECT_TRUE(comesTrue([&] { return isOurs.load(); }));
            vnBodyGuard guard(*theirs);
            isHeld = comesTrue([&] { return ours->tryLock() != 0; });
            ours->unLock();
        });
    {
        vnBodyGuard guard(*ours);
        isOurs = true;
        EXPECT_TRUE(comesTrue([&] { return theirs->isLocked() != 0; }));
        EXPECT_EQ(vnEvent::wait(events, 0), nullptr);
        EXPECT_EQ(ours->getSpinLockCount(), 1u);
        EXPECT_TRUE(isHeld);
    }
    other.join();
}

TEST(vnEvent, WakesOtherSleepersWhenAWaitForSeveralEnds)
{
    vnRefList<vnEvent> events;
    vnRefPointer<vnEvent> event(new vnEvent);
    events.append(event);
    std::atomic<unsigned int> woken{0};
    std::thread other([&] { woken = 1 + event->wait(20000, 0); });
    EXPECT_TRUE(comesTrue(
        [&]
        {
            EXPECT_EQ(vnEvent::wait(events, 1), nullptr);
            return woken != 0;
        }));
    other.join();
    EXPECT_EQ(woken, 2u); // not by its time-out
}
