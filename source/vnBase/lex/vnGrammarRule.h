// SPDX-License-Identifier: MIT
#pragma once

#include "vnParserCursor.h"

#include <vnBase/vnRefDict.h>
#include <vnBase/vnString.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class vnGrammarName;
using vnGrammarNames = vnRefDict<vnString, vnGrammarName>;

/// One character of a set, or outside of it.
class vnGrammarSet
{
public:
    /// `text` is what stands between the brackets, escapes included.
    explicit vnGrammarSet(std::string_view text);

    /// The characters for which `isMember` answers true, and every one from 128 on when it does so for 128.
    explicit vnGrammarSet(bool (*isMember)(char16_t));

    /// Whether a byte of the window, or its character, is of the set.
    bool contains(unsigned char byte, vnParserCursor::Mode mode) const noexcept
    {
        return (m_table[byte] & mode) != 0;
    }
    bool contains(char16_t character, bool isByteText) const noexcept;

    /// Where the bytes of the set end.
    const unsigned char* findEnd(const unsigned char* begin, const unsigned char* end,
                                 vnParserCursor::Mode mode) const noexcept;

    /// The set without any character, which matches in front of anything and consumes nothing.
    bool isEmpty() const noexcept { return m_isEmpty; }
    bool hasLineFeed() const noexcept { return contains('\n', vnParserCursor::BYTES); }
    const std::array<unsigned char, 256>& getTable() const noexcept { return m_table; }

private:
    struct Range
    {
        unsigned int first;
        unsigned int last;
    };
    struct Element
    {
        unsigned int code;
        bool isPlain; // stands for itself: no sign of the language of sets
    };
    using Elements = std::vector<Element>;

    static Elements decode(std::string_view text, bool isByteText);
    static bool readHex(const Elements& elements, std::size_t& at, unsigned int& code);
    std::vector<Range> readRanges(const Elements& elements);
    bool isInRanges(unsigned int code) const noexcept;
    void findStop() noexcept;

    std::array<unsigned char, 256> m_table{}; // bits of vnParserCursor::Mode, by byte or character
    std::vector<Range> m_wideRanges;          // for characters from 256 on
    bool m_isNegated = false;
    bool m_isEmpty = false;
    int m_stop = -1; // the only byte that is not in the set
};

/// A literal: its bytes, and its characters for input of 16-bit characters.
struct vnGrammarText
{
    std::string bytes;
    std::u16string characters;
    bool isSeven; // bytes and characters are the same
    bool hasLineFeed;
    bool isByteable; // can stand in input of bytes
};

struct vnGrammarChoice;

/// A thing that matches, and how often it does.
struct vnGrammarItem
{
    enum Kind : unsigned char
    {
        SET,
        TEXT,
        NAME,
        GROUP,
        MARK,
        UNDO_MARK,
        COMMENT,
        FAULT // the rule can't be read from here on
    };
    enum Repeat : unsigned char
    {
        ONCE,
        PLUS,
        STAR,
        OPTIONAL,
        COUNTED,
        BROKEN // once, and then the fault
    };

    Kind kind = FAULT;
    Repeat repeat = ONCE;
    unsigned int min = 0;
    unsigned int max = 0;
    unsigned int begin = 0;      // where the text inside of a group begins
    unsigned int end = 0;        // where the text of the thing ends, or the fault stands
    const char* fault = nullptr; // what is wrong; null with a fault is an expression that is none
    unsigned int callCount = 1;  // how far a walk that only reads raises the call counter
    bool hasFault = false;       // anywhere in its text
    bool hasUndoMark = false;
    std::shared_ptr<const vnGrammarSet> set;
    std::unique_ptr<vnGrammarText> text;
    vnGrammarName* name = nullptr;
    std::unique_ptr<vnGrammarChoice> group;
};

/// An item, unless one of the others matches at its place.
struct vnGrammarElement
{
    vnGrammarItem item;
    std::vector<vnGrammarItem> excluded;
    unsigned int restCount = 0; // `callCount` of this element and all behind it, with the end
    bool mustReadRest = false;  // a walk that only reads can't skip those
};

