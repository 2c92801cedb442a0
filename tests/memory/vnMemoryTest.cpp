// SPDX-License-Identifier: MIT
#include <vnBase/vnMemory.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnSharedMemory.h>
#include <vnBase/vnString.h>
#include <vnBase/vnThreadID.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace
{
// Tracking for one test, beginning and ending with an empty table.
class Tracking
{
public:
    Tracking()
    {
        vnMemoryControl::cleanAllocMem();
        vnMemoryControl::debugMem(1);
    }
    ~Tracking()
    {
        vnMemoryControl::debugMem(0);
        vnMemoryControl::traceAlloc(0);
        vnMemoryControl::useFormatOutput(0);
        vnMemoryControl::cleanAllocMem();
    }
};

// What is printed during the action, line by line; each address and thread id of `names` is replaced.
template <class Action>
std::vector<std::string> printed(Action action)
{
    testing::internal::CaptureStderr();
    action();
    std::string text = testing::internal::GetCapturedStderr();
    std::vector<std::string> lines;
    for (std::size_t end; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1))
        lines.push_back(text.substr(0, end));
    EXPECT_EQ(text, "") << "the last line ends as well";
    return lines;
}

std::string hex(vnUInt64 value)
{
    char text[20];
    std::snprintf(text, sizeof text, "%llx", value);
    return text;
}

std::string self()
{
    return hex(vnCurrentThreadID());
}

std::string addressOf(const void* block)
{
    return hex(reinterpret_cast<std::uintptr_t>(block));
}

// Fails when its allowance is used up, and counts what is alive.
class CountingManager : public vnMemoryManagerInterface
{
public:
    void* allocate(unsigned int size) override
    {
        if (allowance == 0)
            return nullptr;
        --allowance;
        ++alive;
        return std::malloc(size);
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override
    {
        --alive;
        std::free(block);
    }
    unsigned int allowance = 1000;
    int alive = 0;
};

// What a process prints to standard error that does this and then ends.
template <class Action>
std::string lastWords(Action action)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(60);
        dup2(ends[1], 2);
        close(ends[0]);
        close(ends[1]);
        action();
        std::exit(0);
    }
    close(ends[1]);
    std::string text;
    char buffer[1000];
    for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(got));
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return text;
}

class ManagerScope
{
public:
    explicit ManagerScope(vnMemoryManagerInterface& manager) { vnMemoryControl::setMemoryManager(&manager); }
    ~ManagerScope() { vnMemoryControl::setMemoryManager(nullptr); }
};
} // namespace

TEST(vnMemory, AlignsBlocksAsAsked)
{
    for (unsigned int alignment : {1u, 2u, 16u, 64u, 4096u})
    {
        void* block = vn_malloc_aligned(100, alignment, "aligned");
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0u);
        EXPECT_EQ(vn_get_alignment(block), alignment);
        std::memset(block, 1, 100);
        vn_free_aligned(block);
    }
    EXPECT_EQ(vn_malloc_aligned(100, 0), nullptr);
    EXPECT_EQ(vn_malloc_aligned(100, 24), nullptr);
    EXPECT_EQ(vn_malloc_aligned(0xFFFFFFFF, 16), nullptr) << "the block with its header passes 32 bits";
    EXPECT_EQ(vn_get_alignment(nullptr), 0u);
    vn_free_aligned(nullptr);
    vn_free(nullptr);
}

TEST(vnMemory, ClearsBlocksOnRequest)
{
    Tracking tracking;
    for (int i = 0; i < 2; ++i)
    {
        auto* block = static_cast<unsigned char*>(vn_calloc(1000, "zeros"));
        for (int j = 0; j < 1000; ++j)
            ASSERT_EQ(block[j], 0);
        std::memset(block, 0xFF, 1000);
        vn_free(block);
    }
}

TEST(vnMemory, ReportsExhaustionAndThrows)
{
    CountingManager manager;
    ManagerScope scope(manager);
    manager.allowance = 0;
    EXPECT_EQ(vn_malloc(10), nullptr);
    EXPECT_EQ(vn_calloc(10, "x"), nullptr);
    testing::internal::CaptureStderr();
    EXPECT_THROW(vn_new(10), std::bad_alloc);
    EXPECT_THROW(vn_new(10, "x"), std::bad_alloc);
    EXPECT_THROW(vnCheckedSize(0x10000, 0x10000), std::bad_alloc);
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text.find("Bad Alloc:File: "), 0u) << text;
    EXPECT_NE(text.find("  Ver: 2.10.5"), std::string::npos) << text;
}

