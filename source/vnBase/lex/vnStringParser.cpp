// SPDX-License-Identifier: MIT
#include <vnBase/vnStringParser.h>

#include "vnMarkedText.h"
#include "vnPlainFormat.h"

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

/// Turns a format into the text of a grammar, and when it is plain into a form that is matched at once.
class FormatCompiler
{
public:
    FormatCompiler(const vnString& format, unsigned short decimal) : m_tokens(format), m_decimal(decimal)
    {
        m_tokens.useStrings(1);
        m_tokens.useComment(0);
        m_tokens.useSlashComment(0); // "http://%e"
    }

    /// What `compile` found; null when the format is not plain.
    const vnPlainFormat* getPlain() const { return m_isPlain && m_plain.isGood() ? &m_plain : nullptr; }

    const std::string& compile()
    {
        if (m_decimal != '.')
            addDecimalRule();
        m_grammar += "main::=";
        bool isEmpty = true;
        for (; m_tokens.getDataType(1) != VN_LEX_NONE; isEmpty = false)
        {
            if (m_tokens.getDataType() == VN_LEX_TOKEN && m_tokens.getScannedBuffer() == "%")
                addDirective();
            else
                addText(m_tokens.getScannedBuffer());
        }
        if (isEmpty)
            m_grammar += "''"; // an empty format matches nothing at all, and a rule needs a body
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

    void addText(const vnString& text)
    {
        addLiteral(text);
        m_plain.addText(std::string_view(text.getString(), text.length()));
        m_isPlain &= std::memchr(text.getString(), '\0', text.length()) == nullptr; // ends a literal
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

    void addRaw(const vnString& text)
    {
        m_grammar.append(text.getString(), text.length());
        m_isPlain = false;
    }

    void addLetter(const vnString& token)
    {
        for (const Directive& directive : directives)
            if (!token.isEmpty() && directive.letter == *token.getString())
            {
                m_grammar += directive.letter == 'n' && m_decimal != '.' ? decimalNumber : directive.grammar;
                m_isPlain &= m_plain.addDirective(directive.letter);
                if (token.length() > 1)
                    m_tokens.pushBack(token.left(1, 1));
                return;
            }
        m_grammar += " '%' ";
        m_plain.addDirective('%');
        if (!token.isEmpty())
            addText(token);
    }

    vnStringTokenizer m_tokens;
    unsigned short m_decimal;
    std::string m_grammar;
    vnPlainFormat m_plain;
    bool m_isPlain = true;
};

/// A format as it is matched: plain, or by a parser.
class Format : public vnReference
{
public:
    explicit Format(const vnPlainFormat& plain) : m_plain(plain) {}
    explicit Format(std::unique_ptr<vnStringParser> parser) : m_parser(parser.release()) {}
    unsigned char useDeepCopy() override { return 0; }

    vnArray<vnString> run(const vnString& text, unsigned char* ok) const
    {
        return m_parser ? walk(text, ok) : m_plain.run(text, ok);
    }

private:
    vnArray<vnString> walk(const vnString& text, unsigned char* ok) const
    {
        static const vnString rule("main");
        const vnRefPointer<vnStringParser> parser(m_parser);
        parser->reset();
        const vnTextInput input(*parser, text);
        return parser->parseArguments(rule, ok);
    }

    const vnPlainFormat m_plain;
    const vnRefPointer<vnStringParser> m_parser;
};

constexpr unsigned int VN_MAX_CHARACTER_BYTES = 3;

/// The compiled formats of a thread.
class FormatCache
{
public:
    static vnArray<vnString> run(const vnString& format, const vnString& text, unsigned char* ok,
                                 unsigned short decimal)
    {
        // A program takes many texts by one format, mostly.
        State& state = s_state;
        if (state.last && decimal == state.lastDecimal && format.length() == state.lastLength &&
            std::memcmp(format.getString(), state.lastText, state.lastLength) == 0)
            return state.last->run(text, ok);
        return find(state, format, text, ok, decimal);
    }
    static void clear();

private:
    using Formats = vnRefDict<vnString, Format>;

    // Without a destructor, so that it can be used as long as the thread lives.
    struct State
    {
        Formats* formats;
        const Format* last; // of those above
        unsigned short lastDecimal;
        unsigned short lastLength;
        char lastText[64];
        bool isGone;
    };

    // Frees the formats of a thread that ends. What runs later on it compiles for each call.
    struct Owner
    {
        ~Owner() noexcept(false)
        {
            s_state.isGone = true;
            clear();
        }
    };

    static vnString keyOf(const vnString& format, unsigned short decimal);
    static Format* compile(const vnString& format, unsigned short decimal);
    static vnRefPointer<Format> findKnown(State& state, const vnString& format, unsigned short decimal);
    static vnArray<vnString> find(State& state, const vnString& format, const vnString& text,
                                  unsigned char* ok, unsigned short decimal);

    static thread_local State s_state;
};

thread_local FormatCache::State FormatCache::s_state{};

vnString FormatCache::keyOf(const vnString& format, unsigned short decimal)
{
    // NUL is written out: appending it adds nothing.
    return decimal ? format + static_cast<char16_t>(decimal) : format + vnString("", 1);
}

Format* FormatCache::compile(const vnString& format, unsigned short decimal)
{
    FormatCompiler compiler(format, decimal);
    const std::string& grammar = compiler.compile();
    if (grammar.size() > vnString::VN_MAX_LENGTH)
    {
        vnMessage::message(VN_MESSAGE_WARNING, "The format of %d bytes is too long to parse by",
                           format.length());
        return nullptr;
    }
    if (const vnPlainFormat* plain = compiler.getPlain(); plain && decimal == '.')
        return new Format(*plain);
    auto parser = std::make_unique<vnStringParser>(
        vnString(grammar.data(), static_cast<unsigned short>(grammar.size())));
    vnIgnoreByteOrderMarks(*parser);
    return new Format(std::move(parser));
}

// Null for a format that is too long.
vnRefPointer<Format> FormatCache::findKnown(State& state, const vnString& format, unsigned short decimal)
{
    constexpr unsigned int VN_HASH_SIZE = 50;
    if (format.length() > vnString::VN_MAX_LENGTH - 3 || state.isGone)
        return compile(format, decimal);
    const vnString key = keyOf(format, decimal);
    if (!state.formats)
    {
        static thread_local Owner owner; // constructed by this line
        state.formats = new Formats(VN_HASH_SIZE);
    }
    vnRefPointer<Format> found(state.formats->find(key));
    if (!found)
    {
        found = compile(format, decimal);
        if (!found || !state.formats) // a Warning about the format may have emptied the cache
            return found;
        state.formats->enter(key, found);
    }
    if (format.length() <= sizeof state.lastText)
    {
        state.last = found.get();
        state.lastDecimal = decimal;
        state.lastLength = format.length();
        std::memcpy(state.lastText, format.getString(), format.length());
    }
    return found;
}

vnArray<vnString> FormatCache::find(State& state, const vnString& format, const vnString& text,
                                    unsigned char* ok, unsigned short decimal)
{
    if (const vnRefPointer<Format> found = findKnown(state, format, decimal))
        return found->run(text, ok);
    if (ok)
        *ok = 0;
    return vnArray<vnString>();
}

void FormatCache::clear()
{
    s_state.last = nullptr;
    const std::unique_ptr<Formats> gone(std::exchange(s_state.formats, nullptr));
}
} // namespace

vnArray<vnString> parse(const vnString& format, const vnString& text, unsigned char* ok,
                        unsigned short decimal)
{
    return FormatCache::run(format, text, ok, decimal);
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
    unsigned int begin = 0;
    popMark(begin);
    const unsigned int end = getTokenPos();
    // Characters, which may be several bytes each, and not the bytes of the text.
    const unsigned int count = end - begin > 2 ? end - begin - 2 : 0;
    if (count <= vnString::VN_MAX_LENGTH / VN_MAX_CHARACTER_BYTES)
    {
        vnAppendResult(m_results, getTokenData(begin + 1, static_cast<unsigned short>(count)));
        return VN_PARSE_OK;
    }
    vnArray<unsigned char> bytes;
    getTokenData(bytes, begin + 1, count);
    if (bytes.getSize() > vnString::VN_MAX_LENGTH)
    {
        setError("A text in the input has more than %d bytes", vnString::VN_MAX_LENGTH);
        return VN_PARSE_ERROR;
    }
    vnAppendResult(m_results, vnString(reinterpret_cast<const char*>(bytes.data()),
                                       static_cast<unsigned short>(bytes.getSize())));
    return VN_PARSE_OK;
}
