// SPDX-License-Identifier: MIT
#include "vnUserKey.h"

#include <cstdlib>

vnString vnGetUserKey(const vnString& key)
{
    if (key.contains("/") || key.contains("\\"))
        return vnString();
    return vnString(std::getenv(key));
}
