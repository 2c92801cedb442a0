// SPDX-License-Identifier: MIT
#include <vnBase/vnStringParser.h>

#include "vnMarkedText.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnStringTokenizer.h>

#include <cstring>
#include <memory>
#include <string>

namespace
{
/// What a letter behind a "%" becomes in the grammar.
struct Directive
{
    char letter;
    const char* grammar;
};

constexpr Directive directives[] = {
    {'%', " '%' "},
    {'$', " $ "},
    {'*', " * "},
    {'+', " + "},
    {'?', " ? "},
    {'@', " fPush "},
    {'e', " $ fEnd fPush "},
    {'i', " $ fIdent fPush "},
    {'l', " $ fInt fPush "},
    {'n', " $ fNum fPush "},
    {'p', " $ fPlain fPush "},
    {'s', " $ fStr fPushStr "},
    {'t', " $ fToken fPush "},
    {'w', " fWS* "},
    {'x', " $ fHex fPush "},
};
constexpr const char* decimalNumber = " $ fCNum fPush ";

/// Turns a format into the text of a grammar.
class FormatCompiler
{
public:
    FormatCompiler(const vnString& format, unsigned short decimal) : m_tokens(format), m_decimal(decimal)
    {
        m_tokens.useStrings(1);
        m_tokens.useComment(0);
        m_tokens.useSlashComment(0); // "http://%e"
    }

    const std::string& compile()
    {
        if (m_decimal != '.')
            addDecimalRule();
        m_grammar += "main::=";
        while (m_tokens.getDataType(1) != VN_LEX_NONE)
        {
            if (m_tokens.getDataType() == VN_LEX_TOKEN && m_tokens.getScannedBuffer() == "%")
                addDirective();
            else
                addLiteral(m_tokens.getScannedBuffer());
        }
        m_grammar += " ;";
        return m_grammar;
    }

private:
    void addDecimalRule()
    {
        m_grammar += " fCNum ::= ( '-' | '+'? ) digit+ (";
        addLiteral(vnString() + static_cast<char16_t>(m_decimal));
        m_grammar += " digit* )? ( [eE] ( '-' | '+'? ) digit+ )? ; ";
    }

    void addLiteral(const vnString& text)
    {
        m_grammar += '\'';
        for (unsigned int i = 0; i < text.length(); ++i)
        {
            const char c = text.getString()[i];
            if (c == '\'' || c == '\\')
                m_grammar += '\\';
            m_grammar += c;
        }
        m_grammar += '\'';
    }

    // The token behind a "%".
    void addDirective()
    {
        switch (m_tokens.getDataType(1))
        {
        case VN_LEX_STRING:
            addRaw(m_tokens.getData().getString());
            return;
        case VN_LEX_QUOTED:
            m_grammar += " $ [";
            addRaw(m_tokens.getData().getString());
            m_grammar += "] ";
            return;
        default:
            addLetter(m_tokens.getScannedBuffer());
        }
    }

    void addRaw(const vnString& text) { m_grammar.append(text.getString(), text.length()); }

    void addLetter(const vnString& token)
    {
        for (const Directive& directive : directives)
            if (!token.isEmpty() && directive.letter == *token.getString())
            {
                m_grammar += directive.letter == 'n' && m_decimal != '.' ? decimalNumber : directive.grammar;
                if (token.length() > 1)
                    m_tokens.pushBack(token.left(1, 1));
                return;
            }
        m_grammar += " '%' ";
        if (!token.isEmpty())
            addLiteral(token);
    }

    vnStringTokenizer m_tokens;
    unsigned short m_decimal;
    std::string m_grammar;
};

/// The compiled formats of a thread.
class FormatCache
{
public:
    /// The parser of a format; null for one that is too long.
    static vnRefPointer<vnStringParser> find(const vnString& format, unsigned short decimal);
    static void clear();
    static vnArray<vnString> run(vnStringParser& parser, const vnString& text, unsigned char* ok);

private:
    using Parsers = vnRefDict<vnString, vnStringParser>;

    // Frees the parsers of a thread that ends. What runs later on it compiles for each call.
    struct Owner
    {
        ~Owner() noexcept(false)
        {
            s_isGone = true;
            clear();
        }
    };

    static vnString keyOf(const vnString& format, unsigned short decimal);
    static vnStringParser* compile(const vnString& format, unsigned short decimal);

