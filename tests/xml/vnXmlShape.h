// SPDX-License-Identifier: MIT
#pragma once

#include "vnXmlTestTools.h"

#include <vnBase/vnXmlDom.h>

#include <string>

inline std::string vnText(const vnString& text)
{
    return std::string(text.getString(), text.length());
}

/// A tree in one line: a[k=v](children) for elements, 'text', {cdata}, !comment!, &entity;, ?target data?.
inline std::string vnShape(vnXmlItem& item);

inline std::string vnShapeOfChildren(vnXmlItem& item)
{
    std::string shape;
    item.resetChildIterator();
    while (vnXmlItem* child = item.getNextChild())
        shape += vnShape(*child);
    item.resetChildIterator();
    return shape;
}

inline std::string vnShape(vnXmlItem& item)
{
    if (auto* text = dynamic_cast<vnXmlCharData*>(&item))
        return "'" + vnText(text->getData()) + "'";
    if (auto* cdata = dynamic_cast<vnXmlCDATA*>(&item))
        return "{" + vnText(cdata->getData()) + "}";
    if (auto* comment = dynamic_cast<vnXmlComment*>(&item))
        return "!" + vnText(comment->getData()) + "!";
    if (auto* reference = dynamic_cast<vnXmlEntityReference*>(&item))
        return "&" + vnText(reference->getData()) + ";";
    if (auto* pi = dynamic_cast<vnXmlPI*>(&item))
        return "?" + vnText(pi->getTarget()) + " " + vnText(pi->getData()) + "?";
    std::string shape = vnText(item.getName());
    if (auto* element = dynamic_cast<vnXmlElement*>(&item))
    {
        vnString name, value;
        for (element->resetAttributeIterator(); element->getNextAttribute(name, value);)
            shape += "[" + vnText(name) + "=" + vnText(value) + "]";
        element->resetAttributeIterator();
    }
    if (dynamic_cast<vnXmlDynamicType*>(&item) || dynamic_cast<vnXmlObject*>(&item))
        shape = "value " + shape;
    if (item.childEntries() != 0)
        shape += "(" + vnShapeOfChildren(item) + ")";
    return shape;
}

/// What a document holds, and its error.
inline std::string vnShapeOf(vnXmlDom& document)
{
    return vnShapeOfChildren(document) + (document.hasError() ? " error " + vnText(document.getError()) : "");
}

inline std::string vnShapeOf(const std::string& text)
{
    vnXmlDom document;
    vnReadText(document, text);
    return vnShapeOf(document);
}

/// What a document writes, without declaration, and its error.
inline std::string vnWritten(vnXmlDom& document)
{
    document.setEncoding("none");
    const std::string text = vnOutputOf(document);
    return text + (document.hasError() ? " error " + vnText(document.getError()) : "");
}
