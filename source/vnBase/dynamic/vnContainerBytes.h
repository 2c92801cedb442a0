// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicWire.h>

/// The stream form of containers, and a walk over it in plain memory, which makes no container: that would
/// take far more memory than the bytes, and time with the square of many attributes.
namespace vnContainerBytes
{
constexpr unsigned char magic[] = {0x07, 0xCD, 0xBF, 0xFE}; // 0xFEBFCD07, little-endian
constexpr unsigned int headSize = sizeof magic + sizeof(unsigned int);

struct Attribute
{
    unsigned int hash; // of the name
    unsigned int nameLength;
    const unsigned char* name; // with a zero byte
    const unsigned char* end;  // of the value

    const unsigned char* value() const noexcept { return name + nameLength + 1; }

    /// The order of a container of one bucket. Equal hashes stand in the order of the bytes.
    bool operator<(const Attribute& other) const noexcept
    {
        return hash != other.hash ? hash < other.hash : name < other.name;
    }
};

/// Calls `use` with each attribute. Answers false when the bytes end before the end of the last one, which
/// may have been told then. Bytes that don't begin with the magic word are a container without attributes. Of
/// a name that no string holds the last bytes count.
template <class Use>
bool walk(const unsigned char* begin, const unsigned char* end, const Use& use)
{
    const auto size = static_cast<std::size_t>(end - begin);
    if (size < sizeof magic || std::memcmp(begin, magic, sizeof magic) != 0)
        return true;
    if (size < headSize)
        return false;
    const unsigned char* at = begin + headSize;
    for (auto left = vnDynamicBytes::get<unsigned int>(begin + sizeof magic); left > 0; --left)
    {
        const auto room = static_cast<std::size_t>(end - at);
        const void* const zero = room ? std::memchr(at, 0, room) : nullptr;
        const unsigned char* next = zero ? static_cast<const unsigned char*>(zero) + 1 : end;
        if (next == end)
            return false;
        const auto length = static_cast<unsigned int>(next - 1 - at) % (vnString::VN_MAX_LENGTH + 1u);
        const unsigned char* const name = next - 1 - length;
        const unsigned int hash = length ? vnString::hash(reinterpret_cast<const char*>(name), length) : 0;
        const bool isWhole = vnDynamicWire::skipQuickly(next, end);
        use(Attribute{hash, length, name, next});
        if (!isWhole)
            return false;
        at = next;
    }
    return true;
}
} // namespace vnContainerBytes
