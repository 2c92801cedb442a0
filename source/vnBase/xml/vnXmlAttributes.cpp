// SPDX-License-Identifier: MIT
#include "vnXmlAttributes.h"

#include <algorithm>
#include <memory>
#include <new>

namespace
{
vnString makeString(std::string_view text)
{
    return vnString(text.data(), static_cast<unsigned short>(text.size()));
}

std::string_view viewOf(const vnString& text)
{
    return {text.getString(), text.length()};
}

// The first block of an element, and the step of the sizes of blocks: what the C library's heap gives without
// waste.
constexpr unsigned int VN_FIRST_BLOCK = 40;
constexpr unsigned int VN_BLOCK_STEP = 16;
constexpr unsigned int VN_LARGEST_BLOCK = 0x7FFFFFF0;
} // namespace

vnXmlAttributes* vnXmlAttributes::create(unsigned int capacity)
{
    const unsigned int bytes = capacity ? capacity : static_cast<unsigned int>(sizeof(ListForm*));
    void* place = vn_new(vnCheckedSize(static_cast<std::size_t>(bytes) + sizeof(vnXmlAttributes)));
    return ::new (place) vnXmlAttributes(capacity);
}

void vnXmlAttributes::freeBlock(vnXmlAttributes* block)
{
    if (block && !block->m_isPooled)
        vn_delete(block);
}

void vnXmlAttributes::makeRoom(vnXmlAttributes*& attributes, unsigned int size)
{
    constexpr std::size_t header = sizeof(vnXmlAttributes);
    if (attributes && attributes->hasRoomFor(size))
        return;
    const std::size_t used = attributes ? attributes->m_size : 0;
    std::size_t block = std::max<std::size_t>(VN_FIRST_BLOCK, header + used + size);
    if (attributes)
        block = std::max(block, 2 * (header + attributes->m_capacity));
    block += (VN_FIRST_BLOCK - block) % VN_BLOCK_STEP;
    if (block > VN_LARGEST_BLOCK)
        vnThrowBadAlloc(__FILE__, __LINE__);
    vnXmlAttributes* grown = create(static_cast<unsigned int>(block - header));
    if (attributes)
    {
        std::memcpy(grown->data(), attributes->data(), used);
        grown->m_size = attributes->m_size;
    }
    freeBlock(std::exchange(attributes, grown));
}

// Takes what is missing right behind the block, or behind the element when there is no block yet.
bool vnXmlAttributes::growBehind(vnXmlAttributes*& attributes, unsigned int size, vnXmlPool& pool,
                                 const void* end)
{
    constexpr std::size_t step = 8;
    const auto rounded = [](std::size_t bytes) { return (bytes + step - 1) / step * step; };
    if (attributes)
    {
        const std::size_t more = rounded(size - (attributes->m_capacity - attributes->m_size));
        if (!attributes->m_isPooled || attributes->m_capacity + more > VN_LARGEST_BLOCK ||
            !pool.takeBehind(attributes->data() + attributes->m_capacity, more))
            return false;
        attributes->m_capacity += static_cast<unsigned int>(more);
        return true;
    }
    const std::size_t block = rounded(sizeof(vnXmlAttributes) + size);
    void* const place = pool.takeBehind(end, block);
    if (!place)
        return false;
    attributes = ::new (place) vnXmlAttributes(static_cast<unsigned int>(block - sizeof(vnXmlAttributes)));
    attributes->m_isPooled = 1;
    return true;
}

void vnXmlAttributes::append(vnXmlAttributes*& attributes, const vnString& name, std::string_view value,
                             vnXmlPool* pool, const void* end)
{
    const auto size = static_cast<unsigned int>(sizeof(Lengths) + name.length() + value.size());
    if (pool && !(attributes && (attributes->isList() || attributes->hasRoomFor(size))))
        growBehind(attributes, size, *pool, end);
    append(attributes, name, value); // makes room elsewhere if there is none
}

void vnXmlAttributes::leaveElement(vnXmlAttributes*& attributes)
{
    if (attributes && attributes->m_isPooled)
        makeRoom(attributes, attributes->m_capacity - attributes->m_size + 1);
}

unsigned int vnXmlAttributes::viewAt(unsigned int offset, View& attribute) const noexcept
{
    const char* entry = data() + offset;
    Lengths lengths;
    std::memcpy(&lengths, entry, sizeof(lengths));
    attribute.name = {entry + sizeof(lengths), lengths.name};
    attribute.value = {entry + sizeof(lengths) + lengths.name, lengths.value};
    return offset + static_cast<unsigned int>(sizeof(lengths)) + lengths.name + lengths.value;
}

