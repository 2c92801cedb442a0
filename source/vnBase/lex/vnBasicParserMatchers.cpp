// SPDX-License-Identifier: MIT
#include <vnBase/vnBasicParser.h>

#include "vnCharacter.h"
#include "vnParserCursor.h"

using namespace vnCharacter;

namespace
{
bool isWord(char16_t c)
{
    return isAlphaNum(c) || c == '_';
}
bool isNotLineFeed(char16_t c)
{
    return c != '\n';
}

vnParseResult resultOf(bool isMatch)
{
    return isMatch ? VN_PARSE_OK : VN_PARSE_NO_MATCH;
}
} // namespace

template <class Test>
vnParseResult vnBasicParser::parseOne(const Test& isWanted)
{
    if (!hasData())
        return VN_PARSE_NO_MATCH;
    if (isWanted(static_cast<char16_t>(takeToken())))
        return VN_PARSE_OK;
    pushBackTokens(1);
    return VN_PARSE_NO_MATCH;
}

// Returns how many there were.
template <class Test>
unsigned int vnBasicParser::skipWhile(const Test& isWanted)
{
    const unsigned int begin = m_tokenPos;
    vnParserCursor cursor(*this);
    while (hasData())
    {
        const vnParserCursor::Mode mode = cursor.getMode();
        const unsigned char* stop = mode == vnParserCursor::NONE ? cursor.next() : cursor.end();
        const unsigned char* found = cursor.next();
        while (found != stop && (mode == vnParserCursor::BYTES || *found < 0x80) && isWanted(*found))
            ++found;
        if (found != cursor.next())
        {
            cursor.takeLines(static_cast<unsigned int>(found - cursor.next()));
            cursor.leave();
        }
        else if (parseOne(isWanted) != VN_PARSE_OK)
            break;
    }
    return m_tokenPos - begin;
}

unsigned int vnBasicParser::takeDigits()
{
    return skipWhile(isDigit);
}

unsigned int vnBasicParser::takeOneOf(char16_t first, char16_t second)
{
    return parseOne([=](char16_t c) { return c == first || c == second; }) == VN_PARSE_OK ? 1 : 0;
}

vnParseResult vnBasicParser::parseAlpha()
{
    return parseOne(isAlpha);
}

vnParseResult vnBasicParser::parseLoAlpha()
{
    return parseOne(isLower);
}

vnParseResult vnBasicParser::parseUpAlpha()
{
    return parseOne(isUpper);
}

vnParseResult vnBasicParser::parseDigit()
{
    return parseOne(isDigit);
}

vnParseResult vnBasicParser::parseHex()
{
    return parseOne(isHex);
}

vnParseResult vnBasicParser::parseAlphaNum()
{
    return parseOne(isAlphaNum);
}

vnParseResult vnBasicParser::parseChar()
{
    return parseOne(isAscii);
}

vnParseResult vnBasicParser::parseCTL()
{
    return parseOne(isControl);
}

vnParseResult vnBasicParser::parseCR()
{
    return parseOne(is<'\r'>);
}

vnParseResult vnBasicParser::parseLF()
{
    return parseOne(is<'\n'>);
}

vnParseResult vnBasicParser::parseCRLF()
{
    return resultOf(checkTokens(u"\r\n", 2, 0) != 0);
}

vnParseResult vnBasicParser::parseHT()
{
    return parseOne(is<'\t'>);
}

vnParseResult vnBasicParser::parseSP()
{
    return parseOne(is<' '>);
}

vnParseResult vnBasicParser::parseWS()
{
    return parseOne(isBlank);
}

vnParseResult vnBasicParser::parseAllWS()
{
    return resultOf(skipWhile(isWhite) > 0);
}

vnParseResult vnBasicParser::parseAllExceptWS()
{
    return resultOf(skipWhile(isNotWhite) > 0);
}

vnParseResult vnBasicParser::parseAllExceptCREOL()
{
    return resultOf(skipWhile(isNotLineEnd) > 0);
}

