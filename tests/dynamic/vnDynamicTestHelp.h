// SPDX-License-Identifier: MIT
#pragma once

#include "../core/vnTextHelpers.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDynamicType.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

inline Bytes operator+(Bytes bytes, const Bytes& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

inline Bytes payloadOf(const vnDynamicType& value)
{
    return Bytes(value.getPayload().begin(), value.getPayload().end());
}

inline void put(vnSerializeAdapter& adapter, const Bytes& bytes)
{
    adapter.write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

/// Bytes that come first in, first out. A block that is read ends without an error.
class Queue : public vnSerializeAdapterQueue
{
public:
    explicit Queue(const Bytes& bytes = Bytes()) : vnSerializeAdapterQueue(VN_QUEUE_FIFO, 1000)
    {
        put(*this, bytes);
    }
};

/// Takes what an adapter holds.
inline Bytes contentOf(vnSerializeAdapter& adapter)
{
    Bytes bytes(adapter.length());
    adapter.read(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return bytes;
}

inline Bytes written(vnSerializeData& item)
{
    Queue adapter;
    item.write(&adapter);
    EXPECT_EQ(item.getDataSize(&adapter), adapter.length());
    return contentOf(adapter);
}

/// What a value of these bytes reads as.
inline vnDynamicType readFrom(const Bytes& bytes)
{
    Queue adapter(bytes);
    vnDynamicType value;
    value.read(&adapter);
    EXPECT_EQ(adapter.length(), 0u);
    return value;
}

/// A source of unknown length. It fails once `failing` bytes were read.
class UnknownLength : public vnSerializeAdapter
{
public:
    explicit UnknownLength(const Bytes& bytes, std::size_t failing = ~std::size_t(0))
        : m_bytes(bytes), m_failing(failing)
    {
    }
    unsigned char isAtEnd() const { return m_next == m_bytes.size(); }

protected:
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        if (m_next >= m_failing)
            vnExceptionThrows::vnThrowWarning("source failed");
        if (!isAtEnd())
            return m_bytes[m_next++];
        setError("read beyond end");
        return 0;
    }
    unsigned char hasData_imp() override { return !isAtEnd(); }

private:
    Bytes m_bytes;
    std::size_t m_failing;
    std::size_t m_next = 0;
};

/// An object that throws when it goes.
class ThrowsOnDestruction : public vnReference
{
public:
    ~ThrowsOnDestruction() noexcept(false) override { vnExceptionThrows::vnThrowWarning("gone"); }
};
