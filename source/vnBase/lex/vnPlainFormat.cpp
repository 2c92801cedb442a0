// SPDX-License-Identifier: MIT
#include "vnPlainFormat.h"

#include "vnCharacter.h"

#include <array>
#include <cstring>

using namespace vnCharacter;

namespace
{
using Byte = unsigned char;

bool isWord(char16_t c)
{
    return isAlphaNum(c) || c == '_';
}
bool isSign(char16_t c)
{
    return c == '+' || c == '-';
}

template <class Test>
const Byte* skip(const Byte* at, const Byte* end, const Test& isWanted)
{
    while (at != end && isWanted(*at))
        ++at;
    return at;
}

template <class Test>
const Byte* skipOne(const Byte* at, const Byte* end, const Test& isWanted)
{
    return at != end && isWanted(*at) ? at + 1 : at;
}

// What follows answers where the match ends; null for none.

const Byte* atLeastOne(const Byte* begin, const Byte* end)
{
    return end != begin ? end : nullptr;
}

const Byte* matchIdentifier(const Byte* at, const Byte* end)
{
    return at != end && isAlpha(*at) ? skip(at, end, isWord) : nullptr;
}

// A sign alone will do, on purpose.
const Byte* matchInteger(const Byte* at, const Byte* end)
{
    const Byte* digits = skipOne(at, end, isSign);
    return atLeastOne(at, skip(digits, end, isDigit));
}

const Byte* matchNumber(const Byte* at, const Byte* end)
{
    const Byte* digits = skipOne(at, end, isSign);
    at = skip(digits, end, isDigit);
    if (at == digits)
        return nullptr;
    if (at != end && *at == '.')
        at = skip(at + 1, end, isDigit);
    if (at == end || (*at != 'e' && *at != 'E'))
        return at;
    digits = skipOne(at + 1, end, isSign);
    const Byte* exponent = skip(digits, end, isDigit);
    return exponent != digits ? exponent : at; // the letter belongs to what follows
}

const Byte* matchQuoted(const Byte* at, const Byte* end)
{
    if (at == end || (*at != '"' && *at != '\''))
        return nullptr;
    const void* closing = std::memchr(at + 1, *at, static_cast<std::size_t>(end - at - 1));
    return closing ? static_cast<const Byte*>(closing) + 1 : nullptr;
}

const Byte* match(char letter, const Byte* at, const Byte* end)
{
    switch (letter)
    {
    case 'e':
        return end;
    case 'i':
        return matchIdentifier(at, end);
    case 'l':
        return matchInteger(at, end);
    case 'n':
        return matchNumber(at, end);
    case 'p':
        return atLeastOne(at, skip(at, end, isAlpha));
    case 's':
        return matchQuoted(at, end);
    case 't':
        return at != end ? at + 1 : nullptr;
    case 'x':
        return atLeastOne(at, skip(at, end, isHex));
    default: // 'w'
        return skip(at, end, isWhite);
    }
}

const Byte* match(const std::string& text, const Byte* at, const Byte* end)
{
    const std::size_t length = text.size();
    if (static_cast<std::size_t>(end - at) < length)
        return nullptr;
    if (length == 1)
        return static_cast<Byte>(text[0]) == *at ? at + 1 : nullptr;
    return std::memcmp(text.data(), at, length) == 0 ? at + length : nullptr;
}
} // namespace

bool vnPlainFormat::addDirective(char letter)
{
    if (letter == '%')
    {
        addText("%");
        return true;
    }
    if (letter == '\0' || !std::strchr("eilnpstwx", letter))
        return false;
    m_steps.push_back(Step{letter, std::string()});
    m_pieces += letter == 'w' ? 0 : 1;
    return true;
}

void vnPlainFormat::addText(std::string_view text)
{
    if (m_steps.empty() || m_steps.back().letter)
        m_steps.push_back(Step{'\0', std::string()});
    m_steps.back().text.append(text);
}

vnArray<vnString> vnPlainFormat::run(const vnString& text, unsigned char* ok) const
{
    struct Piece
    {
        const Byte* begin;
        const Byte* end;
    };
    std::array<Piece, VN_MAX_PIECES> pieces;
    unsigned int count = 0;
    const Byte* at = reinterpret_cast<const Byte*>(text.getString());
    const Byte* const end = at + text.length();
    for (const Step& step : m_steps)
    {
        const Byte* const begin = at;
        at = step.letter ? match(step.letter, at, end) : match(step.text, at, end);
        if (!at)
            break;
        if (!step.letter || step.letter == 'w')
            continue;
        const unsigned int quote = step.letter == 's' ? 1 : 0;
        pieces[count++] = Piece{begin + quote, at - quote};
    }
    if (ok)
        *ok = at != nullptr;
    vnArray<vnString> result(count);
    for (unsigned int i = 0; i < count; ++i)
        result.data()[i] = vnString(reinterpret_cast<const char*>(pieces[i].begin),
                                    static_cast<unsigned short>(pieces[i].end - pieces[i].begin));
    return result;
}
