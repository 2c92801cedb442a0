// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

#include <string>

/// A source of unknown length that is read byte by byte, and has an error once it was read beyond its end.
class vnFuzzSource : public vnSerializeAdapter
{
public:
    explicit vnFuzzSource(const std::string& bytes) : m_bytes(bytes) {}

protected:
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        if (m_next < m_bytes.size())
            return static_cast<unsigned char>(m_bytes[m_next++]);
        setError("read beyond the end");
        return 0;
    }
    unsigned char hasData_imp() override { return m_next < m_bytes.size(); }

private:
    std::string m_bytes;
    std::size_t m_next = 0;
};