TEST(vnMemory, RoutesBlocksThroughTheManager)
{
    CountingManager manager;
    {
        ManagerScope scope(manager);
        EXPECT_EQ(vnMemoryControl::getMemoryManagerInterface(), &manager);
        void* block = vn_malloc(10);
        EXPECT_EQ(manager.alive, 1);
        vn_free(block);
        EXPECT_EQ(manager.alive, 0);
    }
    EXPECT_EQ(vnMemoryControl::getMemoryManagerInterface(), nullptr);
}

TEST(vnMemory, KeepsTheRecordsWhenTheManagerChanges)
{
    Tracking tracking;
    void* block = vn_malloc(10);
    CountingManager manager;
    {
        ManagerScope scope(manager);
        EXPECT_EQ(vnMemoryControl::getAllocMem(0, 0), 10u);
    }
    EXPECT_EQ(manager.alive, 0) << "nothing stays with a manager that is gone";
    EXPECT_EQ(vnMemoryControl::getAllocMem(0, 0), 10u);
    vn_free(block);
    EXPECT_EQ(vnMemoryControl::getAllocMem(0, 0), 0u);
}

TEST(vnMemory, CountsAnewWhenTheRecordsCanNotBeMoved)
{
    Tracking tracking;
    void* old = vn_malloc(10);
    CountingManager manager;
    manager.allowance = 0;
    {
        ManagerScope scope(manager);
        EXPECT_EQ(vnMemoryControl::getMemInfo(nullptr, 0), 0u);
    }
    vnMemoryControl::traceAlloc(1);
    void* block = nullptr;
    const auto lines = printed([&] { block = vn_malloc(5); });
    vnMemoryControl::traceAlloc(0);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(" (tot:5)"), std::string::npos) << lines[0];
    vn_free(block);
    vn_free(old);
}

TEST(vnMemory, GeneratesPositionsIntoARing)
{
    const char* first = vnGenerateDebugString("a.cpp", 12, "1.0");
    EXPECT_STREQ(first, "File: a.cpp  Line: 12  Ver: 1.0");
    for (int i = 1; i < 300; ++i)
        vnGenerateDebugString("b.cpp", i, "1.0");
    EXPECT_STREQ(first, "File: a.cpp  Line: 12  Ver: 1.0") << "valid through 299 more calls";
    EXPECT_STREQ(vnGenerateDebugString("c.cpp", 1, "2"), "File: c.cpp  Line: 1  Ver: 2");
}

TEST(vnMemoryControl, CountsStatesUp)
{
    unsigned int seen = 0;
    unsigned int raised = 0;
    std::thread(
        [&]
        {
            seen = vnMemoryControl::getState(0);
            vnMemoryControl::updateState(0, 0);
            raised = vnMemoryControl::getState(0);
        })
        .join();
    EXPECT_EQ(seen, 1u);
    EXPECT_EQ(raised, 2u);
    const unsigned int old = vnMemoryControl::updateState(7, 0);
    EXPECT_EQ(vnMemoryControl::updateState(0, 0), 7u);
    EXPECT_EQ(vnMemoryControl::updateState(old, vnCurrentThreadID()), 8u);
}

