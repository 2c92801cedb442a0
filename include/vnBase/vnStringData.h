// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnRecycleData.h>

/// The scratch of a format whose text or numbers outgrow the stack or has characters above 127: pooled, so
/// that a warm call allocates nothing but its result.
struct vnStringData
{
    vnDynamicArray<char> m_bytes{100};
    vnDynamicArray<char32_t> m_characters{100};
    vnDynamicArray<char> m_numbers{100}; // numbers of many decimals
};

/// Borrows a `vnStringData` for a scope. What the arrays held before is still there; users set their sizes.
class VN_BASE_API vnCacheStringData : public vnRecycleData_vnBase<vnStringData>
{
};
