// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlItem.h>

#include "vnXmlTree.h"

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnMessage.h>

namespace
{
// Texts with blanks between them.
void joinText(vnString& text, const vnString& more)
{
    if (text.isEmpty())
        text = more;
    else if (!more.isEmpty())
        text = vnString::formatString("%s %s", text, more);
}

// The text of an item and of what is below it, as it grows. What comes out as nothing leaves no blanks and no
// braces behind.
class TextBuilder
{
public:
    explicit TextBuilder(bool useBraces) : m_useBraces(useBraces) {}

    bool isFull() const { return m_text.getSize() > vnString::VN_MAX_LENGTH; }

    void add(const vnString& text)
    {
        if (!text.isEmpty() && m_text.getSize() != contentsBegin())
            m_text.append(' ');
        m_text.append(text.getString(), text.length());
    }

    // What comes next stands below the text added last.
    void open()
    {
        const unsigned int before = m_text.getSize();
        if (before != contentsBegin())
            m_text.append(' ');
        if (m_useBraces)
            m_text.append('{');
        m_opened.append(Opened{before, m_text.getSize()});
    }

    void close()
    {
        const Opened opened = m_opened[m_opened.getSize() - 1];
        m_opened.setSize(m_opened.getSize() - 1);
        if (m_text.getSize() == opened.contentsBegin)
            m_text.setSize(opened.before);
        else if (m_useBraces)
            m_text.append('}');
    }

    vnString get()
    {
        while (!m_opened.isEmpty())
            close();
        return vnXmlTree::cut({m_text.data(), m_text.getSize()});
    }

private:
    struct Opened
    {
        unsigned int before;        // where the text ended
        unsigned int contentsBegin; // where that of the children begins
    };

    unsigned int contentsBegin() const
    {
        return m_opened.isEmpty() ? 0 : m_opened.get(m_opened.getSize() - 1).contentsBegin;
    }

    bool m_useBraces;
    vnDynamicArray<char> m_text{4096};
    vnDynamicArray<Opened> m_opened{256};
};

vnString extended(const vnString& anchor)
{
    // Deep in a tree the lines would be nothing but the anchor.
    constexpr unsigned int longest = 400;
    return anchor.length() < longest ? anchor + "| " : anchor;
}
} // namespace

vnString vnXmlItem::headAsString(vnXmlStringFlags flags)
{
    vnString text;
    if (flags & VN_XML_STRING_TYPE)
        text = getTypeName();
    if (flags & VN_XML_STRING_NAME)
        joinText(text, getName());
    if (flags & VN_XML_STRING_ATTRIBUTES)
        joinText(text, attributesAsString());
    if (flags & VN_XML_STRING_DATA)
        joinText(text, dataAsString((flags & VN_XML_STRING_LABEL) != 0));
    return text;
}

vnString vnXmlItem::asString(vnXmlStringFlags flags)
{
    vnString head = headAsString(flags);
    if (!(flags & VN_XML_STRING_CHILDREN) || !m_firstChild)
        return head;
    TextBuilder text((flags & VN_XML_STRING_BRACES) != 0);
    text.add(head);
    text.open();
    for (vnXmlItem* item = m_firstChild; item && !text.isFull();)
    {
        const auto leave = [&text](vnXmlItem*) { text.close(); };
        const bool isOurs = vnXmlTree::isOurs(*item);
        const vnString own = isOurs ? item->headAsString(flags) : item->asString(flags);
        text.add(own);
        if (isOurs && item->m_firstChild)
        {
            text.open();
            item = item->m_firstChild;
        }
        else
            item = vnXmlTree::behind(item, this, leave);
    }
    return text.get();
}

vnString vnXmlItem::attributesAsString()
{
    return vnString();
}

vnString vnXmlItem::dataAsString(bool)
{
    return vnString();
}

void vnXmlItem::debugData(const vnString&) {}

void vnXmlItem::debugOutput(vnString base, vnString anchor, vnDebugFlags)
{
    vnMessage::message(VN_MESSAGE_DEBUG, "%s(%s):%s", base, getTypeName(), getName());
    debugData(anchor + "+-");
}

void vnXmlItem::debugOutputTraverse(vnString base, vnString anchor, vnDebugFlags flags)
{
    const auto show = [flags](vnXmlItem& item, const vnString& itemBase, const vnString& itemAnchor)
    {
        item.debugOutput(itemBase, itemAnchor, flags);
        vnMessage::message(VN_MESSAGE_DEBUG, "%sChildren count:%ld", itemAnchor + "+-", item.m_childCount);
    };
    show(*this, base, anchor);
    vnDynamicArray<vnString> anchors(64); // of the items that we are in
    anchors.append(anchor);
    for (vnXmlItem* item = m_firstChild; item;)
    {
        const vnString above = anchors[anchors.getSize() - 1];
        const vnString own = extended(above);
        const bool isOurs = vnXmlTree::isOurs(*item);
        if (isOurs)
            show(*item, above + "+-", own);
        else
            item->debugOutputTraverse(above + "+-", own, flags);
        if (isOurs && item->m_firstChild)
        {
            anchors.append(own);
            item = item->m_firstChild;
        }
        else
            item = vnXmlTree::behind(item, this,
                                     [&anchors](vnXmlItem*) { anchors.setSize(anchors.getSize() - 1); });
    }
}
