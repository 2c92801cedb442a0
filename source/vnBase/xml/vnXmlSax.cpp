// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlSax.h>

#include "lex/vnParserCursor.h"
#include "vnXmlInput.h"
#include "vnXmlLevel.h"

#include <vnBase/vnObject.h>
#include <vnBase/vnSerializeAdapter.h>

#include <algorithm>
#include <limits>

vnType vnXmlSax::s_type(nullptr, "vnXmlSax");

void vnXmlSax::Level::make(vnString& string, std::string_view text)
{
    if (string.length() != text.size() || std::memcmp(string.getString(), text.data(), text.size()) != 0)
        string = vnString(text.data(), static_cast<unsigned short>(text.size()));
}

void vnXmlSax::Level::append(std::string_view text)
{
    const auto size = static_cast<unsigned int>(text.size());
    if (m_text.getCapacity() - m_text.getSize() < size)
        m_text.setChunkSize(std::max(256u, m_text.getCapacity())); // grows by doubling
    m_text.append(text.data(), size);
}

void vnXmlSax::Level::start(std::string_view elementName, unsigned int tokens)
{
    m_text.clear();
    append(elementName);
    m_nameLength = m_text.getSize();
    m_nameExtra = m_nameLength - tokens;
    m_attributes.clear();
    if (m_hasSet)
        m_set.clear();
    m_hasSet = false;
}

void vnXmlSax::Level::addName(std::string_view attributeName)
{
    m_newName = m_text.getSize();
    append(attributeName);
}

void vnXmlSax::Level::addValue(std::string_view value)
{
    Attribute attribute;
    attribute.nameBegin = m_newName;
    attribute.nameLength = m_text.getSize() - m_newName;
    attribute.valueBegin = m_text.getSize();
    attribute.valueLength = static_cast<unsigned int>(value.size());
    append(value);
    m_attributes.setChunkSize(std::max(8u, m_attributes.getSize()));
    m_attributes.append(attribute);
    if (m_hasSet)
        enter(m_attributes.getSize() - 1);
}

const vnString& vnXmlSax::Level::getName()
{
    make(m_name, getRawName());
    return m_name;
}

// For all attributes at once, so that a string that is asked for does not move others.
vnXmlSax::Level::Strings& vnXmlSax::Level::stringsOf(unsigned int index)
{
    if (m_strings.getSize() <= index)
    {
        m_strings.setChunkSize(std::max(8u, m_strings.getSize()));
        m_strings.setSize(m_attributes.getSize());
    }
    return m_strings.data()[index];
}

const vnString& vnXmlSax::Level::getAttributeName(unsigned int index)
{
    vnString& name = stringsOf(index).name;
    make(name, getRawAttributeName(index));
    return name;
}

const vnString& vnXmlSax::Level::getAttributeValue(unsigned int index)
{
    vnString& value = stringsOf(index).value;
    make(value, getRawAttributeValue(index));
    return value;
}

const vnString* vnXmlSax::Level::findAttribute(const vnString& name)
{
    if (m_hasSet) // which its user may have changed
    {
        vnRefData<vnString, vnReference>* value = m_set.peek(name);
        return value ? &value->getData() : nullptr;
    }
    const std::string_view wanted(name.getString(), name.length());
    for (unsigned int i = 0; i < getAttributeCount(); ++i)
        if (getRawAttributeName(i) == wanted)
            return &getAttributeValue(i);
    return nullptr;
}

void vnXmlSax::Level::enter(unsigned int index)
{
    vnRefPointer<vnRefData<vnString, vnReference>> value(
        new vnRefData<vnString, vnReference>(getAttributeValue(index)));
    m_set.enter(getAttributeName(index), value.get());
}

vnXmlSax::AttributeSet& vnXmlSax::Level::getSet()
{
    if (m_hasSet)
        return m_set;
    m_set.clear(); // of what is there when the memory ended
    for (unsigned int i = 0; i < getAttributeCount(); ++i)
        enter(i);
    m_hasSet = true;
    return m_set;
}

vnXmlSax::vnXmlSax()
{
    setMaxBufferSize(65536);
    useUtf8(1);
}

vnXmlSax::~vnXmlSax() noexcept(false)
{
    for (Level* level : m_levels)
        delete level;
}

vnXmlSax::Level& vnXmlSax::addLevel(unsigned int level)
{
    m_levels.setChunkSize(std::max(VN_LEVEL_STEP, m_levels.getSize()));
    while (m_levels.getSize() <= level)
        m_levels.append(static_cast<Level*>(nullptr));
    return *(m_levels[level] = new Level);
}

vnXmlSax::Level* vnXmlSax::findLevel(unsigned int level) noexcept
{
    return level < m_levels.getSize() ? m_levels.data()[level] : nullptr;
}

const vnString& vnXmlSax::getElementName(unsigned int level)
{
    Level* found = findLevel(level);
    return found ? found->getName() : m_noText;
}

const vnString& vnXmlSax::getAttribute(unsigned int level, const vnString& name)
{
    Level* found = findLevel(level);
    const vnString* value = found ? found->findAttribute(name) : nullptr;
    return value ? *value : m_noText;
}

