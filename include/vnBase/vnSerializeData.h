// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

class vnSerializeAdapter;

/// What knows how to put itself on a byte stream. A stream carries no type tags: the reader knows what comes.
class VN_BASE_API vnSerializeData
{
public:
    virtual ~vnSerializeData() noexcept(false) = default;
    virtual void write(vnSerializeAdapter* adapter) = 0;
    virtual void read(vnSerializeAdapter* adapter) = 0;

    /// Puts the item back in front of the stream, so that the next `read` of such an item yields it again.
    virtual void pushBack(vnSerializeAdapter* adapter) = 0;

    /// The bytes that `write` will put on that adapter.
    virtual unsigned int getDataSize(vnSerializeAdapter* adapter) const = 0;
};
