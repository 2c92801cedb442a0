// SPDX-License-Identifier: MIT
#pragma once

/// What every public header of the library stands on: the export macro, the fixed-width integers and the
/// version. Everything else is in the header of its class family; `vnBase.h` includes them all.

#if defined(VN_BASE_STATIC)
#define VN_BASE_API
#else
#define VN_BASE_API __attribute__((visibility("default")))
#endif

/// The library's version; `vnCheckLibraryVersion_base` compares a program's with the one it runs on.
#define VN_BASE_VERSION_MAJOR 2
#define VN_BASE_VERSION_MINOR 10
#define VN_BASE_VERSION_PATCH 5
#define VN_BASE_VERSION_TEXT "2.10.5"

/// The 64-bit integers of the library's signatures; 64 bits wide on every host.
using vnInt64 = long long;
using vnUInt64 = unsigned long long;

static_assert(sizeof(vnInt64) == 8 && sizeof(int) == 4 && sizeof(short) == 2 && sizeof(char16_t) == 2);
