// SPDX-License-Identifier: MIT
#pragma once

#include <serialize/vnAdapterWindow.h>

#include <algorithm>
#include <cstddef>

/// Whether the next `count` bytes are there in full, as far as the source can tell without reading them: one
/// that can seek knows its length, and may give zeros, or grow, when it is read beyond.
inline bool vnMayHold(vnSerializeAdapter* adapter, unsigned int count)
{
    const auto open =
        static_cast<std::size_t>(vnAdapterWindow::end(*adapter) - vnAdapterWindow::next(*adapter));
    return count <= open || !adapter->canSeek() || count <= adapter->length();
}

/// Reads exactly `count` bytes. At the end of the data it reads what is there and answers false.
inline bool vnReadWhole(vnSerializeAdapter* adapter, unsigned char* to, unsigned int count)
{
    if (vnMayHold(adapter, count))
        return adapter->read(to, count) == count;
    adapter->read(to, std::min(count, adapter->length()));
    return false;
}
