// SPDX-License-Identifier: MIT
#include <vnBase/vnArgumentParser.h>

#include "../messages/vnMessageRecorder.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace
{
using Words = std::vector<std::string>;

Words wordsOf(const vnArgumentParser& parser)
{
    Words words;
    for (unsigned int i = 0; i < parser.getArgumentCount(0); ++i)
        words.push_back(parser.getArgument(i, 0).getString());
    return words;
}
} // namespace

TEST(vnArgumentParser, GivesOptionsWhatStandsBehindThemAndKeepsFreeArgumentsApart)
{
    const vnArgumentParser parser("-a 1 2 -b -a 3 4 5", "-"); // the first of a name counts
    unsigned int first = 9, count = 9;
    EXPECT_TRUE(parser.hasOption("a", 1, &first, &count));
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(count, 2u);
    EXPECT_TRUE(parser.hasOption("b", 1, &first, &count));
    EXPECT_EQ(first, 2u);
    EXPECT_EQ(count, 0u);
    EXPECT_FALSE(parser.hasOption("c"));
    EXPECT_EQ(parser.getArgumentCount(1), 0u);
    EXPECT_EQ(parser.getArgumentCount(0), 5u);

    const vnArgumentParser free("file -a 1", "-");
    EXPECT_EQ(free.getArgumentCount(1), 1u);
    EXPECT_EQ(free.getArgument(0, 1), "file");
    EXPECT_EQ(free.getArgument(1, 1), "");
    EXPECT_EQ(free.getArgument(1, 0), "1");
    EXPECT_EQ(free.getArgumentValue(0, "none"), "file");
    EXPECT_EQ(free.getArgumentValue(1, "none"), "none");
}

TEST(vnArgumentParser, TakesNegativeNumbersForArguments)
{
    for (const char* argument :
         {"-5", "-0.5", "-1e3", "-0x10", "--5", "-+5", "-4294967296", "-18446744073709551616", "x-5"})
        EXPECT_EQ(vnArgumentParser(argument, "-").getArgumentCount(0), 1u) << argument;
    // Numbers begin with a digit, and 0 is no negative one.
    for (const char* option : {"-0", "-0.0", "-5x", "-1e", "-x5", "-", "-.5"})
        EXPECT_EQ(vnArgumentParser(option, "-").getArgumentCount(0), 0u) << option;
}

TEST(vnArgumentParser, UsesAnyPrefix)
{
    const vnArgumentParser parser("-a --b +c", "--");
    EXPECT_EQ(wordsOf(parser), (Words{"-a", "+c"}));
    EXPECT_TRUE(parser.hasOption("b"));
    EXPECT_FALSE(parser.hasOption("-b"));
}

TEST(vnArgumentParser, SplitsAtWhiteSpaceOutsideOfQuotes)
{
    const std::pair<const char*, Words> rows[] = {
        {" a\tb\r\nc ", {"a", "b", "c"}},
        {R"("a b" 'c d' e" f"g "")", {"a b", "c d", "e fg", ""}},
        {R"("a\"b\\c\td" e\tf)", {"a\"b\\c\td", "e\\tf"}},
        {R"(don't "a b" it" c)", {"don't", "a b", "it\"", "c"}},
        {"http://host/*a b*/", {"http://host/*a", "b*/"}},
        {R"("open\)", {R"("open\)"}},
        {"", {}},
    };
    for (const auto& [text, words] : rows)
        EXPECT_EQ(wordsOf(vnArgumentParser(text, "-")), words) << text;
}

// Each quote here opens a text that is never closed, since those behind it are escaped within.
TEST(vnArgumentParser, LeavesManyUnclosedQuotesAlone)
{
    std::string text;
    while (text.size() + 6 < vnString::VN_MAX_LENGTH)
        text += "\\\" \\' ";
    const Words words = wordsOf(vnArgumentParser(text.c_str(), "-"));
    EXPECT_EQ(words.size(), 21844u);
    EXPECT_EQ(words[21842], "\\\"");
    EXPECT_EQ(words[21843], "\\'");
}

