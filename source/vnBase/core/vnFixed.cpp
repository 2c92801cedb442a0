// SPDX-License-Identifier: MIT
#include <vnBase/vnFixed.h>

#include <vnBase/vnBaseError.h>

void vnFixed::throwDivisionByZero()
{
    vnExceptionThrows::vnThrowFatal("vnFixed: division by zero");
}
