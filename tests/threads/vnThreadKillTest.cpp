// SPDX-License-Identifier: MIT
#include "vnThreadTestHelp.h"

#include <vnBase/vnEvent.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSemaphore.h>
#include <vnBase/vnString.h>
#include <vnBase/vnThread.h>
#include <vnBase/vnThreadTicker.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <pthread.h>
#include <signal.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

// ThreadSanitizer holds signals back until the thread enters one of its own functions, and so a kill, too.
#if defined(VN_UNDER_THREAD_SANITIZER)
#define VN_KILL_TEST(name) TEST(vnThreadKill, DISABLED_##name)
#else
#define VN_KILL_TEST(name) TEST(vnThreadKill, name)
#endif

#if defined(VN_UNDER_ADDRESS_SANITIZER)
#include <sanitizer/lsan_interface.h>
#endif

namespace
{
// What a thread that is killed holds is lost, which is no fault.
void allowLosses()
{
#if defined(VN_UNDER_ADDRESS_SANITIZER)
    __lsan_disable();
#endif
}

// AddressSanitizer may be linked into the program, all of which counts as its allocator then. A victim is
// ended outside of it, and has to come along there.
void leaveTheProgram()
{
#if defined(VN_UNDER_ADDRESS_SANITIZER)
    vnThread::vnMicroDelayFunction(50);
#endif
}

// A thread that never looks whether it is to stop.
class Victim : public vnThread
{
public:
    explicit Victim(std::function<void(Victim&)> work) : m_work(std::move(work)) {}
    ~Victim() noexcept(false) override { stop(1); }

    void process() override
    {
        id = vnThread::getThreadID();
        allowLosses();
        number = vnThread::getThreadEnum(0);
        m_work(*this);
    }

    void begin()
    {
        run(1);
        ASSERT_TRUE(comesTrue([this] { return isReady.load(); }));
    }

    vnMutex& lock() { return getThreadLock(); }

    std::atomic<bool> isReady{false};
    std::atomic<unsigned int> id{0};
    std::atomic<unsigned int> number{10000};
    std::atomic<unsigned long> steps{0};

private:
    std::function<void(Victim&)> m_work;
};

void spin(Victim& self)
{
    for (;;)
    {
        self.isReady = true;
        ++self.steps;
        leaveTheProgram();
    }
}

// The process goes on: allocators, output, messages and new threads work.
void expectHealth()
{
    std::vector<std::unique_ptr<std::string>> texts;
    for (unsigned int i = 0; i < 1000; ++i)
        texts.push_back(std::make_unique<std::string>(100 + i, 'x'));
    void* block = vn_malloc(1000);
    ASSERT_NE(block, nullptr);
    vn_free(block);
    ASSERT_TRUE(vnMessage::tryLock(20));
    vnMessage::unLock();
    Victim next([](Victim& self) { self.isReady = true; });
    next.begin();
    next.stop(1);
    EXPECT_EQ(next.isRunning(0), 0);
}

// Whether a body that counts its steps goes on meanwhile.
bool goesOn(const Victim& victim)
{
    const unsigned long seen = victim.steps;
    vnThread::vnMicroDelayFunction(20000);
    return victim.steps != seen;
}

bool isAlive(unsigned int id)
{
    const std::string path = "/proc/self/task/" + std::to_string(id);
    return access(path.c_str(), F_OK) == 0;
}

void expectKilled(Victim& victim)
{
    const unsigned int working = vnThread::getWorkingThreads();
    victim.kill();
    EXPECT_EQ(victim.isRunning(0), 0);
    EXPECT_EQ(victim.isStopping(0), 1);
    EXPECT_TRUE(comesTrue([&] { return !isAlive(victim.id); }));
    EXPECT_LT(vnThread::getWorkingThreads(), working);
    victim.stop(1); // has nothing to wait for
    expectHealth();
}
} // namespace

