// SPDX-License-Identifier: MIT
#include "../core/vnTextHelpers.h"
#include "vnGrammarTestTools.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnParserFunction.h>
#include <vnBase/vnProgress.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <gtest/gtest.h>

namespace
{
// A parser over a text or any other source.
struct Parsed : vnBasicParser
{
    explicit Parsed(const std::string& text) : Parsed(new TextAdapter(text)) {}
    explicit Parsed(vnSerializeAdapter* source) : adapter(source) { setAdapter(source); }
    void take(unsigned int count)
    {
        for (; count > 0; --count)
            getNextToken(1);
    }
    std::string taken() { return toStd(getTokenData(0, static_cast<unsigned short>(getTokenPos()))); }

    vnRefPointer<vnSerializeAdapter> adapter;
};

// The way to the position of a parser, which takes a while to get to the end of 32 bits by itself. An
// explicit instantiation may name what is private.
template <unsigned int vnBasicParser::*POSITION>
struct PositionOf
{
    friend unsigned int& positionOf(vnBasicParser& parser) { return parser.*POSITION; }
};
unsigned int& positionOf(vnBasicParser& parser);
template struct PositionOf<&vnBasicParser::m_tokenPos>;

struct BarLog : vnProgressInterface
{
    void onProgress(unsigned char percent, const char* banner) override
    {
        reports.push_back(std::to_string(percent) + " " + banner);
    }
    std::vector<std::string> reports;
};
} // namespace

TEST(vnBasicParser, CountsLinesAndColumnsForthAndBack)
{
    Parsed parser("ab\nc");
    parser.take(4);
    EXPECT_EQ(parser.getLine(), 1u);
    EXPECT_EQ(parser.getColumn(), 1u);
    EXPECT_EQ(parser.getTokenPos(), 4u);
    parser.pushBackTokens(3);
    EXPECT_EQ(parser.getLine(), 0u);
    EXPECT_EQ(parser.getColumn(), 1u);
    EXPECT_EQ(parser.getNextToken(1), 'b');

    // The end is known of the last line only: back over both line feeds the column is that of the last one.
    Parsed lines("abc\nd\n");
    lines.take(6);
    lines.pushBackTokens(3);
    EXPECT_EQ(lines.getLine(), 0u);
    EXPECT_EQ(lines.getColumn(), 1u);
}

TEST(vnBasicParser, EndsTheParseWhenACharacterMustBeThere)
{
    Parsed parser("");
    try
    {
        parser.getNextToken(1);
        FAIL() << "nothing was thrown";
    }
    catch (const vnBasicParseException& end)
    {
        EXPECT_EQ(end.getValue(), 0u);
    }
    EXPECT_EQ(toStd(parser.getError()), "Adapter out of Data");
}

