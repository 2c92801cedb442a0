// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMessage.h>

/// The platform's part of the default message receiver.

/// Sends a line, `prefix` and `text` (may be null) one behind the other, to the debug stream of the platform.
void vnPlatformDebugOutput(const char* prefix, const char* text);

/// Asks the user on the terminal of the process. Without one the answer comes from the environment.
vnAssertAnswer vnPlatformAssertDialogue(const vnString& title, const vnString& body);
