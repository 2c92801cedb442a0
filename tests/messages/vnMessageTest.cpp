// SPDX-License-Identifier: MIT
#include <vnBase/vnDebugInterface.h>
#include <vnBase/vnKeyDatabase.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSystem.h>
#include <vnBase/vnTrace.h>

#include "../serialize/vnTempFolder.h"
#include "vnMessageRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{
class Unlisted : public vnMessageReceiverInterface
{
public:
    void onMessage(const vnString&, vnMessageLevel, const char*) override {}
};

// Puts "<level>" before each text; drops "secret".
class Translator : public vnMessageTranslatorInterface
{
public:
    Translator() { vnMessage::setMessageTranslator(this); }
    ~Translator() noexcept(false) override { vnMessage::setMessageTranslator(nullptr); }
    vnString translate(const vnString& sender, vnMessageLevel level, const vnString& text) override
    {
        if (text == "secret")
            return vnString();
        return vnString::formatString("<%s %x>", sender, level) + text;
    }
    void setTranslation(const vnString& language, const vnString& sender, const vnString& text,
                        const vnString& translation) override
    {
        set = vnString::formatString("%s|%s|%s|%s", language, sender, text, translation);
    }
    vnString set;
};

std::string printed(const char* sender, vnMessageLevel level, const char* text)
{
    testing::internal::CaptureStdout();
    vnMessage::getDefaultMessageReceiver()->onMessage(sender, level, text);
    return testing::internal::GetCapturedStdout();
}

// Runs the statement in a process of its own, whose standard output is what the pattern is matched with.
#define EXPECT_PROCESS(statement, code, pattern)                                                             \
    EXPECT_EXIT(                                                                                             \
        {                                                                                                    \
            std::fflush(stdout); /* what the framework has printed */                                        \
            dup2(2, 1);                                                                                      \
            statement;                                                                                       \
            std::exit(0);                                                                                    \
        },                                                                                                   \
        testing::ExitedWithCode(code), pattern)

// Ends the process as its user answers an assertion: with 99, 3 or 0.
void answerOnATerminal(const std::string& typed, tcflag_t localModes)
{
    alarm(60);                           // a dialogue that goes on waiting fails
    setenv("VANTOR_ASSERT", "abort", 1); // is not asked for
    setsid();
    const int user = posix_openpt(O_RDWR | O_NOCTTY);
    grantpt(user);
    unlockpt(user);
    open(ptsname(user), O_RDWR); // the first of its session: the terminal of the process
    termios modes;
    tcgetattr(user, &modes);
    modes.c_lflag = localModes;
    tcsetattr(user, TCSANOW, &modes);
    if (write(user, typed.data(), typed.size()) < 0)
        std::exit(1);
    try
    {
        vnMessage::message("a", 0x6000, "broken");
    }
    catch (const vnFatalError&)
    {
        std::exit(3);
    }
}

class vnMessageProcess : public testing::Test
{
protected:
    vnMessageProcess() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};
} // namespace

TEST(vnMessage, DeliversWhatTheThresholdLetsThrough)
{
    struct Row
    {
        vnMessageLevel threshold;
        vnMessageLevel level;
        bool delivered;
    };
    const Row rows[] = {
        {0x3000, 0x2000, false},
        {0x3000, 0x3000, true},
        {0x3000, 0x4000, true},
        {0x1001, 0x1000, false},
        {0x7000, 0x6000, false},
        {0x7000, 0x7000, true},
        {0x3000, 0x4800, false}, // internal
        {0x3800, 0x4800, true},
        {0x3800, 0x3000, true},  // the flag of the threshold is no part of its
                                 // severity
        {0x3800, 0x2C00, false}, // the flags of the message stay on, but don't lift it to the next severity
        {0x3F80, 0x3000, true},
        {0x3001, 0x3000, false},
    };
    Recorder recorder;
    for (const Row& row : rows)
    {
        vnMessage::setMessageLevel(row.threshold);
        vnMessage::message("s", row.level, "text");
        EXPECT_EQ(recorder.take().size(), row.delivered ? 1u : 0u)
            << std::hex << row.threshold << " " << row.level;
    }
}

