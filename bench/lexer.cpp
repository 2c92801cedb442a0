// SPDX-License-Identifier: MIT
// Workload j: cutting C-like source text into tokens. White space and comments are passed over; operators of
// two characters count as one or as two, so that only the other tokens are compared.
#include "bench.h"

#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeLex.h>

#ifdef HAVE_GLIB
#include <glib.h>
#endif
#ifdef HAVE_POCO
#include <Poco/MemoryStream.h>
#include <Poco/StreamTokenizer.h>
#include <Poco/Token.h>
#endif

struct Counts
{
    std::uint64_t names = 0, integers = 0, reals = 0, strings = 0;
    std::uint64_t check() const { return names + 3 * integers + 5 * reals + 7 * strings; }
};

// The limit: a loop as a careful programmer writes it, each token delivered as a std::string.
class HandLoop
{
public:
    explicit HandLoop(const std::string& text) : m_next(text.data()), m_end(m_next + text.size())
    {
        for (int i = 0; i < 256; ++i)
            m_class[i] = std::isspace(i)               ? space
                         : std::isalpha(i) || i == '_' ? letter
                         : std::isdigit(i)             ? digit
                                                       : other;
    }
    Counts run()
    {
        while (m_next < m_end)
        {
            const char* begin = m_next++;
            switch (classOf(begin))
            {
            case space:
                skip(space);
                continue;
            case letter:
                while (m_next < m_end && classOf(m_next) >= letter)
                    ++m_next;
                ++m_counts.names;
                break;
            case digit:
                skip(digit);
                if (m_next < m_end && *m_next == '.')
                {
                    ++m_next;
                    skip(digit);
                    ++m_counts.reals;
                }
                else
                    ++m_counts.integers;
                break;
            default:
                if (!mark(*begin))
                    continue;
            }
            m_value.assign(begin, m_next);
            bench::keep(m_value);
        }
        return m_counts;
    }

private:
    enum Class : unsigned char
    {
        other,
        space,
        letter,
        digit
    };
    Class classOf(const char* at) const { return m_class[static_cast<unsigned char>(*at)]; }
    void skip(Class what)
    {
        while (m_next < m_end && classOf(m_next) == what)
            ++m_next;
    }
    bool mark(char c)
    {
        if (c == '"')
        {
            for (; m_next < m_end && *m_next != '"'; ++m_next)
                m_next += *m_next == '\\';
            ++m_next;
            ++m_counts.strings;
            return true;
        }
        if (c != '/' || m_next == m_end || (*m_next != '/' && *m_next != '*'))
            return true;
        const char* close = *m_next == '/' ? "\n" : "*/";
        m_next = std::search(m_next + 1, m_end, close, close + std::strlen(close));
        m_next = std::min(m_next + std::strlen(close), m_end);
        return false;
    }

    const char* m_next;
    const char* m_end;
    Class m_class[256];
    Counts m_counts;
    std::string m_value;
};

static Counts runOurs(vnSerializeAdapter& adapter, bool withValues)
{
    vnSerializeLex lex;
    lex.useStrings(1);
    Counts counts;
    for (lex.read(&adapter); lex.getDataType() != VN_LEX_NONE; lex.read(&adapter))
    {
        const vnLexDataType type = lex.getDataType();
        counts.names += type == VN_LEX_IDENTIFIER;
        counts.integers += type == VN_LEX_INTEGER;
        counts.reals += type == VN_LEX_REAL;
        counts.strings += type == VN_LEX_STRING;
        if (withValues && !(type & (VN_LEX_WHITESPACE | VN_LEX_COMMENT)))
            bench::keep(lex.getData());
    }
    return counts;
}

#ifdef HAVE_POCO
struct PocoToken : Poco::Token
{
    PocoToken(Class kind, bool (*starts)(int), bool (*goesOn)(int))
        : m_kind(kind), m_starts(starts), m_goesOn(goesOn)
    {
    }
    Class tokenClass() const override { return m_real ? FLOAT_LITERAL_TOKEN : m_kind; }
    bool start(char c, std::istream& in) override
    {
        _value = c;
        m_real = false;
        if (m_kind == COMMENT_TOKEN)
            return c == '/' && (in.peek() == '/' || in.peek() == '*');
        return m_starts(static_cast<unsigned char>(c)) != 0;
    }
    void finish(std::istream& in) override
    {
        if (m_kind == STRING_LITERAL_TOKEN)
            return finishString(in);
        if (m_kind == COMMENT_TOKEN)
            return finishComment(in);
        for (int c = in.peek(); c != EOF && (m_goesOn(c) || isPoint(c)); c = in.peek())
            _value += static_cast<char>(in.get());
    }

private:
    bool isPoint(int c)
    {
        const bool result = m_kind == INTEGER_LITERAL_TOKEN && c == '.';
        m_real = m_real || result;
        return result;
    }
    void finishString(std::istream& in)
    {
        for (int c; (c = in.get()) != EOF;)
        {
            _value += static_cast<char>(c);
            if (c == '"')
                return;
            if (c == '\\')
                _value += static_cast<char>(in.get());
        }
    }
    void finishComment(std::istream& in)
    {
        const bool isLine = in.get() == '/';
        for (int last = 0, c; (c = in.get()) != EOF; last = c)
        {
            _value += static_cast<char>(c);
            if (isLine ? c == '\n' : last == '*' && c == '/')
                return;
        }
    }