void vnXmlAttributes::append(vnXmlAttributes*& attributes, const vnString& name, std::string_view value)
{
    resetWalk(attributes);
    if (attributes && attributes->isList())
    {
        attributes->listForm()->list.append(
            vnRefPointer<vnXmlAttribute>(new vnXmlAttribute(name, makeString(value))));
        return;
    }
    const Lengths lengths{name.length(), static_cast<unsigned short>(value.size())};
    makeRoom(attributes, static_cast<unsigned int>(sizeof(lengths)) + lengths.name + lengths.value);
    char* entry = attributes->data() + attributes->m_size;
    std::memcpy(entry, &lengths, sizeof(lengths));
    std::memcpy(entry + sizeof(lengths), name.getString(), lengths.name);
    std::memcpy(entry + sizeof(lengths) + lengths.name, value.data(), lengths.value);
    attributes->m_size += static_cast<unsigned int>(sizeof(lengths)) + lengths.name + lengths.value;
}

bool vnXmlAttributes::find(const vnXmlAttributes* attributes, std::string_view name, std::string_view& value)
{
    Walk walk(attributes);
    View attribute;
    while (walk.next(attribute))
        if (attribute.name == name)
        {
            value = attribute.value;
            return true;
        }
    return false;
}

void vnXmlAttributes::remove(vnXmlAttributes*& attributes, std::string_view name)
{
    if (!attributes)
        return;
    resetWalk(attributes);
    if (attributes->isList())
    {
        for (List::Iterator i(attributes->listForm()->list); i.isValid(); ++i)
            if (i.getItem() && viewOf(i.getItem()->getName()) == name)
            {
                i.remove();
                break;
            }
        resetWalk(attributes); // which may have stood on what is gone
        return;
    }
    View attribute;
    for (unsigned int offset = 0, behind; offset < attributes->m_size; offset = behind)
    {
        behind = attributes->viewAt(offset, attribute);
        if (attribute.name != name)
            continue;
        std::memmove(attributes->data() + offset, attributes->data() + behind, attributes->m_size - behind);
        attributes->m_size -= behind - offset;
        return;
    }
}

vnXmlAttributes::List& vnXmlAttributes::getList(vnXmlAttributes*& attributes)
{
    if (attributes && attributes->isList())
    {
        resetWalk(attributes);
        return attributes->listForm()->list;
    }
    auto form = std::make_unique<ListForm>();
    Walk walk(attributes);
    View attribute;
    while (walk.next(attribute))
        form->list.append(vnRefPointer<vnXmlAttribute>(
            new vnXmlAttribute(makeString(attribute.name), makeString(attribute.value))));
    vnXmlAttributes* block = create(0);
    ListForm* kept = form.release();
    kept->walk = List::Iterator(kept->list);
    std::memcpy(block->data(), &kept, sizeof(kept));
    freeBlock(std::exchange(attributes, block));
    return kept->list;
}

void vnXmlAttributes::destroy(vnXmlAttributes*& attributes)
{
    vnXmlAttributes* const old = std::exchange(attributes, nullptr);
    if (!old)
        return;
    const std::unique_ptr<ListForm> form(old->isList() ? old->listForm() : nullptr);
    freeBlock(old);
}

// The attribute at the offset, or where the iterator of the list stands; both move on.
bool vnXmlAttributes::take(unsigned int& offset, List::Iterator* item, View& attribute) const
{
    if (!isList())
    {
        if (offset == m_size)
            return false;
        offset = viewAt(offset, attribute);
        return true;
    }
    while (item->isValid() && !item->getItem()) // the list is its user's
        ++*item;
    if (!item->isValid())
        return false;
    attribute = {viewOf(item->getItem()->getName()), viewOf(item->getItem()->getValue())};
    ++*item;
    return true;
}

bool vnXmlAttributes::walkOn(vnXmlAttributes* attributes, View& attribute)
{
    if (!attributes)
        return false;
    List::Iterator* const item = attributes->isList() ? &attributes->listForm()->walk : nullptr;
    return attributes->take(attributes->m_walked, item, attribute);
}

void vnXmlAttributes::resetWalk(vnXmlAttributes* attributes) noexcept
{
    if (!attributes)
        return;
    attributes->m_walked = 0;
    if (attributes->isList())
        attributes->listForm()->walk = List::Iterator(attributes->listForm()->list);
}

vnXmlAttributes::Walk::Walk(const vnXmlAttributes* attributes) : m_attributes(attributes)
{
    if (attributes && attributes->isList())
        m_item.emplace(attributes->listForm()->list);
}

bool vnXmlAttributes::Walk::next(View& attribute)
{
    return m_attributes && m_attributes->take(m_offset, m_item ? &*m_item : nullptr, attribute);
}
