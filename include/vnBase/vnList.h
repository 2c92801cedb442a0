// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>

#include <exception>
#include <new>
#include <utility>

/// A singly linked list of pointers, in order of insertion or sorted by a number. It owns its nodes, not the
/// items; see `vnRefList` for items that are held.
///
///     vnList<vnThing> things;
///     things.append(&thing);
///     for (vnThing* each : things)
///         ...
///     for (vnList<vnThing>::Iterator i(things); i.isValid();)
///         if (i.getItem()->isDone())
///             i.remove();
///         else
///             ++i;
///
/// While an iterator is in use the list may be changed through that iterator only. Exhausted memory throws
/// `std::bad_alloc` and leaves the list as it was; an assignment leaves it empty.
///
/// A class with hooks of its own calls `clear()` in its destructor, and `copyItems` in its copy operations.
///
/// Thread-safety: none.
template <class T>
class vnList
{
    struct Node
    {
        double key;
        T* item;
        Node* next;
    };

public:
    class Iterator;

    vnList() noexcept = default;
    vnList(const vnList& other) : vnList() { vnList::copyItems(other); }
    vnList& operator=(const vnList& other)
    {
        if (this != &other)
        {
            clear();
            copyItems(other);
        }
        return *this;
    }
    virtual ~vnList() noexcept(false)
    {
        freeChain(std::exchange(m_head, nullptr));
        freeChain(std::exchange(m_spare, nullptr));
    }

    /// Removes all items and leaves them alive. When hooks throw, all are removed and the first exception
    /// goes on.
    virtual void clear() { removeAll(false); }

    /// Removes all items and deletes each. When hooks or destructors throw, likewise.
    virtual void clearAndDestroy() { removeAll(true); }

    /// Called with each item once it stands in the list, and once it has left it. An insertion whose hook
    /// throws is undone; a removal stands.
    virtual void onInsertItem(T*) {}
    virtual void onRemoveItem(T*) {}

    /// What a copy of the list holds in the place of `item`.
    virtual T* cloneItem(T* item) { return item; }

    /// Unsorted insertion; the key is 0.
    void insertHead(T* item) { insertAndAnnounce(nullptr, takeNode(0, item)); }
    void append(T* item) { insertAndAnnounce(m_tail, takeNode(0, item)); }

    /// Inserts by ascending key, behind the items of the same key. Answers 1 when the item before it has the
    /// same key.
    unsigned char insertSorted(double key, T* item)
    {
        Node* before = m_tail;
        if (m_tail && !(key >= m_tail->key))
            before = lastBefore([key](const Node* node) { return node->key > key; });
        const unsigned char equal = before && before->key == key;
        insertAndAnnounce(before, takeNode(key, item));
        return equal;
    }

    /// Inserts by ascending key, before the items of the same key. Answers 1 when the item behind it has the
    /// same key.
    unsigned char insertSortedFirst(double key, T* item)
    {
        Node* before = m_tail;
        if (m_tail && !(key > m_tail->key))
            before = lastBefore([key](const Node* node) { return node->key >= key; });
        const Node* behind = before ? before->next : m_head;
        const unsigned char equal = behind && behind->key == key;
        insertAndAnnounce(before, takeNode(key, item));
        return equal;
    }

    /// Removes the first occurrence of `item` and returns it; null, and no change, when there is none. Of a
    /// `vnRefList` what is returned, here and below, may be deleted already: hold the item before.
    T* remove(T* item)
    {
        Node* before = nullptr;
        for (Node* node = m_head; node; before = node, node = node->next)
            if (node->item == item)
                return removeBehind(before);
        return nullptr;
    }

    /// Removes the first item and returns it; null for an empty list.
    T* removeHead() { return m_head ? removeBehind(nullptr) : nullptr; }

    /// The first and the last item; null for an empty list.
    T* getHead() const noexcept { return m_head ? m_head->item : nullptr; }
    T* getTail() const noexcept { return m_tail ? m_tail->item : nullptr; }

    unsigned int getCount() const noexcept { return m_count; }
    bool isEmpty() const noexcept { return m_count == 0; }
    bool contains(const T* item) const noexcept
    {
        for (const Node* node = m_head; node; node = node->next)
            if (node->item == item)
                return true;
        return false;
    }

    /// With 1, the nodes of removed items are kept for new ones until the list is destroyed.
    void setReuseNodes(unsigned char enable) noexcept { m_reuseNodes = enable; }
    unsigned char getReuseNodes() const noexcept { return m_reuseNodes; }

