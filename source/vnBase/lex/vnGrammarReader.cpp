// SPDX-License-Identifier: MIT
#include "vnCharacter.h"
#include "vnGrammarRule.h"

#include <limits>

using namespace vnCharacter;

namespace
{
// Bytes above 127 are letters as they are to the lexical reader, whatever characters they make.
bool startsName(char c)
{
    return isAlpha(c) || c == '_' || static_cast<unsigned char>(c) > 127;
}

void finish(vnGrammarItem& item)
{
    if (item.group)
    {
        item.callCount += item.group->callCount;
        item.hasFault |= item.group->hasFault;
        item.hasUndoMark |= item.group->hasUndoMark;
    }
    item.hasFault |= item.kind == vnGrammarItem::FAULT || item.repeat == vnGrammarItem::BROKEN || item.fault;
    item.hasUndoMark |= item.kind == vnGrammarItem::UNDO_MARK;
}

void finish(vnGrammarBranch& branch)
{
    branch.callCount = 1; // the try that finds no further element
    bool mustRead = false;
    for (auto element = branch.elements.rbegin(); element != branch.elements.rend(); ++element)
    {
        const auto add = [&](const vnGrammarItem& item)
        {
            branch.callCount += item.callCount;
            branch.hasFault |= item.hasFault;
            branch.hasUndoMark |= item.hasUndoMark;
        };
        add(element->item);
        for (const vnGrammarItem& item : element->excluded)
            add(item);
        mustRead = branch.hasFault || branch.hasUndoMark;
        element->restCount = branch.callCount;
        element->mustReadRest = mustRead;
    }
}

void finish(vnGrammarChoice& choice)
{
    for (vnGrammarBranch& branch : choice.branches)
    {
        finish(branch);
        choice.callCount += branch.callCount;
        choice.hasFault |= branch.hasFault;
        choice.hasUndoMark |= branch.hasUndoMark;
    }
}
} // namespace

vnGrammarName* vnGetGrammarName(vnGrammarNames& names, const vnString& name)
{
    if (vnGrammarName* known = names.find(name))
        return known;
    vnRefPointer<vnGrammarName> added(new vnGrammarName(name));
    names.enter(name, added.get());
    return added.get();
}

void vnGrammarBody::makeRoot(vnGrammarNames& names)
{
    vnGrammarChoice choice;
    vnGrammarReader(text, names).readRule(choice);
    root = std::move(choice);
    isRead = true;
}

void vnGrammarReader::skipBlanks()
{
    while (!isAtEnd() && isWhite(peek()))
        ++m_at;
}

bool vnGrammarReader::take(char character)
{
    if (isAtEnd() || peek() != character)
        return false;
    ++m_at;
    return true;
}

bool vnGrammarReader::takeNumber(unsigned int& number)
{
    if (!isDigit(peek()))
        return false;
    vnUInt64 value = 0;
    for (; isDigit(peek()); ++m_at)
        value = std::min<vnUInt64>(value * 10 + static_cast<unsigned int>(peek() - '0'),
                                   std::numeric_limits<unsigned int>::max());
    number = static_cast<unsigned int>(value);
    return true;
}

void vnGrammarReader::readChoice(vnGrammarChoice& choice)
{
    do
    {
        choice.branches.emplace_back();
        readBranch(choice.branches.back());
        choice.isAtEnd = isAtEnd();
        skipBlanks();
    } while (!m_isBroken && take('|'));
    choice.isLookedAt = choice.branches.size() > 1;
    finish(choice);
}

void vnGrammarReader::readBranch(vnGrammarBranch& branch)
{
    while (!m_isBroken)
    {
        vnGrammarElement element;
        if (!readElement(element))
            break;
        branch.elements.push_back(std::move(element));
    }
    if (!branch.elements.empty())
        return;
    vnGrammarElement nothing;
    setFault(nothing.item, nullptr);
    finish(nothing.item);
    branch.elements.push_back(std::move(nothing));
}

