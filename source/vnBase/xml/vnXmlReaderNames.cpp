// SPDX-License-Identifier: MIT
#include "vnXmlReader.h"

using namespace vnXmlClass;

namespace
{
constexpr int firstLine = 2000;
}

bool vnXmlReader::takeSpace()
{
    if (!isSpace(m_input.need()))
        return false;
    do
        if (!m_input.skip(SPACE))
            m_input.take();
    while (m_input.hasData() && isSpace(m_input.peek()));
    return true;
}

bool vnXmlReader::takeName()
{
    if (!isNameStart(m_input.need()))
        return false;
    m_input.take();
    for (;;)
    {
        m_input.skip(NAME);
        if (!m_input.hasData())
            return true;
        const int c = m_input.peek();
        if (c < 0x80 ? !(utf8Table[c] & NAME) : !isNameChar(c))
            return true;
        m_input.take();
    }
}

// Some characters of ASCII, at the least one.
bool vnXmlReader::acceptWord(const char* word)
{
    const Mark begin = m_input.getMark();
    for (; *word; ++word)
        if (!m_input.accept(*word))
        {
            m_input.moveTo(begin);
            return false;
        }
    return true;
}

// What the first one answers that matches, or finds a fault.
vnParseResult vnXmlReader::firstOf(std::initializer_list<Production> productions)
{
    vnParseResult result = VN_PARSE_NO_MATCH;
    for (const Production* next = productions.begin();
         next != productions.end() && result == VN_PARSE_NO_MATCH; ++next)
        result = (this->**next)();
    return result;
}

// S and this, or nothing.
vnParseResult vnXmlReader::behindSpace(Production production)
{
    const Mark begin = m_input.getMark();
    if (!takeSpace())
        return VN_PARSE_NO_MATCH;
    const vnParseResult result = (this->*production)();
    if (result == VN_PARSE_NO_MATCH)
        m_input.moveTo(begin);
    return result;
}

// One or more, with S between them.
vnParseResult vnXmlReader::listOf(Production item)
{
    vnParseResult result = (this->*item)();
    if (result != VN_PARSE_OK)
        return result;
    for (;;)
    {
        const Mark begin = m_input.getMark();
        if (!m_input.hasData() || !takeSpace())
            return VN_PARSE_OK;
        result = m_input.hasData() ? (this->*item)() : VN_PARSE_NO_MATCH;
        if (result == VN_PARSE_OK)
            continue;
        m_input.moveTo(begin);
        return VN_PARSE_OK;
    }
}

vnParseResult vnXmlReader::read02()
{
    return resultOf(takeIf(isChar));
}

vnParseResult vnXmlReader::read03()
{
    return resultOf(takeSpace());
}

vnParseResult vnXmlReader::read04()
{
    return resultOf(takeIf(isNameChar));
}

vnParseResult vnXmlReader::read05()
{
    return resultOf(takeName());
}

vnParseResult vnXmlReader::read06()
{
    return listOf(&vnXmlReader::read05);
}

vnParseResult vnXmlReader::read07()
{
    m_input.need();
    return resultOf(takeWhile(isNameChar) > 0);
}

vnParseResult vnXmlReader::read08()
{
    return listOf(&vnXmlReader::read07);
}

vnParseResult vnXmlReader::read09()
{
    const int quote = m_input.need();
    if (quote != '"' && quote != '\'')
        return VN_PARSE_NO_MATCH;
    m_input.take();
    for (;;)
    {
        const int c = m_input.need();
        vnParseResult result = VN_PARSE_OK;
        if (c == '%')
            result = read69();
        else if (c == '&')
            result = read67();
        else
            m_input.take();
        if (result != VN_PARSE_OK)
            return result == VN_PARSE_ERROR ? result : VN_XML_FAULT();
        if (c == quote)
            return VN_PARSE_OK;
    }
}

vnParseResult vnXmlReader::read11()
{
    const int quote = m_input.need();
    if (quote != '"' && quote != '\'')
        return VN_PARSE_NO_MATCH;
    m_input.take();
    while (m_input.need() != quote)
        m_input.take();
    m_input.take();
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read12()
{
    const int quote = m_input.need();
    if (quote != '"' && quote != '\'')
        return VN_PARSE_NO_MATCH;
    m_input.take();
    while (m_input.need() != quote)
        if (!takeIf(isPubidChar))
            return VN_XML_FAULT();
    m_input.take();
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read13()
{
    return resultOf(takeIf(isPubidChar));
}

vnParseResult vnXmlReader::read19()
{
    return resultOf(m_input.accept("<![CDATA["));
}

vnParseResult vnXmlReader::read21()
{
    return resultOf(m_input.accept("]]>"));
}

vnParseResult vnXmlReader::read33()
{
    const vnParseResult code = read34();
    while (code == VN_PARSE_OK && m_input.hasData())
    {
        const Mark begin = m_input.getMark();
        if (m_input.accept('-') && m_input.hasData() && read38() == VN_PARSE_OK)
            continue;
        m_input.moveTo(begin);
        break;
    }
    return code;
}

vnParseResult vnXmlReader::read34()
{
    return firstOf({&vnXmlReader::read35, &vnXmlReader::read36, &vnXmlReader::read37});
}

vnParseResult vnXmlReader::read35()
{
    const Mark begin = m_input.getMark();
    if (takeIf(isLatin) && m_input.hasData() && takeIf(isLatin))
        return VN_PARSE_OK;
    m_input.moveTo(begin);
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnXmlReader::read36()
{
    return prefixedCode('i');
}

vnParseResult vnXmlReader::read37()
{
    return prefixedCode('x');
}

// The letter in either case, "-" and letters.
vnParseResult vnXmlReader::prefixedCode(char letter)
{
    const Mark begin = m_input.getMark();
    if (takeIf([letter](int c) { return c == letter || c == letter - 32; }) && m_input.accept('-') &&
        takeWhile(isLatin) > 0)
        return VN_PARSE_OK;
    m_input.moveTo(begin);
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnXmlReader::read38()
{
    m_input.need();
    return resultOf(takeWhile(isLatin) > 0);
}

vnParseResult vnXmlReader::read84()
{
    return resultOf(takeIf(isLetter));
}

vnParseResult vnXmlReader::read85()
{
    return resultOf(takeIf(isBaseChar));
}

vnParseResult vnXmlReader::read86()
{
    return resultOf(takeIf(isIdeographic));
}

vnParseResult vnXmlReader::read87()
{
    return resultOf(takeIf(isCombiningChar));
}

vnParseResult vnXmlReader::read88()
{
    return resultOf(takeIf(isDigit));
}

vnParseResult vnXmlReader::read89()
{
    return resultOf(takeIf(isExtender));
}
