// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMessage.h>
#include <vnBase/vnNameInterface.h>
#include <vnBase/vnString.h>

/// A point in time: seconds since 1970-01-01 00:00:00, UTC unless the maker has added an offset. Calendar
/// values follow the Gregorian rules without leap seconds.
///
///     vnString stamp = vnTime::now(1).asString("%4d-%02d-%02d %02d:%02d:%02d");
///
/// Its statics are the library's one clock. `systemSeconds()` reads the wall clock at its first use only and
/// counts a monotonic clock from there, so that adjusting the system's clock does not move it.
///
/// Thread-safety: the statics may be called from any thread.
class VN_BASE_API vnTime
{
public:
    /// Now, `systemSeconds()` plus the system time offset.
    vnTime() : m_seconds(systemSeconds() + getSystemTimeOffset()) {}
    vnTime(double seconds) noexcept : m_seconds(seconds) {}

    /// Throws `vnWarningError` for a year before 1970, a month or day that does not exist, and a second that
    /// is not in [0, 86400).
    vnTime(unsigned int year, unsigned char month, unsigned char day, double daySeconds);
    vnTime(unsigned int year, unsigned char month, unsigned char day, double hour, double minute,
           double second);

    double seconds() const noexcept { return m_seconds; }

    /// The seconds since the day, and since the minute, began.
    double daySeconds() const noexcept;
    double minuteSeconds() const noexcept;

    unsigned int year() const noexcept;
    unsigned char month() const noexcept; // 1 to 12
    unsigned char day() const noexcept;   // 1 to 31
    unsigned char hour() const noexcept;
    unsigned char minute() const noexcept;

    /// Passes year, month, day, hour, minute and the seconds of the minute to `format`, in this order.
    vnString asString(const vnString& format) const;

    bool operator==(const vnTime& other) const noexcept { return m_seconds == other.m_seconds; }
    bool operator!=(const vnTime& other) const noexcept { return m_seconds != other.m_seconds; }
    bool operator<(const vnTime& other) const noexcept { return m_seconds < other.m_seconds; }
    bool operator<=(const vnTime& other) const noexcept { return m_seconds <= other.m_seconds; }
    bool operator>(const vnTime& other) const noexcept { return m_seconds > other.m_seconds; }
    bool operator>=(const vnTime& other) const noexcept { return m_seconds >= other.m_seconds; }

    double operator+(const vnTime& other) const noexcept { return m_seconds + other.m_seconds; }
    double operator-(const vnTime& other) const noexcept { return m_seconds - other.m_seconds; }
    double operator+(double seconds) const noexcept { return m_seconds + seconds; }
    double operator-(double seconds) const noexcept { return m_seconds - seconds; }

    /// `systemSeconds()` plus the system time offset; with `local` in the time zone of the process.
    static vnTime now(unsigned char local);

    /// The clock, in seconds since 1970. It never decreases. Lock-free.
    static double systemSeconds() noexcept;

    /// Seconds since the library was loaded.
    static double uptimeSeconds() noexcept;

    /// Seconds between two readings of the counter behind the clock.
    static double getTimeResolution() noexcept;

    /// What is added to UTC to get local time, in seconds, at present.
    static double getLocalTimeOffset();

    /// What `now` adds to the clock; 0 at the start.
    static double getSystemTimeOffset() noexcept;
    static void setSystemTimeOffset(double seconds) noexcept;

    /// Sets the offset so that `now(local)` yields `seconds`.
    static void setTime(double seconds, unsigned char local);

    /// 0 for a month that does not exist.
    static unsigned char daysPerMonth(unsigned char month, unsigned int year) noexcept;
    static unsigned int daysPerYear(unsigned int year) noexcept;

private:
    static double findCounterEpoch() noexcept;

    double m_seconds;

    static double s_systemStartTime;
};

/// Measures how long something takes, from its construction on.
///
///     vnTimer timer("load");
///     ...
///     timer.notifyTime(0.5, VN_MESSAGE_NOTICE);
///
/// Thread-safety: none.
class VN_BASE_API vnTimer : public vnNameInterface
{
public:
    explicit vnTimer(const vnString& name);
    ~vnTimer() noexcept(false) override;

    /// The seconds since the start; they are remembered as the last reading.
    double getTime();

    /// Moves the start so that `getTime()` counts on from `seconds`.
    void setTime(const double& seconds);

    /// Starts anew: at the last reading with `fromLastTime`, so that intervals follow each other without a
    /// gap, and now without it.
    void reset(unsigned char fromLastTime);

    /// Takes a reading and, when the time since the start is at least `limit` seconds, posts it at `level`.
    void notifyTime(const double& limit, vnMessageLevel level);

private:
    double m_startTime;
    double m_lastTime;
};
