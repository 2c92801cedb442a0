// SPDX-License-Identifier: MIT
#include "core/vnEternal.h"
#include "vnCharacter.h"
#include "vnGrammarWalk.h"

#include <vnBase/vnMessage.h>

using namespace vnCharacter;

namespace
{
// The matchers of a parser that are sets.
struct Native
{
    vnGrammar::Matcher matcher;
    bool (*isMember)(char16_t);
    bool isRun;
};
constexpr Native natives[] = {
    {&vnBasicParser::parseAlpha, isAlpha, false},
    {&vnBasicParser::parseLoAlpha, isLower, false},
    {&vnBasicParser::parseUpAlpha, isUpper, false},
    {&vnBasicParser::parseDigit, isDigit, false},
    {&vnBasicParser::parseHex, isHex, false},
    {&vnBasicParser::parseAlphaNum, isAlphaNum, false},
    {&vnBasicParser::parseChar, isAscii, false},
    {&vnBasicParser::parseCTL, isControl, false},
    {&vnBasicParser::parseCR, is<'\r'>, false},
    {&vnBasicParser::parseLF, is<'\n'>, false},
    {&vnBasicParser::parseHT, is<'\t'>, false},
    {&vnBasicParser::parseSP, is<' '>, false},
    {&vnBasicParser::parseWS, isBlank, false},
    {&vnBasicParser::parseAllWS, isWhite, true},
    {&vnBasicParser::parseAllExceptWS, isNotWhite, true},
    {&vnBasicParser::parsePlainIdentifier, isAlpha, true},
    {&vnBasicParser::parseAllExceptCREOL, isNotLineEnd, true},
};

using NativeSets = std::array<std::shared_ptr<const vnGrammarSet>, std::size(natives)>;

// For parsers that are made when statics are destroyed, too.
const NativeSets& getNativeSets()
{
    struct Made
    {
        Made()
        {
            for (std::size_t i = 0; i < sets.size(); ++i)
                sets[i] = std::make_shared<const vnGrammarSet>(natives[i].isMember);
        }
        NativeSets sets;
    };
    static const vnEternal<Made> eternal;
    return eternal.value.sets;
}

vnString toString(std::string_view text)
{
    return vnString(text.data(),
                    static_cast<unsigned short>(std::min<std::size_t>(text.size(), vnString::VN_MAX_LENGTH)));
}

constexpr std::string_view VN_IS = "::=";

bool addRuleText(vnGrammarData& data, std::string_view rule)
{
    const std::size_t at = rule.find(VN_IS);
    if (at != std::string_view::npos && rule.size() <= vnString::VN_MAX_LENGTH)
    {
        const vnString name = toString(rule.substr(0, at)).stripWhiteSpace();
        const vnString body = toString(rule.substr(at + VN_IS.size())).stripWhiteSpace();
        if (!name.isEmpty() && !body.isEmpty())
        {
            data.addBody(name, body);
            return true;
        }
    }
    vnMessage::message(VN_MESSAGE_WARNING, "Malformed rule in parser -> '%s'", toString(rule));
    return false;
}

class StringSource
{
public:
    explicit StringSource(const vnString& text) : m_next(text.getString()), m_end(m_next + text.length()) {}
    bool get(char& c)
    {
        if (m_next == m_end)
            return false;
        c = *m_next++;
        return true;
    }

private:
    const char* m_next;
    const char* m_end;
};

// The characters of a stream in any encoding that its mark tells, as UTF-8.
class AdapterSource
{
public:
    explicit AdapterSource(vnSerializeAdapter& adapter) : m_adapter(adapter) {}
    bool get(char& c)
    {
        if (m_at == m_pending.length() && !fetch())
            return false;
        c = m_pending.getString()[m_at++];
        return true;
    }

private:
    bool fetch()
    {
        if (!m_lex.hasLexToken(&m_adapter))
            return false;
        const char16_t unit[] = {m_lex.getLexToken(&m_adapter), 0};
        m_pending = vnString(unit, 1, !m_lex.isUnicode() && !m_lex.isUtf8());
        if (m_pending.isEmpty())
            m_pending = vnString("", 1); // the character 0
        m_at = 0;
        return true;
    }

