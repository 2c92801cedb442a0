// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// Numbers as text: the primitives below `vnString::format`.
///
/// All of them write a NUL behind the text and, when `length` is not null, the characters before it. The
/// caller's buffer holds the longest result: max(minDigits, 64) + 2 characters for the integers, 400 +
/// `precision` for `vnDtoA`.
///
/// Thread-safety: any thread.

/// `value` in `radix` 2 to 62, with digits 0-9a-zA-Z, or 0-9A-Za-z with `upper`; padded with "0" to
/// `minDigits`, not counting the sign. A radix below 2 or above 62 gives an empty text and leaves `length`
/// alone.
VN_BASE_API void vnLtoA(char* to, vnInt64 value, unsigned char radix, short minDigits,
                        unsigned short* length = nullptr, unsigned char upper = 0);
VN_BASE_API void vnLtoA(char16_t* to, vnInt64 value, unsigned char radix, short minDigits,
                        unsigned short* length = nullptr, unsigned char upper = 0);

/// The same without a sign.
VN_BASE_API void vnULtoA(char* to, vnUInt64 value, unsigned char radix, short minDigits,
                         unsigned short* length = nullptr, unsigned char upper = 0);
VN_BASE_API void vnULtoA(char16_t* to, vnUInt64 value, unsigned char radix, short minDigits,
                         unsigned short* length = nullptr, unsigned char upper = 0);

/// `value` in fixed notation. A `precision` of 0 or more gives exactly so many decimals, rounded by the exact
/// value and halves away from 0; a negative one as many as are needed to show `significant` digits, without
/// trailing zeros, and the rest is cut. Infinity and NaN give "<inf>" and "<nan>". A finite value beyond 2^64
/// posts an internal Warning and gives an empty text, or "-" alone for a negative one, with `length` left
/// alone.
VN_BASE_API void vnDtoA(char* to, double value, short precision, unsigned short* length = nullptr,
                        int significant = 15);
VN_BASE_API void vnDtoA(char16_t* to, double value, short precision, unsigned short* length = nullptr,
                        int significant = 15);

/// `value` in letters: base 52 from A-Za-z, least significant letter first, padded with blanks to
/// `minLength`.
VN_BASE_API void vnULtoIdent(char* to, vnUInt64 value, short minLength, unsigned short* length = nullptr);

/// 10 to the power of `exponent`. From -307 to 308 it comes from a table made by repeated multiplication, so
/// it is a little off far from 1; below it is the product of two of the table's values, above it is infinity.
VN_BASE_API double vnPow10(short exponent);

/// `value` cut to `decimals` decimals; with `round` half a unit is added first.
VN_BASE_API double vnPrecision(double value, unsigned int decimals, unsigned char round);
