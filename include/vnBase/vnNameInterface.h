// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// What has a name.
class VN_BASE_API vnNameInterface
{
public:
    vnNameInterface() = default;
    explicit vnNameInterface(const vnString& name) : m_name(name) {}
    virtual ~vnNameInterface() noexcept(false) = default;

    const vnString& getName() const noexcept { return m_name; }
    void setName(const vnString& name) { m_name = name; }

private:
    vnString m_name;
};