bool vnGrammarReader::readElement(vnGrammarElement& element)
{
    if (!readItem(element.item))
        return false;
    while (!m_isBroken)
    {
        skipBlanks();
        if (!take('-'))
            return true;
        Item excluded;
        if (!readItem(excluded))
        {
            setFault(excluded, nullptr);
            finish(excluded);
        }
        element.excluded.push_back(std::move(excluded));
    }
    return true;
}

bool vnGrammarReader::readItem(Item& item)
{
    skipBlanks();
    if (!readThing(item))
        return false;
    if (!m_isBroken)
        readRepeat(item);
    if (item.group && item.repeat != Item::ONCE)
        item.group->isLookedAt = true;
    finish(item);
    return true;
}

bool vnGrammarReader::readThing(Item& item)
{
    switch (peek())
    {
    case '"':
        readText(item, '"', "Unbalansed quote string in rule '%s' at (Line:%d,Col:%d) -> %s");
        return true;
    case '\'':
        readText(item, '\'', "Unbalansed single quoted string in rule '%s' at (Line:%d,Col:%d) -> %s");
        return true;
    case '(':
        readGroup(item);
        return true;
    case '[':
        readSet(item);
        return true;
    case '$':
    case '@':
        item.kind = peek() == '$' ? Item::MARK : Item::UNDO_MARK;
        ++m_at;
        return true;
    case '#':
        return readHex(item);
    case '/':
        return readComment(item);
    default:
        return readName(item);
    }
}

bool vnGrammarReader::readName(Item& item)
{
    if (!startsName(peek()))
        return false;
    const std::size_t begin = m_at;
    while (startsName(peek()) || isDigit(peek()))
        ++m_at;
    const std::string_view name = m_text.substr(begin, m_at - begin);
    item.kind = Item::NAME;
    item.name = vnGetGrammarName(m_names, vnString(name.data(), static_cast<unsigned short>(name.size())));
    item.end = static_cast<unsigned int>(m_at);
    return true;
}

// The text from behind the opening character to the closing one. A backslash takes its next character along.
bool vnGrammarReader::findEnd(char closing, std::string_view& inner)
{
    const std::size_t begin = ++m_at;
    while (!isAtEnd() && peek() != closing)
        m_at += peek() == '\\' && m_at + 1 < m_text.size() ? 2 : 1;
    inner = m_text.substr(begin, m_at - begin);
    return take(closing);
}

void vnGrammarReader::readText(Item& item, char quote, const char* fault)
{
    std::string_view inner;
    if (findEnd(quote, inner))
        setText(item, inner);
    else
        setFault(item, fault);
}

void vnGrammarReader::setText(Item& item, std::string_view written)
{
    const vnString text =
        vnString(written.data(), static_cast<unsigned short>(written.size())).convertTextToCtrl();
    item.kind = Item::TEXT;
    item.text = std::make_unique<vnGrammarText>();
    item.text->bytes.assign(text.getString(), text.length());
    item.text->isSeven = !text.hasEscapedUTF8Chars();
    item.text->hasLineFeed = item.text->bytes.find('\n') != std::string::npos;
    item.text->isByteable = true;
    if (item.text->isSeven || text.isAsciiString())
    {
        for (const char c : item.text->bytes)
            item.text->characters += static_cast<char16_t>(static_cast<unsigned char>(c));
        return;
    }
    item.text->characters.resize(text.getWideStringLength() + 1u);
    item.text->characters.resize(text.getWideString(item.text->characters.data(), 1));
}

void vnGrammarReader::readSet(Item& item)
{
    std::string_view inner;
    if (!findEnd(']', inner))
    {
        setFault(item, "Unbalansed Set [] in rule '%s' at (Line:%d,Col:%d) -> %s");
        return;
    }
    item.kind = Item::SET;
    item.set = std::make_shared<vnGrammarSet>(inner);
}

