// SPDX-License-Identifier: MIT
#include <vnBase/vnStringParser.h>

#include "vnGrammarTestTools.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{
std::string joined(const vnArray<vnString>& texts)
{
    std::string line;
    for (const vnString& text : texts)
        line += toStd(text) + "|";
    return line;
}

// The pieces, each followed by "|", and "!" after a mismatch.
std::string scan(const vnString& format, const vnString& text, unsigned short decimal = '.')
{
    unsigned char ok = 2;
    const std::string line = joined(parse(format, text, &ok, decimal));
    return ok == 1 ? line : line + "!";
}

struct Row
{
    const char* format;
    const char* text;
    const char* result;
};

void expectRows(const std::vector<Row>& rows)
{
    for (const Row& row : rows)
        EXPECT_EQ(scan(row.format, row.text), row.result) << row.format << " of " << row.text;
}
} // namespace

TEST(parse, ReadsEachKindOfPiece)
{
    expectRows({
        {"%l,%l", "10,20", "10|20|"},
        {"%l", "-7", "-7|"},
        {"%l", "+", "+|"}, // callers read a lone sign as 0
        {"%n", "-1.5e3x", "-1.5e3|"},
        {"%i=%i", "a_1=b2", "a_1|b2|"},
        {"%p%e", "abc1", "abc|1|"},
        {"%s %s", "'it is' \"it's\"", "it is|it's|"},
        {"%s", "''", "|"},
        {"%t%t", "a\xC3", "a|\xC3|"},
        {"%x", "1Fg", "1F|"},
        {"a%wb", "a \t\r\nb", ""},
        {"a%wb", "ab", ""},
        {"x", "xy", ""}, // what stands behind the match is ignored
        {"%l", "1 2", "1|"},
        {"a%e", "abc", "bc|"},
        {"a%e", "a", "|"},
        {"100%%", "100%", ""},
    });
}

TEST(parse, TellsAMismatchAndKeepsThePiecesBeforeIt)
{
    expectRows({
        {"%l,%l", "1024", "1024|!"},
        {"%l", "x", "!"},
        {"%l", "", "!"},
        {"a b", "a  b", "!"}, // blanks count
        {"ab", "a", "!"},
        {"%s", "'open", "!"},
        {"Ab", "ab", "!"},
    });
}

TEST(parse, TakesOnlyTheFirstLetterOfADirective)
{
    expectRows({
        {"%lx", "5x", "5|"},
        {"%l5", "x", "!"},
        {"%l_5%l", "1_52", "1|2|"},
        {"%z", "%z", ""}, // no directive: the percent sign stands for itself
        {"50% of", "50% of", ""},
        {"%", "%", ""},
        {"%(%l)", "%(1)", "1|"},
    });
}

TEST(parse, ReadsGrammarsInFormats)
{
    expectRows({
        {"%'a-z'%+%@%l", "abc12", "abc|12|"},
        {"%'^,'%*%@,%e", "a b,c", "a b|c|"},
        {"%\"('a'|'b')\"%l", "b7", "7|"},
        {"%$%\"digit 4\"%@%\"digit 2\"", "202611", "2026|"},
        {"x%?%l", "5", "5|"},
        {"x%?%l", "x5", "5|"},
        {"%\"fPush\"", "abc", "|"}, // without a mark: all that was consumed
        {"ab%@", "abc", "ab|"},
    });
}

TEST(parse, TakesTheTextOfAFormatAsItStands)
{
    expectRows({
        {"http://%e", "http://host/a", "host/a|"}, // no comment
        {"/*%l*/", "/*1*/", "1|"},
        {"a\\b%l", "a\\b1", "1|"},
        {"\\n%l", "\\n1", "1|"},
        {"\n\t%l", "\n\t1", "1|"},
        {"'%l'", "'%l'", ""}, // within quotes there is no directive
        {"it's %l", "it's %l", ""},
        {"\xC3\xA4=%l", "\xC3\xA4=1", "1|"},
        {"a;b|c::=(%l", "a;b|c::=(1", "1|"},
        {"#x41%l", "#x411", "1|"},
        {"1e%l", "1e5", "5|"}, // the reader of tokens calls this an error
    });
}

