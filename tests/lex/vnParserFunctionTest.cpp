// SPDX-License-Identifier: MIT
#include "vnGrammarTestTools.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnPerformance.h>
#include <vnBase/vnThreadID.h>

#include <gtest/gtest.h>

#include <thread>

namespace
{
class Grammar : public vnParserFunction<Grammar>
{
public:
    explicit Grammar(const char* rules)
    {
        addFunction("fPush", &Grammar::fPush);
        addFunction("fNote", &Grammar::fNote);
        addFunction("fAgain", &Grammar::fAgain);
        addFunction("fBack", &Grammar::fBack);
        addFunction("fEnd", &Grammar::fEnd);
        addFunction("digit", &Grammar::parseDigit);
        isGood = addRules(vnString(rules));
    }
    vnParseResult fPush()
    {
        vnString text;
        if (!takeMarked(text))
            return VN_PARSE_ERROR;
        pushed.push_back(toStd(text));
        return VN_PARSE_OK;
    }
    vnParseResult fNote()
    {
        ++notes;
        return VN_PARSE_OK;
    }
    vnParseResult fBack()
    {
        pushBackTokens(1);
        return VN_PARSE_OK;
    }
    vnParseResult fEnd()
    {
        getNextToken(1);
        return VN_PARSE_OK;
    }
    vnParseResult fAgain() { return parseRule("inner"); }
    unsigned char onUndoMark(unsigned int, vnParseResult result) override
    {
        undone.push_back(result);
        return 1;
    }
    vnParseResult parseFunction(const vnString& name) override
    {
        return name == vnString("extra") ? VN_PARSE_OK : vnParserFunction<Grammar>::parseFunction(name);
    }
    vnParseResult run(const std::string& text, const char* rule = "main")
    {
        adapter = new TextAdapter(text);
        reset();
        setAdapter(adapter.get());
        return parseRule(rule);
    }
    std::string rest() { return readAll(*adapter); }

    vnRefPointer<vnSerializeAdapter> adapter;
    std::vector<std::string> pushed;
    std::vector<vnParseResult> undone;
    unsigned int notes = 0;
    unsigned char isGood;
};

struct Row
{
    const char* rules;
    const char* text;
    vnParseResult result;
    const char* rest;
};

void expectRows(const std::vector<Row>& rows)
{
    for (const Row& row : rows)
    {
        SCOPED_TRACE(std::string(row.rules) + " on " + row.text);
        Grammar grammar(row.rules);
        EXPECT_EQ(grammar.run(row.text), row.result);
        EXPECT_EQ(toStd(grammar.getError()), "");
        EXPECT_EQ(grammar.rest(), row.rest);
    }
}

std::string errorOf(const char* rules, const char* text)
{
    Grammar grammar(rules);
    EXPECT_EQ(grammar.run(text), VN_PARSE_ERROR) << rules;
    return toStd(grammar.getError());
}
} // namespace

TEST(vnParserFunction, TakesTheFirstBranchThatMatches)
{
    expectRows({
        {"main ::= 'x' | 'xy' ;", "xy", VN_PARSE_OK, "y"},
        {"main ::= 'a' | 'b' ;", "b", VN_PARSE_OK, ""},
        {"main ::= 'a' | 'b' ;", "c", VN_PARSE_NO_MATCH, "c"},
        {"main ::= ('x' | 'xyz') 'y' ;", "xyz", VN_PARSE_OK, "z"},
        {"main ::= 'a' ('b' | 'x') ;", "x", VN_PARSE_NO_MATCH, "x"}, // what failed is not matched by a group
        {"main ::= 'ab' | 'a' 'c' ;", "ad", VN_PARSE_NO_MATCH, "ad"},
    });
}

