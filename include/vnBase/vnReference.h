// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>
#include <vnBase/vnSharedMemory.h>
#include <vnBase/vnType.h>

#include <type_traits>
#include <typeinfo>

/// What copying a `vnRefPointer` means for the object behind it.
enum vnCopyMode : unsigned int
{
    VN_COPY_DEEP = 0,  // a copied pointer holds a clone
    VN_COPY_SHARED = 1 // a copied pointer holds the same object
};

/// The root of the class tree: an intrusive reference count, a copy mode and a run-time type. Objects are
/// held through `vnRefPointer`; the last one to let go deletes the object.
///
/// An object starts with the count 0. That is also the legal state of objects on the stack and of members;
/// nobody may hold those, since the last one to let go would delete them. An object must not be deleted by
/// hand while its count is above 0.
///
/// Misuse throws `vnFatalError`: letting go of an object with the count 0, destroying one with another count,
/// cloning a class that has no clone, or that of its base. Destructors of the class tree may therefore throw.
///
/// Thread-safety: none; see `vnThreadSafeReference`.
class VN_BASE_API vnReference : public vnSharedMemory, public vnTypeInterface
{
public:
    vnReference() noexcept = default;

    /// The count of a copy is 0; the copy mode is that of `other`.
    vnReference(const vnReference& other) noexcept
        : vnSharedMemory(), vnTypeInterface(), m_copyMode(other.m_copyMode)
    {
    }

    /// Takes over the copy mode; the count stays.
    vnReference& operator=(const vnReference& other) noexcept
    {
        m_copyMode = other.m_copyMode;
        return *this;
    }

    VN_TYPE(vnReference)
    virtual ~vnReference() noexcept(false);

    /// A new object with the count 0. Throws for a class that does not override it.
    virtual vnReference* clone() const;

    /// `object.clone()` as a `T`. Throws when what that gave is none, and deletes it: a class without a
    /// `clone()` of its own has that of its base.
    template <class T>
    static T* cloneOf(const T& object)
    {
        auto* const copy = object.clone();
        if constexpr (std::is_base_of_v<T, std::remove_pointer_t<decltype(copy)>>)
            return copy;
        else
        {
            if (!copy || typeid(*copy) == typeid(object))
                return static_cast<T*>(copy);
            if (T* const other = dynamic_cast<T*>(copy))
                return other;
            throwForeignClone(object, copy);
        }
    }
    virtual void setCopyMode(const vnCopyMode& mode);

    /// 1 when a copied pointer to this object is to hold a clone of it. A class that has no clone answers 0.
    virtual unsigned char useDeepCopy();

    virtual void ref() { ++m_count; }

    /// Lets go of the object and deletes it when nobody holds it any more.
    virtual void unref()
    {
        if (m_count == 0)
            throwZeroCount();
        if (--m_count == 0)
            delete this;
    }

    /// Lets go of the object without deleting it, and returns the new count.
    virtual unsigned int unrefNoDelete();

    /// Deletes the object when its count is 0, and answers whether it did.
    virtual unsigned char checkDelete();

    /// Asked before a cleanup pass or the deallocator lets go of the object; a class may break its own cycles
    /// here, or decline with 0.
    virtual unsigned char releaseRefs();
    virtual unsigned int getRef() const;

    const vnCopyMode& getCopyMode() const noexcept { return m_copyMode; }

protected:
    /// What a count of 0 ends in; the texts differ on purpose, see the source.
    [[noreturn]] static void throwZeroCount();
    [[noreturn]] static void throwZeroCountNoDelete();

    // For the classes that guard the count by a lock.
    unsigned int m_count = 0;

private:
    [[noreturn]] static void throwFatalException(const char* format, const char* text);
    [[noreturn]] static void throwForeignClone(const vnReference& object, vnReference* copy);

    vnCopyMode m_copyMode = VN_COPY_DEEP;
};

/// A `vnReference` that any threads may hold at once. The count is guarded by a mutex of the object, which
/// derived classes may also use for their own state.
///
/// Thread-safety: `ref`, `unref`, `unrefNoDelete`, `checkDelete`, `getRef` on any thread.
class VN_BASE_API vnThreadSafeReference : public vnReference
{
public:
    vnThreadSafeReference() noexcept = default;
    vnThreadSafeReference(const vnThreadSafeReference&) = default;

    /// Takes over the copy mode, and whether the mutex tracks its owner.
    vnThreadSafeReference& operator=(const vnThreadSafeReference&) = default;
    ~vnThreadSafeReference() noexcept(false) override;

    void ref() override;
    void unref() override;
    unsigned int unrefNoDelete() override;
    unsigned char checkDelete() override;
    unsigned int getRef() const override;

protected:
    vnMutex m_mutex;
};
