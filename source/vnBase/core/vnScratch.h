// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <memory>

/// Uninitialised scratch for `count` plain elements during a scope; small ones need no block. Exhausted
/// memory throws `std::bad_alloc`.
template <class T>
class vnScratch
{
public:
    explicit vnScratch(unsigned int count)
    {
        if (count > sizeof m_nearby / sizeof(T))
            m_block.reset(static_cast<T*>(vn_new(vnCheckedSize(count, sizeof(T)))));
    }
    T* get() { return m_block ? m_block.get() : m_nearby; }

private:
    struct FreeBlock
    {
        void operator()(T* block) const { vn_free(block); }
    };

    std::unique_ptr<T, FreeBlock> m_block;
    T m_nearby[512];
};
