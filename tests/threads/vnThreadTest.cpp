// SPDX-License-Identifier: MIT
#include "vnThreadTestHelp.h"

#include <vnBase/vnEvent.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnThread.h>
#include <vnBase/vnTime.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <pthread.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{
class Worker : public vnThread
{
public:
    explicit Worker(std::function<void(Worker&)> work = {}) : m_work(std::move(work)) {}
    ~Worker() noexcept(false) override { stop(1); }

    void process() override
    {
        ++rounds;
        if (m_work)
            m_work(*this);
        else
            waitForStop();
    }

    void waitForStop()
    {
        vnBodyGuard guard(event);
        while (!isStopping(1))
            event.waitAndLock(5, 1);
    }

    void onBaseException(const vnBaseError& error) override { text = error.getErrorString().getString(); }

    vnEvent event;
    std::atomic<unsigned int> rounds{0};
    std::string text;

private:
    std::function<void(Worker&)> m_work;
};

// Threads of other tests of this process may still be about to end.
bool othersHaveEnded()
{
    return comesTrue([] { return vnThread::getWorkingThreads() == 0; });
}
} // namespace

TEST(vnThread, RunsStopsAndRunsAgain)
{
    Worker worker;
    EXPECT_EQ(worker.isRunning(0), 0);
    EXPECT_EQ(worker.isStopping(0), 0);
    for (unsigned int i = 1; i <= 3; ++i)
    {
        EXPECT_EQ(worker.run(1), 1);
        EXPECT_EQ(worker.isRunning(0), 1);
        EXPECT_EQ(worker.isStopping(0), 0);
        EXPECT_EQ(worker.run(0), 1); // runs already: starts nothing
        EXPECT_TRUE(comesTrue([&] { return worker.rounds == i; }));
        worker.stop(1);
        EXPECT_EQ(worker.isRunning(0), 0);
        EXPECT_EQ(worker.isStopping(0), 1);
        EXPECT_EQ(worker.rounds, i);
    }
}

TEST(vnThread, TellsItsIdWhileItRuns)
{
    std::atomic<unsigned int> id{0};
    Worker worker(
        [&](Worker& self)
        {
            id = vnThread::getThreadID();
            self.waitForStop();
        });
    EXPECT_EQ(worker.getThreadInfo().handle, nullptr);
    worker.run(0);
    const vnThreadInfo info = worker.getThreadInfo();
    EXPECT_NE(info.handle, nullptr);
    EXPECT_TRUE(comesTrue([&] { return id != 0; }));
    EXPECT_EQ(info.threadID, id);
    EXPECT_NE(info.threadID, vnThread::getThreadID());
}

TEST(vnThread, ChainsOnTheCallingThread)
{
    unsigned int id = 0;
    Worker worker([&](Worker&) { id = vnThread::getThreadID(); });
    EXPECT_EQ(worker.chain(), 1);
    EXPECT_EQ(id, vnThread::getThreadID());
    EXPECT_EQ(worker.isRunning(0), 0);
    EXPECT_EQ(worker.isStopping(0), 1);
    EXPECT_EQ(worker.getThreadInfo().threadID, id);
    EXPECT_EQ(worker.getThreadInfo().handle, nullptr);

    Worker running;
    running.run(1);
    EXPECT_EQ(running.chain(), 0);
}

TEST(vnThread, LeavesTheMemoryStateOfTheThreadThatChainsIt)
{
    struct Worker : vnThread
    {
        ~Worker() noexcept(false) override { stop(1); }
        void process() override { state = vnMemoryControl::getState(0); }
        unsigned int state = 0;
    };
    Worker worker;
    const unsigned int old = vnMemoryControl::updateState(7, 0);
    worker.chain();
    EXPECT_EQ(worker.state, 7u);
    EXPECT_EQ(vnMemoryControl::updateState(old, 0), 7u);
}

