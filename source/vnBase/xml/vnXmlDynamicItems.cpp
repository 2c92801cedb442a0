// SPDX-License-Identifier: MIT
#include "vnXmlTree.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnObject.h>

vnType vnXmlDynamicType::s_type(vnXmlItem::getClassType(), "vnXmlDynamicType");
vnType vnXmlObject::s_type(vnXmlItem::getClassType(), "vnXmlObject");
vnType vnXmlCustomData::s_type(vnXmlElement::getClassType(), "vnXmlCustomData");

namespace
{
const char* typeNameOf(const vnReference* object)
{
    return object ? object->getTypeName() : "NULL";
}
} // namespace

vnXmlDynamicType::vnXmlDynamicType(const vnDynamicType& value, const vnString& name)
    : vnXmlItem(name), m_value(value)
{
}

void vnXmlDynamicType::write(vnXmlSax* sax)
{
    if (!sax)
        return;
    // Where every element is a value, the element's name is the name of the value.
    if (sax->useDynOnly() && !getName().isEmpty())
        sax->writeDynamicType(m_value, vnString(), getName());
    else
        sax->writeDynamicType(m_value, getName(), "vnDyn");
}

void vnXmlDynamicType::debugData(const vnString& prefix)
{
    vnMessage::message(VN_MESSAGE_DEBUG, "%svnDynamicType:%s", prefix, dataAsString(false));
}

// A value whose text is too long for a string shows its tag.
vnString vnXmlDynamicType::dataAsString(bool label)
{
    vnString text;
    try
    {
        text = m_value.asString(1);
    }
    catch (const vnFatalError&)
    {
        text = m_value.getDynamicType();
    }
    return label ? vnString::formatString("Dyn:%s", text) : text;
}

vnXmlObject::vnXmlObject(vnObject* object, const vnString& name) : vnXmlItem(name), m_object(object) {}

vnXmlObject::~vnXmlObject() noexcept(false) = default;

void vnXmlObject::write(vnXmlSax* sax)
{
    if (sax)
        sax->writeObject(m_object, getName(), "vnObj");
}

void vnXmlObject::setObject(vnObject* object)
{
    m_object = object;
}

void vnXmlObject::debugData(const vnString& prefix)
{
    vnMessage::message(VN_MESSAGE_DEBUG, "%svnObject:%s", prefix, typeNameOf(m_object));
}

vnString vnXmlObject::dataAsString(bool label)
{
    return vnString::formatString(label ? "vnObject:%s" : "%s", typeNameOf(m_object));
}

vnXmlCustomData::vnXmlCustomData(const vnString& tag, vnReference* data) : vnXmlElement(tag), m_data(data) {}

vnXmlCustomData::vnXmlCustomData(vnXmlElement& element, vnReference* data)
    : vnXmlElement(element.getName()), m_data(data)
{
    takeAttributes(element);
}

void vnXmlCustomData::write(vnXmlSax* sax)
{
    if (!sax)
        return;
    vnXmlTree::writeStart(*this, *sax);
    sax->writeCustomData(getName(), m_data, 0);
    sax->writeElementEnd();
}

void vnXmlCustomData::debugData(const vnString& prefix)
{
    vnXmlElement::debugData(prefix);
    if (m_data)
        vnMessage::message(VN_MESSAGE_DEBUG, "%sCustom Data: %s", prefix, typeNameOf(m_data));
    else
        vnMessage::message(VN_MESSAGE_DEBUG, "%sCustom Data: NULL", prefix);
}

vnString vnXmlCustomData::dataAsString(bool label)
{
    return vnString::formatString(label ? "Custom:%s" : "%s", typeNameOf(m_data));
}
