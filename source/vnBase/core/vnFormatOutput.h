// SPDX-License-Identifier: MIT
#pragma once

#include <core/vnUtfScan.h>

#include <vnBase/vnString.h>
#include <vnBase/vnStringData.h>

#include <optional>

/// What the format engine writes to: a growing text of characters. As long as each character is one byte it
/// is kept as bytes, at first on the stack; the first one above 127 turns it into a text of 32-bit characters
/// in pooled scratch. A text that became 8-bit (`becomeAscii`) keeps the low byte of each character, for
/// good.
///
/// More than 65535 characters are never in a result. Text beyond is dropped; the body of a directive is
/// allowed that many of its own, so that its padding comes out right.
class vnFormatOutput
{
public:
    static constexpr unsigned int VN_LIMIT = vnString::VN_MAX_LENGTH;

    vnFormatOutput() noexcept : m_bytes(m_nearby) {}
    vnFormatOutput(const vnFormatOutput&) = delete;
    vnFormatOutput& operator=(const vnFormatOutput&) = delete;
    ~vnFormatOutput() noexcept(false)
    {
        if (m_scratch)
            giveBack();
    }

    /// 0 when all that is written from here on is dropped.
    unsigned int room() const noexcept { return m_count < m_limit ? m_limit - m_count : 0; }

    /// From here on one byte is one character.
    void becomeAscii();

    /// Bytes below 128; any bytes once the text is 8-bit.
    void appendBytes(const char* text, std::size_t length)
    {
        length = length < room() ? length : room();
        if (m_wide)
        {
            appendWidened(text, static_cast<unsigned int>(length));
            return;
        }
        reserve(static_cast<unsigned int>(length));
        std::memcpy(m_bytes + m_count, text, length);
        m_count += static_cast<unsigned int>(length);
    }
    void appendCharacter(char32_t character);

    /// At most `limit` characters of valid UTF-8.
    void appendUTF8(const char* text, std::size_t length, std::size_t limit);
    void appendFill(char byte, unsigned int count);

    void beginBody() noexcept
    {
        m_mark = m_count;
        m_limit = m_count < VN_LIMIT ? m_count + VN_LIMIT : m_count;
    }
    unsigned int bodyLength() const noexcept { return m_count - m_mark; }

    /// Ends the body with `blanks`, `sign` (none when 0) and `zeros` put in front of it, and `trailing`
    /// blanks behind it.
    void endBody(unsigned int blanks, char sign, unsigned int zeros, unsigned int trailing);

    /// Room for `size` bytes beside the text, until it is asked for again.
    char* numberSpace(unsigned int size);

    /// The text; 8-bit text as it is, other text as UTF-8, cut at 65535 bytes.
    const char* bytes() const noexcept { return m_bytes; }
    const char32_t* characters() const noexcept { return m_wide; }
    unsigned int count() const noexcept { return m_count < VN_LIMIT ? m_count : VN_LIMIT; }

private:
    void reserve(unsigned int more)
    {
        if (more > m_capacity - m_count)
            grow(more);
    }
    void grow(unsigned int more);
    void appendWidened(const char* text, unsigned int length);
    void becomeWide();
    vnStringData& scratch();
    void giveBack();

    char* m_bytes;
    char32_t* m_wide = nullptr; // not null while the text is kept as 32-bit characters
    unsigned int m_count = 0;
    unsigned int m_capacity = sizeof m_nearby;
    unsigned int m_limit = VN_LIMIT;
    unsigned int m_mark = 0;
    bool m_ascii = false;
    std::optional<vnCacheStringData> m_scratch;
    char m_nearby[500];
};
