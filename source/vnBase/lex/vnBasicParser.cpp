// SPDX-License-Identifier: MIT
#include <vnBase/vnBasicParser.h>

#include "core/vnUtfScan.h"
#include "vnParserCursor.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnProgress.h>

#include <cwctype>
#include <limits>
#include <string_view>

namespace
{
// Blocks of a fixed size compile to a few wide instructions; the last one overlaps.
void widen(const unsigned char* from, unsigned int count, char16_t* to) noexcept
{
    constexpr unsigned int VN_BLOCK = 8;
    const auto block = [from, to](unsigned int at)
    {
        unsigned char bytes[VN_BLOCK];
        char16_t characters[VN_BLOCK];
        std::memcpy(bytes, from + at, sizeof bytes);
        for (unsigned int i = 0; i < VN_BLOCK; ++i)
            characters[i] = bytes[i];
        std::memcpy(to + at, characters, sizeof characters);
    };
    if (count < VN_BLOCK)
    {
        std::copy_n(from, count, to);
        return;
    }
    for (unsigned int at = 0; at < count - VN_BLOCK; at += VN_BLOCK)
        block(at);
    block(count - VN_BLOCK);
}
} // namespace

void vnParserCursor::countLines(const unsigned char* begin, const unsigned char* feed,
                                unsigned int count) noexcept
{
    vnBasicParser& p = m_parser;
    const unsigned char* end = begin + count;
    const unsigned char* lineBegin = begin;
    while (feed)
    {
        ++p.m_line;
        p.m_previousColumn = p.m_column + static_cast<unsigned int>(feed - lineBegin);
        p.m_column = 0;
        lineBegin = feed + 1;
        feed = static_cast<const unsigned char*>(
            std::memchr(lineBegin, '\n', static_cast<std::size_t>(end - lineBegin)));
    }
    p.m_column = static_cast<unsigned int>(end - lineBegin);
    p.m_lineBegin = p.m_tokenPos + static_cast<unsigned int>(lineBegin - begin);
}

void vnParserCursor::takeForward(unsigned int count)
{
    while (count > 0)
    {
        const Mode mode = getMode();
        std::size_t open = mode == NONE ? 0 : static_cast<std::size_t>(end() - next());
        open = std::min<std::size_t>(open, count);
        if (mode == ASCII)
            open = static_cast<std::size_t>(
                std::find_if(next(), next() + open, [](unsigned char c) { return c >= 0x80; }) - next());
        if (open == 0)
        {
            takeAny();
            --count;
            continue;
        }
        takeLines(static_cast<unsigned int>(open));
        count -= static_cast<unsigned int>(open);
    }
}

vnBasicParser::vnBasicParser() = default;

vnBasicParser::~vnBasicParser() noexcept(false) = default;

void vnBasicParser::setAdapter(vnSerializeAdapter* adapter)
{
    flushTail();
    m_adapter = adapter;
    m_progressTotal = adapter ? adapter->length() : 0;
}

// Whether a whole character stands on the adapter, behind a mark.
bool vnBasicParser::hasCharacter()
{
    if (!m_lexer.hasLexToken(m_adapter))
        return false;
    m_isDetected = true;
    return true;
}

unsigned char vnBasicParser::hasData()
{
    return vnParserCursor(*this).hasData();
}

unsigned short vnBasicParser::getNextToken(unsigned char check)
{
    if (check && !hasData())
    {
        setError("Adapter out of Data");
        throw vnBasicParseException(0);
    }
    return takeToken();
}

unsigned short vnBasicParser::takeToken()
{
    if (!m_adapter)
        return 0;
    flushTail();
    if (m_historyEnd == m_history.getSize()) // first, since what was read must not get lost for want of room
        makeHistoryRoom(std::min(m_remembered, m_historyEnd), 1);
    const vnParserCursor cursor(*this);
    const vnParserCursor::Mode mode = cursor.getMode();
    char16_t character;
    if (mode != vnParserCursor::NONE && cursor.next() != cursor.end() &&
        (mode == vnParserCursor::BYTES || *cursor.next() < 0x80))
    {
        character = *cursor.next();
        vnAdapterWindow::advance(*m_adapter, cursor.next() + 1);
    }
    else
    {
        m_lexer.setMaxScanTokens(std::numeric_limits<unsigned int>::max()); // a stream may be longer
        character = m_lexer.getLexToken(m_adapter.get());
        m_isDetected = true;
    }
    remember(character);
    return character;
}

// There is room.
void vnBasicParser::remember(char16_t character) noexcept
{
    m_history.data()[m_historyEnd++] = character;
    m_remembered = m_remembered < m_maxBufferSize ? m_remembered + 1 : m_maxBufferSize;
    ++m_tokenPos;
    if (character != '\n')
    {
        ++m_column;
        return;
    }
    ++m_line;
    m_previousColumn = m_column;
    m_column = 0;
    m_lineBegin = m_tokenPos;
}

