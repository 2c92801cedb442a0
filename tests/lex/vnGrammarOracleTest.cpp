// SPDX-License-Identifier: MIT
#include "vnGrammarOracle.h"
#include "vnGrammarTestTools.h"

#include <vnBase/vnBaseError.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

// The engine against a literal walk of the rules, on random grammars and inputs: same results, same functions
// called in the same order, same marks, errors, traces and positions, and the same input left.

namespace
{
class Random
{
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}
    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_engine() % limit); }
    bool chance(unsigned int percent) { return below(100) < percent; }
    template <std::size_t N>
    std::string oneOf(const char* const (&texts)[N])
    {
        return texts[below(N)];
    }

private:
    std::mt19937 m_engine;
};

// Writes rules that match something now and then.
class RuleWriter
{
public:
    RuleWriter(Random& random, unsigned int rules, bool hasUndo)
        : m_random(random), m_rules(rules), m_hasUndo(hasUndo)
    {
    }

    std::string body(unsigned int rule)
    {
        m_rule = rule;
        return damage(choice(0));
    }

private:
    std::string choice(unsigned int depth)
    {
        std::string text = branch(depth);
        while (m_random.chance(35))
            text += space() + "|" + space() + branch(depth);
        return text;
    }
    std::string branch(unsigned int depth)
    {
        std::string text = element(depth);
        while (m_random.chance(45))
            text += " " + element(depth);
        return text;
    }
    std::string element(unsigned int depth)
    {
        const std::string text = item(depth);
        return m_random.chance(12) ? text + space() + "-" + space() + item(depth) : text;
    }
    std::string item(unsigned int depth)
    {
        static const char* const repeats[] = {"+",     "*",         "?",     " 2", "{1,2}",
                                              "{0,3}", "{ 2 , 3 }", "{0,0}", " *"};
        const std::string text = thing(depth);
        return m_random.chance(30) ? text + m_random.oneOf(repeats) : text;
    }
    std::string thing(unsigned int depth)
    {
        static const char* const texts[] = {"'a'", "'\xE4'", "\"ab\"", "'b'",  "'a\\nb'",
                                            "''",  "'1'",    "'ba1'",  "'\\n'"};
        static const char* const sets[] = {"[ab]",  "[a\xE4]", "[^a]",   "[a-b1]", "[^]",
                                           "[0-9]", "[\\nab]", "[^\\n]", "[]",     "[#x61-#x62]"};
        static const char* const functions[] = {"fPush", "fYes", "fNo", "fTake", "digit", "word", "fPush"};
        const unsigned int kind = m_random.below(100);
        if (kind < 28)
            return m_random.oneOf(texts);
        if (kind < 50)
            return m_random.oneOf(sets);
        if (kind < 62)
            return m_random.oneOf(functions);
        if (kind < 70)
            return m_hasUndo && m_random.chance(60) ? "@" : "$";
        if (kind < 82)
            return name();
        if (kind < 84)
            return "/* a */";
        if (kind < 86)
            return "#x61";
        if (kind == 86)
            return "fErr";
        return depth < 3 ? "(" + space() + choice(depth + 1) + space() + ")" : "'a'";
    }
    // Mostly of a later rule; now and then there is none.
    std::string name()
    {
        unsigned int rule = m_random.chance(90) ? m_rule + 1 + m_random.below(2) : m_random.below(4);
        if (rule >= m_rules && m_random.chance(95))
            return "[ab]";
        return "r" + std::to_string(rule);
    }
    std::string space() { return m_random.chance(70) ? " " : ""; }

    // Sometimes a rule is not what it should be.
    std::string damage(std::string text)
    {
        static const char signs[] = "()[]{}'\"+*?|-$#,/1";
        if (!m_random.chance(8))
            return text;
        const unsigned int at = m_random.below(static_cast<unsigned int>(text.size()));
        if (m_random.chance(50))
            text.erase(at, 1);
        else
            text.insert(at, 1, signs[m_random.below(sizeof signs - 1)]);
        return text;
    }

    Random& m_random;
    const unsigned int m_rules;
    const bool m_hasUndo;
    unsigned int m_rule = 0;
};

