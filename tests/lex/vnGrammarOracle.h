// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBasicParser.h>

#include <algorithm>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

/// Walks the text of rules over an input, character by character and without any form in between: slow, and
/// plain enough to be checked by reading. What the engine does is compared with it.
class vnGrammarOracle
{
public:
    struct Mark
    {
        unsigned int position;
        unsigned int callCounter;
        int flag;
    };
    using Function = std::function<int(vnGrammarOracle&)>;

    enum Encoding
    {
        BYTES,
        UTF8,
        UTF16
    };

    std::map<std::string, std::string> rules;
    std::map<std::string, Function> functions;
    std::u16string input; // bytes, or characters
    Encoding encoding = BYTES;
    unsigned int bufferSize = 50000;
    unsigned int maxDepth = 1000;
    unsigned int maxCalls = 0xFFFFFFFF; // of rules and groups
    unsigned int maxSteps = 50000;      // what takes more is given up

    // What can be seen.
    unsigned int position = 0, line = 0, column = 0;
    std::string error;
    std::vector<std::string> trace;
    std::vector<std::string> log; // functions and undone marks
    std::vector<Mark> marks;

    // Answers false for a rule of comments only.
    bool addRule(const std::string& name, const std::string& body)
    {
        const std::string plain = withoutLineComments(body);
        const vnString text = vnString(plain.c_str()).stripWhiteSpace();
        if (text.isEmpty())
        {
            tell("Malformed rule in parser -> '" + name + " ::= " + plain + "'");
            return false;
        }
        rules[name] = std::string(text.getString(), text.length());
        return true;
    }

    int parseRule(const std::string& name)
    {
        if (rules.count(name))
            return walkRule(name);
        if (!functions.count(name))
        {
            error = "Unknow parse function '" + name + "'";
            return 0;
        }
        tell("Parsing Function : " + padded(name) + place());
        const int result = functions[name](*this);
        tell("Exit Function    : " + padded(name) + place() + "\tResult:" + resultName(result));
        return result;
    }

