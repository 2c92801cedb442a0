// SPDX-License-Identifier: MIT
#include <vnBase/vnThreadID.h>

#include "vnLockPlatform.h"

__thread vnThreadState vnThisThread = {0, 0, 0, 0, nullptr};

unsigned int vnFetchThreadID() noexcept
{
    vnThisThread.id = vnLockThreadID();
    return vnThisThread.id;
}