TEST(vnMessage, IgnoresAThresholdAboveAlways)
{
    Recorder recorder;
    vnMessage::setMessageLevel(0x7000);
    vnMessage::setMessageLevel(0x7001);
    EXPECT_EQ(vnMessage::getMessageLevel(), 0x7000u);
    vnMessage::setMessageLevel(0x2800);
    EXPECT_EQ(vnMessage::getMessageLevel(), 0x2800u);
}

TEST(vnMessage, FormatsUnlessTheTextIsFinal)
{
    Recorder recorder;
    vnMessage::message("net", 0x4000, "%s: %d", "port", 80);
    vnMessage::message("net", 0x4000 | VN_MESSAGE_FINAL, "100%d");
    vnMessage::message(vnString("net"), 0x4000, u"%d", 1);
    vnMessage::message("net", 0x4000, u"%d", 2);
    vnMessage::message(0x3000, u"wide %d", 7);
    vnMessage::message(0x3000, "default");
    EXPECT_EQ(recorder.take(), (Lines{"net|4000|port: 80", "net|4400|100%d", "net|4000|1", "net|4000|2",
                                      "VantorSDK|3000|wide 7", "VantorSDK|3000|default"}));
}

TEST(vnMessage, CutsAFinalTextAtTheLengthOfAString)
{
    Recorder recorder;
    vnMessage::message("s", 0x4000 | VN_MESSAGE_FINAL, std::string(70000, 'x').c_str());
    EXPECT_EQ(recorder.take(), (Lines{"s|4400|" + std::string(65535, 'x')}));
}

TEST(vnMessage, TranslatesNoticesAndAboveBeforeFormatting)
{
    Recorder recorder;
    Translator translator;
    vnMessage::setMessageLevel(0x1000);
    vnMessage::message("s", 0x4000, "%d", 5);
    vnMessage::message("s", 0x2000, "debug");
    vnMessage::message("s", 0x1001, "perf");
    vnMessage::message("s", 0x4200, "as it is");
    vnMessage::message("s", 0x4000, "secret"); // translated to nothing: dropped
    EXPECT_EQ(recorder.take(), (Lines{"s|4000|<s 4000>5", "s|2000|debug", "s|1001|perf", "s|4200|as it is"}));
    EXPECT_EQ(vnMessage::translate("x", "y"), "<x 7000>y");
    EXPECT_EQ(vnMessage::getMessageTranslator(), &translator);
}

TEST(vnMessage, HandsTranslationsToTheTranslator)
{
    vnMessage::setTranslation("deu", "s", "none", "keiner"); // nobody takes it
    Translator translator;
    vnMessage::setTranslation("deu", "s", "door", "Tor");
    EXPECT_EQ(translator.set, "deu|s|door|Tor");
    EXPECT_EQ(vnMessageTranslatorInterface::getCurrentLanguage(), "eng");
    vnMessageTranslatorInterface::setCurrentLanguage("deu");
    EXPECT_EQ(vnMessageTranslatorInterface::getCurrentLanguage(), "deu");
    vnMessageTranslatorInterface::setCurrentLanguage("eng");
}

TEST(vnMessage, CallsReceiversInTheOrderInWhichTheyCame)
{
    std::string order;
    Caller first([&](vnMessageLevel, const char*) { order += "1"; });
    Caller second([&](vnMessageLevel, const char*) { order += "2"; });
    vnMessage::addMessageReceiver(&first); // is there already and keeps its place
    vnMessage::message("s", 0x4000, "text");
    EXPECT_EQ(order, "12");
    vnMessage::removeMessageReceiver(&first);
    vnMessage::message("s", 0x4000, "text");
    EXPECT_EQ(order, "122");
}

TEST(vnMessage, LetsAReceiverPostButNotChangeTheReceivers)
{
    Recorder recorder;
    Caller caller(
        [&](vnMessageLevel, const char* text)
        {
            if (std::string(text) != "outer")
                return;
            vnMessage::message("s", 0x4000, "inner");
            {
                // One that is in no list may even be destroyed.
                Unlisted unlisted;
            }
            EXPECT_THROW(vnMessage::waitLock(), vnFatalError);
            Recorder refused;
        });
    EXPECT_THROW(vnMessage::message("s", 0x4000, "outer"), vnFatalError);
    EXPECT_EQ(recorder.take(), (Lines{"s|4000|outer", "s|4000|inner"}));
    // The exception has left no lock behind.
    std::thread([] { vnMessage::waitLock(), vnMessage::unLock(); }).join();
}