    Class m_kind;
    bool (*m_starts)(int);
    bool (*m_goesOn)(int);
    bool m_real = false;
};

static Counts runPoco(const std::string& text)
{
    using Poco::Token;
    struct Tokenizer : Poco::StreamTokenizer
    {
        explicit Tokenizer(std::istream& in) : StreamTokenizer(in)
        {
            const auto none = [](int) { return false; };
            const auto isDigit = [](int c) { return c >= '0' && c <= '9'; };
            addToken(new Poco::WhitespaceToken, true);
            addToken(new PocoToken(Token::COMMENT_TOKEN, none, none), true);
            addToken(new PocoToken(
                Token::IDENTIFIER_TOKEN, [](int c) { return std::isalpha(c) || c == '_'; },
                [](int c) { return std::isalnum(c) || c == '_'; }));
            addToken(new PocoToken(Token::INTEGER_LITERAL_TOKEN, isDigit, isDigit));
            addToken(new PocoToken(
                Token::STRING_LITERAL_TOKEN, [](int c) { return c == '"'; }, none));
            addToken(new PocoToken(
                Token::OPERATOR_TOKEN, [](int c) { return std::ispunct(c) != 0; }, none));
        }
    };
    Poco::MemoryInputStream in(text.data(), static_cast<std::streamsize>(text.size()));
    Tokenizer tokenizer(in);
    Counts counts;
    for (const Token* token = tokenizer.next(); token->tokenClass() != Token::EOF_TOKEN;
         token = tokenizer.next())
    {
        counts.names += token->tokenClass() == Token::IDENTIFIER_TOKEN;
        counts.integers += token->tokenClass() == Token::INTEGER_LITERAL_TOKEN;
        counts.reals += token->tokenClass() == Token::FLOAT_LITERAL_TOKEN;
        counts.strings += token->tokenClass() == Token::STRING_LITERAL_TOKEN;
    }
    return counts;
}
#endif

#ifdef HAVE_GLIB
// It knows comments of one line behind a single character only.
static std::string withHashComments(std::string text)
{
    for (std::size_t at = 0; (at = text.find("//", at)) != std::string::npos; ++at)
        text[at] = '#';
    return text;
}

static Counts runGlib(const std::string& text)
{
    GScanner* scanner = g_scanner_new(nullptr);
    scanner->config->scan_identifier_1char = TRUE;
    scanner->config->scan_octal = FALSE;
    scanner->config->scan_string_sq = FALSE;
    scanner->config->char_2_token = TRUE;
    g_scanner_input_text(scanner, text.data(), static_cast<guint>(text.size()));
    Counts counts;
    for (GTokenType type; (type = g_scanner_get_next_token(scanner)) != G_TOKEN_EOF;)
    {
        counts.names += type == G_TOKEN_IDENTIFIER;
        counts.integers += type == G_TOKEN_INT;
        counts.reals += type == G_TOKEN_FLOAT;
        counts.strings += type == G_TOKEN_STRING;
    }
    g_scanner_destroy(scanner);
    return counts;
}
#endif

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("j.lexer", argc, argv);
    std::string text = readAll(suite.getDataDir() + "/source.txt");
    const std::string path = scratchDir() + "/lexer_in.txt";
    {
        std::ofstream(path, std::ios::binary) << text;
    }
    Group& g = suite.group("tokens of 20 MB source text", mbPerSecond, static_cast<double>(text.size()));
    g.rounds(5).sameCheck();
    g.add("hand loop, each token to a std::string", limit, [&] { return HandLoop(text).run().check(); });
#ifdef HAVE_POCO
    g.add("Poco::StreamTokenizer", kit, [&] { return runPoco(text).check(); });
#endif
#ifdef HAVE_GLIB
    const std::string hashed = withHashComments(text);
    g.add("GScanner", kit, [&] { return runGlib(hashed).check(); });
#endif
    const auto overMemory = [&](bool withValues)
    {
        vnSerializeAdapterMemory adapter(text.data(), static_cast<unsigned int>(text.size()));
        return runOurs(adapter, withValues).check();
    };
    g.add("vnSerializeLex, with values", ours, [&] { return overMemory(true); });
    g.add("vnSerializeLex, kinds only", ours, [&] { return overMemory(false); });
    g.add("vnSerializeLex, with values, file", ours,
          [&]
          {
              vnRefPointer<vnSerializeAdapterFile> file(
                  new vnSerializeAdapterFile(path.c_str(), VN_SERIALIZE_INPUT, 0, 0));
              return runOurs(*file, true).check();
          });
    suite.run();
    return suite.getResult();
}
