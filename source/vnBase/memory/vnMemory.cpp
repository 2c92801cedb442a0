// SPDX-License-Identifier: MIT
#include <vnBase/vnMemory.h>

#include <vnBase/vnMutex.h>
#include <vnBase/vnSharedMemory.h>
#include <vnBase/vnString.h>

#include <core/vnEternal.h>
#include <memory/vnMemoryTable.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>

namespace
{
void* watchedAllocate(unsigned int size, const char* name)
{
    void* block = vnRawAllocate(size);
    if (block && (vnMemoryWatch.load(std::memory_order_relaxed) & VN_MEMORY_TRACKED))
        vnTrackAllocation(block, size, name);
    return block;
}

void watchedFree(void* block)
{
    // The record goes first: the address may belong to another thread's block as soon as it is free.
    if (vnMemoryWatch.load(std::memory_order_relaxed) & VN_MEMORY_TRACKED)
        vnTrackRelease(block);
    vnRawFree(block);
}

bool isWatched() noexcept
{
    return vnMemoryWatch.load(std::memory_order_relaxed) != 0;
}

// Stands directly before an aligned block.
struct AlignedHeader
{
    unsigned int offset; // from the start of the allocated block
    unsigned int alignment;
};

AlignedHeader headerOf(const void* block) noexcept
{
    AlignedHeader header;
    std::memcpy(&header, static_cast<const unsigned char*>(block) - sizeof header, sizeof header);
    return header;
}
} // namespace

void* vn_malloc(unsigned int size)
{
    vnKillGuard guard;
    return isWatched() ? watchedAllocate(size, nullptr) : std::malloc(size);
}

void* vn_malloc(unsigned int size, const char* name)
{
    vnKillGuard guard;
    return isWatched() ? watchedAllocate(size, name) : std::malloc(size);
}

void* vn_calloc(unsigned int size, const char* name)
{
    vnKillGuard guard;
    if (!isWatched())
        return std::calloc(1, size);
    void* block = watchedAllocate(size, name);
    if (block)
        std::memset(block, 0, size);
    return block;
}

void vn_free(void* block)
{
    if (!block)
        return;
    vnKillGuard guard;
    if (isWatched())
        watchedFree(block);
    else
        std::free(block);
}

void* vn_new(unsigned int size)
{
    void* block = vn_malloc(size);
    if (!block)
        vnThrowBadAlloc(__FILE__, __LINE__);
    return block;
}

void* vn_new(unsigned int size, const char* name)
{
    void* block = vn_malloc(size, name);
    if (!block)
        vnThrowBadAlloc(__FILE__, __LINE__);
    return block;
}

void vn_delete(void* block)
{
    vn_free(block);
}

void* vn_malloc_aligned(unsigned int size, unsigned int alignment)
{
    return vn_malloc_aligned(size, alignment, nullptr);
}

void* vn_malloc_aligned(unsigned int size, unsigned int alignment, const char* name)
{
    if (alignment == 0 || (alignment & (alignment - 1)) != 0)
        return nullptr;
    const vnUInt64 total = static_cast<vnUInt64>(size) + sizeof(AlignedHeader) + alignment - 1;
    if (total > std::numeric_limits<unsigned int>::max())
        return nullptr;
    auto* block = static_cast<unsigned char*>(vn_malloc(static_cast<unsigned int>(total), name));
    if (!block)
        return nullptr;
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(block) + sizeof(AlignedHeader);
    const std::uintptr_t aligned = (first + alignment - 1) & ~static_cast<std::uintptr_t>(alignment - 1);
    const auto offset = static_cast<unsigned int>(aligned - reinterpret_cast<std::uintptr_t>(block));
    const AlignedHeader header{offset, alignment};
    std::memcpy(block + offset - sizeof header, &header, sizeof header);
    return block + offset;
}

void vn_free_aligned(void* block)
{
    if (block)
        vn_free(static_cast<unsigned char*>(block) - headerOf(block).offset);
}

unsigned int vn_get_alignment(void* block)
{
    return block ? headerOf(block).alignment : 0;
}

void* vnQuadWordAlignedMemory::allocate(std::size_t size, const char* name)
{
    void* block = vn_malloc_aligned(vnCheckedSize(size), 16, name);
    if (!block)
        vnThrowBadAlloc(__FILE__, __LINE__);
    return block;
}

namespace
{
constexpr const char* debugFormat = "File: %s  Line: %d  Ver: %s";

struct DebugRing
{
    vnMutex lock;
    vnString slots[300];
    unsigned int next = 0;
};
} // namespace

void vnThrowBadAlloc(const char* file, int line)
{
    char position[512];
    std::snprintf(position, sizeof position, debugFormat, file, line, VN_BASE_VERSION_TEXT);
    vnMemoryControl::memprintf(1, "Bad Alloc:%s", position);
    throw std::bad_alloc();
}

const char* vnGenerateDebugString(const char* file, int line, const char* version)
{
    // Never destroyed, since failures are reported until the very end; so its texts are no lost memory.
    alignas(DebugRing) static unsigned char place[sizeof(DebugRing)];
    static DebugRing& ring = *::new (static_cast<void*>(place)) DebugRing;
    vnBodyGuard guard(ring.lock);
    vnPrivateMemoryScope scope;
    vnString& slot = ring.slots[ring.next];
    slot.format(debugFormat, file, line, version);
    ring.next = (ring.next + 1) % std::size(ring.slots);
    return slot.getString();
}
