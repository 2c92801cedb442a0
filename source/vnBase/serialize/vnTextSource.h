// SPDX-License-Identifier: MIT
#pragma once

#include "vnAdapterWindow.h"

#include <vnBase/vnSerializeLex.h>

#include <algorithm>

// How many bytes a character of the text in `adapter` takes.
inline unsigned int vnCharacterSize(const vnSerializeAdapter& adapter)
{
    return adapter.getAdapterFlags() & VN_ADAPTER_UNICODE ? 2 : 1;
}

// The characters of a text in an adapter, as far as the adapter has them in memory or a piece read from it.
// Only what was used is missing from the adapter after `release()`.
class vnTextSource
{
public:
    explicit vnTextSource(vnSerializeAdapter& adapter)
        : m_adapter(adapter), m_characterSize(vnCharacterSize(adapter))
    {
    }
    vnTextSource(const vnTextSource&) = delete;
    vnTextSource& operator=(const vnTextSource&) = delete;

    // The bytes at hand, for loops that look at many at once.
    const unsigned char* getNext() const noexcept { return m_next; }
    const unsigned char* getEnd() const noexcept { return m_end; }
    void moveTo(const unsigned char* next) noexcept { m_next = next; }
    unsigned int getCharacterSize() const noexcept { return m_characterSize; }

    // The next characters are a group, of four at most, which can be given back.
    void beginGroup() noexcept { m_groupSize = 0; }

    // The next character above 32; negative at the end. `wanted` is how many bytes will be needed at least.
    // When the adapter throws, the characters of the group are given back.
    int get(unsigned int wanted)
    {
        while (m_next != m_end || fillOrGiveBack(wanted))
        {
            Character& character = m_group[m_groupSize++];
            character.bytes[0] = *m_next++;
            character.size = 1;
            if (m_characterSize == 2 && (m_next != m_end || fillOrGiveBack(1)))
                character.bytes[character.size++] = *m_next++;
            if (character.bytes[0] > ' ')
                return character.bytes[0];
            --m_groupSize;
        }
        return -1;
    }

    // Gives back what was not used.
    void release()
    {
        if (m_isWindow)
            vnAdapterWindow::advance(m_adapter, m_next);
        else if (m_next != m_end)
            vnAdapterWindow::unread(m_adapter, m_next, static_cast<unsigned int>(m_end - m_next));
        m_isWindow = false;
        m_next = m_end = m_piece;
    }

    // Gives back what was not used and the characters of the group, but no white space between them.
    void giveGroupBack()
    {
        release();
        while (m_groupSize > 0)
        {
            const Character& last = m_group[m_groupSize - 1];
            vnAdapterWindow::unread(m_adapter, last.bytes, last.size);
            --m_groupSize;
        }
    }

    // Whether two characters come that nothing stands between but white space; takes what stands before them:
    // white space, and a terminator with the single character before it.
    bool hasPair(unsigned char terminator)
    {
        if (isPairOpen(terminator))
            return true;
        for (;;)
        {
            beginGroup();
            int character = get(2 * m_characterSize);
            if (character == terminator)
                continue;
            if (character < 0)
                return false;
            character = get(m_characterSize);
            if (character == terminator)
                continue;
            giveGroupBack();
            return character >= 0;
        }
    }

private:
    static constexpr unsigned int VN_PIECE = 4096;

    struct Character
    {
        unsigned char bytes[2];
        unsigned int size;
    };

    bool isPairOpen(unsigned char terminator) const
    {
        const unsigned char* next = vnAdapterWindow::next(m_adapter);
        const auto isText = [terminator](unsigned char byte) { return byte > ' ' && byte != terminator; };
        return vnAdapterWindow::end(m_adapter) - next >= 2 * static_cast<std::ptrdiff_t>(m_characterSize) &&
               isText(next[0]) && isText(next[m_characterSize]);
    }

    bool fillOrGiveBack(unsigned int wanted)
    {
        try
        {
            return fill(wanted);
        }
        catch (...)
        {
            giveGroupBack();
            throw;
        }
    }

    // Takes the next bytes at hand when those before are used up; answers 0 at the end.
    bool fill(unsigned int wanted)
    {
        release();
        if (!m_adapter.hasData())
            return false;
        m_isWindow = vnAdapterWindow::next(m_adapter) != vnAdapterWindow::end(m_adapter);
        if (m_isWindow)
        {
            m_next = vnAdapterWindow::next(m_adapter);
            m_end = vnAdapterWindow::end(m_adapter);
            return true;
        }
        // No more than is there: the adapter may wait for the rest.
        const unsigned int most = std::min(wanted, VN_PIECE);
        m_end = m_piece + m_adapter.read(m_piece, std::clamp(m_adapter.length(), 1u, most));
        return m_next != m_end;
    }

    vnSerializeAdapter& m_adapter;
    const unsigned int m_characterSize;
    bool m_isWindow = false;
    Character m_group[4];
    unsigned int m_groupSize = 0;
    unsigned char m_piece[VN_PIECE];
    const unsigned char* m_next = m_piece;
    const unsigned char* m_end = m_piece;
};
