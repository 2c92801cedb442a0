// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

/// A stack of plain items in one block that doubles: scratch of readers and writers. Items move when it
/// grows.
template <class T>
class vnScratchBlock
{
public:
    static_assert(std::is_trivially_copyable_v<T>);

    vnScratchBlock() noexcept = default;
    vnScratchBlock(const vnScratchBlock&) = delete;
    vnScratchBlock& operator=(const vnScratchBlock&) = delete;
    ~vnScratchBlock() { vn_delete(m_data); }

    unsigned int getSize() const noexcept { return m_size; }
    bool isEmpty() const noexcept { return m_size == 0; }
    T* data() noexcept { return m_data; }
    const T* data() const noexcept { return m_data; }
    T& operator[](unsigned int index) noexcept { return m_data[index]; }
    const T& operator[](unsigned int index) const noexcept { return m_data[index]; }
    T& top() noexcept { return m_data[m_size - 1]; }
    void cut(unsigned int size) noexcept { m_size = size; }

    /// Room for `count` items, which count as there when `grow` is told how many are used.
    T* reserve(std::size_t count)
    {
        if (count > m_capacity - m_size)
            enlarge(count);
        return m_data + m_size;
    }
    void grow(std::size_t count) noexcept { m_size += static_cast<unsigned int>(count); }

    /// The new item holds nothing yet.
    T& push()
    {
        reserve(1);
        return m_data[m_size++];
    }
    void append(const T* items, std::size_t count)
    {
        if (count == 0)
            return;
        std::memcpy(static_cast<void*>(reserve(count)), items, count * sizeof(T));
        grow(count);
    }

private:
    static constexpr std::size_t VN_MIN_BYTES = 512;
    static constexpr std::size_t VN_MAX_ITEMS = 0xFFFFFFFFu / sizeof(T);

    void enlarge(std::size_t count)
    {
        const std::size_t needed = m_size + count;
        const std::size_t doubled = std::min(2 * static_cast<std::size_t>(m_capacity), VN_MAX_ITEMS);
        const std::size_t capacity = std::max({needed, doubled, VN_MIN_BYTES / sizeof(T)});
        T* const fresh = static_cast<T*>(vn_new(vnCheckedSize(capacity, sizeof(T))));
        if (m_size)
            std::memcpy(static_cast<void*>(fresh), m_data, m_size * sizeof(T));
        vn_delete(m_data);
        m_data = fresh;
        m_capacity = static_cast<unsigned int>(capacity);
    }

    T* m_data = nullptr;
    unsigned int m_size = 0;
    unsigned int m_capacity = 0;
};
