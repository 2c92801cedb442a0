// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

class vnString;

/// A typed argument of a format, carried by value: 16 bytes, no allocation. Constructors are implicit, so
/// that numbers, texts and strings can simply stand in the call:
///
///     text.format("%s: %d of %d", name, done, total);
///
/// Numbers up to 32 bits and doubles travel as a double; 64-bit integers keep all their bits. A string
/// argument is the address of the caller's `vnString`, which must outlive the call. An 8-bit or 16-bit text
/// is a pointer, read by "%s" and "%S"; `nullptr` is a null pointer, which prints nothing there, but `NULL`
/// is the number 0. `wchar_t` text does not compile: wide text is `char16_t` here.
class vnArgument
{
public:
    vnArgument() noexcept : m_payload(0), m_tag(VN_VOID) {}
    vnArgument(const signed char& value) noexcept : vnArgument(static_cast<double>(value)) {}
    vnArgument(const unsigned char& value) noexcept : vnArgument(static_cast<double>(value)) {}
    vnArgument(const short& value) noexcept : vnArgument(static_cast<double>(value)) {}
    vnArgument(const unsigned short& value) noexcept : vnArgument(static_cast<double>(value)) {}
    vnArgument(const int& value) noexcept : vnArgument(static_cast<double>(value)) {}
    vnArgument(const unsigned int& value) noexcept : vnArgument(static_cast<double>(value)) {}
    vnArgument(const long& value) noexcept : vnArgument(static_cast<LongArgument>(value)) {}
    vnArgument(const unsigned long& value) noexcept : vnArgument(static_cast<UnsignedLongArgument>(value)) {}
    vnArgument(const double& value) noexcept : m_tag(VN_DOUBLE)
    {
        std::memcpy(&m_payload, &value, sizeof value);
    }
    vnArgument(const void* value) noexcept
        : m_payload(reinterpret_cast<std::uintptr_t>(value)), m_tag(VN_POINTER)
    {
    }
    vnArgument(const vnInt64& value) noexcept : m_payload(static_cast<vnUInt64>(value)), m_tag(VN_INT64) {}
    vnArgument(const vnUInt64& value) noexcept : m_payload(value), m_tag(VN_UINT64) {}
    vnArgument(const vnString& value) noexcept
        : m_payload(reinterpret_cast<std::uintptr_t>(&value)), m_tag(VN_STRING)
    {
    }
    vnArgument(std::nullptr_t) noexcept : vnArgument(static_cast<const void*>(nullptr)) {}
    vnArgument(const wchar_t*) = delete;

    bool isVoid() const noexcept { return m_tag == VN_VOID; }
    bool isDouble() const noexcept { return m_tag == VN_DOUBLE; }
    bool isPointer() const noexcept { return m_tag == VN_POINTER; }
    bool isLongLong() const noexcept { return m_tag == VN_INT64; }
    bool isULongLong() const noexcept { return m_tag == VN_UINT64; }
    bool isString() const noexcept { return m_tag == VN_STRING; }

    /// The value as a double. The payload of pointers and 64-bit integers is converted as signed; that of any
    /// other argument is read as a double. A void argument reads as 0.
    operator double() const noexcept
    {
        if (carriesInteger())
            return static_cast<double>(static_cast<vnInt64>(m_payload));
        return asDouble();
    }

    /// The payload of pointers and 64-bit integers; otherwise the double truncated (clamped to the range).
    operator void*() const noexcept
    {
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(getUInt64()));
    }
    vnInt64 getInt64() const noexcept
    {
        return carriesInteger() ? static_cast<vnInt64>(m_payload) : truncated(asDouble());
    }
    vnUInt64 getUInt64() const noexcept
    {
        if (carriesInteger())
            return m_payload;
        const double value = asDouble();
        if (value >= 9223372036854775808.0)
            return value < 18446744073709551616.0 ? static_cast<vnUInt64>(value) : ~0ull;
        return static_cast<vnUInt64>(truncated(value));
    }

    /// The caller's string; throws `vnFatalError` for any other argument.
    const vnString& getString() const
    {
        if (!isString())
            throwNoString();
        return *reinterpret_cast<const vnString*>(static_cast<std::uintptr_t>(m_payload));
    }

private:
    enum Tag : unsigned char
    {
        VN_VOID = 0,
        VN_DOUBLE = 1,
        VN_POINTER = 2,
        VN_INT64 = 3,
        VN_UINT64 = 4,
        VN_STRING = 5
    };

    // A long is a 64-bit value where it has 64 bits, and a plain number where it has 32.
    template <bool wide, class Wide, class Narrow>
    struct Choose
    {
        using Type = Narrow;
    };
    template <class Wide, class Narrow>
    struct Choose<true, Wide, Narrow>
    {
        using Type = Wide;
    };
    using LongArgument = Choose<(sizeof(long) > 4), vnInt64, double>::Type;
    using UnsignedLongArgument = Choose<(sizeof(long) > 4), vnUInt64, double>::Type;

    bool carriesInteger() const noexcept { return m_tag >= VN_POINTER && m_tag <= VN_UINT64; }

    double asDouble() const noexcept
    {
        if (m_tag == VN_VOID)
            return 0.0;
        double value;
        std::memcpy(&value, &m_payload, sizeof value);
        return value;
    }

    static vnInt64 truncated(double value) noexcept
    {
        if (value >= 9223372036854775808.0)
            return 9223372036854775807ll;
        if (value >= -9223372036854775808.0)
            return static_cast<vnInt64>(value);
        return value < 0 ? -9223372036854775807ll - 1 : 0; // NaN is neither
    }

    [[noreturn]] VN_BASE_API static void throwNoString();

    vnUInt64 m_payload;
    Tag m_tag;
};

static_assert(sizeof(vnArgument) == 16);

/// The arguments of one call, by reference. An index past the end reads as a void argument.
class vnArgumentList
{
public:
    static constexpr unsigned int VN_MAX_ARGUMENTS = 16;

    vnArgumentList() noexcept : m_arguments(nullptr), m_count(0) {}
    vnArgumentList(const vnArgument* arguments, unsigned int count) noexcept
        : m_arguments(arguments), m_count(count)
    {
    }

    unsigned int getCount() const noexcept { return m_count; }
    vnArgument operator[](unsigned int index) const noexcept
    {
        return index < m_count ? m_arguments[index] : vnArgument();
    }

private:
    const vnArgument* m_arguments;
    unsigned int m_count;
};

/// The arguments of one call, on the stack of the caller. The variadic operations of the library build one
/// and hand it on as a `vnArgumentList`.
template <std::size_t N>
class vnArgumentPack
{
public:
    template <class... Args>
    explicit vnArgumentPack(const Args&... args) noexcept : m_arguments{vnArgument(args)...}
    {
        static_assert(N <= vnArgumentList::VN_MAX_ARGUMENTS, "a format takes up to 16 arguments");
    }
    operator vnArgumentList() const noexcept { return vnArgumentList(m_arguments, N); }

private:
    vnArgument m_arguments[N];
};

template <>
class vnArgumentPack<0>
{
public:
    operator vnArgumentList() const noexcept { return vnArgumentList(); }
};
