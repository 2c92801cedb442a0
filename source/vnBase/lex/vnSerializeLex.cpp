// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeLex.h>

#include "core/vnUtfScan.h"
#include "serialize/vnAdapterWindow.h"
#include "serialize/vnDelivery.h"
#include "serialize/vnReadClaimed.h"
#include "vnLexClass.h"
#include "vnLexMachine.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnUtf.h>

#include <algorithm>

namespace
{
struct Mark
{
    unsigned char bytes[3];
    unsigned int size;
};
constexpr Mark littleMark{{0xFF, 0xFE, 0}, 2};
constexpr Mark bigMark{{0xFE, 0xFF, 0}, 2};
constexpr Mark utf8Mark{{0xEF, 0xBB, 0xBF}, 3};

// Takes the mark when it comes next. Its bytes are asked for one by one, since a length may tell more or less
// than there is; behind a byte that is none of it nothing is waited for.
bool takeMark(vnSerializeAdapter& adapter, const Mark& mark)
{
    const unsigned char* next = vnAdapterWindow::next(adapter);
    if (next != vnAdapterWindow::end(adapter) && *next != mark.bytes[0])
        return false;
    unsigned char bytes[sizeof mark.bytes];
    bool isMark = true;
    const auto read = [&](unsigned int& done)
    {
        while (isMark && done < mark.size && adapter.hasData())
        {
            bytes[done] = adapter.read();
            isMark = bytes[done] == mark.bytes[done];
            ++done;
        }
    };
    const unsigned int count = vnDeliver(adapter, bytes, 0, read);
    if (isMark && count == mark.size)
        return true;
    vnAdapterWindow::unread(adapter, bytes, count);
    return false;
}

// Whether a byte comes next. A source that says so and tells no length may have come to its end, and gives
// none then.
bool hasByte(vnSerializeAdapter& adapter)
{
    if (vnAdapterWindow::held(adapter) > 0)
        return true;
    if (!adapter.hasData())
        return false;
    if (adapter.length() > 0)
        return true;
    unsigned char byte = 0;
    const unsigned int count = vnReadSome(adapter, &byte, 0);
    vnAdapterWindow::unread(adapter, &byte, count);
    return count > 0;
}

// Whether two bytes come next. A probe for both would be an error where there is one, and neither an estimate
// nor a length of what is at hand tells of the second.
bool hasUnit(vnSerializeAdapter& adapter)
{
    if (vnAdapterWindow::held(adapter) >= 2)
        return true;
    if (!hasByte(adapter))
        return false;
    if (adapter.length() >= 2 && !vnAdapterWindow::estimates(adapter))
        return true;
    unsigned char first = 0;
    bool hasSecond = false;
    const auto ask = [&](unsigned int& done)
    {
        first = adapter.read();
        done = 1;
        hasSecond = adapter.hasData();
    };
    vnAdapterWindow::unread(adapter, &first, vnDeliver(adapter, &first, 0, ask));
    return hasSecond;
}

unsigned char encodeUtf8(char16_t c, unsigned char* to)
{
    const unsigned char size = vnUTF8Size(static_cast<unsigned int>(c));
    vnUtf::encode(reinterpret_cast<char*>(to), c, size);
    return size;
}

// What is longer than a text ends between two characters.
vnString textOf(const unsigned char* bytes, unsigned int count, bool isUtf8)
{
    unsigned int length = std::min(count, vnString::VN_MAX_LENGTH);
    while (isUtf8 && length < count && length > 0 && vnUtf::isContinuation(bytes[length]))
        --length;
    return vnString(reinterpret_cast<const char*>(bytes), static_cast<unsigned short>(length));
}
} // namespace

vnSerializeLex::vnSerializeLex(unsigned char detectUnicode, unsigned char detectUtf8)
    : m_options(VN_LEX_SLASH_COMMENT | VN_LEX_BLOCK_COMMENT | VN_LEX_ESCAPES | VN_LEX_BIG_ENDIAN |
                VN_LEX_PENDING | (detectUnicode ? VN_LEX_DETECT_UNICODE : 0u) |
                (detectUtf8 ? VN_LEX_DETECT_UTF8 : 0u))
{
}

void vnSerializeLex::read(vnSerializeAdapter* adapter)
{
    m_scanned.clear();
    m_token.type = VN_LEX_NONE;
    m_value = Value::NOTHING;
    if (readInWindow(*adapter))
        return;
    vnLexMachine(*this, *adapter).run();
}

