// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBaseError.h>
#include <vnBase/vnString.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

/// The bytes of a text, which must end with NUL.
inline std::string bytesOf(const vnString& text)
{
    EXPECT_EQ(text.getString()[text.length()], 0);
    return std::string(text.getString(), text.length());
}

/// The text of the error that the operation throws; empty when it throws none.
template <class Error = vnFatalError, class Operation>
std::string errorOf(Operation operation)
{
    try
    {
        operation();
    }
    catch (const Error& error)
    {
        return error.getErrorString().getString();
    }
    return "";
}

/// Runs what it is given when the static that it is gets destroyed: after all that the program made on
/// demand.
struct LateCall
{
    ~LateCall()
    {
        if (run)
            run();
    }
    void (*run)() = nullptr;
};

/// For what changes the library for good: runs the statement in a process of its own, which must end with
/// true.
#define EXPECT_IN_A_PROCESS(...)                                                                             \
    EXPECT_EXIT(std::_Exit((__VA_ARGS__) ? 0 : 1), testing::ExitedWithCode(0), "")
