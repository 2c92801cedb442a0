// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnReference.h>

#include <cstddef>
#include <utility>

/// Holds a reference-counted object, or null.
///
///     vnRefPointer<vnThing> thing(new vnThing);
///
/// Constructing a pointer from another pointer copies as the object's copy mode says: an object whose
/// `useDeepCopy()` answers 1 is cloned, any other is shared. Assigning never clones. Moving never clones and
/// never touches the count.
///
/// Thread-safety: one pointer belongs to one thread at a time; the object is as safe as its class.
template <class T>
class vnRefPointer
{
public:
    vnRefPointer(T* object = nullptr) : m_object(object)
    {
        if (m_object)
            m_object->ref();
    }

    vnRefPointer(const vnRefPointer& other) : m_object(copied(other.m_object))
    {
        if (m_object)
            m_object->ref();
    }

    vnRefPointer(vnRefPointer&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

    /// Not virtual: pointers are values, and nobody deletes one through this base. `vnCleanupReference`,
    /// which is derived from, has a virtual one.
    ~vnRefPointer() noexcept(false)
    {
        if (m_object)
            m_object->unref();
    }

    vnRefPointer& operator=(T* object)
    {
        if (object == m_object)
            return *this;
        if (object)
            object->ref();
        // Stored before the old object goes, although storing last may seem the natural order: the destructor
        // of the old one may throw, or come back to this pointer, which must not hold it any more then.
        T* old = std::exchange(m_object, object);
        if (old)
            old->unref();
        return *this;
    }

    vnRefPointer& operator=(const vnRefPointer& other) { return *this = other.m_object; }

    vnRefPointer& operator=(vnRefPointer&& other)
    {
        if (this == &other)
            return *this;
        T* old = std::exchange(m_object, std::exchange(other.m_object, nullptr));
        if (old)
            old->unref();
        return *this;
    }

    /// Hands the mode on to the held object, if there is one.
    virtual void setCopyMode(const vnCopyMode& mode)
    {
        if (m_object)
            m_object->setCopyMode(mode);
    }

    T* get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    operator T*() const noexcept { return m_object; }

private:
    static T* copied(T* object)
    {
        return object && object->useDeepCopy() ? vnReference::cloneOf(*object) : object;
    }

    T* m_object;
};
