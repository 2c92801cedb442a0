// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>

#include <cstddef>

/// A pool of blocks of one size, for many small objects of a class. What does not fit, because it is larger
/// than a block or because no block is left, comes from the allocators of vnMemory.h; `free` tells the two
/// apart.
///
///     static vnMemOptimizer nodes(sizeof(Node), 10000, "nodes", 1);
///     void* place = nodes.malloc(sizeof(Node));
///     ...
///     nodes.free(place);
///
/// Blocks are aligned to 8 bytes, or to 16 when the block size is a multiple of 16. An inactive pool sends
/// everything to the allocators.
///
/// Thread-safety: `malloc`, `free` and `isManaged` on any thread. The others belong to one thread while no
/// other uses the pool.
class VN_BASE_API vnMemOptimizer
{
public:
    /// A pool of `count` blocks of `size` bytes. `name` (may be null) stands in the reports, so it must be a
    /// literal. With `enabled` 0 the pool begins inactive.
    vnMemOptimizer(unsigned int size, unsigned int count, const char* name, unsigned char enabled);
    vnMemOptimizer(const vnMemOptimizer&) = delete;
    vnMemOptimizer& operator=(const vnMemOptimizer&) = delete;

    /// All blocks must have been freed, or must never be used again.
    virtual ~vnMemOptimizer() noexcept(false);

    /// Null when memory is exhausted.
    void* malloc(unsigned int size);

    /// Takes blocks of `malloc` only; null is allowed.
    void free(void* block);

    /// 1 when `block` stands in the pool.
    unsigned char isManaged(const void* block) const;

    /// Activates the pool. Without memory for it a line is printed and the pool stays inactive; nothing
    /// happens to an active pool, or for a block count of 0.
    void enable();

    /// Deactivates the pool and answers 1. While blocks are in use it stays active and the answer is 0,
    /// unless `force` is set: then those blocks must never be used or freed again.
    unsigned char disable(unsigned char force);

    /// Changes the number of blocks and answers 1; answers 0, with no change, while blocks are in use, or,
    /// after a line like that of `enable()`, without memory for the new ones. A count of 0 leaves the pool
    /// inactive.
    unsigned char tryResize(unsigned int count);

    /// Posts a Debug message when a pool that has run out would need more than ever before, at each multiple
    /// of `step` percent of its block count; 0 for none.
    void setReportPercentage(unsigned int step);

    unsigned char isActive() const noexcept { return m_marker == VN_ACTIVE; }
    unsigned int getBlockCount() const noexcept { return m_count; }
    unsigned int getFreeCount() const;

private:
    static constexpr unsigned int VN_ACTIVE = 0x27498633u;
    static constexpr unsigned int VN_INACTIVE = 0x22323423u;

    struct Blocks
    {
        unsigned char* area;
        void** stack;
    };

    Blocks allocate(unsigned int count) const;
    void activate(const Blocks& blocks) noexcept;
    std::size_t stride() const noexcept;
    void* takeBlock();
    unsigned int percentageToReport();
    void report(unsigned int percentage) const;
    unsigned int usedBlocks() const noexcept { return isActive() ? m_count - m_free : 0; }

    unsigned char* m_area = nullptr;
    void** m_stack = nullptr; // free blocks
    unsigned int m_marker = VN_INACTIVE;
    unsigned int m_free = 0;
    vnMutex m_mutex; // guards the stack, m_free, and the numbers of the report
    unsigned int m_size;
    unsigned int m_count;
    unsigned char* m_end = nullptr;
    const char* m_name;
    unsigned int m_used = 0; // beyond the block count when the pool has run out
    unsigned int m_highest = 0;
    unsigned int m_step = 0;
};