TEST(vnParserFunction, GoesBackByOneOnlyBehindALaterBranchOfARule)
{
    // As grammars of this engine are written for: not to the end of "x", but one before the end of "xyz".
    expectRows({
        {"main ::= 'x' | 'xyz' ;", "xyz", VN_PARSE_OK, "z"},
        {"main ::= 'x' | 'xyz' 'q' ;", "xyzw", VN_PARSE_OK, "zw"},        // also when that failed further on
        {"main ::= 'x' | 'xyz' 'q' | 'y' ;", "xyzw", VN_PARSE_OK, "yzw"}, // it is the last branch that counts
        // The same when a function gave back in front of the group: not "aab" is left, but "ab".
        {"main ::= 'aa' ( fBack fBack | 'z' ) ;", "aab", VN_PARSE_OK, "ab"},
        {"main ::= 'a' ( fBack | 'z' ) 'a' ;", "aab", VN_PARSE_OK, "ab"},
    });
}

TEST(vnParserFunction, RepeatsGreedily)
{
    expectRows({
        {"main ::= [^]* ;", "any\nthing", VN_PARSE_OK, ""},
        {"main ::= ([^] - 'q')+ ;", "abqd", VN_PARSE_OK, "qd"},
        {"main ::= 'a'+ ;", "b", VN_PARSE_NO_MATCH, "b"},
        {"main ::= 'a'* 'b' ;", "b", VN_PARSE_OK, ""},
        {"main ::= 'a'? 'b' ;", "ab", VN_PARSE_OK, ""},
        {"main ::= 'a'{2,3} ;", "aaaa", VN_PARSE_OK, "a"},
        {"main ::= 'a'{2,3} ;", "ab", VN_PARSE_NO_MATCH, "ab"},
        {"main ::= 'a'{ 0 , 0 } ;", "b", VN_PARSE_OK, "b"},
        {"main ::= [0-9] 3 ;", "1234", VN_PARSE_OK, "4"},
        {"main ::= (digit)2 ;", "1", VN_PARSE_NO_MATCH, "1"},
        {"main ::= []* 'a' ;", "a", VN_PARSE_OK, ""},     // nothing is matched once, and that is all of it
        {"main ::= []{3,5} 'a' ;", "a", VN_PARSE_OK, ""}, // it stands for the rest of what is asked, too
        {"main ::= ('a'?)+ ;", "aab", VN_PARSE_OK, "b"},
        {"main ::= ('a'*)* ;", "b", VN_PARSE_OK, "b"},
    });
}

TEST(vnParserFunction, ReadsSetsAndTexts)
{
    expectRows({
        {"main ::= [a-c-]+ ;", "a-cd", VN_PARSE_OK, "d"},
        {"main ::= [^a\\n]+ ;", "xy\na", VN_PARSE_OK, "\na"},
        {"main ::= [\\]\\-x]+ ;", "x-]a", VN_PARSE_OK, "a"},
        {"main ::= [#x41-#x43;]+ ;", "AC;D", VN_PARSE_OK, "D"},
        {"main ::= #x41 \"\\\"\\t\" ;", "A\"\t", VN_PARSE_OK, ""},
        {"main ::= 'it\\'s' ;", "it's", VN_PARSE_OK, ""},
        {"main ::= [^] ;", "", VN_PARSE_NO_MATCH, ""},
        {"main ::= 'a' [] ;", "a", VN_PARSE_OK, ""}, // the only set that matches at the end
        {"main ::= _a \xC3\xA4 ; _a ::= 'x' ; \xC3\xA4 ::= 'y' ;", "xy", VN_PARSE_OK, ""},
        {"main ::= 'http://' /* not a // comment */ 'x' ; // this is one", "http://x", VN_PARSE_OK, ""},
        {"main ::= '\xC3\xA9' [\xC3\xA8-\xC3\xAA]* ;", "\xC3\xA9\xC3", VN_PARSE_OK, ""}, // bytes one by one
    });
}

