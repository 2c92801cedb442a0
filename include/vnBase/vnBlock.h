// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSharedMemory.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <type_traits>
#include <utility>

/// The blocks of elements behind the arrays: raw memory of the library's allocator with all of its elements
/// constructed. Used by the containers; programs use those.
///
/// Elements start value-initialized, so plain numbers start as 0.
template <class T>
class vnBlock
{
public:
    /// `size` new elements; null for 0.
    static T* create(unsigned int size) { return createCopy(nullptr, 0, size); }

    /// Copies of `count` elements, then new ones up to `size`.
    static T* createCopy(const T* source, unsigned int count, unsigned int size)
    {
        return build(size, count, source, [source](T* to, unsigned int i) { new (to) T(source[i]); });
    }

    /// The same with the elements moved when moving can't fail, and copied otherwise; the source stays to be
    /// destroyed.
    static T* createMoved(T* source, unsigned int count, unsigned int size)
    {
        return build(size, count, source, [source](T* to, unsigned int i) { placeMoved(to, source[i]); });
    }

    static void destroy(T* block, unsigned int size)
    {
        if (!block)
            return;
        std::exception_ptr failure = destroyElements(block, size);
        release(block);
        if (failure)
            std::rethrow_exception(std::move(failure));
    }

private:
    // Asks the constructor alone: std::is_nothrow_move_constructible wants a noexcept destructor as well,
    // which the pointers to counted objects have not. Copied, they would clone each object whenever an array
    // grows.
    static void placeMoved(T* to, T& element)
    {
        if constexpr (std::is_move_constructible_v<T>)
        {
            if constexpr (noexcept(::new (std::declval<void*>()) T(std::declval<T&&>())))
                new (to) T(std::move(element));
            else
                new (to) T(std::move_if_noexcept(element));
        }
        else
        {
            new (to) T(element);
        }
    }

    template <class Placer>
    static T* build(unsigned int size, unsigned int count, const T* source, Placer place)
    {
        if (size == 0)
            return nullptr;
        T* block = allocate(size);
        if constexpr (std::is_trivially_copyable_v<T> && std::is_trivially_default_constructible_v<T>)
        {
            if (count)
                std::memcpy(static_cast<void*>(block), static_cast<const void*>(source), count * sizeof(T));
            std::memset(static_cast<void*>(block + count), 0, (size - count) * sizeof(T));
        }
        else
        {
            // The new ones come first: behind elements that were moved nothing may fail any more.
            unsigned int made = count;
            unsigned int placed = 0;
            try
            {
                for (; made < size; ++made)
                    new (block + made) T();
                for (; placed < count; ++placed)
                    place(block + placed, placed);
            }
            catch (...)
            {
                destroyElements(block + count, made - count);
                destroyElements(block, placed);
                release(block);
                throw;
            }
        }
        return block;
    }

    // Destroys all of them, also behind one that throws, and answers what was thrown first.
    static std::exception_ptr destroyElements(T* block, unsigned int size) noexcept
    {
        std::exception_ptr failure;
        if constexpr (std::is_nothrow_destructible_v<T>)
        {
            if constexpr (!std::is_trivially_destructible_v<T>)
                while (size > 0)
                    block[--size].T::~T(); // an element is of this very class, virtual destructor or not
        }
        else
        {
            while (size > 0)
                try
                {
                    block[--size].T::~T(); // an element is of this very class, virtual destructor or not
                }
                catch (...)
                {
                    if (!failure)
                        failure = std::current_exception();
                }
        }
        return failure;
    }

    static constexpr bool needsAlignment()
    {
        return alignof(T) > alignof(std::max_align_t) || std::is_base_of_v<vnQuadWordAlignedMemory, T>;
    }

    static T* allocate(unsigned int size)
    {
        const unsigned int bytes = vnCheckedSize(size, sizeof(T));
        if constexpr (needsAlignment())
        {
            constexpr std::size_t alignment = std::max<std::size_t>(alignof(T), 16);
            void* block = vn_malloc_aligned(bytes, static_cast<unsigned int>(alignment));
            if (!block)
                vnThrowBadAlloc(__FILE__, __LINE__);
            return static_cast<T*>(block);
        }
        else
        {
            return static_cast<T*>(vn_new(bytes));
        }
    }

    static void release(T* block)
    {
        if constexpr (needsAlignment())
            vn_free_aligned(block);
        else
            vn_delete(block);
    }
};
