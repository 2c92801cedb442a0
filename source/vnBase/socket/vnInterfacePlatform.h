// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnString.h>

/// A network interface.
struct vnInterface
{
    vnString name;
    unsigned int address = 0; // the first one of IPv4, as a number; 0 when there is none
    bool isLoopback = false;
};

/// The interfaces in the order of the system; empty when it does not tell.
vnArray<vnInterface> vnGetInterfaces();
