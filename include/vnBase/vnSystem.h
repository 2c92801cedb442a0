// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// The number of the calling thread's last system error. Read it right after the call that failed: anything
/// else that the thread does may change it.
VN_BASE_API int vnGetSysError() noexcept;

/// The system's description of an error number, or of the calling thread's last error. Never empty; a number
/// that the system does not know is described as unknown. Any thread may call it.
VN_BASE_API vnString vnGetSysErrorDescription(int error);
VN_BASE_API vnString vnGetSysErrorDescription();
