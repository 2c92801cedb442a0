// SPDX-License-Identifier: MIT
#include "vnThreadTestHelp.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnThreadTicker.h>
#include <vnBase/vnTime.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace
{
class Ticker : public vnThreadTicker
{
public:
    explicit Ticker(unsigned int poolID, std::function<void(Ticker&)> work = {},
                    vnThreadPriority priority = VN_THREAD_PRIORITY_NORMAL)
        : vnThreadTicker(poolID, priority), m_work(std::move(work))
    {
    }
    ~Ticker() noexcept(false) override
    {
        detachThreadTicker();
        if (gone)
            *gone = true;
    }

    void onInitialize() override { note(isEnabled() ? 'i' : '?'); }
    void onTerminate() override { note('t'); }
    void onTick() override
    {
        thread = vnCurrentThreadID();
        ++ticks;
        if (m_work)
            m_work(*this);
    }

    std::string calls()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_calls;
    }

    std::atomic<unsigned int> ticks{0};
    std::atomic<unsigned int> thread{0};
    std::atomic<bool>* gone = nullptr;

private:
    void note(char call)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_calls += call;
    }

    std::mutex m_mutex;
    std::string m_calls;
    std::function<void(Ticker&)> m_work;
};

void spinFor(double seconds)
{
    const double end = vnTime::systemSeconds() + seconds;
    while (vnTime::systemSeconds() < end)
        std::this_thread::yield();
}
} // namespace

TEST(vnThreadTicker, TicksOnDemandOnly)
{
    Ticker ticker(0);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.calls(), ""); // not enabled
    ticker.enableThreadTicker();
    EXPECT_EQ(ticker.isEnabled(), 1);
    vnThreadPoolTicker::guiTick();
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.calls(), "i");
    EXPECT_EQ(ticker.ticks, 0u);
    EXPECT_EQ(ticker.triggerTick(0), 1);
    vnThreadPoolTicker::guiTick();
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.ticks, 1u);
    EXPECT_EQ(ticker.thread, vnCurrentThreadID());
}

TEST(vnThreadTicker, KeepsTheEarlierOfTwoTriggers)
{
    Ticker ticker(0);
    EXPECT_EQ(ticker.triggerTick(1000), 1); // enables it
    EXPECT_EQ(ticker.isEnabled(), 1);
    EXPECT_EQ(ticker.triggerTick(2000), 0);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.ticks, 0u);
    EXPECT_EQ(ticker.triggerTick(0), 1);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.ticks, 1u);
    EXPECT_EQ(ticker.triggerTick(2000), 1); // none is pending any more
    ticker.disableThreadTicker();
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.triggerTick(3000), 0);
    EXPECT_EQ(ticker.isEnabled(), 0); // a refused one enables nothing
    EXPECT_EQ(ticker.triggerTick(1000), 1);
    EXPECT_EQ(ticker.isEnabled(), 1);
}

TEST(vnThreadTicker, CountsTheDelayOfATriggerFromTheCall)
{
    // On a busy machine the call may come too late, but not always.
    bool isDue = false;
    for (unsigned int i = 0; i < 20 && !isDue; ++i)
    {
        std::thread other;
        Ticker ticker(0,
                      [&other](Ticker& self)
                      {
                          if (self.ticks > 1)
                              return;
                          std::atomic<bool> calls{false};
                          other = std::thread(
                              [&]
                              {
                                  calls = true;
                                  self.triggerTick(0.05); // waits for the end of this tick
                              });
                          while (!calls)
                              std::this_thread::yield();
                          spinFor(0.2);
                      });
        ticker.triggerTick(0);
        vnThreadPoolTicker::guiTick();
        other.join();
        vnThreadPoolTicker::guiTick();
        isDue = ticker.ticks == 2;
    }
    EXPECT_TRUE(isDue);
}