TEST(vnMemoryControl, TracksBlocksByStateAndThread)
{
    Tracking tracking;
    void* untracked = nullptr;
    vnMemoryControl::debugMem(0);
    untracked = vn_malloc(5);
    vnMemoryControl::debugMem(1);
    const unsigned int old = vnMemoryControl::updateState(21, 0);
    void* a = vn_malloc(10, "a");
    vnMemoryControl::updateState(22, 0);
    void* b = vn_malloc(200);
    vnMemoryControl::updateState(old, 0);
    void* c = nullptr;
    unsigned int thread = 0;
    std::thread(
        [&]
        {
            thread = vnCurrentThreadID();
            c = vn_malloc(3000);
        })
        .join();
    EXPECT_EQ(vnMemoryControl::getAllocMem(0, 0), 3210u);
    EXPECT_EQ(vnMemoryControl::getAllocMem(21, 0), 10u);
    EXPECT_EQ(vnMemoryControl::getAllocMem(22, vnCurrentThreadID()), 200u);
    EXPECT_EQ(vnMemoryControl::getAllocMem(21, thread), 0u);
    EXPECT_EQ(vnMemoryControl::getAllocMem(0, thread), 3000u);

    vnMemInfoItem items[4];
    EXPECT_EQ(vnMemoryControl::getMemInfo(nullptr, 0), 3u);
    EXPECT_EQ(vnMemoryControl::getMemInfo(items, 2), 2u);
    ASSERT_EQ(vnMemoryControl::getMemInfo(items, 4), 3u);
    EXPECT_EQ(items[0].address, a);
    EXPECT_STREQ(items[0].name, "a");
    EXPECT_EQ(items[1].size, 200u);
    EXPECT_EQ(items[1].name, nullptr);
    EXPECT_EQ(items[1].state, 22u);
    EXPECT_EQ(items[2].threadID, thread);
    EXPECT_EQ(items[2].sequence, items[0].sequence + 2);

    vn_free(untracked); // unknown to the table
    vnMemoryControl::resetDebugMem(22, 0, 0);
    EXPECT_EQ(vnMemoryControl::getMemInfo(nullptr, 0), 2u);
    vnMemoryControl::traceAlloc(1);
    vnMemoryControl::debugMem(0);
    EXPECT_EQ(printed([a] { vn_free(a); }), std::vector<std::string>())
        << "no trace behind the end of tracking";
    EXPECT_EQ(vnMemoryControl::getAllocMem(0, 0), 3000u) << "nor a record of memory that is gone";
    vnMemoryControl::updateState(99999, 0);
    vnMemoryControl::debugMem(1);
    vnMemoryControl::traceAlloc(0);
    void* d = vn_malloc(1);
    vnMemoryControl::updateState(old, 0);
    vnMemoryControl::resetDebugMem(0, 0, 0);
    EXPECT_EQ(vnMemoryControl::getMemInfo(nullptr, 0), 0u) << "private blocks are forgotten as well";
    vn_free(b);
    vn_free(c);
    vn_free(d);
}

TEST(vnMemoryControl, DumpsWhatPassesTheFilter)
{
    Tracking tracking;
    const unsigned int old = vnMemoryControl::updateState(31, 0);
    auto* a = static_cast<unsigned char*>(vn_malloc(40, "named"));
    std::memset(a, 'x', 40);
    a[0] = 31;
    a[1] = 128;
    a[2] = 127;
    vnMemoryControl::updateState(99999, 0);
    auto* b = static_cast<char*>(vn_malloc(3));
    std::memcpy(b, "abc", 3);
    vnMemoryControl::updateState(old, 0);
    vnMemInfoItem items[2];
    ASSERT_EQ(vnMemoryControl::getMemInfo(items, 2), 2u);
    const std::string first = std::to_string(items[0].sequence);
    const std::string second = std::to_string(items[1].sequence);
    const std::string dump = ".+\x7f" + std::string(29, 'x');

    EXPECT_EQ(printed([] { vnMemoryControl::dumpAllocMem(0, 0, 0); }),
              (std::vector<std::string>{
                  "-- Vantor3D Alloc Memory Report ----------------------------------------------",
                  "!! (thread:0x" + self() + ") Alloc mem 40 bytes at 0x" + addressOf(a) + " (data:" + dump +
                      ") (count:" + first + ") (tot:40) (state:31) -> named",
                  "-- End of Alloc Memory Report ------------------------------------------------"}));
    for (const unsigned char showAll : {0, 1}) // the state that is asked for is shown either way
        EXPECT_EQ(printed([=] { vnMemoryControl::dumpAllocMem(99999, 0, showAll); }),
                  (std::vector<std::string>{
                      "-- Vantor3D Alloc Memory Report (state:99999) --------------------------------",
                      "!! (thread:0x" + self() + ") Alloc mem 3 bytes at 0x" + addressOf(b) +
                          " (data:abc) (count:" + second + ") (tot:3) (state:99999)",
                      "-- End of Alloc Memory Report (state:99999) ----------------------------------"}));
    EXPECT_EQ(printed([] { vnMemoryControl::dumpAllocMem(7, 0x123abc, 0); }),
              (std::vector<std::string>{
                  "-- Vantor3D Alloc Memory Report (state:7) (thread:0x123abc) ------------------",
                  "-- End of Alloc Memory Report (state:7) (thread:0x123abc) --------------------"}));
    EXPECT_EQ(printed([] { vnMemoryControl::dumpAllocMem(0, 0x123abc, 0); }),
              (std::vector<std::string>{
                  "-- Vantor3D Alloc Memory Report (thread:0x123abc) ----------------------------",
                  "-- End of Alloc Memory Report (thread:0x123abc) ------------------------------"}));
    vnMemoryControl::useFormatOutput(1);
    const std::string thread = std::to_string(vnCurrentThreadID());
    const std::string addressA = std::to_string(reinterpret_cast<std::uintptr_t>(a));
    const std::string addressB = std::to_string(reinterpret_cast<std::uintptr_t>(b));
    const auto lines = printed([] { vnMemoryControl::dumpAllocMem(0, vnCurrentThreadID(), 1); });
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].substr(0, 32 + 12 + self().size()),
              "-- Vantor3D Alloc Memory Report (thread:0x" + self() + ") ");
    EXPECT_EQ(lines[0].size(), 78u);
    EXPECT_EQ(lines[1], "A " + thread + " 40 " + addressA + " " + first + " 40 31 named " + dump);
    EXPECT_EQ(lines[2], "A " + thread + " 3 " + addressB + " " + second + " 43 99999 * abc");
    vn_free(a);
    vn_free(b);
}

