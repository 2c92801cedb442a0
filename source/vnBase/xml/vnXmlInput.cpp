// SPDX-License-Identifier: MIT
#include "vnXmlInput.h"

#include <vnBase/vnMemory.h>

#include <limits>

namespace
{
constexpr int firstLine = 3000; // as in the sources of the reader

constexpr bool isHighSurrogate(int c) noexcept
{
    return c >= 0xD800 && c <= 0xDBFF;
}
constexpr bool isLowSurrogate(int c) noexcept
{
    return c >= 0xDC00 && c <= 0xDFFF;
}
constexpr int joined(int high, int low) noexcept
{
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}
constexpr char16_t highOf(int c) noexcept
{
    return static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
}
constexpr char16_t lowOf(int c) noexcept
{
    return static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
}
constexpr unsigned int VN_BLOCK = 16; // loops of this fixed size compile to a few wide instructions

bool isAscii(const unsigned char* block) noexcept
{
    vnUInt64 words[2];
    std::memcpy(words, block, sizeof words);
    return ((words[0] | words[1]) & 0x8080808080808080u) == 0;
}

void widen(const unsigned char* block, char16_t* to) noexcept
{
    unsigned char bytes[VN_BLOCK];
    char16_t units[VN_BLOCK];
    std::memcpy(bytes, block, sizeof bytes);
    for (unsigned int i = 0; i < VN_BLOCK; ++i)
        units[i] = bytes[i];
    std::memcpy(to, units, sizeof units);
}

bool hasLineFeed(const unsigned char* block) noexcept
{
    unsigned char bytes[VN_BLOCK];
    unsigned char is[VN_BLOCK];
    std::memcpy(bytes, block, sizeof bytes);
    for (unsigned int i = 0; i < VN_BLOCK; ++i)
        is[i] = bytes[i] == '\n' ? 0xFF : 0;
    vnUInt64 words[2];
    std::memcpy(words, is, sizeof words);
    return (words[0] | words[1]) != 0;
}

unsigned int countLineFeeds(const unsigned char* from, const unsigned char* to) noexcept
{
    unsigned int count = 0;
    while (to - from >= static_cast<std::ptrdiff_t>(VN_BLOCK))
    {
        unsigned char sums[VN_BLOCK] = {};
        const auto blocks = std::min<std::ptrdiff_t>((to - from) / VN_BLOCK, 255);
        for (std::ptrdiff_t block = 0; block < blocks; ++block, from += VN_BLOCK)
            for (unsigned int i = 0; i < VN_BLOCK; ++i)
                sums[i] = static_cast<unsigned char>(sums[i] + (from[i] == '\n'));
        for (const unsigned char sum : sums)
            count += sum;
    }
    return count + static_cast<unsigned int>(std::count(from, to, static_cast<unsigned char>('\n')));
}

unsigned int countTokens(const unsigned char* from, const unsigned char* to) noexcept
{
    unsigned int count = 0;
    for (; from != to; ++from)
        count += ((*from & 0xC0) != 0x80) + (*from >= 0xF0);
    return count;
}
} // namespace

/// Lets the parser remember more for a while, so that looking ahead pushes nothing out that a text may be
/// made of.
class vnXmlInput::MoreMemory
{
public:
    MoreMemory(vnBasicParser& parser, unsigned int count) noexcept
        : m_parser(parser), m_max(parser.m_maxBufferSize)
    {
        parser.m_maxBufferSize = std::max(m_max, parser.m_remembered + count);
    }
    MoreMemory(const MoreMemory&) = delete;
    MoreMemory& operator=(const MoreMemory&) = delete;
    ~MoreMemory()
    {
        m_parser.m_maxBufferSize = m_max;
        m_parser.m_remembered = std::min(m_parser.m_remembered, m_max);
    }

private:
    vnBasicParser& m_parser;
    unsigned int m_max;
};

