// SPDX-License-Identifier: MIT
#include "vnXmlAttributes.h"
#include "vnXmlTree.h"

#include <vnBase/vnMessage.h>

#include <string>

vnType vnXmlAttribute::s_type(vnReference::getClassType(), "vnXmlAttribute");
vnType vnXmlElement::s_type(vnXmlItem::getClassType(), "vnXmlElement");
vnType vnXmlCharData::s_type(vnXmlItem::getClassType(), "vnXmlCharData");
vnType vnXmlCDATA::s_type(vnXmlItem::getClassType(), "vnXmlCDATA");
vnType vnXmlComment::s_type(vnXmlItem::getClassType(), "vnXmlComment");
vnType vnXmlEntityReference::s_type(vnXmlItem::getClassType(), "vnXmlEntityReference");
vnType vnXmlPI::s_type(vnXmlItem::getClassType(), "vnXmlPI");

namespace
{
void debugText(const vnString& prefix, const char* sizeFormat, const vnString& text)
{
    vnMessage::message(VN_MESSAGE_DEBUG, sizeFormat, prefix, text.length());
    vnMessage::message(VN_MESSAGE_DEBUG, "%s[%s]", prefix, text);
}

vnString labelled(bool label, const char* format, const vnString& text)
{
    return label ? vnString::formatString(format, text) : text;
}
} // namespace

vnReference* vnXmlAttribute::clone() const
{
    auto* copy = new vnXmlAttribute(m_name, m_value);
    copy->setCopyMode(getCopyMode());
    return copy;
}

vnXmlElement::vnXmlElement(const vnString& tag) : vnXmlItem(tag)
{
    m_kind = VN_KIND_ELEMENT;
}

vnXmlElement::~vnXmlElement() noexcept(false)
{
    vnXmlAttributes::destroy(m_attributes);
}

void vnXmlElement::write(vnXmlSax* sax)
{
    if (!sax)
        return;
    vnXmlTree::writeStart(*this, *sax);
    vnXmlTree::writeChildren(*this, *sax);
    sax->writeElementEnd();
}

vnString vnXmlElement::getAttribute(const vnString& name, const vnString& defaultValue) const
{
    std::string_view value;
    const bool isThere = vnXmlAttributes::find(m_attributes, vnXmlTree::viewOf(name), value);
    return isThere ? vnXmlTree::makeString(value) : defaultValue;
}

unsigned char vnXmlElement::hasAttribute(const vnString& name) const
{
    std::string_view value;
    return vnXmlAttributes::find(m_attributes, vnXmlTree::viewOf(name), value);
}

void vnXmlElement::removeAttribute(const vnString& name)
{
    vnXmlAttributes::remove(m_attributes, vnXmlTree::viewOf(name));
}

void vnXmlElement::appendFormatted(const vnString& name, const vnString& format,
                                   const vnArgumentList& arguments)
{
    vnString value;
    value.assignFormat(format.getString(), format.length(), arguments);
    vnXmlAttributes::append(m_attributes, name, vnXmlTree::viewOf(value));
}

vnRefList<vnXmlAttribute>& vnXmlElement::getAttributeList()
{
    return vnXmlAttributes::getList(m_attributes);
}

unsigned char vnXmlElement::getNextAttribute(vnString& name, vnString& value)
{
    vnXmlAttributes::View attribute;
    if (!vnXmlAttributes::walkOn(m_attributes, attribute))
        return 0;
    name = vnXmlTree::makeString(attribute.name);
    value = vnXmlTree::makeString(attribute.value);
    return 1;
}

void vnXmlElement::resetAttributeIterator() noexcept
{
    vnXmlAttributes::resetWalk(m_attributes);
}

void vnXmlElement::takeAttributes(vnXmlElement& other)
{
    if (this == &other)
        return;
    vnXmlAttributes::leaveElement(m_attributes);
    vnXmlAttributes::leaveElement(other.m_attributes);
    vnXmlAttributes::destroy(m_attributes);
    std::swap(m_attributes, other.m_attributes);
}

