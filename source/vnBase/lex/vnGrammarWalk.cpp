// SPDX-License-Identifier: MIT
#include "vnGrammarWalk.h"

#include "vnCharacter.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnPerformance.h>

#include <limits>
#include <optional>

namespace
{
struct Place
{
    unsigned int line;
    unsigned int column;
};

Place placeOf(const vnString& text, unsigned int position)
{
    Place place{0, 0};
    const char* at = text.getString();
    for (const char* end = at + position; at != end; ++at)
    {
        place.column = *at == '\n' ? 0 : place.column + 1;
        place.line += *at == '\n' ? 1 : 0;
    }
    return place;
}

// Names in traces fill 20 columns; a longer one is followed by a single blank.
vnString padding(const vnString& name)
{
    return vnString::spaces(static_cast<unsigned short>(20 - std::min<unsigned int>(name.length(), 19)));
}
} // namespace

void vnGrammarData::addFunction(const vnString& name, unsigned int index,
                                std::shared_ptr<const vnGrammarSet> native, bool isNativeRun)
{
    vnGrammarName& entry = *vnGetGrammarName(m_names, name);
    entry.hasFunction = true;
    entry.function = index;
    entry.native = std::move(native);
    entry.isNativeRun = isNativeRun;
    ++m_version;
}

void vnGrammarData::addBody(const vnString& name, const vnString& body)
{
    auto added = std::make_unique<vnGrammarBody>(body);
    if (body.find('@') != body.length())
    {
        added->read(m_names);
        m_hasUndoMarks |= added->root.hasUndoMark;
    }
    vnGrammarName& entry = *vnGetGrammarName(m_names, name);
    if (m_depth == 0)
        m_replaced.clear();
    else if (entry.body)
        m_replaced.push_back(std::move(entry.body));
    entry.body = std::move(added);
    ++m_version;
}

vnParseResult vnGrammarData::parseRule(const vnString& name)
{
    const unsigned int length = name.length();
    const char* text = name.getString();
    if (length > 0 && (vnCharacter::isWhite(text[0]) || vnCharacter::isWhite(text[length - 1])))
        return parseRule(name.stripWhiteSpace());
    vnGrammarName* entry = m_names.find(name);
    if (!entry)
        return door.callOther(name);
    try
    {
        input.open();
        const vnParseResult result = call(*entry);
        endParse();
        return result;
    }
    catch (...)
    {
        endParse();
        throw;
    }
}

void vnGrammarData::endParse()
{
    if (m_depth == 0)
        m_replaced.clear();
    input.close();
}

bool vnGrammarData::popMark(unsigned int& position) noexcept
{
    position = 0;
    if (marks.isEmpty())
        return false;
    position = marks.pop().position;
    return true;
}

vnParseResult vnGrammarData::call(vnGrammarName& name)
{
    if (name.body)
        return callRule(name);
    if (name.hasFunction)
        return name.native && !isTracing && !isMeasuring ? callNative(name) : callFunction(name);
    input.close();
    const vnParseResult result = door.callOther(name.name);
    input.open();
    return result;
}

vnParseResult vnGrammarData::callNative(const vnGrammarName& name)
{
    constexpr unsigned int all = std::numeric_limits<unsigned int>::max();
    vnUInt64 tries = 0; // a function counts once, whatever it takes
    const bool isMatch = name.isNativeRun ? runSet(*name.native, all, tries) > 0 : matchSet(*name.native);
    return isMatch ? VN_PARSE_OK : VN_PARSE_NO_MATCH;
}

vnParseResult vnGrammarData::callFunction(const vnGrammarName& name)
{
    input.close();
    const vnParseResult result =
        isTracing || isMeasuring ? watchFunction(name) : door.callFunction(name.function);
    input.open();
    return result;
}

vnParseResult vnGrammarData::callRule(const vnGrammarName& name)
{
    if (!mayEnter(name))
        return VN_PARSE_ERROR;
    const DepthGuard depth(m_depth);
    if (!isTracing && !isMeasuring)
        return walkRule(name);
    input.close();
    const vnParseResult result = watchRule(name);
    input.open();
    return result;
}

// Who receives traces, and a monitor of sections, may use parser and adapter: while they are told the input
// is closed.
vnParseResult vnGrammarData::watchFunction(const vnGrammarName& name)
{
    std::optional<vnPerformanceBody> section;
    if (isMeasuring)
        section.emplace(name.name);
    traceBegin("Parsing Function : %s%s(Line:%d,Col:%d)", name);
    const vnParseResult result = door.callFunction(name.function);
    traceEnd("Exit Function    : %s%s(Line:%d,Col:%d)\tResult:%s", name, result);
    return result;
}

