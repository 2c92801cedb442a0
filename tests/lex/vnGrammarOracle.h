// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBasicParser.h>

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

    std::map<std::string, std::string> rules;
    std::map<std::string, Function> functions;
    std::string input;
    unsigned int bufferSize = 50000;
    unsigned int maxDepth = 1000;
    unsigned int maxCalls = 50000;

    // What can be seen.
    unsigned int position = 0, line = 0, column = 0;
    std::string error;
    std::vector<std::string> trace;
    std::vector<std::string> log; // functions and undone marks
    std::vector<Mark> marks;

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
    char take()
    {
        const char c = input.at(position++);
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
        if (from >= position)
            return "";
        return input.substr(from, position - from);
    }
    void moveTo(unsigned int to)
    {
        if (position > to)
            giveBack(position - to);
        while (position < to)
            take();
    }

private:
    // The text of one rule, and how far it was walked.
    struct Text
    {
        const std::string& name;
        const std::string& body;
        std::size_t at = 0;
        int state = 1;

        bool isAtEnd() const { return at == body.size(); }
        char peek() const { return isAtEnd() ? '\0' : body[at]; }
        void skipBlanks()
        {
            while (peek() == ' ')
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
        return " in rule '" + text.name + "' at (Line:0,Col:" + std::to_string(text.at) + ") -> " + text.body;
    }
    void tell(const std::string& what) { trace.push_back(what); }
    int fault(const Text& text, const std::string& what)
    {
        error = what + placeIn(text);
        return 0;
    }

    int walkRule(const std::string& name)
    {
        if (m_depth >= maxDepth)
        {
            error = "Rules are nested deeper than " + std::to_string(maxDepth) + " in rule '" + name + "'";
            return 0;
        }
        ++m_depth;
        Text text{name, rules[name]};
        tell("Parsing Rule     : " + padded(name) + place());
        const int result = walkChoice(text);
        --m_depth;
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
            if (position > begin)
                giveBack(position - begin);
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
        if (++m_callCounter > maxCalls)
            throw std::length_error("a walk without end");
        const char c = text.peek();
        if (startsName(c))
            return walkName(text);
        if (c == '"' || c == '\'')
            return walkText(text, c);
        if (text.take('('))
        {
            if (m_depth >= maxDepth && text.state == 1)
            {
                error = "Rules are nested deeper than " + std::to_string(maxDepth) + " in rule '" +
                        text.name + "'";
                return 0;
            }
            ++m_depth;
            const int result = walkChoice(text);
            --m_depth;
            if (result != 1)
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
        {
            const vnString decoded = vnString(inner.c_str()).convertTextToCtrl();
            match(text, std::string(decoded.getString(), decoded.length()));
        }
        return 1;
    }

    void match(Text& text, const std::string& wanted)
    {
        text.state = 2;
        if (input.size() - position < wanted.size())
            return;
        for (std::size_t i = 0; i < wanted.size(); ++i)
            if (take() != wanted[i])
            {
                giveBack(static_cast<unsigned int>(i + 1));
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
        if (code <= 0xFF)
        {
            match(text, std::string(1, static_cast<char>(code)));
            return 1;
        }
        text.state = 2; // no byte has such a code
        if (code <= 0xFFFF && hasData())
        {
            take();
            giveBack(1);
        }
        return 1;
    }

    static unsigned int hexAt(const std::string& body, std::size_t& at)
    {
        unsigned int code = 0;
        for (; at < body.size() && isxdigit(static_cast<unsigned char>(body[at])); ++at)
            code = code * 16 + static_cast<unsigned int>(std::stoul(body.substr(at, 1), nullptr, 16));
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
        if (isInSet(inner, take()))
            text.state = 1;
        else
            giveBack(1);
        return 1;
    }

    static unsigned int escaped(char c)
    {
        static const std::map<char, char> letters = {{'n', '\n'}, {'r', '\r'}, {'b', '\b'}, {'t', '\t'},
                                                     {'a', '\a'}, {'f', '\f'}, {'v', '\v'}, {'0', '\0'}};
        const auto found = letters.find(c);
        return static_cast<unsigned char>(found == letters.end() ? c : found->second);
    }
    static bool isInSet(const std::string& set, char c)
    {
        std::size_t at = set[0] == '^' ? 1 : 0;
        const auto one = [&]
        {
            if (set[at] == '\\')
                return at += 2, escaped(set[at - 1]);
            if (set.compare(at, 2, "#x") != 0 || at + 2 >= set.size() ||
                !isxdigit(static_cast<unsigned char>(set[at + 2])))
                return static_cast<unsigned int>(static_cast<unsigned char>(set[at++]));
            at += 2;
            return hexAt(set, at);
        };
        const unsigned int code = static_cast<unsigned char>(c);
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
};