TEST(vnMessage, LetsAReceiverLeaveAndDieWithinADelivery)
{
    std::string order;
    std::unique_ptr<Caller> dying;
    Caller first(
        [&](vnMessageLevel, const char* text)
        {
            order += std::string("1") + text;
            vnMessage::removeMessageReceiver(&first);
        });
    dying =
        std::make_unique<Caller>([&](vnMessageLevel, const char* text) { order += std::string("2") + text; });
    Caller third(
        [&](vnMessageLevel, const char* text)
        {
            order += std::string("3") + text;
            dying.reset();
            if (*text == 'a')
                vnMessage::message("s", 0x4000, "b");
        });
    Caller last([&](vnMessageLevel, const char* text) { order += std::string("4") + text; });
    vnMessage::message("s", 0x4000, "a");
    EXPECT_EQ(order, "1a2a3a3b4b4a"); // nobody is left out, and the one that posts gets its own
    vnMessage::message("s", 0x4000, "c");
    EXPECT_EQ(order, "1a2a3a3b4b4a3c4c");
    std::thread([] { vnMessage::waitLock(), vnMessage::unLock(); }).join(); // no lock was left behind
}

TEST(vnMessage, LeavesNoReceiverOutWhenTwoThreadsRemoveSomeAtOnce)
{
    for (int i = 0; i < 300; ++i)
    {
        std::atomic<bool> isInDelivery{false};
        std::atomic<bool> isRemoving{false};
        bool wasReached = false;
        const auto nothing = [](vnMessageLevel, const char*) {};
        Caller first(nothing);
        Caller second(
            [&](vnMessageLevel, const char*)
            {
                isInDelivery = true;
                while (!isRemoving)
                    std::this_thread::yield();
                // Gives way to the other removal: the places behind must stay where they are.
                vnMessage::removeMessageReceiver(&second);
            });
        Caller last([&](vnMessageLevel, const char*) { wasReached = true; });
        std::thread other(
            [&]
            {
                while (!isInDelivery)
                    std::this_thread::yield();
                isRemoving = true;
                vnMessage::removeMessageReceiver(&first);
            });
        vnMessage::message("s", 0x4000, "text");
        other.join();
        ASSERT_TRUE(wasReached) << "round " << i;
    }
}

TEST(vnMessage, LetsAMessageBelowTheThresholdPassWhileLocked)
{
    Recorder recorder;
    vnMessage::waitLock();
    std::thread([] { vnMessage::message("s", 0x2000, "text"); }).join();
    vnMessage::unLock();
    EXPECT_EQ(recorder.take(), Lines{});
}

TEST(vnMessage, HoldsDeliveryOffWhileLocked)
{
    std::atomic<bool> released{false};
    std::atomic<bool> early{false};
    std::atomic<unsigned int> count{0};
    Caller caller(
        [&](vnMessageLevel, const char*)
        {
            early = early || !released;
            ++count;
        });
    vnMessage::waitLock();
    std::atomic<bool> locked{true};
    std::thread other(
        [&]
        {
            locked = vnMessage::tryLock(10);
            vnMessage::message("s", 0x4000, "text");
        });
    while (locked)
        std::this_thread::yield();
    EXPECT_EQ(count, 0u);
    released = true;
    vnMessage::unLock();
    other.join();
    EXPECT_FALSE(early);
    EXPECT_EQ(count, 1u);
}

TEST(vnMessage, LosesNothingBetweenThreads)
{
    constexpr unsigned int perThread = 500;
    std::atomic<unsigned int> count{0};
    Caller caller([&](vnMessageLevel, const char*) { ++count; });
    const auto post = [&]
    {
        for (unsigned int i = 0; i < perThread; ++i)
            vnMessage::message("s", 0x4000, "%d", i);
    };
    std::thread first(post);
    std::thread second(post);
    for (int i = 0; i < 50; ++i)
        Caller passing([](vnMessageLevel, const char*) {});
    first.join();
    second.join();
    EXPECT_EQ(count, 2 * perThread);
}