/// With which bytes something can begin; everything when that is not known.
struct vnGrammarFirst
{
    bool isKnown = false;
    bool canBeEmpty = false;
    bool isTelling = false; // known, and not empty: nothing else can begin
    unsigned int depth = 0; // how deep rules and groups are entered to find that it does not begin here
    vnUInt64 calls = 0;     // and how many of them
    static constexpr vnUInt64 VN_MAX_CALLS = 1ull << 62; // more are as good as that
    std::array<unsigned char, 256> table{};              // as that of a set
};

struct vnGrammarBranch
{
    std::vector<vnGrammarElement> elements;
    unsigned int callCount = 1;
    bool hasFault = false;
    bool hasUndoMark = false;
    vnGrammarFirst first;
};

struct vnGrammarChoice
{
    std::vector<vnGrammarBranch> branches;
    bool isAtEnd = false;    // no text of the rule stands behind it
    bool isLookedAt = false; // it often fails at once, so that a look at the next character pays
    unsigned int callCount = 0;
    bool hasFault = false;
    bool hasUndoMark = false;
    unsigned int firstVersion = 0; // of the grammar when the firsts below were found; 0: not yet
    vnGrammarFirst first;
};

/// A rule as it is walked.
struct vnGrammarBody
{
    explicit vnGrammarBody(const vnString& ruleText) : text(ruleText) {}

    /// Makes the form in which it is walked, the first time.
    void read(vnGrammarNames& names)
    {
        if (!isRead)
            makeRoot(names);
    }
    void makeRoot(vnGrammarNames& names);

    const vnString text;
    bool isRead = false;
    vnGrammarChoice root;
};

/// What a name stands for. The place of a name stays, whatever is added or replaced, so that rules point at
/// it.
class vnGrammarName : public vnReference
{
public:
    explicit vnGrammarName(const vnString& text) : name(text) {}
    unsigned char useDeepCopy() override { return 0; }

    const vnString name;
    std::unique_ptr<vnGrammarBody> body; // null: no rule
    bool hasFunction = false;
    unsigned int function = 0;
    std::shared_ptr<const vnGrammarSet> native; // the characters that the function matches; null for others
    bool isNativeRun = false;                   // as many as there are
};

/// Finds the name, or enters it.
vnGrammarName* vnGetGrammarName(vnGrammarNames& names, const vnString& name);

/// Finds with what the branches of a choice can begin, as the grammar is in this version.
void vnFindGrammarFirsts(vnGrammarChoice& choice, vnGrammarNames& names, unsigned int version);

/// Turns the text of a rule into the form in which it is walked. A fault becomes an item at its place.
class vnGrammarReader
{
public:
    vnGrammarReader(const vnString& text, vnGrammarNames& names)
        : m_text(text.getString(), text.length()), m_names(names)
    {
    }
    void readRule(vnGrammarChoice& root) { readChoice(root); }

    /// Deeper groups are a fault: reading and walking them takes stack.
    static constexpr unsigned int VN_MAX_GROUPS = 200;

private:
    using Item = vnGrammarItem;

    char peek() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }
    bool isAtEnd() const { return m_at == m_text.size(); }
    void skipBlanks();
    bool take(char character);
    bool takeNumber(unsigned int& number);
    void readChoice(vnGrammarChoice& choice);
    void readBranch(vnGrammarBranch& branch);
    bool readElement(vnGrammarElement& element);
    bool readItem(Item& item);
    bool readThing(Item& item);
    bool readName(Item& item);
    void readText(Item& item, char quote, const char* fault);
    void readSet(Item& item);
    bool readHex(Item& item);
    bool readComment(Item& item);
    void readGroup(Item& item);
    void readRepeat(Item& item);
    void readCount(Item& item);
    void setCount(Item& item, unsigned int min, unsigned int max);
    void setText(Item& item, std::string_view written);
    void setFault(Item& item, const char* fault);
    bool findEnd(char closing, std::string_view& inner);

    const std::string_view m_text;
    vnGrammarNames& m_names;
    std::size_t m_at = 0;
    unsigned int m_groups = 0;
    bool m_isBroken = false; // nothing behind a fault is read
};