TEST(vnParserFunction, ReadsCharactersOfWideInput)
{
    Grammar grammar("main ::= '\xC3\xA9' [\xC3\xA8-\xC3\xAA]+ #x20AC 'ab' $ [a-z]+ fPush ;");
    const std::string text = "\xC3\xA9\xC3\xAA\xC3\xA8\xE2\x82\xAC"
                             "abxyz";
    EXPECT_EQ(grammar.run("\xEF\xBB\xBF" + text), VN_PARSE_OK); // the mark tells
    EXPECT_EQ(grammar.pushed, std::vector<std::string>{"xyz"});

    Grammar utf16("main ::= 'ab' #x20AC ;");
    EXPECT_EQ(utf16.run(std::string("\xFE\xFF\0a\0b\x20\xAC", 8)), VN_PARSE_OK);
    EXPECT_EQ(utf16.run(std::string("\0a", 2)), VN_PARSE_NO_MATCH);
}

TEST(vnParserFunction, CallsFunctionsInBranchesThatLoseAndTakesTheirMarksBack)
{
    Grammar noting("main ::= 'a' | 'a' fNote | 'b' fNote ;");
    EXPECT_EQ(noting.run("a"), VN_PARSE_OK);
    EXPECT_EQ(noting.notes, 1u);
    Grammar grammar("main ::= $ 'x' (@ 'a' | @ 'ab' | $ 'c') [^]* fPush fPush ;");
    EXPECT_EQ(grammar.run("xab"), VN_PARSE_OK);
    // From the mark of the first branch, and from the one before the group.
    EXPECT_EQ(grammar.pushed, (std::vector<std::string>{"ab", "xab"}));
    EXPECT_EQ(grammar.undone, std::vector<vnParseResult>{VN_PARSE_OK});
    EXPECT_EQ(grammar.run("xc"), VN_PARSE_OK);
    EXPECT_EQ(grammar.undone,
              (std::vector<vnParseResult>{VN_PARSE_OK, VN_PARSE_NO_MATCH, VN_PARSE_NO_MATCH}));
}

TEST(vnParserFunction, KeepsMarksOfWhatMatchedAndWasPutBack)
{
    Grammar grammar("main ::= 'x' ($ 'a'){0,0} $ ($ 'a') 0 'ab' fPush fPush fPush fPush ;");
    EXPECT_EQ(grammar.run("xabc"), VN_PARSE_OK);
    // What is pushed without a mark is all.
    EXPECT_EQ(grammar.pushed, (std::vector<std::string>{"ab", "ab", "ab", "xab"}));
}

TEST(vnParserFunction, TakesTextsUpToTheLengthOfAString)
{
    Grammar grammar("main ::= $ [^]* fPush ;");
    grammar.setMaxBufferSize(100000);
    EXPECT_EQ(grammar.run(std::string(65535, 'x')), VN_PARSE_OK);
    EXPECT_EQ(grammar.pushed, std::vector<std::string>{std::string(65535, 'x')});
    EXPECT_EQ(grammar.run(std::string(65536, 'x')), VN_PARSE_ERROR);
    EXPECT_EQ(toStd(grammar.getError()), "A text in the input has more than 65535 bytes");
    EXPECT_EQ(grammar.pushed.size(), 1u);
}

