// SPDX-License-Identifier: MIT
#pragma once

#include "../../tools/vn/vnXmlNotifications.h"
#include "../lex/vnByteAdapter.h"
#include "vnValueTestTools.h"

#include <functional>
#include <string>

/// Lays a few bytes open at a time, so that every text runs over the ends of windows.
class vnSlicedAdapter : public vnSerializeAdapter
{
public:
    vnSlicedAdapter(std::string data, std::size_t slice) : m_data(std::move(data)), m_slice(slice) {}

protected:
    using vnSerializeAdapter::read_imp;
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        if (m_begin >= m_data.size())
            return 0;
        // The bytes before are gone: nobody may look at them any more.
        m_window = m_data.substr(m_begin, m_slice);
        m_begin += m_window.size();
        const auto* bytes = reinterpret_cast<const unsigned char*>(m_window.data());
        setReadWindow(bytes + 1, bytes + m_window.size());
        return bytes[0];
    }
    unsigned int length_imp() override
    {
        const unsigned char* next = getReadNext();
        const auto* begin = reinterpret_cast<const unsigned char*>(m_window.data());
        const std::size_t open = next ? static_cast<std::size_t>(begin + m_window.size() - next) : 0;
        return static_cast<unsigned int>(m_data.size() - m_begin + open);
    }

private:
    std::string m_data;
    std::string m_window;
    std::size_t m_slice;
    std::size_t m_begin = 0;
};

/// Writes down every notification, one a line.
class vnXmlRecorder : public vnXmlNotifications
{
public:
    explicit vnXmlRecorder(unsigned int mask = VN_XML_DEFAULT_ITEMS)
    {
        disableNotifyItemType(VN_XML_ALL_ITEMS);
        enableNotifyItemType(static_cast<vnXmlItemType>(mask));
        setMaxIdleNotifications(10);
        useProgress(0);
    }

    /// The notifications, and the error behind them.
    std::string getResult() const
    {
        return hasError() ? log + "error " + getError().getString() + "\n" : log;
    }

    std::string log;
    std::function<bool(const std::string& line)> decide; // of each notification whether to go on

    vnString onFunction(const vnString& name, unsigned int level) override
    {
        onNotification("Function", level, {&name});
        return vnString("<") + name + ">";
    }

private:
    unsigned char onNotification(const char* what, unsigned int level,
                                 std::initializer_list<const vnString*> arguments) override
    {
        std::string line = std::to_string(level) + " " + what;
        for (const vnString* text : arguments)
            line += " [" + std::string(text->getString(), text->length()) + "]";
        log += line + "\n";
        return !decide || decide(line);
    }
};

/// The bytes of 16-bit text, behind its mark.
inline std::string vnUtf16(const std::u16string& text, bool isBigEndian)
{
    std::string bytes;
    for (const char16_t unit : u"\xFEFF" + text)
    {
        const char high = static_cast<char>(unit >> 8);
        const char low = static_cast<char>(unit);
        bytes += isBigEndian ? high : low;
        bytes += isBigEndian ? low : high;
    }
    return bytes;
}

/// Reads the text of a document.
inline void vnReadText(vnXmlSax& sax, const std::string& text)
{
    sax.read(memoryOf(text));
}

/// Writes what a function writes.
class vnXmlWriter : public vnXmlSax
{
public:
    using Body = std::function<void(vnXmlSax&)>;
    explicit vnXmlWriter(Body body, bool isPlain = true) : m_body(std::move(body))
    {
        setEncoding("none");
        setPlainOutput(isPlain);
    }
    void onWrite() override { m_body(*this); }

private:
    Body m_body;
};

/// What a parser writes.
inline std::string vnOutputOf(vnXmlSax& sax)
{
    const vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    sax.write(queue);
    return takeAll(*queue);
}

/// What a function writes, and the error behind it.
inline std::string vnOutputOf(const vnXmlWriter::Body& body, bool isPlain = true)
{
    vnXmlWriter writer(body, isPlain);
    const std::string output = vnOutputOf(writer);
    return writer.hasError() ? output + "|" + writer.getError().getString() : output;
}

/// What a recorder with this mask wrote down.
inline std::string vnRecord(const std::string& text, unsigned int mask = VN_XML_DEFAULT_ITEMS)
{
    vnXmlRecorder recorder(mask);
    vnReadText(recorder, text);
    return recorder.getResult();
}
