// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBlock.h>
#include <vnBase/vnTemplateError.h>

#include <algorithm>
#include <functional>
#include <utility>

/// A growing array. Any `values[index]` past the end makes it larger, also one that only reads, unless the
/// array is const; `get` throws instead. Its capacity steps by the growth chunk, not by doubling, so a user
/// that appends much sets a large chunk first.
///
///     vnDynamicArray<int> values(1000); // empty, with a chunk of 1000
///     values[values.getSize()] = 7; // or values.append(7)
///
/// Exhausted memory, and a capacity whose bytes do not fit 32 bits, is reported and throws `std::bad_alloc`;
/// the array is unchanged then.
///
/// Thread-safety: none.
template <class T>
class vnDynamicArray
{
public:
    static constexpr unsigned int VN_DEFAULT_CHUNK = 100;

    /// A `chunk` of 0 becomes 1.
    explicit vnDynamicArray(unsigned int chunk = VN_DEFAULT_CHUNK) noexcept : m_chunk(std::max(chunk, 1u)) {}
    vnDynamicArray(const vnDynamicArray& other)
        : m_data(vnBlock<T>::createCopy(other.m_data, other.m_count, other.m_capacity)),
          m_capacity(other.m_capacity), m_count(other.m_count), m_chunk(other.m_chunk)
    {
    }
    vnDynamicArray(vnDynamicArray&& other) noexcept
        : m_data(std::exchange(other.m_data, nullptr)), m_capacity(std::exchange(other.m_capacity, 0)),
          m_count(std::exchange(other.m_count, 0)), m_chunk(other.m_chunk)
    {
    }
    ~vnDynamicArray() noexcept(false) { vnBlock<T>::destroy(m_data, m_capacity); }

    vnDynamicArray& operator=(const vnDynamicArray& other)
    {
        if (this != &other)
            vnDynamicArray(other).swap(*this);
        return *this;
    }
    vnDynamicArray& operator=(vnDynamicArray&& other) noexcept
    {
        swap(other);
        return *this;
    }

    unsigned int getSize() const noexcept { return m_count; }
    bool isEmpty() const noexcept { return m_count == 0; }
    unsigned int getCapacity() const noexcept { return m_capacity; }
    unsigned int getChunkSize() const noexcept { return m_chunk; }

    /// A `chunk` of 0 becomes 1.
    void setChunkSize(unsigned int chunk) noexcept { m_chunk = std::max(chunk, 1u); }

    /// Sets the count. When it exceeds the capacity, the new capacity is `size` rounded up to a multiple of
    /// the chunk. Elements below the capacity keep what they hold.
    void setSize(unsigned int size)
    {
        if (size > m_capacity)
            reallocate(roundedUp(size));
        m_count = size;
    }

    /// Makes the capacity exactly `capacity`; 0 frees the block. The count is cut to it.
    void reallocate(unsigned int capacity)
    {
        if (capacity == m_capacity)
            return;
        const unsigned int kept = std::min(m_count, capacity);
        T* old = std::exchange(m_data, vnBlock<T>::createMoved(m_data, kept, capacity));
        m_count = kept;
        vnBlock<T>::destroy(old, std::exchange(m_capacity, capacity)); // last, since destructors may throw
    }

    /// The element at `index`; one past the end makes the array larger.
    T& operator[](unsigned int index)
    {
        if (index >= m_count)
            growTo(index);
        return m_data[index];
    }
    const T& operator[](unsigned int index) const { return get(index); }
    const T& get(unsigned int index) const
    {
        if (index >= m_count)
            throwFatalTemplateError("const vnDynamicArray::get() index out of bounds");
        return m_data[index];
    }

    /// The element may stand in this array. It is assigned, not constructed as a copy, so appending a pointer
    /// to a counted object shares the object.
    void append(const T& element)
    {
        const T* source = m_count < m_capacity ? &element : grownFor(&element);
        m_data[m_count] = *source;
        ++m_count;
    }
    void append(T&& element)
    {
        T* source = m_count < m_capacity ? &element : const_cast<T*>(grownFor(&element));
        m_data[m_count] = std::move(*source);
        ++m_count;
    }

    /// Appends `count` elements that do not stand in this array.
    void append(const T* elements, unsigned int count)
    {
        const unsigned int size = vnCheckedSize(static_cast<std::size_t>(m_count) + count);
        if (size > m_capacity)
            reallocate(roundedUp(size));
        std::copy_n(elements, count, m_data + m_count);
        m_count = size;
    }

    /// Sets the count to 0; the capacity stays.
    void clear() noexcept { m_count = 0; }

    T* data() noexcept { return m_data; }
    const T* data() const noexcept { return m_data; }

    T* begin() noexcept { return m_data; }
    T* end() noexcept { return m_data + m_count; }
    const T* begin() const noexcept { return m_data; }
    const T* end() const noexcept { return m_data + m_count; }

    void swap(vnDynamicArray& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_capacity, other.m_capacity);
        std::swap(m_count, other.m_count);
        std::swap(m_chunk, other.m_chunk);
    }

private:
    // A capacity that does not fit 32 bits is exhausted memory; only the last chunk below it can meet that.
    unsigned int roundedUp(unsigned int size) const
    {
        const std::size_t chunks = (static_cast<std::size_t>(size) + m_chunk - 1) / m_chunk;
        return vnCheckedSize(chunks, m_chunk);
    }

    void growTo(unsigned int index)
    {
        if (index >= m_capacity)
            growFor(index);
        m_count = index + 1;
    }

    void growFor(unsigned int index)
    {
        reallocate(vnCheckedSize(static_cast<std::size_t>(index) + (m_chunk - index % m_chunk)));
    }

    // Makes room for one more, and answers where the element stands then.
    const T* grownFor(const T* element)
    {
        const std::less<const T*> before{};
        const bool isOwn = m_data && !before(element, m_data) && before(element, m_data + m_count);
        const std::ptrdiff_t index = isOwn ? element - m_data : 0;
        growFor(m_count);
        return isOwn ? m_data + index : element;
    }

    T* m_data = nullptr;
    unsigned int m_capacity = 0;
    unsigned int m_count = 0;
    unsigned int m_chunk;
};
