// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBasicParser.h>

#include <memory>
#include <type_traits>

class vnGrammarData;

/// Rules that are given as text, and their walk over the input of a parser. The part of `vnParserFunction`
/// that does not depend on the class of the owner; use that one.
class VN_BASE_API vnGrammar
{
public:
    /// What a walk calls.
    class VN_BASE_API Door
    {
    public:
        virtual vnParseResult callFunction(unsigned int index) = 0;
        virtual vnParseResult callOther(const vnString& name) = 0;
        virtual unsigned char callUndo(unsigned int callCounter, vnParseResult result) = 0;

    protected:
        ~Door() = default;
    };

    /// A function of the owner. Some matchers of `vnBasicParser` a walk does itself, many characters at once.
    using Matcher = vnParseResult (vnBasicParser::*)();

    /// Parser and door outlive the grammar.
    vnGrammar(vnBasicParser& parser, Door& door);
    vnGrammar(const vnGrammar&) = delete;
    vnGrammar& operator=(const vnGrammar&) = delete;
    ~vnGrammar();

    void addFunction(const vnString& name, unsigned int index, Matcher function);
    unsigned char addRule(const vnString& rule);
    unsigned char addRules(const vnString& rules);
    unsigned char addRules(vnSerializeAdapter* adapter, const vnString& url);
    vnParseResult parseRule(const vnString& name);
    unsigned char popMark(unsigned int& position) noexcept;
    unsigned char takeMarked(vnString& text);
    void clearMarks() noexcept;

    void setTrace(unsigned char enable) noexcept;
    void setPerformance(unsigned char enable) noexcept;
    void setMaxDepth(unsigned int depth) noexcept;
    unsigned int getMaxDepth() const noexcept;
    void setMaxCalls(unsigned int calls) noexcept;

private:
    std::unique_ptr<vnGrammarData> m_data;
};

/// Matches input against a grammar that is given as text at run time, and calls member functions of its owner
/// on the way.
///
///     class Pairs : public vnParserFunction<Pairs>
///     {
///     public:
///         Pairs()
///         {
///             addFunction("fKey", &Pairs::fKey);
///             addRules("pairs ::= pair (';' pair)* ; pair ::= $ [a-z]+ fKey '=' [0-9]+ ;");
///         }
///         vnParseResult fKey()
///         {
///             vnString key;
///             if (!takeMarked(key))
///                 return VN_PARSE_ERROR;
///             use(key);
///             return VN_PARSE_OK;
///         }
///     };
///     Pairs pairs;
///     pairs.setAdapter(adapter);
///     if (pairs.parseRule("pairs") == VN_PARSE_ERROR)
///         report(pairs.getError());
///
/// The language of rules, by precedence from lowest:
///
///     a | b           the first branch that matches; all branches are tried, also behind that one
///     a b             one after the other
///     a - b           a, unless b matches at the same place
///     a+ a* a?        greedy
///     a{2,5} a 3      so many times
///     name            a rule, or else a function
///     "text" 'text'   with escapes as in C
///     ( ... )
///     [a-z#x41] [^"]  one character of a set, or outside of it; [^] is any one
///     #x41            the character of this code
///     $               a mark: the position here, for `popMark`
///     @               a mark that tells `onUndoMark` when it is taken away again
///     /* ... */       a comment
///
/// Choice is the first match, not the longest one, and what matched is never tried again in another way. A
/// function is called whenever the walk comes past it, also in a branch behind one that has matched already;
/// what it does should depend on marks.
///
/// A rule is read when it is first walked, so that a fault in it shows then: `parseRule` answers
/// `VN_PARSE_ERROR` and `getError()` says what is wrong, with line and column inside the rule. But what
/// stands behind a whole expression and does not go on with it, as in `'a', 'b'` or `'a' )`, is dropped
/// without a word. Without a match the input stands where it stood.
///
/// Rules that call each other deeper than `getMaxDepth()`, as a rule does that begins with itself, end the
/// parse with an error.
///
/// Owner is the class that derives from this one and has the functions; Base is `vnBasicParser` or a class
/// derived from it.
///
/// Thread-safety: none.
template <class Owner, class Base = vnBasicParser>
class vnParserFunction : public Base
{
public:
    using Function = vnParseResult (Owner::*)();

