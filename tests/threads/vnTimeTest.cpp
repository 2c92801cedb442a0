// SPDX-License-Identifier: MIT
#include "vnThreadTestHelp.h"

#include <vnBase/vnTime.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

TEST(vnTime, CountsSecondsSince1970)
{
    EXPECT_EQ(vnTime(1970, 1, 1, 0.0).seconds(), 0.0);
    EXPECT_EQ(vnTime(2000, 2, 29, 0.0).seconds(), 951782400.0);
    EXPECT_EQ(vnTime(2000, 3, 1, 1.5).seconds(), 951868801.5);
    EXPECT_EQ(vnTime(2038, 1, 19, 3.0, 14.0, 8.0).seconds(), 2147483648.0);
    EXPECT_EQ(vnTime(2100, 12, 31, 0.0).seconds(), 4133894400.0);
}

TEST(vnTime, RefusesWhatIsNoDate)
{
    struct
    {
        unsigned int year;
        unsigned char month;
        unsigned char day;
        double seconds;
        const char* text;
    } const cases[] = {
        {1969, 1, 1, 0.0, "vnTime ( year parameter in time < 1970 )"},
        {2001, 0, 1, 0.0, "vnTime ( month parameter in time is invalid )"},
        {2001, 13, 1, 0.0, "vnTime ( month parameter in time is invalid )"},
        {2001, 1, 0, 0.0, "vnTime ( day parameter in time is invalid )"},
        {2001, 2, 29, 0.0, "vnTime ( day parameter in time is invalid )"},
        {2001, 1, 1, -0.5, "vnTime ( daysecond parameter in time is invalid )"},
        {2001, 1, 1, 86400.0, "vnTime ( daysecond parameter in time is invalid )"},
        {2001, 1, 1, std::nan(""), "vnTime ( daysecond parameter in time is invalid )"},
        {1969, 13, 40, 1e9, "vnTime ( year parameter in time < 1970 )"}, // the first fault counts
    };
    for (const auto& row : cases)
    {
        try
        {
            vnTime time(row.year, row.month, row.day, row.seconds);
            ADD_FAILURE() << row.text;
        }
        catch (const vnWarningError& error)
        {
            EXPECT_STREQ(error.getErrorString().getString(), row.text);
        }
    }
}

TEST(vnTime, TakesItsDateApart)
{
    struct
    {
        double seconds;
        const char* text;
    } const cases[] = {
        {0.0, "1970-01-01 00:00:00"},
        {951868799.0, "2000-02-29 23:59:59"},
        {951868800.0, "2000-03-01 00:00:00"},
        {4107542399.0, "2100-02-28 23:59:59"},
        {4107542400.0, "2100-03-01 00:00:00"},
        {-1.0, "1969-12-31 23:59:59"},
        {-1e-20, "1969-12-31 00:00:00"}, // the second rounds up, the day does not
        {253402300799.0, "9999-12-31 23:59:59"},
        {vnTime(4294967295u, 12, 31, 0.0).seconds(), "4294967295-12-31 00:00:00"},
    };
    for (const auto& row : cases)
        EXPECT_STREQ(vnTime(row.seconds).asString("%04d-%02d-%02d %02d:%02d:%02d").getString(), row.text);
    const vnTime time(2011, 7, 30, 12345.25);
    EXPECT_EQ(time.daySeconds(), 12345.25);
    EXPECT_EQ(time.minuteSeconds(), 45.25);
    EXPECT_EQ(time.day(), 30);
    for (const double odd : {std::nan(""), std::numeric_limits<double>::infinity(), 1e300, -1e300})
    {
        const vnTime oddTime(odd); // ends, and in range
        EXPECT_LE(oddTime.month(), 12);
        EXPECT_LE(oddTime.hour(), 24);
    }
}

TEST(vnTime, KnowsTheLengthsOfMonthsAndYears)
{
    EXPECT_EQ(vnTime::daysPerYear(2000), 366u);
    EXPECT_EQ(vnTime::daysPerYear(2100), 365u);
    EXPECT_EQ(vnTime::daysPerYear(2012), 366u);
    EXPECT_EQ(vnTime::daysPerMonth(2, 2012), 29);
    EXPECT_EQ(vnTime::daysPerMonth(2, 2100), 28);
    EXPECT_EQ(vnTime::daysPerMonth(12, 2001), 31);
    EXPECT_EQ(vnTime::daysPerMonth(0, 2001), 0);
    EXPECT_EQ(vnTime::daysPerMonth(13, 2001), 0);
}

