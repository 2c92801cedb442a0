// SPDX-License-Identifier: MIT
#pragma once

#include <lex/vnParserCursor.h>

/// The input of a parser as UTF-8 bytes: the window of its adapter where that lies open, otherwise one
/// character at a time.
class vnJsonSource
{
public:
    /// `maxSize` is how many characters may be read; 0 for any number.
    vnJsonSource(vnBasicParser& parser, unsigned int maxSize) noexcept
        : m_parser(parser), m_cursor(parser), m_start(parser.getTokenPos()), m_maxSize(maxSize)
    {
    }
    vnJsonSource(const vnJsonSource&) = delete;
    vnJsonSource& operator=(const vnJsonSource&) = delete;

    /// Whether there is more; if so, at least one byte stands from `next` to `end`. Input beyond the allowed
    /// size sets the error of the parser and throws `vnBasicParseException`.
    bool hasData() { return next != end || refill(); }

    /// Hands what was read over to the parser: its position and the adapter's, so that others may look. The
    /// block is gone then.
    void settle();

    /// Whether the input is marked as 16-bit text. Looks for the mark.
    bool isWide();

    /// Whether the bytes from `next` to `end` stay where they are until the adapter is let go of.
    bool isStable() const noexcept { return m_isMemory && m_units == 0; }

    /// The first byte of what is stable.
    const unsigned char* getMemory() const noexcept { return m_memory; }

    const unsigned char* next = nullptr;
    const unsigned char* end = nullptr;

private:
    bool refill();
    void takeCharacter();
    void checkSize() const;

    vnBasicParser& m_parser;
    vnParserCursor m_cursor;
    unsigned int m_start;
    unsigned int m_maxSize;
    const unsigned char* m_begin = nullptr; // of the block; null for none
    unsigned int m_units = 0;               // not 0: the block is a single character of so many units
    unsigned char m_character[4];
    bool m_isMemory = false;
    const unsigned char* m_memory = nullptr;
};
