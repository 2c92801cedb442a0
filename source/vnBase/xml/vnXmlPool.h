// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSharedMemory.h>

#include <atomic>
#include <cstddef>

/// Memory for the items of one reading of a document, cut from large slabs one after the other. Most of the
/// time of building a tree is the first touch of fresh memory, which large pages make ten times cheaper.
///
/// A slab is freed with the last of its items; places are not used again. So the pool serves readers only:
/// items that programs make come and go one by one.
///
/// Thread-safety: a pool belongs to one thread; `release` may be called on any.
class vnXmlPool : public vnSharedMemory
{
public:
    vnXmlPool() = default;
    vnXmlPool(const vnXmlPool&) = delete;
    vnXmlPool& operator=(const vnXmlPool&) = delete;
    ~vnXmlPool() { letGo(m_slab); }

    /// Memory for an item, of this pool or without one. Both are for `release`.
    void* allocate(std::size_t size);
    static void* allocateAlone(std::size_t size, const char* name);
    static void release(void* item);

    /// Memory that ends with the item before it, `end` being where that, or its last such memory, ends. Null
    /// when something else stands there. `size` is a multiple of 8.
    void* takeBehind(const void* end, std::size_t size) noexcept
    {
        if (end != m_next || static_cast<std::size_t>(m_end - m_next) < size)
            return nullptr;
        void* const taken = m_next;
        m_next += size;
        return taken;
    }

private:
    struct Slab
    {
        std::atomic<unsigned int> users{1}; // the items, and the pool
    };

    static void letGo(Slab* slab);
    void addSlab(std::size_t least);

    // A slab begins with its head; before each item stands the pointer to its slab, null for one that is
    // alone.
    Slab* m_slab = nullptr;
    char* m_next = nullptr;
    char* m_end = nullptr;
    std::size_t m_total = 0; // of all slabs
};