TEST(vnTime, NeverGoesBackAndFollowsTheWallClock)
{
    EXPECT_NEAR(vnTime::systemSeconds(), static_cast<double>(std::time(nullptr)), 60.0);
    const auto work = []
    {
        double last = vnTime::systemSeconds();
        for (unsigned int i = 0; i < 50000; ++i)
        {
            const double now = vnTime::systemSeconds();
            ASSERT_GE(now, last);
            last = now;
        }
    };
    std::thread other(work);
    work();
    other.join();
    const double elapsed = secondsOf(
        []
        {
            const double end = vnTime::systemSeconds() + 0.02;
            while (vnTime::systemSeconds() < end)
                continue;
        });
    EXPECT_GE(elapsed, 0.0199);
}

TEST(vnTime, AddsTheOffsetToNowAlone)
{
    const double systemBefore = vnTime::systemSeconds();
    const double uptimeBefore = vnTime::uptimeSeconds();
    vnTime::setSystemTimeOffset(1000.0);
    EXPECT_EQ(vnTime::getSystemTimeOffset(), 1000.0);
    EXPECT_GE(vnTime::now(0).seconds(), systemBefore + 1000.0);
    EXPECT_GE(vnTime().seconds(), systemBefore + 1000.0);
    EXPECT_LT(vnTime::systemSeconds(), systemBefore + 500.0);
    EXPECT_LT(vnTime::uptimeSeconds(), uptimeBefore + 500.0);
    vnTime::setTime(5000.0, 0);
    EXPECT_GE(vnTime::now(0).seconds(), 5000.0 - 1e-3);
    EXPECT_LT(vnTime::now(0).seconds(), 5500.0);
    vnTime::setSystemTimeOffset(0.0);
}

TEST(vnTime, AddsTheTimeZoneForLocalTime)
{
    const char* const old = std::getenv("TZ");
    const std::optional<std::string> saved = old ? std::optional<std::string>(old) : std::nullopt;
    setenv("TZ", "XST-05:30", 1); // east of Greenwich
    EXPECT_EQ(vnTime::getLocalTimeOffset(), 19800.0);
    EXPECT_NEAR(vnTime::now(1) - vnTime::now(0), 19800.0, 60.0);
    vnTime::setTime(50000.0, 1);
    EXPECT_NEAR(vnTime::now(1).seconds(), 50000.0, 60.0);
    vnTime::setSystemTimeOffset(0.0);
    setenv("TZ", "XST08", 1);
    EXPECT_EQ(vnTime::getLocalTimeOffset(), -28800.0);
    if (saved)
        setenv("TZ", saved->c_str(), 1);
    else
        unsetenv("TZ");
}

namespace
{
class LastText : public vnMessageReceiverInterface
{
public:
    LastText() { vnMessage::addMessageReceiver(this); }
    void onMessage(const vnString&, vnMessageLevel, const char* message) override { text = message; }

    std::string text;
};
} // namespace

TEST(vnTimer, NotifiesFromTheLimitOn)
{
    LastText receiver;
    vnTimer timer("load");
    timer.setTime(4.0);
    EXPECT_GE(timer.getTime(), 4.0);
    timer.notifyTime(1000.0, VN_MESSAGE_NOTICE);
    EXPECT_EQ(receiver.text, "");
    timer.notifyTime(4.0, VN_MESSAGE_NOTICE);
    EXPECT_EQ(receiver.text.find("--- VN_TIMER 'load' Time: 4"), 0u);
    EXPECT_NE(receiver.text.find(" Freq: 0.2"), std::string::npos);
    timer.reset(0);
    EXPECT_LT(timer.getTime(), 3.0);
}

TEST(vnTimer, GoesOnFromItsLastReading)
{
    vnTimer timer("load");
    timer.setTime(4.0);
    timer.notifyTime(1000.0, VN_MESSAGE_NOTICE); // a reading
    const double end = vnTime::systemSeconds() + 0.02;
    while (vnTime::systemSeconds() < end)
        continue;
    timer.reset(1);
    EXPECT_GE(timer.getTime(), 0.0199); // readings since 1970 are rounded, and so was the end
    EXPECT_LT(timer.getTime(), 4.0);
}
