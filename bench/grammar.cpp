// SPDX-License-Identifier: MIT
// Grammars that are made from text while a program runs: short texts, and a log of 100,000 lines.
#include "bench.h"

#include <vnBase/vnParserFunction.h>
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterMemory.h>

#ifdef HAVE_BOOST
#include <boost/xpressive/xpressive_dynamic.hpp>
#endif
#ifdef HAVE_PCRE2
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#endif
#if __has_include(<peglib.h>)
#include <peglib.h>
#define HAVE_PEGLIB
#endif

namespace
{
using Texts = std::vector<std::string>;

class Random
{
public:
    unsigned int below(unsigned int limit)
    {
        m_state = m_state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<unsigned int>(m_state >> 33) % limit;
    }
    std::string word()
    {
        std::string text;
        for (unsigned int left = 2 + below(9); left > 0; --left)
            text += static_cast<char>('a' + below(26));
        return text;
    }

private:
    std::uint64_t m_state = 18;
};

std::string makeRequest(Random& random)
{
    static const char* const methods[] = {"GET", "POST", "HEAD", "PUT"};
    std::string text = methods[random.below(4)];
    text += " ";
    for (unsigned int left = 1 + random.below(4); left > 0; --left)
        text += "/" + random.word();
    return text + "?" + random.word() + "=" + std::to_string(random.below(1000)) + " HTTP/1." +
           std::to_string(random.below(2));
}

std::string makeExpression(Random& random, unsigned int depth)
{
    if (depth == 0 || random.below(100) < 35)
        return std::to_string(random.below(1000));
    if (random.below(100) < 30)
        return "(" + makeExpression(random, depth - 1) + ")";
    return makeExpression(random, depth - 1) + "+-*/"[random.below(4)] + makeExpression(random, depth - 1);
}

std::string makeLog(unsigned int lines)
{
    static const char* const statuses[] = {"200", "200", "200", "304", "404", "500"};
    Random random;
    std::string text;
    for (unsigned int i = 0; i < lines; ++i)
    {
        text += "10." + std::to_string(random.below(256)) + "." + std::to_string(random.below(256)) +
                ".7 - - " + "[10/Oct/2009:13:" + std::to_string(10 + random.below(50)) + ":36 +0000] \"" +
                makeRequest(random) + "\" " + statuses[random.below(6)] + " " +
                std::to_string(random.below(100000)) + " \"http://example.com/" + random.word() +
                "\" \"Agent/1.0 (" + random.word() + ")\"\n";
    }
    return text;
}

/// Our grammars; each function adds up what it is given.
class Grammar : public vnParserFunction<Grammar>
{
public:
    explicit Grammar(const char* rules)
    {
        addFunction("fLength", &Grammar::fLength);
        addFunction("fText", &Grammar::fText);
        addFunction("fNumber", &Grammar::fNumber);
        addRules(vnString(rules));
    }
    vnParseResult fLength()
    {
        unsigned int begin;
        popMark(begin);
        sum += getTokenPos() - begin;
        return VN_PARSE_OK;
    }
    vnParseResult fText()
    {
        vnString text;
        takeMarked(text);
        sum += text.length();
        return VN_PARSE_OK;
    }
    vnParseResult fNumber()
    {
        vnString text;
        takeMarked(text);
        sum += std::strtoul(text.getString(), nullptr, 10);
        return VN_PARSE_OK;
    }

    /// What the functions added, or 0 when the text does not match to its end.
    std::uint64_t run(const std::string& text)
    {
        m_memory->reset(const_cast<char*>(text.data()), static_cast<unsigned int>(text.size()));
        return run(*m_memory);
    }
    std::uint64_t run(vnSerializeAdapter& adapter)
    {
        static const vnString main("main");
        reset();
        sum = 0;
        setAdapter(&adapter);
        return parseRule(main) == VN_PARSE_OK && !hasData() ? sum : 0;
    }

    std::uint64_t sum = 0;

private:
    vnRefPointer<vnSerializeAdapterMemory> m_memory{new vnSerializeAdapterMemory(nullptr, 0)};
};

#ifdef HAVE_PCRE2
class Pcre
{
public:
    Pcre(const char* pattern, bool isCompiled)
    {
        int error;
        PCRE2_SIZE at;
        m_code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern), PCRE2_ZERO_TERMINATED, 0, &error, &at,
                               nullptr);
        if (!m_code)
            std::abort();
        if (isCompiled)
            pcre2_jit_compile(m_code, PCRE2_JIT_COMPLETE);
        m_data = pcre2_match_data_create_from_pattern(m_code, nullptr);
    }
    ~Pcre()
    {
        pcre2_match_data_free(m_data);
        pcre2_code_free(m_code);
    }
    Pcre(const Pcre&) = delete;
    Pcre& operator=(const Pcre&) = delete;

    /// The offsets of the groups, or null.
    const PCRE2_SIZE* match(const std::string& text, std::size_t from)
    {
        return pcre2_match(m_code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), from, 0, m_data,
                           nullptr) > 0
                   ? pcre2_get_ovector_pointer(m_data)
                   : nullptr;
    }

