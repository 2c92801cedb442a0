// SPDX-License-Identifier: MIT
#include <vnBase/vnSystem.h>

#include <cerrno>
#include <cstring>

namespace
{
// The C library chooses one of two forms of `strerror_r` by its feature macros: one that returns the text,
// and one that fills the buffer and returns 0.
const char* chosen(const char* result, const char*)
{
    return result;
}
[[maybe_unused]] const char* chosen(int result, const char* buffer)
{
    return result == 0 ? buffer : "Unknown error";
}
} // namespace

int vnGetSysError() noexcept
{
    return errno;
}

vnString vnGetSysErrorDescription(int error)
{
    char buffer[256] = "";
    return chosen(strerror_r(error, buffer, sizeof buffer), buffer);
}

vnString vnGetSysErrorDescription()
{
    return vnGetSysErrorDescription(errno);
}
