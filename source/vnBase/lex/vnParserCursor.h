// SPDX-License-Identifier: MIT
#pragma once

#include "serialize/vnAdapterWindow.h"
#include "vnTextAdapter.h"

#include <vnBase/vnBasicParser.h>

#include <algorithm>
#include <cstring>

/// Reads the characters of a parser many at once, while they stand as bytes in the window of its adapter. All
/// that can be observed of the parser is as if they had been read one by one; only its memory of them is
/// filled later, by `leave`, which must run before anybody else may touch parser or adapter.
class vnParserCursor
{
public:
    explicit vnParserCursor(vnBasicParser& parser) noexcept : m_parser(parser) {}

    /// How a parser reads characters, as it is now: what a mark says holds for one document, while the
    /// parser goes on.
    class Encoding
    {
    public:
        explicit Encoding(const vnBasicParser& parser)
            : m_lexer(parser.m_lexer), m_isDetected(parser.m_isDetected)
        {
        }
        void restore(vnBasicParser& parser) const
        {
            parser.m_lexer = m_lexer;
            parser.m_isDetected = m_isDetected;
        }

    private:
        vnSerializeLex m_lexer;
        bool m_isDetected;
    };

    /// How a byte of the window is read. The values are bits, for tables of what a set holds.
    enum Mode : unsigned char
    {
        NONE = 0,  // not at all: 16-bit text, no adapter, or the mark was not looked for yet
        BYTES = 1, // as a character
        ASCII = 2, // as a character, below 128; others are parts of one
    };

    Mode getMode() const noexcept
    {
        const vnBasicParser& p = m_parser;
        if (!p.m_isDetected || !p.m_adapter || p.m_lexer.isUnicode())
            return NONE;
        return p.m_lexer.isUtf8() ? ASCII : BYTES;
    }

    /// Whether the characters are 16-bit text.
    bool isWide() const noexcept { return m_parser.m_lexer.isUnicode(); }

    const unsigned char* next() const noexcept { return vnAdapterWindow::next(*m_parser.m_adapter); }
    const unsigned char* end() const noexcept { return vnAdapterWindow::end(*m_parser.m_adapter); }

    unsigned int getPosition() const noexcept { return m_parser.m_tokenPos; }

    /// Whether `count` characters can be read and taken back without a trace in what is remembered.
    bool hasRoomFor(unsigned int count) const noexcept
    {
        const vnBasicParser& p = m_parser;
        return p.m_remembered <= p.m_maxBufferSize && count <= p.m_maxBufferSize - p.m_remembered;
    }

    /// Whether a position is behind another one. Positions begin anew at 0 in a long stream: less than 2^31
    /// characters are between them.
    static bool isBehind(unsigned int position, unsigned int other) noexcept
    {
        return static_cast<int>(position - other) > 0;
    }

    /// Whether no line feed was consumed at or behind `position`, as far as is known.
    bool isInLine(unsigned int position) const noexcept { return !isBehind(m_parser.m_lineBegin, position); }

    /// Consumes `count` bytes of the window, none of which is a line feed; or of which some may be.
    void takePlain(unsigned int count) noexcept
    {
        m_parser.m_column += count;
        advance(count);
    }
    void takeLines(unsigned int count) noexcept
    {
        const unsigned char* begin = next();
        if (const void* first = std::memchr(begin, '\n', count))
            countLines(begin, static_cast<const unsigned char*>(first), count);
        else
            m_parser.m_column += count;
        advance(count);
    }

    /// Consumes `count` bytes of the window, none of which is a line feed, and gives the last `back` of them
    /// back.
    void takeAndReturn(unsigned int count, unsigned int back) noexcept
    {
        vnBasicParser& p = m_parser;
        takePlain(count);
        p.m_column -= back;
        p.m_tail -= back;
        p.m_remembered -= back;
        p.m_tokenPos -= back;
        vnAdapterWindow::advance(*p.m_adapter, next() - back);
    }

    /// How many characters can be consumed and all be given back.
    unsigned int getMaxBack() const noexcept { return m_parser.m_maxBufferSize; }

    /// How many characters can be consumed before the first ones are forgotten.
    unsigned int getRoom() const noexcept
    {
        const vnBasicParser& p = m_parser;
        return p.m_maxBufferSize - std::min(p.m_remembered, p.m_maxBufferSize);
    }

    /// Opens the window of a block of memory. Answers whether what is in the window is all that there is.
    bool openMemory()
    {
        vnSerializeAdapter* adapter = m_parser.m_adapter.get();
        return adapter && vnIsMemory(*adapter) && vnAdapterWindow::openMemory(*adapter);
    }

    /// One character after the other.
    unsigned short takeAny() { return m_parser.takeToken(); }
    bool hasData()
    {
        vnBasicParser& p = m_parser;
        if (!p.m_adapter)
            return false;
        if (next() != end() && getMode() != NONE)
            return true;
        p.flushTail(); // the window may be filled anew
        return p.hasCharacter();
    }

    void giveBack(unsigned int count)
    {
        vnBasicParser& p = m_parser;
        p.checkPushBack(count);
        if (count == 0)
            return;
        if (count > p.m_tail)
        {
            p.giveBackHistory(count);
            return;
        }
        if (count <= p.m_tokenPos - p.m_lineBegin)
            p.m_column -= count;
        else
            p.undoLines(next(), count);
        p.m_tail -= count;
        p.m_remembered -= count;
        p.m_tokenPos -= count;
        vnAdapterWindow::advance(*p.m_adapter, next() - count);
    }

    /// What the walk over the input throws when `count` characters would have to be taken back and read
    /// again, and nothing else.
    void checkReturn(unsigned int count) { m_parser.checkPushBack(count); }

    /// Forward only to what was given back, which is never farther away than what can be: a place 2^31 and
    /// more characters back, which can't be gone to, must not look like one ahead.
    void moveTo(unsigned int position)
    {
        const unsigned int ahead = position - m_parser.m_tokenPos;
        if (!isBehind(m_parser.m_tokenPos, position) && ahead <= getMaxBack())
            takeForward(ahead);
        else
            giveBack(0u - ahead);
    }

    bool isByteText() const noexcept { return m_parser.isByteText(); }

    /// Looks for the byte order mark, if nobody has.
    void detect()
    {
        if (!m_parser.m_isDetected)
            hasData();
    }

    void leave()
    {
        if (m_parser.m_tail > 0)
            m_parser.flushTail();
    }

    /// Forgets what was consumed: nothing of it is taken back, so that it need not be kept.
    void forget() noexcept
    {
        vnBasicParser& p = m_parser;
        p.m_tail = p.m_remembered = p.m_historyEnd = 0;
    }

    /// Lets go of the adapter and of all that is remembered of it. Unlike another adapter it needs no memory.
    void dropInput()
    {
        vnBasicParser& p = m_parser;
        p.m_tail = p.m_remembered = p.m_historyEnd = 0;
        p.m_adapter = nullptr;
        p.m_progressTotal = 0;
    }

private:
    void advance(unsigned int count) noexcept
    {
        vnBasicParser& p = m_parser;
        vnAdapterWindow::advance(*p.m_adapter, next() + count);
        p.m_tail += count;
        p.m_tokenPos += count;
        p.m_remembered = p.m_remembered <= p.m_maxBufferSize && count < p.m_maxBufferSize - p.m_remembered
                             ? p.m_remembered + count
                             : p.m_maxBufferSize;
    }
    void countLines(const unsigned char* begin, const unsigned char* feed, unsigned int count) noexcept;
    void takeForward(unsigned int count);

    vnBasicParser& m_parser;
};
