// SPDX-License-Identifier: MIT
#include <vnBase/vnVersion.h>

#include <vnBase/vnMessage.h>

namespace
{
constexpr vnUInt64 numberOf(vnUInt64 major, vnUInt64 minor, vnUInt64 patch)
{
    return (major * 100 + minor) * 100 + patch;
}

constexpr unsigned int currentVersion =
    numberOf(VN_BASE_VERSION_MAJOR, VN_BASE_VERSION_MINOR, VN_BASE_VERSION_PATCH);
} // namespace

unsigned int vnGetLibraryVersion_base()
{
    return currentVersion;
}

void vnCheckLibraryVersion_base(unsigned int major, unsigned int minor, unsigned int patch)
{
    const vnUInt64 required = numberOf(major, minor, patch);
    if (required > currentVersion)
        vnExceptionThrows::vnThrowFatal("Required 'base' library version (%d,%d,%d) is later than current "
                                        "version (%d,%d,%d)",
                                        major, minor, patch, VN_BASE_VERSION_MAJOR, VN_BASE_VERSION_MINOR,
                                        VN_BASE_VERSION_PATCH);
    if (required < currentVersion)
        vnMessage::message(VN_MESSAGE_NOTICE,
                           "Current 'base' library version (%d,%d,%d) is newer than required version "
                           "(%d,%d,%d)",
                           VN_BASE_VERSION_MAJOR, VN_BASE_VERSION_MINOR, VN_BASE_VERSION_PATCH, major, minor,
                           patch);
}
