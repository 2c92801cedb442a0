// SPDX-License-Identifier: MIT
#include "vnJsonWriter.h"

#include "vnJsonNumber.h"
#include "vnJsonText.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>

#include <cmath>

namespace
{
int integerOf(const unsigned char* bytes, std::size_t size)
{
    return size == 1   ? static_cast<signed char>(bytes[0])
           : size == 2 ? static_cast<short>(vnDynamicBytes::get<unsigned short>(bytes))
                       : static_cast<int>(vnDynamicBytes::get<unsigned int>(bytes));
}

double realOf(const unsigned char* bytes, std::size_t size)
{
    return size < 8 ? 0 : vnDynamicBytes::bitsOf<double>(vnDynamicBytes::get<vnUInt64>(bytes));
}

bool isEscapedText(const unsigned char* bytes, std::size_t size)
{
    return size >= vnDynamicWire::escapeSize &&
           std::memcmp(bytes, vnDynamicWire::escape, vnDynamicWire::escapeSize) == 0;
}
} // namespace

void vnJsonWriter::write(const vnDynamicType& value)
{
    const Kind kind = kindOf(value.getDynamicType());
    if (isOther(kind))
        putOther(value);
    else
        putValue(kind, Span::of(value), 0);
    while (!m_levels.isEmpty() && !m_isStopped)
        putNext();
    m_output.flush();
    if (m_output.isFull())
        fail("The text is longer than %d bytes", m_maxSize);
}

// In the strict form an exact integer is a number.
bool vnJsonWriter::isOther(Kind kind) const noexcept
{
    return kind == OTHER || (kind == INT64 && !m_isStrict);
}

vnDynamicSpan vnJsonWriter::spanOf(const vnString& text) noexcept
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.getString());
    return Span{bytes, bytes + text.length()};
}

vnJsonWriter::Kind vnJsonWriter::kindOf(const vnString& tag)
{
    switch (tag.getUniqueID())
    {
    case VN_TAG_STR:
        return TEXT;
    case VN_TAG_NUM:
        return NUMBER;
    case VN_TAG_LLNUM:
        return INT64;
    case VN_TAG_ARRAY:
        return ARRAY;
    case VN_TAG_CONT:
        return CONTAINER;
    default:
        return kindOf(tag.getString(), tag.length());
    }
}

// Tags also travel as their texts.
vnJsonWriter::Kind vnJsonWriter::kindOf(const char* tag, std::size_t length)
{
    constexpr const char* tags[] = {"str", "num", "llnum", "array", "cont"};
    unsigned int kind = TEXT;
    while (kind < OTHER && (std::strlen(tags[kind]) != length || std::memcmp(tags[kind], tag, length) != 0))
        ++kind;
    return static_cast<Kind>(kind);
}

void vnJsonWriter::putNext()
{
    if (m_output.isFull())
    {
        m_isStopped = true;
        return;
    }
    Level& level = m_levels.top();
    if (level.isArray)
    {
        if (level.left > 0 && level.rest.begin != level.rest.end)
        {
            putElement(level);
            return;
        }
        m_output.put(']');
    }
    else
    {
        if (level.next < level.end)
        {
            putMember(level);
            return;
        }
        m_entries.cut(level.first);
        putLineStart(level.indent);
        m_output.put('}');
    }
    m_levels.cut(m_levels.getSize() - 1);
}

// Opening a level moves the others: what is needed of this one is taken before.
void vnJsonWriter::putElement(Level& level)
{
    // The elements of the outermost array stand end to end, with nothing between them. That is meant, though
    // it is no JSON: readers of this format rely on it.
    if (!level.isFirst && (level.indent > 0 || m_isStrict))
        m_output.put(',');
    level.isFirst = false;
    --level.left;
    const Span value = level.rest;
    vnDynamicWire::skipQuickly(level.rest.begin, level.rest.end);
    putEncoded(Span{value.begin, level.rest.begin}, level.indent + 1);
}

void vnJsonWriter::putMember(Level& level)
{
    const Entry entry = m_entries[level.next++];
    const unsigned int indent = level.indent;
    if (!level.isFirst)
        m_output.put(',');
    level.isFirst = false;
    putName(Span{entry.name, entry.name + entry.nameLength}, indent + 1);
    putEncoded(Span{entry.value(), entry.end}, indent + 2);
}