    template <class... Args>
    explicit vnParserFunction(Args&&... args)
        : Base(std::forward<Args>(args)...), m_door(*this), m_grammar(*this, m_door)
    {
    }

    /// Registers a member function of the owner under a name, in place of an earlier one of that name. A rule
    /// goes before a function of the same name.
    void addFunction(const vnString& name, Function function)
    {
        const unsigned int index = m_functions.getSize();
        m_functions.append(function);
        m_grammar.addFunction(name, index, static_cast<vnGrammar::Matcher>(function));
    }

    /// Adds "name ::= body", in place of an earlier rule of that name; the new one holds from its next call
    /// on. Comments from "//" to the end of a line go; the lines stay, and faults tell theirs. Answers 0,
    /// with a Warning, when name or body are missing.
    unsigned char addRule(const vnString& rule) { return m_grammar.addRule(rule); }

    /// Adds a text of rules, each ended by ";". Comments and white space between the words go away. A
    /// malformed rule is left out, with Warnings, and the answer is 0. Text behind the last ";" that has no
    /// "::=" is dropped.
    unsigned char addRules(const vnString& rules) { return m_grammar.addRules(rules); }

    /// The same from a stream; `url` names it in messages.
    unsigned char addRules(vnSerializeAdapter* adapter, const vnString& url)
    {
        return m_grammar.addRules(adapter, url);
    }

    /// Matches the rule, or else calls the function, of that name.
    vnParseResult parseRule(const vnString& name) { return m_grammar.parseRule(name); }

    /// A function that is neither rule nor registered. Override it to add names.
    virtual vnParseResult parseFunction(const vnString& name) { return Base::parseFunction(name); }

    /// `vnBasicParser::reset`, which also forgets all marks.
    void reset()
    {
        Base::reset();
        m_grammar.clearMarks();
    }

    /// Posts a Debug message at the begin and the end of each rule and function.
    void setTrace(unsigned char enable) noexcept { m_grammar.setTrace(enable); }

    /// Opens a section of the profiler for each rule and function.
    void setPerformance(unsigned char enable) noexcept { m_grammar.setPerformance(enable); }

    /// How deep rules and groups may call each other; 1000 at the start.
    void setMaxDepth(unsigned int depth) noexcept { m_grammar.setMaxDepth(depth); }
    unsigned int getMaxDepth() const noexcept { return m_grammar.getMaxDepth(); }

    /// How many rules and groups one `parseRule` may enter; 0, as at the start, for any number. Since all
    /// branches are tried, a rule that calls itself in several of them takes a time that grows exponentially
    /// with an input made for it; with a limit the parse ends with an error.
    void setMaxCalls(unsigned int calls) noexcept { m_grammar.setMaxCalls(calls); }

protected:
    /// Takes the last mark away and hands its token position out; answers 0, and position 0, when there is
    /// none.
    unsigned char popMark(unsigned int& position) noexcept { return m_grammar.popMark(position); }

    /// The same with the text from there to here, which without a mark is all text from position 0. Answers
    /// 0, with the error set, when that has more than 65535 bytes. What the parser does not remember any more
    /// is missing in front, see `setMaxBufferSize`.
    unsigned char takeMarked(vnString& text) { return m_grammar.takeMarked(text); }

    /// Called for each `@` mark that is taken away since its branch failed or lost: `callCounter` grows along
    /// the walk and identifies the mark, `result` is how the branch ended.
    virtual unsigned char onUndoMark(unsigned int /*callCounter*/, vnParseResult /*result*/) { return 1; }

private:
    class GrammarDoor final : public vnGrammar::Door
    {
    public:
        explicit GrammarDoor(vnParserFunction& parser) noexcept : m_parser(parser) {}
        vnParseResult callFunction(unsigned int index) override
        {
            const Function function = m_parser.m_functions.get(index);
            return (static_cast<Owner&>(m_parser).*function)();
        }
        vnParseResult callOther(const vnString& name) override { return m_parser.parseFunction(name); }
        unsigned char callUndo(unsigned int callCounter, vnParseResult result) override
        {
            return m_parser.onUndoMark(callCounter, result);
        }

    private:
        vnParserFunction& m_parser;
    };

    vnDynamicArray<Function> m_functions{8};
    GrammarDoor m_door;
    vnGrammar m_grammar;
};
