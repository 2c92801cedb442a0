// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <cstdlib>

/// Hands out blocks that are aligned to 8 bytes and never to 16, while it lives.
class OddManager : public vnMemoryManagerInterface
{
public:
    OddManager() { vnMemoryControl::setMemoryManager(this); }
    ~OddManager() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    void* allocate(unsigned int size) override
    {
        auto* const block = static_cast<char*>(std::malloc(size + offset));
        return block ? block + offset : nullptr;
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override
    {
        if (block)
            std::free(static_cast<char*>(block) - offset);
    }

private:
    static constexpr unsigned int offset = 8;
};
