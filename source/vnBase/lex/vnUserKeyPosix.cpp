// SPDX-License-Identifier: MIT
#include "vnUserKey.h"

#include <cstdlib>
#include <cstring>

bool vnGetUserKey(const vnString& key, vnString& value)
{
    value.clear();
    // A path names a setting, never a variable, and the environment would see a NUL as the end of the name.
    const bool isName =
        std::strlen(key.getString()) == key.length() && !key.contains("/") && !key.contains("\\");
    const char* found = isName ? std::getenv(key) : nullptr;
    const std::size_t length = found ? std::strlen(found) : 0;
    if (length > vnString::VN_MAX_LENGTH)
        return false;
    value = vnString(found, static_cast<unsigned short>(length));
    return true;
}
