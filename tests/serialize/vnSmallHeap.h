// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

/// Has no memory for blocks above a size, and knows the largest one that was asked for.
class SmallHeap : public vnMemoryManagerInterface
{
public:
    explicit SmallHeap(unsigned int most) : m_most(most) { vnMemoryControl::setMemoryManager(this); }
    ~SmallHeap() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    unsigned int getLargest() const { return m_largest; }
    vnUInt64 getTotal() const { return m_total; }
    void* allocate(unsigned int size) override
    {
        m_largest = std::max<unsigned int>(m_largest, size);
        m_total += size;
        return size > m_most ? nullptr : std::malloc(size);
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override { std::free(block); }

private:
    const unsigned int m_most;
    std::atomic<unsigned int> m_largest{0};
    std::atomic<vnUInt64> m_total{0};
};
