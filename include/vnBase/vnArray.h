// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBlock.h>
#include <vnBase/vnTemplateError.h>

#include <algorithm>
#include <utility>

/// A fixed array: its size is set as a whole, and every access is checked. A size of 0 holds no block.
///
///     vnArray<vnString> names(3);
///     names[0] = "a";
///     for (const vnString& name : names)
///         ...
///
/// An index at or past the size throws `vnFatalError`. Exhausted memory, and a size whose bytes do not fit 32
/// bits, is reported and throws `std::bad_alloc`; the array is unchanged then.
///
/// Thread-safety: none.
template <class T>
class vnArray
{
public:
    vnArray() noexcept = default;
    explicit vnArray(unsigned int size) : m_data(vnBlock<T>::create(size)), m_size(size) {}
    vnArray(const T* elements, unsigned int size)
        : m_data(vnBlock<T>::createCopy(elements, size, size)), m_size(size)
    {
    }
    vnArray(const vnArray& other) : vnArray(other.m_data, other.m_size) {}
    vnArray(vnArray&& other) noexcept
        : m_data(std::exchange(other.m_data, nullptr)), m_size(std::exchange(other.m_size, 0))
    {
    }
    virtual ~vnArray() noexcept(false) { vnBlock<T>::destroy(m_data, m_size); }

    vnArray& operator=(const vnArray& other)
    {
        if (this != &other)
            vnArray(other).swap(*this);
        return *this;
    }
    vnArray& operator=(vnArray&& other) noexcept
    {
        swap(other);
        return *this;
    }

    unsigned int getSize() const noexcept { return m_size; }
    bool isEmpty() const noexcept { return m_size == 0; }

    /// Makes the array `size` elements large; the elements that fit stay.
    void setSize(unsigned int size)
    {
        if (size == m_size)
            return;
        T* old = std::exchange(m_data, vnBlock<T>::createMoved(m_data, std::min(m_size, size), size));
        vnBlock<T>::destroy(old, std::exchange(m_size, size)); // last, since destructors may throw
    }

    T& operator[](unsigned int index)
    {
        if (index >= m_size)
            throwFatalTemplateError("vnArray [] index out of bounds");
        return m_data[index];
    }
    const T& operator[](unsigned int index) const
    {
        if (index >= m_size)
            throwFatalTemplateError("vnArray [] index out of bounds");
        return m_data[index];
    }
    const T& get(unsigned int index) const
    {
        if (index >= m_size)
            throwFatalTemplateError("vnArray get() index out of bounds");
        return m_data[index];
    }

    /// The first element; null when the array is empty.
    T* data() noexcept { return m_data; }
    const T* data() const noexcept { return m_data; }

    T* begin() noexcept { return m_data; }
    T* end() noexcept { return m_data + m_size; }
    const T* begin() const noexcept { return m_data; }
    const T* end() const noexcept { return m_data + m_size; }

    void swap(vnArray& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
    }

private:
    T* m_data = nullptr;
    unsigned int m_size = 0;
};
