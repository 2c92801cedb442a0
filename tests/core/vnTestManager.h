// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <cstdlib>

/// Takes the memory of the library from the C library while it lives, within the limits of the test. What was
/// allocated before is freed all the same.
class TestManager : public vnMemoryManagerInterface
{
public:
    TestManager()
    {
        vnMemoryControl::setMemoryManager(this);
        count = 0; // the table of tracked blocks may have moved here
    }
    ~TestManager() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    void* allocate(unsigned int size) override
    {
        if (size > largest || count >= most)
            return nullptr;
        ++count;
        return std::malloc(size);
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override { std::free(block); }

    unsigned int count = 0;         // of the allocations so far
    unsigned int most = 0xFFFFFFFF; // allocations, and none beyond
    unsigned int largest = 0xFFFFFFFF;
};

/// Hands out blocks that are aligned to 8 bytes and never to 16.
class OddManager : public TestManager
{
public:
    void* allocate(unsigned int size) override
    {
        auto* const block = static_cast<char*>(std::malloc(size + offset));
        return block ? block + offset : nullptr;
    }
    void deallocate(void* block) override
    {
        if (block)
            std::free(static_cast<char*>(block) - offset);
    }

private:
    static constexpr unsigned int offset = 8;
};
