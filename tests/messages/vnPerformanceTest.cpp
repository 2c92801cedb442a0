// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicType.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnPerformance.h>
#include <vnBase/vnTime.h>
#include <vnBase/vnUniqueString.h>

#include "vnMessageRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <regex>
#include <thread>

namespace
{
// Runs the function on a thread of its own, with sections on, and returns that thread's id.
template <class F>
unsigned int onThread(const F& function, bool stop = true)
{
    unsigned int id = 0;
    vnEnablePerformanceSections(1);
    std::thread(
        [&]
        {
            id = vnCurrentThreadID();
            vnStartPerformanceThread();
            function();
            if (stop)
                vnStopPerformanceThread();
        })
        .join();
    vnEnablePerformanceSections(0);
    return id;
}

void section(
    const char* name, void (*inside)() = [] {})
{
    vnPerformanceBody body(name);
    inside();
}

void burn(double seconds)
{
    const double end = vnTime::systemSeconds() + seconds;
    while (vnTime::systemSeconds() < end)
        ;
}

Lines namesOf(unsigned int thread)
{
    vnRefList<vnSectionInfo> sections;
    vnGetAllPerformanceSections(sections, thread);
    Lines names;
    for (const vnSectionInfo* info : sections)
    {
        EXPECT_STREQ(info->getTypeName(), "vnReference") << "no record of its own, on purpose";
        names.push_back(info->getName().getString());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The lines of a report, without sender and level.
Lines dumped(vnPerformanceDumpFlags flags)
{
    Recorder recorder;
    vnMessage::setMessageLevel(0x1000);
    vnDumpPerformanceInfo(flags);
    Lines lines = recorder.take();
    for (std::string& line : lines)
        line.erase(0, 15);
    return lines;
}

// The lines of a report from the thread of the name on, without the numbers that differ from run to run.
Lines reportOf(const char* threadName, vnPerformanceDumpFlags flags)
{
    const Lines all = dumped(flags);
    auto line = std::find_if(all.begin(), all.end(),
                             [&](const std::string& text)
                             { return text.find(std::string("  Name: ") + threadName) != text.npos; });
    Lines lines;
    for (++line; line < all.end() && line->find("Name: ") == line->npos && line->find("End") == line->npos;
         ++line)
        if (line->find("Time") == line->npos)
            lines.push_back(*line);
    return lines;
}

class Monitor : public vnPerformanceMonitorInterface
{
public:
    void enter(const vnString& name) override { log += std::string("+") + name.getString(); }
    void leave(const vnString& name) override { log += std::string("-") + name.getString(); }
    void addValue(const vnString& name, const vnDynamicType& value, const double& time,
                  const unsigned int& source) override
    {
        log += vnString::formatString("=%s %.1f %.1f %d", name, value.getNumber(), time, source).getString();
    }
    std::string log;
};
} // namespace

TEST(vnPerformance, ReportsEachPathAndTheSumOfEachName)
{
    onThread(
        []
        {
            vnSetPerformanceThreadName("paths%d");
            for (int i = 0; i < 2; ++i)
                section("a", [] { section("c"); });
            section("b", [] { section("c", [] { section("c"); }); });
        });
    // In the order of the dictionaries.
    EXPECT_EQ(
        reportOf("paths%d", VN_PERFORMANCE_STOPPED | VN_PERFORMANCE_HIERARCHICAL),
        (Lines{"    - Hierarchical sections", "      - Section       : a", "        Iterations    : 2",
               "        - Section       : c", "          Iterations    : 2", "      - Section       : b",
               "        Iterations    : 1", "        - Section       : c", "          Iterations    : 1",
               "          - Section       : c", "            Iterations    : 1"}));
    EXPECT_EQ(
        reportOf("paths%d", VN_PERFORMANCE_STOPPED | VN_PERFORMANCE_ACCUMULATED),
        (Lines{"    - Accumulated sections", "      - Section       : a", "        Iterations    : 2 (rec:0)",
               "        Callers       : 1", "      - Section       : c", "        Iterations    : 4 (rec:1)",
               "        Callers       : 3", "      - Section       : b", "        Iterations    : 1 (rec:0)",
               "        Callers       : 1"}));
}

TEST(vnPerformance, LaysTheReportOutWithTheSharesOfEachSection)
{
    onThread(
        []
        {
            vnSetPerformanceThreadName("in full");
            section("upper",
                    []
                    {
                        burn(0.002);
                        section("lower", [] { burn(0.002); });
                    });
        });
    const Lines all = dumped(VN_PERFORMANCE_ALL);
    Lines masked = all;
    const std::regex number("0x[0-9a-f]+|[0-9]+([.][0-9]+)?");
    for (std::string& line : masked)
        line = std::regex_replace(line, number, "#");
    const auto running = std::find(masked.begin(), masked.end(), "- Running threads");
    const auto stopped = std::find(masked.begin(), masked.end(), "- Stopped threads");
    const auto thread = std::find(masked.begin(), masked.end(), "  - Thread ID: #  Name: in full");
    EXPECT_EQ(running, masked.begin() + 1);
    ASSERT_LT(running, stopped);
    ASSERT_LT(stopped, thread);
    ASSERT_LT(thread + 20, masked.end());
    EXPECT_EQ(Lines(thread, thread + 21), (Lines{"  - Thread ID: #  Name: in full",
                                                 "    Exec Time: # seconds",
                                                 "    - Accumulated sections",                          //
                                                 "      - Section       : lower",                       //
                                                 "        Exec Time     : # seconds (# %)",             //
                                                 "        Iterations    : # (rec:#)",                   //
                                                 "        Avg Exec Time : # seconds (# %)",             //
                                                 "        Callers       : #",                           //
                                                 "      - Section       : upper",                       //
                                                 "        Exec Time     : # seconds (# %)",             //
                                                 "        Iterations    : # (rec:#)",                   //
                                                 "        Avg Exec Time : # seconds (# %)",             //
                                                 "        Callers       : #",                           //
                                                 "    - Hierarchical sections",                         //
                                                 "      - Section       : upper",                       //
                                                 "        Exec Time     : # seconds (# %) (tot # %)",   //
                                                 "        Iterations    : #",                           //
                                                 "        Avg Exec Time : # seconds (# %) (tot # %)",   //
                                                 "        - Section       : lower",                     //
                                                 "          Exec Time     : # seconds (# %) (tot # %)", //
                                                 "          Iterations    : #"}));

    const auto line = all.begin() + (thread - masked.begin());
    double total = 0, upper = 0, ofParent = 0, ofTotal = 0, lower = 0, lowerOfParent = 0, lowerOfTotal = 0;
    ASSERT_EQ(std::sscanf(line[1].c_str(), " Exec Time: %lf", &total), 1);
    const char* share = " Exec Time : %lf seconds (%lf %%) (tot %lf";
    ASSERT_EQ(std::sscanf(line[15].c_str(), share, &upper, &ofParent, &ofTotal), 3);
    ASSERT_EQ(std::sscanf(line[19].c_str(), share, &lower, &lowerOfParent, &lowerOfTotal), 3);
    EXPECT_NEAR(ofParent, 100 * upper / total, 0.1); // at the root the thread is the parent
    EXPECT_NEAR(ofTotal, 100 * upper / total, 0.1);
    EXPECT_NEAR(lowerOfParent, 100 * lower / upper, 0.1);
    EXPECT_NEAR(lowerOfTotal, 100 * lower / total, 0.1);
    EXPECT_LT(lowerOfTotal, lowerOfParent);
}

TEST(vnPerformance, NeverInternsTheNamesThatReportsRead)
{
    // Of its own each, since comparing interns the ordinary one.
    const char* text = "a section that is entered under an ordinary and an interned name";
    const unsigned int thread = onThread(
        [text]
        {
            const vnString ordinary(text);
            vnPerformanceBody first(ordinary);
            const vnString interned = vnUniqueString(text);
            vnLeavePerformanceSection();
            vnEnterPerformanceSection(interned);
            vnGetSectionResult(interned);
            vnDumpPerformanceInfo();
        });
    vnRefList<vnSectionInfo> sections;
    vnGetAllPerformanceSections(sections, thread);
    ASSERT_EQ(sections.getCount(), 1u);
    EXPECT_EQ(sections.getHead()->getName().isUnique(), 0);
    EXPECT_EQ(vnGetSectionResult(vnUniqueString(text), thread).count, 2u);
}

TEST(vnPerformance, GivesAThreadThatStartsWithinASectionATreeOfItsOwn)
{
    onThread(
        []
        {
            vnSetPerformanceThreadName("outer work");
            vnEnterPerformanceSection("outer");
            vnStartPerformanceThread();
            vnSetPerformanceThreadName("inner work");
            section("inner");
            vnLeavePerformanceSection(); // outside of all sections
            EXPECT_EQ(reportOf("inner work", VN_PERFORMANCE_RUNNING | VN_PERFORMANCE_HIERARCHICAL).size(),
                      3u);
            vnStopPerformanceThread();
            section("afterwards");
            vnLeavePerformanceSection();
        });
    const vnPerformanceDumpFlags flags = VN_PERFORMANCE_STOPPED | VN_PERFORMANCE_HIERARCHICAL;
    EXPECT_EQ(
        reportOf("outer work", flags),
        (Lines{"    - Hierarchical sections", "      - Section       : outer", "        Iterations    : 1",
               "        - Section       : afterwards", "          Iterations    : 1"}));
    EXPECT_EQ(
        reportOf("inner work", flags),
        (Lines{"    - Hierarchical sections", "      - Section       : inner", "        Iterations    : 1"}));
}

TEST(vnPerformance, KeepsTheNameOfAThreadBeforeItsStartAndAfterItsEnd)
{
    unsigned int id = 0;
    std::thread(
        [&]
        {
            id = vnCurrentThreadID();
            vnSetPerformanceThreadName("named before its start");
            vnStartPerformanceThread();
            vnStopPerformanceThread(); // although sections are off
        })
        .join();
    const auto count = [](const char* name, vnPerformanceDumpFlags flags)
    {
        const Lines lines = dumped(flags);
        return std::count_if(lines.begin(), lines.end(),
                             [name](const std::string& line) { return line.find(name) != line.npos; });
    };
    EXPECT_EQ(count("named before its start", VN_PERFORMANCE_STOPPED), 1);
    vnSetPerformanceThreadName("named after its end", id);
    EXPECT_EQ(count("named before its start", VN_PERFORMANCE_STOPPED), 0);
    EXPECT_EQ(count("named after its end", VN_PERFORMANCE_STOPPED), 1);
    EXPECT_EQ(count("named after its end", VN_PERFORMANCE_RUNNING), 0);
}

TEST(vnPerformance, MeasuresTheTimeBetweenEnterAndLeave)
{
    const unsigned int thread =
        onThread([] { section("measured outer", [] { section("measured inner", [] { burn(0.01); }); }); });
    const vnSectionResult outer = vnGetSectionResult("measured outer", thread);
    const vnSectionResult inner = vnGetSectionResult("measured inner", thread);
    EXPECT_GE(inner.time, 0.0099); // less what a double loses
    EXPECT_GE(outer.time, inner.time);
    EXPECT_EQ(outer.count, 1u);
}

TEST(vnPerformance, DoesNothingWhileOffOrAtTheRoot)
{
    vnEnterPerformanceSection("off");
    vnLeavePerformanceSection();
    EXPECT_EQ(vnGetSectionResult("off").count, 0u);
    const unsigned int thread = onThread(
        []
        {
            vnLeavePerformanceSection();
            section("root");
            vnLeavePerformanceSection();
            section("root");
        });
    EXPECT_EQ(namesOf(thread), (Lines{"root"}));
    EXPECT_EQ(vnGetSectionResult("root", thread).count, 2u);
}

TEST(vnPerformance, KnowsThreadsThatStartedBeforeItWasSwitchedOn)
{
    const auto reported = [](const char* thread, vnPerformanceDumpFlags flags)
    {
        Recorder recorder;
        vnMessage::setMessageLevel(0x1000);
        vnDumpPerformanceInfo(flags);
        const Lines lines = recorder.take();
        for (std::size_t i = 0; i + 1 < lines.size(); ++i)
            if (lines[i].find(thread) != lines[i].npos)
                return std::stod(lines[i + 1].substr(lines[i + 1].find("Time: ") + 6));
        return -1.0;
    };
    std::thread(
        [&]
        {
            char id[40];
            std::snprintf(id, sizeof id, "Thread ID: 0x%x ", vnCurrentThreadID());
            vnStartPerformanceThread();
            burn(0.01);
            vnEnablePerformanceSections(1);
            EXPECT_GE(reported(id, VN_PERFORMANCE_RUNNING), 0.0099);
            EXPECT_EQ(reported(id, VN_PERFORMANCE_STOPPED), -1);
            vnStopPerformanceThread();
            EXPECT_EQ(reported(id, VN_PERFORMANCE_RUNNING), -1);
            EXPECT_GE(reported(id, VN_PERFORMANCE_STOPPED), 0.0099);
        })
        .join();
    vnEnablePerformanceSections(0);
}

TEST(vnPerformance, ClearsASectionAlsoWhileItIsMeasured)
{
    const unsigned int thread = onThread(
        []
        {
            section("cleared");
            section("cleared", [] { vnClearPerformanceSection("cleared", vnCurrentThreadID()); });
        });
    EXPECT_EQ(vnGetSectionResult("cleared", thread).count, 1u);
}

TEST(vnPerformance, NestsNoDeeperThanItsLimit)
{
    vnSetPerformanceDepth(3);
    const unsigned int thread = onThread(
        []
        {
            for (int i = 0; i < 100000; ++i)
                vnEnterPerformanceSection("deep");
            for (int i = 0; i < 100000; ++i)
                vnLeavePerformanceSection();
            section("flat");
        });
    vnSetPerformanceDepth(500);
    EXPECT_EQ(vnGetSectionResult("deep", thread).count, 3u);
    EXPECT_EQ(vnGetSectionResult("flat", thread).count, 1u);
}

TEST(vnPerformance, LetsOthersReadATreeWhileItGrows)
{
    Recorder recorder;
    vnMessage::setMessageLevel(0x1000);
    vnEnablePerformanceSections(1);
    std::atomic<bool> done{false};
    std::thread worker(
        [&]
        {
            for (int i = 0; i < 2000; ++i)
            {
                vnPerformanceBody outer(vnString::formatString("grow %d", i % 50));
                vnPerformanceBody inner(vnString::formatString("grow %d", i));
            }
            done = true;
        });
    do
    {
        vnDumpPerformanceInfo();
        vnClearPerformanceSection("grow 7");
    } while (!done);
    worker.join();
    vnEnablePerformanceSections(0);
    EXPECT_EQ(vnGetSectionResult("grow 8").count, 41u);
}

TEST(vnPerformance, HoldsNoLockWhileItPosts)
{
    Caller waiter(
        [](vnMessageLevel, const char*)
        {
            // Would wait for the report for ever.
            std::thread([] { vnSetPerformanceThreadName("beside the report"); }).join();
        });
    Recorder recorder;
    vnMessage::setMessageLevel(0x1000);
    vnDumpPerformanceInfo(0);
    EXPECT_EQ(recorder.take().size(), 2u);
}

TEST(vnPerformance, KeepsItsMemoryOutOfTheReports)
{
    onThread(
        []
        {
            constexpr unsigned int state = 4711;
            const vnString name("a section whose name does not fit into a small buffer of its own");
            const unsigned int self = vnCurrentThreadID();
            vnStopPerformanceThread();
            vnMemoryControl::debugMem(1);
            vnMemoryControl::updateState(state, 0);
            vnStartPerformanceThread();
            vnStartPerformanceThread(); // within the first
            vnSetPerformanceThreadName(name);
            vnEnterPerformanceSection(name);
            vnLeavePerformanceSection();
            vnStopPerformanceThread();
            EXPECT_EQ(vnMemoryControl::getState(0), state);
            EXPECT_EQ(vnMemoryControl::getAllocMem(state, self), 0u);
            EXPECT_GT(vnMemoryControl::getAllocMem(99999, self), 64u); // the name at least
            vnMemoryControl::debugMem(0);
            vnMemoryControl::cleanAllocMem();
        });
}

TEST(vnPerformance, FramesTheReport)
{
    Recorder recorder;
    vnMessage::setMessageLevel(0x1000);
    vnDumpPerformanceInfo(0);
    Lines lines = recorder.take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].substr(0, 47), "VantorSDK|1001|----------- Performance Dump (20");
    EXPECT_EQ(lines[1], "VantorSDK|1001|-------------------- End Performance Dump ---------------------");
    EXPECT_EQ(vnCreatePerfLineInfo("a.cpp", 12), "a.cpp:12");
}

TEST(vnPerformanceMonitor, ReceivesWhatIsMonitored)
{
    Monitor monitor;
    vnEnterMonitor("none"); // no monitor yet
    vnPerformanceMonitorInterface::setPerformanceMonitor(&monitor);
    {
        vnMonitorBody body("body");
        vnEnterMonitor("x");
        vnAddMonitorValue("v", 2.5, 10.0, 3);
        vnAddMonitorValueOpt(0, "off", 1.0, 10.0);
        vnAddMonitorValueOpt(1, "on", 1.0, 11.0);
    }
    vnPerformanceMonitorInterface::setPerformanceMonitor(nullptr);
    vnLeaveMonitor("none");
    EXPECT_EQ(monitor.log, "+body+x=v 2.5 10.0 3=on 1.0 11.0 0-body");
}
