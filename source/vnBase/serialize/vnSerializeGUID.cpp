// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeGUID.h>

#include <vnBase/vnSerializeAdapter.h>

namespace
{
constexpr unsigned int guidSize = 16;

void encode(const vnGUID& value, unsigned char* bytes)
{
    const unsigned int first = value.getData1();
    for (unsigned int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(first >> (24 - 8 * i));
    bytes[4] = static_cast<unsigned char>(value.getData2() >> 8);
    bytes[5] = static_cast<unsigned char>(value.getData2());
    bytes[6] = static_cast<unsigned char>(value.getData3() >> 8);
    bytes[7] = static_cast<unsigned char>(value.getData3());
    std::memcpy(bytes + 8, value.getData4().bytes, 8);
}
} // namespace

void vnSerializeGUID::write(vnSerializeAdapter* adapter)
{
    unsigned char bytes[guidSize];
    encode(m_value, bytes);
    adapter->write(bytes, guidSize);
}

void vnSerializeGUID::read(vnSerializeAdapter* adapter)
{
    unsigned char bytes[guidSize];
    encode(m_value, bytes);
    adapter->read(bytes, guidSize);
    m_value = vnGUID(bytes);
}

void vnSerializeGUID::pushBack(vnSerializeAdapter* adapter)
{
    unsigned char bytes[guidSize];
    encode(m_value, bytes);
    adapter->pushBack(bytes, guidSize);
}

unsigned int vnSerializeGUID::getDataSize(vnSerializeAdapter*) const
{
    return guidSize;
}
