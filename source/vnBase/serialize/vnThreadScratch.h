// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>

#include <utility>

/// Memory that each thread keeps for one kind of work, `User`, so that the work allocates only once. It is
/// taken away from the thread meanwhile: an adapter that is read or written may come to the same work again,
/// which finds none and makes its own.
template <class T, unsigned int CHUNK, class User>
class vnThreadScratch
{
public:
    vnThreadScratch() noexcept : m_array(std::move(ofThread())) {}
    vnThreadScratch(const vnThreadScratch&) = delete;
    vnThreadScratch& operator=(const vnThreadScratch&) = delete;
    ~vnThreadScratch() { ofThread().swap(m_array); }

    vnDynamicArray<T>& operator*() noexcept { return m_array; }
    vnDynamicArray<T>* operator->() noexcept { return &m_array; }

private:
    static vnDynamicArray<T>& ofThread()
    {
        static thread_local vnDynamicArray<T> array(CHUNK);
        return array;
    }

    vnDynamicArray<T> m_array;
};
