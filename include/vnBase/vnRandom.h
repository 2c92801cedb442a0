// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// The random numbers of the library: one generator of the process, MT19937 (Matsumoto and Nishimura,
/// "Mersenne Twister", 1998). It is no source of secrets: its output can be predicted.
///
///     vnRandomInit(5489);
///     double noise = vnRandomNormal(0.0, 0.25);
///
/// A generator that nobody seeded takes the time of its first use as its seed.
///
/// Thread-safety: any thread. All threads draw from one sequence, under one lock.

/// Starts the sequence of `seed`, the same one on every host.
VN_BASE_API void vnRandomInit(unsigned int seed);

/// All values of 32 bits, uniformly.
VN_BASE_API unsigned int vnRandomUInt32();

/// 0 to 1, both included, in 2^32 steps.
VN_BASE_API double vnRandom();
VN_BASE_API float vnRandomf();

/// Entry `index` modulo 10000 of a table that is drawn from the generator on first use and stays: noise that
/// repeats within a run. The reference stays valid.
VN_BASE_API const double& vnRandom(unsigned int index);

/// The exponential distribution with the rate `lambda`, whose mean is 1 / `lambda`. It draws one number, and
/// another one each time that the draw is exactly 1, which has no finite answer.
VN_BASE_API double vnRandomExponential(const double& lambda);

/// The normal distribution.
VN_BASE_API double vnRandomNormal(const double& mean, const double& deviation);

/// The Weibull distribution with the scale `lambda` and the shape `k`; a shape of 1 is the exponential
/// distribution with the mean `lambda`.
VN_BASE_API double vnRandomWeibull(const double& lambda, const double& k);
