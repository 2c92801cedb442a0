// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdlib>

/// How long a test lets its threads run: a moment, or the seconds that the environment asks for.
inline std::chrono::milliseconds vnSoakTime()
{
    const char* seconds = std::getenv("VN_SOAK_SECONDS");
    return seconds ? std::chrono::seconds(std::atoi(seconds)) : std::chrono::milliseconds(300);
}
