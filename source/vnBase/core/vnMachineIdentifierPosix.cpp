// SPDX-License-Identifier: MIT
#include "vnMachineIdentifier.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace
{
// What tells the machine, as bytes of any kind.
struct Identity
{
    unsigned char bytes[256];
    std::size_t length = 0;
};

bool take(Identity& identity, const void* bytes, std::size_t length)
{
    if (length == 0 || length > sizeof identity.bytes)
        return false;
    std::memcpy(identity.bytes, bytes, length);
    identity.length = length;
    return true;
}

bool isLowerHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

// The file holds 32 hexadecimal digits; one of an image that never started has another text, or none.
bool readMachineId(Identity& identity, const char* path)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return false;
    char text[32];
    const ssize_t length = read(file, text, sizeof text);
    close(file);
    if (length != sizeof text)
        return false;
    return std::all_of(text, text + sizeof text, isLowerHexDigit) && take(identity, text, sizeof text);
}

const sockaddr_ll* hardwareAddress(const ifaddrs& entry)
{
    if (!entry.ifa_addr || entry.ifa_addr->sa_family != AF_PACKET || (entry.ifa_flags & IFF_LOOPBACK))
        return nullptr;
    // The platform hands its addresses out under the type of their common head.
    const auto* address = reinterpret_cast<const sockaddr_ll*>(entry.ifa_addr);
    static constexpr unsigned char none[6] = {};
    const bool usable =
        address->sll_halen == sizeof none && std::memcmp(address->sll_addr, none, sizeof none) != 0;
    return usable ? address : nullptr;
}

// The least of the addresses, since their order may change.
bool readHardwareAddress(Identity& identity)
{
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return false;
    const sockaddr_ll* least = nullptr;
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next)
    {
        const sockaddr_ll* address = hardwareAddress(*entry);
        if (address && (!least || std::memcmp(address->sll_addr, least->sll_addr, 6) < 0))
            least = address;
    }
    const bool found = least && take(identity, least->sll_addr, 6);
    freeifaddrs(list);
    return found;
}

bool readHostName(Identity& identity)
{
    utsname names;
    return uname(&names) == 0 && take(identity, names.nodename, std::strlen(names.nodename));
}

// The identity must not be seen in what programs give away, so a number of 64 bits is made of it: FNV-1a with
// a word of ours in front, stirred once more.
vnUInt64 hashed(const Identity& identity)
{
    vnUInt64 hash = 0xCBF29CE484222325ull;
    const auto add = [&hash](unsigned char byte) { hash = (hash ^ byte) * 0x100000001B3ull; };
    for (const char* letter = "vnBase"; *letter; ++letter)
        add(static_cast<unsigned char>(*letter));
    for (std::size_t i = 0; i < identity.length; ++i)
        add(identity.bytes[i]);
    hash ^= hash >> 32;
    hash *= 0xD6E8FEB86659FD93ull;
    return hash ^ hash >> 32;
}

vnUInt64 determine() noexcept
{
    Identity identity;
    readMachineId(identity, "/etc/machine-id") || readMachineId(identity, "/var/lib/dbus/machine-id") ||
        readHardwareAddress(identity) || readHostName(identity);
    return hashed(identity);
}
} // namespace

vnUInt64 vnMachineIdentifier() noexcept
{
    static const vnUInt64 identifier = determine();
    return identifier;
}
