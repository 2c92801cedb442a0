// SPDX-License-Identifier: MIT
#pragma once

/// What a class or function carries that the library offers to its users.
#if defined(VN_BASE_STATIC)
#define VN_BASE_API
#else
#define VN_BASE_API __attribute__((visibility("default")))
#endif

/// The version that a program is compiled against. `vnGetLibraryVersion_base` tells the one that it runs
/// with.
#define VN_BASE_VERSION_MAJOR 2
#define VN_BASE_VERSION_MINOR 10
#define VN_BASE_VERSION_PATCH 5

/// Integers of 64 bits.
using vnInt64 = long long;
using vnUInt64 = unsigned long long;