    vnSerializeAdapter& m_adapter;
    vnSerializeLex m_lex{1, 1};
    vnString m_pending;
    unsigned int m_at = 0;
};

// Cuts a text into rules: comments go away, white space becomes one blank.
template <class Source>
class RuleSplitter
{
public:
    explicit RuleSplitter(Source& source) : m_source(source) { advance(); }

    /// The next rule, without its ";"; false when there is no further one. An end without "::=" is none.
    bool next(std::string& rule)
    {
        rule.clear();
        m_isBlank = false;
        while (m_hasCharacter)
        {
            const char c = m_character;
            advance();
            if (c == ';')
                return true;
            take(rule, c);
        }
        return rule.find(VN_IS) != std::string::npos;
    }

    /// All of the text as one rule. It keeps its lines, so that faults tell where they stand, and comments
    /// within it; those to the end of a line go.
    void single(std::string& rule)
    {
        rule.clear();
        while (m_hasCharacter)
        {
            const char c = m_character;
            advance();
            if (takeQuoted(rule, c))
                continue;
            if (isPair(c, '/'))
                skipLine();
            else if (isPair(c, '*'))
                takeComment(rule);
            else
                append(rule, c);
        }
    }

private:
    void advance() { m_hasCharacter = m_source.get(m_character); }
    bool isPair(char c, char next) const { return c == '/' && m_hasCharacter && m_character == next; }
    void add(std::string& rule, char c)
    {
        if (m_isBlank && !rule.empty())
            append(rule, ' ');
        m_isBlank = false;
        append(rule, c);
    }

    // One more than a rule may have is enough to refuse it.
    static std::string& append(std::string& rule, char c)
    {
        if (rule.size() <= vnString::VN_MAX_LENGTH)
            rule += c;
        return rule;
    }
    void take(std::string& rule, char c)
    {
        if (takeQuoted(rule, c))
            return;
        if (isWhite(static_cast<unsigned char>(c)))
            m_isBlank = true;
        else if (isPair(c, '/'))
        {
            m_isBlank = true;
            skipLine();
        }
        else if (isPair(c, '*'))
            skipComment(rule);
        else
            add(rule, c);
    }
    // A literal or a set, in which nothing is a comment.
    bool takeQuoted(std::string& rule, char c)
    {
        if (c != '"' && c != '\'' && c != '[')
            return false;
        takeDelimited(rule, c, c == '[' ? ']' : c);
        return true;
    }
    void takeDelimited(std::string& rule, char opening, char closing)
    {
        add(rule, opening);
        bool isEscaped = false;
        while (m_hasCharacter)
        {
            const char c = m_character;
            advance();
            append(rule, c);
            if (c == closing && !isEscaped)
                return;
            isEscaped = c == '\\' && !isEscaped;
        }
    }
    void skipLine()
    {
        while (m_hasCharacter && m_character != '\n')
            advance();
    }

    // A comment without an end stays, so that the walk of the rule tells of it.
    void skipComment(std::string& rule)
    {
        std::string comment;
        if (takeComment(comment))
            m_isBlank = true;
        else
            for (const char c : comment)
                add(rule, c);
    }
    bool takeComment(std::string& comment)
    {
        advance();
        append(append(comment, '/'), '*');
        char last = '\0';
        while (m_hasCharacter)
        {
            const char c = m_character;
            advance();
            append(comment, c);
            if (last == '*' && c == '/')
                return true;
            last = c;
        }
        return false;
    }