VN_KILL_TEST(EndsAThreadThatSpins)
{
    Victim victim(spin);
    victim.begin();
    expectKilled(victim);
    const unsigned long steps = victim.steps;
    expectHealth();
    EXPECT_EQ(victim.steps, steps);
    // Its number is free for others.
    EXPECT_EQ(vnThread::getThreadEnum(victim.id + 10000), victim.number);
}

VN_KILL_TEST(EndsAThreadThatSleeps)
{
    vnEvent event;
    const std::function<void(Victim&)> ways[] = {
        [](Victim& self)
        {
            self.isReady = true;
            vnThread::vnDelayFunction(1000000, nullptr);
        },
        [&](Victim& self)
        {
            self.isReady = true;
            event.wait(1000000, 0);
        },
        [](Victim& self)
        {
            int ends[2];
            char byte;
            if (pipe(ends) != 0)
                return;
            self.isReady = true;
            while (read(ends[0], &byte, 1) >= 0)
                continue;
        },
    };
    for (const auto& way : ways)
    {
        Victim victim(way);
        victim.begin();
        expectKilled(victim);
    }
    EXPECT_EQ(event.isLocked(), 0);
}

VN_KILL_TEST(EndsAThreadThatWaitsForALockAndWakesTheNext)
{
    vnMutex mutex;
    mutex.waitLock();
    const auto wait = [&](Victim& self)
    {
        self.isReady = true;
        vnBodyGuard guard(mutex);
        ++self.steps;
    };
    Victim victim(wait);
    victim.begin();
    Victim next(wait);
    next.begin();
    expectKilled(victim);
    mutex.unLock();
    EXPECT_TRUE(comesTrue([&] { return next.steps == 1; }));
    EXPECT_EQ(victim.steps, 0u);
}

VN_KILL_TEST(LeavesTheLocksOfItsVictimHeld)
{
    // Nobody can give it back, and to destroy it would be reported.
    static vnMutex* const mutex = new vnMutex;
    Victim victim(
        [](Victim& self)
        {
            mutex->waitLock();
            spin(self);
        });
    victim.begin();
    expectKilled(victim);
    EXPECT_EQ(mutex->getOwnerThreadID(), victim.id);
    EXPECT_EQ(mutex->tryLock(), 0);
}

VN_KILL_TEST(WaitsUntilTheVictimHasLeftItsLocks)
{
    vnMutex mutex;
    std::atomic<unsigned int> inside{0};
    Victim victim(
        [&](Victim& self)
        {
            for (;;)
            {
                for (unsigned int i = 0; i < 100; ++i)
                    ++self.steps;
                leaveTheProgram();
                vnBodyGuard guard(mutex);
                ++inside;
                self.isReady = true;
                --inside;
            }
        });
    victim.begin();
    expectKilled(victim);
    EXPECT_EQ(inside, 0u);
    EXPECT_EQ(mutex.isLocked(), 0);
}

VN_KILL_TEST(KeepsAllocatorsAndMessagesUsable)
{
    for (unsigned int i = 0; i < 20; ++i)
    {
        Victim victim(
            [i](Victim& self)
            {
                for (;;)
                {
                    self.isReady = true;
                    ++self.steps;
                    leaveTheProgram();
                    if (i % 3 == 0)
                        std::free(std::calloc(1, 100 + self.steps % 200000));
                    else if (i % 3 == 1)
                        vn_free(vn_malloc(100 + static_cast<unsigned int>(self.steps % 5000), "victim"));
                    else
                        vnMessage::message(VN_MESSAGE_DEBUG, "%s", vnString::formatString("%d", self.steps));
                }
            });
        victim.begin();
        expectKilled(victim);
    }
}

VN_KILL_TEST(EndsAThreadWithAnAlternateStackAboveItsOwn)
{
    unsigned char place[1 << 17]; // the first thread's stack is above all others
    Victim victim(
        [&place](Victim& self)
        {
            stack_t stack{};
            stack.ss_sp = place;
            stack.ss_size = sizeof place;
            EXPECT_EQ(sigaltstack(&stack, nullptr), 0);
            spin(self);
        });
    victim.begin();
    expectKilled(victim);
}