// The block holds up to twice what is kept, so that moving the kept part to its front is rare.
void vnBasicParser::makeHistoryRoom(unsigned int kept, unsigned int more)
{
    const vnUInt64 needed = static_cast<vnUInt64>(kept) + more;
    if (needed > m_history.getSize() / 2)
    {
        vnDynamicArray<char16_t> larger(64);
        larger.setSize(vnCheckedSize(std::max<vnUInt64>(2 * needed, 64)));
        std::copy_n(m_history.data() + (m_historyEnd - kept), kept, larger.data());
        m_history.swap(larger);
    }
    else
        std::memmove(m_history.data(), m_history.data() + (m_historyEnd - kept), kept * sizeof(char16_t));
    m_historyEnd = kept;
}

void vnBasicParser::flushTail()
{
    if (m_tail == 0)
        return;
    const unsigned int count = std::min(m_tail, m_remembered);
    const unsigned int kept = m_remembered - count;
    m_tail = 0;
    if (m_history.getSize() - m_historyEnd < count)
        try
        {
            makeHistoryRoom(kept, count);
        }
        catch (...)
        {
            // With no room for these nothing before them can be reached either, and the bytes in front of the
            // window may be others by the next call.
            m_historyEnd = m_remembered = 0;
            throw;
        }
    widen(vnAdapterWindow::next(*m_adapter) - count, count, m_history.data() + m_historyEnd);
    m_historyEnd += count;
}

// As one by one from the end: each line feed sets the column to where the last one stood.
template <class Character>
void vnBasicParser::undoLines(const Character* end, unsigned int count) noexcept
{
    const bool isInLine = count <= m_tokenPos - m_lineBegin;
    const auto feed = static_cast<Character>('\n');
    const Character* begin = end - count;
    const Character* first = isInLine ? end : std::find(begin, end, feed);
    if (!isInLine)
        m_lineBegin = m_tokenPos - count;
    if (first == end)
    {
        m_column -= count;
        return;
    }
    m_line -= static_cast<unsigned int>(std::count(first, end, feed));
    m_column = m_previousColumn - static_cast<unsigned int>(first - begin);
}
template void vnBasicParser::undoLines(const unsigned char* end, unsigned int count) noexcept;

void vnBasicParser::checkPushBack(unsigned int count)
{
    if (count <= m_remembered)
        return;
    flushTail(); // whoever receives the message may use the adapter
    vnExceptionThrows::vnThrowFatal("Too Large Pushback in basic parser");
}

void vnBasicParser::pushBackTokens(unsigned int count)
{
    vnParserCursor(*this).giveBack(count);
}

void vnBasicParser::giveBackHistory(unsigned int count)
{
    flushTail();
    undoLines(m_history.data() + m_historyEnd, count);
    if (!m_adapter) // the input was let go of
    {
        m_historyEnd -= count;
        m_remembered -= count;
        m_tokenPos -= count;
        return;
    }
    m_adapter->allocPushBack(count);
    const bool isByteText = this->isByteText();
    unsigned char bytes[256];
    for (unsigned int left = count; left > 0;)
    {
        const unsigned int step = isByteText ? std::min<unsigned int>(left, sizeof bytes) : 1;
        const char16_t* from = m_history.data() + (m_historyEnd - step);
        if (isByteText)
        {
            std::transform(from, from + step, bytes,
                           [](char16_t c) { return static_cast<unsigned char>(c); });
            vnAdapterWindow::unread(*m_adapter, bytes, step);
        }
        else
            m_lexer.pushBack(m_adapter.get(), *from);
        m_historyEnd -= step;
        m_remembered -= step;
        m_tokenPos -= step;
        left -= step;
    }
}

unsigned char vnBasicParser::checkTokens(const char16_t* text, unsigned int count, unsigned char ignoreCase)
{
    if (!m_adapter || (count > 0 && !m_isDetected && !hasData())) // the bytes of a mark are no characters
        return 0;
    flushTail();
    bool isEqual = false;
    if (!ignoreCase && checkInWindow(text, count, isEqual))
        return isEqual;
    // 16-bit text is asked for all of its bytes: reading behind the end would invent characters.
    const vnUInt64 bytes = static_cast<vnUInt64>(count) * m_lexer.getTokenSize();
    if (bytes > std::numeric_limits<unsigned int>::max() ||
        !m_adapter->hasData(static_cast<unsigned int>(bytes)))
        return 0;
    for (unsigned int i = 0; i < count; ++i)
    {
        // The bytes may be fewer characters than are compared, and an estimate may be of half a character.
        if ((i > 0 || m_lexer.isUnicode()) && !hasData())
        {
            pushBackTokens(i);
            return 0;
        }
        const char16_t character = takeToken();
        if (character == text[i] || (ignoreCase && std::towupper(static_cast<std::wint_t>(character)) ==
                                                       std::towupper(static_cast<std::wint_t>(text[i]))))
            continue;
        pushBackTokens(i + 1);
        return 0;
    }
    return 1;
}