    Iterator begin() const noexcept { return Iterator(const_cast<vnList&>(*this)); }
    Iterator end() const noexcept { return Iterator(const_cast<vnList&>(*this), nullptr); }

protected:
    /// Appends what `cloneItem` makes of each item of `other`, under the same keys. The list is empty when it
    /// throws.
    void copyItems(const vnList& other)
    {
        m_reuseNodes = other.m_reuseNodes;
        try
        {
            for (const Node* node = other.m_head; node; node = node->next)
                appendClone(node);
        }
        catch (...)
        {
            clear();
            throw;
        }
    }

private:
    template <class Predicate>
    Node* lastBefore(Predicate isBehind) const
    {
        Node* before = nullptr;
        for (Node* node = m_head; node && !isBehind(node); node = node->next)
            before = node;
        return before;
    }

    Node* takeNode(double key, T* item)
    {
        void* place = m_spare;
        if (m_reuseNodes && m_spare)
            m_spare = m_spare->next;
        else
            place = vn_new(sizeof(Node));
        return ::new (place) Node{key, item, nullptr};
    }

    void giveNode(Node* node) noexcept
    {
        if (!m_reuseNodes)
        {
            vn_delete(node);
            return;
        }
        node->next = m_spare;
        m_spare = node;
    }

    // The node comes first: a clone without a place would belong to nobody.
    void appendClone(const Node* source)
    {
        Node* node = takeNode(source->key, nullptr);
        try
        {
            node->item = cloneItem(source->item);
        }
        catch (...)
        {
            giveNode(node);
            throw;
        }
        insertAndAnnounce(m_tail, node);
    }

    void insertAndAnnounce(Node* before, Node* node)
    {
        insertBehind(before, node);
        try
        {
            onInsertItem(node->item);
        }
        catch (...)
        {
            // Where the hook has left it, if it did.
            before = lastBefore([node](const Node* at) { return at == node; });
            if ((before ? before->next : m_head) == node)
                giveNode(unlinkBehind(before));
            throw;
        }
    }

    void insertBehind(Node* before, Node* node) noexcept
    {
        Node*& link = before ? before->next : m_head;
        node->next = link;
        link = node;
        if (before == m_tail)
            m_tail = node;
        ++m_count;
    }

    Node* unlinkBehind(Node* before) noexcept
    {
        Node*& link = before ? before->next : m_head;
        Node* node = link;
        link = node->next;
        if (node == m_tail)
            m_tail = before;
        --m_count;
        return node;
    }

    T* removeBehind(Node* before)
    {
        Node* node = unlinkBehind(before);
        T* item = node->item;
        giveNode(node);
        onRemoveItem(item);
        return item;
    }

    void removeAll(bool destroy)
    {
        std::exception_ptr failure;
        while (m_head)
        {
            T* const item = m_head->item;
            keepFailure(failure, [this] { removeBehind(nullptr); });
            if (destroy)
                keepFailure(failure, [item] { delete item; });
        }
        if (failure)
            std::rethrow_exception(failure);
    }

    // Keeps the first exception only.
    template <class Action>
    static void keepFailure(std::exception_ptr& failure, Action action)
    {
        try
        {
            action();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
    }

    static void freeChain(Node* node) noexcept
    {
        while (node)
            vn_delete(std::exchange(node, node->next));
    }

    Node* m_head = nullptr;
    Node* m_tail = nullptr;
    Node* m_spare = nullptr;
    unsigned int m_count = 0;
    unsigned char m_reuseNodes = 0;
};

/// Walks a list. It may also remove the item that it stands on.
template <class T>
class vnList<T>::Iterator
{
public:
    explicit Iterator(vnList& list) noexcept : m_list(&list), m_current(list.m_head) {}

    bool isValid() const noexcept { return m_current != nullptr; }
    explicit operator bool() const noexcept { return isValid(); }

    /// The item and its key; only while the iterator is valid.
    T* getItem() const noexcept { return m_current->item; }
    T* operator*() const noexcept { return m_current->item; }
    double getKey() const noexcept { return m_current->key; }

    Iterator& operator++() noexcept
    {
        m_before = m_current;
        m_current = m_current->next;
        return *this;
    }

    /// Removes the item and stands on the next one.
    T* remove()
    {
        m_current = m_current->next;
        return m_list->removeBehind(m_before);
    }

    bool operator==(const Iterator& other) const noexcept { return m_current == other.m_current; }
    bool operator!=(const Iterator& other) const noexcept { return m_current != other.m_current; }

private:
    friend class vnList;
    Iterator(vnList& list, Node* current) noexcept : m_list(&list), m_current(current) {}

    vnList* m_list;
    Node* m_current;
    Node* m_before = nullptr;
};