TEST(vnThread, IsChainedWhenItIsExecutedAsAProgram)
{
    ASSERT_TRUE(othersHaveEnded());
    unsigned int busy = 0;
    Worker inner([&](Worker&) { busy = vnThread::getWorkingThreads(); });
    vnExecuteProgram(&inner);
    EXPECT_EQ(busy, 1u);
    EXPECT_EQ(inner.isRunning(0), 0);
    Worker outer([&](Worker&) { vnExecuteProgram(&inner); });
    outer.chain();
    EXPECT_EQ(busy, 2u);
    EXPECT_EQ(vnThread::getWorkingThreads(), 0u);

    Worker running;
    running.run(1);
    EXPECT_TRUE(comesTrue([&] { return running.rounds == 1; }));
    vnExecuteProgram(&running); // runs already
    EXPECT_EQ(running.rounds, 1u);
}

TEST(vnThread, StopsItselfWithoutWaitingForItself)
{
    Worker worker([](Worker& self) { self.stop(1); });
    worker.run(0);
    EXPECT_TRUE(comesTrue([&] { return !worker.isRunning(0); }));
}

TEST(vnThread, WaitsToBeStoppedByDefault)
{
    vnThread thread(VN_THREAD_PRIORITY_LOW);
    thread.run(1);
    EXPECT_EQ(thread.isRunning(0), 1);
    thread.stop(1);
    EXPECT_EQ(thread.isRunning(0), 0);
}

TEST(vnThread, DeletesItselfWithAutoDelete)
{
    struct Own : vnThread
    {
        explicit Own(std::atomic<bool>& flag) : gone(flag) {}
        ~Own() noexcept(false) override
        {
            stop(1);
            vnThread::vnDelayFunction(10, nullptr); // whoever stops it waits for all of this
            gone = true;
        }
        void process() override
        {
            while (!isStopping(0))
                std::this_thread::yield();
        }

        std::atomic<bool>& gone;
    };
    for (const unsigned char waits : {0, 1})
    {
        std::atomic<bool> gone{false};
        Own* own = new Own(gone);
        own->setAutoDelete(1);
        own->run(1);
        own->stop(waits);
        EXPECT_TRUE(waits ? gone.load() : comesTrue([&] { return gone.load(); }));
    }
}

TEST(vnThread, MayBeDestroyedByItsOwnWork)
{
    ASSERT_TRUE(othersHaveEnded());
    std::atomic<unsigned int> busy{99};
    Worker* worker = nullptr;
    worker = new Worker(
        [&](Worker& self)
        {
            std::atomic<unsigned int>& result = busy; // the captures go with the object
            delete &self;
            result = vnThread::getWorkingThreads();
        });
    worker->run(0);
    EXPECT_TRUE(comesTrue([&] { return busy == 0; }));
    worker = new Worker([](Worker& self) { delete &self; });
    EXPECT_EQ(worker->chain(), 1);
}

TEST(vnThread, HandsEscapedErrorsToTheObject)
{
    ASSERT_TRUE(othersHaveEnded());
    Worker throwing([](Worker&) { vnExceptionThrows::vnThrowFatal("lost %d", 7); });
    throwing.run(1);
    throwing.stop(1);
    EXPECT_EQ(throwing.text, "lost 7");
    Worker exhausted([](Worker&) { throw std::bad_alloc(); });
    exhausted.chain();
    EXPECT_EQ(exhausted.text, "Out Of Memory [bad_alloc]");
    EXPECT_EQ(vnThread::getWorkingThreads(), 0u);
}

TEST(vnThread, CountsBusyThreads)
{
    ASSERT_TRUE(othersHaveEnded());
    Worker worker(
        [](Worker& self)
        {
            EXPECT_EQ(vnThread::getWorkingThreads(), 1u);
            self.working(0);
            self.working(0);
            EXPECT_EQ(vnThread::getWorkingThreads(), 0u);
            self.working(1);
            EXPECT_EQ(vnThread::getWorkingThreads(), 1u);
        });
    worker.run(0);
    worker.stop(1);
    EXPECT_EQ(worker.rounds, 1u);
    EXPECT_EQ(vnThread::getWorkingThreads(), 0u);
}

// To ask a destroyed object is what the sanitizer is there to find; the library does it for statics.
#if !defined(VN_UNDER_ADDRESS_SANITIZER)
TEST(vnThread, IsStoppingOnceItsObjectIsDestroyed)
{
    alignas(Worker) static unsigned char storage[sizeof(Worker)];
    Worker* worker = new (storage) Worker;
    vnThread* volatile thread = worker;
    worker->~Worker();
    EXPECT_EQ(thread->isStopping(0), 1);
    EXPECT_EQ(thread->isRunning(1), 0);
}
#endif

