// SPDX-License-Identifier: MIT
#include "vnXmlPool.h"

#include "vnXmlPages.h"

#include <algorithm>
#include <new>

namespace
{
constexpr std::size_t VN_FIRST_SLAB = 4000; // a small document is a slab or two
constexpr std::size_t VN_LARGEST_SLAB = std::size_t{8} << 20;
constexpr std::size_t VN_ALIGNMENT = 8;
constexpr std::size_t VN_ALONE_HEAD = 16; // keeps what the allocators align

void*& slabBefore(void* item)
{
    return static_cast<void**>(item)[-1];
}
} // namespace

void* vnXmlPool::allocate(std::size_t size)
{
    const std::size_t rounded = (size + sizeof(void*) + VN_ALIGNMENT - 1) / VN_ALIGNMENT * VN_ALIGNMENT;
    if (static_cast<std::size_t>(m_end - m_next) < rounded)
        addSlab(rounded);
    void* const item = m_next + sizeof(void*);
    m_next += rounded;
    m_slab->users.fetch_add(1, std::memory_order_relaxed);
    slabBefore(item) = m_slab;
    return item;
}

void* vnXmlPool::allocateAlone(std::size_t size, const char* name)
{
    char* const block = static_cast<char*>(vn_new(vnCheckedSize(size + VN_ALONE_HEAD), name));
    void* const item = block + VN_ALONE_HEAD;
    slabBefore(item) = nullptr;
    return item;
}

void vnXmlPool::release(void* item)
{
    if (!item)
        return;
    if (void* const slab = slabBefore(item))
        letGo(static_cast<Slab*>(slab));
    else
        vn_delete(static_cast<char*>(item) - VN_ALONE_HEAD);
}

void vnXmlPool::letGo(Slab* slab)
{
    if (slab && slab->users.fetch_sub(1, std::memory_order_acq_rel) == 1)
        vn_delete(slab);
}

// A fifth of what there is: little stays unused.
void vnXmlPool::addSlab(std::size_t least)
{
    const std::size_t size = std::max(
        {VN_FIRST_SLAB, std::min(m_total / 4, VN_LARGEST_SLAB), least + sizeof(Slab) + VN_ALIGNMENT});
    char* const block = static_cast<char*>(vn_new(vnCheckedSize(size), "vnXmlPool"));
    vnUseLargePages(block, size);
    letGo(m_slab);
    m_slab = ::new (block) Slab;
    m_next = block + (sizeof(Slab) + VN_ALIGNMENT - 1) / VN_ALIGNMENT * VN_ALIGNMENT;
    m_end = block + size;
    m_total += size;
}