TEST(vnMessage, PrintsThePrefixOfTheLevel)
{
    const std::pair<vnMessageLevel, const char*> rows[] = {
        {0x1000, "\rme Memory::text\n"},           {0x1001, "\rme Perf::text\n"},
        {0x2C00, "\rme Internal Debug::text\n"},   {0x3000, "\rme Notice::text\n"},
        {0x4A00, "\rme Internal Warning::text\n"}, {0x5200, "\rme Fatal::text\n"},
        {0x7000, "\rme Always::text\n"},           {0x2201, "\rme::text\n"},
        {0x1802, "\rme Internal::text\n"},
    };
    for (const auto& [level, line] : rows)
        EXPECT_EQ(printed("me", level, "text"), line);
    EXPECT_EQ(printed("me", 0x3000, nullptr), "\rme Notice::");
    EXPECT_EQ(printed(std::string(2000, 'x').c_str(), 0x3000, ""), "\r" + std::string(1023, 'x') + "\n");
    Translator translator;
    EXPECT_EQ(printed("me", 0x3000, "text"), "\rme<VantorSDK 7000> Notice::text\n");
}

TEST(vnMessage, OffersThreeAnswersToAnAssertion)
{
    static std::string asked;
    static vnAssertAnswer answer;
    const vnAssertDialogue old = vnMessage::setAssertDialogue(
        [](const vnString& title, const vnString& body)
        {
            asked = std::string(title) + body.getString();
            return answer;
        });
    vnMessageReceiverInterface* receiver = vnMessage::getDefaultMessageReceiver();
    answer = VN_ASSERT_IGNORE;
    receiver->onMessage("s", 0x6200, "broken");
    EXPECT_EQ(asked, "VantorSDK Assert\n---- Press 'Retry' to debug  ----\n\n"
                     "---- Press 'Ignore' to continue execution  ----\n\nbroken");
    answer = VN_ASSERT_RETRY;
    try
    {
        receiver->onMessage("s", 0x6000, "broken");
        ADD_FAILURE();
    }
    catch (const vnFatalError& error)
    {
        EXPECT_EQ(error.getErrorString(), "breakpoint");
        EXPECT_EQ(error.getErrorCode(), 9999);
    }
    vnMessage::setAssertDialogue(old);
}

TEST_F(vnMessageProcess, PrintsUntilAReceiverIsAddedAndNeverAfterwards)
{
    EXPECT_PROCESS(
        vnMessage::message("a", 0x2000, "debug"); vnMessage::message("a", 0x3000, "shown");
        {
            Recorder recorder;
            vnMessage::message("a", 0x3000, "recorded");
        } vnMessage::message("a", 0x3000, "silent"),
        0, "^\ra Notice::shown\n$");
}

TEST_F(vnMessageProcess, PrintsThroughTheDefaultReceiverThatWasAddedExplicitly)
{
    EXPECT_PROCESS(Recorder recorder; vnMessage::addMessageReceiver(vnMessage::getDefaultMessageReceiver());
                   vnMessage::addMessageReceiver(vnMessage::getDefaultMessageReceiver());
                   vnMessage::message("a", 0x3000, "once");
                   vnMessage::removeMessageReceiver(vnMessage::getDefaultMessageReceiver());
                   vnMessage::message("a", 0x3000, "silent"), 0, "^\ra Notice::once\n$");
}

TEST_F(vnMessageProcess, EndsWithoutWaitingForItselfWhenAnAssertionIsAborted)
{
    // The receiver's destructor runs within the delivery that it is removed from.
    EXPECT_PROCESS(
        static Recorder recorder; vnMessage::addMessageReceiver(vnMessage::getDefaultMessageReceiver());
        vnMessage::setAssertDialogue([](const vnString&, const vnString&) { return VN_ASSERT_ABORT; });
        vnMessage::message("a", 0x6000, "broken"), 99, "^\ra Assert::broken\n$");
}

TEST_F(vnMessageProcess, EndsFromWithinAReceiver)
{
    EXPECT_PROCESS(static Recorder recorder; static Translator translator;
                   static Caller caller([](vnMessageLevel, const char*) { std::exit(7); });
                   vnMessage::message("a", 0x4000, "exit"), 7, "");
    // Nobody removes this one before the library's own statics end.
    EXPECT_PROCESS(Caller caller([](vnMessageLevel, const char*) { std::exit(8); });
                   vnMessage::message("a", 0x4000, "exit"), 8, "");
}