// Only what the character reader of the parser takes as one character, too; and four bytes, which it does
// not.
vnXmlInput::Decoded vnXmlInput::decode(const unsigned char* next, const unsigned char* end) noexcept
{
    const auto open = end - next;
    if (open < 2 || *next < 0xC2 || (next[1] & 0xC0) != 0x80)
        return {0, 0};
    const int lead = *next;
    int c = next[1] & 0x3F;
    if (lead < 0xE0)
        return {(lead & 0x1F) << 6 | c, 2};
    if (open < 3 || (next[2] & 0xC0) != 0x80)
        return {0, 0};
    c = c << 6 | (next[2] & 0x3F);
    if (lead < 0xF0)
    {
        c |= (lead & 0x0F) << 12;
        return {c, c < 0x800 || (c >= 0xD800 && c <= 0xDFFF) ? 0u : 3u};
    }
    if (open < 4 || (next[3] & 0xC0) != 0x80)
        return {0, 0};
    c = (lead & 0x0F) << 18 | c << 6 | (next[3] & 0x3F);
    return {c, lead > 0xF4 || c < 0x10000 || c > 0x10FFFF ? 0u : 4u};
}

void vnXmlInput::open()
{
    closeWindow();
    m_maxByte = -1;
    m_mode = vnParserCursor::NONE;
    if (!m_parser.m_adapter)
        return;
    m_cursor.openMemory();
    m_mode = m_cursor.getMode();
    if (m_mode == vnParserCursor::NONE)
        return;
    const bool isBytes = m_mode == vnParserCursor::BYTES;
    m_table = isBytes ? vnXmlClass::byteTable : vnXmlClass::utf8Table;
    m_maxByte = isBytes ? 0xFF : 0x7F;
    openWindow();
    m_progressAt = m_begin;
}

// Behind characters that did not stand in the window: it may be there now.
void vnXmlInput::resumeSlowly()
{
    const vnSerializeAdapter& adapter = *m_parser.m_adapter;
    if (vnAdapterWindow::next(adapter) != vnAdapterWindow::end(adapter) || m_maxByte < 0)
        open();
    else
        closeWindow();
}

void vnXmlInput::openWindow()
{
    m_base = m_parser.getTokenPos();
    m_begin = m_next = m_cursor.next();
    m_end = m_cursor.end();
    m_limit = m_begin + std::min<std::size_t>(static_cast<std::size_t>(m_end - m_begin), getSizeLeft());
}

void vnXmlInput::abandon() noexcept
{
    try
    {
        close();
    }
    catch (...)
    {
        // Out of memory for what is remembered. Nothing of it is asked for any more.
        m_parser.m_tail = m_parser.m_remembered = m_parser.m_historyEnd = 0;
        closeWindow();
    }
}

void vnXmlInput::settle()
{
    if (m_next == m_begin)
        return;
    if (m_extra == 0)
        m_cursor.takeLines(static_cast<unsigned int>(m_next - m_begin));
    else
        takeUtf8(m_begin, m_next);
    m_begin = m_next;
    m_extra = 0;
    m_base = m_parser.getTokenPos();
}

// What stands between two notifications is most often a few bytes, which are remembered and looked through
// for line feeds at once. Answers false when it is more than that.
bool vnXmlInput::settleShort() noexcept
{
    vnBasicParser& p = m_parser;
    constexpr unsigned int VN_SHORT = 256;
    const auto count = static_cast<std::size_t>(m_next - m_begin);
    if (count == 0 || count > VN_SHORT || m_extra != 0 || p.m_tail != 0 ||
        p.m_history.getSize() - p.m_historyEnd < count + VN_BLOCK || p.m_remembered > p.m_maxBufferSize)
        return false;
    char16_t* to = p.m_history.data() + p.m_historyEnd;
    bool hasLines = false;
    const unsigned char* from = m_begin;
    for (; m_end - from >= static_cast<std::ptrdiff_t>(VN_BLOCK) && from < m_next;
         from += VN_BLOCK, to += VN_BLOCK)
    {
        widen(from, to);
        hasLines |= hasLineFeed(from);
    }
    for (; from < m_next; ++from)
    {
        *to++ = *from;
        hasLines |= *from == '\n';
    }
    const auto tokens = static_cast<unsigned int>(count);
    p.m_historyEnd += tokens;
    p.m_remembered = std::min(p.m_remembered + tokens, p.m_maxBufferSize);
    p.m_tokenPos += tokens;
    vnAdapterWindow::advance(*p.m_adapter, m_next);
    if (hasLines) // or what stands behind has some
        countLines(m_begin, m_next, tokens);
    else
        p.m_column += tokens;
    return true;
}

