// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArgument.h>
#include <vnBase/vnConfig.h>

#include <cstddef>
#include <limits>

/// The allocators of the library. They go through the installed `vnMemoryManagerInterface`, or the C
/// library's heap, and keep account of each block while `vnMemoryControl::debugMem` is on; while it is off
/// that costs one test. A `name` is kept as a pointer, so it must be a literal; it stands in the reports.
///
/// `vn_malloc` and `vn_calloc` (zeroed) return null when memory is exhausted. `vn_new` reports and throws
/// `std::bad_alloc` instead. A null pointer may be freed. Blocks are aligned for any basic type.
///
/// Thread-safety: any thread.
VN_BASE_API void* vn_malloc(unsigned int size);
VN_BASE_API void* vn_malloc(unsigned int size, const char* name);
VN_BASE_API void* vn_calloc(unsigned int size, const char* name);
VN_BASE_API void vn_free(void* block);
VN_BASE_API void* vn_new(unsigned int size);
VN_BASE_API void* vn_new(unsigned int size, const char* name);
VN_BASE_API void vn_delete(void* block);

/// Blocks aligned to `alignment` bytes, a power of two; released by `vn_free_aligned` only. Null when memory
/// is exhausted or the alignment is no power of two. `vn_get_alignment` answers the alignment asked for, 0
/// for null.
VN_BASE_API void* vn_malloc_aligned(unsigned int size, unsigned int alignment);
VN_BASE_API void* vn_malloc_aligned(unsigned int size, unsigned int alignment, const char* name);
VN_BASE_API void vn_free_aligned(void* block);
VN_BASE_API unsigned int vn_get_alignment(void* block);

/// What every failed allocation of the library ends in: writes "Bad Alloc:%s" with the source position
/// through the memory report channel and throws `std::bad_alloc`. It allocates nothing.
[[noreturn]] VN_BASE_API void vnThrowBadAlloc(const char* file, int line);

/// The bytes of `count` elements as the 32-bit size that the allocators take. A product that does not fit is
/// exhausted memory: it is reported and thrown like it.
inline unsigned int vnCheckedSize(std::size_t count, std::size_t elementSize = 1)
{
    constexpr std::size_t limit = std::numeric_limits<unsigned int>::max();
    if (elementSize != 0 && count > limit / elementSize)
        vnThrowBadAlloc(__FILE__, __LINE__);
    return static_cast<unsigned int>(count * elementSize);
}

/// The text "File: %s  Line: %d  Ver: %s". It stands in one of 300 slots used in turn, so it is valid through
/// the next 299 calls of the process and has no owner.
VN_BASE_API const char* vnGenerateDebugString(const char* file, int line, const char* version);

/// An allocator of the application's. Both operations must be callable from any thread; `allocate` answers
/// null when memory is exhausted.
class VN_BASE_API vnMemoryManagerInterface
{
public:
    virtual void* allocate(unsigned int size) = 0;

    /// Not called by the library; an implementation may answer null.
    virtual void* reallocate(void* block, unsigned int size) = 0;
    virtual void deallocate(void* block) = 0;
    virtual ~vnMemoryManagerInterface() noexcept(false) = default;
};

/// One live block, as `vnMemoryControl::getMemInfo` hands it out.
struct vnMemInfoItem
{
    const void* address;
    unsigned int size;
    const char* name; // null for a block without a name
    unsigned int threadID;
    unsigned int sequence; // counts the records since tracking began
    unsigned int state;
};

/// Accounts for the blocks of `vn_malloc` and its kin. While tracking is on every block has a record of its
/// size, name, thread, sequence number and of the thread's state at that moment; up to 1,000,000 records.
/// Reports and leak checks filter by state and thread. At unload the blocks that were never freed are
/// reported.
///
///     vnMemoryControl::debugMem(1);
///     unsigned int old = vnMemoryControl::updateState(7, 0);
///     ...
///     vnMemoryControl::dumpAllocMem(7, 0, 0);
///
/// In all operations thread 0 means the calling thread where a state is read or written, and any thread where
/// records are filtered; a state of 0 in a filter means any state.
///
/// Thread-safety: any thread; the report operations hold the table's lock while they print.
class VN_BASE_API vnMemoryControl
{
public:
    /// Blocks allocated under this state are private to the library and are left out of the lost memory
    /// report.
    static constexpr unsigned int VN_MEMORY_PRIVATE = 99999;

