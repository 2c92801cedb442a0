// SPDX-License-Identifier: MIT
#include <vnBase/vnRandom.h>

#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnTime.h>

#include <atomic>
#include <cmath>

namespace
{
constexpr unsigned int VN_STATE_SIZE = 624;
constexpr unsigned int VN_STATE_MIDDLE = 397;
constexpr unsigned int VN_NOISE_SIZE = 10000;
constexpr unsigned int VN_NOT_SEEDED = VN_STATE_SIZE + 1;
constexpr double VN_UNIT = 2.3283064370807974e-10; // 1 / (2^32 - 1)

// Everything below is guarded by the mutex. It has static storage and no other initialization, so that it
// serves the static initializers of every file.
vnMemCheck<vnMutex> randomMutex;
unsigned int state[VN_STATE_SIZE];
unsigned int nextIndex = VN_NOT_SEEDED;
double noise[VN_NOISE_SIZE];
std::atomic<bool> noiseIsDrawn{false}; // also read without the mutex

// Holds the mutex. Once the mutex was destroyed, at the end of the program, no other thread is left to be
// held off.
class RandomGuard
{
public:
    RandomGuard() : m_holds(randomMutex.isValidMemory())
    {
        if (m_holds)
            randomMutex.waitLock();
    }
    ~RandomGuard()
    {
        if (m_holds)
            randomMutex.unLock();
    }
    RandomGuard(const RandomGuard&) = delete;
    RandomGuard& operator=(const RandomGuard&) = delete;

private:
    bool m_holds;
};

void seed(unsigned int value)
{
    state[0] = value;
    for (unsigned int i = 1; i < VN_STATE_SIZE; ++i)
        state[i] = 1812433253u * (state[i - 1] ^ state[i - 1] >> 30) + i;
    nextIndex = VN_STATE_SIZE;
}

unsigned int twisted(unsigned int upper, unsigned int lower, unsigned int far)
{
    const unsigned int mixed = (upper & 0x80000000u) | (lower & 0x7FFFFFFFu);
    const unsigned int matrix = lower & 1 ? 0x9908B0DFu : 0;
    return far ^ mixed >> 1 ^ matrix;
}

void refill()
{
    unsigned int i = 0;
    for (; i < VN_STATE_SIZE - VN_STATE_MIDDLE; ++i)
        state[i] = twisted(state[i], state[i + 1], state[i + VN_STATE_MIDDLE]);
    for (; i < VN_STATE_SIZE - 1; ++i)
        state[i] = twisted(state[i], state[i + 1], state[i + VN_STATE_MIDDLE - VN_STATE_SIZE]);
    state[i] = twisted(state[i], state[0], state[VN_STATE_MIDDLE - 1]);
    nextIndex = 0;
}

unsigned int draw()
{
    if (nextIndex == VN_NOT_SEEDED)
        seed(static_cast<unsigned int>(static_cast<vnUInt64>(vnTime::systemSeconds())));
    if (nextIndex >= VN_STATE_SIZE)
        refill();
    unsigned int value = state[nextIndex++];
    value ^= value >> 11;
    value ^= value << 7 & 0x9D2C5680u;
    value ^= value << 15 & 0xEFC60000u;
    return value ^ value >> 18;
}

double drawUnit()
{
    return draw() * VN_UNIT;
}

void drawNoise()
{
    RandomGuard guard;
    if (noiseIsDrawn.load(std::memory_order_relaxed))
        return;
    for (double& value : noise)
        value = drawUnit();
    noiseIsDrawn.store(true, std::memory_order_release);
}

// The exponential distribution with the rate 1. A draw of exactly 1 has no finite answer and is left out.
double drawExponential()
{
    RandomGuard guard;
    double value = drawUnit();
    while (value >= 1.0)
        value = drawUnit();
    return -std::log(1.0 - value);
}
} // namespace

void vnRandomInit(unsigned int value)
{
    RandomGuard guard;
    seed(value);
}

unsigned int vnRandomUInt32()
{
    RandomGuard guard;
    return draw();
}

double vnRandom()
{
    return vnRandomUInt32() * VN_UNIT;
}

float vnRandomf()
{
    return static_cast<float>(vnRandom());
}

const double& vnRandom(unsigned int index)
{
    if (!noiseIsDrawn.load(std::memory_order_acquire))
        drawNoise();
    return noise[index % VN_NOISE_SIZE];
}

double vnRandomExponential(const double& lambda)
{
    return drawExponential() / lambda;
}

// The polar method of Marsaglia and Bray (1964): a point drawn from the unit disc gives the direction and,
// through the square of its distance, the length.
double vnRandomNormal(const double& mean, const double& deviation)
{
    RandomGuard guard;
    for (;;)
    {
        const double x = 2.0 * drawUnit() - 1.0;
        const double y = 2.0 * drawUnit() - 1.0;
        const double square = x * x + y * y;
        if (square < 1.0 && square > 0.0)
            return mean + deviation * x * std::sqrt(-2.0 * std::log(square) / square);
    }
}

double vnRandomWeibull(const double& lambda, const double& k)
{
    return lambda * std::pow(drawExponential(), 1.0 / k);
}
