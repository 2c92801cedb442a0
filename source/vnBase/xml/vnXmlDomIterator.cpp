// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlDom.h>

#include <algorithm>

vnXmlItem* vnXMLDomIterator::operator()()
{
    vnXmlItem* const top = &m_document;
    for (vnXmlItem* item = m_current ? m_current : top; item; item = item->getParent())
    {
        m_current = item == top ? nullptr : item;
        vnXmlItem* const child = item->getNextChild();
        if (child)
            return m_current = child;
        if (item == top)
            break;
    }
    m_current = nullptr;
    return nullptr;
}

void vnXMLDomIterator::remove()
{
    vnXmlItem* const parent = m_current ? m_current->getParent() : nullptr;
    if (!parent)
        return;
    vnXmlItem* const removed = m_current;
    m_current = parent == &m_document ? nullptr : parent;
    parent->removeChild(removed);
}

// The names from below the document to the item, each behind a slash. They are written from the last one on.
vnString vnXMLDomIterator::pathOf(const vnXmlItem* item) const
{
    const vnXmlItem* const top = &m_document;
    vnUInt64 total = 0;
    for (const vnXmlItem* each = item; each && each != top; each = each->getParent())
        total += each->getName().length() + 1u;
    unsigned int left = static_cast<unsigned int>(std::min<vnUInt64>(total, vnString::VN_MAX_LENGTH));
    vnArray<char> path(left);
    const auto putBefore = [&](const char* text, unsigned int length)
    {
        const unsigned int kept = std::min(length, left);
        left -= kept;
        std::copy_n(text + (length - kept), kept, path.data() + left);
    };
    for (const vnXmlItem* each = item; each && each != top; each = each->getParent())
    {
        putBefore(each->getName().getString(), each->getName().length());
        putBefore("/", 1);
    }
    return vnString(path.data(), static_cast<unsigned short>(path.getSize()));
}

vnString vnXMLDomIterator::getContext() const
{
    return m_current ? pathOf(m_current->getParent()) : vnString();
}

vnString vnXMLDomIterator::getContextName() const
{
    return pathOf(m_current);
}