void vnJsonWriter::putName(Span name, unsigned int indent)
{
    putLineStart(indent);
    if (m_isStrict)
        putQuoted(name);
    else
    {
        m_output.put('"');
        m_output.put(name.begin, name.size()); // not escaped, on purpose
        m_output.put('"');
    }
    unsigned char* const to = m_output.reserve(2);
    to[0] = ':';
    to[1] = '\t';
    m_output.advance(to + 2);
}

void vnJsonWriter::putLineStart(unsigned int indent)
{
    constexpr unsigned int few = 16;
    if (indent >= few)
    {
        m_output.put('\n');
        m_output.fill('\t', indent);
        return;
    }
    // A fill of fixed size needs no call.
    unsigned char* const to = m_output.reserve(1 + few);
    *to = '\n';
    std::memset(to + 1, '\t', few);
    m_output.advance(to + 1 + indent);
}

// A value in its stream form.
void vnJsonWriter::putEncoded(Span value, unsigned int indent)
{
    Kind kind = OTHER;
    const unsigned char* at = value.begin;
    if (value.size() >= vnDynamicWire::escapeSize && *at == vnDynamicWire::marker)
    {
        const unsigned int id = vnDynamicBytes::get<unsigned short>(at + 1) + 1u;
        kind = id == VN_TAG_STR     ? TEXT
               : id == VN_TAG_NUM   ? NUMBER
               : id == VN_TAG_LLNUM ? INT64
               : id == VN_TAG_ARRAY ? ARRAY
               : id == VN_TAG_CONT  ? CONTAINER
                                    : OTHER;
        at += vnDynamicWire::escapeSize;
    }
    else if (const void* const zero = value.size() ? std::memchr(at, 0, value.size()) : nullptr)
    {
        const auto length = static_cast<std::size_t>(static_cast<const unsigned char*>(zero) - at);
        kind = kindOf(reinterpret_cast<const char*>(at), length);
        at += length + 1;
    }
    if (!isOther(kind))
    {
        vnVarUInt64::decode(at, value.end);
        putValue(kind, Span{at, value.end}, indent);
        return;
    }
    vnDynamicType other;
    at = value.begin;
    vnDynamicWire::decode(other, at, value.end);
    putOther(other);
}

void vnJsonWriter::putOther(const vnDynamicType& value)
{
    try
    {
        putQuoted(spanOf(value.asString(1, 1, vnString())));
    }
    catch (const vnFatalError& error)
    {
        fail("%s", error.getErrorString()); // its text is too long, or has no form
    }
}

void vnJsonWriter::putValue(Kind kind, Span payload, unsigned int indent)
{
    switch (kind)
    {
    case TEXT:
        putText(payload);
        return;
    case NUMBER:
        putNumber(payload);
        return;
    case INT64:
        putInt64(payload);
        return;
    case ARRAY:
        openArray(payload, indent);
        return;
    default:
        openContainer(payload, indent);
        return;
    }
}

vnJsonWriter::Level* vnJsonWriter::openLevel(unsigned int indent)
{
    if (m_levels.getSize() >= m_maxDepth)
    {
        fail("Values are nested deeper than %d", m_maxDepth);
        m_isStopped = true;
        return nullptr;
    }
    Level& level = m_levels.push();
    level = Level{};
    level.indent = indent;
    level.isFirst = true;
    return &level;
}

void vnJsonWriter::openArray(Span payload, unsigned int indent)
{
    Level* const level = openLevel(indent);
    if (!level)
        return;
    level->isArray = true;
    level->left = vnVarUInt64::decode(payload.begin, payload.end);
    level->rest = payload;
    m_output.put('[');
}

void vnJsonWriter::openContainer(Span payload, unsigned int indent)
{
    Level* const level = openLevel(indent);
    if (!level)
        return;
    level->rest = payload;
    level->first = level->next = m_entries.getSize();
    collectEntries(payload);
    level->end = m_entries.getSize();
    // In the order of a container of one bucket, whatever the payload's.
    Entry* const entries = m_entries.data() + level->next;
    if (!std::is_sorted(entries, m_entries.data() + level->end))
        std::sort(entries, m_entries.data() + level->end);
    putLineStart(indent);
    m_output.put('{');
}

void vnJsonWriter::collectEntries(Span payload)
{
    const unsigned char* next = payload.begin + vnContainerBytes::headSize;
    const auto take = [this, &next](const Entry& entry)
    {
        if (entry.name != next) // there is more in front of it
            failForLength();
        next = entry.end;
        m_entries.push() = entry;
    };
    if (vnContainerBytes::walk(payload.begin, payload.end, take))
        return;
    // The container itself says what is wrong.
    vnDynamicTypeCustom<vnDynamicTypeContainer>(vnDynamicParts(VN_TAG_CONT, payload)).getData();
    fail("A container is damaged");
}

