// SPDX-License-Identifier: MIT
#include "vnJsonSource.h"

#include <core/vnUtfScan.h>

#include <algorithm>

void vnJsonSource::settle()
{
    if (!m_begin)
        return;
    if (m_units > 0)
    {
        if (next == m_begin)
            m_parser.pushBackTokens(m_units);
    }
    else if (next != m_begin)
    {
        m_cursor.takeLines(static_cast<unsigned int>(next - m_begin));
        m_cursor.forget();
    }
    m_units = 0;
    m_begin = next = end = nullptr;
}

bool vnJsonSource::isWide()
{
    m_cursor.detect();
    // Behind a mark may be nothing.
    return m_cursor.hasData() && !m_cursor.isByteText() && m_cursor.getMode() != vnParserCursor::ASCII;
}

bool vnJsonSource::refill()
{
    settle();
    if (!m_cursor.hasData())
        return false;
    checkSize();
    // Bytes that are UTF-8 are passed through, so that characters above U+FFFF, which are no tokens, stay.
    if (m_cursor.getMode() == vnParserCursor::ASCII)
        m_parser.useUtf8(0);
    const bool isMemory = m_cursor.openMemory();
    if (m_cursor.getMode() == vnParserCursor::NONE || m_cursor.next() == m_cursor.end())
    {
        takeCharacter();
        return true;
    }
    m_begin = next = m_cursor.next();
    end = m_cursor.end();
    m_isMemory = isMemory;
    if (isMemory && !m_memory)
        m_memory = next;
    if (m_maxSize)
    {
        const std::size_t left = m_maxSize - (m_parser.getTokenPos() - m_start);
        end = next + std::min(static_cast<std::size_t>(end - next), left);
    }
    return true;
}

void vnJsonSource::checkSize() const
{
    if (m_maxSize == 0 || m_parser.getTokenPos() - m_start < m_maxSize)
        return;
    m_parser.setError("The text is longer than %d characters", m_maxSize);
    throw vnBasicParseException(0);
}

void vnJsonSource::takeCharacter()
{
    unsigned int character = m_parser.getNextToken(0);
    m_units = 1;
    unsigned char size = 1;
    if (m_cursor.isByteText())
        m_character[0] = static_cast<unsigned char>(character);
    else
    {
        if (character >> 10 == 0xD800 >> 10 && m_cursor.hasData())
        {
            const unsigned int low = m_parser.getNextToken(0);
            if (low >> 10 == 0xDC00 >> 10)
            {
                character = 0x10000 + ((character & 0x3FF) << 10 | (low & 0x3FF));
                m_units = 2;
            }
            else
                m_parser.pushBackTokens(1);
        }
        size = vnUtf::sizeOf(character);
        vnUtf::encode(reinterpret_cast<char*>(m_character), character, size);
    }
    m_begin = next = m_character;
    end = next + size;
}