VN_KILL_TEST(IsWhatTheWatchdogDoes)
{
    Victim victim(spin);
    victim.setTickLimit(0.02);
    victim.begin();
    EXPECT_TRUE(comesTrue([&] { return !victim.tickAlive(); }));
    EXPECT_EQ(victim.isRunning(1), 0);
    EXPECT_EQ(victim.isStopping(0), 1);

    Victim ticking(
        [](Victim& self)
        {
            while (!self.isStopping(1))
                self.isReady = true;
        });
    ticking.setTickLimit(10.0);
    ticking.begin();
    for (unsigned int i = 0; i < 100; ++i)
        ASSERT_EQ(ticking.tickAlive(), 1);
}

VN_KILL_TEST(OnlyMarksItselfAndAChainedThread)
{
    Victim itself(
        [](Victim& self)
        {
            self.kill();
            self.isReady = true;
        });
    itself.run(0);
    EXPECT_TRUE(comesTrue([&] { return itself.isReady.load(); }));
    Victim chained([](Victim& self) { self.kill(); });
    EXPECT_EQ(chained.chain(), 1);
    EXPECT_EQ(chained.isStopping(0), 1);
    Victim never(spin);
    never.kill();
    EXPECT_EQ(never.isStopping(0), 1);
}

VN_KILL_TEST(LeavesNothingOfItsVictimToTheNextThread)
{
    pthread_key_t key;
    ASSERT_EQ(pthread_key_create(&key, nullptr), 0);
    Victim victim(
        [key](Victim& self)
        {
            pthread_setspecific(key, &self);
            vnThread::getThreadEnum(0);
            spin(self);
        });
    victim.begin();
    expectKilled(victim);
    victim.stop(1); // its stack is free for the next
    for (unsigned int i = 0; i < 4; ++i)
    {
        Victim next(
            [key](Victim& self)
            {
                EXPECT_EQ(pthread_getspecific(key), nullptr);
                EXPECT_EQ(vnThisThread.guarded, 0);
                self.isReady = true;
            });
        next.begin();
    }
    pthread_key_delete(key);
}

VN_KILL_TEST(LetsTheObjectRunAgain)
{
    Victim victim(spin);
    for (unsigned int i = 0; i < 5; ++i)
    {
        victim.isReady = false;
        victim.begin();
        EXPECT_EQ(victim.isStopping(0), 0);
        expectKilled(victim);
    }
}

VN_KILL_TEST(EndsAThreadThatHasHardlyBegun)
{
    for (unsigned int i = 0; i < 100; ++i)
    {
        Victim victim(spin);
        victim.run(0);
        victim.kill();
        ASSERT_EQ(victim.isRunning(0), 0);
        victim.stop(1);
    }
}

VN_KILL_TEST(LeavesTheOutputToOthers)
{
    std::fflush(stdout);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    Victim victim(
        [](Victim& self)
        {
            const std::string line(1000, 'x');
            for (;;)
            {
                ++self.steps;
                std::fputs(line.c_str(), stdout);
                std::fflush(stdout);
                vnThread::vnMicroDelayFunction(50); // others come to the lock as well
            }
        });
    std::atomic<bool> isKilled{false};
    std::thread reader(
        [&]
        {
            // It lets the pipe run full, and reads only once the thread is being killed, which may be over
            // before this thread comes to look.
            char block[4096];
            while (!victim.isStopping(0) && !isKilled)
                std::this_thread::yield();
            while (read(ends[0], block, sizeof block) > 0)
                continue;
        });
    victim.run(0);
    EXPECT_TRUE(comesTrue([&] { return victim.steps >= 60; }));
    victim.kill();
    isKilled = true;
    const int held = ftrylockfile(stdout);
    if (held == 0)
    {
        std::fflush(stdout);
        funlockfile(stdout);
    }
    dup2(saved, STDOUT_FILENO); // the last writing end of the pipe
    close(saved);
    reader.join();
    close(ends[0]);
    if (held != 0)
    {
        std::fputs("The victim has taken the lock of the output with it.\n", stderr);
        std::_Exit(1); // to report it as usual would wait for that lock
    }
    EXPECT_EQ(victim.isRunning(0), 0);
    EXPECT_TRUE(comesTrue([&] { return !isAlive(victim.id); }));
}