vnParseResult vnGrammarData::watchRule(const vnGrammarName& name)
{
    std::optional<vnPerformanceBody> section;
    if (isMeasuring)
        section.emplace(name.name);
    traceBegin("Parsing Rule     : %s%s(Line:%d,Col:%d)", name);
    vnParseResult result;
    try
    {
        input.open();
        result = walkRule(name);
        input.close();
    }
    catch (...)
    {
        input.close();
        throw;
    }
    if (result != VN_PARSE_ERROR)
        traceEnd("Exit Rule        : %s%s(Line:%d,Col:%d)\tResult:%s", name, result);
    return result;
}

vnParseResult vnGrammarData::walkRule(const vnGrammarName& name)
{
    vnGrammarBody& body = *name.body;
    body.read(m_names);
    Frame frame{name, body};
    return walkChoice(body.root, frame) ? frame.state : endRule(frame);
}

// After an error, which ends the walk.
vnParseResult vnGrammarData::endRule(Frame& frame)
{
    input.close();
    const Place place = placeOf(frame.body.text, frame.position);
    if (!parser.hasError())
        parser.setError("Expression mismatch in rule '%s' at (Line:%d,Col:%d) -> %s", frame.name.name,
                        place.line, place.column, frame.body.text);
    if (isTracing)
        vnMessage::message(VN_MESSAGE_DEBUG, "Parse Error:'%s' in rule '%s' at (Line:%d,Col:%d) -> %s",
                           parser.getError(), frame.name.name, place.line, place.column, frame.body.text);
    return VN_PARSE_ERROR;
}

bool vnGrammarData::mayEnter(const vnGrammarName& name)
{
    if (m_depth == 0)
        m_calls = 0;
    if (m_depth >= maxDepth || m_calls >= maxCalls)
    {
        refuse(name);
        return false;
    }
    ++m_calls;
    return true;
}

void vnGrammarData::refuse(const vnGrammarName& name)
{
    if (m_depth >= maxDepth)
        parser.setError("Rules are nested deeper than %d in rule '%s'", maxDepth, name.name);
    else
        parser.setError("More than %d calls of rules in rule '%s'", maxCalls, name.name);
}

bool vnGrammarData::walkChoice(vnGrammarChoice& choice, Frame& frame)
{
    const unsigned int begin = input.getPosition();
    const bool isSkipping = choice.isLookedAt && !m_hasUndoMarks && !isTracing && !isMeasuring;
    if (isSkipping && choice.firstVersion != m_version)
        vnFindGrammarFirsts(choice, m_names, m_version);
    unsigned int end = begin;
    bool hasMatched = false;
    for (vnGrammarBranch& branch : choice.branches)
    {
        input.moveTo(begin);
        // A function may have changed the rules meanwhile.
        if (isSkipping && choice.firstVersion == m_version && canSkip(branch))
        {
            m_calls = std::min(m_calls + branch.first.calls, vnGrammarFirst::VN_MAX_CALLS);
            continue;
        }
        const vnUInt64 callCounter = m_callCounter;
        frame.state = VN_PARSE_OK;
        if (!walkBranch(branch, frame))
            return false;
        // Of two branches that match the first one stands; what the later one left is taken back.
        if (frame.state == VN_PARSE_OK && !hasMatched)
        {
            hasMatched = true;
            end = input.getPosition();
        }
        else if (!marks.isEmpty())
            undoMarks(callCounter, frame.state);
    }
    frame.state = hasMatched ? VN_PARSE_OK : VN_PARSE_NO_MATCH;
    if (!hasMatched)
        input.moveTo(begin);
    else if (input.getPosition() != end || !input.isPlainSince(begin))
        endChoice(choice, begin, end);
    return true;
}

// After a branch that matched, whose end is told.
void vnGrammarData::endChoice(const vnGrammarChoice& choice, unsigned int begin, unsigned int end)
{
    const unsigned int here = input.getPosition();
    if (!choice.isAtEnd)
    {
        // In front of more text the input goes back to the begin, and forward again. Over line feeds that
        // changes what is known of the ends of lines.
        if (here == end && !vnParserCursor::isBehind(begin, here) && input.isInLine(begin))
        {
            input.checkReturn(here - begin);
            return;
        }
        input.moveTo(begin);
        goToEnd(begin, end);
    }
    else
        goToEnd(here, end);
}