TEST(vnArgumentParser, ComparesOptionsInAnyCaseWhenAsked)
{
    vnArgumentParser parser("-Size 7", "-");
    EXPECT_FALSE(parser.hasOption("size"));
    EXPECT_TRUE(parser.hasOption("sIZE", 0));
    EXPECT_EQ(parser.getOptionValue("size", 1, 0, 0), 7);
    EXPECT_EQ(parser.getOptionValue("size", 1, 0, 1), 1);
}

TEST(vnArgumentParser, ConvertsValues)
{
    vnArgumentParser parser("-v 12.75 -5 0x1F text 99999999999", "-");
    EXPECT_EQ(parser.getOptionValue("v", "?"), "12.75");
    EXPECT_EQ(parser.getOptionValue("v", 0.0), 12.75);
    EXPECT_EQ(parser.getOptionValue("v", 0.0f), 12.75f);
    EXPECT_EQ(parser.getOptionValue("v", 0), 12);
    EXPECT_EQ(parser.getOptionValue("v", 0, 1), -5);
    EXPECT_EQ(parser.getOptionValue("v", 0u, 1), 0u); // the nearest one
    EXPECT_EQ(parser.getOptionValue("v", 0LL, 2), 31);
    EXPECT_EQ(parser.getOptionValue("v", 3, 3), 0); // what is no number reads as 0
    EXPECT_EQ(parser.getOptionValue("v", 0LL, 4), 99999999999);
    EXPECT_EQ(parser.getOptionValue("v", 0, 4), 2147483647);
    EXPECT_EQ(parser.getOptionValue("v", static_cast<unsigned char>(1), 4), 255);
    EXPECT_EQ(parser.getOptionValue("w", 17ULL), 17u);
}

TEST(vnArgumentParser, ConvertsTheLargestIntegers)
{
    constexpr vnInt64 least = std::numeric_limits<vnInt64>::min(), most = std::numeric_limits<vnInt64>::max();
    constexpr vnUInt64 all = 18446744073709551615u;
    const struct
    {
        const char* text;
        vnUInt64 whole;
        vnInt64 integer;
        int narrow;
    } rows[] = {
        {"18446744073709551615", all, most, 2147483647},
        {"18446744073709551616", all, most, 2147483647},
        {"9223372036854775809", 9223372036854775809u, most, 2147483647},
        {"9223372036854775807", 9223372036854775807u, most, 2147483647},
        {"-9223372036854775808", 0, least, -2147483647 - 1},
        {"-99999999999999999999999", 0, least, -2147483647 - 1},
        {"0x8000000000000001", 9223372036854775809u, most, 2147483647},
        {"+0x10000000000000000", all, most, 2147483647},
        {"1e19", 10000000000000000000u, most, 2147483647},
        {"1e300", all, most, 2147483647},
        {"-2.9e3", 0, -2900, -2900},
        {"1e", 0, 0, 0},
        {"0x", 0, 0, 0},
        {"12abc", 12, 12, 12},
    };
    for (const auto& row : rows)
    {
        vnArgumentParser parser(vnString("-v ") + row.text, "-");
        EXPECT_EQ(parser.getOptionValue("v", 7ULL), row.whole) << row.text;
        EXPECT_EQ(parser.getOptionValue("v", 7LL), row.integer) << row.text;
        EXPECT_EQ(parser.getOptionValue("v", 7), row.narrow) << row.text;
    }
}

TEST(vnArgumentParser, RemembersAMissingArgument)
{
    vnArgumentParser parser("-a 1", "-");
    parser.exitOnError(0);
    EXPECT_EQ(parser.getOptionValue("a", 7, 1, 1, 1), 7);
    EXPECT_FALSE(parser.hasError()); // it was optional
    EXPECT_EQ(parser.getOptionValue("b", 7), 7);
    EXPECT_FALSE(parser.hasError()); // no such option
    EXPECT_EQ(parser.getOptionValue("a", 7, 1), 7);
    EXPECT_EQ(parser.getError(), "Missing argument 1 for option '-a'");
    parser.setArgumentString("", "-");
    EXPECT_FALSE(parser.hasError());
}