vnParseResult vnBasicParser::parseToCREOL()
{
    return hasData() ? skipToCREOL() : VN_PARSE_NO_MATCH;
}

vnParseResult vnBasicParser::parseToEOL()
{
    return hasData() ? skipToEOL() : VN_PARSE_NO_MATCH;
}

vnParseResult vnBasicParser::parsePlainText()
{
    if (!hasData())
        return VN_PARSE_NO_MATCH;
    skipWhile(isNotWhite);
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::skipToEOL()
{
    skipWhile(isNotLineFeed);
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::skipToCREOL()
{
    skipWhile(isNotLineEnd);
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::skipAllWS()
{
    skipWhile(isWhite);
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::skipWS()
{
    skipWhile(isBlank);
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::skipAllExceptCREOL()
{
    return skipToCREOL();
}

vnParseResult vnBasicParser::parseIdentifier()
{
    if (parseOne(isAlpha) != VN_PARSE_OK)
        return VN_PARSE_NO_MATCH;
    skipWhile(isWord);
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::parsePlainIdentifier()
{
    return resultOf(skipWhile(isAlpha) > 0);
}

vnParseResult vnBasicParser::parseInteger()
{
    // Nothing asks for a digit behind the sign, on purpose.
    if (parseOne([](char16_t c) { return isDigit(c) || c == '+' || c == '-'; }) != VN_PARSE_OK)
        return VN_PARSE_NO_MATCH;
    takeDigits();
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::parseNumber()
{
    const unsigned int sign = takeOneOf('+', '-');
    if (takeDigits() == 0)
    {
        pushBackTokens(sign);
        return VN_PARSE_NO_MATCH;
    }
    if (takeOneOf('.', '.') > 0)
        takeDigits();
    unsigned int exponent = takeOneOf('e', 'E');
    if (exponent == 0)
        return VN_PARSE_OK;
    exponent += takeOneOf('+', '-');
    if (takeDigits() == 0)
        pushBackTokens(exponent); // the letter belongs to what follows
    return VN_PARSE_OK;
}

vnParseResult vnBasicParser::parseString()
{
    const unsigned int begin = m_tokenPos;
    char16_t quote = '"';
    if (takeOneOf(quote, quote) == 0)
    {
        quote = '\'';
        if (takeOneOf(quote, quote) == 0)
            return VN_PARSE_NO_MATCH;
    }
    while (parseDelimitedToken(quote) == VN_PARSE_OK)
    {
    }
    if (takeOneOf(quote, quote) > 0)
        return VN_PARSE_OK;
    pushBackTokens(m_tokenPos - begin);
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnBasicParser::parseDelimitedToken(char16_t closing)
{
    if (parseDelimitedEscape(closing) == VN_PARSE_OK)
        return VN_PARSE_OK;
    return parseOne([=](char16_t c) { return c != closing; });
}

vnParseResult vnBasicParser::parseDelimitedEscape(char16_t closing)
{
    if (takeOneOf('\\', '\\') == 0)
        return VN_PARSE_NO_MATCH;
    if (takeOneOf(closing, closing) > 0)
        return VN_PARSE_OK;
    pushBackTokens(1);
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnBasicParser::parseQuoteToken()
{
    return parseDelimitedToken('"');
}

vnParseResult vnBasicParser::parseQuoteTokenEscape()
{
    return parseDelimitedEscape('"');
}

vnParseResult vnBasicParser::parseSingleQuoteToken()
{
    return parseDelimitedToken('\'');
}

vnParseResult vnBasicParser::parseSingleQuoteTokenEscape()
{
    return parseDelimitedEscape('\'');
}

vnParseResult vnBasicParser::parseSetToken()
{
    return parseDelimitedToken(']');
}

vnParseResult vnBasicParser::parseSetTokenEscape()
{
    return parseDelimitedEscape(']');
}