void vnJsonWriter::putText(Span payload)
{
    if (payload.size() == 0 || *payload.begin != vnDynamicWire::marker)
    {
        putPlainText(payload);
        return;
    }
    if (isEscapedText(payload.begin, payload.size()))
    {
        const Span text{payload.begin + vnDynamicWire::escapeSize, payload.end};
        // In the strict form this one is a string that is no literal.
        if (m_isStrict)
            putQuoted(text);
        else
            putPlainText(text);
        return;
    }
    putPlainText(spanOf(vnDynamicParts(VN_TAG_STR, payload).getString()));
}

void vnJsonWriter::putPlainText(Span text)
{
    if (vnJsonText::isWord(text.begin, text.size()))
        m_output.put(text.begin, text.size());
    else
        putQuoted(text);
}

void vnJsonWriter::putQuoted(Span text)
{
    if (text.size() > vnString::VN_MAX_LENGTH)
    {
        failForLength();
        text.end = text.begin + vnString::VN_MAX_LENGTH; // where `getString` ends it
    }
    m_output.put('"');
    if (!m_isStrict)
        putEscaped<false>(text);
    else if (vnJsonText::isUtf8(text.begin, text.size()))
        putEscaped<true>(text);
    else
        putLatin(text);
    m_output.put('"');
}

template <bool STRICT>
void vnJsonWriter::putEscaped(Span text)
{
    for (const unsigned char* at = text.begin;; ++at)
    {
        const unsigned char* const run = at;
        at = vnJsonText::findEscaped<STRICT>(at, text.end);
        m_output.put(run, static_cast<std::size_t>(at - run));
        if (at == text.end)
            return;
        constexpr char digits[] = "0123456789abcdef";
        const unsigned char letter = (STRICT ? vnJsonText::strictEscapes : vnJsonText::wideEscapes)[*at];
        unsigned char* to = m_output.reserve(6);
        if (letter)
            *to++ = '\\';
        *to++ = letter ? letter : *at;
        if (STRICT && letter == 'u')
        {
            *to++ = '0';
            *to++ = '0';
            *to++ = static_cast<unsigned char>(digits[*at >> 4]);
            *to++ = static_cast<unsigned char>(digits[*at & 15]);
        }
        m_output.advance(to);
    }
}

// 8-bit text, of which each byte is a character, as in the other conversions of such texts.
void vnJsonWriter::putLatin(Span text)
{
    for (const unsigned char* at = text.begin; at != text.end; ++at)
        if (*at < 0x80)
            putEscaped<true>(Span{at, at + 1});
        else
            m_output.advance(vnJsonText::encode(m_output.reserve(2), *at));
}

void vnJsonWriter::putNumber(Span payload)
{
    const std::size_t size = payload.size();
    char* const to = reinterpret_cast<char*>(m_output.reserve(vnJsonNumber::VN_MAX_WRITTEN));
    char* end;
    if (size == 1 || size == 2 || size == 4)
    {
        const int value = integerOf(payload.begin, size);
        end = m_isStrict ? vnJsonNumber::writeInteger(to, value) : vnJsonNumber::writeFixed(to, value);
    }
    else
        end = putReal(to, realOf(payload.begin, size));
    m_output.advance(reinterpret_cast<unsigned char*>(end));
}

char* vnJsonWriter::putReal(char* to, double value)
{
    if (!m_isStrict)
        return vnJsonNumber::writeFixed(to, value);
    if (std::isfinite(value))
        return vnJsonNumber::writeShortest(to, value);
    fail("A number that is not finite has no form in JSON");
    return std::copy_n("null", 4, to);
}

void vnJsonWriter::putInt64(Span payload)
{
    const vnUInt64 bits = payload.size() < 8 ? 0 : vnDynamicBytes::get<vnUInt64>(payload.begin);
    char* const to = reinterpret_cast<char*>(m_output.reserve(vnJsonNumber::VN_MAX_WRITTEN));
    char* const end = vnJsonNumber::writeInteger(to, static_cast<vnInt64>(bits));
    m_output.advance(reinterpret_cast<unsigned char*>(end));
}

// No text of a value is longer, and no reader takes a longer one.
void vnJsonWriter::failForLength()
{
    fail("A text is longer than %d bytes", vnString::VN_MAX_LENGTH);
}

template <class... Args>
void vnJsonWriter::fail(const char* format, const Args&... args)
{
    if (m_error.isEmpty())
        m_error.format(format, args...);
}
