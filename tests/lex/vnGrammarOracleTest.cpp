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

private:
    std::mt19937 m_engine;
};

using Oracle = vnGrammarOracle;

// A piece of a rule and an input that it matches, mostly.
struct Piece
{
    std::string text;
    std::u16string sample;

    Piece& operator+=(const Piece& other)
    {
        text += other.text;
        sample += other.sample;
        return *this;
    }
    Piece& operator+=(const std::string& more)
    {
        text += more;
        return *this;
    }
};

// Writes rules that match something now and then.
class RuleWriter
{
public:
    RuleWriter(Random& random, unsigned int rules, bool hasUndo, bool isUtf8)
        : m_random(random), m_rules(rules), m_hasUndo(hasUndo), m_isUtf8(isUtf8), m_samples(rules)
    {
    }

    // The later rules first: earlier ones call them.
    std::string body(unsigned int rule)
    {
        m_rule = rule;
        const Piece piece = choice(0);
        m_samples[rule] = piece.sample;
        return m_isUtf8 ? inUtf8(damage(piece.text)) : damage(piece.text);
    }
    const std::u16string& getSample() const { return m_samples[0]; }

private:
    Piece choice(unsigned int depth)
    {
        Piece piece = branch(depth);
        while (m_random.chance(35))
        {
            piece += space() + "|" + space();
            const Piece next = branch(depth);
            piece.text += next.text;
            if (m_random.chance(50))
                piece.sample = next.sample;
        }
        return piece;
    }
    Piece branch(unsigned int depth)
    {
        Piece piece = element(depth);
        while (m_random.chance(45))
            (piece += m_random.chance(90) ? " " : "\n") += element(depth);
        return piece;
    }
    Piece element(unsigned int depth)
    {
        Piece piece = item(depth);
        if (m_random.chance(12))
            piece += space() + "-" + space() + item(depth).text;
        return piece;
    }
    Piece item(unsigned int depth)
    {
        struct Repeat
        {
            const char* sign;
            unsigned int min;
            unsigned int more;
        };
        static const Repeat repeats[] = {{"+", 1, 2},         {"*", 0, 3},     {"?", 0, 2},
                                         {" 2", 2, 1},        {"{1,2}", 1, 2}, {"{0,3}", 0, 4},
                                         {"{ 2 , 3 }", 2, 2}, {"{0,0}", 0, 1}, {" *", 0, 3}};
        const Piece once = thing(depth);
        if (!m_random.chance(30))
            return once;
        const Repeat& repeat = repeats[m_random.below(std::size(repeats))];
        Piece piece{once.text + repeat.sign, u""};
        for (unsigned int i = repeat.min + m_random.below(repeat.more); i > 0 && piece.sample.size() < 100;
             --i)
            piece.sample += once.sample;
        return piece;
    }
    Piece thing(unsigned int depth)
    {
        // With a code page of the letters \xE4 and \x80, see inUtf8.
        static const Piece texts[] = {{"'a'", u"a"},          {"'\xE4'", u"\xE4"},     {"\"ab\"", u"ab"},
                                      {"'b'", u"b"},          {"'a\\nb'", u"a\nb"},    {"''", u""},
                                      {"'1'", u"1"},          {"'ba1'", u"ba1"},       {"'\\n'", u"\n"},
                                      {"'\\t\\\\'", u"\t\\"}, {"'a\x80'", u"a\x20AC"}, {"'//'", u"//"}};
        static const Piece sets[] = {{"[ab]", u"b"},
                                     {"[a\xE4]", u"\xE4"},
                                     {"[^a]", u"b"},
                                     {"[a-b1]", u"1"},
                                     {"[^]", u"\xE4"},
                                     {"[0-9]", u"1"},
                                     {"[\\nab]", u"\n"},
                                     {"[^\\n]", u"a"},
                                     {"[]", u""},
                                     {"[#x61-#x62]", u"a"},
                                     {"[\xE4-\x80]", u"\x20AC"},
                                     {"[^\xE4/]", u"\x20AC"},
                                     {"[\\]\\\\a\\\xE4]", u"]"},
                                     {"[#xE4-#x20AC]", u"\xE4"}};
        static const Piece functions[] = {
            {"fPush", u""},    {"fYes", u""},     {"fNo", u""},     {"fTake", u"a"}, {"fBack", u""},
            {"fReplace", u""}, {"fAgain", u""},   {"fMust", u"b"},  {"digit", u"1"}, {"word", u"ab"},
            {"hex", u"1"},     {"white", u" \n"}, {"black", u"a1"}, {"fPush", u""}};
        const unsigned int kind = m_random.below(100);
        if (kind < 28)
            return texts[m_random.below(std::size(texts))];
        if (kind < 50)
            return sets[m_random.below(std::size(sets))];
        if (kind < 62)
            return functions[m_random.below(std::size(functions))];
        if (kind < 70)
            return {m_hasUndo && m_random.chance(60) ? "@" : "$", u""};
        if (kind < 82)
            return name();
        if (kind < 84)
            return {m_random.chance(70) ? "/* a */" : "// a\n", u""};
        if (kind < 86)
            return m_random.chance(50) ? Piece{"#x61", u"a"} : Piece{"#xE4", u"\xE4"};
        if (kind == 86)
            return m_random.chance(50) ? Piece{"fErr", u""} : Piece{"#x20AC", u"\x20AC"};
        if (depth == 3)
            return {"'a'", u"a"};
        Piece piece = choice(depth + 1);
        piece.text = "(" + space() + piece.text + space() + ")";
        return piece;
    }
    // Mostly of a later rule; now and then there is none.
    Piece name()
    {
        unsigned int rule = m_random.chance(90) ? m_rule + 1 + m_random.below(2) : m_random.below(4);
        if (rule >= m_rules && m_random.chance(95))
            return {"[ab]", u"a"};
        return {"r" + std::to_string(rule), rule < m_rules ? m_samples[rule] : u""};
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

    static std::string inUtf8(const std::string& text)
    {
        std::string result;
        for (const char c : text)
            result += c == '\xE4' ? "\xC3\xA4" : c == '\x80' ? "\xE2\x82\xAC" : std::string(1, c);
        return result;
    }

    Random& m_random;
    const unsigned int m_rules;
    const bool m_hasUndo;
    const bool m_isUtf8;
    std::vector<std::u16string> m_samples;
    unsigned int m_rule = 0;
};

using Rules = std::vector<std::pair<std::string, std::string>>; // name and body

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
        addFunction("hex", &Engine::parseHex);
        addFunction("white", &Engine::parseAllWS);
        addFunction("black", &Engine::parseAllExceptWS);
        addFunction("fBack", &Engine::fBack);
        addFunction("fMust", &Engine::fMust);
        addFunction("fAgain", &Engine::fAgain);
        addFunction("fReplace", &Engine::fReplace);
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
    vnParseResult fBack()
    {
        note("back");
        if (getTokenPos() == 0)
            return VN_PARSE_NO_MATCH;
        pushBackTokens(1);
        return VN_PARSE_OK;
    }
    vnParseResult fMust() { return note("must"), getNextToken(1), VN_PARSE_OK; }
    vnParseResult fAgain() { return note("again"), parseRule("r3"); }
    vnParseResult fReplace() { return note("replace"), replaceNext(), VN_PARSE_OK; }
    void replaceNext()
    {
        if (replaced < spare.size())
            add(spare[replaced].first, spare[replaced].second);
        ++replaced;
    }
    void add(const std::string& name, const std::string& body) { addRule((name + " ::= " + body).c_str()); }
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
    Rules spare;
    std::size_t replaced = 0;

private:
    void note(const std::string& what)
    {
        log.push_back(what + " at " + std::to_string(getTokenPos()) + " " + std::to_string(getLine()) + ":" +
                      std::to_string(getColumn()));
    }
};