bool vnGrammarReader::readHex(Item& item)
{
    if (m_at + 2 >= m_text.size() || m_text[m_at + 1] != 'x' || hexValue(m_text[m_at + 2]) < 0)
        return false;
    vnUInt64 code = 0;
    for (m_at += 2; hexValue(peek()) >= 0; ++m_at)
        code = std::min<vnUInt64>(code * 16 + static_cast<unsigned int>(hexValue(peek())), 0x10000);
    item.kind = Item::TEXT;
    item.text = std::make_unique<vnGrammarText>();
    item.text->isByteable = code < 0x100;
    item.text->isSeven = code < 0x80;
    item.text->hasLineFeed = code == '\n';
    item.text->bytes.assign(1, static_cast<char>(code));
    if (code <= 0xFFFF)
        item.text->characters.assign(1, static_cast<char16_t>(code));
    return true;
}

// A comment is a thing of its own that matches nothing: a repeat sign behind it is its own, too.
bool vnGrammarReader::readComment(Item& item)
{
    if (m_at + 1 >= m_text.size() || m_text[m_at + 1] != '*')
        return false;
    const std::size_t end = m_text.find("*/", m_at + 2);
    item.kind = Item::COMMENT;
    m_at = end == std::string_view::npos ? m_text.size() : end + 2;
    if (end == std::string_view::npos)
        setFault(item, "Unbalansed comment in rule '%s' at (Line:%d,Col:%d) -> %s");
    return true;
}

void vnGrammarReader::readGroup(Item& item)
{
    ++m_at;
    if (++m_groups > VN_MAX_GROUPS)
    {
        setFault(item, "Too many nested groups in rule '%s' at (Line:%d,Col:%d) -> %s");
        return;
    }
    item.kind = Item::GROUP;
    item.begin = static_cast<unsigned int>(m_at);
    item.group = std::make_unique<vnGrammarChoice>();
    readChoice(*item.group);
    --m_groups;
    item.end = static_cast<unsigned int>(m_at);
    if (m_isBroken || take(')'))
        return;
    item.fault = "Missing right ')' in rule '%s' at (Line:%d,Col:%d) -> %s";
    m_isBroken = true;
}

void vnGrammarReader::readRepeat(Item& item)
{
    const std::size_t begin = m_at;
    skipBlanks();
    unsigned int count;
    if (take('+'))
        item.repeat = Item::PLUS;
    else if (take('*'))
        item.repeat = Item::STAR;
    else if (take('?'))
        item.repeat = Item::OPTIONAL;
    else if (take('{'))
        readCount(item);
    else if (takeNumber(count))
        setCount(item, count, count);
    else
        m_at = begin;
}

void vnGrammarReader::readCount(Item& item)
{
    unsigned int min = 0, max = 0;
    const char* fault = nullptr;
    skipBlanks();
    if (!takeNumber(min))
        fault = "Missing Min number in set {Min,Max} in rule '%s' at (Line:%d,Col:%d) -> %s";
    skipBlanks();
    if (!fault && !take(','))
        fault = "Missing ',' in set {Min,Max} in rule '%s' at (Line:%d,Col:%d) -> %s";
    if (!fault)
        skipBlanks();
    if (!fault && !takeNumber(max))
        fault = "Missing Max number in set {Min,Max} in rule '%s' at (Line:%d,Col:%d) -> %s";
    if (!fault)
        skipBlanks();
    if (!fault && !take('}'))
        fault = "Missing right '}' in set {Min,Max} in rule '%s' at (Line:%d,Col:%d) -> %s";
    if (!fault && min > max)
        fault = "Min>Max in set {Min,Max} in rule '%s' at (Line:%d,Col:%d) -> %s";
    if (!fault)
    {
        setCount(item, min, max);
        return;
    }
    item.repeat = Item::BROKEN;
    item.fault = fault;
    item.max = static_cast<unsigned int>(m_at); // where the fault stands; the end is that of the thing
    m_isBroken = true;
}

void vnGrammarReader::setCount(Item& item, unsigned int min, unsigned int max)
{
    item.repeat = Item::COUNTED;
    item.min = min;
    item.max = max;
}

void vnGrammarReader::setFault(Item& item, const char* fault)
{
    item.kind = Item::FAULT;
    item.fault = fault;
    item.end = static_cast<unsigned int>(m_at);
    m_isBroken = true;
}
