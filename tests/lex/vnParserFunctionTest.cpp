// SPDX-License-Identifier: MIT
#include "vnGrammarTestTools.h"

#include <vnBase/vnBaseError.h>

#include <gtest/gtest.h>

namespace
{
class Grammar : public vnParserFunction<Grammar>
{
public:
    explicit Grammar(const char* rules)
    {
        addFunction("fPush", &Grammar::fPush);
        addFunction("fNote", &Grammar::fNote);
        addFunction("fReplace", &Grammar::fReplace);
        addFunction("fAgain", &Grammar::fAgain);
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
    vnParseResult fReplace()
    {
        addRule("main ::= 'new'");
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
    expectRows({{"main ::= 'x' | 'xyz' ;", "xyz", VN_PARSE_OK, "z"}});
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

TEST(vnParserFunction, CallsFunctionsAlsoInBranchesThatLose)
{
    Grammar grammar("main ::= 'a' | 'a' fNote | 'b' fNote ;");
    EXPECT_EQ(grammar.run("a"), VN_PARSE_OK);
    EXPECT_EQ(grammar.notes, 1u);
}

TEST(vnParserFunction, TakesMarksOfBranchesThatLoseBack)
{
    Grammar grammar("main ::= $ 'x' (@ 'a' | @ 'ab' | $ 'c') [^]* fPush fPush ;");
    EXPECT_EQ(grammar.run("xab"), VN_PARSE_OK);
    // From the mark of the first branch, and from the one before the group.
    EXPECT_EQ(grammar.pushed, (std::vector<std::string>{"ab", "xab"}));
    EXPECT_EQ(grammar.undone, std::vector<vnParseResult>{VN_PARSE_OK});
    EXPECT_EQ(grammar.run("xc"), VN_PARSE_OK);
    EXPECT_EQ(grammar.undone,
              (std::vector<vnParseResult>{VN_PARSE_OK, VN_PARSE_NO_MATCH, VN_PARSE_NO_MATCH}));
}

TEST(vnParserFunction, PushesEverythingWithoutAMark)
{
    Grammar grammar("main ::= 'a' fPush ;");
    grammar.run("ab");
    EXPECT_EQ(grammar.pushed, std::vector<std::string>{"a"});
}

TEST(vnParserFunction, TakesTextsUpToTheLengthOfAString)
{
    Grammar grammar("main ::= $ [^]* fPush ;");
    grammar.setMaxBufferSize(100000);
    EXPECT_EQ(grammar.run(std::string(65535, 'x')), VN_PARSE_OK);
    ASSERT_EQ(grammar.pushed.size(), 1u);
    EXPECT_EQ(grammar.pushed[0], std::string(65535, 'x'));
    EXPECT_EQ(grammar.run(std::string(65536, 'x')), VN_PARSE_ERROR);
    EXPECT_EQ(toStd(grammar.getError()), "A text in the input has more than 65535 bytes");
    EXPECT_EQ(grammar.pushed.size(), 1u);
}

TEST(vnParserFunction, TellsWhatIsWrongWithARuleWhenItIsWalked)
{
    EXPECT_EQ(errorOf("main ::= 'a'{2,1} ;", "aa"),
              "Min>Max in set {Min,Max} in rule 'main' at (Line:0,Col:8) -> 'a'{2,1}");
    EXPECT_EQ(errorOf("main ::= 'a'{,1} ;", "a"),
              "Missing Min number in set {Min,Max} in rule 'main' at (Line:0,Col:4) -> 'a'{,1}");
    EXPECT_EQ(errorOf("main ::= 'a'{1} ;", "a"),
              "Missing ',' in set {Min,Max} in rule 'main' at (Line:0,Col:5) -> 'a'{1}");
    EXPECT_EQ(errorOf("main ::= 'a'{1, } ;", "a"),
              "Missing Max number in set {Min,Max} in rule 'main' at (Line:0,Col:7) -> 'a'{1, }");
    EXPECT_EQ(errorOf("main ::= 'a'{1,2 ;", "a"),
              "Missing right '}' in set {Min,Max} in rule 'main' at (Line:0,Col:7) -> 'a'{1,2");
    // Also when the match has failed before.
    EXPECT_EQ(errorOf("main ::= 'b' ('a' ;", "x"),
              "Missing right ')' in rule 'main' at (Line:0,Col:8) -> 'b' ('a'");
    EXPECT_EQ(errorOf("main ::= \"a ;", "a"),
              "Unbalansed quote string in rule 'main' at (Line:0,Col:4) -> \"a ;");
    EXPECT_EQ(errorOf("main ::= 'a ;", "a"),
              "Unbalansed single quoted string in rule 'main' at (Line:0,Col:4) -> 'a ;");
    EXPECT_EQ(errorOf("main ::= [a ;", "a"), "Unbalansed Set [] in rule 'main' at (Line:0,Col:4) -> [a ;");
    EXPECT_EQ(errorOf("main ::= 'a' /* b", "a"),
              "Unbalansed comment in rule 'main' at (Line:0,Col:8) -> 'a' /* b");
    EXPECT_EQ(errorOf("main ::= 'a' | ;", "a"),
              "Expression mismatch in rule 'main' at (Line:0,Col:5) -> 'a' |");
    EXPECT_EQ(errorOf("main ::= b ;", ""), "Unknow parse function 'b'");
    Grammar grammar("main ::= 'a' | bad ; bad ::= (;");
    EXPECT_EQ(grammar.run("a"), VN_PARSE_ERROR); // the losing branch is walked, too
}

TEST(vnParserFunction, ReadsTextsOfRules)
{
    MessageLog messages(VN_MESSAGE_WARNING);
    Grammar grammar("main ::= two ; nothing ; ::= 'x' ; two ::= 'a' ; two ::= 'b'");
    EXPECT_EQ(grammar.isGood, 0);
    const std::string all = "main ::= two ; nothing ; ::= 'x' ; two ::= 'a' ; two ::= 'b'";
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

TEST(vnParserFunction, CallsRulesThenFunctionsThenWhatTheOwnerAdds)
{
    Grammar grammar("main ::= extra fAgain ; inner ::= 'i' ; fNote ::= 'n' ;");
    EXPECT_EQ(grammar.run("i"), VN_PARSE_OK);
    EXPECT_EQ(grammar.run("n", "fNote"), VN_PARSE_OK);
    EXPECT_EQ(grammar.notes, 0u);
    EXPECT_EQ(grammar.run("1", "digit"), VN_PARSE_OK);
    EXPECT_EQ(grammar.run("", "missing"), VN_PARSE_ERROR);
}

TEST(vnParserFunction, MayReplaceARuleThatIsWalked)
{
    Grammar grammar("main ::= 'o' fReplace ('l' | 'x') 'd' ;");
    EXPECT_EQ(grammar.run("old"), VN_PARSE_OK);
    EXPECT_EQ(grammar.run("new"), VN_PARSE_OK);
    EXPECT_EQ(grammar.run("old"), VN_PARSE_NO_MATCH);
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

TEST(vnParserFunction, BoundsTheCallsOfOneParseWhenAsked)
{
    Grammar grammar("main ::= 'x' main | 'x' main | 'y' ;");
    grammar.setMaxCalls(1000);
    EXPECT_EQ(grammar.run(std::string(64, 'x')), VN_PARSE_ERROR);
    EXPECT_EQ(toStd(grammar.getError()), "More than 1000 calls of rules in rule 'main'");
    EXPECT_EQ(grammar.run("xxy"), VN_PARSE_OK); // counted anew
}

TEST(vnParserFunction, DiesWhenItWouldGoBackFurtherThanItRemembers)
{
    Grammar grammar("main ::= ('abcdefghijk') 'l' ;");
    grammar.setMaxBufferSize(11);
    EXPECT_EQ(grammar.run("abcdefghijkl"), VN_PARSE_OK);
    grammar.setMaxBufferSize(10);
    EXPECT_THROW(grammar.run("abcdefghijkl"), vnFatalError);
}

TEST(vnParserFunction, TracesRulesAndFunctions)
{
    MessageLog messages(VN_MESSAGE_DEBUG);
    Grammar grammar(
        "main ::= 'a' digit | aRuleWithALongerNameThanMost ; aRuleWithALongerNameThanMost ::= 'b' ;");
    grammar.setTrace(1);
    EXPECT_EQ(grammar.run("b"), VN_PARSE_OK);
    const std::vector<std::string> expected = {
        "Parsing Rule     : main                (Line:0,Col:0)",
        "Parsing Rule     : aRuleWithALongerNameThanMost (Line:0,Col:0)",
        "Exit Rule        : aRuleWithALongerNameThanMost (Line:0,Col:1)\tResult:OK",
        "Exit Rule        : main                (Line:0,Col:1)\tResult:OK",
    };
    EXPECT_EQ(messages.texts, expected);
    messages.texts.clear();
    grammar.run("x", "digit");
    EXPECT_EQ(messages.texts, (std::vector<std::string>{
                                  "Parsing Function : digit               (Line:0,Col:0)",
                                  "Exit Function    : digit               (Line:0,Col:0)\tResult:No Match"}));
}
