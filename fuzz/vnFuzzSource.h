// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

#include <algorithm>
#include <string>

/// A source of unknown length that is read byte by byte, with a window of so many bytes behind each; it has
/// an error once it was read beyond its end.
class vnFuzzSource : public vnSerializeAdapter
{
public:
    explicit vnFuzzSource(const std::string& bytes, std::size_t window = 0) : m_bytes(bytes), m_window(window)
    {
    }

protected:
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        if (m_next == m_bytes.size())
        {
            setError("read beyond the end");
            return 0;
        }
        const auto* const bytes = reinterpret_cast<const unsigned char*>(m_bytes.data());
        const unsigned char byte = bytes[m_next++];
        const std::size_t open = std::min(m_window, m_bytes.size() - m_next);
        setReadWindow(bytes + m_next, bytes + m_next + open);
        m_next += open;
        return byte;
    }
    unsigned char hasData_imp() override { return m_next < m_bytes.size(); }

private:
    std::string m_bytes;
    std::size_t m_window;
    std::size_t m_next = 0;
};
