// SPDX-License-Identifier: MIT
#include "vnTimePlatform.h"

#include <ctime>

vnInt64 vnReadCounter() noexcept
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * vnInt64(1000000000) + now.tv_nsec;
}

double vnReadWallClock() noexcept
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double vnReadLocalTimeOffset()
{
    // localtime_r alone need not look at a time zone that has changed meanwhile.
    tzset();
    const time_t now = time(nullptr);
    tm local{};
    return localtime_r(&now, &local) ? static_cast<double>(local.tm_gmtoff) : 0.0;
}
