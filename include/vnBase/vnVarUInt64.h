// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeData.h>

/// An unsigned integer as an item of 1 to 9 bytes: groups of 7 bits, least significant first, with the top
/// bit set on every byte behind which more follow (LEB128). Values of 2^63 and more are outside what the item
/// can carry: their ninth byte has the top bit set, and stored streams have it so.
class VN_BASE_API vnVarUInt64 : public vnSerializeData
{
public:
    static constexpr unsigned int VN_MAX_SIZE = 9;

    vnVarUInt64(vnUInt64 value = 0) noexcept : m_value(value) {}

    vnUInt64 getValue() const noexcept { return m_value; }
    operator vnUInt64() const noexcept { return m_value; }
    vnVarUInt64& operator=(vnUInt64 value) noexcept
    {
        m_value = value;
        return *this;
    }

    void write(vnSerializeAdapter* adapter) override;

    /// Reads up to the first byte with a clear top bit, however many there are; groups beyond the 64th bit
    /// add nothing.
    void read(vnSerializeAdapter* adapter) override;
    void pushBack(vnSerializeAdapter* adapter) override;
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    /// The same for plain memory: writes up to `VN_MAX_SIZE` bytes and returns how many.
    static unsigned int encode(vnUInt64 value, unsigned char* to) noexcept;

    /// Reads a value, or what there is of it before `end`, and moves `from` over it.
    static vnUInt64 decode(const unsigned char*& from, const unsigned char* end) noexcept;

    /// The bytes that `encode` writes.
    static unsigned int sizeOf(vnUInt64 value) noexcept;

private:
    vnUInt64 m_value;
};
