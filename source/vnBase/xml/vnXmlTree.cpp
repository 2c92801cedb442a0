// SPDX-License-Identifier: MIT
#include "vnXmlTree.h"

#include "vnXmlAttributes.h"

#include <typeinfo>

void vnXmlTree::writeStart(vnXmlElement& element, vnXmlSax& sax)
{
    sax.writeElementStart(element.getName());
    vnXmlAttributes::View attribute;
    for (vnXmlAttributes::Walk walk(element.m_attributes); walk.next(attribute);)
        sax.writeAttribute(makeString(attribute.name), makeString(attribute.value));
}

void vnXmlTree::writeChildren(vnXmlItem& top, vnXmlSax& sax)
{
    const auto isExactly = [](const vnXmlItem& item, const std::type_info& type)
    { return &typeid(item) == &type; };
    const auto leave = [&](vnXmlItem* item)
    {
        if (isExactly(*item, typeid(vnXmlElement)))
            sax.writeElementEnd();
    };
    for (vnXmlItem* item = top.m_firstChild; item;)
    {
        const bool isElement = isExactly(*item, typeid(vnXmlElement));
        if (isElement)
            writeStart(static_cast<vnXmlElement&>(*item), sax);
        if (isElement || isExactly(*item, typeid(vnXmlItem)))
        {
            item = next(item, &top, leave);
            continue;
        }
        item->write(&sax); // what is no element, and classes of their own
        item = behind(item, &top, leave);
    }
}
