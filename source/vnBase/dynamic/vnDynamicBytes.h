// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <cstring>

/// Numbers as they stand in payloads: little-endian on any host. `putBig` and `getBig` are for the few places
/// where streams have them big-endian.
namespace vnDynamicBytes
{
template <class T>
T reversed(T value) noexcept
{
    static_assert(sizeof value == 1 || sizeof value == 2 || sizeof value == 4 || sizeof value == 8);
    if constexpr (sizeof value == 1)
        return value;
    else if constexpr (sizeof value == 2)
        return __builtin_bswap16(value);
    else if constexpr (sizeof value == 4)
        return __builtin_bswap32(value);
    else
        return __builtin_bswap64(value);
}

template <class T>
T swapped(T value) noexcept
{
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? value : reversed(value);
}

template <class T>
unsigned char* put(unsigned char* to, T value) noexcept
{
    value = swapped(value);
    std::memcpy(to, &value, sizeof value);
    return to + sizeof value;
}

template <class T>
T get(const unsigned char* from) noexcept
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return swapped(value);
}

template <class T>
unsigned char* putBig(unsigned char* to, T value) noexcept
{
    return put(to, reversed(value));
}

template <class T>
T getBig(const unsigned char* from) noexcept
{
    return reversed(get<T>(from));
}

/// The bits of a number as another type of its size.
template <class Bits, class T>
Bits bitsOf(const T& value) noexcept
{
    Bits bits;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}
} // namespace vnDynamicBytes
