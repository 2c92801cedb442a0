// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// The entry for header code of the containers: throws `vnFatalError` with the text behind "Template-".
[[noreturn]] VN_BASE_API void throwFatalTemplateError(const char* text);
