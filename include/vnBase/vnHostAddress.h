// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

enum vnHostAddressType : unsigned int
{
    VN_HOST_ADDRESS_UNKNOWN = 0,
    VN_HOST_ADDRESS_IPV4 = 1
};

/// The address of a host in the Internet: none, or one of IPv4.
///
///     vnHostAddress address(127, 0, 0, 1);
///     std::puts(address.asString());
///
/// Thread-safety: a plain value.
class VN_BASE_API vnHostAddress
{
public:
    /// None.
    vnHostAddress() noexcept = default;

    /// The address a.b.c.d; as a number, `a` stands in the highest byte.
    vnHostAddress(unsigned char a, unsigned char b, unsigned char c, unsigned char d) noexcept
        : vnHostAddress(static_cast<unsigned int>(a) << 24 | static_cast<unsigned int>(b) << 16 |
                        static_cast<unsigned int>(c) << 8 | d)
    {
    }
    explicit vnHostAddress(unsigned int address) noexcept : m_type(VN_HOST_ADDRESS_IPV4), m_address(address)
    {
    }
    vnHostAddress(const vnHostAddress&) noexcept = default;
    vnHostAddress& operator=(const vnHostAddress&) noexcept = default;
    virtual ~vnHostAddress() noexcept(false);

    vnHostAddressType getHostAddressType() const noexcept { return m_type; }
    unsigned char isValid() const noexcept { return m_type != VN_HOST_ADDRESS_UNKNOWN; }

    /// As a number; for no address 0, and -1 of `asLongLong`.
    unsigned int asULong() const noexcept { return m_address; }
    vnInt64 asLongLong() const noexcept { return isValid() ? static_cast<vnInt64>(m_address) : -1; }

    /// "a.b.c.d"; "Unknown" for no address.
    vnString asString() const;

    bool operator==(const vnHostAddress& other) const noexcept
    {
        return m_type == other.m_type && m_address == other.m_address;
    }
    bool operator!=(const vnHostAddress& other) const noexcept { return !(*this == other); }

private:
    vnHostAddressType m_type = VN_HOST_ADDRESS_UNKNOWN;
    unsigned int m_address = 0;
};

/// The first IPv4 address of the first network interface whose name contains the text, in any case. 0.0.0.0,
/// which is a valid address, when there is none, or when the system does not tell. The loopback interface has
/// to be asked for by a text that is not empty.
///
/// Thread-safety: any thread.
VN_BASE_API vnHostAddress vnGetHostAddress(const vnString& adapter);