TEST(vnMemoryControl, TracesAllocationsAndReleases)
{
    Tracking tracking;
    vnMemoryControl::traceAlloc(1);
    void* a = nullptr;
    void* b = nullptr;
    const auto readable = printed(
        [&]
        {
            a = vn_malloc(10);
            b = vn_malloc(20, "b");
            vn_free(a);
        });
    vnMemInfoItem item;
    ASSERT_EQ(vnMemoryControl::getMemInfo(&item, 1), 1u);
    const auto place = [](void* block, const char* what, unsigned int size)
    {
        return "--!! (Thread:0x" + self() + ") " + what + " " + std::to_string(size) + " bytes at 0x" +
               addressOf(block);
    };
    const std::string first = std::to_string(item.sequence - 1);
    const std::string second = std::to_string(item.sequence);
    EXPECT_EQ(readable, (std::vector<std::string>{
                            place(a, "Malloc", 10) + " (index:0) (count:" + first + ") (tot:10)",
                            place(b, "Malloc", 20) + " (index:1) (count:" + second + ") (tot:30)->b",
                            place(a, "Free", 10) + " (index:0) (count:" + first + ") (tot:30)"}));
    vnMemoryControl::useFormatOutput(1);
    const std::string machineB = std::to_string(vnCurrentThreadID()) + " 20 " +
                                 std::to_string(reinterpret_cast<std::uintptr_t>(b)) + " 1 " + second;
    EXPECT_EQ(printed([&] { vn_free(b); }), (std::vector<std::string>{"F " + machineB + " 20 b"}));
    const auto machine = printed(
        [&]
        {
            a = vn_malloc(30);
            b = vn_malloc(40, "b");
        });
    ASSERT_EQ(machine.size(), 2u);
    const auto machinePlace = [](void* block, const char* size)
    {
        return "M " + std::to_string(vnCurrentThreadID()) + " " + size + " " +
               std::to_string(reinterpret_cast<std::uintptr_t>(block));
    };
    EXPECT_EQ(machine[0], machinePlace(a, "30") + " 2 " + std::to_string(item.sequence + 1) + " 30 ?");
    EXPECT_EQ(machine[1], machinePlace(b, "40") + " 3 " + std::to_string(item.sequence + 2) + " 70 b");
    vnMemoryControl::traceAlloc(0);
    vn_free(a);
    vn_free(b);
}

