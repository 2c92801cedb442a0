// SPDX-License-Identifier: MIT
#include <vnBase/vnDict.h>

#include "vnEternal.h"

#include <chrono>
#include <exception>
#include <random>

namespace
{
vnUInt64 draw()
{
    try
    {
        std::random_device device;
        return static_cast<vnUInt64>(device()) << 32 | device();
    }
    catch (const std::exception&)
    {
        return static_cast<vnUInt64>(std::chrono::steady_clock::now().time_since_epoch().count());
    }
}
} // namespace

vnUInt64 vnDictSeed()
{
    static const vnUInt64 seed = draw();
    return seed;
}

vnMutex& vnDictOrderLock()
{
    static vnEternal<vnMutex> lock;
    return lock.value;
}