private:
    pcre2_code* m_code;
    pcre2_match_data* m_data;
};
#endif

template <class One>
std::function<std::uint64_t()> overAll(const Texts& texts, One one)
{
    return [&texts, one]
    {
        std::uint64_t sum = 0;
        for (const std::string& text : texts)
            sum += one(text);
        return sum;
    };
}

void addRequests(bench::Suite& suite, const Texts& texts)
{
    using namespace bench;
    Group& g = suite.group("HTTP request line, two captures", nsPerOp, static_cast<double>(texts.size()));
    g.sameCheck();
    [[maybe_unused]] static const char pattern[] = "^([A-Z]+) ([^ ]+) HTTP/(\\d)\\.(\\d)$";
#ifdef HAVE_PCRE2
    for (const bool isCompiled : {true, false})
    {
        auto pcre = std::make_shared<Pcre>(pattern, isCompiled);
        g.add(isCompiled ? "PCRE2 with JIT" : "PCRE2 interpreted", peer,
              overAll(texts,
                      [pcre](const std::string& text) -> std::uint64_t
                      {
                          const PCRE2_SIZE* o = pcre->match(text, 0);
                          return o ? o[3] - o[2] + o[5] - o[4] : 0;
                      }));
    }
#endif
#ifdef HAVE_BOOST
    namespace xp = boost::xpressive;
    auto regex = std::make_shared<xp::sregex>(xp::sregex::compile(pattern));
    g.add("Xpressive", peer,
          overAll(texts,
                  [regex](const std::string& text) -> std::uint64_t
                  {
                      xp::smatch m;
                      return xp::regex_match(text, m, *regex)
                                 ? static_cast<std::uint64_t>(m[1].length() + m[2].length())
                                 : 0;
                  }));
#endif
#ifdef HAVE_PEGLIB
    auto peglib = std::make_shared<peg::parser>("REQUEST <- METHOD ' ' TARGET ' HTTP/' [0-9] '.' [0-9]\n"
                                                "METHOD <- < [A-Z]+ >\nTARGET <- < [^ ]+ >\n");
    auto sum = std::make_shared<std::uint64_t>(0);
    (*peglib)["METHOD"] = [sum](const peg::SemanticValues& v) { *sum += v.token().size(); };
    (*peglib)["TARGET"] = [sum](const peg::SemanticValues& v) { *sum += v.token().size(); };
    g.add("cpp-peglib", peer,
          overAll(texts,
                  [peglib, sum](const std::string& text) -> std::uint64_t
                  {
                      *sum = 0;
                      return peglib->parse_n(text.data(), text.size()) ? *sum : 0;
                  }));
#endif
    auto lengths =
        std::make_shared<Grammar>("main ::= $ [A-Z]+ fLength ' ' $ [^ ]+ fLength ' HTTP/' [0-9] '.' [0-9] ;");
    auto ourTexts =
        std::make_shared<Grammar>("main ::= $ [A-Z]+ fText ' ' $ [^ ]+ fText ' HTTP/' [0-9] '.' [0-9] ;");
    g.add("vnParserFunction", ours,
          overAll(texts, [lengths](const std::string& text) { return lengths->run(text); }));
    g.add("vnParserFunction, captures as strings", ours,
          overAll(texts, [ourTexts](const std::string& text) { return ourTexts->run(text); }));
}

