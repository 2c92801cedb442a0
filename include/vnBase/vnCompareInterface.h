// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <cstdint>
#include <cstring>

/// Keys for dictionaries. A key class offers `hash()` and `operator==`; these wrap the plain types.
///
///     vnDict<vnUInt32CompareInterface, vnThing> things;
///     things.enter(17u, thing);

/// Two halves of a 64-bit word folded to a hash.
inline unsigned int vnFoldedHash(vnUInt64 bits) noexcept
{
    return static_cast<unsigned int>(bits) + static_cast<unsigned int>(bits >> 32);
}

/// The identity of an object: equal for one address.
class vnInstanceCompareInterface
{
public:
    vnInstanceCompareInterface(const void* instance = nullptr) noexcept : m_instance(instance) {}

    /// The address; of a 64-bit address both words count.
    unsigned int hash() const noexcept { return vnFoldedHash(reinterpret_cast<std::uintptr_t>(m_instance)); }
    bool operator==(const vnInstanceCompareInterface& other) const noexcept
    {
        return m_instance == other.m_instance;
    }
    const void* getInstance() const noexcept { return m_instance; }

private:
    const void* m_instance;
};

/// A 32-bit number, its own hash.
class vnUInt32CompareInterface
{
public:
    vnUInt32CompareInterface(unsigned int value = 0) noexcept : m_value(value) {}

    unsigned int hash() const noexcept { return m_value; }
    bool operator==(const vnUInt32CompareInterface& other) const noexcept { return m_value == other.m_value; }
    unsigned int getValue() const noexcept { return m_value; }

private:
    unsigned int m_value;
};

/// A 64-bit number; the hash is the sum of its words.
class vnUInt64CompareInterface
{
public:
    vnUInt64CompareInterface(vnUInt64 value = 0) noexcept : m_value(value) {}

    unsigned int hash() const noexcept { return vnFoldedHash(m_value); }
    bool operator==(const vnUInt64CompareInterface& other) const noexcept { return m_value == other.m_value; }
    vnUInt64 getValue() const noexcept { return m_value; }

private:
    vnUInt64 m_value;
};

/// A double by its bits: -0.0 differs from 0.0, and NaN equals itself.
class vnValueCompareInterface
{
public:
    vnValueCompareInterface(double value = 0) noexcept { std::memcpy(&m_bits, &value, sizeof m_bits); }

    unsigned int hash() const noexcept { return vnFoldedHash(m_bits); }
    bool operator==(const vnValueCompareInterface& other) const noexcept { return m_bits == other.m_bits; }
    double getValue() const noexcept
    {
        double value;
        std::memcpy(&value, &m_bits, sizeof value);
        return value;
    }

private:
    vnUInt64 m_bits;
};