// From beyond the end by one character only, however far a later branch went, or how far in front of the
// begin a function gave back: grammars rely on where that ends.
void vnGrammarData::goToEnd(unsigned int here, unsigned int end)
{
    if (vnParserCursor::isBehind(here, end))
        input.giveBack(1);
    else
        input.moveTo(end);
}

// Whether the branch fails at the next character, without a trace.
bool vnGrammarData::canSkip(const vnGrammarBranch& branch) const noexcept
{
    if (!branch.first.isTelling || input.getOpen() == 0)
        return false;
    const unsigned char byte = *input.next();
    return !(branch.first.table[byte] & input.getMode()) && input.isPlain(byte) && input.canLook() &&
           m_depth + branch.first.depth <= maxDepth && // else it ends the walk; so that limits are the same
           m_calls + branch.first.calls <= maxCalls;   // with traces, which leave nothing out
}

bool vnGrammarData::walkBranch(vnGrammarBranch& branch, Frame& frame)
{
    for (vnGrammarElement& element : branch.elements)
    {
        if (frame.state == VN_PARSE_OK)
        {
            if (!(element.excluded.empty() ? walkItem(element.item, frame) : walkExcluding(element, frame)))
                return false;
            continue;
        }
        if (!element.mustReadRest)
        {
            m_callCounter += element.restCount;
            return true;
        }
        if (!passElement(element, frame))
            return false;
    }
    ++m_callCounter; // the try that finds no further element
    return true;
}

bool vnGrammarData::walkExcluding(vnGrammarElement& element, Frame& frame)
{
    const unsigned int begin = input.getPosition();
    if (!walkItem(element.item, frame))
        return false;
    for (Item& excluded : element.excluded)
    {
        if (frame.state != VN_PARSE_OK)
        {
            if (!passItem(excluded, frame))
                return false;
            continue;
        }
        const unsigned int end = input.getPosition();
        input.moveTo(begin);
        if (!walkItem(excluded, frame))
            return false;
        const bool isExcluded = frame.state == VN_PARSE_OK;
        input.moveTo(isExcluded ? begin : end);
        frame.state = isExcluded ? VN_PARSE_NO_MATCH : VN_PARSE_OK;
    }
    return true;
}

bool vnGrammarData::walkItem(Item& item, Frame& frame)
{
    if (item.repeat == Item::ONCE)
        return walkThing(item, frame);
    if (item.kind == Item::SET && !item.set->isEmpty() && item.repeat <= Item::COUNTED)
        return walkSetRepeat(item, frame);
    return walkRepeat(item, frame);
}

bool vnGrammarData::walkRepeat(Item& item, Frame& frame)
{
    const unsigned int begin = input.getPosition();
    if (!walkThing(item, frame))
        return false;
    const bool isMatch = frame.state == VN_PARSE_OK;
    switch (item.repeat)
    {
    case Item::PLUS:
        return isMatch ? walkRounds(item, frame, begin) : true;
    case Item::STAR:
        if (isMatch)
            return walkRounds(item, frame, begin);
        break;
    case Item::OPTIONAL:
        if (isMatch)
            return true;
        break;
    case Item::COUNTED:
        if (isMatch && item.max > 0)
            return walkRounds(item, frame, begin);
        if (item.min > 0)
            return true;
        break;
    default:
        return fail(item.fault, item.max, frame);
    }
    // Also what matched, when none was asked for: the input goes back, and only that. Marks stay, as they do
    // in front of anything else that matched.
    frame.state = VN_PARSE_OK;
    input.moveTo(begin);
    return true;
}

// After a first round that matched.
bool vnGrammarData::walkRounds(Item& item, Frame& frame, unsigned int begin)
{
    const bool isCounted = item.repeat == Item::COUNTED;
    const unsigned int max = isCounted ? item.max : std::numeric_limits<unsigned int>::max();
    unsigned int good = input.getPosition();
    unsigned int count = 1;
    // A round that consumed nothing would match for ever: it ends the repetition, and is all that was asked.
    bool isIdle = good == begin;
    while (!isIdle && (count < max || !isCounted) && input.hasData())
    {
        if (!walkThing(item, frame))
            return false;
        if (frame.state != VN_PARSE_OK)
            break;
        isIdle = input.getPosition() == good;
        good = input.getPosition();
        ++count;
    }
    input.moveTo(good);
    frame.state = isCounted && count < item.min && !isIdle ? VN_PARSE_NO_MATCH : VN_PARSE_OK;
    return true;
}

