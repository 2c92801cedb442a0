// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>
#include <vnBase/vnString.h>

/// A text as an item of streams: its bytes as they are held, then a terminator byte. Nothing escapes a
/// terminator inside the text, so such a text cuts itself short when it is read back.
///
/// Reading ends at the terminator or at the end of the data; a last text without a terminator is delivered as
/// it stands. A text is at most 65535 bytes: the index wraps beyond that, and the bytes before are lost.
class VN_BASE_API vnSerializeString : public vnSerializeData
{
public:
    explicit vnSerializeString(unsigned char terminator = 0) noexcept : m_terminator(terminator) {}
    vnSerializeString(const vnString& text, unsigned char terminator = 0)
        : m_text(text), m_terminator(terminator)
    {
    }

    vnSerializeString& operator=(const vnString& text)
    {
        m_text = text;
        return *this;
    }
    operator const vnString&() const noexcept { return m_text; }
    const char* getString() const noexcept { return m_text.getString(); }
    const vnString& getText() const noexcept { return m_text; }

    template <class... Args>
    void format(const vnString& format, const Args&... args)
    {
        m_text.format(format, args...);
    }

    /// Interns the text under a fixed id, see `vnString::makeUnique`.
    unsigned char createUnique(unsigned short id) { return m_text.makeUnique(id); }

    unsigned char getTerminator() const noexcept { return m_terminator; }
    void setTerminator(unsigned char terminator) noexcept { m_terminator = terminator; }

    /// Without the terminator, writing ends with the text and reading goes to the end of the data. `pushBack`
    /// pushes the terminator all the same.
    unsigned char getUseTerminator() const noexcept { return m_useTerminator; }
    void setUseTerminator(unsigned char use) noexcept { m_useTerminator = use; }

    void write(vnSerializeAdapter* adapter) override;
    void read(vnSerializeAdapter* adapter) override;
    void pushBack(vnSerializeAdapter* adapter) override;

    /// The length and 1.
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

private:
    vnString m_text;
    unsigned char m_terminator;
    unsigned char m_useTerminator = 1;
};

/// A text as UTF-16 units, then a terminator unit. The wire order is little-endian by default, against that
/// of the scalars: stored streams depend on it.
class VN_BASE_API vnSerializeStringWide : public vnSerializeData
{
public:
    explicit vnSerializeStringWide(unsigned short terminator = 0, unsigned char bigEndian = 0) noexcept
        : m_terminator(terminator), m_bigEndian(bigEndian)
    {
    }
    vnSerializeStringWide(const vnString& text, unsigned short terminator = 0, unsigned char bigEndian = 0)
        : m_text(text), m_terminator(terminator), m_bigEndian(bigEndian)
    {
    }

    vnSerializeStringWide& operator=(const vnString& text)
    {
        m_text = text;
        return *this;
    }
    operator const vnString&() const noexcept { return m_text; }

    /// See `vnString::getWideString`.
    const char16_t* getWideString() const { return m_text.getWideString(); }
    const vnString& getText() const noexcept { return m_text; }

    template <class... Args>
    void format(const vnString& format, const Args&... args)
    {
        m_text.format(format, args...);
    }
    unsigned char createUnique(unsigned short id) { return m_text.makeUnique(id); }

    void write(vnSerializeAdapter* adapter) override;

    /// A single byte at the end of the data is read as half a unit.
    void read(vnSerializeAdapter* adapter) override;
    void pushBack(vnSerializeAdapter* adapter) override;

    /// 2 × units + 2.
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

private:
    vnString m_text;
    unsigned short m_terminator;
    unsigned char m_bigEndian;
};

/// Writes formatted texts, without a terminator.
class VN_BASE_API vnWriteAdapterStringUtils
{
public:
    /// The 8-bit bytes of the text.
    template <class... Args>
    static void writeAdapterString(vnSerializeAdapter* adapter, const char* format, const Args&... args)
    {
        writeText(adapter, vnString::formatString(format, args...));
    }

    /// UTF-16 units, little-endian, or in the given wire order.
    template <class... Args>
    static void writeAdapterString(vnSerializeAdapter* adapter, const char16_t* format, const Args&... args)
    {
        writeWideText(0, adapter, vnString::formatString(vnString(format), args...));
    }
    template <class... Args>
    static void writeAdapterString(unsigned char bigEndian, vnSerializeAdapter* adapter,
                                   const char16_t* format, const Args&... args)
    {
        writeWideText(bigEndian, adapter, vnString::formatString(vnString(format), args...));
    }

private:
    static void writeText(vnSerializeAdapter* adapter, const vnString& text);
    static void writeWideText(unsigned char bigEndian, vnSerializeAdapter* adapter, const vnString& text);
};

/// Reads one line, up to a line feed, which is taken and left out; a carriage return stays in the line. The
/// adapter is deleted when nobody holds it. False only for a null adapter: ask it for data first.
VN_BASE_API unsigned char readLine(vnString& line, vnSerializeAdapter* adapter);