void addExpressions(bench::Suite& suite, const Texts& texts)
{
    using namespace bench;
    Group& g = suite.group("nested expression, yes or no", nsPerOp, static_cast<double>(texts.size()));
    g.sameCheck();
#ifdef HAVE_PCRE2
    static const char pattern[] =
        "(?(DEFINE)(?<expr>(?&term)(?:[+\\-](?&term))*)(?<term>(?&factor)(?:[*/](?&factor))*)"
        "(?<factor>\\d+|\\((?&expr)\\)))^(?&expr)$";
    for (const bool isCompiled : {true, false})
    {
        auto pcre = std::make_shared<Pcre>(pattern, isCompiled);
        g.add(isCompiled ? "PCRE2 with JIT, recursive" : "PCRE2 interpreted, recursive", peer,
              overAll(texts,
                      [pcre](const std::string& text) -> std::uint64_t
                      { return pcre->match(text, 0) ? 1 : 0; }));
    }
#endif
#ifdef HAVE_BOOST
    namespace xp = boost::xpressive;
    auto regex = std::make_shared<xp::sregex>();
    xp::sregex_compiler compiler;
    compiler.compile("(?$group=)\\((?$expr)\\)");
    compiler.compile("(?$factor=)\\d+|(?$group)");
    compiler.compile("(?$term=)(?$factor)(?:[*/](?$factor))*");
    *regex = compiler.compile("(?$expr=)(?$term)(?:[+\\-](?$term))*");
    g.add("Xpressive named rules", peer,
          overAll(texts,
                  [regex](const std::string& text) -> std::uint64_t
                  {
                      xp::smatch m;
                      return xp::regex_match(text, m, *regex) ? 1 : 0;
                  }));
#endif
#ifdef HAVE_PEGLIB
    auto peglib = std::make_shared<peg::parser>("EXPR <- TERM ([-+] TERM)*\nTERM <- FACTOR ([*/] FACTOR)*\n"
                                                "FACTOR <- [0-9]+ / '(' EXPR ')'\n");
    g.add("cpp-peglib", peer,
          overAll(texts,
                  [peglib](const std::string& text) -> std::uint64_t
                  { return peglib->parse_n(text.data(), text.size()) ? 1 : 0; }));
#endif
    auto grammar = std::make_shared<Grammar>("main ::= term ([+-] term)* ; term ::= factor ([*/] factor)* ;"
                                             "factor ::= [0-9]+ | '(' main ')' ;");
    g.add("vnParserFunction", ours,
          overAll(texts,
                  [grammar](const std::string& text) -> std::uint64_t
                  {
                      grammar->run(text);
                      return grammar->hasData() ? 0 : 1;
                  }));
}

const char logRules[] = "main ::= line+ ;"
                        "line ::= host ' ' word ' ' word ' [' [^\\]]+ '] \"' [^\"]* '\" ' status ' ' size"
                        "         ' \"' [^\"]* '\" \"' [^\"]* '\"' #xA ;"
                        "host ::= [^ ]+ ; word ::= [^ ]+ ; status ::= [0-9] 3 ; size ::= $ [0-9]+ fNumber ;";

void addLog(bench::Suite& suite, const std::string& log)
{
    using namespace bench;
    Group& g = suite.group("access log of 100,000 lines, sum of sizes", mbPerSecond,
                           static_cast<double>(log.size()));
    g.rounds(5).sameCheck();
#ifdef HAVE_PCRE2
    auto pcre = std::make_shared<Pcre>("\\G[^ ]+ [^ ]+ [^ ]+ \\[[^\\]]+\\] \"[^\"]*\" [0-9]{3} ([0-9]+) "
                                       "\"[^\"]*\" \"[^\"]*\"\\n",
                                       true);
    g.add("PCRE2 with JIT, line by line", peer,
          [&log, pcre]
          {
              std::uint64_t sum = 0;
              std::size_t at = 0;
              while (const PCRE2_SIZE* o = at < log.size() ? pcre->match(log, at) : nullptr)
              {
                  sum += std::strtoul(log.c_str() + o[2], nullptr, 10);
                  at = o[1];
              }
              return sum;
          });
#endif
    auto grammar = std::make_shared<Grammar>(logRules);
    g.add("vnParserFunction, memory", ours, [&log, grammar] { return grammar->run(log); });
    const std::string path = scratchDir() + "/grammar_access.log";
    std::ofstream(path, std::ios::binary) << log;
    g.add("vnParserFunction, file", ours,
          [path, grammar]
          {
              vnRefPointer<vnSerializeAdapterFile> file(
                  new vnSerializeAdapterFile(path.c_str(), VN_SERIALIZE_INPUT, 0, 0));
              return grammar->run(*file);
          });
}
} // namespace

int main(int argc, char** argv)
{
    bench::Suite suite("k.grammar", argc, argv);
    Random random;
    Texts requests, expressions;
    for (unsigned int i = 0; i < 2000; ++i)
    {
        requests.push_back(makeRequest(random));
        expressions.push_back(makeExpression(random, 4));
    }
    const std::string log = makeLog(100000);
    addRequests(suite, requests);
    addExpressions(suite, expressions);
    addLog(suite, log);
    suite.run();
    return suite.getResult();
}