// The bytes are well-formed and stand at the start of the adapter's window.
void vnXmlInput::takeUtf8(const unsigned char* begin, const unsigned char* end)
{
    vnBasicParser& p = m_parser;
    p.flushTail();
    const auto tokens = static_cast<unsigned int>(end - begin) - m_extra;
    remember(begin, end, tokens);
    vnAdapterWindow::advance(*p.m_adapter, end);
    p.m_tokenPos += tokens;
    countLines(begin, end, tokens);
}

// Of what was just taken.
void vnXmlInput::countLines(const unsigned char* begin, const unsigned char* end,
                            unsigned int tokens) noexcept
{
    vnBasicParser& p = m_parser;
    const auto* last =
        static_cast<const unsigned char*>(memrchr(begin, '\n', static_cast<std::size_t>(end - begin)));
    if (!last)
    {
        p.m_column += tokens;
        return;
    }
    const auto* before =
        static_cast<const unsigned char*>(memrchr(begin, '\n', static_cast<std::size_t>(last - begin)));
    p.m_previousColumn = before ? countTokens(before + 1, last) : p.m_column + countTokens(begin, last);
    p.m_line += countLineFeeds(begin, end);
    p.m_column = countTokens(last + 1, end);
    p.m_lineBegin = p.m_tokenPos - p.m_column;
}

// Only as much as the parser may remember is decoded.
void vnXmlInput::remember(const unsigned char* begin, const unsigned char* end, unsigned int tokens)
{
    vnBasicParser& p = m_parser;
    const unsigned int max = p.m_maxBufferSize;
    if (tokens > max)
    {
        // From the end, as many bytes as there are tokens missing.
        const unsigned char* first = begin;
        begin = end;
        for (tokens = 0; tokens < max && begin != first;)
        {
            const std::size_t missing = max - tokens;
            const unsigned char* behind = begin;
            begin -= std::min<std::size_t>(missing, static_cast<std::size_t>(begin - first));
            tokens += countTokens(begin, behind);
        }
        while (begin != end && (*begin & 0xC0) == 0x80)
            ++begin;
    }
    if (p.m_history.getSize() - p.m_historyEnd < tokens)
        p.makeHistoryRoom(std::min(p.m_remembered, p.m_historyEnd), tokens);
    char16_t* to = p.m_history.data() + p.m_historyEnd;
    for (const unsigned char* at = begin; at != end;)
    {
        if (end - at >= static_cast<std::ptrdiff_t>(VN_BLOCK) && isAscii(at))
        {
            widen(at, to);
            to += VN_BLOCK;
            at += VN_BLOCK;
            continue;
        }
        if (*at < 0x80)
        {
            *to++ = *at++;
            continue;
        }
        const Decoded decoded = decode(at, end);
        at += decoded.size;
        if (decoded.character > 0xFFFF)
        {
            *to++ = highOf(decoded.character);
            *to++ = lowOf(decoded.character);
        }
        else
            *to++ = static_cast<char16_t>(decoded.character);
    }
    const auto historyEnd = static_cast<unsigned int>(to - p.m_history.data());
    const unsigned int count = historyEnd - p.m_historyEnd;
    p.m_historyEnd = historyEnd;
    p.m_remembered = p.m_remembered <= max && count < max - p.m_remembered ? p.m_remembered + count : max;
}

unsigned int vnXmlInput::getSizeLeft() const noexcept
{
    const unsigned int most = m_maxSize > 0 ? m_maxSize : 0xFFFFFFFFu;
    const unsigned int read = getPosition() - m_sizeBegin;
    return read < most ? most - read : 0;
}

bool vnXmlInput::refill()
{
    close();
    const bool has = m_cursor.hasData();
    open();
    if (has && getSizeLeft() == 0)
    {
        m_parser.setError("%s", VN_TOO_LARGE);
        throw vnBasicParseException(0);
    }
    return has;
}

