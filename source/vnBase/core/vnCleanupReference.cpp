// SPDX-License-Identifier: MIT
#include <vnBase/vnCleanupReference.h>

#include <vnBase/vnArray.h>
#include <vnBase/vnList.h>

#include <core/vnEternal.h>

#include <exception>
#include <utility>

namespace
{
using CleanupList = vnList<vnCleanupReference>;

// Both outlive all statics: cleanup references are statics themselves, of any file.
vnEternal<vnMutex> cleanupLock;
CleanupList* cleanupList = nullptr; // exists while it has entries
vnUInt64 newestNumber = 0;          // of the entries that ever entered

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
    : vnRefPointer<vnReference>(), m_priority(other.m_priority)
{
    // A pass on another thread may be about to let go of the object.
    vnBodyGuard guard(cleanupLock.value);
    vnRefPointer<vnReference>::operator=(vnRefPointer<vnReference>(other));
    if (get())
        enter();
}

vnCleanupReference::~vnCleanupReference() noexcept(false)
{
    // Also when it holds nothing: an entry whose object was taken away stays in the list, and a pass on
    // another thread may be letting go of the object right now. The object goes in the base class, outside of
    // the lock.
    vnBodyGuard guard(cleanupLock.value);
    if (!m_entered)
        return;
    removeEntry(this);
    dropEmptyList();
}

vnCleanupReference& vnCleanupReference::operator=(const vnCleanupReference& other)
{
    vnBodyGuard guard(cleanupLock.value);
    return *this = other.get();
}

vnCleanupReference& vnCleanupReference::operator=(vnReference* object)
{
    vnBodyGuard guard(cleanupLock.value);
    // Held from here, so that an object for whose entry there is no memory does not stay behind.
    const vnRefPointer<vnReference> held(object);
    // What is not entered holds nothing yet; once entered, it needs no memory to enter anew.
    if (object && !m_entered)
        enter();
    const vnUInt64 number = m_number;
    std::exception_ptr failure;
    try
    {
        vnRefPointer<vnReference>::operator=(object);
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    // Behind the end of the old object, so that this entry is newer than those which that one made. It may
    // have taken this entry along, or have made a pass that let go of it.
    if (object && isEntered(this, number, number))
        enter();
    if (failure)
        std::rethrow_exception(failure);
    return *this;
}

// An entry that was destroyed may have left its address to another one: that has a higher number.
bool vnCleanupReference::isEntered(const vnCleanupReference* entry, vnUInt64 lowest, vnUInt64 highest)
{
    return cleanupList && cleanupList->contains(entry) && entry->m_number >= lowest &&
           entry->m_number <= highest;
}

void vnCleanupReference::enter()
{
    vnBodyGuard guard(cleanupLock.value);
    CleanupList& list = openList();
    if (m_entered)
        list.remove(this);
    try
    {
        list.insertSortedFirst(m_priority, this);
    }
    catch (...)
    {
        dropEmptyList();
        throw;
    }
    if (!m_entered)
        m_number = ++newestNumber;
    m_entered = true;
}

// Takes the object away first, and the entry also when the end of the object throws.
void vnCleanupReference::letGo()
{
    const vnUInt64 number = m_number;
    std::exception_ptr failure;
    try
    {
        vnRefPointer<vnReference>::operator=(nullptr);
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    // The object may have owned this very entry, or have left another one here, which stays for a later pass.
    if (isEntered(this, number, number) && !get())
    {
        removeEntry(this);
        m_entered = false;
    }
    if (failure)
        std::rethrow_exception(failure);
}

void vnCleanupReference::cleanUpReferences(int priority)
{
    vnBodyGuard guard(cleanupLock.value);
    const vnUInt64 newest = newestNumber;
    std::exception_ptr failure;
    for (vnCleanupReference* entry : copiedList())
    {
        // An object that died before may have taken this entry along.
        if (!isEntered(entry, 0, newest) || (priority != -1 && priority != entry->m_priority))
            continue;
        try
        {
            if (entry->get() && !entry->get()->releaseRefs())
                continue;
            if (isEntered(entry, 0, newest))
                entry->letGo();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
    }
    dropEmptyList();
    if (failure)
        std::rethrow_exception(failure);
}
