// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <cstddef>

/// Routes the allocation of all its descendants into the library's own allocator, so that they stand in the
/// memory reports: `new vnX` or, under a name of its own, `new ("cache") vnX`. It has no data. Exhausted
/// memory, and a size that does not fit 32 bits, is reported and throws `std::bad_alloc`.
class VN_BASE_API vnSharedMemory
{
public:
    static void* operator new(std::size_t size) { return vn_new(vnCheckedSize(size)); }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void* operator new(std::size_t size, const char* name)
    {
        return vn_new(vnCheckedSize(size), name);
    }
    static void* operator new[](std::size_t size) { return vn_new(vnCheckedSize(size)); }
    static void* operator new[](std::size_t size, const char* name)
    {
        return vn_new(vnCheckedSize(size), name);
    }

    static void operator delete(void* block) { vn_delete(block); }
    static void operator delete(void*, void*) noexcept {}
    static void operator delete(void* block, const char*) { vn_delete(block); }
    static void operator delete[](void* block) { vn_delete(block); }
    static void operator delete[](void* block, const char*) { vn_delete(block); }
};

/// The same for data that needs 16-byte alignment.
class VN_BASE_API vnQuadWordAlignedMemory
{
public:
    static void* operator new(std::size_t size) { return allocate(size, nullptr); }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void* operator new(std::size_t size, const char* name) { return allocate(size, name); }
    static void* operator new[](std::size_t size) { return allocate(size, nullptr); }
    static void* operator new[](std::size_t size, const char* name) { return allocate(size, name); }

    static void operator delete(void* block) { vn_free_aligned(block); }
    static void operator delete(void*, void*) noexcept {}
    static void operator delete(void* block, const char*) { vn_free_aligned(block); }
    static void operator delete[](void* block) { vn_free_aligned(block); }
    static void operator delete[](void* block, const char*) { vn_free_aligned(block); }

private:
    static void* allocate(std::size_t size, const char* name);
};

/// A `T` as an element of arrays whose blocks are 16-byte aligned: `vnArray<vnQuadWordAligned<unsigned
/// char>>`. The containers recognise it and take their blocks from `vn_malloc_aligned`.
template <class T>
struct vnQuadWordAligned : public vnQuadWordAlignedMemory
{
    T value;

    vnQuadWordAligned() = default;
    vnQuadWordAligned(const T& other) : value(other) {}
    operator T&() { return value; }
    operator const T&() const { return value; }
};