TEST(vnThreadTicker, CatchesUpOrDropsMissedTicks)
{
    Ticker keen(0);
    Ticker calm(0);
    keen.setTickPolicy(VN_TICK_CATCH_UP);
    for (Ticker* ticker : {&keen, &calm})
    {
        ticker->setTickInterval(0.05);
        ticker->enableThreadTicker();
    }
    spinFor(0.151);
    double end = vnTime::systemSeconds() + 0.04;
    for (unsigned int i = 0; i < 3; ++i)
        vnThreadPoolTicker::guiTick();
    EXPECT_GE(keen.ticks, 3u);
    if (vnTime::systemSeconds() < end) // on a slow machine the next tick may be due already
    {
        EXPECT_EQ(calm.ticks, 1u);
    }
}

TEST(vnThreadTicker, LeavesAtTheEndOfARoundAndMayComeBack)
{
    Ticker ticker(0, [](Ticker& self) { self.triggerTick(0); });
    ticker.triggerTick(0);
    vnThreadPoolTicker::guiTick();
    ticker.disableThreadTicker();
    EXPECT_EQ(ticker.isEnabled(), 0);
    ticker.enableThreadTicker(); // refused while it is leaving
    EXPECT_EQ(ticker.isEnabled(), 0);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.ticks, 1u);
    EXPECT_EQ(ticker.calls(), "it");
    ticker.enableThreadTicker();
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.calls(), "iti");
    EXPECT_EQ(ticker.ticks, 2u);
}

TEST(vnThreadTicker, SharesTheThreadOfItsPool)
{
    Ticker first(71);
    Ticker second(71, {}, VN_THREAD_PRIORITY_LOW);
    Ticker other(72);
    for (Ticker* ticker : {&first, &second, &other})
    {
        ticker->setTickInterval(0.001);
        ticker->enableThreadTicker();
    }
    EXPECT_TRUE(comesTrue([&] { return first.ticks > 3 && second.ticks > 3 && other.ticks > 3; }));
    EXPECT_EQ(first.thread, second.thread);
    EXPECT_NE(first.thread, other.thread);
    EXPECT_NE(first.thread, vnCurrentThreadID());
}

TEST(vnThreadTicker, EndsASleepOfThePoolByATrigger)
{
    Ticker ticker(73);
    ticker.setTickInterval(1000);
    ticker.enableThreadTicker();
    for (unsigned int i = 1; i <= 50; ++i)
    {
        ticker.triggerTick(0);
        ASSERT_TRUE(comesTrue([&] { return ticker.ticks >= i; }));
    }
    ticker.triggerTick(0.02); // a later one, without being woken again
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks == 51; }));
    ticker.setTickInterval(0.002);
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks > 55; }));
}

TEST(vnThreadTicker, StartsThePoolAgainAfterItsLastTickerHasLeft)
{
    for (unsigned int i = 0; i < 30; ++i)
    {
        Ticker ticker(74);
        ticker.triggerTick(0);
        ASSERT_TRUE(comesTrue([&] { return ticker.ticks == 1; }));
        ticker.disableThreadTicker();
        ASSERT_TRUE(comesTrue([&] { return ticker.calls() == "it"; }));
    }
}

TEST(vnThreadTicker, IsDestroyedByItsPoolAfterItsTick)
{
    std::atomic<bool> gone{false};
    std::atomic<bool> goneWithin{true};
    Ticker* ticker = new Ticker(75,
                                [&](Ticker& self)
                                {
                                    self.deleteThreadTicker();
                                    goneWithin = gone.load();
                                });
    ticker->gone = &gone;
    ticker->triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return gone.load(); }));
    EXPECT_FALSE(goneWithin);

    gone = false;
    ticker = new Ticker(76); // never enabled
    ticker->gone = &gone;
    ticker->deleteThreadTicker();
    EXPECT_TRUE(comesTrue([&] { return gone.load(); }));
}

