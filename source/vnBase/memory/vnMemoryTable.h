// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <atomic>

/// What lets the allocators take their short way: 0 while neither a memory manager is installed nor blocks
/// are tracked.
enum : unsigned int
{
    VN_MEMORY_MANAGED = 1,
    VN_MEMORY_TRACKED = 2
};
extern std::atomic<unsigned int> vnMemoryWatch;

/// Above 0 while the calling thread prints a report: what printing allocates is not tracked.
extern __thread int vnInsideMemoryReport __attribute__((tls_model("initial-exec")));

class vnMemoryReportScope
{
public:
    vnMemoryReportScope() noexcept { ++vnInsideMemoryReport; }
    ~vnMemoryReportScope() { --vnInsideMemoryReport; }
    vnMemoryReportScope(const vnMemoryReportScope&) = delete;
    vnMemoryReportScope& operator=(const vnMemoryReportScope&) = delete;
};

/// Heap access below the accounting: the installed manager, or the C library.
void* vnRawAllocate(unsigned int size);
void* vnRawAllocateZeroed(std::size_t size);
void vnRawFree(void* block);

/// Keep account of a block that was just allocated, or is about to be freed.
void vnTrackAllocation(void* block, unsigned int size, const char* name);
void vnTrackRelease(void* block);

/// Frees the place of a thread that has ended, or is about to, in the table of states. Threads do so
/// themselves when they end, unless they are killed.
void vnForgetMemoryState(unsigned int thread) noexcept;

/// The records of live blocks, up to 1,000,000, with an index by address. All of it is one block of zeros at
/// the start, and pages that were never used cost nothing. No locking and no allocation in here.
class vnMemoryTable
{
public:
    static constexpr unsigned int VN_RECORDS = 1000000;

    struct Record
    {
        void* address; // null marks a free record
        const char* name;
        unsigned int size;
        unsigned int threadID;
        unsigned int sequence;
        unsigned int state;
    };

    /// The number of the record of `address`; `VN_RECORDS` when there is none.
    unsigned int find(const void* address) const noexcept;

    /// Takes a free record for `address` and returns its number; `VN_RECORDS` when all are in use.
    unsigned int take(void* address) noexcept;
    void release(unsigned int index) noexcept;

    /// All records are free afterwards, and taking starts with the first.
    void clear() noexcept;

    /// Takes over all records into a new table.
    void copyFrom(const vnMemoryTable& other) noexcept;

    Record& operator[](unsigned int index) noexcept { return m_records[index]; }

    /// No record at or past this number was ever used.
    unsigned int getUsed() const noexcept { return m_used; }
    unsigned int getLive() const noexcept { return m_live; }

private:
    static constexpr unsigned int VN_INDEX_BITS = 20;
    static constexpr unsigned int VN_WORDS = VN_RECORDS / 64;

    static unsigned int slotOf(const void* address) noexcept;
    unsigned int nextFree() noexcept;

    unsigned int m_used;
    unsigned int m_live;
    unsigned int m_hint; // where the search for a free record begins once all have been used
    Record m_records[VN_RECORDS];
    unsigned int m_next[VN_RECORDS];           // chains of one slot: number + 1, 0 at the end
    unsigned int m_heads[1u << VN_INDEX_BITS]; // likewise
    vnUInt64 m_occupied[VN_WORDS];
};
