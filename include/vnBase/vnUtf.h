// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// UTF-8 in its original form of one to six bytes for each character (RFC 2279), with the lead bytes C0 to FD
/// and continuations 80 to BF. Overlong forms and surrogates are accepted; nothing else is.
///
/// Thread-safety: any thread.

/// The bytes that `character` takes, 1 to 6; 0, with a Warning, for 0x80000000 and above.
VN_BASE_API unsigned char vnUTF8Size(unsigned int character);

/// The size of the sequence at `text`; 0 when it is malformed. Reads no byte behind the first one that is
/// wrong, so a text that ends with NUL is never passed.
VN_BASE_API unsigned char vnUTF8Size(const char* text);

/// Writes `character` as 1 to 6 bytes, without a NUL, and returns how many; 0, with a Warning, for 0x80000000
/// and above.
VN_BASE_API unsigned char vnUInt32ToUTF8(char* to, unsigned int character);

/// Decodes the sequence at `text` and stores its size. A malformed one stores 0, posts a Warning and gives 0.
VN_BASE_API unsigned int vnUTF8ToULong(const char* text, unsigned char* size);

/// The units of a 16-bit text before its NUL; 0 for null.
VN_BASE_API unsigned int vnwcslen(const char16_t* text);
