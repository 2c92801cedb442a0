// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

#include <string>

/// Gives its bytes one by one and lays nothing open.
class vnByteAdapter : public vnSerializeAdapter
{
public:
    explicit vnByteAdapter(std::string bytes) : m_bytes(std::move(bytes)) {}

protected:
    using vnSerializeAdapter::read_imp;
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        if (m_next == m_bytes.size())
        {
            setError("read beyond the end");
            return 0;
        }
        return static_cast<unsigned char>(m_bytes[m_next++]);
    }
    unsigned int length_imp() override { return static_cast<unsigned int>(m_bytes.size() - m_next); }

private:
    std::string m_bytes;
    std::size_t m_next = 0;
};
