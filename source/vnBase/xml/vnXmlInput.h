// SPDX-License-Identifier: MIT
#pragma once

#include "lex/vnParserCursor.h"
#include "vnXmlClass.h"

#include <vnBase/vnBasicParser.h>

#include <string_view>

/// Reads the characters of a parser that are next to each other in the window of its adapter by moving one
/// pointer, also those of UTF-8 above 127. The parser learns of it by `close`, which must run before anybody
/// else may touch it; `open` takes up what others did.
///
/// Characters are code points here. One above U+FFFF is two tokens, in UTF-8 and as a pair of surrogates.
/// What is looked at and not taken leaves no trace in what the parser remembers.
class vnXmlInput
{
public:
    static constexpr int VN_END = -1; // behind the last character
    static constexpr const char* VN_TOO_LARGE = "Too large XML data";

    /// A character above 127 of UTF-8.
    struct Decoded
    {
        int character;
        unsigned int size; // in bytes; 0 when it does not stand here whole and well-formed
    };

    static Decoded decode(const unsigned char* next, const unsigned char* end) noexcept;

    /// A place in the input.
    struct Mark
    {
        const unsigned char* next;
        unsigned int extra;
        unsigned int position; // in tokens
        unsigned int serial;   // of the window
    };

    /// At most `maxSize` tokens are read from the position `sizeBegin` on; 0 stands for as many as positions
    /// can tell apart. Both may change while the input is closed.
    vnXmlInput(vnBasicParser& parser, const unsigned int& sizeBegin, const unsigned int& maxSize) noexcept
        : m_parser(parser), m_cursor(parser), m_sizeBegin(sizeBegin), m_maxSize(maxSize)
    {
    }

    void open();
    void close()
    {
        if (!settleShort())
        {
            settle();
            m_cursor.leave();
        }
        m_keptEnd = m_end;
        m_keptNext = m_next;
        m_keptProgressAt = m_progressAt;
        closeWindow();
    }

    /// `open` where most probably nothing was changed since `close`.
    void resume()
    {
        const vnSerializeAdapter* adapter = m_parser.getAdapter();
        if (!adapter || !m_keptNext || vnAdapterWindow::next(*adapter) != m_keptNext ||
            vnAdapterWindow::end(*adapter) != m_keptEnd || m_cursor.getMode() != m_mode)
        {
            open();
            return;
        }
        openWindow();
        m_progressAt = m_keptProgressAt;
    }

    /// `close` where nothing may be thrown.
    void abandon() noexcept;

    unsigned int getPosition() const noexcept
    {
        return m_base + static_cast<unsigned int>(m_next - m_begin) - m_extra;
    }
    Mark getMark() const noexcept { return {m_next, m_extra, getPosition(), m_serial}; }

    bool hasData() { return m_next < m_limit || refill(); }

    /// The next character, which stays.
    int peek()
    {
        if (m_next < m_limit && *m_next <= m_maxByte)
            return *m_next;
        return peekSlow();
    }

    /// Takes the character that `peek` told of.
    void take()
    {
        if (m_next < m_limit && *m_next <= m_maxByte)
            ++m_next;
        else
            takeSlow();
    }

    /// `peek` where there must be a character: otherwise sets the error and throws.
    int need()
    {
        const int c = peek();
        if (c == VN_END)
            failOutOfData();
        return c;
    }

    /// Whether the input goes on with this ASCII text; `accept` takes it then.
    template <unsigned int SIZE>
    bool isNext(const char (&text)[SIZE])
    {
        if (static_cast<std::size_t>(m_limit - m_next) >= SIZE - 1)
            return std::memcmp(m_next, text, SIZE - 1) == 0;
        return acceptSlow(text, SIZE - 1, true);
    }
    template <unsigned int SIZE>
    bool accept(const char (&text)[SIZE])
    {
        if (static_cast<std::size_t>(m_limit - m_next) >= SIZE - 1)
        {
            const bool is = std::memcmp(m_next, text, SIZE - 1) == 0;
            m_next += is ? SIZE - 1 : 0;
            return is;
        }
        return acceptSlow(text, SIZE - 1, false);
    }
    bool accept(char c)
    {
        if (peek() != c)
            return false;
        take();
        return true;
    }

