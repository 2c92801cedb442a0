// SPDX-License-Identifier: MIT
#include "vnXmlText.h"

#include "vnXmlInput.h"
#include "vnXmlScan.h"

#include <string>

using namespace vnXmlClass;

namespace
{
/// Whether all of the bytes are characters as they should be, which read as what they are.
bool isPlain(std::string_view text) noexcept
{
    const auto* next = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = next + text.size();
    while (next != end)
    {
        const unsigned int size = *next < 0x80 ? 1 : vnXmlInput::decode(next, end).size;
        if (size == 0)
            return false;
        next += size;
    }
    return true;
}

void append(std::string& text, int c)
{
    if (c < 0x80)
        text += static_cast<char>(c);
    else if (c < 0x800)
        text += static_cast<char>(0xC0 | c >> 6);
    else if (c < 0x10000)
        text += static_cast<char>(0xE0 | c >> 12);
    else
        text += static_cast<char>(0xF0 | c >> 18);
    if (c >= 0x10000)
        text += static_cast<char>(0x80 | (c >> 12 & 0x3F));
    if (c >= 0x800)
        text += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    if (c >= 0x80)
        text += static_cast<char>(0x80 | (c & 0x3F));
}

/// One token, as the lexical reader makes it of bytes that are no UTF-8: forms that are too long read as
/// what they stand for, and a wrong byte ends the character, which is 0.
struct Token
{
    int character;
    unsigned int size;
};
Token tokenOf(const unsigned char* next, const unsigned char* end) noexcept
{
    const int lead = *next;
    const unsigned int size = lead < 0x80 || lead < 0xC0 || lead >= 0xF0 ? 1 : lead < 0xE0 ? 2 : 3;
    if (size == 1)
        return {lead < 0x80 ? lead : 0, 1};
    int c = size == 2 ? lead & 0x1F : lead & 0x0F;
    for (unsigned int i = 1; i < size; ++i)
    {
        if (next + i == end || (next[i] & 0xC0) != 0x80)
            return {0, next + i == end ? i : i + 1};
        c = c << 6 | (next[i] & 0x3F);
    }
    return {c, size};
}

/// The tokens of the text, in UTF-8; pairs of surrogates as one character.
class Tokens
{
public:
    void add(int c)
    {
        if (m_high && c >= 0xDC00 && c <= 0xDFFF)
        {
            m_text.resize(m_text.size() - 3);
            c = 0x10000 + ((m_high - 0xD800) << 10) + (c - 0xDC00);
        }
        m_high = c >= 0xD800 && c <= 0xDBFF ? c : 0;
        append(m_text, c);
    }
    std::string_view getText() const noexcept { return m_text; }

private:
    std::string m_text;
    int m_high = 0; // the token before, if it is such a surrogate
};

Tokens readTokens(std::string_view text)
{
    const auto* next = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = next + text.size();
    Tokens tokens;
    while (next != end)
    {
        const vnXmlInput::Decoded decoded = vnXmlInput::decode(next, end);
        const Token token = decoded.size ? Token{decoded.character, decoded.size} : tokenOf(next, end);
        tokens.add(token.character);
        next += token.size;
    }
    return tokens;
}

/// Of 16-bit text.
Tokens readUnits(std::string_view text, bool isBigEndian)
{
    Tokens tokens;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
    {
        const int first = static_cast<unsigned char>(text[i]);
        const int second = static_cast<unsigned char>(text[i + 1]);
        tokens.add(isBigEndian ? first << 8 | second : second << 8 | first);
    }
    return tokens;
}

/// Asks about the tokens of the text. A character that is not whole at its end takes bytes of what stands
/// behind it.
template <class Test>
bool isRead(std::string_view text, std::string_view behind, const Test& test)
{
    if (isPlain(text))
        return test(text);
    const Tokens tokens = readTokens(std::string(text).append(behind));
    const std::string_view read = tokens.getText();
    const std::size_t size = read.size() - std::min(read.size(), behind.size());
    return read.substr(size) == behind && test(read.substr(0, size));
}

/// The characters of a text from its start on.
class Walk
{
public:
    explicit Walk(std::string_view text) noexcept
        : m_next(reinterpret_cast<const unsigned char*>(text.data())), m_end(m_next + text.size())
    {
    }

    bool isAtEnd() const noexcept { return m_next == m_end; }
    std::string_view rest() const noexcept
    {
        return {reinterpret_cast<const char*>(m_next), static_cast<std::size_t>(m_end - m_next)};
    }
    bool accept(char c) noexcept
    {
        return takeIf([c](int next) { return next == c; });
    }
    template <class Test>
    bool takeIf(const Test& isWanted) noexcept
    {
        if (m_next == m_end)
            return false;
        // Four bytes are the one form that tokenOf does not read.
        const Token next =
            *m_next < 0xF0 ? tokenOf(m_next, m_end) : Token{vnXmlInput::decode(m_next, m_end).character, 4};
        if (!isWanted(next.character))
            return false;
        m_next += next.size;
        return true;
    }
    template <class Test>
    unsigned int takeWhile(const Test& isWanted) noexcept
    {
        unsigned int count = 0;
        while (takeIf(isWanted))
            ++count;
        return count;
    }

