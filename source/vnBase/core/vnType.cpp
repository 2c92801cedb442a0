// SPDX-License-Identifier: MIT
#include <vnBase/vnType.h>

#include <vnBase/vnMemory.h>

#include <cstring>

namespace
{
const char* copiedName(const char* name)
{
    constexpr std::size_t limit = 255;
    const std::size_t length = strnlen(name, limit);
    char* copy = static_cast<char*>(vn_malloc(static_cast<unsigned int>(length + 1)));
    if (!copy)
        vnThrowBadAlloc(__FILE__, __LINE__);
    std::memcpy(copy, name, length);
    copy[length] = '\0';
    return copy;
}
} // namespace

vnType::vnType(vnType* parent, const char* name) : m_parent(parent), m_name(copiedName(name)), m_ownsName(1)
{
}

vnType::vnType(const vnType& other) noexcept : m_parent(other.m_parent), m_name(other.m_name), m_ownsName(0)
{
}

vnType& vnType::operator=(const vnType& other) noexcept
{
    if (this == &other)
        return *this;
    m_parent = other.m_parent;
    if (m_name == other.m_name)
        return *this; // a copy of this one, which lives on the name that is owned here
    if (m_ownsName)
        vn_free(const_cast<char*>(m_name));
    m_name = other.m_name;
    m_ownsName = 0;
    return *this;
}

vnType::~vnType() noexcept(false)
{
    if (m_ownsName)
        vn_free(const_cast<char*>(m_name));
}

unsigned char vnType::isDerivedFrom(const vnType* ancestor) const noexcept
{
    if (!ancestor)
        return 0;
    for (const vnType* type = m_parent; type; type = type->m_parent)
        if (*type == *ancestor)
            return 1;
    return 0;
}

const char* vnTypeInterface::getTypeName() const
{
    const vnType* type = getType();
    return type ? type->getName() : nullptr;
}

unsigned char vnTypeInterface::isOfType(const vnType* type) const
{
    const vnType* own = getType();
    return own && type && (*own == *type || own->isDerivedFrom(type));
}

unsigned char vnTypeInterface::isExactType(const vnType* type) const
{
    const vnType* own = getType();
    return own && type && *own == *type;
}