void vnXmlElement::debugData(const vnString& prefix)
{
    unsigned int count = 0;
    vnXmlAttributes::View attribute;
    for (vnXmlAttributes::Walk walk(m_attributes); walk.next(attribute);)
        ++count;
    vnMessage::message(VN_MESSAGE_DEBUG, "%sAttribute count:%ld", prefix, count);
    for (vnXmlAttributes::Walk walk(m_attributes); walk.next(attribute);)
        vnMessage::message(VN_MESSAGE_DEBUG, "%s['%s'='%s']", prefix, vnXmlTree::makeString(attribute.name),
                           vnXmlTree::makeString(attribute.value));
}

vnString vnXmlElement::attributesAsString()
{
    std::string text;
    vnXmlAttributes::View attribute;
    vnXmlAttributes::Walk walk(m_attributes);
    while (text.size() <= vnString::VN_MAX_LENGTH && walk.next(attribute))
    {
        if (!text.empty())
            text += ' ';
        text.append(attribute.name).append("=").append(attribute.value);
    }
    return vnXmlTree::cut(text);
}

vnXmlCharData::vnXmlCharData(const vnString& text) : vnXmlItem("<char_data>"), m_data(text)
{
    m_kind = VN_KIND_TEXT;
}

vnXmlCharData::vnXmlCharData(const char* text, unsigned short length)
    : vnXmlItem("<char_data>"), m_data(text, length)
{
    m_kind = VN_KIND_TEXT;
}

void vnXmlCharData::write(vnXmlSax* sax)
{
    if (sax)
        sax->writeCharData(m_data);
}

void vnXmlCharData::debugData(const vnString& prefix)
{
    debugText(prefix, "%sCharData size:%ld", m_data);
}

vnString vnXmlCharData::dataAsString(bool label)
{
    return labelled(label, "CharData:%s", m_data);
}

vnXmlCDATA::vnXmlCDATA(const vnString& text) : vnXmlItem("<cdata>"), m_data(text) {}

void vnXmlCDATA::write(vnXmlSax* sax)
{
    if (sax)
        sax->writeCDATA(m_data);
}

void vnXmlCDATA::debugData(const vnString& prefix)
{
    debugText(prefix, "%sCDATA size:%ld", m_data);
}

vnString vnXmlCDATA::dataAsString(bool label)
{
    return labelled(label, "CDATA:%s", m_data);
}

vnXmlComment::vnXmlComment(const vnString& text) : vnXmlItem("<comment>"), m_data(text) {}

void vnXmlComment::write(vnXmlSax* sax)
{
    if (sax)
        sax->writeComment(m_data);
}

void vnXmlComment::debugData(const vnString& prefix)
{
    vnMessage::message(VN_MESSAGE_DEBUG, "%s<!-- %s -->", prefix, m_data);
}

vnString vnXmlComment::dataAsString(bool label)
{
    return labelled(label, "Comment:%s", m_data);
}

vnXmlEntityReference::vnXmlEntityReference(const vnString& entity) : vnXmlItem("<entity_ref>"), m_data(entity)
{
    m_kind = VN_KIND_REFERENCE;
}

void vnXmlEntityReference::write(vnXmlSax* sax)
{
    if (sax)
        sax->writeEntityReference(m_data);
}

void vnXmlEntityReference::debugData(const vnString& prefix)
{
    vnMessage::message(VN_MESSAGE_DEBUG, "%sName:%s", prefix, m_data);
}

vnString vnXmlEntityReference::dataAsString(bool label)
{
    return labelled(label, "Name:%s", m_data);
}

vnXmlPI::vnXmlPI(const vnString& target, const vnString& data)
    : vnXmlItem("<pi>"), m_target(target), m_data(data)
{
}

void vnXmlPI::write(vnXmlSax* sax)
{
    if (sax)
        sax->writePI(m_target, m_data);
}

void vnXmlPI::debugData(const vnString& prefix)
{
    vnMessage::message(VN_MESSAGE_DEBUG, "%sTarget   :%s", prefix, m_target);
    debugText(prefix, "%sData size:%ld", m_data);
}

vnString vnXmlPI::dataAsString(bool label)
{
    return vnString::formatString(label ? "Target:%s Data:%s" : "%s %s", m_target, m_data);
}
