// SPDX-License-Identifier: MIT
#include "socket/vnInterfacePlatform.h"

#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <vector>

namespace
{
struct FreeAddresses
{
    void operator()(ifaddrs* list) const noexcept { ::freeifaddrs(list); }
};

unsigned int addressOf(const ifaddrs& entry)
{
    sockaddr_in address;
    if (!entry.ifa_addr || entry.ifa_addr->sa_family != AF_INET)
        return 0;
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    return ntohl(address.sin_addr.s_addr);
}

vnInterface& findOrAdd(std::vector<vnInterface>& interfaces, const ifaddrs& entry)
{
    for (vnInterface& known : interfaces)
        if (known.name == entry.ifa_name)
            return known;
    interfaces.emplace_back();
    interfaces.back().name = entry.ifa_name;
    interfaces.back().isLoopback = (entry.ifa_flags & IFF_LOOPBACK) != 0;
    return interfaces.back();
}
} // namespace

vnArray<vnInterface> vnGetInterfaces()
{
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return vnArray<vnInterface>();
    const std::unique_ptr<ifaddrs, FreeAddresses> owner(list);
    std::vector<vnInterface> interfaces; // the system has an entry for each address of each interface
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next)
    {
        vnInterface& known = findOrAdd(interfaces, *entry);
        if (known.address == 0)
            known.address = addressOf(*entry);
    }
    return vnArray<vnInterface>(interfaces.data(), static_cast<unsigned int>(interfaces.size()));
}
