// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// An open file. It is made by `vnFileOpenRead` or `vnFileOpenWrite` and ends with `vnFileClose`.
class vnFile;

/// The thin file functions under the file adapter, without a buffer: each call is one request to the system.
/// Names are UTF-8; one that holds a NUL byte names no file. Positions and sizes have 32 bits, so a file of
/// 4 GiB or more is not opened.
///
/// A function that fails answers 0 or null and leaves the reason as the last error of the calling thread, as
/// `vnGetSysErrorDescription()` tells it.
///
/// Thread-safety: one open file belongs to one thread at a time.

/// Opens for reading. `size`, when not null, receives the size; it is 0 for what has none or does not tell it
/// (a pipe, a device, files that the system makes up while they are read). A directory can't be opened.
VN_BASE_API vnFile* vnFileOpenRead(const vnString& name, unsigned int* size);

/// Opens for writing and creates the file if need be. Without `append` its content is dropped. With it writes
/// go to its end, wherever that is by then, until the position is set.
VN_BASE_API vnFile* vnFileOpenWrite(const vnString& name, unsigned char append);

/// Null is ignored. Answers 0 when the system reports an error that came late.
VN_BASE_API unsigned char vnFileClose(vnFile* file);

/// Nothing is held back here, so it only answers whether there is a file.
VN_BASE_API unsigned char vnFileFlush(vnFile* file);

/// Reads until `count` bytes are there, the file ends or the system fails, and returns how many came.
VN_BASE_API unsigned int vnFileRead(vnFile* file, void* data, unsigned int count);

/// Writes until all is out or the system fails, and returns how many bytes went out. A reader that went away
/// and a limit on the size of files are failures like others and raise no signal.
VN_BASE_API unsigned int vnFileWrite(vnFile* file, const void* data, unsigned int count);

/// Moves the position; the end of the file may be passed. Back at the end (0, `VN_ORIGIN_END`) a file opened
/// for appending appends again.
VN_BASE_API unsigned char vnFileSeek(vnFile* file, int offset, vnOriginPos origin);

/// Moves to `position`, read as an unsigned number.
VN_BASE_API unsigned char vnFileReset(vnFile* file, int position);

/// The position; 0xFFFFFFFF where there is none.
VN_BASE_API unsigned int vnFileTell(vnFile* file);

/// The size; 0 when it can't be told, 0xFFFFFFFF for 4 GiB and more.
VN_BASE_API unsigned int vnFileSize(vnFile* file);
VN_BASE_API unsigned int vnFileSize(const vnString& name);

/// 1 for anything under this name that is no directory.
VN_BASE_API unsigned char vnFileExist(const vnString& name);
VN_BASE_API unsigned char vnFileDelete(const vnString& name);
VN_BASE_API unsigned char vnDirExist(const vnString& name);

/// Makes one directory; 0 when it is there already or the one above it is not.
VN_BASE_API unsigned char vnMakeDir(const vnString& name);

/// The working directory; empty when it was removed or its path is longer than a string.
VN_BASE_API vnString vnGetCWD();

/// The path of the program that runs.
VN_BASE_API vnString vnGetProcessName();
