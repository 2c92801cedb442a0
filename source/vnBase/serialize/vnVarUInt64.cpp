// SPDX-License-Identifier: MIT
#include <vnBase/vnVarUInt64.h>

#include <vnBase/vnSerializeAdapter.h>

#include <algorithm>

namespace
{
constexpr unsigned int groupBits = 7;
constexpr unsigned char moreFollow = 0x80;
} // namespace

unsigned int vnVarUInt64::encode(vnUInt64 value, unsigned char* to) noexcept
{
    unsigned int count = 0;
    while (count < VN_MAX_SIZE)
    {
        const auto group = static_cast<unsigned char>(value & 0x7F);
        value >>= groupBits;
        to[count++] = value ? group | moreFollow : group;
        if (!value)
            break;
    }
    // From 2^63 on the ninth byte says that one more follows, and none does: stored streams have it so.
    return count;
}

vnUInt64 vnVarUInt64::decode(const unsigned char*& from, const unsigned char* end) noexcept
{
    vnUInt64 value = 0;
    for (unsigned int shift = 0; from != end; shift = std::min(shift + groupBits, 64u))
    {
        const unsigned char byte = *from++;
        if (shift < 64)
            value |= static_cast<vnUInt64>(byte & 0x7F) << shift;
        if (!(byte & moreFollow))
            break;
    }
    return value;
}

unsigned int vnVarUInt64::sizeOf(vnUInt64 value) noexcept
{
    unsigned int size = 1;
    for (vnUInt64 rest = value >> groupBits; rest && size < VN_MAX_SIZE; rest >>= groupBits)
        ++size;
    return size;
}

void vnVarUInt64::write(vnSerializeAdapter* adapter)
{
    unsigned char bytes[VN_MAX_SIZE];
    const unsigned int count = encode(m_value, bytes);
    for (unsigned int i = 0; i < count; ++i)
        adapter->write(bytes[i]);
}

void vnVarUInt64::read(vnSerializeAdapter* adapter)
{
    m_value = 0;
    for (unsigned int shift = 0;;)
    {
        const unsigned char byte = adapter->read();
        if (shift < 64)
        {
            m_value |= static_cast<vnUInt64>(byte & 0x7F) << shift;
            shift += groupBits;
        }
        if (!(byte & moreFollow))
            return;
    }
}

void vnVarUInt64::pushBack(vnSerializeAdapter* adapter)
{
    unsigned char bytes[VN_MAX_SIZE];
    adapter->pushBack(bytes, encode(m_value, bytes));
}

unsigned int vnVarUInt64::getDataSize(vnSerializeAdapter*) const
{
    return sizeOf(m_value);
}
