// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>

#include <algorithm>
#include <utility>

/// Which end of a `vnQueue` delivers.
enum vnQueueMode : unsigned char
{
    VN_QUEUE_LIFO = 0, // a stack
    VN_QUEUE_FIFO = 1
};

/// A stack or a first-in-first-out queue over one growing block.
///
///     vnQueue<int> jobs(VN_QUEUE_FIFO);
///     jobs.push(1);
///     int next = jobs.pop();
///
/// The block grows by the chunk. A queue that is drained starts again at the front of its block; one that is
/// never empty is kept from creeping by `cleanUp()`.
///
/// `pop` and `top` without data throw `vnFatalError`. Exhausted memory throws `std::bad_alloc` and leaves the
/// queue as it was.
///
/// Thread-safety: none.
template <class T>
class vnQueue
{
public:
    explicit vnQueue(vnQueueMode mode = VN_QUEUE_LIFO,
                     unsigned int chunk = vnDynamicArray<T>::VN_DEFAULT_CHUNK) noexcept
        : m_storage(chunk), m_mode(mode)
    {
    }
    vnQueue(const vnQueue&) = default;
    vnQueue& operator=(const vnQueue&) = default;
    vnQueue(vnQueue&& other) noexcept
        : m_storage(std::move(other.m_storage)), m_mode(other.m_mode), m_head(std::exchange(other.m_head, 0)),
          m_tail(std::exchange(other.m_tail, 0))
    {
    }
    vnQueue& operator=(vnQueue&& other) noexcept
    {
        m_storage.swap(other.m_storage);
        std::swap(m_mode, other.m_mode);
        std::swap(m_head, other.m_head);
        std::swap(m_tail, other.m_tail);
        return *this;
    }

    void push(const T& element)
    {
        restartWhenDrained();
        if (m_tail < m_storage.getSize())
            m_storage.data()[m_tail] = element;
        else
            m_storage.append(element);
        ++m_tail;
    }
    void push(T&& element)
    {
        restartWhenDrained();
        if (m_tail < m_storage.getSize())
            m_storage.data()[m_tail] = std::move(element);
        else
            m_storage.append(std::move(element));
        ++m_tail;
    }

    /// Pushes `count` elements in order; they do not stand in this queue.
    void push(const T* elements, unsigned int count)
    {
        restartWhenDrained();
        const unsigned int tail = vnCheckedSize(static_cast<std::size_t>(m_tail) + count);
        if (tail > m_storage.getSize())
            m_storage.setSize(tail);
        std::copy_n(elements, count, m_storage.data() + m_tail);
        m_tail = tail;
    }

    /// Makes room for `count` elements behind the newest and returns the place, which holds elements of
    /// unspecified value and stays valid until the next operation; `commit` pushes the first ones of them as
    /// they were written there.
    T* reserve(unsigned int count)
    {
        restartWhenDrained();
        const unsigned int tail = vnCheckedSize(static_cast<std::size_t>(m_tail) + count);
        if (tail > m_storage.getSize())
            m_storage.setSize(tail);
        return m_storage.data() + m_tail;
    }
    void commit(unsigned int count) noexcept { m_tail += count; }

    T pop()
    {
        if (isEmpty())
            throwFatalTemplateError("vnQueue:pop out of data");
        const bool isStack = m_mode == VN_QUEUE_LIFO;
        T element(std::move(m_storage.data()[isStack ? m_tail - 1 : m_head]));
        if (isStack)
            --m_tail;
        else
            ++m_head;
        return element;
    }

    /// Pops up to `count` elements in the order in which `pop()` delivers them, and returns how many there
    /// were. With `to` null they are dropped.
    unsigned int pop(T* to, unsigned int count)
    {
        count = std::min(count, getCount());
        T* data = m_storage.data();
        if (m_mode == VN_QUEUE_LIFO)
        {
            if (to)
                std::reverse_copy(data + m_tail - count, data + m_tail, to);
            m_tail -= count;
            return count;
        }
        if (to)
            std::copy_n(data + m_head, count, to);
        m_head += count;
        return count;
    }

    /// The element that `pop()` would deliver.
    T& top() { return m_storage.data()[topIndex()]; }
    const T& top() const { return m_storage.data()[topIndex()]; }

    unsigned int getCount() const noexcept { return m_tail - m_head; }
    bool isEmpty() const noexcept { return m_tail == m_head; }

    /// Drops all elements; the block stays.
    void clear() noexcept { m_head = m_tail = 0; }

    vnQueueMode getMode() const noexcept { return m_mode; }

    /// Changes which end delivers; the elements stay.
    void setMode(vnQueueMode mode) noexcept { m_mode = mode; }

    unsigned int getChunkSize() const noexcept { return m_storage.getChunkSize(); }
    void setChunkSize(unsigned int chunk) noexcept { m_storage.setChunkSize(chunk); }
    unsigned int getCapacity() const noexcept { return m_storage.getCapacity(); }

    /// The index in the block of the oldest element, and the one behind the newest.
    unsigned int getFront() const noexcept { return m_head; }
    unsigned int getBack() const noexcept { return m_tail; }

    /// The oldest element; `getCount()` of them stand in a row.
    T* data() noexcept { return m_storage.data() + m_head; }
    const T* data() const noexcept { return m_storage.data() + m_head; }

    /// Moves the elements to the start of the block.
    void cleanUp()
    {
        if (m_head == 0)
            return;
        T* data = m_storage.data();
        std::move(data + m_head, data + m_tail, data);
        m_tail -= m_head;
        m_head = 0;
    }

private:
    void restartWhenDrained() noexcept
    {
        if (m_head == m_tail && m_head > 0)
            m_head = m_tail = 0;
    }

    unsigned int topIndex() const
    {
        if (isEmpty())
            throwFatalTemplateError("No top() item in vnQueue");
        return m_mode == VN_QUEUE_LIFO ? m_tail - 1 : m_head;
    }

    vnDynamicArray<T> m_storage; // its count never falls below m_tail, since growing keeps that many only
    vnQueueMode m_mode;
    unsigned int m_head = 0;
    unsigned int m_tail = 0;
};
