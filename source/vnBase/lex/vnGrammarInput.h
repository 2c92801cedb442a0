// SPDX-License-Identifier: MIT
#pragma once

#include "vnParserCursor.h"

/// The input of a walk. While bytes of the adapter's window are read and given back none of which is a line
/// feed, nothing but two pointers moves: how far the walk came, and where it stands. That is enough to tell
/// the parser later, by `close`, which must run before anybody else may touch it; `open` takes up what others
/// did. All else goes through the cursor.
class vnGrammarInput
{
public:
    using Mode = vnParserCursor::Mode;

    explicit vnGrammarInput(vnBasicParser& parser) noexcept : m_cursor(parser) {}

    void open()
    {
        m_isAllThere = m_cursor.openMemory();
        m_mode = m_cursor.getMode();
        m_maxByte = m_mode == vnParserCursor::BYTES ? 0xFF : 0x7F;
        reopen();
    }
    void close()
    {
        settle();
        m_cursor.leave();
        m_limit = m_end = m_next;
        m_isAllThere = false;
    }

    /// What the parser tells of line, column and position is right.
    void settle()
    {
        if (m_far == m_begin)
            return;
        const auto count = static_cast<unsigned int>(m_next - m_begin);
        m_cursor.takeAndReturn(static_cast<unsigned int>(m_far - m_begin),
                               static_cast<unsigned int>(m_far - m_next));
        m_base += count;
        m_begin = m_far = m_next;
    }

    Mode getMode() const noexcept { return m_mode; }
    unsigned int getPosition() const noexcept { return m_base + static_cast<unsigned int>(m_next - m_begin); }

    /// The bytes that can be read as they are: `next` up to `limit`, each one to be asked by `isPlain`.
    const unsigned char* next() const noexcept { return m_next; }
    const unsigned char* limit() const noexcept { return m_limit; }
    std::size_t getOpen() const noexcept { return static_cast<std::size_t>(m_limit - m_next); }
    bool isPlain(unsigned char byte) const noexcept { return byte != '\n' && byte <= m_maxByte; }

    /// Whether the bytes up to the limit are all that there is.
    bool isAllThere() const noexcept
    {
        return m_isAllThere && m_mode != vnParserCursor::NONE && m_limit == m_end;
    }

    /// Whether the parser remembers the same when the next byte is read and given back as when it is not.
    bool canLook() const noexcept { return m_next < m_far || m_next < m_free; }

    /// Consumes plain bytes, or reads them and gives them back.
    void take(std::size_t count) noexcept
    {
        m_next += count;
        m_far = std::max(m_far, m_next);
    }
    void look(std::size_t count) noexcept { m_far = std::max(m_far, m_next + count); }

    /// Consumes bytes up to the limit some of which may be line feeds.
    void takeLines(std::size_t count)
    {
        if (!std::memchr(m_next, '\n', count))
        {
            take(count);
            return;
        }
        settle();
        m_cursor.takeLines(static_cast<unsigned int>(count));
        reopen();
    }

    bool hasData()
    {
        if (m_next < m_limit)
            return true;
        if (isAllThere())
            return false;
        settle();
        const bool is = m_cursor.hasData();
        open();
        return is;
    }

    void moveTo(unsigned int position)
    {
        const unsigned int offset = position - m_base; // of one before the base it is large
        if (offset <= static_cast<std::size_t>(m_far - m_begin))
        {
            m_next = m_begin + offset;
            return;
        }
        settle();
        m_cursor.moveTo(position);
        open();
    }
    void giveBack(unsigned int count)
    {
        if (count <= static_cast<std::size_t>(m_next - m_begin))
        {
            m_next -= count;
            return;
        }
        settle();
        m_cursor.giveBack(count);
        open();
    }

    /// Whether all from there to where the walk stands is in the bytes between which nothing but it moves.
    bool isPlainSince(unsigned int position) const noexcept
    {
        return position - m_base <= static_cast<std::size_t>(m_next - m_begin);
    }

    /// See the cursor.
    bool isInLine(unsigned int position) const noexcept { return m_cursor.isInLine(position); }
    void checkReturn(unsigned int count)
    {
        if (count <= static_cast<std::size_t>(m_next - m_begin))
            return;
        settle();
        m_cursor.checkReturn(count);
    }
    bool isByteText() const noexcept { return m_cursor.isByteText(); }
    void detect()
    {
        settle();
        m_cursor.detect();
        open();
    }
    char16_t takeAny()
    {
        settle();
        const auto character = static_cast<char16_t>(m_cursor.takeAny());
        open();
        return character;
    }

private:
    // The parser can give back all from the begin to the limit.
    void reopen() noexcept
    {
        m_base = m_cursor.getPosition();
        m_begin = m_next = m_far = m_free = m_limit = m_end = nullptr;
        if (m_mode == vnParserCursor::NONE)
            return;
        m_begin = m_next = m_far = m_cursor.next();
        m_end = m_cursor.end();
        const auto size = static_cast<std::size_t>(m_end - m_begin);
        m_limit = m_begin + std::min<std::size_t>(size, m_cursor.getMaxBack());
        m_free = m_begin + std::min<std::size_t>(size, m_cursor.getRoom());
    }

    vnParserCursor m_cursor;
    Mode m_mode = vnParserCursor::NONE;
    unsigned char m_maxByte = 0;
    bool m_isAllThere = false;              // up to the end of the window
    unsigned int m_base = 0;                // the position of the begin
    const unsigned char* m_begin = nullptr; // where the parser stands
    const unsigned char* m_next = nullptr;  // where the walk stands
    const unsigned char* m_far = nullptr;   // how far it came
    const unsigned char* m_free = nullptr;  // up to where nothing is forgotten for what is read
    const unsigned char* m_limit = nullptr;
    const unsigned char* m_end = nullptr; // of the window
};
