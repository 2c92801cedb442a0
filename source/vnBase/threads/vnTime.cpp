// SPDX-License-Identifier: MIT
#include <vnBase/vnTime.h>

#include "vnTimePlatform.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace
{
constexpr double secondsPerDay = 86400.0;
constexpr double secondsPerTick = 1e-9;
constexpr double unset = -1e300;

// The wall clock's time at a counter of 0. The first use finds it and nothing changes it afterwards, so that
// one load is all that a reading needs.
std::atomic<double> s_counterEpoch{unset};
std::atomic<double> s_systemTimeOffset{0.0};

bool isLeapYear(vnInt64 year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

constexpr unsigned char monthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// Days from year 0 (that of the Gregorian rules carried back) to the first of January of `year`.
constexpr vnInt64 daysBeforeYear(vnInt64 year)
{
    const vnInt64 last = year - 1;
    return year * 365 + last / 4 - last / 100 + last / 400 + 1;
}

constexpr vnInt64 daysBefore1970 = 719528;
constexpr vnInt64 daysPer400Years = 146097;

struct Date
{
    unsigned int year;
    unsigned char month;
    unsigned char day;
};

Date dateOf(double seconds)
{
    // Years 1 to the last that has a number; what lies outside reads as the nearest end, and no number as
    // 1970.
    const double lowest = daysBeforeYear(1) - daysBefore1970;
    const double highest = daysBeforeYear(vnInt64(1) << 32) - 1 - daysBefore1970;
    const double floored = std::floor(seconds / secondsPerDay);
    const double limited = std::isnan(floored) ? 0.0 : std::min(std::max(floored, lowest), highest);
    const vnInt64 days = static_cast<vnInt64>(limited) + daysBefore1970;
    vnInt64 year = days * 400 / daysPer400Years;
    while (daysBeforeYear(year) > days)
        --year;
    while (daysBeforeYear(year + 1) <= days)
        ++year;
    vnInt64 left = days - daysBeforeYear(year);
    const unsigned int calendarYear = static_cast<unsigned int>(year);
    unsigned char month = 1;
    for (; left >= vnTime::daysPerMonth(month, calendarYear); ++month)
        left -= vnTime::daysPerMonth(month, calendarYear);
    return {calendarYear, month, static_cast<unsigned char>(left + 1)};
}

double modulo(double value, double divisor)
{
    const double rest = std::fmod(value, divisor);
    if (rest >= 0)
        return rest;
    // A very small negative rest rounds up to the divisor itself.
    return rest + divisor < divisor ? rest + divisor : 0.0;
}
} // namespace

double vnTime::s_systemStartTime = 0;

namespace
{
// At the latest when the library is loaded, so that there is one thread only.
[[maybe_unused]] const double loadTime = vnTime::systemSeconds();
} // namespace

// The start of the clock is that of the system, also for those who read it while the library is being loaded.
double vnTime::findCounterEpoch() noexcept
{
    const vnInt64 counter = vnReadCounter();
    const double epoch = vnReadWallClock() - static_cast<double>(counter) * secondsPerTick;
    double expected = unset;
    if (!s_counterEpoch.compare_exchange_strong(expected, epoch, std::memory_order_relaxed))
        return expected;
    s_systemStartTime = epoch + static_cast<double>(counter) * secondsPerTick;
    return epoch;
}

vnTime::vnTime(unsigned int year, unsigned char month, unsigned char day, double daySeconds) : m_seconds(0.0)
{
    if (year < 1970)
        vnExceptionThrows::vnThrowWarning("vnTime ( year parameter in time < 1970 )");
    if (month == 0 || month > 12)
        vnExceptionThrows::vnThrowWarning("vnTime ( month parameter in time is invalid )");
    if (day == 0 || day > daysPerMonth(month, year))
        vnExceptionThrows::vnThrowWarning("vnTime ( day parameter in time is invalid )");
    if (!(daySeconds >= 0 && daySeconds < secondsPerDay))
        vnExceptionThrows::vnThrowWarning("vnTime ( daysecond parameter in time is invalid )");
    vnInt64 days = daysBeforeYear(year) - daysBefore1970 + day - 1;
    for (unsigned char i = 1; i < month; ++i)
        days += daysPerMonth(i, year);
    m_seconds = static_cast<double>(days) * secondsPerDay + daySeconds;
}

vnTime::vnTime(unsigned int year, unsigned char month, unsigned char day, double hour, double minute,
               double second)
    : vnTime(year, month, day, hour * 3600 + minute * 60 + second)
{
}

double vnTime::daySeconds() const noexcept
{
    return modulo(m_seconds, secondsPerDay);
}

double vnTime::minuteSeconds() const noexcept
{
    return modulo(m_seconds, 60.0);
}

unsigned int vnTime::year() const noexcept
{
    return dateOf(m_seconds).year;
}

unsigned char vnTime::month() const noexcept
{
    return dateOf(m_seconds).month;
}

unsigned char vnTime::day() const noexcept
{
    return dateOf(m_seconds).day;
}

unsigned char vnTime::hour() const noexcept
{
    return static_cast<unsigned char>(daySeconds() / 3600);
}

unsigned char vnTime::minute() const noexcept
{
    return static_cast<unsigned char>(modulo(m_seconds, 3600.0) / 60);
}

vnString vnTime::asString(const vnString& format) const
{
    const Date date = dateOf(m_seconds);
    return vnString::formatString(format, date.year, date.month, date.day, hour(), minute(), minuteSeconds());
}

vnTime vnTime::now(unsigned char local)
{
    const double utc = systemSeconds() + getSystemTimeOffset();
    return local ? utc + getLocalTimeOffset() : utc;
}

double vnTime::systemSeconds() noexcept
{
    double epoch = s_counterEpoch.load(std::memory_order_relaxed);
    if (epoch == unset)
        epoch = findCounterEpoch();
    return epoch + static_cast<double>(vnReadCounter()) * secondsPerTick;
}

double vnTime::uptimeSeconds() noexcept
{
    return systemSeconds() - s_systemStartTime;
}

double vnTime::getTimeResolution() noexcept
{
    return secondsPerTick;
}

double vnTime::getLocalTimeOffset()
{
    return vnReadLocalTimeOffset();
}

double vnTime::getSystemTimeOffset() noexcept
{
    return s_systemTimeOffset.load(std::memory_order_relaxed);
}

void vnTime::setSystemTimeOffset(double seconds) noexcept
{
    s_systemTimeOffset.store(seconds, std::memory_order_relaxed);
}

void vnTime::setTime(double seconds, unsigned char local)
{
    const double utc = local ? seconds - getLocalTimeOffset() : seconds;
    setSystemTimeOffset(utc - systemSeconds());
}

unsigned char vnTime::daysPerMonth(unsigned char month, unsigned int year) noexcept
{
    if (month == 0 || month > 12)
        return 0;
    return month == 2 && isLeapYear(year) ? 29 : monthDays[month - 1];
}

unsigned int vnTime::daysPerYear(unsigned int year) noexcept
{
    return isLeapYear(year) ? 366 : 365;
}

vnTimer::vnTimer(const vnString& name)
    : vnNameInterface(name), m_startTime(vnTime::systemSeconds()), m_lastTime(m_startTime)
{
}

vnTimer::~vnTimer() noexcept(false) = default;

double vnTimer::getTime()
{
    m_lastTime = vnTime::systemSeconds();
    return m_lastTime - m_startTime;
}

void vnTimer::setTime(const double& seconds)
{
    m_lastTime = vnTime::systemSeconds();
    m_startTime = m_lastTime - seconds;
}

void vnTimer::reset(unsigned char fromLastTime)
{
    if (!fromLastTime)
        m_lastTime = vnTime::systemSeconds();
    m_startTime = m_lastTime;
}

void vnTimer::notifyTime(const double& limit, vnMessageLevel level)
{
    const double seconds = getTime();
    if (seconds >= limit)
        vnMessage::message(level, "--- VN_TIMER '%s' Time: %g Freq: %g ---", getName(), seconds,
                           1.0 / seconds);
}
