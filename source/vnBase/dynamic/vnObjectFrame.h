// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeString.h>

#include <dynamic/vnDynamicBytes.h>

/// The frame in which an object travels: the start marker, the name with a zero byte, the head, the payload.
namespace vnObjectFrame
{
constexpr unsigned int markerSize = 8;
constexpr unsigned char startMarker[markerSize] = {0xFE, 0xF0, 0xF0, 0xFA, 0xFE, 0xEE, 0xDA, 0x00};
constexpr unsigned char endMarker[markerSize] = {0xAB, 0xCD, 0xEF, 0x68, 0x06, 0x01, 0x25, 0x37};

// The head: checksum, payload size, end marker; big-endian.
constexpr unsigned int sizeOffset = 8;
constexpr unsigned int endOffset = 12;
constexpr unsigned int headSize = endOffset + markerSize;

/// The sum of the little-endian words of 8 bytes. What is left behind the last word does not count.
inline vnUInt64 checksum(const unsigned char* bytes, unsigned int size)
{
    vnUInt64 sum = 0;
    for (; size >= 8; size -= 8, bytes += 8)
        sum += vnDynamicBytes::get<vnUInt64>(bytes);
    return sum;
}

/// The stored form of either end of a channel.
inline void writeEnd(vnSerializeAdapter* adapter, const vnString& name, const vnString& url)
{
    vnSerializeString(name).write(adapter);
    vnSerializeString(url).write(adapter);
}

inline void readEnd(vnSerializeAdapter* adapter, vnString& name, vnString& url)
{
    vnSerializeString text;
    text.read(adapter);
    name = text.getText();
    text.read(adapter);
    url = text.getText();
}

inline unsigned int sizeOfEnd(const vnString& name, const vnString& url)
{
    return name.length() + url.length() + 2u;
}
} // namespace vnObjectFrame
