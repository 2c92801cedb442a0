// SPDX-License-Identifier: MIT
#include <vnBase/vnMessage.h>

// What bad input is told of as warnings would take most of the time. A target with a set-up of its own
// replaces this one.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int*, char***)
{
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
    return 0;
}
