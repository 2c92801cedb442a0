// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnFile.h>

// What the file adapter asks of the platform beyond the public functions.

/// As `vnFileOpenRead`, for a name that is not trusted: what is no regular file is refused, without waiting
/// for somebody at its other end.
vnFile* vnFileOpenRegular(const vnString& name, unsigned int* size);

/// 1 when the size of the file is known and bounds what can be read. A regular file of size 0 is no such
/// file: the system's own files look like that and have content.
unsigned char vnFileHasSize(vnFile* file);

/// Whether the position can be set.
unsigned char vnFileCanSeek(vnFile* file);

/// Whether a read would return at once, with data or at the end.
unsigned char vnFileIsReady(vnFile* file);

/// One request: returns what is there and waits only when there is nothing. 0 at the end, which leaves the
/// system error 0, and when it fails.
unsigned int vnFileReadSome(vnFile* file, void* data, unsigned int count);

/// The system's description of the fault that a file would become too large.
vnString vnFileTooLargeDescription();