    /// Switches tracking. It sees the blocks allocated from then on; freeing an unknown block is no fault.
    static void debugMem(unsigned char enable);

    /// Switches a line for each tracked allocation and release.
    static void traceAlloc(unsigned char enable);

    /// Chooses the machine form of all lines ("M ...", "F ...", "A ...", "L ...") in place of the readable
    /// one.
    static void useFormatOutput(unsigned char enable);

    /// Installs an allocator; null goes back to the C library's. Blocks must be freed under the manager that
    /// they came from, so this belongs to the start of a program.
    static void setMemoryManager(vnMemoryManagerInterface* manager);
    static vnMemoryManagerInterface* getMemoryManagerInterface();

    /// The state of `thread`; 1 for one not seen yet. A thread's state is forgotten when it ends.
    static unsigned int getState(unsigned int thread);

    /// Sets the state of `thread` and returns the old one. A `state` of 0 means the old state plus 1.
    static unsigned int updateState(unsigned int state, unsigned int thread);

    /// The bytes of all live blocks that pass the filter.
    static vnUInt64 getAllocMem(unsigned int state, unsigned int thread);

    /// Copies the records of live blocks into `items`, `count` at most, and returns how many were copied.
    /// With `items` null it returns how many there are.
    static unsigned int getMemInfo(vnMemInfoItem* items, unsigned int count);

    /// Prints the live blocks that pass the filter; with `showAll` 0 those of the state 99999 are left out,
    /// unless `state` asks for them.
    static void dumpAllocMem(unsigned int state, unsigned int thread, unsigned char showAll);

    /// Forgets the records that pass the filter, those of the state 99999 too. `all` is kept for callers that
    /// tell the two apart.
    static void resetDebugMem(unsigned int state, unsigned int thread, unsigned char all);

    /// Forgets all records.
    static void cleanAllocMem();

    /// The memory report channel: formats and writes to standard error, under a lock of its own and without
    /// being tracked. `flush` is kept for callers that want the text out at once; standard error always does.
    template <class... Args>
    static void memprintf(unsigned char flush, const char* format, const Args&... args)
    {
        printArguments(flush, format, vnArgumentPack<sizeof...(Args)>(args...));
    }

private:
    static void printArguments(unsigned char flush, const char* format, const vnArgumentList& arguments);
};

/// Brackets the allocations of a scope as private to the library: `updateState(99999, 0)` and back.
class VN_BASE_API vnPrivateMemoryScope
{
public:
    vnPrivateMemoryScope() : m_state(vnMemoryControl::updateState(vnMemoryControl::VN_MEMORY_PRIVATE, 0)) {}
    ~vnPrivateMemoryScope() { vnMemoryControl::updateState(m_state, 0); }
    vnPrivateMemoryScope(const vnPrivateMemoryScope&) = delete;
    vnPrivateMemoryScope& operator=(const vnPrivateMemoryScope&) = delete;

private:
    unsigned int m_state;
};

/// 1 when the first `count` words of both blocks agree in all bits that are set in `mask`.
VN_BASE_API unsigned char vnMemBitCompare(const unsigned int* left, const unsigned int* right,
                                          unsigned int mask, unsigned int count);
VN_BASE_API unsigned char vnMemBitCompare(const vnUInt64* left, const vnUInt64* right, vnUInt64 mask,
                                          unsigned int count);

/// Sets `size` bytes to `value`.
VN_BASE_API void vnMemSet(void* block, unsigned char value, unsigned int size);

/// What `GetCPUCaps` can be asked for.
enum CPUCAPS : unsigned int
{
    VN_CPU_SSE2 = 1,
    VN_CPU_SSE42 = 2,
    VN_CPU_AVX2 = 4,
    VN_CPU_AVX512F = 8,
    VN_CPU_NEON = 16
};

/// 1 when the processor has the capability; read once at load.
VN_BASE_API unsigned char GetCPUCaps(CPUCAPS capability);