void vnSerializeLex::write(vnSerializeAdapter* adapter)
{
    if (m_options & VN_LEX_PENDING)
    {
        if ((m_options & VN_LEX_UNICODE) && (m_options & VN_LEX_DETECT_UNICODE))
        {
            const Mark& mark = m_options & VN_LEX_BIG_ENDIAN ? bigMark : littleMark;
            adapter->write(mark.bytes, mark.size);
        }
        // Also behind the 16-bit mark: what was asked to be detected is written, and nobody asks for both.
        if (m_options & VN_LEX_DETECT_UTF8)
            adapter->write(utf8Mark.bytes, utf8Mark.size);
        m_options &= ~VN_LEX_PENDING;
    }
    keepValue();
    m_scanned.clear();
    if (m_token.type == VN_LEX_TOKEN)
        adapter->write(static_cast<unsigned char>(static_cast<unsigned int>(getData().getNumber())));
    else if (m_token.type == VN_LEX_IDENTIFIER || m_token.type == VN_LEX_STRING)
    {
        const vnString text = getData().getString();
        adapter->write(reinterpret_cast<const unsigned char*>(text.getString()), text.length());
    }
}

void vnSerializeLex::pushBack(vnSerializeAdapter* adapter)
{
    giveBack(*adapter, m_scanned.getCount());
}

void vnSerializeLex::pushBack(vnSerializeAdapter* adapter, char16_t character)
{
    const Raw raw = encode(character);
    vnAdapterWindow::unread(*adapter, raw.bytes, raw.size);
    refund(raw.size);
}

unsigned int vnSerializeLex::getDataSize(vnSerializeAdapter*) const
{
    return 0;
}

void vnSerializeLex::qPush(unsigned short character)
{
    keepValue();
    const Raw raw = encode(character);
    m_scanned.append(raw.bytes, raw.size);
    m_lastSize = raw.size;
}

void vnSerializeLex::qPushBack(vnSerializeAdapter* adapter)
{
    giveBack(*adapter, getLastSize());
}

char16_t vnSerializeLex::getLexToken(vnSerializeAdapter* adapter)
{
    if (m_options & VN_LEX_PENDING)
        detect(*adapter);
    Raw raw;
    const char16_t character = readCharacter(*adapter, raw);
    if (raw.isFaulty)
        warnOfFault();
    return character;
}

unsigned char vnSerializeLex::hasLexToken(vnSerializeAdapter* adapter)
{
    if (m_options & VN_LEX_PENDING)
    {
        if (!adapter->hasData())
            return 0;
        detect(*adapter);
    }
    return isUnicode() ? hasUnit(*adapter) : adapter->hasData();
}

vnString vnSerializeLex::getScannedBuffer() const
{
    if (!isUnicode())
        return textOf(m_scanned.data(), m_scanned.getCount(), isUtf8());
    Bytes text;
    const bool isBig = (m_options & VN_LEX_BIG_ENDIAN) != 0;
    for (unsigned int i = 0; i + 1 < m_scanned.getCount(); i += 2)
    {
        const unsigned char* unit = m_scanned.data() + i;
        unsigned char bytes[3];
        const unsigned int size =
            encodeUtf8(static_cast<char16_t>(isBig ? unit[0] << 8 | unit[1] : unit[1] << 8 | unit[0]), bytes);
        if (text.getCount() + size > vnString::VN_MAX_LENGTH)
            break;
        text.append(bytes, size);
    }
    return textOf(text.data(), text.getCount(), true);
}

unsigned int vnSerializeLex::getEncoding(char16_t character) const noexcept
{
    const unsigned int result = vnLexClasses[std::min<unsigned int>(character, 255)];
    if (!(m_options & VN_LEX_PLAIN_IDENTIFIER) || (result & VN_CLASS_LETTER))
        return result;
    return result & ~(VN_CLASS_IDENTIFIER_START | VN_CLASS_IDENTIFIER);
}

unsigned int vnSerializeLex::getTokenSize() const noexcept
{
    return m_options & VN_LEX_UNICODE ? 2 : 1;
}

void vnSerializeLex::setOption(unsigned int option, unsigned char use) noexcept
{
    m_options = use ? m_options | option : m_options & ~option;
}

void vnSerializeLex::useHashComment(unsigned char use) noexcept
{
    setOption(VN_LEX_HASH_COMMENT, use);
}

void vnSerializeLex::useSlashComment(unsigned char use) noexcept
{
    setOption(VN_LEX_SLASH_COMMENT, use);
}

void vnSerializeLex::useComment(unsigned char use) noexcept
{
    setOption(VN_LEX_BLOCK_COMMENT, use);
}

void vnSerializeLex::useStrings(unsigned char use) noexcept
{
    setOption(VN_LEX_STRINGS, use);
}

void vnSerializeLex::useSet(unsigned char use) noexcept
{
    setOption(VN_LEX_SETS, use);
}

void vnSerializeLex::useEscape(unsigned char use) noexcept
{
    setOption(VN_LEX_ESCAPES, use);
}