class Engine : public vnParserFunction<Engine>
{
public:
    Engine()
    {
        addFunction("fPush", &Engine::fPush);
        addFunction("fYes", &Engine::fYes);
        addFunction("fNo", &Engine::fNo);
        addFunction("fErr", &Engine::fErr);
        addFunction("fTake", &Engine::fTake);
        addFunction("digit", &Engine::parseDigit);
        addFunction("word", &Engine::parsePlainIdentifier);
    }
    vnParseResult fPush()
    {
        unsigned int begin = 0;
        const bool isMarked = popMark(begin) != 0;
        const auto count = static_cast<unsigned short>(getTokenPos() - begin);
        note((isMarked ? "push " : "whole ") + std::to_string(begin) + " '" +
             toStd(getTokenData(begin, count)) + "'");
        return VN_PARSE_OK;
    }
    vnParseResult fYes() { return note("yes"), VN_PARSE_OK; }
    vnParseResult fNo() { return note("no"), VN_PARSE_NO_MATCH; }
    vnParseResult fErr() { return note("err"), VN_PARSE_ERROR; }
    vnParseResult fTake()
    {
        note("take");
        if (!hasData())
            return VN_PARSE_NO_MATCH;
        getNextToken(1);
        return VN_PARSE_OK;
    }
    unsigned char onUndoMark(unsigned int callCounter, vnParseResult result) override
    {
        log.push_back("undo " + std::to_string(callCounter) + " " + toStd(parseResultString(result)));
        return 1;
    }
    std::vector<unsigned int> takeMarks()
    {
        std::vector<unsigned int> positions;
        for (unsigned int position; popMark(position);)
            positions.push_back(position);
        return positions;
    }

    std::vector<std::string> log;

private:
    void note(const std::string& what)
    {
        log.push_back(what + " at " + std::to_string(getTokenPos()) + " " + std::to_string(getLine()) + ":" +
                      std::to_string(getColumn()));
    }
};

// The same functions for the oracle.
void addFunctions(vnGrammarOracle& oracle)
{
    using Oracle = vnGrammarOracle;
    const auto note = [](Oracle& o, const std::string& what)
    {
        o.log.push_back(what + " at " + std::to_string(o.position) + " " + std::to_string(o.line) + ":" +
                        std::to_string(o.column));
    };
    oracle.functions["fPush"] = [note](Oracle& o)
    {
        const bool isMarked = !o.marks.empty();
        const unsigned int begin = isMarked ? o.marks.back().position : 0;
        if (isMarked)
            o.marks.pop_back();
        note(o, (isMarked ? "push " : "whole ") + std::to_string(begin) + " '" + o.remembered(begin) + "'");
        return 1;
    };
    oracle.functions["fYes"] = [note](Oracle& o) { return note(o, "yes"), 1; };
    oracle.functions["fNo"] = [note](Oracle& o) { return note(o, "no"), 2; };
    oracle.functions["fErr"] = [note](Oracle& o) { return note(o, "err"), 0; };
    oracle.functions["fTake"] = [note](Oracle& o)
    { return note(o, "take"), o.hasData() ? (o.take(), 1) : 2; };
    const auto takeIf = [](Oracle& o, int (*test)(int))
    {
        if (!o.hasData())
            return false;
        if (test(static_cast<unsigned char>(o.take())))
            return true;
        o.giveBack(1);
        return false;
    };
    oracle.functions["digit"] = [takeIf](Oracle& o) { return takeIf(o, isdigit) ? 1 : 2; };
    oracle.functions["word"] = [takeIf](Oracle& o)
    {
        const unsigned int begin = o.position;
        while (takeIf(o, isalpha))
        {
        }
        return o.position > begin ? 1 : 2;
    };
}

// The text lives longer, and is only read.
vnSerializeAdapter* createAdapter(const std::string& text, unsigned int kind)
{
    if (kind == 0)
        return new vnSerializeAdapterMemory(const_cast<char*>(text.data()),
                                            static_cast<unsigned int>(text.size()));
    if (kind == 1)
        return new TextAdapter(text);
    return new PieceAdapter(text, kind == 2 ? 0 : kind);
}

struct Case
{
    std::vector<std::string> bodies;
    std::string input;
    unsigned int bufferSize;
    unsigned int adapterKind;
    bool isTraced;

    std::string tell() const
    {
        std::string text = "input '" + input + "' buffer " + std::to_string(bufferSize) + " adapter " +
                           std::to_string(adapterKind) + (isTraced ? " traced" : "");
        for (std::size_t i = 0; i < bodies.size(); ++i)
            text += "\n  r" + std::to_string(i) + " ::= " + bodies[i];
        return text;
    }
};