    /// Takes the bytes of a class; those above 127 are in each that is asked for here.
    void skip(Bit bit) noexcept
    {
        while (m_next != m_end && (byteTable[*m_next] & bit))
            ++m_next;
    }

private:
    const unsigned char* m_next;
    const unsigned char* m_end;
};

bool takeName(Walk& walk) noexcept
{
    if (!walk.takeIf(isNameStart))
        return false;
    walk.takeWhile(isNameChar);
    return true;
}

/// Behind the "&".
bool takeReference(Walk& walk) noexcept
{
    if (!walk.accept('#'))
        return takeName(walk) && walk.accept(';');
    const bool isHex = walk.accept('x');
    const unsigned int digits =
        walk.takeWhile([isHex](int c) { return isHex ? isHexDigit(c) : isDecimal(c); });
    return digits > 0 && walk.accept(';');
}

bool isAllChars(std::string_view text) noexcept
{
    Walk walk(text);
    walk.takeWhile(isChar);
    return walk.isAtEnd();
}

/// Whether all bytes are ASCII and of the class, which is enough for most texts.
bool isSimple(std::string_view text, Bit bit) noexcept
{
    const auto* next = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = next + text.size();
    next = vnXmlSkipBlocks(next, end, bit, true);
    while (next != end && (utf8Table[*next] & bit))
        ++next;
    return next == end;
}

bool has(std::string_view text, std::string_view part) noexcept
{
    return text.find(part) != std::string_view::npos;
}
} // namespace

bool vnXmlText::isAttribute(std::string_view text)
{
    if (isSimple(text, SINGLE_QUOTED))
        return true;
    return isRead(text, "'",
                  [](std::string_view tokens)
                  {
                      Walk walk(tokens);
                      for (walk.skip(SINGLE_QUOTED); !walk.isAtEnd(); walk.skip(SINGLE_QUOTED))
                          if (!walk.accept('&') || !takeReference(walk))
                              return false;
                      return true;
                  });
}

bool vnXmlText::isCharData(std::string_view text)
{
    if (isSimple(text, CHAR_DATA))
        return true;
    const auto test = [](std::string_view tokens)
    {
        Walk walk(tokens);
        for (walk.skip(CHAR_DATA); !walk.isAtEnd(); walk.skip(CHAR_DATA))
            if (walk.rest().substr(0, 3) == "]]>" || !walk.accept(']'))
                return false;
        return true;
    };
    // Where nothing stands in front of the text, its first bytes may be a mark of other characters.
    const std::string_view mark = text.substr(0, 2);
    if (mark == "\xFF\xFE" || mark == "\xFE\xFF")
        return test(readUnits(text.substr(2), mark == "\xFE\xFF").getText());
    return isRead(text, "", test);
}

std::size_t vnXmlText::findMarkup(std::string_view text, std::size_t begin)
{
    const auto isAscii = [&](std::size_t at) { return static_cast<unsigned char>(text[at]) < 0x80; };
    for (std::size_t at = begin; at < text.size(); ++at)
        if ((text[at] == '<' || text[at] == '&') && (at < 1 || isAscii(at - 1)) &&
            (at < 2 || isAscii(at - 2)) && isAscii(0))
            return at;
    return std::string_view::npos;
}

bool vnXmlText::isCDATA(std::string_view text)
{
    if (isSimple(text, CDATA))
        return true;
    return isRead(text, "]]>",
                  [](std::string_view tokens) { return isAllChars(tokens) && !has(tokens, "]]>"); });
}

bool vnXmlText::isComment(std::string_view text)
{
    if (isSimple(text, COMMENT))
        return true;
    return isRead(text, "-->",
                  [](std::string_view tokens) {
                      return isAllChars(tokens) && !has(tokens, "--") &&
                             (tokens.empty() || tokens.back() != '-');
                  });
}

bool vnXmlText::isPI(std::string_view text)
{
    return isRead(text, "?>",
                  [](std::string_view tokens)
                  {
                      Walk walk(tokens);
                      if (!takeName(walk) || isReservedTarget(tokens) || walk.takeWhile(isSpace) == 0)
                          return false;
                      return !has(walk.rest(), "?>");
                  });
}

bool vnXmlText::isEntity(std::string_view name)
{
    return isRead(name, ";",
                  [](std::string_view tokens)
                  {
                      Walk walk(tokens);
                      return takeName(walk) && walk.isAtEnd();
                  });
}