    bool hasData() const { return position < input.size(); }
    char16_t take()
    {
        const char16_t c = input.at(position++);
        m_remembered = std::min(m_remembered + 1, bufferSize);
        if (c != '\n')
        {
            ++column;
            return c;
        }
        ++line;
        m_previousColumn = column;
        column = 0;
        return c;
    }
    void giveBack(unsigned int count)
    {
        if (count > m_remembered)
            throw std::runtime_error("Too Large Pushback in basic parser");
        for (; count > 0; --count)
        {
            --m_remembered;
            if (input.at(--position) != '\n')
            {
                --column;
                continue;
            }
            --line;
            column = m_previousColumn;
        }
    }
    std::string remembered(unsigned int from) const
    {
        from = std::max(from, position - m_remembered);
        return from < position ? toBytes(input.substr(from, position - from), encoding == BYTES) : "";
    }
    static std::string toBytes(const std::u16string& characters, bool isBytes)
    {
        std::string bytes;
        for (const char16_t c : characters)
            if (isBytes || c < 0x80)
                bytes += static_cast<char>(c);
            else if (c < 0x800)
                bytes += {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
            else
                bytes += {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
                          static_cast<char>(0x80 | (c & 0x3F))};
        return bytes;
    }
    void moveTo(unsigned int to)
    {
        if (position > to)
            giveBack(position - to);
        while (position < to)
            take();
    }
    void reset()
    {
        input.erase(0, position);
        position = line = column = m_previousColumn = m_remembered = 0;
        error.clear();
        marks.clear();
    }

private:
    struct Depth
    {
        explicit Depth(unsigned int& counter) : depth(++counter) {}
        ~Depth() { --depth; }
        unsigned int& depth;
    };

    // The text of one rule, and how far it was walked. It may be replaced meanwhile.
    struct Text
    {
        const std::string name;
        const std::string body;
        std::size_t at = 0;
        int state = 1;

        bool isAtEnd() const { return at == body.size(); }
        char peek() const { return isAtEnd() ? '\0' : body[at]; }
        void skipBlanks()
        {
            while (peek() == ' ' || peek() == '\n')
                ++at;
        }
        bool take(char c)
        {
            if (peek() != c)
                return false;
            ++at;
            return true;
        }
    };

    static std::string resultName(int result)
    {
        return result == 0 ? "Error" : result == 1 ? "OK" : result == 2 ? "No Match" : "Unknown Error";
    }
    static std::string padded(const std::string& name)
    {
        return name + std::string(20 - std::min<std::size_t>(name.size(), 19), ' ');
    }
    std::string place() const
    {
        return "(Line:" + std::to_string(line) + ",Col:" + std::to_string(column) + ")";
    }
    static std::string placeIn(const Text& text)
    {
        const std::string before = text.body.substr(0, text.at);
        const std::size_t feed = before.rfind('\n');
        const std::size_t lineBegin = feed == std::string::npos ? 0 : feed + 1;
        return " in rule '" + text.name +
               "' at (Line:" + std::to_string(std::count(before.begin(), before.end(), '\n')) +
               ",Col:" + std::to_string(text.at - lineBegin) + ") -> " + text.body;
    }
    static std::string withoutLineComments(const std::string& body)
    {
        std::string text;
        for (std::size_t at = 0; at < body.size();)
        {
            std::size_t end = at + 1;
            const char closing = body[at] == '[' ? ']' : body[at];
            if (body[at] == '"' || body[at] == '\'' || body[at] == '[')
            {
                while (end < body.size() && body[end] != closing)
                    end += body[end] == '\\' ? 2 : 1;
                ++end;
            }
            else if (body.compare(at, 2, "/*") == 0)
            {
                const std::size_t close = body.find("*/", at + 2);
                end = close == std::string::npos ? body.size() : close + 2;
            }
            else if (body.compare(at, 2, "//") == 0)
            {
                at = std::min(body.find('\n', at), body.size());
                continue;
            }
            end = std::min(end, body.size());
            text += body.substr(at, end - at);
            at = end;
        }
        return text;
    }
    std::size_t bytesLeft() const
    {
        const std::size_t count = input.size() - position;
        return encoding == UTF16 ? 2 * count : toBytes(input.substr(position), encoding == BYTES).size();
    }

    // A literal of no UTF-8 is one of bytes.
    std::u16string charactersOf(const vnString& text) const
    {
        std::u16string characters;
        if (encoding == BYTES || text.isAsciiString())
            for (unsigned int i = 0; i < text.length(); ++i)
                characters += static_cast<char16_t>(static_cast<unsigned char>(text[i]));
        else
            for (unsigned int i = 0; i < text.length();)
                characters += nextOf(std::string(text.getString(), text.length()), i);
        return characters;
    }
    // In a set each byte that begins no character is one.
    static char16_t nextOf(const std::string& text, unsigned int& at)
    {
        const auto byte = [&](std::size_t i)
        { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
        const auto isMore = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
        const unsigned int lead = byte(at++);
        if (lead >= 0xC0 && lead < 0xE0 && isMore(at))
            return static_cast<char16_t>((lead & 0x1F) << 6 | (byte(at++) & 0x3F));
        if (lead < 0xE0 || lead >= 0xF0 || !isMore(at) || !isMore(at + 1))
            return static_cast<char16_t>(lead);
        at += 2;
        return static_cast<char16_t>((lead & 0x0F) << 12 | (byte(at - 2) & 0x3F) << 6 |
                                     (byte(at - 1) & 0x3F));
    }
    void tell(const std::string& what) { trace.push_back(what); }
    int fault(const Text& text, const std::string& what)
    {
        error = what + placeIn(text);
        return 0;
    }

    bool mayEnter(const std::string& name)
    {
        if (m_depth == 0)
            m_calls = 0;
        if (m_depth < maxDepth && m_calls < maxCalls)
            return ++m_calls;
        error = m_depth < maxDepth ? "More than " + std::to_string(maxCalls) + " calls of rules"
                                   : "Rules are nested deeper than " + std::to_string(maxDepth);
        error += " in rule '" + name + "'";
        return false;
    }

    int walkRule(const std::string& name)
    {
        if (!mayEnter(name))
            return 0;
        const Depth depth(m_depth);
        Text text{name, rules[name]};
        tell("Parsing Rule     : " + padded(name) + place());
        const int result = walkChoice(text);
        if (result == 1)
        {
            tell("Exit Rule        : " + padded(name) + place() + "\tResult:" + resultName(text.state));
            return text.state;
        }
        if (error.empty())
            error = "Expression mismatch" + placeIn(text);
        tell("Parse Error:'" + error + "'" + placeIn(text));
        return 0;
    }

    void undo(unsigned int callCounter, int state)
    {
        while (!marks.empty() && marks.back().callCounter > callCounter)
        {
            const Mark mark = marks.back();
            marks.pop_back();
            if (mark.flag)
                log.push_back("undo " + std::to_string(mark.callCounter) + " " + resultName(state));
        }
    }

    int walkChoice(Text& text)
    {
        const unsigned int begin = position;
        const unsigned int callCounter = m_callCounter;
        const bool isOnlyRead = text.state != 1;
        int result = walkBranch(text);
        if (result != 1)
            return result;
        unsigned int end = position;
        if (text.state != 1)
        {
            undo(callCounter, text.state);
            end = begin;
        }
        while (!text.isAtEnd())
        {
            moveTo(begin);
            const int soFar = text.state;
            text.skipBlanks();
            if (!text.take('|'))
                break;
            text.state = isOnlyRead ? 2 : 1;
            const unsigned int branchCounter = m_callCounter;
            result = walkBranch(text);
            if (result != 1)
                return result;
            if (text.state != 1 || soFar == 1)
                undo(branchCounter, text.state);
            else
                end = position;
            if (soFar == 1)
                text.state = 1;
        }
        if (text.state != 1)
            moveTo(begin);
        else if (position > end)
            giveBack(1);
        else
            moveTo(end);
        return 1;
    }

    int walkBranch(Text& text)
    {
        for (unsigned int count = 0;; ++count)
        {
            const int result = walkElement(text);
            if (result == 2)
                return count == 0 ? 2 : 1;
            if (result != 1)
                return result;
        }
    }

    int walkElement(Text& text)
    {
        const int before = text.state;
        const unsigned int begin = position;
        int result = walkItem(text);
        if (result != 1)
            return result;
        for (;;)
        {
            text.skipBlanks();
            if (!text.take('-'))
                return 1;
            const unsigned int end = position;
            const int state = text.state;
            if (state == 1)
            {
                text.state = before;
                moveTo(begin);
            }
            result = walkItem(text);
            if (result != 1)
                return 0;
            if (state != 1)
                continue;
            const bool isExcluded = text.state == 1;
            moveTo(isExcluded ? begin : end);
            text.state = isExcluded ? 2 : state;
        }
    }

    int walkItem(Text& text)
    {
        text.skipBlanks();
        const int before = text.state;
        const unsigned int begin = position;
        const std::size_t textBegin = text.at;
        const int result = walkThing(text);
        if (result != 1)
            return result;
        const std::size_t textEnd = text.at;
        text.skipBlanks();
        unsigned int min = 0, max = 0xFFFFFFFFu;
        bool isCounted = false;
        if (text.take('+'))
            min = 1;
        else if (text.take('?'))
            max = 1;
        else if (text.take('{'))
        {
            isCounted = true;
            if (!readCount(text, min, max))
                return 0;
        }
        else if (isdigit(static_cast<unsigned char>(text.peek())))
        {
            isCounted = true;
            readNumber(text, min);
            max = min;
        }
        else if (!text.take('*'))
        {
            text.at = textEnd;
            return 1;
        }
        if (before != 1)
        {
            text.state = before;
            return 1;
        }
        const std::size_t behind = text.at;
        if (text.state == 1 && max == 0)
            moveTo(begin);
        if (max == 0)
        {
            text.state = before;
            return 1;
        }
        unsigned int count = text.state == 1 ? 1 : 0;
        unsigned int good = count ? position : begin;
        bool isIdle = count && position == begin;
        while (count && !isIdle && count < max && hasData())
        {
            text.at = textBegin;
            if (walkThing(text) != 1)
                return 0;
            if (text.state != 1)
                break;
            ++count;
            isIdle = position == good;
            good = position;
        }
        text.at = behind;
        const bool isEnough = count >= min || (isCounted && isIdle);
        if (isEnough || count)
            moveTo(good);
        text.state = isEnough ? before : 2;
        return 1;
    }

    static bool readNumber(Text& text, unsigned int& number)
    {
        if (!isdigit(static_cast<unsigned char>(text.peek())))
            return false;
        number = 0;
        while (isdigit(static_cast<unsigned char>(text.peek())))
            number = number * 10 + static_cast<unsigned int>(text.body[text.at++] - '0');
        return true;
    }

    bool readCount(Text& text, unsigned int& min, unsigned int& max)
    {
        text.skipBlanks();
        if (!readNumber(text, min))
            return fault(text, "Missing Min number in set {Min,Max}");
        text.skipBlanks();
        if (!text.take(','))
            return fault(text, "Missing ',' in set {Min,Max}");
        text.skipBlanks();
        if (!readNumber(text, max))
            return fault(text, "Missing Max number in set {Min,Max}");
        text.skipBlanks();
        if (!text.take('}'))
            return fault(text, "Missing right '}' in set {Min,Max}");
        if (min > max)
            return fault(text, "Min>Max in set {Min,Max}");
        return true;
    }

    int walkThing(Text& text)
    {
        if (++m_callCounter > maxSteps)
            throw std::length_error("a walk without end");
        const char c = text.peek();
        if (startsName(c))
            return walkName(text);
        if (c == '"' || c == '\'')
            return walkText(text, c);
        if (text.take('('))
        {
            if (text.state == 1 && !mayEnter(text.name))
                return 0;
            const Depth depth(m_depth);
            if (walkChoice(text) != 1)
                return 0;
            return text.take(')') ? 1 : fault(text, "Missing right ')'");
        }
        if (c == '[')
            return walkSet(text);
        if (c == '$' || c == '@')
        {
            ++text.at;
            marks.push_back(Mark{position, m_callCounter, c == '@' ? text.state : 0});
            return 1;
        }
        if (c == '#')
            return walkHex(text);
        if (text.body.compare(text.at, 2, "/*") == 0)
        {
            const std::size_t end = text.body.find("*/", text.at + 2);
            text.at = end == std::string::npos ? text.body.size() : end + 2;
            return end == std::string::npos ? fault(text, "Unbalansed comment") : 1;
        }
        return 2;
    }

    static bool startsName(char c)
    {
        const auto byte = static_cast<unsigned char>(c);
        return isalpha(byte) || byte == '_' || byte > 127;
    }

    int walkName(Text& text)
    {
        std::string name;
        while (startsName(text.peek()) || isdigit(static_cast<unsigned char>(text.peek())))
            name += text.body[text.at++];
        if (text.state != 1)
            return 1;
        const int result = parseRule(name);
        if (result == 0)
            return 0;
        text.state = result;
        return 1;
    }

    // The text up to the closing character, with its escapes.
    static bool readDelimited(Text& text, char closing, std::string& inner)
    {
        ++text.at;
        while (!text.isAtEnd() && text.peek() != closing)
        {
            if (text.peek() == '\\' && text.at + 1 < text.body.size())
                inner += text.body[text.at++];
            inner += text.body[text.at++];
        }
        return text.take(closing);
    }

    int walkText(Text& text, char quote)
    {
        std::string inner;
        if (!readDelimited(text, quote, inner))
            return fault(text, quote == '"' ? "Unbalansed quote string" : "Unbalansed single quoted string");
        if (text.state == 1)
            match(text, charactersOf(vnString(inner.c_str()).convertTextToCtrl()));
        return 1;
    }

    void match(Text& text, const std::u16string& wanted)
    {
        text.state = 2;
        if (bytesLeft() < wanted.size() * (encoding == UTF16 ? 2 : 1))
            return;
        for (unsigned int i = 0; i < wanted.size(); ++i)
        {
            // So many bytes may be fewer characters.
            const bool isMore = i == 0 || hasData();
            if (isMore && take() == wanted[i])
                continue;
            giveBack(isMore ? i + 1 : i);
            return;
        }
        text.state = 1;
    }

    int walkHex(Text& text)
    {
        if (text.body.compare(text.at, 2, "#x") != 0 || text.at + 2 >= text.body.size() ||
            !isxdigit(static_cast<unsigned char>(text.body[text.at + 2])))
            return 2;
        text.at += 2;
        const unsigned int code = hexAt(text.body, text.at);
        if (text.state != 1)
            return 1;
        if (code <= (encoding == BYTES ? 0xFFu : 0xFFFFu))
        {
            match(text, std::u16string(1, static_cast<char16_t>(code)));
            return 1;
        }
        text.state = 2; // no byte has such a code
        if (encoding == BYTES && code <= 0xFFFF && hasData())
        {
            take();
            giveBack(1);
        }
        return 1;
    }

    static bool isHex(char16_t c) { return c < 0x80 && isxdigit(c); }
    template <class Characters>
    static unsigned int hexAt(const Characters& body, std::size_t& at)
    {
        unsigned int code = 0;
        for (; at < body.size() && isHex(static_cast<char16_t>(body[at])); ++at)
        {
            const std::string digit(1, static_cast<char>(body[at]));
            code = code * 16 + static_cast<unsigned int>(std::stoul(digit, nullptr, 16));
        }
        return code;
    }

    int walkSet(Text& text)
    {
        std::string inner;
        if (!readDelimited(text, ']', inner))
            return fault(text, "Unbalansed Set []");
        if (text.state != 1 || inner.empty())
            return 1;
        text.state = 2;
        if (!hasData())
            return 1;
        std::u16string set;
        for (unsigned int i = 0; i < inner.size();)
            set += encoding == BYTES ? static_cast<unsigned char>(inner[i++]) : nextOf(inner, i);
        if (isInSet(set, take()))
            text.state = 1;
        else
            giveBack(1);
        return 1;
    }

    static unsigned int escaped(char16_t c)
    {
        static const std::map<char16_t, char> letters = {{'n', '\n'}, {'r', '\r'}, {'b', '\b'}, {'t', '\t'},
                                                         {'a', '\a'}, {'f', '\f'}, {'v', '\v'}, {'0', '\0'}};
        const auto found = letters.find(c);
        return found == letters.end() ? c : static_cast<unsigned char>(found->second);
    }
    static bool isInSet(const std::u16string& set, char16_t code)
    {
        std::size_t at = set[0] == '^' ? 1 : 0;
        const auto one = [&]
        {
            if (set[at] == '\\')
                return at += 2, escaped(set[at - 1]);
            if (set.compare(at, 2, u"#x") != 0 || at + 2 >= set.size() || !isHex(set[at + 2]))
                return static_cast<unsigned int>(set[at++]);
            at += 2;
            return hexAt(set, at);
        };
        while (at < set.size())
        {
            const unsigned int first = one();
            unsigned int last = first;
            if (at + 1 < set.size() && set[at] == '-')
            {
                ++at;
                last = one();
            }
            if (code >= first && code <= last)
                return set[0] != '^';
        }
        return set[0] == '^';
    }

    unsigned int m_remembered = 0;
    unsigned int m_previousColumn = 0;
    unsigned int m_callCounter = 0;
    unsigned int m_depth = 0;
    unsigned int m_calls = 0;
};
