// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// The version of the library that runs, as one number: (major * 100 + minor) * 100 + patch, 21005
/// for 2.10.5. Any thread may call it at any time.
VN_BASE_API unsigned int vnGetLibraryVersion_base();