bool vnGrammarData::walkSetRepeat(const Item& item, Frame& frame)
{
    const unsigned int begin = input.getPosition();
    const bool isEndless = item.repeat == Item::PLUS || item.repeat == Item::STAR;
    const unsigned int max = isEndless                      ? std::numeric_limits<unsigned int>::max()
                             : item.repeat == Item::COUNTED ? std::max(item.max, 1u)
                                                            : 1;
    const unsigned int min = item.repeat == Item::PLUS ? 1 : item.repeat == Item::COUNTED ? item.min : 0;
    const vnUInt64 callCounter = m_callCounter;
    unsigned int count = runSet(*item.set, max, m_callCounter);
    m_callCounter = std::max(m_callCounter, callCounter + 1); // the first round is tried without input, too
    if (item.repeat == Item::COUNTED && item.max == 0)
    {
        input.moveTo(begin);
        count = 0;
    }
    frame.state = count < min ? VN_PARSE_NO_MATCH : VN_PARSE_OK;
    return true;
}

bool vnGrammarData::walkThing(Item& item, Frame& frame)
{
    ++m_callCounter;
    bool isMatch = true;
    switch (item.kind)
    {
    case Item::SET:
        isMatch = matchSet(*item.set);
        break;
    case Item::TEXT:
        isMatch = matchText(*item.text);
        break;
    case Item::NAME:
        return walkName(item, frame);
    case Item::GROUP:
        return walkGroup(item, frame);
    case Item::MARK:
        pushMark(0);
        break;
    case Item::UNDO_MARK:
        pushMark(static_cast<unsigned char>(frame.state));
        break;
    case Item::COMMENT:
        break;
    case Item::FAULT:
        return fail(item.fault, item.end, frame);
    }
    frame.state = isMatch ? VN_PARSE_OK : VN_PARSE_NO_MATCH;
    return true;
}

bool vnGrammarData::walkName(Item& item, Frame& frame)
{
    frame.position = item.end;
    const vnParseResult result = call(*item.name);
    if (result == VN_PARSE_ERROR)
        return false;
    frame.state = result == VN_PARSE_OK ? VN_PARSE_OK : VN_PARSE_NO_MATCH;
    return true;
}

bool vnGrammarData::walkGroup(Item& item, Frame& frame)
{
    frame.position = item.begin;
    if (!mayEnter(frame.name))
        return false;
    const DepthGuard depth(m_depth);
    if (!walkChoice(*item.group, frame))
        return false;
    return !item.fault || item.repeat == Item::BROKEN || fail(item.fault, item.end, frame);
}

void vnGrammarData::pushMark(unsigned char flag)
{
    marks.push(vnGrammarMark{input.getPosition(), m_callCounter, flag});
}

void vnGrammarData::undoMarks(vnUInt64 callCounter, vnParseResult result)
{
    while (!marks.isEmpty() && marks.top().callCounter > callCounter)
    {
        const vnGrammarMark mark = marks.pop();
        if (!mark.flag)
            continue;
        input.close();
        door.callUndo(static_cast<unsigned int>(mark.callCounter), result);
        input.open();
    }
}

bool vnGrammarData::fail(const char* fault, unsigned int position, Frame& frame)
{
    frame.position = position;
    if (!fault)
        return false;
    const Place place = placeOf(frame.body.text, position);
    parser.setError(fault, frame.name.name, place.line, place.column, frame.body.text);
    return false;
}

bool vnGrammarData::passChoice(const vnGrammarChoice& choice, Frame& frame)
{
    for (const vnGrammarBranch& branch : choice.branches)
    {
        const vnUInt64 callCounter = m_callCounter;
        for (const vnGrammarElement& element : branch.elements)
            if (!passElement(element, frame))
                return false;
        ++m_callCounter;
        undoMarks(callCounter, VN_PARSE_NO_MATCH);
    }
    return true;
}

bool vnGrammarData::passElement(const vnGrammarElement& element, Frame& frame)
{
    if (!passItem(element.item, frame))
        return false;
    for (const Item& excluded : element.excluded)
        if (!passItem(excluded, frame))
            return false;
    return true;
}

