// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDynamicType.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

inline Bytes payloadOf(const vnDynamicType& value)
{
    return Bytes(value.getPayload().begin(), value.getPayload().end());
}

inline Bytes written(vnSerializeData& item)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO, 1000);
    item.write(&adapter);
    Bytes bytes(adapter.length());
    adapter.read(bytes.data(), static_cast<unsigned int>(bytes.size()));
    EXPECT_EQ(item.getDataSize(&adapter), bytes.size());
    return bytes;
}

inline void put(vnSerializeAdapter& adapter, const Bytes& bytes)
{
    adapter.write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

/// What a value of these bytes reads as.
inline vnDynamicType readFrom(const Bytes& bytes)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO, 1000);
    put(adapter, bytes);
    vnDynamicType value;
    value.read(&adapter);
    EXPECT_EQ(adapter.length(), 0u);
    return value;
}

/// The text of the fatal error that a call throws; empty when it throws none.
template <class Call>
std::string faultOf(const Call& call)
{
    try
    {
        call();
    }
    catch (const vnFatalError& error)
    {
        return error.getErrorString().getString();
    }
    return std::string();
}
