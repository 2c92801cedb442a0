// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// An open directory for `vnDirectoryReadNext`; null when it can't be read.
void* vnDirectoryOpen(const vnString& path);
void vnDirectoryClose(void* directory);

/// The next entry, with its type when the system tells it at once (1 directory, 0 other) and -1 otherwise. 0
/// at the end.
unsigned char vnDirectoryReadNext(void* directory, vnString& name, int& isDirectory);

/// Whether the name holds from the root on, whatever the working directory is.
unsigned char vnIsAbsoluteName(const vnString& name);