TEST(vnThread, TakesNoNegativeTickLimit)
{
    Worker worker;
    worker.setTickLimit(-1.0);
    EXPECT_EQ(worker.getTickLimit(), 0.0);
    EXPECT_EQ(worker.tickAlive(), 1);
}

TEST(vnThread, IsNotTakenForDeadBeforeItsFirstTick)
{
    for (const bool isChained : {false, true})
        for (unsigned int i = 0; i < 300; ++i)
        {
            Worker worker(
                [](Worker& self)
                {
                    while (!self.isStopping(1))
                        std::this_thread::yield();
                });
            // Half the life of the clock: only a thread that has never ticked is past it.
            worker.setTickLimit(vnTime::systemSeconds() / 2);
            std::atomic<unsigned char> isAlive{0};
            std::thread watchdog(
                [&]
                {
                    while (!worker.isRunning(0))
                        continue;
                    isAlive = worker.tickAlive();
                    worker.stop(1);
                });
            if (isChained)
                worker.chain();
            else
                worker.run(0);
            watchdog.join();
            ASSERT_EQ(isAlive, 1) << (isChained ? "chained" : "run") << " number " << i;
        }
}

TEST(vnThread, GivesALivingThreadOneNumber)
{
    const unsigned int own = vnThread::getThreadEnum(0);
    EXPECT_LT(own, 10000u);
    EXPECT_EQ(vnThread::getThreadEnum(vnThread::getThreadID()), own);
    unsigned int number = 10000;
    unsigned int id = 0;
    const auto work = [&](Worker&)
    {
        number = vnThread::getThreadEnum(0);
        id = vnThread::getThreadID();
        EXPECT_EQ(vnThread::getThreadEnum(0), number);
        EXPECT_NE(number, own);
    };
    Worker worker(work);
    worker.run(0);
    worker.stop(1);
    ASSERT_EQ(id % 10000, number); // its first place was free
    // The number is free again: the next id that wants this place first gets it.
    EXPECT_EQ(vnThread::getThreadEnum(number + 20000), number);
    // Another one with the same first place goes on by 99, and keeps its number for as long as it has it.
    EXPECT_EQ(vnThread::getThreadEnum(number + 30000), (number + 99) % 10000);
    EXPECT_EQ(vnThread::getThreadEnum(number + 30000), (number + 99) % 10000);
}

TEST(vnThread, GivesNoNumberWhenAllAreTaken)
{
    // In a process of its own, since these numbers are never given back.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::set<unsigned int> numbers;
            for (unsigned int i = 0; i < 10000; ++i)
                numbers.insert(vnThread::getThreadEnum(0x01000000 + i));
            // Some numbers may have been taken before.
            const bool isFull = numbers.count(10000) || numbers.size() == 10000;
            const bool hasNone = vnThread::getThreadEnum(0x02000000) == 10000;
            const bool remembers = vnThread::getThreadEnum(0x01000000) < 10000;
            _exit(isFull && hasNone && remembers ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(vnThread, DelaysAtLeastAsLongUnlessTheEventFires)
{
    EXPECT_GE(secondsOf([] { vnThread::vnDelayFunction(15, nullptr); }), 0.0149);
    EXPECT_GE(secondsOf([] { vnThread::vnMicroDelayFunction(3000); }), 0.0029);
    vnThread::vnMicroDelayFunction(0);
    vnThread::vnDelayFunction(0, nullptr);
    vnEvent event;
    EXPECT_GE(secondsOf([&] { vnThread::vnDelayFunction(15, &event); }), 0.0149);
    std::atomic<bool> done{false};
    std::thread firing(
        [&]
        {
            while (!done)
                event.fire();
        });
    const double seconds = secondsOf([&] { vnThread::vnDelayFunction(100000, &event); });
    done = true;
    firing.join();
    EXPECT_LT(seconds, 50.0);
}

TEST(vnThread, LowersItsPriorityAndStoresThoseThatDoNotExist)
{
    const int base = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    Worker worker;
    worker.setThreadPriority(static_cast<vnThreadPriority>(9));
    EXPECT_EQ(worker.getThreadPriority(), 9);
    worker.run(1);
    const auto priority = [&] { return getpriority(PRIO_PROCESS, worker.getThreadInfo().threadID); };
    EXPECT_EQ(priority(), base); // not applied
    worker.setThreadPriority(VN_THREAD_PRIORITY_LOWEST);
    EXPECT_EQ(priority(), std::min(base + 10, 19)); // steps of 5
    worker.stop(1);
    Worker low;
    low.setThreadPriority(VN_THREAD_PRIORITY_LOW);
    low.run(0);
    const unsigned int id = low.getThreadInfo().threadID;
    EXPECT_TRUE(
        comesTrue([&] { return getpriority(PRIO_PROCESS, id) == std::min(base + 5, 19); })); // from the start
    // It is this thread's priority that all others count from.
    Worker chained([&](Worker&) { EXPECT_EQ(getpriority(PRIO_PROCESS, 0), base); });
    chained.setThreadPriority(VN_THREAD_PRIORITY_LOWEST);
    EXPECT_EQ(chained.chain(), 1);
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), base);
}

