// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnProgress.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapter.h>

#include <algorithm>
#include <string>
#include <vector>

// What the commands read and write.

using vnAdapter = vnRefPointer<vnSerializeAdapter>;

/// Opens a URL. Throws `vnFailure` when it does not open, and `vnUsageError` for an empty one and for one
/// that names memory of the process, of which a command line knows nothing.
vnAdapter vnOpenURL(const std::string& url, vnSerializeAction action);

/// Throws `vnFailure` when the adapter has an error.
void vnCheckError(vnAdapter& adapter);

/// All that a URL holds.
std::vector<unsigned char> vnReadURL(const std::string& url);

/// Hands all bytes of `source` to `put(data, size)`, and tells how far it is.
template <class Put>
void vnForEachBlock(vnAdapter& source, const char* banner, Put put)
{
    std::vector<unsigned char> block(1000000);
    double total = source->length();
    double finished = 0;
    while (source->hasData())
    {
        // A source that can't tell how much there is, such as a named pipe, is read as the bytes come.
        const unsigned int known = std::max(source->length(), 1u);
        const unsigned int wanted = std::min<unsigned int>(known, static_cast<unsigned int>(block.size()));
        const unsigned int size = source->read(block.data(), wanted);
        vnCheckError(source);
        put(block.data(), size);
        finished += size;
        total = std::max(total, finished);
        vnProgress::progress(static_cast<unsigned char>(finished / total * 100.0), banner);
    }
    vnCheckError(source);
}
