// SPDX-License-Identifier: MIT
#include "vnJsonOutput.h"

#include <vnBase/vnSerializeLex.h>

#include <core/vnUtfScan.h>

#include <algorithm>

namespace
{
unsigned char* putUnit(unsigned char* to, unsigned int unit)
{
    *to++ = static_cast<unsigned char>(unit);
    *to++ = static_cast<unsigned char>(unit >> 8);
    return to;
}

// The size of the character at `at`; 0 when the text ends within it, 1 for a byte that begins none.
unsigned int sizeAt(const unsigned char* at, const unsigned char* end)
{
    const unsigned int size = std::min<unsigned int>(vnUtf::leadSize(*at), 4);
    for (unsigned int i = 1; i < size; ++i)
    {
        if (at + i == end)
            return 0;
        if (!vnUtf::isContinuation(at[i]))
            return 1;
    }
    return size ? size : 1;
}

// A character above U+FFFF as a pair. A byte that is no UTF-8 as the character of its code, and not, as with
// wide strings elsewhere, as the end of the text: nothing is to be lost.
unsigned char* putCharacter(unsigned char* to, const unsigned char* at, unsigned int size)
{
    if (size == 1)
        return putUnit(to, *at);
    unsigned int character =
        vnUtf::decode(reinterpret_cast<const char*>(at), static_cast<unsigned char>(size));
    if (character < 0x10000)
        return putUnit(to, character);
    character -= 0x10000;
    return putUnit(putUnit(to, 0xD800 | (character >> 10 & 0x3FF)), 0xDC00 | (character & 0x3FF));
}
} // namespace

vnJsonOutput::vnJsonOutput(vnSerializeAdapter& adapter, unsigned int maxSize)
    : m_adapter(adapter), m_isWide(adapter.getAdapterFlags() & VN_ADAPTER_UNICODE), m_maxSize(maxSize),
      m_block(VN_BLOCK), m_next(m_block.data()), m_end(m_next + VN_BLOCK)
{
}

void vnJsonOutput::putLong(const unsigned char* text, std::size_t count)
{
    while (count > 0)
    {
        if (m_next == m_end)
            flush();
        const std::size_t step = std::min(count, static_cast<std::size_t>(m_end - m_next));
        std::memcpy(m_next, text, step);
        m_next += step;
        text += step;
        count -= step;
    }
}

void vnJsonOutput::fill(char byte, std::size_t count)
{
    while (count > 0)
    {
        if (m_next == m_end)
            flush();
        const std::size_t step = std::min(count, static_cast<std::size_t>(m_end - m_next));
        std::memset(m_next, byte, step);
        m_next += step;
        count -= step;
    }
}

void vnJsonOutput::flush()
{
    if (m_isWide)
    {
        flushWide();
        return;
    }
    const auto count = static_cast<unsigned int>(m_next - m_block.data());
    if (count)
        m_adapter.write(m_block.data(), count);
    m_written += count;
    m_next = m_block.data();
}

// A character that the block ends within stays for the next one.
void vnJsonOutput::flushWide()
{
    unsigned char units[1024];
    unsigned char* to = units;
    const unsigned char* at = m_block.data();
    while (at != m_next)
    {
        const unsigned int size = sizeAt(at, m_next);
        if (size == 0 && m_next == m_end)
            break;
        to = putCharacter(to, at, std::max(size, 1u));
        at += std::max(size, 1u);
        if (units + sizeof units - to < 4)
        {
            m_adapter.write(units, static_cast<unsigned int>(to - units));
            to = units;
        }
    }
    if (to != units)
        m_adapter.write(units, static_cast<unsigned int>(to - units));
    m_written += static_cast<std::size_t>(at - m_block.data());
    const auto left = static_cast<std::size_t>(m_next - at);
    std::memmove(m_block.data(), at, left);
    m_next = m_block.data() + left;
}