TEST(vnBasicParser, HasNoDataBehindAMarkOrInHalfACharacter)
{
    for (const std::string text : {"\xEF\xBB\xBF", "\xFE\xFF", "\xFF\xFE\x41"})
    {
        Parsed parser(text);
        EXPECT_EQ(parser.parseAllWS(), VN_PARSE_NO_MATCH);
        EXPECT_EQ(parser.parseToEOL(), VN_PARSE_NO_MATCH);
        EXPECT_FALSE(parser.hasData());
        EXPECT_FALSE(parser.adapter->hasError());
        EXPECT_THROW(parser.getNextToken(1), vnBasicParseException);
    }
    for (const std::string mark : {"\xEF\xBB\xBF", "\xFE\xFF"})
    {
        // Which throws when it is read beyond its end.
        Parsed parser(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
        for (const char c : mark)
            parser.adapter->write(static_cast<unsigned char>(c));
        EXPECT_EQ(parser.checkTokens(u"a", 1, 0), 0);
        EXPECT_EQ(parser.parseChar(), VN_PARSE_NO_MATCH);
        EXPECT_EQ(parser.skipToEOL(), VN_PARSE_OK);
        EXPECT_EQ(parser.getTokenPos(), 0u);
    }
    // Whether the length tells all there is, less, or more, as for the padding of base64.
    for (vnSerializeAdapter* adapter : std::initializer_list<vnSerializeAdapter*>{
             new TextAdapter(std::string("\xFF\xFE\x41\0\x42\0\x43", 7)),
             new VagueAdapter(std::string("\xFF\xFE\x41\0\x42\0\x43", 7)),
             new vnSerializeAdapterBase64Encoder(new TextAdapter("//5BAEIAQw=="))})
    {
        Parsed wide(adapter);
        EXPECT_TRUE(wide.hasData());
        EXPECT_EQ(wide.getNextToken(1), 'A');
        EXPECT_EQ(wide.checkTokens(u"B", 1, 0), 1);
        EXPECT_FALSE(wide.hasData());
        EXPECT_EQ(wide.checkTokens(u"C", 1, 0), 0);
        EXPECT_EQ(wide.getTokenPos(), 2u);
    }
}

TEST(vnBasicParser, GivesBackNoMoreThanItRemembers)
{
    Parsed parser("0123456789abc");
    parser.setMaxBufferSize(10);
    parser.take(12);
    EXPECT_EQ(toStd(parser.getTokenData(0, 12)), "23456789ab"); // the first two are forgotten
    EXPECT_EQ(errorOf([&parser] { parser.pushBackTokens(11); }), "Too Large Pushback in basic parser");
    parser.pushBackTokens(10);
    EXPECT_EQ(readAll(*parser.adapter), "23456789abc");
}

TEST(vnBasicParser, RemembersWhereItsPositionBeginsAnew)
{
    for (const unsigned int window : {0, 20})
    {
        Parsed parser(new PieceAdapter("abc\ndefgh", window));
        parser.setMaxBufferSize(6);
        positionOf(parser) = 0xFFFFFFFD;
        EXPECT_EQ(parser.parseToEOL(), VN_PARSE_OK);
        EXPECT_EQ(parser.parseLF(), VN_PARSE_OK);
        EXPECT_EQ(parser.parsePlainIdentifier(), VN_PARSE_OK);
        EXPECT_EQ(parser.getTokenPos(), 6u);
        EXPECT_EQ(toStd(parser.getTokenData(0xFFFFFFFD, 9)), "\ndefgh"); // the first three are forgotten
        EXPECT_EQ(toStd(parser.getTokenData(0xFFFFFFFE, 4)), "\nd");
        EXPECT_EQ(toStd(parser.getTokenData(4, 9)), "gh");
        EXPECT_EQ(toStd(parser.getTokenData(7, 9)), "");
        vnArray<unsigned char> data;
        parser.getTokenData(data, 0, 0xFFFFFFFF);
        EXPECT_EQ(data.getSize(), 6u);
        parser.pushBackTokens(6);
        EXPECT_EQ(parser.getTokenPos(), 0u);
        EXPECT_EQ(parser.getLine(), 0u);
        EXPECT_EQ(parser.getColumn(), 3u);
    }
}

TEST(vnBasicParser, WalksRulesWhereItsPositionBeginsAnew)
{
    struct Rules : vnParserFunction<Rules>
    {
    };
    const std::pair<const char*, unsigned int> rules[] = {
        {"main ::= ('abcd' | 'ab') 'e' ;", 5},
        {"main ::= 'abcd' | 'ab' ;", 4},
        {"main ::= 'a' ('b' ('c' | 'cd') | 'bc') 'd' ;", 4},
        {"main ::= ('ab' | 'abcd') 'cd' 'e'? ;", 5},
    };
    for (const auto& [text, length] : rules)
        for (unsigned int begin = 0xFFFFFFFA; begin != 1; ++begin)
            for (const unsigned int window : {0, 20})
            {
                Rules parser;
                parser.addRules(text);
                parser.setAdapter(new PieceAdapter("abcde", window));
                positionOf(parser) = begin;
                EXPECT_EQ(parser.parseRule("main"), VN_PARSE_OK) << text;
                EXPECT_EQ(parser.getTokenPos() - begin, length) << text << " from " << begin;
            }
}

TEST(vnBasicParser, DoesNotTakeAPlaceFarBackForOneAhead)
{
    struct Rules : vnParserFunction<Rules>
    {
        Rules() { addFunction("fLeap", &Rules::fLeap); }
        vnParseResult fLeap() // as if so much had been read
        {
            positionOf(*this) += 0xC0000000;
            return VN_PARSE_NO_MATCH;
        }
    };
    vnRefPointer<vnSerializeAdapter> adapter(new TextAdapter("abcde"));
    Rules parser;
    parser.addRules("main ::= 'a' fLeap | 'ab' ;");
    parser.setAdapter(adapter);
    EXPECT_THROW(parser.parseRule("main"), vnBaseError);
    EXPECT_EQ(readAll(*adapter), "bcde");
}

TEST(vnBasicParser, ComparesTokensAndGivesThemBackAtTheFirstDifference)
{
    Parsed parser("Hello");
    EXPECT_EQ(parser.checkTokens(u"hell", 4, 0), 0);
    EXPECT_EQ(parser.getTokenPos(), 0u);
    EXPECT_EQ(parser.checkTokens(u"Hello!", 6, 0), 0);
    EXPECT_EQ(parser.checkTokens(u"hELL", 4, 1), 1);
    EXPECT_EQ(readAll(*parser.adapter), "o");
    vnBasicParser without;
    EXPECT_EQ(without.checkTokens(u"", 0, 0), 0);
}

TEST(vnBasicParser, MatchesAsTheNamesOfTheMatchersTell)
{
    using Matcher = vnParseResult (vnBasicParser::*)();
    struct Row
    {
        Matcher matcher;
        const char* text;
        const char* taken; // null: no match
    };
    const Row rows[] = {
        {&vnBasicParser::parseAlpha, "z", "z"},
        {&vnBasicParser::parseAlpha, "\xC3", nullptr},
        {&vnBasicParser::parseLoAlpha, "A", nullptr},
        {&vnBasicParser::parseUpAlpha, "AB", "A"},
        {&vnBasicParser::parseHex, "fg", "f"},
        {&vnBasicParser::parseHex, "g", nullptr},
        {&vnBasicParser::parseChar, "\x80", nullptr},
        {&vnBasicParser::parseCTL, "\x7F", "\x7F"},
        {&vnBasicParser::parseCTL, " ", nullptr},
        {&vnBasicParser::parseCRLF, "\r\n", "\r\n"},
        {&vnBasicParser::parseCRLF, "\rx", nullptr},
        {&vnBasicParser::parseWS, "\t ", "\t"},
        {&vnBasicParser::parseAllWS, " \t\r\nx", " \t\r\n"},
        {&vnBasicParser::parseAllWS, "x", nullptr},
        {&vnBasicParser::parseAllExceptWS, "ab c", "ab"},
        {&vnBasicParser::parseAllExceptCREOL, "a b\r\n", "a b"},
        {&vnBasicParser::parseAllExceptCREOL, "\n", nullptr},
        {&vnBasicParser::parseToCREOL, "\r\n", ""},
        {&vnBasicParser::parseToCREOL, "", nullptr}, // nothing to stand at the end of
        {&vnBasicParser::parseToEOL, "a\r\n", "a\r"},
        {&vnBasicParser::parsePlainText, " a", ""},
        {&vnBasicParser::skipAllWS, "", ""},
        {&vnBasicParser::skipWS, " \t\n", " \t"},
        {&vnBasicParser::parseIdentifier, "a_1-", "a_1"},
        {&vnBasicParser::parseIdentifier, "_a", nullptr},
        {&vnBasicParser::parsePlainIdentifier, "ab1", "ab"},
        {&vnBasicParser::parseInteger, "-", "-"}, // a lone sign is one
        {&vnBasicParser::parseInteger, "+12.", "+12"},
        {&vnBasicParser::parseNumber, "-1.5e+3x", "-1.5e+3"},
        {&vnBasicParser::parseNumber, "1e", "1"},
        {&vnBasicParser::parseNumber, "2.e-", "2."},
        {&vnBasicParser::parseNumber, "-x", nullptr},
        {&vnBasicParser::parseString, "\"a\\\"b\"c", "\"a\\\"b\""},
        {&vnBasicParser::parseString, "'a\"'", "'a\"'"},
        {&vnBasicParser::parseString, "'a", nullptr},
        {&vnBasicParser::parseQuoteToken, "\\\"x", "\\\""},
        {&vnBasicParser::parseQuoteToken, "\\\\\"", "\\"}, // a backslash escapes none of its kind
        {&vnBasicParser::parseQuoteToken, "\"", nullptr},
        {&vnBasicParser::parseSingleQuoteTokenEscape, "\\'", "\\'"},
        {&vnBasicParser::parseSetTokenEscape, "\\x", nullptr},
        {&vnBasicParser::parseSetTokenEscape, "\\]x", "\\]"},
        {&vnBasicParser::parseQuoteTokenEscape, "\\\"x", "\\\""},
        {&vnBasicParser::parseQuoteTokenEscape, "x", nullptr},
        {&vnBasicParser::parseSetToken, "\\]x", "\\]"},
        {&vnBasicParser::parseSetToken, "]", nullptr},
        {&vnBasicParser::parseSingleQuoteToken, "\\'x", "\\'"},
        {&vnBasicParser::parseSingleQuoteToken, "x'", "x"},
        {&vnBasicParser::parseSingleQuoteToken, "'", nullptr},
        {&vnBasicParser::parseAlphaNum, "9z", "9"},
        {&vnBasicParser::parseAlphaNum, "_", nullptr},
        {&vnBasicParser::parseCR, "\r\n", "\r"},
        {&vnBasicParser::parseLF, "\n", "\n"},
        {&vnBasicParser::parseLF, "\r", nullptr},
        {&vnBasicParser::parseHT, "\t", "\t"},
        {&vnBasicParser::parseHT, " ", nullptr},
        {&vnBasicParser::parseSP, " ", " "},
        {&vnBasicParser::parseSP, "\t", nullptr},
        {&vnBasicParser::skipToEOL, "a\r\nb", "a\r"},
        {&vnBasicParser::skipToCREOL, "a\r\n", "a"},
        {&vnBasicParser::skipToCREOL, "", ""},
        {&vnBasicParser::skipAllExceptCREOL, "a b\nc", "a b"},
        {&vnBasicParser::skipAllExceptCREOL, "\n", ""},
    };
    for (const Row& row : rows)
    {
        Parsed parser(row.text);
        SCOPED_TRACE(row.text);
        EXPECT_EQ((parser.*row.matcher)(), row.taken ? VN_PARSE_OK : VN_PARSE_NO_MATCH);
        EXPECT_EQ(parser.taken(), row.taken ? row.taken : "");
    }
}

TEST(vnBasicParser, KeepsBytesAndWritesWideCharactersAsUtf8)
{
    Parsed bytes("\xC3\xA9!");
    bytes.skipToEOL();
    EXPECT_EQ(bytes.getTokenPos(), 3u);
    EXPECT_EQ(bytes.taken(), "\xC3\xA9!");

    Parsed utf8("a\xC3\xA9\xE2\x82\xAC.");
    utf8.useUtf8(1);
    utf8.skipToEOL();
    EXPECT_EQ(utf8.getTokenPos(), 4u);
    EXPECT_EQ(utf8.taken(), "a\xC3\xA9\xE2\x82\xAC.");
    vnArray<unsigned char> data;
    utf8.getTokenData(data, 1, 2);
    EXPECT_EQ(std::string(data.data(), data.data() + data.getSize()), "\xC3\xA9\xE2\x82\xAC");
    utf8.pushBackTokens(3);
    EXPECT_EQ(readAll(*utf8.adapter), "\xC3\xA9\xE2\x82\xAC.");

    Parsed utf16(std::string("\xFF\xFEz\0\xAC\x20", 6));
    utf16.skipToEOL();
    EXPECT_EQ(utf16.taken(), "z\xE2\x82\xAC");
    utf16.pushBackTokens(1);
    EXPECT_EQ(readAll(*utf16.adapter), "\xAC\x20");

    Parsed big(std::string("\0a\x20\xAC", 4));
    big.useUnicode(1);
    EXPECT_EQ(big.getNextToken(1), 'a');
    EXPECT_EQ(big.getNextToken(1), 0x20AC);
    big.pushBackTokens(1);
    EXPECT_EQ(readAll(*big.adapter), "\x20\xAC");
}

TEST(vnBasicParser, GoesOnWhereAnotherParserStands)
{
    Parsed first("one\ntwo");
    first.skipToEOL();
    first.getNextToken(1);
    vnBasicParser second;
    second.continueParsingFrom(&first);
    EXPECT_EQ(second.getTokenPos(), 4u);
    EXPECT_EQ(second.getLine(), 1u);
    EXPECT_EQ(second.getNextToken(1), 't');
    second.pushBackTokens(3);
    EXPECT_EQ(second.getNextToken(1), 'e');

    Parsed large(std::string(60000, 'a') + "bc");
    large.setMaxBufferSize(70000);
    large.parsePlainIdentifier();
    large.pushBackTokens(2);
    vnBasicParser next;
    next.continueParsingFrom(&large);
    EXPECT_EQ(next.getMaxBufferSize(), 70000u);
    next.getNextToken(1);
    next.pushBackTokens(60001); // nothing is forgotten
    EXPECT_EQ(next.getTokenPos(), 0u);
}

TEST(vnBasicParser, ReportsProgressWhenThePercentageChanges)
{
    BarLog bar;
    vnProgress::setProgressInterface(&bar);
    Parsed parser(std::string(200, 'x'));
    parser.reportProgress(0); // nothing to say yet
    parser.setProgressMessage("Reading %s", "x");
    for (int i = 0; i < 4; ++i)
    {
        parser.getNextToken(1);
        parser.reportProgress(0);
    }
    parser.useProgress(0);
    parser.reportProgress(1);
    parser.useProgress(1);
    parser.reportProgress(1);
    vnBasicParser next;
    next.continueParsingFrom(&parser);
    next.setProgressMessage("Going on");
    parser.take(2);
    next.reportProgress(0);
    next.reportProgress(0); // the same
    vnProgress::setProgressInterface(nullptr);
    EXPECT_EQ(bar.reports, (std::vector<std::string>{"0 Reading x", "1 Reading x", "2 Reading x",
                                                     "100 Reading x", "3 Going on"}));
}

TEST(vnBasicParser, NamesResultsAndUnknownFunctions)
{
    EXPECT_EQ(toStd(vnBasicParser::parseResultString(VN_PARSE_NO_MATCH)), "No Match");
    EXPECT_EQ(toStd(vnBasicParser::parseResultString(static_cast<vnParseResult>(3))), "Unknown Error");
    vnBasicParser parser;
    EXPECT_EQ(parser.parseFunction("f"), VN_PARSE_ERROR);
    EXPECT_EQ(toStd(parser.getError()), "Unknow parse function 'f'");
    parser.reset();
    EXPECT_FALSE(parser.hasError());
}
