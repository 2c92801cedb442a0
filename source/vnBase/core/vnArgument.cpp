// SPDX-License-Identifier: MIT
#include <vnBase/vnArgument.h>

#include <vnBase/vnBaseError.h>

void vnArgument::throwNoString()
{
    vnExceptionThrows::vnThrowFatal("Cant get vnString value out of non vnString vnArgument");
}