bool vnGrammarData::passItem(const Item& item, Frame& frame)
{
    ++m_callCounter;
    if (item.kind == Item::MARK || item.kind == Item::UNDO_MARK)
        pushMark(item.kind == Item::MARK ? 0 : static_cast<unsigned char>(frame.state));
    else if (item.kind == Item::FAULT)
        return fail(item.fault, item.end, frame);
    else if (item.kind == Item::GROUP && !passChoice(*item.group, frame))
        return false;
    if (item.repeat == Item::BROKEN)
        return fail(item.fault, item.max, frame);
    return !item.fault || fail(item.fault, item.end, frame);
}

bool vnGrammarData::matchSet(const vnGrammarSet& set)
{
    if (input.getOpen() == 0 || !input.isPlain(*input.next()) || set.isEmpty())
        return matchSetSlowly(set);
    if (set.contains(*input.next(), input.getMode()))
    {
        input.take(1);
        return true;
    }
    input.look(1);
    return false;
}

bool vnGrammarData::matchSetSlowly(const vnGrammarSet& set)
{
    if (set.isEmpty())
        return true; // at the end of the input, too, where no other set matches
    if (!input.hasData())
        return false;
    const char16_t character = input.takeAny();
    if (set.contains(character, input.isByteText()))
        return true;
    input.giveBack(1);
    return false;
}

// Consumes up to `max` characters of the set. `tries` rises by the rounds that were tried.
unsigned int vnGrammarData::runSet(const vnGrammarSet& set, unsigned int max, vnUInt64& tries)
{
    unsigned int count = 0;
    while (count < max && input.hasData())
    {
        const std::size_t open = std::min<std::size_t>(max - count, input.getOpen());
        const unsigned char* begin = input.next();
        const auto taken =
            static_cast<unsigned int>(set.findEnd(begin, begin + open, input.getMode()) - begin);
        if (taken > 0)
        {
            if (set.hasLineFeed())
                input.takeLines(taken);
            else
                input.take(taken);
            count += taken;
            tries += taken;
            continue;
        }
        ++tries;
        if (!matchSet(set))
            return count;
        ++count;
    }
    return count;
}

bool vnGrammarData::matchText(const vnGrammarText& text)
{
    const vnParserCursor::Mode mode = input.getMode();
    const std::size_t size = text.bytes.size();
    const bool isOpen =
        mode == vnParserCursor::BYTES ? text.isByteable : mode == vnParserCursor::ASCII && text.isSeven;
    if (!isOpen || size == 0)
        return matchTextSlowly(text);
    if (input.getOpen() < size)
        return input.isAllThere() ? false : matchTextSlowly(text);
    const unsigned char* next = input.next();
    std::size_t same = 0;
    while (same < size && next[same] == static_cast<unsigned char>(text.bytes[same]))
        ++same;
    if (same == size)
    {
        if (text.hasLineFeed)
            input.takeLines(size);
        else
            input.take(size);
        return true;
    }
    if (text.hasLineFeed || !input.isPlain(next[same]))
        return matchTextSlowly(text);
    input.look(same + 1);
    return false;
}

bool vnGrammarData::matchTextSlowly(const vnGrammarText& text)
{
    if (!text.isSeven)
        input.detect(); // bytes or characters
    if (input.isByteText() && text.isByteable)
    {
        std::u16string bytes;
        for (const char c : text.bytes)
            bytes += static_cast<char16_t>(static_cast<unsigned char>(c));
        return checkTokens(bytes);
    }
    // A code beyond all characters has none to compare.
    if (text.characters.empty() && !text.bytes.empty())
        return false;
    return checkTokens(text.characters);
}

bool vnGrammarData::checkTokens(const std::u16string& characters)
{
    input.close();
    const bool is =
        parser.checkTokens(characters.data(), static_cast<unsigned int>(characters.size()), 0) != 0;
    input.open();
    return is;
}

void vnGrammarData::traceBegin(const char* format, const vnGrammarName& name)
{
    if (!isTracing)
        return;
    vnMessage::message(VN_MESSAGE_DEBUG, format, name.name, padding(name.name), parser.getLine(),
                       parser.getColumn());
}

void vnGrammarData::traceEnd(const char* format, const vnGrammarName& name, vnParseResult result)
{
    if (!isTracing)
        return;
    vnMessage::message(VN_MESSAGE_DEBUG, format, name.name, padding(name.name), parser.getLine(),
                       parser.getColumn(), vnBasicParser::parseResultString(result));
}
