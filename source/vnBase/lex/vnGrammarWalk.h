// SPDX-License-Identifier: MIT
#pragma once

#include "vnGrammarInput.h"
#include "vnGrammarRule.h"

#include <vnBase/vnParserFunction.h>
#include <vnBase/vnQueue.h>

/// A position of the input that a function takes up later.
struct vnGrammarMark
{
    unsigned int position;
    vnUInt64 callCounter;
    unsigned char flag; // what the state of the match was, for a mark with undo
};

/// The rules of a grammar, and the walk over them.
///
/// The language is defined by a walk over the text of the rules, each element read again whenever the walk
/// comes past it, also when the match has failed already, so that faults of the text always show. Here the
/// text is read once, and a walk that only reads is left out where it has nothing to tell.
class vnGrammarData
{
public:
    vnGrammarData(vnBasicParser& owner, vnGrammar::Door& ownerDoor)
        : parser(owner), door(ownerDoor), input(owner)
    {
    }

    void addFunction(const vnString& name, unsigned int index, std::shared_ptr<const vnGrammarSet> native,
                     bool isNativeRun);
    void addBody(const vnString& name, const vnString& body);
    vnParseResult parseRule(const vnString& name);
    bool popMark(unsigned int& position) noexcept;

    vnBasicParser& parser;
    vnGrammar::Door& door;
    vnGrammarInput input;
    vnQueue<vnGrammarMark> marks;
    bool isTracing = false;
    bool isMeasuring = false;

    // What an 8 MiB stack bears several times over, also with the frames of AddressSanitizer.
    unsigned int maxDepth = 1000;
    vnUInt64 maxCalls = ~0ull;

private:
    using Item = vnGrammarItem;

    // The walk of one rule.
    struct Frame
    {
        const vnGrammarName& name;
        const vnGrammarBody& body;
        vnParseResult state = VN_PARSE_OK; // no error: an error ends the walk
        unsigned int position = 0;         // in the text of the rule
    };
    class DepthGuard
    {
    public:
        explicit DepthGuard(unsigned int& depth) noexcept : m_depth(++depth) {}
        ~DepthGuard() { --m_depth; }
        DepthGuard(const DepthGuard&) = delete;
        DepthGuard& operator=(const DepthGuard&) = delete;

    private:
        unsigned int& m_depth;
    };

    // What walks answers false when the walk ends with an error.
    vnParseResult call(vnGrammarName& name);
    void endParse();
    vnParseResult callFunction(const vnGrammarName& name);
    vnParseResult callNative(const vnGrammarName& name);
    vnParseResult callRule(const vnGrammarName& name);
    vnParseResult watchFunction(const vnGrammarName& name);
    vnParseResult watchRule(const vnGrammarName& name);
    vnParseResult walkRule(const vnGrammarName& name);
    vnParseResult endRule(Frame& frame);
    bool mayEnter(const vnGrammarName& name);
    void refuse(const vnGrammarName& name);
    bool walkChoice(vnGrammarChoice& choice, Frame& frame);
    void endChoice(const vnGrammarChoice& choice, unsigned int begin, unsigned int end);
    void goToEnd(unsigned int here, unsigned int end);
    bool canSkip(const vnGrammarBranch& branch) const noexcept;
    bool walkBranch(vnGrammarBranch& branch, Frame& frame);
    bool walkExcluding(vnGrammarElement& element, Frame& frame);
    bool walkItem(Item& item, Frame& frame);
    bool walkRepeat(Item& item, Frame& frame);
    bool walkRounds(Item& item, Frame& frame, unsigned int begin);
    bool walkSetRepeat(const Item& item, Frame& frame);
    bool walkThing(Item& item, Frame& frame);
    bool walkName(Item& item, Frame& frame);
    bool walkGroup(Item& item, Frame& frame);
    void pushMark(unsigned char flag);
    void undoMarks(vnUInt64 callCounter, vnParseResult result);
    bool fail(const char* fault, unsigned int position, Frame& frame);

    // The walk that only reads.
    bool passChoice(const vnGrammarChoice& choice, Frame& frame);
    bool passItem(const Item& item, Frame& frame);
    bool passElement(const vnGrammarElement& element, Frame& frame);

    bool matchSet(const vnGrammarSet& set);
    unsigned int runSet(const vnGrammarSet& set, unsigned int max, vnUInt64& tries);
    bool matchSetSlowly(const vnGrammarSet& set);
    bool matchText(const vnGrammarText& text);
    bool matchTextSlowly(const vnGrammarText& text);
    bool checkTokens(const std::u16string& characters);

    void traceBegin(const char* format, const vnGrammarName& name);
    void traceEnd(const char* format, const vnGrammarName& name, vnParseResult result);

    vnGrammarNames m_names;
    std::vector<std::unique_ptr<vnGrammarBody>> m_replaced; // they may be walked still
    unsigned int m_version = 1;
    unsigned int m_depth = 0;
    vnUInt64 m_calls = 0;        // of rules and groups, since the outermost one
    vnUInt64 m_callCounter = 0;  // never wraps, so that marks keep their order however long the parser lives
    bool m_hasUndoMarks = false; // then the counter can be seen, and nothing is skipped that would move it
};