int vnXmlInput::peekSlow()
{
    if (m_next < m_limit)
    {
        const Decoded decoded = decode(m_next, m_limit);
        if (decoded.size)
            return decoded.character;
    }
    else if (!refill())
        return VN_END;
    else if (m_next < m_limit)
        return peek();
    return lookAtUnit();
}

// Before tokens are taken from the adapter: what was read must not get lost for want of room.
void vnXmlInput::makeRoom(unsigned int tokens)
{
    vnBasicParser& p = m_parser;
    if (p.m_history.getSize() - p.m_historyEnd < tokens)
        p.makeHistoryRoom(std::min(p.m_remembered, p.m_historyEnd), tokens);
}

// One byte that is a character of its own, where a look at the adapter tells so. Answers false otherwise.
bool vnXmlInput::readByte(bool keep, int& character)
{
    vnBasicParser& p = m_parser;
    if (m_maxByte < 0)
        return false;
    if (keep)
        makeRoom(1);
    vnSerializeAdapter& adapter = *p.m_adapter;
    const unsigned char byte = adapter.read();
    const bool isWhole = byte <= m_maxByte;
    if (!isWhole || !keep)
        vnAdapterWindow::unread(adapter, &byte, 1);
    if (!isWhole)
        return false;
    character = byte;
    if (keep)
        p.remember(byte);
    return true;
}

// At least one token, not from the window.
int vnXmlInput::lookAtUnit()
{
    close();
    int character = 0;
    if (!readByte(false, character) && !readWide(false, character))
    {
        const MoreMemory more(m_parser, 2);
        const unsigned int begin = m_parser.getTokenPos();
        character = m_parser.takeToken();
        if (isHighSurrogate(character) && m_parser.hasData())
        {
            const int low = m_parser.takeToken();
            if (isLowSurrogate(low))
                character = joined(character, low);
        }
        m_parser.pushBackTokens(m_parser.getTokenPos() - begin);
    }
    resumeSlowly();
    return character;
}

// A character of four bytes of UTF-8, which the parser itself would not read. Without `keep` it stays.
bool vnXmlInput::readWide(bool keep, int& character)
{
    vnBasicParser& p = m_parser;
    if (m_maxByte != 0x7F)
        return false;
    if (keep)
        makeRoom(2);
    vnSerializeAdapter& adapter = *p.m_adapter;
    unsigned char bytes[4] = {adapter.read()};
    unsigned int count = 1;
    while (bytes[0] >= 0xF0 && count < 4 && adapter.hasData())
    {
        bytes[count++] = adapter.read();
        if ((bytes[count - 1] & 0xC0) != 0x80)
            break;
    }
    const Decoded decoded = decode(bytes, bytes + count);
    const bool isWide = decoded.size == 4;
    if (!isWide || !keep)
        vnAdapterWindow::unread(adapter, bytes, count);
    if (!isWide)
        return false;
    character = decoded.character;
    if (keep)
    {
        p.remember(highOf(character));
        p.remember(lowOf(character));
    }
    return true;
}

int vnXmlInput::takeSlow()
{
    if (m_next < m_limit)
    {
        const Decoded decoded = decode(m_next, m_limit);
        if (decoded.size)
        {
            takeDecoded(decoded);
            return decoded.character;
        }
    }
    else if (!refill())
        return VN_END;
    else if (m_next < m_limit && *m_next <= m_maxByte)
        return *m_next++;
    close();
    int character = 0;
    if (!readByte(true, character) && !readWide(true, character))
    {
        character = m_parser.takeToken();
        if (isHighSurrogate(character) && m_parser.hasData())
        {
            const int low = lookAtUnit();
            close();
            if (isLowSurrogate(low))
                character = joined(character, m_parser.takeToken());
        }
    }
    resumeSlowly();
    return character;
}

