// SPDX-License-Identifier: MIT
#include <vnBase/vnDebugInterface.h>

#include <vnBase/vnMessage.h>

void vnDebugInterface::debugOutput(vnString base, vnString, vnDebugFlags)
{
    // A long of the format language has 4 bytes everywhere: the low half of the address tells objects apart.
    vnMessage::message(VN_MESSAGE_DEBUG, "%sDefault debug() called for instance 0x%lx", base,
                       static_cast<const void*>(this));
}

void vnDebugInterface::debugOutputTraverse(vnString, vnString, vnDebugFlags) {}

void vnDebugInterface::debug(vnDebugFlags flags)
{
    debugOutput("", "", flags);
    debugOutputTraverse("", "", flags);
}
