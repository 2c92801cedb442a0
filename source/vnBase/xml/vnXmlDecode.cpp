// SPDX-License-Identifier: MIT
#include "vnXmlDecode.h"

#include <vnBase/vnDynamicArray.h>

#include <cstring>

namespace
{
constexpr std::string_view VN_AMPERSAND = "amp;";

struct Entity
{
    std::string_view end; // the name with its semicolon
    char character;
};

constexpr Entity entities[] = {
    {VN_AMPERSAND, '&'}, {"quot;", '"'}, {"apos;", '\''}, {"lt;", '<'}, {"gt;", '>'},
};
} // namespace

char vnXmlCharacterOf(std::string_view name) noexcept
{
    for (const Entity& entity : entities)
        if (entity.end.size() == name.size() + 1 && entity.end.substr(0, name.size()) == name)
            return entity.character;
    return 0;
}

vnString vnXmlDecodeAttribute(const vnString& value)
{
    std::string_view left(value.getString(), value.length());
    vnDynamicArray<char> decoded(value.length());
    while (const void* found = left.empty() ? nullptr : std::memchr(left.data(), '&', left.size()))
    {
        const auto plain = static_cast<std::size_t>(static_cast<const char*>(found) - left.data());
        decoded.append(left.data(), static_cast<unsigned int>(plain));
        left.remove_prefix(plain + 1);
        // The ampersand that comes out may begin the next entity. Nothing else that comes out can.
        while (left.substr(0, VN_AMPERSAND.size()) == VN_AMPERSAND)
            left.remove_prefix(VN_AMPERSAND.size());
        char character = '&';
        for (const Entity& entity : entities)
            if (left.substr(0, entity.end.size()) == entity.end)
            {
                character = entity.character;
                left.remove_prefix(entity.end.size());
                break;
            }
        decoded.append(character);
    }
    decoded.append(left.data(), static_cast<unsigned int>(left.size()));
    return vnString(decoded.data(), static_cast<unsigned short>(decoded.getSize()));
}
