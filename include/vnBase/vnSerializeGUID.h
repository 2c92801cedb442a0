// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnGUID.h>
#include <vnBase/vnSerializeData.h>

/// A GUID as an item of 16 bytes, in network order on any host (RFC 4122, 4.1.2).
class VN_BASE_API vnSerializeGUID : public vnSerializeData
{
public:
    vnSerializeGUID() noexcept = default;
    explicit vnSerializeGUID(const vnGUID& value) noexcept : m_value(value) {}

    const vnGUID& getValue() const noexcept { return m_value; }
    operator const vnGUID&() const noexcept { return m_value; }
    vnSerializeGUID& operator=(const vnGUID& value) noexcept
    {
        m_value = value;
        return *this;
    }

    void write(vnSerializeAdapter* adapter) override;

    /// A stream that ends within the item leaves the later bytes of the old value.
    void read(vnSerializeAdapter* adapter) override;
    void pushBack(vnSerializeAdapter* adapter) override;

    /// 16.
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

private:
    vnGUID m_value;
};
