// SPDX-License-Identifier: MIT
#include "vnXmlText.h"

#include "core/vnUtfScan.h"
#include "vnXmlInput.h"
#include "vnXmlScan.h"

using namespace vnXmlClass;

namespace
{
/// Whether all of the bytes are characters as they should be, which read as what they are.
bool isPlain(std::string_view text) noexcept
{
    const auto* next = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = next + text.size();
    const auto skipAscii = [&] {
        next += vnUtf::plainLength(reinterpret_cast<const char*>(next), static_cast<std::size_t>(end - next));
    };
    for (skipAscii(); next != end; skipAscii())
    {
        do
        {
            const unsigned int size = vnXmlInput::decode(next, end).size;
            if (size == 0)
                return false;
            next += size;
        } while (next != end && *next >= 0x80);
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

/// One token, as the lexical reader makes it of any bytes: forms that are too long read as what they stand
/// for, and a wrong byte ends the character, which is 0.
struct Token
{
    int character;
    unsigned int size;
};
Token tokenOf(const unsigned char* next, const unsigned char* end) noexcept
{
    const int lead = *next;
    if (lead >= 0xF0)
    {
        const vnXmlInput::Decoded decoded = vnXmlInput::decode(next, end);
        if (decoded.size)
            return {decoded.character, decoded.size};
    }
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
        const Token token = tokenOf(next, end);
        tokens.add(token.character);
        next += token.size;
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
        const Token next = tokenOf(m_next, m_end);
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

std::string vnXmlText::fromBytes(std::string_view text)
{
    std::string result;
    result.reserve(2 * text.size());
    for (const char c : text)
        append(result, static_cast<unsigned char>(c));
    return result;
}

bool vnXmlText::isAttribute(std::string_view text)
{
    if (isSimple(text, SINGLE_QUOTED))
        return true;
    const auto test = [](std::string_view tokens)
    {
        Walk walk(tokens);
        for (walk.skip(SINGLE_QUOTED); !walk.isAtEnd(); walk.skip(SINGLE_QUOTED))
            if (!walk.accept('&') || !takeReference(walk))
                return false;
        return true;
    };
    return test(text) && (isPlain(text) || isRead(text, "'", test));
}

bool vnXmlText::isSimpleCharData(std::string_view text)
{
    return isSimple(text, CHAR_DATA);
}

// Two bytes at its start that could be a mark of 16-bit text are taken as they are in other places: as a mark
// they would let markup behind them out as it stands.
std::size_t vnXmlText::behindMarkup(std::string_view text)
{
    const std::size_t begin = behindMarkupOfBytes(text);
    const std::string_view rest = text.substr(begin);
    // What is too long a form of markup cannot be written as a reference: no part with it is fit.
    return isPlain(rest) || behindMarkupOfBytes(readTokens(rest).getText()) == 0 ? begin : text.size();
}

// Behind the start of the last "<", "&" or "]]>"; 0 when there is none.
std::size_t vnXmlText::behindMarkupOfBytes(std::string_view text) noexcept
{
    std::size_t end = text.size();
    for (; end > 0; --end)
    {
        const char c = text[end - 1];
        if (!(byteTable[static_cast<unsigned char>(c)] & CHAR_DATA) &&
            (c != ']' || text.substr(end - 1, 3) == "]]>"))
            break;
    }
    return end;
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