    Source& m_source;
    char m_character = '\0';
    bool m_hasCharacter = false;
    bool m_isBlank = false;
};

// `tell` posts which rule was malformed.
template <class Source, class Tell>
unsigned char addAll(vnGrammarData& data, Source& source, const Tell& tell)
{
    RuleSplitter<Source> splitter(source);
    std::string rule;
    unsigned char isGood = 1;
    for (unsigned int number = 1; splitter.next(rule); ++number)
    {
        if (addRuleText(data, rule))
            continue;
        isGood = 0;
        tell(number);
    }
    return isGood;
}
} // namespace

vnGrammar::vnGrammar(vnBasicParser& parser, Door& door)
    : m_data(std::make_unique<vnGrammarData>(parser, door))
{
}

vnGrammar::~vnGrammar() = default;

void vnGrammar::addFunction(const vnString& name, unsigned int index, Matcher function)
{
    for (std::size_t i = 0; i < std::size(natives); ++i)
        if (natives[i].matcher == function)
        {
            m_data->addFunction(name, index, getNativeSets()[i], natives[i].isRun);
            return;
        }
    m_data->addFunction(name, index, nullptr, false);
}

unsigned char vnGrammar::addRule(const vnString& rule)
{
    StringSource source(rule);
    std::string text;
    RuleSplitter<StringSource>(source).single(text);
    return addRuleText(*m_data, text);
}

unsigned char vnGrammar::addRules(const vnString& rules)
{
    StringSource source(rules);
    const auto tell = [&](unsigned int number) {
        vnMessage::message(VN_MESSAGE_WARNING, "Malformed rule in parser string:%s rule nr:%d", rules,
                           number);
    };
    return addAll(*m_data, source, tell);
}

unsigned char vnGrammar::addRules(vnSerializeAdapter* adapter, const vnString& url)
{
    if (!adapter)
    {
        vnMessage::message(VN_MESSAGE_WARNING, "No rules for a parser at url:%s", url);
        return 0;
    }
    AdapterSource source(*adapter);
    const auto tell = [&](unsigned int number)
    { vnMessage::message(VN_MESSAGE_WARNING, "Malformed rule in parser url:%s rule nr:%d", url, number); };
    return addAll(*m_data, source, tell);
}

vnParseResult vnGrammar::parseRule(const vnString& name)
{
    return m_data->parseRule(name);
}

unsigned char vnGrammar::popMark(unsigned int& position) noexcept
{
    return m_data->popMark(position);
}

unsigned char vnGrammar::takeMarked(vnString& text)
{
    constexpr unsigned int VN_MAX_CHARACTER_BYTES = 3;
    vnBasicParser& parser = m_data->parser;
    unsigned int begin = 0;
    m_data->popMark(begin);
    const unsigned int end = parser.getTokenPos();
    const unsigned int count = begin < end ? end - begin : 0;
    if (count <= vnString::VN_MAX_LENGTH / VN_MAX_CHARACTER_BYTES)
    {
        text = parser.getTokenData(begin, static_cast<unsigned short>(count));
        return 1;
    }
    vnArray<unsigned char> bytes;
    if (count <= vnString::VN_MAX_LENGTH)
        parser.getTokenData(bytes, begin, count);
    if (count > vnString::VN_MAX_LENGTH || bytes.getSize() > vnString::VN_MAX_LENGTH)
    {
        parser.setError("A text in the input has more than %d bytes", vnString::VN_MAX_LENGTH);
        return 0;
    }
    text =
        vnString(reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned short>(bytes.getSize()));
    return 1;
}

void vnGrammar::clearMarks() noexcept
{
    m_data->marks.clear();
}

void vnGrammar::setTrace(unsigned char enable) noexcept
{
    m_data->isTracing = enable != 0;
}

void vnGrammar::setPerformance(unsigned char enable) noexcept
{
    m_data->isMeasuring = enable != 0;
}

void vnGrammar::setMaxDepth(unsigned int depth) noexcept
{
    m_data->maxDepth = depth;
}

void vnGrammar::setMaxCalls(unsigned int calls) noexcept
{
    m_data->maxCalls = calls ? calls : ~0ull;
}

unsigned int vnGrammar::getMaxDepth() const noexcept
{
    return m_data->maxDepth;
}