TEST_F(vnMessageProcess, EndsAlthoughAThreadKeepsTheLock)
{
    EXPECT_PROCESS(std::thread([] { vnMessage::waitLock(); }).detach();
                   while (vnMessage::tryLock(0)) vnMessage::unLock(), 0, "");
}

TEST_F(vnMessageProcess, TakesTheAnswerOfTheEnvironmentWithoutATerminal)
{
    EXPECT_PROCESS(setsid(); setenv("VANTOR_ASSERT", "abort", 1);
                   vnMessage::message("a", 0x6000, "x"), 99, "Assert::x");
    EXPECT_PROCESS(setsid(); unsetenv("VANTOR_ASSERT"); vnMessage::message("a", 0x6000, "x"), 0, "Assert::x");
}

TEST_F(vnMessageProcess, TakesTheAnswerOfTheSettingsWithoutATerminal)
{
    const vnTempFolder folder;
    // Only this process removes the folder. The child begins where the tests before have brought this one.
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_PROCESS(setsid(); unsetenv("VANTOR_ASSERT"); setenv("XDG_CONFIG_HOME", folder.path("user"), 1);
                   vnMessage::addMessageReceiver(vnMessage::getDefaultMessageReceiver());
                   vnKeyDatabase::setUserKey("VANTOR_ASSERT", "abort");
                   vnMessage::message("a", 0x6000, "x"), 99, "Assert::x");
}

TEST_F(vnMessageProcess, AsksOnItsTerminalUntilItHasAnAnswer)
{
    struct Row
    {
        std::string typed;
        tcflag_t localModes;
        int code;
    };
    const Row rows[] = {
        {"abort\n", ICANON, 99},                      // the initial counts
        {"i\n", ICANON, 0},                           //
        {"no\n\nretry\n", ICANON, 3},                 // asked again
        {"no\n\nretry\n", 0, 3},                      // from a terminal that gives out keys
        {std::string(63, 'x') + "a\nr\n", ICANON, 3}, // one line, however long it is
        {"r\x04\x04", ICANON, 3},                     // the end of the input behind an answer
        {"\x04", ICANON, 0},                          // and without one
    };
    for (const Row& row : rows)
        EXPECT_PROCESS(answerOnATerminal(row.typed, row.localModes), row.code, "Assert::broken") << row.typed;
}

TEST_F(vnMessageProcess, StillDeliversWhileTheProgramEnds)
{
    struct Late
    {
        ~Late() { vnMessage::message("a", 0x7000, "destructor"); }
    };
    EXPECT_PROCESS(static Late late; std::atexit([] { vnMessage::message("a", 0x7000, "exit"); }), 0,
                                     "^\ra Always::exit\n\ra Always::destructor\n$");
}

TEST(vnTrace, PostsBehindItsPrefixAndFormatsTwice)
{
    Recorder recorder;
    vnMessage::setMessageLevel(0x2000);
    vnTrace::TraceMessage("%d", 1);
    vnTrace::TraceMessageSender("me", "%s", "<%%>"); // the second formatting makes one of two
    vnTrace::NoTraceMessage("%d", 1);
    vnTrace::TraceMessage("%s", std::string(70000, 'x').c_str());
    EXPECT_EQ(recorder.take(), (Lines{"VantorSDK|2201|[TRACE] 1", "me|2201|[TRACE] <%>",
                                      "VantorSDK|2201|[TRACE] " + std::string(65527, 'x')}));
}

TEST(vnDebugInterface, DescribesTheLowHalfOfItsAddress)
{
    Recorder recorder;
    vnMessage::setMessageLevel(0x2000);
    vnDebugInterface object;
    object.debug(0);
    char expected[100];
    std::snprintf(expected, sizeof expected, "VantorSDK|2000|Default debug() called for instance 0x%x",
                  static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&object)));
    EXPECT_EQ(recorder.take(), (Lines{expected}));
}

TEST(vnSystem, DescribesErrors)
{
    EXPECT_EQ(vnGetSysErrorDescription(ENOENT), "No such file or directory");
    errno = EACCES;
    EXPECT_EQ(vnGetSysErrorDescription(), "Permission denied");
    EXPECT_FALSE(vnGetSysErrorDescription(-77).isEmpty());
}
