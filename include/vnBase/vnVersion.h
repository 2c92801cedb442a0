// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// The version of the library that runs, as one number: (major * 100 + minor) * 100 + patch, 21005
/// for 2.10.5. Any thread may call it at any time.
VN_BASE_API unsigned int vnGetLibraryVersion_base();

/// Checks at the start of a program that the library is not older than the one it was written for. A later
/// request throws `vnFatalError`; an earlier one posts a Notice and returns.
///
///     vnCheckLibraryVersion_base(VN_BASE_VERSION_MAJOR, VN_BASE_VERSION_MINOR, VN_BASE_VERSION_PATCH);
VN_BASE_API void vnCheckLibraryVersion_base(unsigned int major, unsigned int minor, unsigned int patch);
