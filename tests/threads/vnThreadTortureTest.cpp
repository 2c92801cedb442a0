// SPDX-License-Identifier: MIT
#include "../memory/vnFailingManager.h"
#include "vnThreadTestHelp.h"

#include <vnBase/vnRefList.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnString.h>
#include <vnBase/vnThreadData.h>
#include <vnBase/vnThreadDeallocator.h>
#include <vnBase/vnThreadTicker.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <memory>
#include <new>
#include <string>

namespace
{
class Ticker : public vnThreadTicker
{
public:
    explicit Ticker(unsigned int poolID) : vnThreadTicker(poolID, VN_THREAD_PRIORITY_NORMAL) {}
    ~Ticker() noexcept(false) override { detachThreadTicker(); }
    void onTick() override { ++ticks; }

    std::atomic<unsigned int> ticks{0};
};

// The callers of guiTick() get the errors of its tickers, so that nothing is lost: a second attempt finds all
// in its place.
void tickInPoolZero()
{
    Ticker ticker(0);
    ticker.triggerTick(0);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.ticks, 1u);
    ticker.disableThreadTicker();
    EXPECT_EQ(ticker.isEnabled(), 0);
    vnThreadPoolTicker::guiTick();
    ticker.enableThreadTicker();
    ticker.triggerTick(0);
    vnThreadPoolTicker::guiTick();
    EXPECT_EQ(ticker.ticks, 2u);
}

void tickOnAThread()
{
    const struct Closer
    {
        ~Closer() { vnThreadPoolTicker::closeAll(); }
    } closer;
    Ticker ticker(991);
    try
    {
        ticker.triggerTick(0);
    }
    catch (const std::bad_alloc&)
    {
        EXPECT_EQ(ticker.isEnabled(), 0);
        EXPECT_EQ(ticker.triggerTick(1000), 1) << "a trigger is left";
        throw;
    }
    ticker.disableThreadTicker();
    std::unique_ptr<Ticker> other(new Ticker(991));
    other->enableThreadTicker();
    other->deleteThreadTicker(); // throws as long as the ticker is still ours
    static_cast<void>(other.release());
}

void deallocate()
{
    const struct Stopper
    {
        ~Stopper() { vnThreadDeallocator::stopDeallocator(); }
    } stopper;
    vnRefPointer<vnThreadSafeReference> first(new vnThreadSafeReference);
    vnRefPointer<vnThreadSafeReference> second(new vnThreadSafeReference);
    vnThreadDeallocator::deallocObject(first, 1);
    vnThreadDeallocator::deallocObject(second, 0);
}

void keepThreadData()
{
    vnThreadData<vnString> data(3);
    data.get() = "a text that does not fit into any small buffer of its own, by far";
    EXPECT_EQ(data.get().length(), 0u);
    data.clear();
    EXPECT_EQ(data.get().length(), 0u);
}

void runThreads()
{
    struct Worker : vnThread
    {
        ~Worker() noexcept(false) override { stop(1); }
        void process() override { text = "a text that does not fit into any small buffer of its own"; }
        vnString text;
    };
    Worker worker;
    worker.run(1);
    worker.stop(1);
    worker.chain();
    worker.run(0);
    EXPECT_TRUE(comesTrue([&] { return worker.isRunning(0) == 0; }));
    worker.run(0); // with the remains of a thread that has ended by itself
    worker.stop(1);
    EXPECT_EQ(worker.isRunning(0), 0);
}

void waitForEvents()
{
    vnRefList<vnEvent> events;
    for (int i = 0; i < 2; ++i)
    {
        vnRefPointer<vnEvent> event(new vnEvent);
        events.append(event);
    }
    EXPECT_EQ(vnEvent::wait(events, 0), nullptr);
}

unsigned int countThreads()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<unsigned int>(std::distance(begin(tasks), end(tasks)));
}

// The live blocks, once other threads have stopped letting go of some.
int settled(const vnFailingManager& manager)
{
    int live = manager.getAlive();
    for (unsigned int still = 0; still < 20; ++still)
    {
        vnThread::vnMicroDelayFunction(1000);
        if (manager.getAlive() != live)
            still = 0;
        live = manager.getAlive();
    }
    return live;
}

struct Script
{
    const char* name;
    void (*run)();
};
const Script scripts[] = {
    {"tickers of pool 0", tickInPoolZero}, {"tickers", tickOnAThread}, {"deallocator", deallocate},
    {"thread data", keepThreadData},       {"threads", runThreads},    {"several events", waitForEvents},
};

// The report of a failure may go past the script's end, on another thread, so that a fixed number is tried.
constexpr unsigned int mostAllocations = 40;

void torture(vnFailingManager& manager, const Script& script)
{
    for (unsigned int failing = 1; failing <= mostAllocations; ++failing)
    {
        SCOPED_TRACE(failing);
        manager.run(script.run, failing);
        ASSERT_EQ(vnCurrentThreadState().guarded, 0) << "a lock is held";
        ASSERT_EQ(vnCurrentThreadState().shared, 0) << "a read-write lock is held";
        script.run(); // works as before
    }
}

// The blocks that torture leaves behind. Some are made once and kept, and when depends on how the threads
// meet; what is lost is lost again each time.
int growth(vnFailingManager& manager, const Script& script)
{
    constexpr unsigned int attempts = 5;
    int blocks = 0;
    for (unsigned int i = 0; i < attempts; ++i)
    {
        const int live = settled(manager);
        torture(manager, script);
        blocks = settled(manager) - live;
        if (blocks <= 0)
            break;
    }
    return blocks;
}
} // namespace

TEST(vnThreadTorture, GoesOnAfterAnyAllocationHasFailed)
{
    vnFailingManager manager;
    testing::internal::CaptureStderr(); // each failure is reported there
    for (const bool failsOn : {false, true})
        for (const Script& script : scripts)
        {
            SCOPED_TRACE(std::string(script.name) + (failsOn ? ", nothing from there on" : ""));
            for (unsigned int i = 0; i < 3; ++i)
                script.run();
            const unsigned int threads = countThreads();
            manager.failsOn = failsOn;
            EXPECT_LE(growth(manager, script), 0) << "blocks";
            EXPECT_TRUE(comesTrue([&] { return countThreads() <= threads; })) << countThreads() - threads;
        }
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_NE(report.find("Bad Alloc:File: "), std::string::npos);
}
