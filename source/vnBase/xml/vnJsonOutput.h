// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnSerializeAdapter.h>

#include <cstring>

/// Collects the text that is written, and hands it to an adapter in blocks: as it is, or as UTF-16.
class vnJsonOutput
{
public:
    /// `maxSize` is how many bytes of text may be written; 0 for any number.
    vnJsonOutput(vnSerializeAdapter& adapter, unsigned int maxSize);
    vnJsonOutput(const vnJsonOutput&) = delete;
    vnJsonOutput& operator=(const vnJsonOutput&) = delete;

    /// Room for `count` bytes, `VN_MAX_PIECE` at most; `advance` tells where what was written there ends.
    unsigned char* reserve(unsigned int count)
    {
        if (static_cast<std::size_t>(m_end - m_next) < count)
            flush();
        return m_next;
    }
    void advance(unsigned char* to) noexcept { m_next = to; }

    void put(char byte)
    {
        *reserve(1) = static_cast<unsigned char>(byte);
        ++m_next;
    }
    void put(const unsigned char* text, std::size_t count)
    {
        if (static_cast<std::size_t>(m_end - m_next) < count)
        {
            putLong(text, count);
            return;
        }
        std::memcpy(m_next, text, count);
        m_next += count;
    }
    void fill(char byte, std::size_t count);

    /// Hands all that was written to the adapter.
    void flush();

    /// Whether more was written than allowed; what is beyond may be missing in the adapter.
    bool isFull() const noexcept
    {
        return m_maxSize && m_written + static_cast<std::size_t>(m_next - m_block.data()) > m_maxSize;
    }

    static constexpr unsigned int VN_MAX_PIECE = 256;

private:
    static constexpr unsigned int VN_BLOCK = 16384;

    void putLong(const unsigned char* text, std::size_t count);
    void flushWide();

    vnSerializeAdapter& m_adapter;
    bool m_isWide;
    unsigned int m_maxSize;
    vnUInt64 m_written = 0; // of what the adapter has
    vnArray<unsigned char> m_block;
    unsigned char* m_next;
    unsigned char* m_end;
};
