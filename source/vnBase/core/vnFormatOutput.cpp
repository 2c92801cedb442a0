// SPDX-License-Identifier: MIT
#include <core/vnFormatOutput.h>

#include <vnBase/vnMemory.h>

#include <algorithm>
#include <type_traits>

vnStringData& vnFormatOutput::scratch()
{
    if (!m_scratch)
    {
        // The block may stay in the pool, so it is no loss of whoever formats first.
        vnPrivateMemoryScope scope;
        m_scratch.emplace();
    }
    return m_scratch->getData();
}

void vnFormatOutput::giveBack()
{
    // The pool may need a node for it, which stays there like the scratch.
    vnPrivateMemoryScope scope;
    m_scratch.reset();
}

char* vnFormatOutput::numberSpace(unsigned int size)
{
    vnStringData& data = scratch();
    vnPrivateMemoryScope scope;
    data.m_numbers.setSize(size);
    return data.m_numbers.data();
}

void vnFormatOutput::grow(unsigned int more)
{
    vnStringData& data = scratch();
    vnPrivateMemoryScope scope;
    const unsigned int capacity = std::max(m_count + more, 2 * m_capacity);
    if (m_wide)
    {
        data.m_characters.setSize(capacity);
        m_wide = data.m_characters.data();
    }
    else
    {
        data.m_bytes.setSize(capacity);
        if (m_bytes == m_nearby)
            std::memcpy(data.m_bytes.data(), m_nearby, m_count);
        m_bytes = data.m_bytes.data();
    }
    m_capacity = capacity;
}

void vnFormatOutput::becomeWide()
{
    vnStringData& data = scratch();
    vnPrivateMemoryScope scope;
    data.m_characters.setSize(m_capacity);
    std::copy(m_bytes, m_bytes + m_count, data.m_characters.data());
    m_wide = data.m_characters.data();
}

void vnFormatOutput::becomeAscii()
{
    m_ascii = true;
    if (!m_wide)
        return;
    const char32_t* const from = m_wide;
    m_wide = nullptr;
    const unsigned int count = m_count;
    const unsigned int capacity = m_bytes == m_nearby ? sizeof m_nearby : scratch().m_bytes.getSize();
    m_capacity = capacity;
    m_count = 0;
    reserve(count);
    std::transform(from, from + count, m_bytes,
                   [](char32_t character) { return static_cast<char>(character); });
    m_count = count;
}

void vnFormatOutput::appendWidened(const char* text, unsigned int length)
{
    reserve(length);
    std::copy(text, text + length, m_wide + m_count);
    m_count += length;
}

void vnFormatOutput::appendCharacter(char32_t character)
{
    if (room() == 0)
        return;
    if (character >= 0x80 && !m_ascii && !m_wide)
        becomeWide();
    reserve(1);
    if (m_wide)
        m_wide[m_count++] = character;
    else
        m_bytes[m_count++] = static_cast<char>(character);
}

void vnFormatOutput::appendUTF8(const char* text, std::size_t length, std::size_t limit)
{
    for (std::size_t i = 0; i < length && limit > 0 && room() > 0;)
    {
        const std::size_t plain = std::min(vnUtf::plainLength(text + i, length - i), limit);
        appendBytes(text + i, plain);
        i += plain;
        limit -= plain;
        if (i == length || limit == 0)
            return;
        const unsigned char size = vnUtf::sequenceSize(text + i);
        appendCharacter(vnUtf::decode(text + i, size));
        i += size;
        --limit;
    }
}

void vnFormatOutput::appendFill(char byte, unsigned int count)
{
    count = std::min(count, room());
    reserve(count);
    if (m_wide)
        std::fill_n(m_wide + m_count, count, static_cast<char32_t>(byte));
    else
        std::memset(m_bytes + m_count, byte, count);
    m_count += count;
}

void vnFormatOutput::endBody(unsigned int blanks, char sign, unsigned int zeros, unsigned int trailing)
{
    const unsigned int body = bodyLength();
    const bool dropped = m_mark >= VN_LIMIT;
    m_limit = VN_LIMIT;
    if (dropped)
        return;
    // The padding is bounded by the width; what passes the limit here is cut at the end.
    const unsigned int front = blanks + (sign != 0) + zeros;
    reserve(front + trailing);
    const auto fill = [=](auto* start)
    {
        if (front)
            std::copy_backward(start, start + body, start + body + front);
        std::fill_n(start + front + body, trailing, ' ');
        start = std::fill_n(start, blanks, ' ');
        if (sign)
            *start++ = static_cast<std::decay_t<decltype(*start)>>(sign);
        std::fill_n(start, zeros, '0');
    };
    if (m_wide)
        fill(m_wide + m_mark);
    else
        fill(m_bytes + m_mark);
    m_count += front + trailing;
}
