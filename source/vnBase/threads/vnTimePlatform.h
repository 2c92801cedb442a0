// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// What the clock needs of the platform.

/// Nanoseconds of a counter that never goes back and that nobody can set.
vnInt64 vnReadCounter() noexcept;

/// The system's clock, seconds since 1970, UTC.
double vnReadWallClock() noexcept;

/// The seconds that turn UTC into the local time of the present moment.
double vnReadLocalTimeOffset();
