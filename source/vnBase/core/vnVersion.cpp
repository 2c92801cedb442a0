// SPDX-License-Identifier: MIT
#include <vnBase/vnVersion.h>

unsigned int vnGetLibraryVersion_base()
{
    return (VN_BASE_VERSION_MAJOR * 100 + VN_BASE_VERSION_MINOR) * 100 + VN_BASE_VERSION_PATCH;
}