void replaceNext(Oracle& oracle, const Rules& spare, std::size_t& replaced)
{
    if (replaced < spare.size())
        oracle.addRule(spare[replaced].first, spare[replaced].second);
    ++replaced;
}

bool isWhite(char16_t c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
bool isLetter(char16_t c)
{
    return c < 0x80 && isalpha(c);
}

// A matcher of one character, or of as many as there are.
Oracle::Function matcher(bool (*test)(char16_t), bool isRun)
{
    return [test, isRun](Oracle& o)
    {
        const unsigned int begin = o.position;
        while (o.hasData() && (isRun || o.position == begin))
            if (!test(o.take()))
            {
                o.giveBack(1);
                break;
            }
        return o.position > begin ? 1 : 2;
    };
}

// The same functions for the oracle.
void addFunctions(Oracle& oracle, const Rules& spare, std::size_t& replaced)
{
    const auto note = [](Oracle& o, const std::string& what)
    {
        o.log.push_back(what + " at " + std::to_string(o.position) + " " + std::to_string(o.line) + ":" +
                        std::to_string(o.column));
    };
    const auto add = [&oracle, note](const char* name, const char* what, auto&& function)
    {
        oracle.functions[name] = [what, function, note](Oracle& o)
        {
            note(o, what);
            return function(o);
        };
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
    add("fYes", "yes", [](Oracle&) { return 1; });
    add("fNo", "no", [](Oracle&) { return 2; });
    add("fErr", "err", [](Oracle&) { return 0; });
    add("fTake", "take", [](Oracle& o) { return o.hasData() ? (o.take(), 1) : 2; });
    add("fBack", "back", [](Oracle& o) { return o.position > 0 ? (o.giveBack(1), 1) : 2; });
    add("fMust", "must",
        [](Oracle& o)
        {
            if (o.hasData())
                return o.take(), 1;
            o.error = "Adapter out of Data";
            throw vnBasicParseException(0);
        });
    add("fAgain", "again", [](Oracle& o) { return o.parseRule("r3"); });
    add("fReplace", "replace", [&](Oracle& o) { return replaceNext(o, spare, replaced), 1; });
    oracle.functions["digit"] = matcher([](char16_t c) { return c >= '0' && c <= '9'; }, false);
    oracle.functions["hex"] = matcher([](char16_t c) { return c < 0x80 && isxdigit(c); }, false);
    oracle.functions["word"] = matcher(isLetter, true);
    oracle.functions["white"] = matcher(isWhite, true);
    oracle.functions["black"] = matcher([](char16_t c) { return !isWhite(c); }, true);
}

std::string encode(const std::u16string& input, Oracle::Encoding encoding)
{
    if (encoding != Oracle::UTF16)
        return Oracle::toBytes(input, encoding == Oracle::BYTES);
    std::string bytes;
    for (const char16_t c : input)
        bytes += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    return bytes;
}

// The text lives longer, and is only read.
vnSerializeAdapter* createAdapter(const std::string& text, unsigned int kind)
{
    if (kind == 0)
        return new vnSerializeAdapterMemory(const_cast<char*>(text.data()),
                                            static_cast<unsigned int>(text.size()));
    if (kind == 1)
        return new TextAdapter(text);
    if (kind == 9)
        return new VagueAdapter(text);
    return new PieceAdapter(text, kind == 2 ? 0 : kind);
}

struct Case
{
    std::vector<std::string> bodies;
    Rules spare; // replaces them, one after the other
    std::u16string input;
    Oracle::Encoding encoding;
    bool hasMark;
    bool hasUndo;
    unsigned int bufferSize;
    unsigned int maxDepth;
    unsigned int maxCalls;
    unsigned int adapterKind;
    unsigned int runs;
    bool isTraced;

    std::string show() const
    {
        std::string text = "input '" + Oracle::toBytes(input, encoding == Oracle::BYTES) + "' encoding " +
                           std::to_string(encoding) + (hasMark ? " marked" : "") + " buffer " +
                           std::to_string(bufferSize) + " depth " + std::to_string(maxDepth) + " calls " +
                           std::to_string(maxCalls) + " adapter " + std::to_string(adapterKind) + " runs " +
                           std::to_string(runs) + (isTraced ? " traced" : "");
        for (std::size_t i = 0; i < bodies.size(); ++i)
            text += "\n  r" + std::to_string(i) + " ::= " + bodies[i];
        for (const auto& [name, body] : spare)
            text += "\n  then " + name + " ::= " + body;
        return text;
    }
};

std::u16string makeInput(Random& random, const std::u16string& sample, Oracle::Encoding encoding)
{
    static const char16_t* const pieces[] = {u"a",  u"b",   u"1",    u"\xE4",   u"ab",
                                             u"\n", u"ba1", u"a\nb", u"\x20AC", u" "};
    std::u16string input = random.chance(60) ? sample : u"";
    for (unsigned int count = random.below(input.empty() ? 7 : 3); count > 0; --count)
        input.insert(random.chance(30) ? random.below(static_cast<unsigned int>(input.size()) + 1)
                                       : input.size(),
                     pieces[random.below(std::size(pieces))]);
    if (encoding == Oracle::BYTES)
    {
        // Some of them are the bytes of UTF-8, which make several characters.
        const std::string bytes = Oracle::toBytes(input, random.chance(50));
        input.clear();
        for (const char c : bytes)
            input += static_cast<unsigned char>(c);
    }
    return input.substr(0, 300);
}

Case makeCase(Random& random)
{
    Case made;
    made.isTraced = random.chance(6);
    made.encoding = random.chance(60) ? Oracle::BYTES : random.chance(50) ? Oracle::UTF8 : Oracle::UTF16;
    made.hasMark = made.encoding != Oracle::BYTES && random.chance(50);
    const unsigned int rules = 1 + random.below(4);
    made.hasUndo = random.chance(30);
    const bool isUtf8 = random.chance(70);
    RuleWriter writer(random, rules, made.hasUndo, isUtf8);
    made.bodies.resize(rules);
    for (unsigned int i = rules; i-- > 0;)
        made.bodies[i] = writer.body(i);
    made.input = makeInput(random, writer.getSample(), made.encoding);
    RuleWriter spare(random, rules, made.hasUndo, isUtf8);
    for (unsigned int count = random.below(4); count > 0; --count)
    {
        const unsigned int rule = random.below(rules);
        made.spare.emplace_back("r" + std::to_string(rule), spare.body(rule));
    }
    made.bufferSize = random.chance(80) ? 50000 : random.below(8);
    made.maxDepth = random.chance(85) ? 40 : 1 + random.below(6);
    made.maxCalls = random.chance(85) ? 0 : 1 + random.below(20);
    made.adapterKind = random.below(10);
    made.runs = random.chance(70) ? 1 : 2 + random.below(2);
    return made;
}

enum Outcome
{
    ERROR,
    MATCH,
    NO_MATCH,
    THROWN,
    GIVEN_UP // nothing to compare
};

// What a run of the engine or of the oracle ends with, as text; "" when the oracle takes too long.
template <class Side>
std::string run(Side& side)
{
    try
    {
        return std::to_string(side.parseRule("r0"));
    }
    catch (const std::length_error&)
    {
        return "";
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    catch (const vnFatalError& error)
    {
        return toStd(error.getErrorString());
    }
    catch (const vnBasicParseException&)
    {
        return "end";
    }
}

void setUp(Engine& engine, const Case& given, vnSerializeAdapter* adapter)
{
    engine.setAdapter(adapter);
    engine.setMaxBufferSize(given.bufferSize);
    engine.setMaxDepth(given.maxDepth);
    engine.setMaxCalls(given.maxCalls);
    engine.setTrace(given.isTraced);
    engine.spare = given.spare;
    if (given.hasMark)
        return;
    if (given.encoding == Oracle::UTF8)
        engine.useUtf8(1);
    if (given.encoding == Oracle::UTF16)
        engine.useUnicode(1, 0);
}

Outcome compare(const Case& given, MessageLog& messages)
{
    Oracle oracle;
    Engine engine;
    std::size_t replaced = 0;
    addFunctions(oracle, given.spare, replaced);
    if (given.hasUndo)
        engine.add("counting", "@"); // the counter of calls is exact from the first mark with undo on
    for (std::size_t i = 0; i < given.bodies.size(); ++i)
    {
        const std::string name = "r" + std::to_string(i);
        if (!oracle.addRule(name, given.bodies[i]))
            return GIVEN_UP;
        engine.add(name, given.bodies[i]);
    }
    oracle.input = given.input;
    oracle.encoding = given.encoding;
    oracle.bufferSize = given.bufferSize;
    oracle.maxDepth = given.maxDepth;
    oracle.maxCalls = given.maxCalls ? given.maxCalls : 0xFFFFFFFF;

    const std::string mark = !given.hasMark                   ? ""
                             : given.encoding == Oracle::UTF8 ? "\xEF\xBB\xBF"
                                                              : "\xFF\xFE";
    const std::string text = mark + encode(given.input, given.encoding);
    vnRefPointer<vnSerializeAdapter> adapter(createAdapter(text, given.adapterKind));
    setUp(engine, given, adapter.get());
    Outcome outcome = THROWN;
    for (unsigned int runs = 0; runs < given.runs; ++runs)
    {
        if (runs == 1)
        {
            replaceNext(oracle, given.spare, replaced);
            engine.replaceNext();
        }
        if (runs == 2)
        {
            oracle.reset();
            engine.reset();
        }
        oracle.trace.clear();
        messages.texts.clear();
        const std::string end = run(oracle);
        if (end.empty())
            return GIVEN_UP;
        EXPECT_EQ(run(engine), end);
        EXPECT_EQ(toStd(engine.getError()), oracle.error);
        EXPECT_EQ(engine.getTokenPos(), oracle.position);
        EXPECT_EQ(engine.getLine(), oracle.line);
        EXPECT_EQ(engine.getColumn(), oracle.column);
        EXPECT_EQ(engine.log, oracle.log);
        if (given.isTraced)
        {
            EXPECT_EQ(messages.texts, oracle.trace);
        }
        outcome = end.size() == 1 ? static_cast<Outcome>(end[0] - '0') : THROWN;
    }
    std::vector<unsigned int> marks;
    for (auto at = oracle.marks.rbegin(); at != oracle.marks.rend(); ++at)
        marks.push_back(at->position);
    EXPECT_EQ(engine.takeMarks(), marks);
    // A byte order mark stays where nobody looked behind it.
    const std::string left = encode(oracle.input.substr(oracle.position), given.encoding);
    const std::string rest = readAll(*adapter);
    EXPECT_TRUE(rest == left || (rest == text && rest == mark + left)) << rest;
    return outcome;
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
    unsigned int counts[GIVEN_UP + 1] = {};
    for (unsigned int done = 0; done < wanted;
         done = counts[ERROR] + counts[MATCH] + counts[NO_MATCH] + counts[THROWN])
    {
        const Case given = makeCase(random);
        SCOPED_TRACE(given.show());
        ++counts[compare(given, messages)];
        if (HasFailure())
            return; // the first one says most
    }
    for (const Outcome outcome : {ERROR, MATCH, NO_MATCH, THROWN})
        EXPECT_GT(counts[outcome], wanted / 50) << outcome;
    EXPECT_GT(counts[MATCH], wanted / 5);
}

INSTANTIATE_TEST_SUITE_P(Random, vnGrammarOracleSeeds, testing::Range(20100605U, 20100613U));