bool vnXmlInput::acceptSlow(const char* text, unsigned int count, bool giveBack)
{
    close();
    const MoreMemory more(m_parser, count);
    const unsigned int begin = m_parser.getTokenPos();
    unsigned int same = 0;
    for (open(); same < count && peek() == text[same]; ++same)
        take();
    close();
    const bool isSame = same == count;
    if (!isSame || giveBack)
        m_parser.pushBackTokens(m_parser.getTokenPos() - begin);
    open();
    return isSame;
}

bool vnXmlInput::skipText(vnXmlClass::Bit bit, bool onlyChars)
{
    bool any = false;
    for (;;)
    {
        any |= skip(bit);
        while (m_next<m_limit&& * m_next> m_maxByte)
        {
            const Decoded decoded = decode(m_next, m_limit);
            if (decoded.size == 0 || (onlyChars && !vnXmlClass::isChar(decoded.character)))
                break;
            takeDecoded(decoded);
            any = true;
        }
        if (m_next < m_limit && *m_next <= m_maxByte)
        {
            if (m_table[*m_next] & bit)
                continue;
            return any;
        }
        const int c = peek();
        if (c < 0x80 ? c == VN_END || !(m_table[c] & bit) : onlyChars && !vnXmlClass::isChar(c))
            return any;
        take();
        any = true;
    }
}

void vnXmlInput::moveTo(const Mark& mark)
{
    if (mark.serial == m_serial && mark.next >= m_begin)
    {
        m_extra = mark.next == m_begin ? 0 : mark.extra;
        m_next = mark.next;
        return;
    }
    const unsigned int count = getPosition() - mark.position;
    close();
    if (count > m_parser.m_remembered)
    {
        // What a document reads takes a few tokens back; other productions may have gone on without end.
        m_parser.setError("%s", vnGenerateDebugString("vnXML", firstLine + __LINE__, VN_BASE_VERSION_TEXT));
        throw vnBasicParseException(0);
    }
    m_parser.pushBackTokens(count);
    open();
}

std::string_view vnXmlInput::getOldText(unsigned int position, unsigned int count)
{
    close();
    const char16_t* from = m_parser.findHistory(position, count);
    const bool isByteText = m_parser.isByteText();
    m_text.setSize(3 * count); // the most that a token takes
    char* to = m_text.data();
    for (unsigned int i = 0; i < count; ++i)
    {
        int c = from[i];
        if (isByteText || c < 0x80)
        {
            *to++ = static_cast<char>(c);
            continue;
        }
        if (isHighSurrogate(c) && i + 1 < count && isLowSurrogate(from[i + 1]))
            c = joined(c, from[++i]);
        if (c < 0x800)
            *to++ = static_cast<char>(0xC0 | c >> 6);
        else
        {
            if (c < 0x10000)
                *to++ = static_cast<char>(0xE0 | c >> 12);
            else
            {
                *to++ = static_cast<char>(0xF0 | c >> 18);
                *to++ = static_cast<char>(0x80 | (c >> 12 & 0x3F));
            }
            *to++ = static_cast<char>(0x80 | (c >> 6 & 0x3F));
        }
        *to++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    open();
    return {m_text.data(), static_cast<std::size_t>(to - m_text.data())};
}

// How many bytes until the percentage is another one. As the parser reckons it.
std::size_t vnXmlInput::getBytesToPercent() const
{
    const vnBasicParser& p = m_parser;
    const vnUInt64 total = p.m_progressTotal;
    if (!p.m_useProgress || total == 0 || p.m_progressMessage.isEmpty())
        return std::numeric_limits<std::size_t>::max();
    const vnUInt64 left = p.m_adapter->length();
    const vnUInt64 read = left < total ? total - left : 0;
    const vnUInt64 next = ((read * 100 / total + 1) * total + 99) / 100;
    return static_cast<std::size_t>(next + std::max(left, total) - total - read);
}

void vnXmlInput::reportProgressSlow()
{
    close();
    m_parser.reportProgress(0);
    resume();
    if (m_next != m_limit)
        m_progressAt = m_next + std::min(getBytesToPercent(), static_cast<std::size_t>(m_limit - m_next));
}

void vnXmlInput::failOutOfData()
{
    close();
    m_parser.setError("Adapter out of Data");
    throw vnBasicParseException(0);
}
