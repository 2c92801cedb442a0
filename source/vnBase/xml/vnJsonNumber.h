// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <cstddef>

/// The numbers of JSON texts.
struct vnJsonNumber
{
    enum Result
    {
        OK,
        NONE,       // no number stands here
        INCOMPLETE, // the number may go on behind the end
        OUT_OF_RANGE
    };

    bool isInteger; // of the strict grammar only
    vnInt64 integer;
    double real;

    /// Reads the number at `next` and moves it behind. In the strict grammar one without fraction and
    /// exponent is an integer, and what 64 bits or a double do not hold is out of range.
    Result read(const unsigned char*& next, const unsigned char* end, bool isStrict);

    /// Longer numbers are no texts.
    static constexpr std::size_t VN_MAX_LENGTH = 65535;

    /// The room for what is written below.
    static constexpr unsigned int VN_MAX_WRITTEN = 64;

    /// As the format engine writes "%.6f"; returns the end.
    static char* writeFixed(char* to, double value);
    static char* writeFixed(char* to, int value);

    /// The shortest text that reads as this finite number.
    static char* writeShortest(char* to, double value);
    static char* writeInteger(char* to, vnInt64 value);
};