TEST(vnMemoryControl, ForgetsBlocksThatAReportFrees)
{
    Tracking tracking;
    const std::string text(20000, 't');               // more than any other test formats
    vnString::formatString("%s %d", text.c_str(), 5); // its scratch is pooled, and tracked
    const unsigned int before = vnMemoryControl::getMemInfo(nullptr, 0);
    ASSERT_GT(before, 0u);
    const std::string larger(60000, 'l');
    printed([&] { vnMemoryControl::memprintf(0, "%s %05d\n", larger.c_str(), 5); });
    EXPECT_LT(vnMemoryControl::getMemInfo(nullptr, 0), before) << "the old scratch is free";
    printed([] { vnMemoryControl::dumpAllocMem(0, 0, 1); }); // would read it
}

TEST(vnMemoryControl, ForgetsTheStateOfAThreadThatHasEnded)
{
    unsigned int thread = 0;
    for (unsigned int i = 0; i < 1100; ++i) // more than there are places
        std::thread(
            [&thread]
            {
                thread = vnCurrentThreadID();
                vnMemoryControl::updateState(5, 0);
            })
            .join();
    EXPECT_EQ(vnMemoryControl::getState(thread), 1u);
    for (const bool changes : {true, false}) // a state that another thread has set
    {
        std::thread(
            [&thread, changes]
            {
                thread = vnCurrentThreadID();
                std::thread([thread] { vnMemoryControl::updateState(5, thread); }).join();
                EXPECT_EQ(changes ? vnMemoryControl::updateState(6, 0) : vnMemoryControl::getState(0), 5u);
            })
            .join();
        EXPECT_EQ(vnMemoryControl::getState(thread), 1u) << changes;
    }
    vnMemoryControl::updateState(7, 0x50000000);
    vnMemoryControl::updateState(8, 0x50000001);
    EXPECT_EQ(vnMemoryControl::getState(0x50000000), 7u);
    EXPECT_EQ(vnMemoryControl::getState(0x50000001), 8u);
}

TEST(vnMemoryControl, GivesTheLastPlaceOfItsStatesAway)
{
    EXPECT_EQ(lastWords(
                  []
                  {
                      constexpr unsigned int first = 0x40000000; // no real thread
                      for (unsigned int i = 0; i < 1001; ++i)
                          vnMemoryControl::updateState(5, first + i);
                      std::fprintf(stderr, "%u %u %u %u\n", vnMemoryControl::getState(first),
                                   vnMemoryControl::getState(first + 900),
                                   vnMemoryControl::getState(first + 999),
                                   vnMemoryControl::getState(first + 1000));
                  })
                  .substr(0, 8),
              "5 5 1 5\n");
}

TEST(vnMemoryControl, ReportsAtUnloadWhatIsLost)
{
    Tracking tracking;
    auto* a = static_cast<unsigned char*>(vn_malloc(4, "lost"));
    std::memcpy(a, "a\tb\x80", 4);
    auto* b = static_cast<char*>(vn_malloc(2));
    std::memcpy(b, "xy", 2);
    const unsigned int old = vnMemoryControl::updateState(99999, 0);
    void* hidden = vn_malloc(8, "private");
    vnMemoryControl::updateState(old, 0);
    vnMemInfoItem items[3];
    ASSERT_EQ(vnMemoryControl::getMemInfo(items, 3), 3u);
    const std::string first = std::to_string(items[0].sequence);
    const std::string second = std::to_string(items[1].sequence);
    const std::string state = std::to_string(old);
    const std::string begin =
        "-- Vantor3D Lost Memory Report ----------------------------------------------\n";
    const std::string end = "-- End of Lost Memory Report -----------------------------------------------\n";
    EXPECT_EQ(lastWords([] {}), begin + "!! (thread:0x" + self() + ") Lost mem 4 bytes at 0x" + addressOf(a) +
                                    " (data:a.b+) (count:" + first + ") (tot:4) (state:" + state +
                                    ") -> lost\n" + "!! (thread:0x" + self() + ") Lost mem 2 bytes at 0x" +
                                    addressOf(b) + " (data:xy) (count:" + second +
                                    ") (tot:6) (state:" + state + ")\n" + end);
    vnMemoryControl::useFormatOutput(1);
    const std::string thread = std::to_string(vnCurrentThreadID());
    const auto place = [](const void* block)
    { return std::to_string(reinterpret_cast<std::uintptr_t>(block)); };
    EXPECT_EQ(lastWords([] {}), begin + "L " + thread + " 4 " + place(a) + " " + first + " 4 " + state +
                                    " lost a.b+\n" + "L " + thread + " 2 " + place(b) + " " + second + " 6 " +
                                    state + " * xy\n" + end);
    vn_free(a);
    vn_free(b);
    vn_free(hidden);
}

