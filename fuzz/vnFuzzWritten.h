// SPDX-License-Identifier: MIT
#pragma once

#include "vnFuzzInput.h"

#include <vnBase/vnSerializeAdapterMemory.h>

#include <vector>

/// The bytes that an item writes, which must be as many as it says.
inline std::vector<unsigned char> vnFuzzWritten(vnSerializeData& item)
{
    std::vector<unsigned char> bytes(item.getDataSize(nullptr));
    vnSerializeAdapterMemory adapter(bytes.data(), static_cast<unsigned int>(bytes.size()));
    item.write(&adapter);
    VN_FUZZ_CHECK(!adapter.hasError());
    VN_FUZZ_CHECK(adapter.getCurrentPos() == bytes.size());
    return bytes;
}