Case makeCase(Random& random)
{
    static const char* const inputs[] = {"a", "b", "1", "\xE4", "ab", "\n", "ba1", "a\nb"};
    Case made;
    made.isTraced = random.chance(6);
    const unsigned int rules = 1 + random.below(4);
    RuleWriter writer(random, rules, random.chance(30));
    for (unsigned int i = 0; i < rules; ++i)
        made.bodies.push_back(writer.body(i));
    for (unsigned int count = random.below(7); count > 0; --count)
        made.input += random.oneOf(inputs);
    made.bufferSize = random.chance(80) ? 50000 : random.below(8);
    made.adapterKind = random.below(7) % 6;
    return made;
}

enum class Outcome
{
    NOTHING, // to compare
    MATCH,
    OTHER
};

Outcome compare(const Case& given, MessageLog& messages)
{
    vnGrammarOracle oracle;
    Engine engine;
    addFunctions(oracle);
    for (std::size_t i = 0; i < given.bodies.size(); ++i)
    {
        const std::string name = "r" + std::to_string(i);
        const vnString body = vnString(given.bodies[i].c_str()).stripWhiteSpace();
        if (body.isEmpty())
            return Outcome::NOTHING;
        oracle.rules[name] = toStd(body);
        engine.addRule(vnString((name + " ::= ").c_str()) + body);
    }
    oracle.input = given.input;
    oracle.bufferSize = given.bufferSize;
    oracle.maxDepth = 40;
    std::string oracleEnd, engineEnd;
    try
    {
        oracleEnd = std::to_string(oracle.parseRule("r0"));
    }
    catch (const std::length_error&)
    {
        return Outcome::NOTHING;
    }
    catch (const std::runtime_error& error)
    {
        oracleEnd = error.what();
    }

    vnRefPointer<vnSerializeAdapter> adapter(createAdapter(given.input, given.adapterKind));
    engine.setAdapter(adapter.get());
    engine.setMaxBufferSize(given.bufferSize);
    engine.setMaxDepth(oracle.maxDepth);
    engine.setTrace(given.isTraced);
    messages.texts.clear();
    try
    {
        engineEnd = std::to_string(engine.parseRule("r0"));
    }
    catch (const vnFatalError& error)
    {
        engineEnd = toStd(error.getErrorString());
    }
    EXPECT_EQ(engineEnd, oracleEnd);
    EXPECT_EQ(toStd(engine.getError()), oracle.error);
    EXPECT_EQ(engine.getTokenPos(), oracle.position);
    EXPECT_EQ(engine.getLine(), oracle.line);
    EXPECT_EQ(engine.getColumn(), oracle.column);
    EXPECT_EQ(engine.log, oracle.log);
    if (given.isTraced)
    {
        EXPECT_EQ(messages.texts, oracle.trace);
    }
    std::vector<unsigned int> marks;
    for (auto mark = oracle.marks.rbegin(); mark != oracle.marks.rend(); ++mark)
        marks.push_back(mark->position);
    EXPECT_EQ(engine.takeMarks(), marks);
    EXPECT_EQ(readAll(*adapter), given.input.substr(oracle.position));
    return oracleEnd == "1" ? Outcome::MATCH : Outcome::OTHER;
}
} // namespace

// Each test has its own seed, so that they run next to each other, and none for long under a sanitizer.
class vnGrammarOracleSeeds : public testing::TestWithParam<unsigned int>
{
};

TEST_P(vnGrammarOracleSeeds, AgreesWithTheEngineOnRandomGrammars)
{
    unsigned int wanted = 13000;
    if (const char* text = std::getenv("VN_GRAMMAR_CASES"))
        wanted = static_cast<unsigned int>(std::atoi(text));
    MessageLog messages(VN_MESSAGE_DEBUG);
    Random random(GetParam());
    unsigned int matched = 0;
    for (unsigned int done = 0; done < wanted;)
    {
        const Case given = makeCase(random);
        SCOPED_TRACE(given.tell());
        const Outcome outcome = compare(given, messages);
        done += outcome != Outcome::NOTHING ? 1 : 0;
        matched += outcome == Outcome::MATCH ? 1 : 0;
        if (HasFailure())
            return; // the first one says most
    }
    EXPECT_GT(matched, wanted / 10);
}

INSTANTIATE_TEST_SUITE_P(Random, vnGrammarOracleSeeds, testing::Range(20100605U, 20100613U));
