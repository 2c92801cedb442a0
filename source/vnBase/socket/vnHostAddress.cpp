// SPDX-License-Identifier: MIT
#include <vnBase/vnHostAddress.h>

#include "socket/vnInterfacePlatform.h"

vnHostAddress::~vnHostAddress() noexcept(false) = default;

vnString vnHostAddress::asString() const
{
    if (!isValid())
        return "Unknown";
    return vnString::formatString("%d.%d.%d.%d", m_address >> 24, m_address >> 16 & 0xFF,
                                  m_address >> 8 & 0xFF, m_address & 0xFF);
}

vnHostAddress vnGetHostAddress(const vnString& adapter)
{
    for (const vnInterface& interface : vnGetInterfaces())
    {
        if (interface.address == 0 || (interface.isLoopback && adapter.isEmpty()))
            continue;
        if (interface.name.contains(adapter, 0, 0))
            return vnHostAddress(interface.address);
    }
    return vnHostAddress(0u);
}
