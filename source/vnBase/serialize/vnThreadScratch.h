// SPDX-License-Identifier: MIT
#pragma once

#include "vnThreadSlot.h"

#include <vnBase/vnDynamicArray.h>

#include <utility>

/// Memory that each thread keeps for one kind of work, `User`, so that the work allocates only once. It is
/// taken away from the thread meanwhile: an adapter that is read or written may come to the same work again,
/// which finds none and makes its own.
template <class T, unsigned int CHUNK, class User>
class vnThreadScratch
{
public:
    vnThreadScratch() { exchange(); }
    vnThreadScratch(const vnThreadScratch&) = delete;
    vnThreadScratch& operator=(const vnThreadScratch&) = delete;
    ~vnThreadScratch() { exchange(); }

    vnDynamicArray<T>& operator*() noexcept { return m_array; }
    vnDynamicArray<T>* operator->() noexcept { return &m_array; }

private:
    struct Kept
    {
        vnDynamicArray<T> array{CHUNK};
    };

    void exchange()
    {
        if (Kept* kept = vnThreadSlot<Kept, User>::get())
            kept->array.swap(m_array);
    }

    vnDynamicArray<T> m_array{CHUNK};
};
