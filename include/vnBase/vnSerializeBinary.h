// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

/// How a scalar travels: the bytes that it takes on a stream, and between them and the value. Enumerations
/// travel as 32-bit integers. Pointers travel as 32 bits and serve only as identities within one run of the
/// process, so on a 64-bit host what is read back is not the pointer.
template <class T>
class vnSerializeScalar
{
    static_assert(!std::is_same_v<T, wchar_t>, "wide text is char16_t: wchar_t differs between platforms");
    static_assert(!std::is_same_v<T, bool>, "truth values are unsigned char");

public:
    using Wire = std::conditional_t<
        std::is_pointer_v<T> || std::is_enum_v<T>, std::uint32_t,
        std::conditional_t<
            sizeof(T) == 1, std::uint8_t,
            std::conditional_t<sizeof(T) == 2, std::uint16_t,
                               std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>>;

    static Wire toWire(const T& value) noexcept
    {
        if constexpr (std::is_pointer_v<T>)
            return static_cast<Wire>(reinterpret_cast<std::uintptr_t>(value));
        else if constexpr (std::is_enum_v<T>)
        {
            static_assert(sizeof(T) <= sizeof(Wire), "enumerations travel as 32 bits");
            return static_cast<Wire>(value);
        }
        else
        {
            static_assert(std::is_arithmetic_v<T> && sizeof(Wire) == sizeof(T));
            Wire wire;
            std::memcpy(&wire, &value, sizeof wire);
            return wire;
        }
    }

    static T fromWire(Wire wire) noexcept
    {
        if constexpr (std::is_pointer_v<T>)
            return reinterpret_cast<T>(static_cast<std::uintptr_t>(wire));
        else if constexpr (std::is_enum_v<T>)
        {
            // By its bytes: a cast is not defined for what no enumerator has room for.
            const auto number = static_cast<std::underlying_type_t<T>>(wire);
            T value;
            std::memcpy(&value, &number, sizeof value);
            return value;
        }
        else
        {
            T value;
            std::memcpy(&value, &wire, sizeof value);
            return value;
        }
    }
};

/// A scalar as an item of streams: `unsigned char`, the integers, `float`, `double`, enumerations, pointers.
///
///     vnSerializeBinary<int> count(3);
///     count.write(adapter); // 00 00 00 03
///
/// The wire order is a property of the item and does not stand on the stream: 1, as nearly everywhere in the
/// library, is big-endian, 0 little-endian, on any host. A stream that ends within the item leaves the later
/// bytes of the old value; ask the adapter's `hasData(getDataSize(adapter))` before or its `hasError()`
/// behind.
template <class T>
class vnSerializeBinary : public vnSerializeData
{
public:
    explicit vnSerializeBinary(const T& value = T(), unsigned char bigEndian = 1)
        : m_bigEndian(bigEndian), m_value(value)
    {
    }

    const T& getValue() const noexcept { return m_value; }
    void setValue(const T& value) { m_value = value; }
    operator T() const noexcept { return m_value; }
    vnSerializeBinary& operator=(const T& value)
    {
        m_value = value;
        return *this;
    }

    unsigned char getBigEndian() const noexcept { return m_bigEndian; }
    void setBigEndian(unsigned char bigEndian) noexcept { m_bigEndian = bigEndian; }

    void write(vnSerializeAdapter* adapter) override
    {
        unsigned char bytes[size];
        encode(bytes);
        adapter->write(bytes, size);
    }

    void read(vnSerializeAdapter* adapter) override
    {
        unsigned char bytes[size];
        encode(bytes); // what stays of the old value when the stream ends
        adapter->read(bytes, size);
        decode(bytes);
    }

    void pushBack(vnSerializeAdapter* adapter) override
    {
        unsigned char bytes[size];
        encode(bytes);
        adapter->pushBack(bytes, size);
    }

    unsigned int getDataSize(vnSerializeAdapter*) const override { return size; }

private:
    using Scalar = vnSerializeScalar<T>;
    using Wire = typename Scalar::Wire;

    static constexpr unsigned int size = sizeof(Wire);
    static constexpr bool isHostBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

    // From the host's order to that of the stream, and back.
    Wire swapped(Wire wire) const noexcept
    {
        if ((m_bigEndian != 0) == isHostBigEndian)
            return wire;
        if constexpr (size == 2)
            return __builtin_bswap16(wire);
        else if constexpr (size == 4)
            return __builtin_bswap32(wire);
        else if constexpr (size == 8)
            return __builtin_bswap64(wire);
        else
            return wire;
    }

    void encode(unsigned char* bytes) const noexcept
    {
        const Wire wire = swapped(Scalar::toWire(m_value));
        std::memcpy(bytes, &wire, size);
    }

    void decode(const unsigned char* bytes) noexcept
    {
        Wire wire;
        std::memcpy(&wire, bytes, size);
        m_value = Scalar::fromWire(swapped(wire));
    }

    unsigned char m_bigEndian;
    T m_value;
};