TEST(vnParserFunction, TellsWhatIsWrongWithARuleWhenItIsWalked)
{
    const struct
    {
        const char* body;
        const char* text;
        const char* fault;
        const char* place;
    } rows[] = {
        {"'a'{2,1}", "aa", "Min>Max in set {Min,Max}", "(Line:0,Col:8)"},
        {"'a'{,1}", "a", "Missing Min number in set {Min,Max}", "(Line:0,Col:4)"},
        {"'a'{1}", "a", "Missing ',' in set {Min,Max}", "(Line:0,Col:5)"},
        {"'a'{1, }", "a", "Missing Max number in set {Min,Max}", "(Line:0,Col:7)"},
        {"'a'{1,2", "a", "Missing right '}' in set {Min,Max}", "(Line:0,Col:7)"},
        {"'b' ('a'", "x", "Missing right ')'", "(Line:0,Col:8)"}, // also when the match has failed before
        {"\"a ;", "a", "Unbalansed quote string", "(Line:0,Col:4)"},
        {"'a ;", "a", "Unbalansed single quoted string", "(Line:0,Col:4)"},
        {"[a ;", "a", "Unbalansed Set []", "(Line:0,Col:4)"},
        {"'a' /* b", "a", "Unbalansed comment", "(Line:0,Col:8)"},
        {"'a' |", "a", "Expression mismatch", "(Line:0,Col:5)"},
    };
    for (const auto& row : rows)
    {
        const std::string rule = std::string("main ::= ") + row.body;
        EXPECT_EQ(errorOf(rule.c_str(), row.text),
                  std::string(row.fault) + " in rule 'main' at " + row.place + " -> " + row.body);
    }
    Grammar lines(""); // a single rule keeps its line feeds
    EXPECT_TRUE(lines.addRule("main ::= 'a'\n ( 'b'"));
    EXPECT_EQ(lines.run("ab"), VN_PARSE_ERROR);
    EXPECT_EQ(toStd(lines.getError()), "Missing right ')' in rule 'main' at (Line:1,Col:6) -> 'a'\n ( 'b'");
    EXPECT_EQ(errorOf("main ::= b ;", ""), "Unknow parse function 'b'");
    Grammar grammar("main ::= 'a' | bad ; bad ::= (;");
    EXPECT_EQ(grammar.run("a"), VN_PARSE_ERROR); // the losing branch is walked, too
}

TEST(vnParserFunction, ReadsTextsOfRules)
{
    MessageLog messages(VN_MESSAGE_WARNING);
    const std::string all = "main ::= two ; nothing ; ::= 'x' ; two ::= 'a' ; two ::= 'b'";
    Grammar grammar(all.c_str());
    EXPECT_EQ(grammar.isGood, 0);
    EXPECT_EQ(messages.texts,
              (std::vector<std::string>{"Malformed rule in parser -> 'nothing'",
                                        "Malformed rule in parser string:" + all + " rule nr:2",
                                        "Malformed rule in parser -> '::= 'x''",
                                        "Malformed rule in parser string:" + all + " rule nr:3"}));
    EXPECT_EQ(grammar.run("b"), VN_PARSE_OK); // the later rule of a name holds

    vnRefPointer<vnSerializeAdapter> stream(new TextAdapter("\xEF\xBB\xBFmain::=\t'z'\n/* ; */ ; dropped"));
    EXPECT_EQ(grammar.addRules(stream.get(), "mem:"), 1);
    EXPECT_EQ(grammar.run("z", " main\t"), VN_PARSE_OK);
    vnRefPointer<vnSerializeAdapter> large(new TextAdapter("main ::= '" + std::string(70000, 'x') + "';"));
    EXPECT_EQ(grammar.addRules(large.get(), "mem:"), 0); // longer than a text can be
    EXPECT_EQ(messages.texts.back(), "Malformed rule in parser url:mem: rule nr:1");
}

TEST(vnParserFunction, TakesCommentsOutOfSingleRules)
{
    Grammar grammar("");
    EXPECT_TRUE(grammar.addRule("main ::= 'a' // the 'first\n [//] /* // */ '//' // end"));
    EXPECT_EQ(grammar.run("a///x"), VN_PARSE_OK);
    EXPECT_EQ(grammar.rest(), "x");
    EXPECT_FALSE(grammar.addRule("main ::= // 'a'"));
    // Comments within stay: a sign of repetition behind one is its own.
    EXPECT_TRUE(grammar.addRule("main ::= 'a' /* b */ +"));
    EXPECT_EQ(grammar.run("aa"), VN_PARSE_OK);
    EXPECT_EQ(grammar.rest(), "a");
}