TEST(vnMemoryCheck, TellsThatAStaticIsGone)
{
    EXPECT_EQ(lastWords(
                  []
                  {
                      static vnMemoryCheck* checked = nullptr;
                      // Entered before the static is built, so it runs once that is destroyed.
                      std::atexit([]
                                  { std::fputs(checked->isValidMemory() ? "alive\n" : "gone\n", stderr); });
                      static vnMemCheck<vnMutex> object;
                      checked = &object;
                      std::fputs(checked->isValidMemory() ? "alive " : "gone ", stderr);
                  })
                  .substr(0, 11),
              "alive gone\n")
        << "what follows is the report of the table";
}

TEST(vnMemoryControl, PrintsThroughItsOwnChannel)
{
    Tracking tracking;
    vnMemoryControl::traceAlloc(1); // what printing needs is not traced in turn
    EXPECT_EQ(printed([] { vnMemoryControl::memprintf(0, "%d|%u|%x|%s%%\n", -5, 4000000000u, 255, "text"); }),
              std::vector<std::string>{"-5|4000000000|ff|text%"});
    EXPECT_EQ(printed([] { vnMemoryControl::memprintf(0, "%05d %s\n", 42, "x"); }),
              std::vector<std::string>{"00042 x"});
    const std::string large(5000, 'l');
    EXPECT_EQ(printed([&] { vnMemoryControl::memprintf(1, "%s\n", large.c_str()); }),
              std::vector<std::string>{large});
}

TEST(vnMemoryControl, PrintsWhatTheFormatEngineWrites)
{
    // "%%" is for the engine alone, so each format goes both ways; what it writes is given beside it.
    const auto print = [](const char* format, const vnArgument& argument, const vnArgument& other)
    { return printed([&] { vnMemoryControl::memprintf(0, format, argument, other); }); };
    const vnString held("a\0b", 3);
    const vnString wide("\xE2\x82\xAC");
    const struct
    {
        const char* format;
        vnArgument argument;
        vnArgument other;
        std::string expected;
    } rows[] = {
        {"%u", -5, {}, "5"},
        {"%d", 18446744073709551615ull, {}, "18446744073709551615"},
        {"%d", 1e30, {}, "9223372036854775807"},
        {"%d", -9223372036854775807ll - 1, {}, "-9223372036854775808"},
        {"%x", -1, {}, "Ffffffffffffffff"},
        {"%x", 18446744073709551615ull, {}, "ffffffffffffffff"},
        {"%s|", held, {}, std::string("a\0b|", 4)},
        {"%s|%s", wide, "x", "\xAC|x"}, // a pointer narrows all
        {"%s|%d", wide, 1, "\xE2\x82\xAC|1"},
        {"\xE2\x82\xAC%s", "\xE2\x82\xAC", {}, "\xAC\xE2\x82\xAC"},
        {"%s", static_cast<const void*>("\xFF"), {}, "\xFF"},
    };
    for (const auto& row : rows)
    {
        const std::string format = std::string(row.format) + "\n";
        EXPECT_EQ(print(format.c_str(), row.argument, row.other), std::vector<std::string>{row.expected});
        EXPECT_EQ(print(("%%" + format).c_str(), row.argument, row.other),
                  std::vector<std::string>{"%" + row.expected});
    }
}

