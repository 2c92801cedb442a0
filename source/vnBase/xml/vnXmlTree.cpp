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
    const auto leave = [&sax](vnXmlItem*) { sax.writeElementEnd(); };
    for (vnXmlItem* item = top.m_firstChild; item;)
    {
        // Elements of classes of their own write themselves.
        if (&typeid(*item) == &typeid(vnXmlElement))
        {
            writeStart(static_cast<vnXmlElement&>(*item), sax);
            item = next(item, &top, leave);
            continue;
        }
        item->write(&sax);
        item = behind(item, &top, leave);
    }
}
