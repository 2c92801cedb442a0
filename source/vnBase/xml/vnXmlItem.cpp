// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlItem.h>

#include "vnXmlDecode.h"
#include "vnXmlPool.h"
#include "vnXmlTree.h"

#include <exception>
#include <utility>

vnType vnXmlItem::s_type(vnReference::getClassType(), "vnXmlItem");

vnXmlItem::vnXmlItem(const vnString& name) : vnNameInterface(name) {}

vnXmlItem::~vnXmlItem() noexcept(false)
{
    vnXmlTree::releaseChildren(*this);
}

void* vnXmlItem::allocate(std::size_t size, const char* name)
{
    return vnXmlPool::allocateAlone(size, name);
}

void* vnXmlItem::operator new(std::size_t size, vnXmlPool& pool)
{
    return pool.allocate(size);
}

void vnXmlItem::operator delete(void* item)
{
    vnXmlPool::release(item);
}

void vnXmlItem::write(vnXmlSax* sax)
{
    if (sax)
        vnXmlTree::writeChildren(*this, *sax);
}

void vnXmlItem::append(vnXmlItem* item)
{
    item->ref();
    item->m_parent = this;
    vnXmlItem* const last = m_firstChild ? m_firstChild->m_previous : nullptr;
    if (last)
    {
        item->m_previous = last;
        last->m_next = item;
        if (last->isText() && item->canJoin())
            markMerge(VN_FLAG_MERGE);
    }
    else
        m_firstChild = item;
    m_firstChild->m_previous = item;
    ++m_childCount;
    if (item->m_flags & (VN_FLAG_MERGE | VN_FLAG_MERGE_BELOW))
        markMerge(VN_FLAG_MERGE_BELOW);
}

// Takes the item out; its reference stays.
void vnXmlItem::unlink(vnXmlItem* item) noexcept
{
    vnXmlItem* const next = item->m_next;
    vnXmlItem* const previous = item->m_previous; // of the first child the last one
    const bool isFirst = item == m_firstChild;
    if (m_walked == item)
    {
        m_walked = isFirst ? nullptr : previous;
        if (isFirst)
            m_flags = static_cast<unsigned char>(m_flags & ~VN_FLAG_WALKED);
    }
    if (isFirst)
        m_firstChild = next;
    else
        previous->m_next = next;
    if (next)
        next->m_previous = previous;
    else if (m_firstChild)
        m_firstChild->m_previous = previous;
    if (!isFirst && next && previous->isText() && next->canJoin())
        markMerge(VN_FLAG_MERGE);
    --m_childCount;
    item->m_parent = item->m_next = item->m_previous = nullptr;
}

void vnXmlItem::markMerge(Flag flag) noexcept
{
    m_flags |= flag;
    for (vnXmlItem* above = m_parent; above && !(above->m_flags & VN_FLAG_MERGE_BELOW);
         above = above->m_parent)
        above->m_flags |= VN_FLAG_MERGE_BELOW;
}

void vnXmlItem::addChild(vnXmlItem* item)
{
    resetChildIterator();
    // A tree has no circles, which nobody could ever let go of.
    if (item && !item->m_parent && !isIn(item))
        append(item);
}

// Whether this item is the other one, or stands below it.
bool vnXmlItem::isIn(const vnXmlItem* other) const noexcept
{
    if (!other->m_firstChild)
        return other == this;
    const vnXmlItem* above = this;
    while (above && above != other)
        above = above->m_parent;
    return above != nullptr;
}

void vnXmlItem::removeChild(vnXmlItem* item)
{
    if (!item || item->m_parent != this)
        return;
    unlink(item);
    item->unref();
}

void vnXmlItem::removeChildren()
{
    vnXmlTree::releaseChildren(*this);
    resetChildIterator();
}

// Children end before their parents, and one is let go of when nothing that ends with it is below it, so that
// destructors do not call one another down the tree.
void vnXmlTree::releaseChildren(vnXmlItem& top)
{
    std::exception_ptr failure;
    vnXmlItem* item = &top;
    while (item != &top || top.m_firstChild)
    {
        while (item->m_firstChild && (item == &top || item->m_count == 1))
            item = item->m_firstChild;
        vnXmlItem* const parent = item->m_parent;
        parent->unlink(item);
        try
        {
            item->unref();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
        item = parent;
    }
    if (failure)
        std::rethrow_exception(failure);
}

vnXmlItem* vnXmlItem::getNextChild() noexcept
{
    if (!(m_flags & VN_FLAG_WALKED))
        m_walked = m_firstChild;
    else if (m_walked)
        m_walked = m_walked->m_next;
    m_flags |= VN_FLAG_WALKED;
    return m_walked;
}

void vnXmlItem::resetChildIterator() noexcept
{
    m_walked = nullptr;
    m_flags = static_cast<unsigned char>(m_flags & ~VN_FLAG_WALKED);
}

void vnXmlItem::resetAllChildIterators() noexcept
{
    for (vnXmlItem* item = this; item; item = vnXmlTree::next(item, this))
        item->resetChildIterator();
}

// What a text before the item gets from it; false for nothing. `character` is where it may stand.
bool vnXmlItem::joinPart(char& character, std::string_view& part) const
{
    if (isText())
    {
        part = vnXmlTree::viewOf(static_cast<const vnXmlCharData*>(this)->m_data);
        return true;
    }
    if (m_kind != VN_KIND_REFERENCE)
        return false;
    character =
        vnXmlCharacterOf(vnXmlTree::viewOf(static_cast<const vnXmlEntityReference*>(this)->getData()));
    part = {&character, 1};
    return character != 0;
}

void vnXmlItem::mergeChildren(vnDynamicArray<char>& joined)
{
    for (vnXmlItem* item = m_firstChild; item; item = item->m_next)
    {
        if (!item->isText())
            continue; // a reference without a text before it stays, too
        vnString& text = static_cast<vnXmlCharData*>(item)->m_data;
        joined.clear();
        joined.append(text.getString(), text.length());
        vnXmlItem* behind = item->m_next;
        char character = 0;
        std::string_view part;
        while (behind && behind->joinPart(character, part) &&
               joined.getSize() + part.size() <= vnString::VN_MAX_LENGTH)
        {
            joined.append(part.data(), static_cast<unsigned int>(part.size()));
            behind = behind->m_next;
        }
        if (behind && behind->canJoin())
            m_flags |= VN_FLAG_MERGE; // once it, or the text, is another one
        if (behind == item->m_next)
            continue;
        text = vnString(joined.data(), static_cast<unsigned short>(joined.getSize()));
        while (item->m_next != behind)
            removeChild(item->m_next);
    }
}

void vnXmlItem::mergeStandardReferencesAndText()
{
    vnDynamicArray<char> joined(4096);
    for (vnXmlItem* item = this; item;)
    {
        const unsigned int flags = item->m_flags;
        item->m_flags = static_cast<unsigned char>(flags & ~(VN_FLAG_MERGE | VN_FLAG_MERGE_BELOW));
        try
        {
            if (flags & VN_FLAG_MERGE)
                item->mergeChildren(joined);
        }
        catch (...)
        {
            item->markMerge(VN_FLAG_MERGE); // and so that what is left is found again
            throw;
        }
        if (item->m_flags & VN_FLAG_MERGE)
            item->markMerge(VN_FLAG_MERGE);
        const bool isBelow = (flags & VN_FLAG_MERGE_BELOW) && item->m_firstChild;
        item = isBelow ? item->m_firstChild : vnXmlTree::behind(item, this, [](vnXmlItem*) {});
    }
}
