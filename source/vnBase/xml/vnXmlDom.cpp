// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlDom.h>

#include "vnXmlAttributes.h"
#include "vnXmlDecode.h"
#include "vnXmlPool.h"
#include "vnXmlTree.h"

#include <vnBase/vnObject.h>

#include <cstring>
#include <utility>

vnType vnXmlDom::s_type(vnXmlItem::getClassType(), "vnXmlDom");

vnXmlDom::vnXmlDom() : vnXmlItem("root") {}

vnXmlDom::~vnXmlDom() noexcept(false) = default;

void vnXmlDom::read(vnSerializeAdapter* adapter)
{
    if (!adapter)
        return;
    // Counted and not held by a pointer: a document on a stack or in another object has the count 0, and must
    // come back to it alive.
    ref();
    try
    {
        readTree(adapter);
    }
    catch (...)
    {
        endReading();
        throw;
    }
    endReading();
}

void vnXmlDom::readTree(vnSerializeAdapter* adapter)
{
    m_itemStack[0] = this;
    delete std::exchange(m_pool, nullptr);
    m_pool = new vnXmlPool;
    m_hasPassedLimit = 0;
    removeChildren();
    reset();
    vnXmlSax::read(adapter);
    if (m_mergeStandardReferences)
        mergeStandardReferencesAndText();
}

void vnXmlDom::endReading()
{
    delete std::exchange(m_pool, nullptr);
    for (unsigned int i = 0; i < m_itemStack.getSize(); ++i)
        m_itemStack[i] = nullptr;
    m_itemStack.setSize(0);
    unrefNoDelete();
}

template <class Item, class... Args>
Item* vnXmlDom::makeItem(const Args&... args)
{
    static_assert(alignof(Item) <= 8);
    return m_pool ? new (*m_pool) Item(args...) : new Item(args...);
}

vnXmlItem* vnXmlDom::itemAt(unsigned int level) const noexcept
{
    return level < m_itemStack.getSize() ? m_itemStack.data()[level].get() : nullptr;
}

vnXmlItem* vnXmlDom::addItemAt(vnXmlItem* item, unsigned int level)
{
    if (vnXmlItem* parent = itemAt(level))
    {
        parent->addChild(item);
        return item;
    }
    item->checkDelete(); // nothing is read just now
    return nullptr;
}

// Items of the levels below stay in the stack until others take their places.
unsigned char vnXmlDom::onElementStart(const vnString& name, unsigned int level)
{
    if (level == 0)
        return 1;
    if (vnXmlItem* element = addItemAt(makeItem<vnXmlElement>(name), level - 1))
        m_itemStack[level] = element;
    return 1;
}

unsigned char vnXmlDom::onAttribute(const vnString& name, const vnString& value, unsigned int level)
{
    vnXmlItem* const item = itemAt(level);
    vnXmlElement* const element = item ? vnXmlTree::asElement(item) : nullptr;
    if (!element)
        return 1;
    const std::string_view raw = vnXmlTree::viewOf(value);
    if (!std::memchr(raw.data(), '&', raw.size()))
        return setAttributeOf(*element, name, raw);
    return setAttributeOf(*element, name, vnXmlTree::viewOf(vnXmlDecodeAttribute(value)));
}

unsigned char vnXmlDom::setAttributeOf(vnXmlElement& element, const vnString& name, std::string_view value)
{
    if (!std::memchr(value.data(), '%', value.size()))
    {
        vnXmlAttributes::append(element.m_attributes, name, value, m_pool, &element + 1);
        return 1;
    }
    // A percent sign in a document begins a format directive, as it does for all who set attributes. That is
    // meant. A few bytes may become 65,535 that way.
    const vnString text = vnString::formatString(vnXmlTree::makeString(value));
    vnXmlAttributes::append(element.m_attributes, name, vnXmlTree::viewOf(text), m_pool, &element + 1);
    return text.length() <= value.size() || addToDocumentSize(text.length() - value.size());
}

unsigned char vnXmlDom::onCharData(const vnString& text, unsigned int level)
{
    // The blanks around each piece go before pieces are joined, also those around references. That is meant.
    const std::string_view all = vnXmlTree::viewOf(text);
    const std::string_view kept = m_skipWhiteSpaceCharData ? vnXmlTree::stripped(all) : all;
    if (!kept.empty())
        addItemAt(makeItem<vnXmlCharData>(kept.data(), static_cast<unsigned short>(kept.size())), level);
    return 1;
}

unsigned char vnXmlDom::onEntityReference(const vnString& name, unsigned int level, unsigned char inAttribute)
{
    if (name.isEmpty() || inAttribute)
        return 1;
    const char character = m_mergeStandardReferences ? vnXmlCharacterOf(vnXmlTree::viewOf(name)) : '\0';
    if (character)
        addItemAt(makeItem<vnXmlCharData>(&character, static_cast<unsigned short>(1)), level);
    else
        addItemAt(makeItem<vnXmlEntityReference>(name), level);
    return 1;
}

unsigned char vnXmlDom::onProcessingInstruction(const vnString& target, const vnString& data,
                                                unsigned int level)
{
    if (m_readIncludedXml && target == "include")
        return include(data, level);
    addItemAt(makeItem<vnXmlPI>(target, data), level);
    return 1;
}

unsigned char vnXmlDom::onCDATA(const vnString& text, unsigned int level)
{
    addItemAt(makeItem<vnXmlCDATA>(text), level);
    return 1;
}

unsigned char vnXmlDom::onComment(const vnString& text, unsigned int level)
{
    addItemAt(makeItem<vnXmlComment>(text), level);
    return 1;
}

unsigned char vnXmlDom::onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level)
{
    return replaceElement(new vnXmlDynamicType(value, name), level);
}

unsigned char vnXmlDom::onObject(vnObject* object, const vnString& name, unsigned int level)
{
    return replaceElement(new vnXmlObject(object, name), level);
}

unsigned char vnXmlDom::onCustomData(vnReference* data, const vnString& name, unsigned int level)
{
    vnXmlItem* const item = itemAt(level);
    vnXmlElement* const element = item ? vnXmlTree::asElement(item) : nullptr;
    if (element)
        return replaceElement(new vnXmlCustomData(*element, data), level);
    return replaceElement(new vnXmlCustomData(name, data), level);
}

// The item takes the place of the element that is read at this level.
unsigned char vnXmlDom::replaceElement(vnXmlItem* item, unsigned int level)
{
    const vnRefPointer<vnXmlItem> held(item);
    vnXmlItem* const element = itemAt(level);
    if (level == 0 || !element || !element->getParent())
        return 1;
    vnXmlItem* const parent = element->getParent();
    parent->removeChild(element);
    parent->addChild(item);
    m_itemStack[level] = item;
    return 1;
}

void vnXmlDom::onWrite()
{
    setPlainOutput(!m_skipWhiteSpaceCharData); // texts that were kept exactly stay exact
    vnXmlTree::writeChildren(*this, *this);
}

void vnXmlDom::write(vnSerializeAdapter* adapter)
{
    vnXmlSax::write(adapter);
}

void vnXmlDom::write(vnXmlSax* sax)
{
    if (!sax)
        return;
    if (m_writeIncludedXml)
        vnXmlTree::writeChildren(*this, *sax);
    else
        sax->writePI("include", getName());
}
