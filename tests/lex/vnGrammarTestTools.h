// SPDX-License-Identifier: MIT
#pragma once

#include "../messages/vnMessageRecorder.h"

#include <vnBase/vnParserFunction.h>
#include <vnBase/vnSerializeAdapterMemory.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

inline std::string toStd(const vnString& text)
{
    return std::string(text.getString(), text.length());
}

/// Gives a text in windows of so many bytes, each in the place of the one before; with 0 byte by byte.
class PieceAdapter : public vnSerializeAdapter
{
public:
    PieceAdapter(const std::string& text, unsigned int piece) : m_text(text), m_window(piece) {}

protected:
    using vnSerializeAdapter::read_imp;
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        if (m_at == m_text.size())
            return 0;
        const auto size = std::min<std::size_t>(m_window.size(), m_text.size() - m_at);
        if (size < 2)
            return static_cast<unsigned char>(m_text[m_at++]);
        std::memcpy(m_window.data(), m_text.data() + m_at, size);
        m_at += size;
        m_end = m_window.data() + size;
        setReadWindow(m_window.data() + 1, m_end);
        return m_window[0];
    }
    unsigned int length_imp() override
    {
        const unsigned char* next = getReadNext();
        return static_cast<unsigned int>(m_text.size() - m_at +
                                         (next ? static_cast<std::size_t>(m_end - next) : 0));
    }

private:
    std::string m_text;
    std::vector<unsigned char> m_window;
    const unsigned char* m_end = nullptr; // of what was read into the window
    std::size_t m_at = 0;
};

/// Tells a length of 1 while there are bytes, as one does that knows of the next one only.
class VagueAdapter : public PieceAdapter
{
public:
    explicit VagueAdapter(const std::string& text) : PieceAdapter(text, 0) {}

protected:
    unsigned int length_imp() override { return std::min(PieceAdapter::length_imp(), 1u); }
};

/// An adapter over a copy of the text.
class TextAdapter : public vnSerializeAdapterMemory
{
public:
    explicit TextAdapter(const std::string& text) : TextAdapter(std::make_unique<std::string>(text)) {}

private:
    explicit TextAdapter(std::unique_ptr<std::string> text)
        : vnSerializeAdapterMemory(text->data(), static_cast<unsigned int>(text->size())),
          m_text(std::move(text))
    {
    }
    std::unique_ptr<std::string> m_text;
};

/// Keeps the texts that are posted at a level or above.
class MessageLog : public Caller
{
public:
    explicit MessageLog(vnMessageLevel level)
        : Caller([this](vnMessageLevel, const char* message) { texts.emplace_back(message); }),
          m_oldLevel(vnMessage::getMessageLevel())
    {
        vnMessage::setMessageLevel(level);
    }
    ~MessageLog() noexcept(false) override { vnMessage::setMessageLevel(m_oldLevel); }

    std::vector<std::string> texts;

private:
    vnMessageLevel m_oldLevel;
};

/// What is left on an adapter.
inline std::string readAll(vnSerializeAdapter& adapter)
{
    std::string rest;
    while (adapter.hasData())
        rest += static_cast<char>(adapter.read());
    return rest;
}