// A format with a part of a grammar is walked, also when that part is a comment only.
TEST(parse, MatchesPlainFormatsAsTheirGrammarsDo)
{
    static const char* const formatParts[] = {"%e", "%i", "%l", "%n", "%p",       "%s",  "%t",
                                              "%w", "%x", "%%", "%z", "a",        "1",   ",",
                                              " ",  "+",  "\n", "\\", "\xC3\xA4", "\x80"};
    static const char* const textParts[] = {"a",        "1",    ",",   " ",  "+",  "-",   "\n",
                                            "\\",       "e",    ".",   "\"", "'",  "F_9", "1.5e-3",
                                            "\xC3\xA4", "\x80", "'a'", "%",  "\t", "\r"};
    std::mt19937 random(20110411);
    const auto join = [&random](const auto& parts, unsigned int most)
    {
        std::string text;
        for (auto count = random() % (most + 1); count > 0; --count)
            text += parts[random() % std::size(parts)];
        return text;
    };
    unsigned int matches = 0;
    for (int i = 0; i < 8000; ++i)
    {
        const std::string format = "%w" + join(formatParts, 4);
        const std::string text = join(textParts, 8);
        const std::string expected = scan((format + "%\"/* */\"").c_str(), text.c_str());
        ASSERT_EQ(scan(format.c_str(), text.c_str()), expected) << format << " of " << text;
        matches += expected.find('!') == std::string::npos ? 1 : 0;
    }
    EXPECT_GT(matches, 500u);
}

TEST(parse, TakesMorePiecesThanAPlainFormatHas)
{
    std::string format, result;
    for (int i = 0; i < 20; ++i)
    {
        format += "%t";
        result += "x|";
        EXPECT_EQ(scan(format.c_str(), "xxxxxxxxxxxxxxxxxxxxx"), result);
    }
}

TEST(parse, StartsFractionsByTheDecimalCharacter)
{
    EXPECT_EQ(scan("%n", "3,5", ','), "3,5|");
    EXPECT_EQ(scan("%n", "3,5"), "3|");
    EXPECT_EQ(scan("%n;%n", "-3,5e-2;+4", ','), "-3,5e-2|+4|");
    EXPECT_EQ(scan("%n", "3'5", '\''), "3'5|");
    EXPECT_EQ(scan("%n", "3\\5", '\\'), "3\\5|");
    EXPECT_EQ(scan("%n", "3.5e2", 0), "3|"); // a NUL starts no fraction
    EXPECT_EQ(scan("%n;", "35e2;", 0), "35e2|");
    EXPECT_EQ(scan("%n",
                   "3\xC2\xB7"
                   "5",
                   0xB7),
              "3\xC2\xB7"
              "5|");
}

TEST(parse, ReadsMarksAtTheBeginAsBytesEachTime)
{
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(scan("%e", "\xEF\xBB\xBF\xC3\xA4"), "\xEF\xBB\xBF\xC3\xA4|");
        EXPECT_EQ(scan("%e", "\xFF\xFEzy"), "\xFF\xFEzy|");
    }
}

TEST(parse, ReadsTheLongestText)
{
    const std::string text(vnString::VN_MAX_LENGTH, 'x');
    EXPECT_EQ(scan("%e", text.c_str()), text + "|");
    EXPECT_EQ(scan("%'x'%*y", text.c_str()), "!"); // and back
}

// A format with a rule that is none tells so when it is compiled, and only then.
TEST(parse, CompilesAFormatOnceForEachDecimalCharacterAndThread)
{
    Recorder recorder;
    vnStringParser::cleanUpParsers();
    const auto run = [](unsigned short decimal)
    {
        for (int i = 0; i < 3; ++i)
            scan("%n%\"; malformed ;\"", "3,5", decimal);
    };
    run('.');
    const std::size_t once = recorder.take().size();
    EXPECT_GT(once, 0u);
    run('.');
    EXPECT_EQ(recorder.take().size(), 0u);
    run(',');
    EXPECT_EQ(recorder.take().size(), once);
    run('\0');
    EXPECT_EQ(recorder.take().size(), once);
    run(',');
    run('\0');
    EXPECT_EQ(recorder.take().size(), 0u);
    std::thread other([&] { run('.'); });
    other.join();
    EXPECT_EQ(recorder.take().size(), once);
    vnStringParser::cleanUpParsers();
    run('.');
    EXPECT_EQ(recorder.take().size(), once);
    vnStringParser::cleanUpParsers();
}

