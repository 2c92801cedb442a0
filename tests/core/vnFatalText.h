// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBaseError.h>

#include <string>

/// The text of the `vnFatalError` that the action ends in.
template <class Action>
std::string fatalText(Action action)
{
    try
    {
        action();
    }
    catch (const vnFatalError& error)
    {
        return error.getErrorString().getString();
    }
    return "no error";
}
