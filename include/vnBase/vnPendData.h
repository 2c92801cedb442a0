// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSharedMemory.h>

#include <limits>
#include <utility>

/// What a `vnNotifyMaster` has yet to deliver. Times are seconds of `vnTime::systemSeconds`; an `earliest` of
/// 0 means at once.
template <class Data>
struct vnPendData : public vnSharedMemory
{
    Data data{};
    vnUInt64 source = 0;
    double earliest = 0;
    double latest = 0;
    unsigned int priority = 0;
    vnPendData* next = nullptr;
};

/// A chain of items, which it owns. It is put in order when it is taken over: a post stays at constant cost
/// however many items wait.
template <class Data>
class vnPendChain
{
public:
    using Item = vnPendData<Data>;

    vnPendChain() = default;
    vnPendChain(vnPendChain&& other) noexcept { swap(other); }
    vnPendChain& operator=(vnPendChain&&) = delete;
    ~vnPendChain() noexcept(false)
    {
        while (Item* item = pop())
            delete item;
    }

    bool isEmpty() const noexcept { return !m_head; }
    unsigned int getCount() const noexcept { return m_count; }

    /// Whether any item has a time.
    bool isTimed() const noexcept { return m_timed; }

    void append(Item* item) noexcept
    {
        item->next = nullptr;
        m_ordered = m_ordered && (!m_tail || m_tail->priority >= item->priority);
        m_timed = m_timed || item->earliest != 0 || item->latest != std::numeric_limits<double>::max();
        (m_tail ? m_tail->next : m_head) = item;
        m_tail = item;
        ++m_count;
    }

    void appendAll(vnPendChain& other) noexcept
    {
        if (other.isEmpty())
            return;
        (m_tail ? m_tail->next : m_head) = other.m_head;
        m_tail = other.m_tail;
        m_count += other.m_count;
        m_timed = m_timed || other.m_timed;
        m_ordered = false;
        other.forget();
    }

    Item* pop() noexcept
    {
        Item* item = m_head;
        if (!item)
            return nullptr;
        m_head = item->next;
        --m_count;
        if (!m_head)
            forget();
        return item;
    }

    /// Puts the items in order: higher priorities first, equal ones as they came.
    void sort() noexcept
    {
        if (m_ordered)
            return;
        m_head = sorted(m_head, m_count);
        for (m_tail = m_head; m_tail->next; m_tail = m_tail->next)
            ;
        m_ordered = true;
    }

    void swap(vnPendChain& other) noexcept
    {
        std::swap(m_head, other.m_head);
        std::swap(m_tail, other.m_tail);
        std::swap(m_count, other.m_count);
        std::swap(m_ordered, other.m_ordered);
        std::swap(m_timed, other.m_timed);
    }

private:
    void forget() noexcept
    {
        m_head = m_tail = nullptr;
        m_count = 0;
        m_ordered = true;
        m_timed = false;
    }

    // A merge sort of the first `count` items; the last of them ends the chain.
    static Item* sorted(Item* head, unsigned int count) noexcept
    {
        if (count < 2)
            return head;
        Item* last = head;
        for (unsigned int i = 1; i < count / 2; ++i)
            last = last->next;
        Item* second = std::exchange(last->next, nullptr);
        return merged(sorted(head, count / 2), sorted(second, count - count / 2));
    }

    static Item* merged(Item* first, Item* second) noexcept
    {
        Item* head = nullptr;
        Item** place = &head;
        while (first && second)
        {
            Item*& from = first->priority >= second->priority ? first : second;
            *place = from;
            place = &from->next;
            from = from->next;
        }
        *place = first ? first : second;
        return head;
    }

    Item* m_head = nullptr;
    Item* m_tail = nullptr;
    unsigned int m_count = 0;
    bool m_ordered = true;
    bool m_timed = false;
};
