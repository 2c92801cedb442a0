// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnRefPointer.h>

/// A pointer, usually static, whose object is let go at a moment that the application chooses: all of them
/// stand in one list of the process, sorted by priority, ascending; the newest first among equal ones.
///
/// An application may call `cleanUpReferences(-1)` as its last act; the library itself never does. Pointers
/// that were not cleaned let go when they are destroyed.
///
/// Thread-safety: any thread. The list's lock is held while objects die in `cleanUpReferences`; their
/// destructors may create and destroy cleanup references on the same thread.
class VN_BASE_API vnCleanupReference : public vnRefPointer<vnReference>
{
public:
    vnCleanupReference(vnReference* object, int priority);
    vnCleanupReference(const vnCleanupReference& other);
    virtual ~vnCleanupReference() noexcept(false);

    /// Shares the object of `other`.
    vnCleanupReference& operator=(const vnCleanupReference& other);

    /// Holds `object` and enters the list anew, with its own priority, once the old object is let go; null
    /// lets go and leaves the entry where it is.
    vnCleanupReference& operator=(vnReference* object);

    int getPriority() const noexcept { return m_priority; }

    /// Lets go of the objects of all entries of `priority`, or of all entries for -1, in list order. An
    /// object whose `releaseRefs()` answers 0 stays, with its entry. When the end of an object throws, the
    /// others go all the same, and the first exception leaves at the end.
    static void cleanUpReferences(int priority);

private:
    static bool isEntered(const vnCleanupReference* entry, vnUInt64 lowest, vnUInt64 highest);
    void enter();
    void letGo();

    // Guarded by the lock of the list.
    vnUInt64 m_number = 0; // ascending in the order of entering the list first
    int m_priority;
    bool m_entered = false;
};
