// SPDX-License-Identifier: MIT
#include <vnBase/vnBaseError.h>
#include <vnBase/vnProgress.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace
{
class Listener : public vnProgressInterface
{
public:
    Listener(std::string& log, const char* name) : m_log(log), m_name(name) {}
    ~Listener() noexcept(false) override { deactivateProgressInterface(); }
    void onProgress(unsigned char percent, const char* banner) override
    {
        m_log += m_name + std::to_string(percent) + banner + " ";
        if (onReport)
            onReport();
    }
    std::function<void()> onReport;

private:
    std::string& m_log;
    std::string m_name;
};

std::string reported(std::string& log, unsigned char percent)
{
    vnProgress::progress(percent, "");
    return std::exchange(log, "");
}
} // namespace

TEST(vnProgress, AsksTheThreadsListenerBeforeTheDefaultOne)
{
    std::string log;
    Listener general(log, "g");
    Listener own(log, "o");
    EXPECT_EQ(reported(log, 1), ""); // there is none
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(&general), nullptr);
    EXPECT_EQ(vnProgress::setProgressInterface(&own), nullptr);
    vnProgress::progress(5, "x");
    std::thread([] { vnProgress::progress(6, "y"); }).join();
    EXPECT_EQ(log, "o5x g6y ");
    EXPECT_EQ(vnProgress::getProgressInterface(), &own);
    EXPECT_EQ(vnProgress::setProgressInterface(nullptr), &own);
    EXPECT_EQ(vnProgress::getProgressInterface(), &general);
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(nullptr), &general);
}

TEST(vnProgress, ChainsActiveListenersInThePlaceOfThePreviousOne)
{
    std::string log;
    Listener general(log, "g");
    Listener own(log, "o");
    Listener first(log, "1");
    Listener second(log, "2");
    first.onReport = [&] { first.routeProgress(0, "r"); };
    second.onReport = [&] { second.routeProgress(1, "r"); };
    vnProgress::setDefaultProgressInterface(&general);
    first.activateProgressInterface(); // no listener of the thread: the default's place
    first.activateProgressInterface();
    EXPECT_EQ(reported(log, 9), "19 g0r ");
    vnProgress::setProgressInterface(&own);
    second.activateProgressInterface();
    EXPECT_EQ(reported(log, 9), "29 o1r ");
    second.deactivateProgressInterface();
    second.routeProgress(7, "lost"); // not active
    EXPECT_EQ(vnProgress::setProgressInterface(nullptr), &own);
    first.deactivateProgressInterface();
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(nullptr), &general);
    EXPECT_EQ(log, "");
}

TEST(vnProgress, LeavesNoDestroyedListenerBehind)
{
    std::string log;
    Listener general(log, "g");
    vnProgress::setDefaultProgressInterface(&general);
    auto first = std::make_unique<Listener>(log, "1");
    auto second = std::make_unique<Listener>(log, "2");
    first->activateProgressInterface();
    second->activateProgressInterface();
    second->onReport = [&] { second->routeProgress(4, "r"); };
    first.reset(); // in the middle of the chain
    EXPECT_EQ(reported(log, 3), "23 g4r ");
    second->onReport = [&] { second.reset(); }; // within its own report
    EXPECT_EQ(reported(log, 3), "23 ");
    EXPECT_EQ(reported(log, 3), "g3 ");
    vnProgress::setDefaultProgressInterface(nullptr);

    auto set = std::make_unique<Listener>(log, "s");
    vnProgress::setProgressInterface(set.get());
    vnProgress::setDefaultProgressInterface(set.get());
    std::thread([&] { set.reset(); }).join(); // another thread than the one it listens to
    EXPECT_EQ(vnProgress::getProgressInterface(), nullptr);
}

TEST(vnProgress, RoutesNothingToADestroyedListenerThatWasOnlySet)
{
    std::string log;
    auto set = std::make_unique<Listener>(log, "s");
    Listener replaced(log, "r");
    Listener top(log, "t");
    vnProgress::setDefaultProgressInterface(set.get());
    replaced.activateProgressInterface();
    vnProgress::setDefaultProgressInterface(set.get()); // the active one stands in no place any more
    top.activateProgressInterface();
    top.onReport = [&] { top.routeProgress(7, "x"); };
    EXPECT_EQ(reported(log, 1), "t1 s7x ");
    set.reset();
    EXPECT_EQ(reported(log, 2), "t2 ");
    replaced.routeProgress(8, "y");
    EXPECT_EQ(log, "");
    top.deactivateProgressInterface();
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(nullptr), nullptr);
}

TEST(vnProgress, ReportsInNoCircle)
{
    std::string log;
    Listener set(log, "s");
    Listener first(log, "1");
    set.onReport = [&] { set.routeProgress(5, ""); };
    first.onReport = [&] { first.routeProgress(6, ""); };
    vnProgress::setDefaultProgressInterface(&set);
    first.activateProgressInterface();
    set.activateProgressInterface(); // the first one remembers it
    EXPECT_EQ(reported(log, 1), "s1 15 ");
    set.deactivateProgressInterface();
    EXPECT_EQ(reported(log, 2), "12 ");
    first.deactivateProgressInterface();

    vnProgress::setDefaultProgressInterface(&set);
    set.activateProgressInterface(); // stands there already
    EXPECT_EQ(reported(log, 3), "s3 ");
    set.deactivateProgressInterface(); // goes on standing there
    EXPECT_EQ(reported(log, 4), "s4 ");
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(nullptr), &set);
}

TEST(vnProgress, LeavesTheListenerThatASetterPutInThePlaceOfAnActiveOne)
{
    std::string log;
    Listener general(log, "g");
    Listener active(log, "a");
    Listener other(log, "o");
    vnProgress::setDefaultProgressInterface(&general);
    active.activateProgressInterface();
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(&other), &active);
    active.deactivateProgressInterface();
    EXPECT_EQ(reported(log, 1), "o1 ");
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(nullptr), &other);
}

TEST(vnProgress, RefusesToReplaceListenersWithinAReport)
{
    std::string log;
    Listener listener(log, "l");
    listener.onReport = [&] { vnProgress::setDefaultProgressInterface(nullptr); };
    vnProgress::setDefaultProgressInterface(&listener);
    EXPECT_THROW(vnProgress::progress(1, ""), vnFatalError);
    EXPECT_EQ(vnProgress::setDefaultProgressInterface(nullptr), &listener);
}

TEST(vnDefaultProgressInterface, PrintsEachPercentageOnceAndEndsTheLine)
{
    vnDefaultProgressInterface listener;
    testing::internal::CaptureStdout();
    listener.onProgress(10, "Load a");
    listener.onProgress(10, "Load b"); // begins alike
    listener.onProgress(10, "Save");
    listener.onProgress(11, "");
    listener.onProgress(11, "Store"); // begins like the last banner that was not empty
    listener.onProgress(100, "x");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\rLoad a:Progress 10%\t\t"
              "\rSave:Progress 10%\t\t"
              "\r:Progress 11%\t\t"
              "\rx:Progress 100%\t\t                               \n");
}