TEST(vnThread, ReportsThatNoThreadCouldBeStarted)
{
    // In a process of its own, which has room for no further stack.
    EXPECT_EXIT(
        {
            struct Receiver : vnMessageReceiverInterface
            {
                Receiver() { vnMessage::addMessageReceiver(this); }
                void onMessage(const vnString&, vnMessageLevel level, const char* message) override
                {
                    if (std::string(message).find("vnThread could not be started: ") == 0)
                        lastLevel = level;
                }
                vnMessageLevel lastLevel = 0;
            };
            Receiver receiver;
            pthread_attr_t attributes;
            pthread_attr_init(&attributes);
            pthread_attr_setstacksize(&attributes, std::size_t(1) << 46);
            pthread_setattr_default_np(&attributes);
            Worker worker;
            const bool isRefused = worker.run(1) == 0;
            const bool isReported = receiver.lastLevel == VN_MESSAGE_WARNING;
            const bool isStopped = worker.isRunning(0) == 0;
            pthread_attr_setstacksize(&attributes, std::size_t(1) << 20);
            pthread_setattr_default_np(&attributes);
            const bool runsLater = worker.run(1) == 1;
            worker.stop(1);
            _exit(isRefused + 2 * isReported + 4 * isStopped + 8 * runsLater);
        },
        testing::ExitedWithCode(15), "");
}