TEST(vnMemoryControl, GoesOnWithoutRecordsWhenTheTableIsFull)
{
    Tracking tracking;
    constexpr unsigned int records = 1000000;
    std::vector<void*> blocks(records + 1);
    for (void*& block : blocks)
        ASSERT_NE(block = vn_malloc(1), nullptr);
    EXPECT_EQ(vnMemoryControl::getMemInfo(nullptr, 0), records);
    EXPECT_EQ(vnMemoryControl::getAllocMem(0, 0), records) << "the last one has no record";
    std::vector<vnMemInfoItem> items(records);
    vnMemoryControl::getMemInfo(items.data(), records);
    const unsigned int newest = items.back().sequence;
    vn_free(blocks[500]);
    vn_free(blocks[400]);
    blocks[400] = vn_malloc(7);
    blocks[500] = vn_malloc(9);
    EXPECT_EQ(vnMemoryControl::getAllocMem(0, 0), records - 2 + 16);
    vnMemoryControl::getMemInfo(items.data(), records);
    EXPECT_EQ(items[400].size, 7u) << "the search for a free record goes upwards";
    EXPECT_EQ(items[500].size, 9u);
    EXPECT_EQ(items[400].sequence, newest + 1) << "what has no record is not counted";
    for (void* block : blocks)
        vn_free(block);
    EXPECT_EQ(vnMemoryControl::getMemInfo(nullptr, 0), 0u);
}

TEST(vnMemoryControl, CountsRightOnManyThreads)
{
    Tracking tracking;
    const auto work = []
    {
        void* blocks[16] = {};
        for (unsigned int i = 0; i < 20000; ++i)
        {
            vn_free(blocks[i % 16]);
            blocks[i % 16] = vn_malloc(i % 100 + 1, "thread");
        }
        for (void* block : blocks)
            vn_free(block);
    };
    std::thread other(work);
    work();
    other.join();
    vnMemInfoItem items[64];
    const unsigned int count = vnMemoryControl::getMemInfo(items, 64);
    for (unsigned int i = 0; i < count; ++i)
        EXPECT_STRNE(items[i].name ? items[i].name : "", "thread");
}

TEST(vnMemoryHelpers, SetsTheBytesOfTheBlockAlone)
{
    unsigned char block[] = {1, 1, 1, 1};
    vnMemSet(block + 1, 0xAB, 2);
    EXPECT_EQ(block[0], 1);
    EXPECT_EQ(block[1], 0xAB);
    EXPECT_EQ(block[2], 0xAB);
    EXPECT_EQ(block[3], 1);
    vnMemSet(nullptr, 1, 0);
}

#if defined(__x86_64__)
TEST(vnMemoryHelpers, KnowsTheProcessor)
{
    std::ifstream file("/proc/cpuinfo");
    std::string flags;
    while (std::getline(file, flags) && flags.compare(0, 5, "flags") != 0)
        ;
    if (flags.empty())
        GTEST_SKIP() << "the system does not tell";
    flags += ' ';
    EXPECT_TRUE(GetCPUCaps(VN_CPU_SSE2));
    EXPECT_FALSE(GetCPUCaps(VN_CPU_NEON));
    const auto tells = [&flags](const char* flag) { return flags.find(flag) != std::string::npos; };
    EXPECT_EQ(GetCPUCaps(VN_CPU_SSE42) != 0, tells(" sse4_2 "));
    EXPECT_EQ(GetCPUCaps(VN_CPU_AVX2) != 0, tells(" avx2 "));
    EXPECT_EQ(GetCPUCaps(VN_CPU_AVX512F) != 0, tells(" avx512f "));
}
#endif

TEST(vnMemoryHelpers, ComparesTheBitsOfTheMask)
{
    const unsigned int a[] = {0xFF00FF00u, 0x12345678u};
    const unsigned int b[] = {0xFF01FF00u, 0x12355678u};
    EXPECT_FALSE(vnMemBitCompare(a, b, 0xFFFFFFFFu, 2));
    EXPECT_TRUE(vnMemBitCompare(a, b, 0xFFFEFFFFu, 2));
    EXPECT_TRUE(vnMemBitCompare(a, b, 0xFFFFFFFFu, 0));
    const vnUInt64 c[] = {0x8000000000000000ull};
    const vnUInt64 d[] = {0};
    EXPECT_FALSE(vnMemBitCompare(c, d, ~0ull, 1));
    EXPECT_TRUE(vnMemBitCompare(c, d, ~0ull >> 1, 1));
}