    static thread_local Parsers* s_parsers;
    static thread_local bool s_isGone;
};

thread_local FormatCache::Parsers* FormatCache::s_parsers = nullptr;
thread_local bool FormatCache::s_isGone = false;

vnString FormatCache::keyOf(const vnString& format, unsigned short decimal)
{
    char small[64];
    const unsigned int length = format.length();
    // The usual format and decimal character in one go. NUL is written out: appending it adds nothing.
    if (length < sizeof small && decimal < 0x80)
    {
        std::memcpy(small, format.getString(), length);
        small[length] = static_cast<char>(decimal);
        return vnString(small, static_cast<unsigned short>(length + 1));
    }
    return decimal ? format + static_cast<char16_t>(decimal) : format + vnString("", 1);
}

vnStringParser* FormatCache::compile(const vnString& format, unsigned short decimal)
{
    FormatCompiler compiler(format, decimal);
    const std::string& grammar = compiler.compile();
    if (grammar.size() > vnString::VN_MAX_LENGTH)
    {
        vnMessage::message(VN_MESSAGE_WARNING, "The format of %d bytes is too long to parse by",
                           format.length());
        return nullptr;
    }
    auto parser = std::make_unique<vnStringParser>(
        vnString(grammar.data(), static_cast<unsigned short>(grammar.size())));
    vnIgnoreByteOrderMarks(*parser);
    return parser.release();
}

vnRefPointer<vnStringParser> FormatCache::find(const vnString& format, unsigned short decimal)
{
    constexpr unsigned int VN_HASH_SIZE = 50;
    if (format.length() > vnString::VN_MAX_LENGTH - 3 || s_isGone)
        return compile(format, decimal);
    const vnString key = keyOf(format, decimal);
    if (!s_parsers)
    {
        static thread_local Owner owner; // constructed by this line
        s_parsers = new Parsers(VN_HASH_SIZE);
    }
    else if (vnStringParser* known = s_parsers->find(key))
        return known;
    vnRefPointer<vnStringParser> parser(compile(format, decimal));
    if (parser)
        s_parsers->enter(key, parser);
    return parser;
}

void FormatCache::clear()
{
    const std::unique_ptr<Parsers> gone(std::exchange(s_parsers, nullptr));
}

vnArray<vnString> FormatCache::run(vnStringParser& parser, const vnString& text, unsigned char* ok)
{
    parser.reset();
    const vnTextInput input(parser, text);
    return parser.parseArguments("main", ok);
}
} // namespace

vnArray<vnString> parse(const vnString& format, const vnString& text, unsigned char* ok,
                        unsigned short decimal)
{
    const vnRefPointer<vnStringParser> parser = FormatCache::find(format, decimal);
    if (parser)
        return FormatCache::run(*parser, text, ok);
    if (ok)
        *ok = 0;
    return vnArray<vnString>();
}

vnType vnStringParser::s_type(vnReference::getClassType(), "vnStringParser");

vnStringParser::vnStringParser(const vnString& rules)
{
    addFunction("fPush", &vnStringParser::push);
    addFunction("fPushStr", &vnStringParser::pushInner);
    addFunction("fWS", &vnStringParser::parseAllWS);
    addFunction("fIdent", &vnStringParser::parseIdentifier);
    addFunction("fPlain", &vnStringParser::parsePlainIdentifier);
    addFunction("fInt", &vnStringParser::parseInteger);
    addFunction("fNum", &vnStringParser::parseNumber);
    addFunction("fHexS", &vnStringParser::parseHex);
    addFunction("digit", &vnStringParser::parseDigit);
    addRules(rules);
    addRule("fHex\t\t::=\tfHexS+");
    addRule("fStr\t\t::=\t'\"' [^\"]* '\"' | \"'\" [^']* \"'\"");
    addRule("fToken\t::=\t[^] ");
    addRule("fEnd\t\t::=\t[^]*");
    setMaxBufferSize(VN_MARKED_HISTORY);
}

vnStringParser::~vnStringParser() noexcept(false) = default;

vnArray<vnString> vnStringParser::parseArguments(const vnString& rule, unsigned char* ok)
{
    m_results.clear();
    const vnParseResult result = parseRule(rule);
    if (ok)
        *ok = result == VN_PARSE_OK;
    return vnArray<vnString>(m_results.data(), m_results.getSize());
}

void vnStringParser::cleanUpParsers()
{
    FormatCache::clear();
}

vnParseResult vnStringParser::push()
{
    vnString text;
    if (!takeMarked(text))
        return VN_PARSE_ERROR;
    vnAppendResult(m_results, std::move(text));
    return VN_PARSE_OK;
}

vnParseResult vnStringParser::pushInner()
{
    vnString text;
    if (!takeMarked(text))
        return VN_PARSE_ERROR;
    const unsigned int length = text.length();
    vnAppendResult(m_results, length > 2 ? text(1, static_cast<unsigned short>(length - 2)) : vnString());
    return VN_PARSE_OK;
}