// Answers false when the bytes of the window don't tell, or when reading and giving back would leave a trace.
bool vnBasicParser::checkInWindow(const char16_t* text, unsigned int count, bool& isEqual)
{
    vnParserCursor cursor(*this);
    const vnParserCursor::Mode mode = cursor.getMode();
    if (count == 0 || mode == vnParserCursor::NONE ||
        static_cast<std::size_t>(cursor.end() - cursor.next()) < count)
        return false;
    const unsigned char* next = cursor.next();
    const unsigned int limit = mode == vnParserCursor::BYTES ? 0x100 : 0x80;
    unsigned int same = 0;
    while (same < count && next[same] == text[same] && next[same] < limit)
        ++same;
    isEqual = same == count;
    if (!isEqual)
        return next[same] < limit && !std::memchr(next, '\n', same + 1) && cursor.hasRoomFor(same + 1);
    cursor.takeLines(count);
    cursor.leave();
    return true;
}

bool vnBasicParser::isByteText() const noexcept
{
    return !m_lexer.isUnicode() && !m_lexer.isUtf8();
}

// By distances, since positions begin anew at 0 in a long stream.
const char16_t* vnBasicParser::findHistory(unsigned int position, unsigned int& count) const
{
    const unsigned int back = m_tokenPos - position; // of a position that is yet to come it is large
    const unsigned int found = std::min(back, m_remembered);
    const unsigned int forgotten = back - found;
    count = std::min(count, back);
    count = count > forgotten ? count - forgotten : 0;
    return m_history.data() + (m_historyEnd - found);
}

vnString vnBasicParser::getTokenData(unsigned int position, unsigned short count)
{
    flushTail();
    unsigned int wanted = count;
    const char16_t* from = findHistory(position, wanted);
    return vnString(from, static_cast<unsigned short>(wanted), isByteText());
}

void vnBasicParser::getTokenData(vnArray<unsigned char>& data, unsigned int position, unsigned int count)
{
    flushTail();
    const char16_t* from = findHistory(position, count);
    const bool isByteText = this->isByteText();
    vnDynamicArray<unsigned char> bytes(1024);
    for (const char16_t c : std::u16string_view(from, count))
    {
        char encoded[3] = {static_cast<char>(c)};
        const unsigned char size = isByteText ? 1 : vnUtf::sizeOf(c);
        if (size > 1)
            vnUtf::encode(encoded, c, size);
        bytes.append(reinterpret_cast<const unsigned char*>(encoded), size);
    }
    data = vnArray<unsigned char>(bytes.data(), bytes.getSize());
}

void vnBasicParser::reset()
{
    flushTail();
    m_error.clear();
    m_historyEnd = m_remembered = 0;
    m_line = m_column = m_previousColumn = 0;
    m_tokenPos = m_lineBegin = 0;
    m_lastPercent = -1;
}

void vnBasicParser::continueParsingFrom(vnBasicParser* other)
{
    if (!other || other == this)
        return;
    other->flushTail();
    setAdapter(other->m_adapter.get());
    m_progressTotal = other->m_progressTotal;
    m_lastPercent = other->m_lastPercent; // what was reported is not reported again
    m_lexer = other->m_lexer;
    m_isDetected = other->m_isDetected;
    m_history = other->m_history;
    m_historyEnd = other->m_historyEnd;
    m_remembered = other->m_remembered;
    m_maxBufferSize = std::max(m_maxBufferSize, other->m_maxBufferSize); // or some of that would be forgotten
    m_line = other->m_line;
    m_column = other->m_column;
    m_previousColumn = other->m_previousColumn;
    m_tokenPos = other->m_tokenPos;
    m_lineBegin = other->m_lineBegin;
}

void vnBasicParser::reportProgress(unsigned char force)
{
    if (!m_useProgress || m_progressTotal == 0 || m_progressMessage.isEmpty())
        return;
    vnUInt64 percent = 100;
    if (!force)
    {
        const vnUInt64 left = m_adapter ? m_adapter->length() : 0;
        percent = left < m_progressTotal ? (m_progressTotal - left) * 100 / m_progressTotal : 0;
    }
    if (!force && static_cast<signed char>(percent) == m_lastPercent)
        return;
    m_lastPercent = static_cast<signed char>(percent);
    vnProgress::progress(static_cast<unsigned char>(percent), m_progressMessage.getString());
}

void vnBasicParser::useUnicode(unsigned char use, unsigned char bigEndian) noexcept
{
    m_lexer.useUnicode(use, bigEndian);
}

void vnBasicParser::useUtf8(unsigned char use) noexcept
{
    m_lexer.useUtf8(use);
}

vnString vnBasicParser::parseResultString(vnParseResult result)
{
    switch (result)
    {
    case VN_PARSE_ERROR:
        return "Error";
    case VN_PARSE_OK:
        return "OK";
    case VN_PARSE_NO_MATCH:
        return "No Match";
    }
    return "Unknown Error";
}

vnParseResult vnBasicParser::parseFunction(const vnString& name)
{
    setError("Unknow parse function '%s'", name);
    return VN_PARSE_ERROR;
}