TEST(vnArgumentParser, TakesWordsOfAProgramAsTheyAre)
{
    char program[] = "tool", first[] = "a \"b", second[] = "-o x", third[] = "-7";
    char* words[] = {program, first, second, third, nullptr};
    const vnArgumentParser parser(4, words, "-");
    EXPECT_EQ(parser.getProgramName(), "tool");
    EXPECT_EQ(wordsOf(parser), (Words{"a \"b", "-7"}));
    EXPECT_TRUE(parser.hasOption("o x"));

    char16_t wideProgram[] = u"t\u00E9", wideWord[] = u"\u20AC";
    char16_t* wideWords[] = {wideProgram, wideWord};
    const vnArgumentParser wide(2, wideWords, "-");
    EXPECT_EQ(wide.getProgramName(), "t\xC3\xA9");
    EXPECT_EQ(wordsOf(wide), (Words{"\xE2\x82\xAC"}));
    EXPECT_EQ(vnArgumentParser(0, words, "-").getArgumentCount(0), 0u);
}

TEST(vnArgumentParser, TellsAWordThatIsTooLong)
{
    char program[] = "tool";
    std::string longest(65535, 'x');
    char* words[] = {program, longest.data(), program};
    EXPECT_FALSE(vnArgumentParser(3, words, "-").hasError());
    longest += 'x';
    words[1] = longest.data();
    const vnArgumentParser parser(3, words, "-"); // goes on
    EXPECT_EQ(parser.getError(), "Argument 1 has more than 65535 bytes");
    EXPECT_EQ(parser.getArgument(1), "tool");

    char16_t wideProgram[] = u"tool";
    std::u16string wide(21845, u'\u20AC'); // of three bytes each
    char16_t* wideWords[] = {wideProgram, wide.data()};
    EXPECT_FALSE(vnArgumentParser(2, wideWords, "-").hasError());
    wide += u'x';
    wideWords[1] = wide.data();
    EXPECT_EQ(vnArgumentParser(2, wideWords, "-").getError(), "Argument 1 has more than 65535 bytes");
}

TEST(vnArgumentParser, TakesTheNameOfTheProcessWithoutWordsOfAProgram)
{
    EXPECT_EQ(vnArgumentParser("a", "-").getProgramName().right(8), "test_lex");
    vnArgumentParser named;
    named.setProgramName("other");
    named.setArgumentString("a", "-");
    EXPECT_EQ(named.getProgramName(), "other");
}

TEST(vnArgumentParser, MakesOptionsOfAllButNumbersWithoutAPrefix)
{
    const vnArgumentParser parser("a 5 0", "");
    EXPECT_TRUE(parser.hasOption("a"));
    EXPECT_TRUE(parser.hasOption("0"));
    EXPECT_EQ(wordsOf(parser), Words{"5"});
    EXPECT_TRUE(vnArgumentParser("\"-a b\"", "-").hasOption("a b")); // quotes don't hide a prefix
}

TEST(vnArgumentParser, RebuildsATextThatReadsTheSame)
{
    char program[] = "tool", file[] = "my file", option[] = "-o", quoted[] = "say \"a\\b\"", empty[] = "",
         tab[] = "a\tb\n", other[] = "-long name", plain[] = "C:\\dir";
    char* words[] = {program, file, option, quoted, empty, tab, other, plain};
    const vnArgumentParser parser(8, words, "-");
    EXPECT_EQ(parser.getArgumentString(1), "\"my file\"");
    EXPECT_EQ(parser.getOptionString(), "-o \"say \\\"a\\\\b\\\"\" \"\" \"a\tb\n\" \"-long name\" C:\\dir");
    const vnString text = parser.getArgOptString();
    EXPECT_EQ(text, vnString("\"my file\" ") + parser.getOptionString());
    EXPECT_EQ(parser.getArgumentString(0), "\"my file\" \"say \\\"a\\\\b\\\"\" \"\" \"a\tb\n\" C:\\dir");

    const vnArgumentParser again(text, "-");
    EXPECT_EQ(wordsOf(again), wordsOf(parser));
    EXPECT_EQ(again.getArgOptString(), text);
    EXPECT_TRUE(again.hasOption("long name"));
}

