// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// Small arithmetic that the library and its users share; powers of ten are in vnNumberText.h.
///
/// Thread-safety: any thread.

/// The factorial of `n`; 1.0 for 170 and above.
VN_BASE_API double vnFaculty(unsigned int n);

/// How many ways there are to choose `k` of `n`; 1.0 for an `n` of 170 and above and for a `k` above `n`.
VN_BASE_API double vnCombination(unsigned int n, unsigned int k);

/// 1 for 1, 2, 4, 8 and so on; 0 is none.
VN_BASE_API unsigned char vnIsPowerOfTwo(const vnUInt64& value);

/// 1 for the powers of two with any integer exponent, also a negative one.
VN_BASE_API unsigned char vnIsDoublePowerOfTwo(double value);

/// From 1 upward the least power of two that is not below `value`. Below 1 it is the reciprocal of that of
/// 1 / `value`, the greatest power of two that is not above it: 3.0 gives 4.0 and 0.3 gives 0.25. 0, negative
/// values and NaN give 0. A result above the range of doubles is infinite.
VN_BASE_API double vnGetUpperPowerOfTwo(double value);

/// The exponent of that power: 2 for 3.0, -2 for 0.3. 0, negative values and NaN give 0; infinity gives 1024.
VN_BASE_API int vnGetUpperPowerOfTwoExponent(double value);

/// Turns the bytes round.
VN_BASE_API void flipEndian(vnUInt64& value);

/// 1 when this host stores the most significant byte first.
VN_BASE_API unsigned char vnBigEndian();