TEST(vnParserFunction, CallsRulesThenFunctionsThenWhatTheOwnerAdds)
{
    Grammar grammar("main ::= extra fAgain ; inner ::= 'i' ; fNote ::= 'n' ;");
    EXPECT_EQ(grammar.run("i"), VN_PARSE_OK);
    EXPECT_EQ(grammar.run("n", "fNote"), VN_PARSE_OK);
    EXPECT_EQ(grammar.notes, 0u);
    EXPECT_EQ(grammar.run("1", "digit"), VN_PARSE_OK);
    EXPECT_EQ(grammar.run("", "missing"), VN_PARSE_ERROR);
}

TEST(vnParserFunction, EndsEndlessRulesWithAnError)
{
    EXPECT_EQ(errorOf("main ::= main 'x' | 'y' ;", "y"), "Rules are nested deeper than 1000 in rule 'main'");
    Grammar grammar("main ::= '(' main ')' | 'x' ;");
    const std::string deep = std::string(999, '(') + "x" + std::string(999, ')');
    EXPECT_EQ(grammar.run(deep), VN_PARSE_OK);
    EXPECT_EQ(grammar.run("(" + deep + ")"), VN_PARSE_ERROR);
    grammar.setMaxDepth(1001);
    EXPECT_EQ(grammar.run("(" + deep + ")"), VN_PARSE_OK);
    const std::string groups = "main ::= " + std::string(100000, '(') + ";";
    EXPECT_EQ(Grammar(groups.substr(0, 60000).c_str()).run("a"), VN_PARSE_ERROR);
}

TEST(vnParserFunction, BearsRulesAndGroupsNestedInEachOther)
{
    std::string rules = "go ::= 'a' r0 | 'b' ; r63 ::= 'y' ;";
    for (unsigned int i = 0; i < 63; ++i)
        rules += "r" + std::to_string(i) + " ::= " + std::string(190, '(') + "r" + std::to_string(i + 1) +
                 std::string(190, ')') + " | 'x' ;";
    Grammar grammar(rules.c_str());
    EXPECT_EQ(grammar.run("ax", "go"), VN_PARSE_ERROR); // deeper than the limit
    EXPECT_EQ(grammar.run("b", "go"), VN_PARSE_OK);
}

TEST(vnParserFunction, DiesWhenItWouldGoBackFurtherThanItRemembers)
{
    Grammar grammar("main ::= ('abcdefghijk') 'l' ;");
    grammar.setMaxBufferSize(11);
    EXPECT_EQ(grammar.run("abcdefghijkl"), VN_PARSE_OK);
    grammar.setMaxBufferSize(10);
    EXPECT_THROW(grammar.run("abcdefghijkl"), vnFatalError);
}

TEST(vnParserFunction, LetsReceiversOfTracesReadTheInput)
{
    const MessageLog log(VN_MESSAGE_DEBUG);
    Grammar grammar("main ::= $ 'ab' inner [^]* fPush ; inner ::= 'd' ;");
    grammar.setTrace(1);
    for (const unsigned int window : {3, 8})
    {
        vnRefPointer<vnSerializeAdapter> adapter(new PieceAdapter("abcdefgh", window));
        const Caller reader(
            [&adapter](vnMessageLevel, const char* message)
            {
                if (std::string(message).find("Parsing Rule     : inner") == 0)
                {
                    EXPECT_EQ(adapter->read(), 'c');
                }
            });
        grammar.reset();
        grammar.setAdapter(adapter.get());
        EXPECT_EQ(grammar.parseRule("main"), VN_PARSE_OK);
        EXPECT_EQ(grammar.pushed.back(), "abdefgh");
    }
}

