// SPDX-License-Identifier: MIT
#include <vnBase/vnVarUInt64.h>

#include <vnBase/vnSerializeAdapter.h>

namespace
{
constexpr unsigned int groupBits = 7;
constexpr unsigned char moreFollow = 0x80;
} // namespace

unsigned int vnVarUInt64::encode(unsigned char* bytes) const noexcept
{
    vnUInt64 rest = m_value;
    unsigned int count = 0;
    while (count < VN_MAX_SIZE)
    {
        const auto group = static_cast<unsigned char>(rest & 0x7F);
        rest >>= groupBits;
        bytes[count++] = rest ? group | moreFollow : group;
        if (!rest)
            break;
    }
    // From 2^63 on the ninth byte says that one more follows, and none does: stored streams have it so.
    return count;
}

void vnVarUInt64::write(vnSerializeAdapter* adapter)
{
    unsigned char bytes[VN_MAX_SIZE];
    const unsigned int count = encode(bytes);
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
    adapter->pushBack(bytes, encode(bytes));
}

unsigned int vnVarUInt64::getDataSize(vnSerializeAdapter*) const
{
    unsigned int size = 1;
    for (vnUInt64 rest = m_value >> groupBits; rest && size < VN_MAX_SIZE; rest >>= groupBits)
        ++size;
    return size;
}