    /// Takes this name when it is next and ends there, as far as the window tells. `extra` of its bytes are
    /// no tokens.
    bool acceptName(std::string_view name, unsigned int extra)
    {
        const std::size_t size = name.size();
        if (static_cast<std::size_t>(m_limit - m_next) <= size || size == 0 ||
            std::memcmp(m_next, name.data(), size) != 0 || m_next[size] >= 0x80 ||
            (m_table[m_next[size]] & vnXmlClass::NAME))
            return false;
        m_next += size;
        m_extra += extra;
        return true;
    }

    /// Takes all bytes of a class that are next in the window, and those of UTF-8 that others follow; these
    /// must be `isChar` unless the class asks for less. Answers whether there were any. It may stop anywhere.
    bool skip(vnXmlClass::Bit bit)
    {
        const unsigned char* at = m_next;
        while (at != m_limit && (m_table[*at] & bit))
            ++at;
        const bool any = at != m_next;
        m_next = at;
        return any;
    }

    /// As `skip`, and answers what was taken, which is valid until the next call.
    std::string_view takeRun(vnXmlClass::Bit bit)
    {
        const unsigned char* begin = m_next;
        skip(bit);
        return {reinterpret_cast<const char*>(begin), static_cast<std::size_t>(m_next - begin)};
    }

    /// As `skip`, and takes characters above 127 as well: all, or those that are Chars.
    bool skipText(vnXmlClass::Bit bit, bool onlyChars);

    /// Goes back. The error is set, and thrown, when the parser does not remember so much.
    void moveTo(const Mark& mark);

    /// The text from `begin` to here, in UTF-8 or in the bytes of the document. It is valid until the next
    /// call. What the parser would no longer remember is left out.
    std::string_view getText(const Mark& begin)
    {
        if (begin.serial == m_serial && getPosition() - begin.position <= m_cursor.getMaxBack())
            return {reinterpret_cast<const char*>(begin.next), static_cast<std::size_t>(m_next - begin.next)};
        return getOldText(begin.position, getPosition() - begin.position);
    }
    std::string_view getOldText(unsigned int position, unsigned int count);

    /// Reports the progress when it changed.
    void reportProgress()
    {
        if (m_next >= m_progressAt)
            reportProgressSlow();
    }

    [[noreturn]] void failOutOfData();

private:
    class MoreMemory;
    void openWindow();
    void closeWindow() noexcept
    {
        m_begin = m_next = m_limit = m_end = m_progressAt = nullptr;
        m_extra = 0;
        m_base = m_parser.getTokenPos();
        ++m_serial;
    }
    bool settleShort() noexcept;
    void settle();
    void countLines(const unsigned char* begin, const unsigned char* end, unsigned int tokens) noexcept;
    void takeUtf8(const unsigned char* begin, const unsigned char* end);
    void remember(const unsigned char* begin, const unsigned char* end, unsigned int tokens);
    void makeRoom(unsigned int tokens);
    void takeDecoded(const Decoded& decoded) noexcept
    {
        m_next += decoded.size;
        m_extra += decoded.size - (decoded.character > 0xFFFF ? 2 : 1);
    }
    unsigned int getSizeLeft() const noexcept;
    bool refill();
    int peekSlow();
    int takeSlow();
    int lookAtUnit();
    void resumeSlowly();
    bool readByte(bool keep, int& character);
    bool readWide(bool keep, int& character);
    bool acceptSlow(const char* text, unsigned int count, bool giveBack);
    void reportProgressSlow();
    std::size_t getBytesToPercent() const;

    vnBasicParser& m_parser;
    vnParserCursor m_cursor;
    vnParserCursor::Mode m_mode = vnParserCursor::NONE;
    const unsigned char* m_table = vnXmlClass::utf8Table;
    int m_maxByte = -1;                        // up to this one a byte of the window is a character
    unsigned int m_serial = 0;                 // of the window
    unsigned int m_base = 0;                   // the position of m_begin
    unsigned int m_extra = 0;                  // bytes behind m_begin that are no tokens
    const unsigned char* m_begin = nullptr;    // where the parser stands
    const unsigned char* m_next = nullptr;     // where the reader stands
    const unsigned char* m_limit = nullptr;    // up to where the reader may go
    const unsigned char* m_end = nullptr;      // of the window
    const unsigned char* m_keptNext = nullptr; // where the window was closed
    const unsigned char* m_keptEnd = nullptr;
    const unsigned char* m_keptProgressAt = nullptr;
    const unsigned char* m_progressAt = nullptr; // where the progress may have changed
    const unsigned int& m_sizeBegin;
    const unsigned int& m_maxSize;
    vnDynamicArray<char> m_text{1024};
};