TEST(vnArgumentParser, RefusesToRebuildATextThatIsTooLong)
{
    std::string large(40000, 'x');
    char* words[] = {large.data(), large.data(), large.data()};
    const vnArgumentParser parser(3, words, "-");
    EXPECT_THROW(parser.getArgumentString(1), vnFatalError);
    EXPECT_EQ(parser.getArgument(1, 1).length(), 40000u);
}

TEST(vnArgumentParser, CopiesOwnWhatTheyHold)
{
    vnArgumentParser parser("a -b c", "-");
    const vnArgumentParser copy(parser);
    parser.setArgumentString("", "-");
    EXPECT_EQ(copy.getArgOptString(), "a -b c");
}

// The codes look like mistakes; scripts that call such programs rely on them.
TEST(vnArgumentParserDeathTest, EndsTheProgramWithCode0AfterHelpOrAWrongCountAnd99AfterAnError)
{
    using Call = void (*)(vnArgumentParser&);
    const Call nothing = [](vnArgumentParser&) {};
    const Call wantTwo = [](vnArgumentParser& parser) { parser.checkArgumentCount(2); };
    const Call wantNone = [](vnArgumentParser& parser) { parser.checkArgumentCount(0); };
    const Call wantOption = [](vnArgumentParser& parser) { parser.getOptionValue("a", 0); };
    const struct
    {
        const char* program;
        const char* arguments;
        const char* syntax;
        Call call;
        int code;
        const char* output; // levels and texts
    } rows[] = {
        {"tool", "-HELP", "FILE", nothing, 0, "^3000: Syntax: tool FILE\\|"},
        {"", "-H", "FILE", nothing, 0, "^3000: Syntax: FILE\\|"},
        {"tool", "a", "X X", wantTwo, 0, "^4000: Wrong number of arguments \\(1\\) - Syntax: tool X X\\|"},
        {"", "a", "X X", wantTwo, 0, "^4000: Wrong number of arguments \\(1\\) - Syntax: X X\\|"},
        {"tool", "a", "", wantNone, 0, "^4000: Wrong number of arguments \\(1\\)\\|"},
        {"", "-a", "[-a N]", wantOption, 99,
         "^4000: Syntax: \\[-a N\\]\\|4000:Error:Missing argument 0 for option '-a'\\|"},
        {"tool", "-a", "", wantOption, 99,
         "^4000: Syntax: tool \\|4000:Error:Missing argument 0 for option '-a'\\|"},
    };
    const auto run = [](const auto& row)
    {
        // Messages on standard error, where death tests look for them.
        const Caller printer([](vnMessageLevel level, const char* message)
                             { std::fprintf(stderr, "%x:%s|", level, message); });
        vnArgumentParser parser(row.arguments, "-");
        parser.setProgramName(row.program);
        parser.setSyntaxString(row.syntax);
        row.call(parser);
    };
    for (const auto& row : rows)
        EXPECT_EXIT(run(row), testing::ExitedWithCode(row.code), row.output);
    vnArgumentParser("-HELP", "-").setSyntaxString("");
    EXPECT_TRUE(vnArgumentParser("a", "-").checkArgumentCount(1));
}

TEST(vnArgumentParser, NeverEndsTheProgramWhenToldSo)
{
    vnArgumentParser parser("-help", "-");
    parser.setProgramName("tool");
    parser.exitOnError(0);
    Recorder recorder;
    parser.setSyntaxString("FILE");
    EXPECT_EQ(recorder.take(), Lines{"VantorSDK|3000| Syntax: tool FILE"}); // help is shown all the same
    EXPECT_FALSE(parser.checkArgumentCount(1));
    EXPECT_EQ(parser.getError(), " Wrong number of arguments (0)");
}