TEST(parse, SaysNothingAboutEmptyFormatsAndMismatches)
{
    Recorder recorder;
    expectRows({{"", "", ""}, {"", "text", ""}});
    EXPECT_EQ(scan("%l", "x"), "!");
    EXPECT_EQ(scan("%\"(\"%l", "1"), "1|!"); // nor about a format that is no grammar
    EXPECT_EQ(recorder.take(), Lines());
}

TEST(parse, RefusesAFormatWhoseGrammarIsTooLong)
{
    Recorder recorder;
    EXPECT_EQ(scan(std::string(60000, '\'').c_str(), "x"), "!");
    EXPECT_EQ(recorder.take(), Lines{"VantorSDK|4000|The format of 60000 bytes is too long to parse by"});
}

TEST(vnStringParser, RunsRulesWhereTheAdapterStands)
{
    vnRefPointer<vnSerializeAdapter> adapter(new TextAdapter("alpha beta 12"));
    vnStringParser parser("word ::= $ fIdent fPush fWS? ; number ::= $ digit+ fPush ;");
    parser.setAdapter(adapter);
    unsigned char ok = 0;
    EXPECT_EQ(joined(parser.parseArguments("word", &ok)), "alpha|");
    EXPECT_EQ(joined(parser.parseArguments("word", &ok)), "beta|");
    EXPECT_TRUE(ok);
    EXPECT_EQ(joined(parser.parseArguments("word", &ok)), "");
    EXPECT_FALSE(ok);
    EXPECT_EQ(joined(parser.parseArguments("number", nullptr)), "12|");
    parser.parseArguments("nothing", &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(parser.getError(), "Unknow parse function 'nothing'");
}

TEST(vnStringParser, ReportsAResultThatIsTooLong)
{
    vnRefPointer<vnSerializeAdapter> adapter(new TextAdapter(std::string(vnString::VN_MAX_LENGTH + 1, 'x')));
    unsigned char ok = 1;
    vnStringParser rules("all ::= $ fEnd fPush ;");
    rules.setAdapter(adapter);
    EXPECT_EQ(rules.parseArguments("all", &ok).getSize(), 0u);
    EXPECT_FALSE(ok);
    EXPECT_EQ(rules.getError(), "A text in the input has more than 65535 bytes");
}

TEST(vnStringParser, TakesQuotesOffByCharacters)
{
    vnStringParser parser("main ::= $ '\xC2\xAB' [^\xC2\xBB]* [^] fPushStr ; any ::= $ [^] [^] fPushStr ;");
    const auto run = [&parser](const std::string& text, const char* rule)
    {
        parser.reset();
        parser.setAdapter(new TextAdapter(text));
        return joined(parser.parseArguments(rule, nullptr));
    };
    parser.useUtf8(1);
    EXPECT_EQ(run("\xC2\xAB\xE2\x82\xAC x\xC2\xBB", "main"), "\xE2\x82\xAC x|");
    EXPECT_EQ(run("\xC2\xAB\xC2\xBB", "any"), "|");
    std::string large;
    for (int i = 0; i < 21845; ++i)
        large += "\xE2\x82\xAC";
    EXPECT_EQ(run("\xC2\xAB" + large + "\xC2\xBB", "main"), large + "|");
    EXPECT_EQ(run("\xC2\xAB" + large + "x\xC2\xBB", "main"), "");
    EXPECT_EQ(parser.getError(), "A text in the input has more than 65535 bytes");
}

TEST(vnStringParser, ReplacesRulesByTheLastOnes)
{
    vnStringParser parser("fToken ::= digit ; main ::= $ fToken fPush ;");
    parser.setAdapter(new TextAdapter("7x"));
    EXPECT_EQ(joined(parser.parseArguments("main", nullptr)), "7|");
    EXPECT_EQ(joined(parser.parseArguments("main", nullptr)), "x|"); // its own rule takes any character
    parser.setAdapter(new TextAdapter("7x"));
    parser.addRules("fToken ::= 'x' ;");
    EXPECT_EQ(joined(parser.parseArguments("main", nullptr)), "");
}
