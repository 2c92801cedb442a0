// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// The last eight bytes of a GUID: two of the clock sequence, six of the node.
struct vnGUIDBytes
{
    unsigned char bytes[8];

    unsigned char& operator[](unsigned int index) noexcept { return bytes[index]; }
    const unsigned char& operator[](unsigned int index) const noexcept { return bytes[index]; }
};

/// A globally unique identifier of 128 bits (RFC 4122).
///
///     vnGUID id = vnGUID::generateGUID();
///     vnString text = id.asString(); // {6BA7B810-9DAD-11D1-80B4-00C04FD430C8}
///     vnGUID same(text);
///
/// The text form has braces and 32 hexadecimal digits, of either case when it is read and upper case when it
/// is written. Constructing from anything else throws `vnFatalError` with a text that shows the bad place;
/// `setString` answers 0 instead.
///
/// It can be the key of a dictionary.
///
/// Thread-safety: a plain value. Any threads may generate at once.
class VN_BASE_API vnGUID
{
public:
    /// The null GUID: all bits 0.
    vnGUID() noexcept = default;
    explicit vnGUID(const vnString& text);
    vnGUID(const char* text, unsigned int length);
    vnGUID(const char16_t* text, unsigned int length);

    /// The first 16 and the last 16 digits of the text form.
    vnGUID(vnUInt64 high, vnUInt64 low) noexcept;
    vnGUID(unsigned int data1, unsigned short data2, unsigned short data3, const vnGUIDBytes& data4) noexcept
        : m_data1(data1), m_data2(data2), m_data3(data3), m_data4(data4)
    {
    }

    /// The 16 bytes in network order, as the `uuid_t` of the host's UUID library holds them.
    explicit vnGUID(const unsigned char (&uuid)[16]) noexcept;

    /// Takes over the text form and answers 1; a malformed text answers 0, reports nothing and changes
    /// nothing. Null is malformed.
    unsigned char setString(const char* text, unsigned int length) noexcept;
    unsigned char setString(const char16_t* text, unsigned int length) noexcept;
    unsigned char setString(const vnString& text) noexcept
    {
        return setString(text.getString(), text.length());
    }

    /// Becomes a new time-based GUID of this machine and thread. Those of one thread strictly increase in
    /// time.
    void generate();
    static vnGUID generateGUID();

    vnString asString() const;

    /// When a time-based GUID was generated, in seconds since 1970 as of `vnTime::systemSeconds()`. A double
    /// holds today's time to a quarter of a microsecond; `getTimestamp()` keeps neighbours apart.
    double getGenerationTime() const noexcept;

    /// The same in units of 100 ns since 1582-10-15, 60 bits.
    vnUInt64 getTimestamp() const noexcept;

    unsigned char isNull() const noexcept { return *this == vnGUID(); }

    /// How the GUID was made, by its version digit alone. The digit has this meaning for GUIDs of the
    /// standard layout, which `isStandardDCE()` tells. Name-based are the versions 3 and 5.
    unsigned char isTimeBased() const noexcept { return getVersion() == 1; }
    unsigned char isNameBased() const noexcept { return getVersion() == 3 || getVersion() == 5; }
    unsigned char isRandomBased() const noexcept { return getVersion() == 4; }
    unsigned char isStandardDCE() const noexcept { return (m_data4[0] & 0xC0) == 0x80; }

    unsigned int getData1() const noexcept { return m_data1; }
    unsigned short getData2() const noexcept { return m_data2; }
    unsigned short getData3() const noexcept { return m_data3; }
    const vnGUIDBytes& getData4() const noexcept { return m_data4; }

    /// For dictionaries; depends on all 128 bits, and is equal on all hosts.
    unsigned int hash() const noexcept;

    bool operator==(const vnGUID& other) const noexcept
    {
        return high() == other.high() && low() == other.low();
    }
    bool operator!=(const vnGUID& other) const noexcept { return !(*this == other); }

private:
    unsigned int getVersion() const noexcept { return m_data3 >> 12; }
    vnUInt64 high() const noexcept
    {
        return static_cast<vnUInt64>(m_data1) << 32 | static_cast<vnUInt64>(m_data2) << 16 | m_data3;
    }
    vnUInt64 low() const noexcept
    {
        vnUInt64 value = 0;
        for (const unsigned char byte : m_data4.bytes)
            value = value << 8 | byte;
        return value;
    }

    unsigned int m_data1 = 0;
    unsigned short m_data2 = 0;
    unsigned short m_data3 = 0;
    vnGUIDBytes m_data4 = {};
};

static_assert(sizeof(vnGUID) == 16);
