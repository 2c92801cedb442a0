// SPDX-License-Identifier: MIT
#include <vnBase/vnCleanupReference.h>

#include <vnBase/vnArray.h>
#include <vnBase/vnList.h>

#include <core/vnEternal.h>

namespace
{
using CleanupList = vnList<vnCleanupReference>;

// Both outlive all statics: cleanup references are statics themselves, of any file.
vnEternal<vnMutex> cleanupLock;
CleanupList* cleanupList = nullptr; // exists while it has entries

// All of these under the lock.
CleanupList& openList()
{
    if (!cleanupList)
    {
        cleanupList = ::new (vn_new(sizeof(CleanupList))) CleanupList;
        cleanupList->setReuseNodes(1); // entering anew needs no memory, so it can't fail
    }
    return *cleanupList;
}

bool isEntered(const vnCleanupReference* entry)
{
    return cleanupList && cleanupList->contains(entry);
}

void removeEntry(vnCleanupReference* entry)
{
    if (cleanupList)
        cleanupList->remove(entry);
}

void dropEmptyList()
{
    if (!cleanupList || !cleanupList->isEmpty())
        return;
    cleanupList->~CleanupList();
    vn_delete(std::exchange(cleanupList, nullptr));
}

vnArray<vnCleanupReference*> copiedList()
{
    vnArray<vnCleanupReference*> entries(cleanupList ? cleanupList->getCount() : 0);
    unsigned int i = 0;
    if (cleanupList)
        for (vnCleanupReference* entry : *cleanupList)
            entries[i++] = entry;
    return entries;
}
} // namespace

vnCleanupReference::vnCleanupReference(vnReference* object, int priority)
    : vnRefPointer<vnReference>(object), m_priority(priority)
{
    if (object)
        enter();
}

vnCleanupReference::vnCleanupReference(const vnCleanupReference& other)
    : vnRefPointer<vnReference>(other), m_priority(other.m_priority)
{
    if (get())
        enter();
}

vnCleanupReference::~vnCleanupReference() noexcept(false)
{
    // An entry whose object was taken away stays in the list and has to leave it here, too. The object goes
    // in the base class, outside of the lock.
    if (!m_entered)
        return;
    vnBodyGuard guard(cleanupLock.value);
    removeEntry(this);
    dropEmptyList();
}

vnCleanupReference& vnCleanupReference::operator=(const vnCleanupReference& other)
{
    return *this = other.get();
}

vnCleanupReference& vnCleanupReference::operator=(vnReference* object)
{
    vnBodyGuard guard(cleanupLock.value);
    // Held from here, so that an object for whose entry there is no memory does not stay behind. The old one
    // goes last: its destructor may throw, or own this entry.
    const vnRefPointer<vnReference> held(object);
    const vnRefPointer<vnReference> old(get());
    if (object)
        enter();
    vnRefPointer<vnReference>::operator=(object);
    return *this;
}

void vnCleanupReference::enter()
{
    vnBodyGuard guard(cleanupLock.value);
    CleanupList& list = openList();
    if (m_entered)
        list.remove(this);
    list.insertSortedFirst(m_priority, this);
    m_entered = true;
}

void vnCleanupReference::letGo()
{
    vnRefPointer<vnReference>::operator=(nullptr);
    // The object may have owned this very entry.
    if (!isEntered(this))
        return;
    removeEntry(this);
    m_entered = false;
}

void vnCleanupReference::cleanUpReferences(int priority)
{
    vnBodyGuard guard(cleanupLock.value);
    for (vnCleanupReference* entry : copiedList())
    {
        // An object that died before may have taken this entry along.
        if (!isEntered(entry) || (priority != -1 && priority != entry->m_priority))
            continue;
        if (entry->get() && !entry->get()->releaseRefs())
            continue;
        if (isEntered(entry))
            entry->letGo();
    }
    dropEmptyList();
}