TEST(vnThreadTicker, MayBeDestroyedInItsOwnTick)
{
    std::atomic<bool> gone{false};
    Ticker neighbour(77);
    Ticker* ticker = new Ticker(77, [](Ticker& self) { delete &self; });
    ticker->gone = &gone;
    ticker->triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return gone.load(); }));
    neighbour.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return neighbour.ticks == 1; }));
    // The same with the neighbour that the round has yet to come to.
    Ticker* victim = new Ticker(0);
    Ticker killer(0,
                  [&](Ticker&)
                  {
                      delete victim;
                      victim = nullptr;
                  });
    killer.triggerTick(0);
    victim->triggerTick(0);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(victim, nullptr);
    // And at its end, while whoever has disabled it still waits for that.
    struct Leaver : vnThreadTicker
    {
        explicit Leaver(std::atomic<unsigned int>& step)
            : vnThreadTicker(77, VN_THREAD_PRIORITY_NORMAL), m_step(step)
        {
        }
        void onInitialize() override { m_step = 1; }
        void onTerminate() override
        {
            std::atomic<unsigned int>& step = m_step;
            delete this;
            step = 2;
        }

        std::atomic<unsigned int>& m_step;
    };
    std::atomic<unsigned int> step{0};
    vnThreadTicker* leaver = new Leaver(step);
    leaver->enableThreadTicker();
    EXPECT_TRUE(comesTrue([&] { return step == 1; }));
    leaver->disableThreadTicker();
    EXPECT_TRUE(comesTrue([&] { return step == 2; }));
}

TEST(vnThreadTicker, IsOutOfReachOnceDestroyed)
{
    std::atomic<unsigned int> inside{0}; // outlives the tickers
    for (unsigned int i = 0; i < 200; ++i)
    {
        {
            Ticker ticker(78,
                          [&](Ticker&)
                          {
                              ++inside;
                              for (unsigned int step = 0; step < 20; ++step)
                                  std::this_thread::yield();
                              --inside;
                          });
            ticker.setTickInterval(1e-6);
            ticker.enableThreadTicker();
            if (i % 2) // it is destroyed in the midst of a tick
            {
                ASSERT_TRUE(comesTrue([&] { return inside == 1; }));
            }
            ticker.triggerTick(0);
        }
        ASSERT_EQ(inside, 0u);
    }
}

TEST(vnThreadTicker, TicksAgainAfterAnErrorHasEndedItsPool)
{
    // Whoever hears of the error triggers a ticker of the same pool, on the thread that is about to end.
    struct Receiver : vnMessageReceiverInterface
    {
        explicit Receiver(vnThreadTicker& ticker) : other(ticker) { vnMessage::addMessageReceiver(this); }
        ~Receiver() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
        void onMessage(const vnString&, vnMessageLevel, const char* message) override
        {
            if (std::string(message) != "a tick fails")
                return;
            ++errors;
            other.triggerTick(0);
        }

        vnThreadTicker& other;
        std::atomic<unsigned int> errors{0};
    };
    Ticker other(82);
    Ticker failing(82, [](Ticker&) { vnExceptionThrows::vnThrowFatal("a tick fails"); });
    Receiver receiver(other);
    for (unsigned int i = 1; i <= 5; ++i)
    {
        failing.triggerTick(0);
        ASSERT_TRUE(comesTrue([&] { return receiver.errors == i; }));
        ASSERT_TRUE(comesTrue([&] { return other.ticks >= i; }));
    }
}

TEST(vnThreadTicker, MayComeBackAfterAnErrorHasKeptItFromLeaving)
{
    Ticker ticker(88);
    Ticker failing(88,
                   [&](Ticker&)
                   {
                       ticker.disableThreadTicker();
                       vnExceptionThrows::vnThrowFatal("a tick fails");
                   });
    ticker.enableThreadTicker();
    failing.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return failing.ticks == 1 && !ticker.isEnabled(); }));
    const auto comesBack = [&]
    {
        ticker.enableThreadTicker(); // refused until it has left
        return ticker.isEnabled() != 0;
    };
    EXPECT_TRUE(comesTrue(comesBack));
}

TEST(vnThreadTicker, LeavesAlsoWhenItsTerminationThrows)
{
    struct Rude : vnThreadTicker
    {
        Rude() : vnThreadTicker(0, VN_THREAD_PRIORITY_NORMAL) {}
        ~Rude() noexcept(false) override { detachThreadTicker(); }
        void onTerminate() override { throw 7; }
    };
    Rude rude;
    rude.enableThreadTicker();
    vnThreadPoolTicker::guiTick();
    rude.disableThreadTicker();
    EXPECT_THROW(vnThreadPoolTicker::guiTick(), int);
    rude.enableThreadTicker(); // refused while it is leaving
    EXPECT_EQ(rude.isEnabled(), 1);
}