void vnSerializeLex::useUnicode(unsigned char use, unsigned char bigEndian) noexcept
{
    setOption(VN_LEX_UNICODE, use);
    setOption(VN_LEX_BIG_ENDIAN, bigEndian);
    if (use)
        setOption(VN_LEX_UTF8, 0);
}

void vnSerializeLex::useUtf8(unsigned char use) noexcept
{
    setOption(VN_LEX_UTF8, use);
    if (use)
        setOption(VN_LEX_UNICODE, 0);
}

unsigned char vnSerializeLex::isUnicode() const noexcept
{
    return (m_options & VN_LEX_UNICODE) != 0;
}

unsigned char vnSerializeLex::isUtf8() const noexcept
{
    return (m_options & VN_LEX_UTF8) != 0;
}

void vnSerializeLex::usePlainIdentifier(unsigned char use) noexcept
{
    setOption(VN_LEX_PLAIN_IDENTIFIER, use);
}

void vnSerializeLex::useTokensOnly(unsigned char use) noexcept
{
    setOption(VN_LEX_TOKENS_ONLY, use);
}

void vnSerializeLex::useHexMode(unsigned char use) noexcept
{
    setOption(VN_LEX_HEX_MODE, use);
}

unsigned char vnSerializeLex::checkLexToken(const vnArray<vnLexTokenData>& tokens, unsigned int index,
                                            const vnLexDataType& mask, const vnDynamicType& value)
{
    return index < tokens.getSize() && (tokens.get(index).type & mask) && tokens.get(index).data == value;
}

unsigned char vnSerializeLex::checkLexToken(const vnArray<vnLexTokenData>& tokens, unsigned int index,
                                            const vnLexDataType& mask, vnDynamicType* value)
{
    if (index >= tokens.getSize() || !(tokens.get(index).type & mask))
        return 0;
    if (value)
        *value = tokens.get(index).data;
    return 1;
}

void vnSerializeLex::Bytes::grow(unsigned int more)
{
    const vnUInt64 needed = static_cast<vnUInt64>(m_count) + more;
    const vnUInt64 doubled = std::min<vnUInt64>(2ull * m_storage.getSize(), 0xFFFFFFFFu);
    m_storage.setSize(vnCheckedSize(std::max(needed, doubled)));
}

void vnSerializeLex::makeValue() const
{
    switch (m_value)
    {
    case Value::NUMBER:
        m_token.data = vnDynamicType(m_number);
        break;
    case Value::INT64:
        m_token.data = vnDynamicTypeInt64(m_int64);
        break;
    case Value::SCANNED:
        m_token.data = vnDynamicType(textOf(m_scanned.data() + m_textBegin, m_textLength, isUtf8()));
        break;
    case Value::TEXT:
        m_token.data = vnDynamicType(textOf(m_text.data(), m_text.getCount(), isUtf8() || isUnicode()));
        break;
    default:
        m_token.data.reset();
        break;
    }
    m_value = Value::READY;
}

// Before the scanned bytes change.
void vnSerializeLex::keepValue()
{
    if (m_value == Value::SCANNED)
        makeValue();
}

void vnSerializeLex::setText(vnLexDataType type, Value value) noexcept
{
    m_token.type = type;
    m_value = value;
}

void vnSerializeLex::setNumber(vnLexDataType type, double number) noexcept
{
    m_token.type = type;
    m_value = Value::NUMBER;
    m_number = number;
}

void vnSerializeLex::setInteger(vnUInt64 magnitude, bool isNegative) noexcept
{
    if (magnitude >> 32 == 0)
    {
        const auto number = static_cast<double>(magnitude);
        setNumber(VN_LEX_INTEGER, isNegative ? -number : number);
        return;
    }
    m_token.type = VN_LEX_LARGE_INTEGER;
    m_value = Value::INT64;
    m_int64 = static_cast<vnInt64>(isNegative ? 0 - magnitude : magnitude);
}

// Half a character is none: with a single byte left of 16-bit text, or of what may be read of it, the text
// ends.
bool vnSerializeLex::hasCharacter(vnSerializeAdapter& adapter) const
{
    return m_budget >= getTokenSize() && (isUnicode() ? hasUnit(adapter) : hasByte(adapter));
}

void vnSerializeLex::detect(vnSerializeAdapter& adapter)
{
    const vnUInt64 flags = adapter.getAdapterFlags();
    bool hasMark = false;
    if (flags & VN_ADAPTER_UNICODE)
        useUnicode(1, (flags & VN_ADAPTER_BIG_ENDIAN) != 0);
    else if (m_options & VN_LEX_DETECT_UNICODE)
        hasMark = detectUnicode(adapter);
    if (!hasMark && !isUnicode() && (m_options & VN_LEX_DETECT_UTF8) && takeMark(adapter, utf8Mark))
    {
        useUtf8(1);
        spend(utf8Mark.size);
    }
    m_options &= ~VN_LEX_PENDING; // last: a source that throws is asked again
}

