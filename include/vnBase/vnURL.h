// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// Free functions over URLs. `vnSerializeAdapter::getURLAdapter` opens one, and tells what URLs look like.
///
///     vnString error;
///     if (!copyAdapters("copy.bin", "file:original.bin", &error))
///         std::puts(error);
///
/// Thread-safety: any thread.

/// Whether the URL can be opened for reading. Nothing is reported. The adapter is told by the attribute
/// "exist=yes" that nobody is going to read, so that one of the network need not fetch the data. The empty
/// URL does not exist. Opening may take its time: a named pipe waits until somebody opens it for writing.
VN_BASE_API unsigned char vnURLExist(const vnString& url);

/// Whether operations on directories make sense: the URL has no scheme, or one of a single letter, which is a
/// drive.
VN_BASE_API unsigned char vnIsDirURL(const vnString& url);

/// Copies from `source`, the second one, in blocks while it has data and neither side has an error. 0 when
/// one of them has an error in the end, which goes to `error` if that is not null, and when both are one
/// adapter. The destination is not flushed.
VN_BASE_API unsigned char copyAdapters(vnSerializeAdapter* destination, vnSerializeAdapter* source,
                                       vnString* error);

/// The same from URL to URL. The source is opened first, so that a missing one does not empty the
/// destination; but opening the destination empties a file, so that a copy of a file to itself, however the
/// two URLs spell it, loses what it held. The destination is flushed and closed, unless somebody else holds
/// it, whose business that is. The flags are those of `getURLAdapter`.
VN_BASE_API unsigned char copyAdapters(const vnString& destination, const vnString& source, vnString* error,
                                       vnUInt64 destinationFlags, vnUInt64 sourceFlags);
VN_BASE_API unsigned char copyAdapters(const vnString& destination, const vnString& source, vnString* error);

/// The most bytes that a "dummy:" URL may ask for; without a limit at the start. For programs that open URLs
/// from outside.
VN_BASE_API void vnSetMaxDummyURLSize(unsigned int bytes);