VN_KILL_TEST(EndsInBoundedTimeWhileAnotherThreadHoldsTheMessages)
{
    std::atomic<bool> isHeld{false};
    std::atomic<bool> done{false};
    std::thread holder(
        [&]
        {
            vnMessage::waitLock();
            isHeld = true;
            while (!done)
                std::this_thread::yield();
            vnMessage::unLock();
        });
    EXPECT_TRUE(comesTrue([&] { return isHeld.load(); }));
    Victim victim(spin);
    victim.begin();
    victim.kill();
    EXPECT_TRUE(comesTrue([&] { return !isAlive(victim.id); }));
    EXPECT_EQ(victim.isRunning(0), 0);
    done = true;
    holder.join();
    expectHealth();
}

VN_KILL_TEST(WaitsUntilItsVictimHasDeliveredAMessage)
{
    struct Receiver : vnMessageReceiverInterface
    {
        explicit Receiver(vnThread& thread) : victim(thread) { vnMessage::addMessageReceiver(this); }
        ~Receiver() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
        void onMessage(const vnString&, vnMessageLevel, const char* message) override
        {
            if (std::string(message) != "last words")
                return;
            isInside = true;
            hasSeenTheKill = comesTrue([this] { return victim.isStopping(0) != 0; });
        }

        vnThread& victim;
        std::atomic<bool> isInside{false};
        std::atomic<bool> hasSeenTheKill{false};
    };
    Victim victim(
        [](Victim& self)
        {
            vnMessage::message(VN_MESSAGE_NOTICE, "last words");
            spin(self);
        });
    Receiver receiver(victim);
    victim.run(0);
    EXPECT_TRUE(comesTrue([&] { return receiver.isInside.load(); }));
    expectKilled(victim);
    EXPECT_TRUE(receiver.hasSeenTheKill);
}

VN_KILL_TEST(KeepsAThreadThatBlocksAllSignalsRunning)
{
    std::atomic<bool> done{false};
    Victim victim(
        [&](Victim& self)
        {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, nullptr);
            while (!done)
                self.isReady = true;
            ++self.steps;
        });
    victim.begin();
    victim.kill();
    EXPECT_EQ(victim.isRunning(0), 1);
    EXPECT_EQ(victim.isStopping(0), 1);
    done = true;
    victim.stop(1); // waits for it
    EXPECT_EQ(victim.steps, 1u);
    EXPECT_EQ(victim.isRunning(0), 0);
}

VN_KILL_TEST(LetsAnotherThreadDrivePoolZero)
{
    struct Ticker : vnThreadTicker
    {
        explicit Ticker(std::function<void()> function)
            : vnThreadTicker(0, VN_THREAD_PRIORITY_NORMAL), work(std::move(function))
        {
        }
        ~Ticker() noexcept(false) override { detachThreadTicker(); }
        void onTick() override { work(); }
        std::function<void()> work;
    };
    unsigned int ticks = 0;
    Victim victim([](Victim&) { vnThreadPoolTicker::guiTick(); });
    auto endless = std::make_unique<Ticker>([&] { spin(victim); });
    endless->triggerTick(0);
    victim.begin();
    expectKilled(victim);
    Ticker other([&] { ++ticks; });
    other.triggerTick(0);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticks, 1u);
    // The lock that its tick holds stays held, and is reported.
    endless.reset();
    vnThreadPoolTicker::guiTick();
    expectHealth();
}