bool vnSerializeLex::detectUnicode(vnSerializeAdapter& adapter)
{
    const bool isBig = takeMark(adapter, bigMark);
    if (!isBig && !takeMark(adapter, littleMark))
        return false;
    useUnicode(1, isBig);
    const vnUInt64 order = isBig ? static_cast<vnUInt64>(VN_ADAPTER_BIG_ENDIAN) : 0;
    adapter.setAdapterFlags(adapter.getAdapterFlags() | VN_ADAPTER_UNICODE | order);
    spend(bigMark.size);
    return true;
}

vnSerializeLex::Raw vnSerializeLex::encode(char16_t character) const noexcept
{
    const auto high = static_cast<unsigned char>(character >> 8), low = static_cast<unsigned char>(character);
    if (isUnicode())
        return m_options & VN_LEX_BIG_ENDIAN ? Raw{{high, low, 0}, 2, false} : Raw{{low, high, 0}, 2, false};
    if (!isUtf8())
        return Raw{{low, 0, 0}, 1, false};
    Raw raw{};
    raw.size = encodeUtf8(character, raw.bytes);
    return raw;
}

void vnSerializeLex::warnOfFault()
{
    vnMessage::message(VN_MESSAGE_WARNING, "Utf lex encoding on faulty data set");
}

char16_t vnSerializeLex::readCharacter(vnSerializeAdapter& adapter, Raw& raw)
{
    raw.bytes[0] = adapter.read();
    raw.size = 1;
    raw.isFaulty = false;
    if (isUnicode())
    {
        spend(1);
        raw.bytes[1] = 0;
        readMore(adapter, raw);
        const bool isBig = (m_options & VN_LEX_BIG_ENDIAN) != 0;
        return static_cast<char16_t>(isBig ? raw.bytes[0] << 8 | raw.bytes[1]
                                           : raw.bytes[1] << 8 | raw.bytes[0]);
    }
    spend(1);
    return raw.bytes[0] < 0x80 || !isUtf8() ? raw.bytes[0] : decodeUtf8(adapter, raw);
}

// The bytes up to the first wrong one are the character of a fault. A character is read whole, also where the
// budget ends within it.
char16_t vnSerializeLex::decodeUtf8(vnSerializeAdapter& adapter, Raw& raw)
{
    const unsigned char lead = raw.bytes[0];
    const unsigned int size = lead < 0xC0 || lead >= 0xF0 ? 1 : lead < 0xE0 ? 2 : 3;
    bool isGood = size > 1;
    while (isGood && raw.size < size)
        isGood = readMore(adapter, raw) && vnUtf::isContinuation(raw.bytes[raw.size - 1]);
    raw.isFaulty = !isGood;
    if (!isGood)
        return 0;
    const unsigned char* bytes = raw.bytes;
    if (size == 2)
        return static_cast<char16_t>((lead & 0x1F) << 6 | (bytes[1] & 0x3F));
    return static_cast<char16_t>((lead & 0x0F) << 12 | (bytes[1] & 0x3F) << 6 | (bytes[2] & 0x3F));
}

// The next byte of a character. A source that throws has lost none. In UTF-8 the end of a character is not
// asked for before it is read.
bool vnSerializeLex::readMore(vnSerializeAdapter& adapter, Raw& raw)
{
    try
    {
        if (isUtf8() && !adapter.hasData())
            return false;
        raw.bytes[raw.size] = adapter.read();
    }
    catch (...)
    {
        vnAdapterWindow::unread(adapter, raw.bytes, raw.size);
        refund(raw.size);
        throw;
    }
    ++raw.size;
    spend(1);
    return true;
}

void vnSerializeLex::giveBack(vnSerializeAdapter& adapter, unsigned int count)
{
    const unsigned int left = m_scanned.getCount() - count;
    vnAdapterWindow::unread(adapter, m_scanned.data() + left, count);
    m_scanned.cut(left);
    m_lastSize = 0;
    refund(count);
}

unsigned int vnSerializeLex::getLastSize() const noexcept
{
    const unsigned int count = m_scanned.getCount();
    if (m_lastSize > 0 && m_lastSize <= count)
        return m_lastSize;
    if (!isUtf8())
        return std::min(count, getTokenSize());
    unsigned int size = std::min(count, 1u);
    while (size < 3 && size < count && vnUtf::isContinuation(m_scanned.data()[count - size]))
        ++size;
    return size;
}