TEST(vnThreadTicker, TriggersItselfAndOthersFromItsTick)
{
    Ticker other(79);
    Ticker ticker(79,
                  [&](Ticker& self)
                  {
                      if (self.ticks < 100)
                          self.triggerTick(0);
                      other.triggerTick(0);
                  });
    ticker.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks == 100 && other.ticks > 0; }));
}

TEST(vnThreadTicker, DrivesPoolZeroOnlyOnceAtATime)
{
    std::atomic<unsigned int> inside{0};
    Ticker ticker(0,
                  [&](Ticker& self)
                  {
                      EXPECT_EQ(++inside, 1u);
                      vnThreadPoolTicker::guiTick(); // from within: does nothing
                      --inside;
                      self.triggerTick(0);
                  });
    ticker.triggerTick(0);
    const auto work = []
    {
        for (unsigned int i = 0; i < 300; ++i)
            vnThreadPoolTicker::guiTick();
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(ticker.ticks, 600u);
}

TEST(vnThreadTicker, TicksAgainAfterAllPoolsWereClosed)
{
    Ticker ticker(80);
    ticker.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks == 1; }));
    vnThreadPoolTicker::closeAll();
    EXPECT_EQ(ticker.calls(), "it");
    ticker.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks == 2; }));
    EXPECT_EQ(ticker.calls(), "iti");
}

TEST(vnThreadTicker, StartsItsClosedPoolForTheTriggerThatStays)
{
    Ticker ticker(89);
    ticker.triggerTick(0.5); // not over when the pool is closed
    vnThreadPoolTicker::closeAll();
    EXPECT_EQ(ticker.triggerTick(1000), 0);
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks == 1; }));
}

TEST(vnThreadTicker, LeavesAlsoWhileItsPoolIsClosed)
{
    struct First : vnThreadTicker
    {
        explicit First(vnThreadTicker& neighbour)
            : vnThreadTicker(87, VN_THREAD_PRIORITY_NORMAL), m_neighbour(neighbour)
        {
        }
        ~First() noexcept(false) override { detachThreadTicker(); }
        void onTick() override { m_hasTicked = true; }
        void onTerminate() override { m_neighbour.disableThreadTicker(); }

        vnThreadTicker& m_neighbour;
        std::atomic<bool> m_hasTicked{false};
    };
    Ticker ticker(87);
    First first(ticker);
    first.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return first.m_hasTicked.load(); }));
    ticker.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks == 1; }));
    vnThreadPoolTicker::closeAll();
    EXPECT_EQ(ticker.calls(), "it");
    ticker.enableThreadTicker();
    EXPECT_EQ(ticker.isEnabled(), 1);
    ticker.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks == 2; }));
    EXPECT_EQ(ticker.calls(), "iti");
}

TEST(vnThreadTicker, SleepsAtLeastAsLongAsItsTickersWant)
{
    double last = 0;
    double shortest = 1000;
    Ticker ticker(84,
                  [&](Ticker&)
                  {
                      const double now = vnTime::systemSeconds();
                      shortest = std::min(shortest, now - last);
                      last = now;
                  });
    const unsigned int ticks = 30;
    ticker.setMinPoolSleepTicks(ticks);
    EXPECT_EQ(ticker.getMinPoolSleepTicks(), 30u);
    ticker.setTickInterval(0.001);
    ticker.enableThreadTicker();
    EXPECT_TRUE(comesTrue([&] { return ticker.ticks >= 5; }));
    vnThreadPoolTicker::closeAll();
    EXPECT_GE(shortest, 0.029);
}

TEST(vnThreadTicker, RunsAtThePriorityOfTheFirstTickerOfItsPool)
{
    const int base = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    Ticker first(85, {}, VN_THREAD_PRIORITY_LOW);
    Ticker second(85, {}, VN_THREAD_PRIORITY_LOWEST);
    std::atomic<int> priority{-1000};
    Ticker third(85, [&](Ticker& self)
                 { priority = getpriority(PRIO_PROCESS, static_cast<id_t>(self.thread.load())); });
    third.triggerTick(0);
    EXPECT_TRUE(comesTrue([&] { return priority != -1000; }));
    EXPECT_EQ(priority, std::min(base + 5, 19));
}