VN_KILL_TEST(IsAwaitedByThoseWhoStopOrRunTheObjectMeanwhile)
{
    for (const bool runs : {false, true})
    {
        vnReadWriteMutex mutex; // held, it puts the end off
        std::atomic<unsigned int> bodies{0};
        std::atomic<bool> isAlone{false};
        Victim victim(
            [&](Victim& self)
            {
                if (++bodies == 2)
                {
                    isAlone = !goesOn(self);
                    return;
                }
                mutex.waitLockRead();
                spin(self);
            });
        victim.begin();
        std::thread killer([&] { victim.kill(); });
        EXPECT_TRUE(comesTrue([&] { return victim.isStopping(0) != 0; }));
        if (runs)
        {
            EXPECT_EQ(victim.run(1), 1);
            EXPECT_TRUE(comesTrue([&] { return isAlone.load(); }));
        }
        else
        {
            victim.stop(1);
            EXPECT_FALSE(goesOn(victim));
        }
        killer.join();
        victim.stop(1);
    }
}

VN_KILL_TEST(GivesTheLockOfItsOwnObjectBack)
{
    // Not deleted when it fails, which would wait for ever.
    Victim* victim = new Victim(
        [](Victim& self)
        {
            self.lock().waitLock();
            self.lock().waitLock();
            spin(self);
        });
    victim->begin();
    victim->kill();
    ASSERT_EQ(victim->isRunning(0), 0);
    ASSERT_EQ(victim->lock().isLocked(), 0);
    victim->stop(1);
    delete victim;
    expectHealth();
}

VN_KILL_TEST(EndsTheRunsOfAllObjectsThatTheThreadHasChained)
{
    Victim* inner = new Victim(spin);
    Victim outer([inner](Victim&) { inner->chain(); });
    const unsigned int working = vnThread::getWorkingThreads();
    outer.run(1);
    EXPECT_TRUE(comesTrue([&] { return inner->isReady.load(); }));
    outer.kill();
    ASSERT_EQ(inner->isRunning(0), 0);
    EXPECT_EQ(inner->isStopping(0), 1);
    EXPECT_LE(vnThread::getWorkingThreads(), working);
    inner->stop(1);
    delete inner;
    expectHealth();
}

VN_KILL_TEST(WaitsForAnAllocatorOfTheProgram)
{
    struct Slow : vnMemoryManagerInterface
    {
        Slow() { vnMemoryControl::setMemoryManager(this); }
        ~Slow() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
        void* allocate(unsigned int size) override
        {
            if (vnThread::getThreadID() == slowThread)
            {
                isInside = true;
                while (!victim->isStopping(0))
                    vnThread::vnDelayFunction(1, nullptr);
                vnThread::vnDelayFunction(1300, nullptr); // locks alone put the end off for a second
                isInside = false;
            }
            return std::malloc(size);
        }
        void* reallocate(void*, unsigned int) override { return nullptr; }
        void deallocate(void* block) override { std::free(block); }

        vnThread* victim = nullptr;
        std::atomic<unsigned int> slowThread{0};
        std::atomic<bool> isInside{false};
    };
    Slow manager;
    Victim victim(
        [&](Victim& self)
        {
            manager.slowThread = self.id.load();
            vn_free(vn_malloc(100));
            manager.slowThread = 0;
            spin(self);
        });
    manager.victim = &victim;
    victim.run(1);
    EXPECT_TRUE(comesTrue([&] { return manager.isInside.load(); }));
    expectKilled(victim);
    EXPECT_FALSE(manager.isInside);
}

VN_KILL_TEST(GivesUpWhileAnotherThreadKeepsTheLockOfTheObject)
{
    struct Receiver : vnMessageReceiverInterface
    {
        Receiver() { vnMessage::addMessageReceiver(this); }
        ~Receiver() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
        void onMessage(const vnString&, vnMessageLevel, const char* message) override { text = message; }
        std::string text;
    };
    Victim victim(
        [](Victim& self)
        {
            while (!self.isStopping(0))
                self.isReady = true;
        });
    victim.begin();
    Receiver receiver;
    {
        vnBodyGuard guard(victim.lock());
        std::thread([&] { victim.kill(); }).join();
        EXPECT_EQ(victim.isRunning(0), 1);
    }
    EXPECT_NE(receiver.text.find(") does not end when killed"), std::string::npos);
    victim.stop(1);
    EXPECT_EQ(victim.isRunning(0), 0);
}