unsigned char vnXmlSax::hasAttribute(unsigned int level, const vnString& name)
{
    Level* found = findLevel(level);
    return found && found->findAttribute(name);
}

vnXmlSax::AttributeSet& vnXmlSax::getAttributeSet(unsigned int level)
{
    if (Level* found = findLevel(level))
        return found->getSet();
    m_noAttributes.clear();
    return m_noAttributes;
}

void vnXmlSax::useLimitsOf(const vnXmlSax& outer) noexcept
{
    m_maxElementDepth = outer.m_maxElementDepth - std::min(outer.m_level, outer.m_maxElementDepth);
    m_maxValueDepth = outer.m_maxValueDepth - std::min(outer.m_valueDepth, outer.m_maxValueDepth);
    m_maxIdleNotifications = outer.m_maxIdleNotifications;
    m_maxDocumentSize = outer.m_maxDocumentSize;
    m_documentBegin = outer.m_documentBegin;
    m_arrayGaps = outer.m_arrayGaps;
}

vnUInt64 vnXmlSax::getDocumentSizeLeft() const noexcept
{
    if (m_maxDocumentSize == 0)
        return std::numeric_limits<vnUInt64>::max();
    return m_maxDocumentSize - std::min(getTokenPos() - m_documentBegin, m_maxDocumentSize);
}

unsigned char vnXmlSax::addToDocumentSize(vnUInt64 tokens)
{
    if (tokens >= getDocumentSizeLeft()) // the end of what is read just now must come, too
    {
        setError("%s", vnXmlInput::VN_TOO_LARGE);
        return 0;
    }
    if (m_maxDocumentSize)
        m_documentBegin -= static_cast<unsigned int>(tokens);
    return 1;
}

void vnXmlSax::pushBack(vnSerializeAdapter*) {}

unsigned int vnXmlSax::getDataSize(vnSerializeAdapter*) const
{
    return 0;
}

unsigned char vnXmlSax::onVersion(const vnString&)
{
    return 1;
}

unsigned char vnXmlSax::onEncoding(const vnString&)
{
    return 1;
}

unsigned char vnXmlSax::onStandalone(unsigned char)
{
    return 1;
}

unsigned char vnXmlSax::onElementStart(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onElementAttributeEnd(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onElementContents(const vnString&, const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onElementContentsStart(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onElementContentsEnd(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onElementEnd(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onAttribute(const vnString&, const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onCharData(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onEntityReference(const vnString&, unsigned int, unsigned char)
{
    return 1;
}

unsigned char vnXmlSax::onProcessingInstruction(const vnString&, const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onCDATA(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onComment(const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onDynamicType(const vnDynamicType&, const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onObject(vnObject*, const vnString&, unsigned int)
{
    return 1;
}

unsigned char vnXmlSax::onCustomData(vnReference*, const vnString&, unsigned int)
{
    return 1;
}

vnString vnXmlSax::onFunction(const vnString& name, unsigned int)
{
    return vnString("function:") + name;
}

void vnXmlSax::onWrite() {}

void vnXmlSax::read(vnSerializeAdapter* adapter)
{
    if (!adapter)
        return;
    const vnRefPointer<vnSerializeAdapter> held(adapter);
    // What this document says of its encoding is not for the next one, which has a mark of its own.
    const vnParserCursor::Encoding encoding(*this);
    const auto end = [&]
    {
        try
        {
            setAdapter(nullptr);
        }
        catch (...)
        {
            vnParserCursor(*this).dropInput(); // out of memory for what is remembered
            throw;
        }
        encoding.restore(*this);
    };
    try
    {
        setAdapter(adapter);
        if (!hasProgressMessage())
            setProgressMessage("Reading XML data from %s", adapter->getURL());
        m_level = 0;
        m_flags = static_cast<unsigned char>(
            (m_flags & (VN_FLAG_STANDALONE | VN_FLAG_BASE64 | VN_FLAG_DYN_ONLY | VN_FLAG_PLAIN_OUTPUT)) |
            VN_FLAG_NOTIFYING);
        m_idleNotifications = 0;
        m_isReadWide = 0;
        skipMark();
        vnParserCursor cursor(*this);
        cursor.detect();
        // What declares nothing is UTF-8, and as that it must be written again; unless it is read as bytes.
        m_encoding = cursor.isByteText() || fitsUtf8(m_setEncoding) ? m_setEncoding : vnString("UTF-8");
        m_documentBegin = getTokenPos();
        m_arrayGaps = 0;
        if (XML_read_01() == VN_PARSE_OK)
            reportProgress(1);
    }
    catch (const vnBasicParseException&)
    {
        // The error is set (0), or a callback ended the parse (2).
    }
    catch (...)
    {
        vnParserCursor(*this).dropInput(); // which takes no memory
        encoding.restore(*this);
        throw;
    }
    end();
}

// Where the adapter tells of 16-bit text nobody looks for its mark, which is there when the text was written
// to it before.
void vnXmlSax::skipMark()
{
    if ((getAdapter()->getAdapterFlags() & VN_ADAPTER_UNICODE) && checkTokens(u"\xFEFF", 1, 0))
        setColumn(getColumn() - 1);
}