TEST(vnParserFunction, MeasuresRulesAndFunctions)
{
    vnEnablePerformanceSections(1);
    std::thread(
        []
        {
            Grammar grammar("measured ::= 'a' twice twice fEnd ; twice ::= 'b' fNote ;");
            grammar.setPerformance(1);
            EXPECT_EQ(grammar.run("abbc", "measured"), VN_PARSE_OK);
            EXPECT_THROW(grammar.run("abb", "measured"), vnBasicParseException); // leaves no section open
            const vnPerformanceBody behind("behind all rules");
            const unsigned int thread = vnCurrentThreadID();
            EXPECT_EQ(vnGetSectionResult("measured", thread).count, 2u);
            EXPECT_EQ(vnGetSectionResult("twice", thread).count, 4u);
            EXPECT_EQ(vnGetSectionResult("fNote", thread).count, 4u);
            EXPECT_EQ(vnGetSectionResult("fEnd", thread).count, 2u);
        })
        .join();
    vnEnablePerformanceSections(0);
    MessageLog messages(VN_MESSAGE_PERF);
    vnDumpPerformanceInfo(VN_PERFORMANCE_ALL - VN_PERFORMANCE_ACCUMULATED);
    std::vector<std::size_t> levels;
    for (const std::string& line : messages.texts)
        for (const std::string name : {"measured", "behind all rules"})
            if (line.size() > name.size() && line.find(name) == line.size() - name.size())
                levels.push_back(line.find('-'));
    ASSERT_EQ(levels.size(), 2u);
    EXPECT_EQ(levels[0], levels[1]);
}

TEST(vnParserFunction, MatchesWithSetsAsTheMatchersDo)
{
    using Matcher = vnParseResult (Grammar::*)();
    const Matcher matchers[] = {&Grammar::parseAlpha,
                                &Grammar::parseLoAlpha,
                                &Grammar::parseUpAlpha,
                                &Grammar::parseDigit,
                                &Grammar::parseHex,
                                &Grammar::parseAlphaNum,
                                &Grammar::parseChar,
                                &Grammar::parseCTL,
                                &Grammar::parseCR,
                                &Grammar::parseLF,
                                &Grammar::parseHT,
                                &Grammar::parseSP,
                                &Grammar::parseWS,
                                &Grammar::parseAllWS,
                                &Grammar::parseAllExceptWS,
                                &Grammar::parsePlainIdentifier,
                                &Grammar::parseAllExceptCREOL};
    for (std::size_t i = 0; i < std::size(matchers); ++i)
        for (unsigned int code = 0; code < 0x200; ++code)
        {
            SCOPED_TRACE(std::to_string(i) + " on " + std::to_string(code));
            const bool isUtf8 = code >= 0x100;
            const char16_t character[] = {static_cast<char16_t>(code & 0xFF), 0};
            const std::string one =
                isUtf8 ? toStd(vnString(character, 1, 0)) : std::string(1, static_cast<char>(code));
            Grammar direct(""), walked("main ::= f ;");
            walked.addFunction("f", matchers[i]);
            direct.useUtf8(isUtf8);
            walked.useUtf8(isUtf8);
            direct.run(one + one + "?");
            ASSERT_EQ(walked.run(one + one + "?"), (direct.*matchers[i])());
            ASSERT_EQ(walked.getTokenPos(), direct.getTokenPos());
        }
}

// The names of the oracle's rules are short.
TEST(vnParserFunction, TracesLongNames)
{
    MessageLog messages(VN_MESSAGE_DEBUG);
    Grammar grammar("main ::= aRuleWithALongerNameThanMost ; aRuleWithALongerNameThanMost ::= 'b' ;");
    grammar.setTrace(1);
    EXPECT_EQ(grammar.run("b"), VN_PARSE_OK);
    EXPECT_EQ(messages.texts, (std::vector<std::string>{
                                  "Parsing Rule     : main                (Line:0,Col:0)",
                                  "Parsing Rule     : aRuleWithALongerNameThanMost (Line:0,Col:0)",
                                  "Exit Rule        : aRuleWithALongerNameThanMost (Line:0,Col:1)\tResult:OK",
                                  "Exit Rule        : main                (Line:0,Col:1)\tResult:OK",
                              }));
}