TEST(vnThread, HasAnIdOfItsOwnInTheChildOfAFork)
{
    const unsigned int own = vnThread::getThreadID();
    const pid_t child = fork();
    if (child == 0)
        _exit(vnThread::getThreadID() != own && static_cast<pid_t>(vnThread::getThreadID()) == getpid() ? 0
                                                                                                        : 1);
    ASSERT_GT(child, 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(vnThread, EndsItsChainedRunWhateverLeavesIt)
{
    Worker worker([](Worker&) { throw 7; });
    EXPECT_THROW(worker.chain(), int);
    EXPECT_EQ(worker.isRunning(0), 0);
    EXPECT_THROW(worker.chain(), int); // it may be run again
}

TEST(vnThread, SurvivesAReportThatFindsNoMemory)
{
    struct Poor : vnThread
    {
        void process() override { throw std::bad_alloc(); }
        void onBaseException(const vnBaseError&) override { throw std::bad_alloc(); }
    };
    Poor poor;
    testing::internal::CaptureStderr();
    EXPECT_EQ(poor.chain(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Out Of Memory [bad_alloc]\n");
    EXPECT_EQ(poor.isRunning(0), 0);
}

TEST(vnThread, MayDeleteItselfWhileItsStarterWaitsForItsBeginning)
{
    struct Own : vnThread
    {
        ~Own() noexcept(false) override { stop(1); }
        void process() override {}
    };
    for (unsigned int i = 0; i < 300; ++i)
    {
        Own* own = new Own;
        own->setAutoDelete(1);
        EXPECT_EQ(own->run(1), 1);
    }
}

TEST(vnThread, StartsAndStopsFromManyThreadsAtOnce)
{
    Worker worker;
    const auto work = [&]
    {
        for (unsigned int i = 0; i < 50; ++i)
        {
            worker.run(i % 2);
            worker.isRunning(1);
            worker.stop(i % 3 == 0);
        }
    };
    std::thread other(work);
    work();
    other.join();
    worker.stop(1);
    EXPECT_EQ(worker.isRunning(0), 0);
}

TEST(vnThread, IsAwaitedAfterItHasKilledItself)
{
    for (const bool isChained : {false, true})
        for (const bool runsAgain : {false, true})
        {
            SCOPED_TRACE(std::string(isChained ? "chained" : "run") +
                         (runsAgain ? ", run again" : ", stopped"));
            std::atomic<bool> isInside{false};
            std::atomic<bool> overlaps{false};
            std::atomic<bool> isDone{false};
            Worker worker(
                [&](Worker& self)
                {
                    overlaps = overlaps || isInside.exchange(true);
                    if (self.rounds == 1)
                    {
                        self.kill();
                        EXPECT_EQ(self.isRunning(0), 0);
                        vnThread::vnMicroDelayFunction(30000);
                        isDone = true;
                    }
                    isInside = false;
                });
            std::thread chaining;
            if (isChained)
                chaining = std::thread([&] { worker.chain(); });
            else
                worker.run(0);
            EXPECT_TRUE(comesTrue([&] { return worker.rounds == 1 && worker.isStopping(0); }));
            if (runsAgain)
                worker.run(1);
            else
                worker.stop(1);
            EXPECT_TRUE(isDone);
            worker.stop(1);
            EXPECT_FALSE(overlaps);
            if (chaining.joinable())
                chaining.join();
        }
}

TEST(vnThread, TakesItsOwnMarkBackByRunning)
{
    Worker worker(
        [](Worker& self)
        {
            self.kill();
            EXPECT_EQ(self.chain(), 0);
            EXPECT_EQ(self.run(1), 1);
            EXPECT_EQ(self.isRunning(0), 1);
            EXPECT_EQ(self.isStopping(0), 0);
        });
    worker.run(1);
    worker.stop(1);
    EXPECT_EQ(worker.rounds, 1u);
    EXPECT_EQ(worker.isRunning(0), 0);
}

TEST(vnThread, LeavesItsIdToOthersWhenTheWatchdogFindsItsEnd)
{
    Worker worker([](Worker&) {});
    worker.setTickLimit(0.001);
    worker.run(0);
    EXPECT_TRUE(comesTrue([&] { return !worker.isRunning(0); }));
    // The system gives ids again: this one is another thread's.
    const unsigned int id = worker.getThreadInfo().threadID;
    const unsigned int number = vnThread::getThreadEnum(id);
    vnThread::vnMicroDelayFunction(2000);
    EXPECT_EQ(worker.tickAlive(), 0);
    worker.stop(1);
    EXPECT_NE(vnThread::getThreadEnum(id + 10000), number);
}

TEST(vnThread, LeavesNoStackBehindWhenItsVariablesDestroyIt)
{
    const auto countMappings = []
    {
        std::ifstream maps("/proc/self/maps");
        return std::count(std::istreambuf_iterator<char>(maps), std::istreambuf_iterator<char>(), '\n');
    };
    constexpr unsigned int count = 100;
    std::atomic<unsigned int> gone{0};
    const auto mappings = countMappings();
    for (unsigned int i = 1; i <= count; ++i)
    {
        struct Owner
        {
            ~Owner()
            {
                worker.reset();
                ++*gone;
            }
            std::unique_ptr<Worker> worker;
            std::atomic<unsigned int>* gone = nullptr;
        };
        auto* worker = new Worker(
            [&gone](Worker& self)
            {
                static thread_local Owner owner;
                owner.gone = &gone;
                owner.worker.reset(&self);
            });
        worker->run(0);
        ASSERT_TRUE(comesTrue([&] { return gone == i; }));
    }
    EXPECT_TRUE(comesTrue([&] { return countMappings() < mappings + count; })); // two for each stack
}
