// SPDX-License-Identifier: MIT
#include <vnBase/vnReference.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>

#include <core/vnClassName.h>
#include <core/vnLockedCount.h>

#include <exception>

namespace
{
// Throws nothing: without memory for a message the text goes out plainly.
void tell(const char* text) noexcept
{
    try
    {
        vnMessage::message(VN_MESSAGE_FATAL, text);
    }
    catch (...)
    {
        vnMemoryControl::memprintf(1, "%s\n", text);
    }
}
} // namespace

vnType vnReference::s_type(nullptr, "vnReference");

vnReference::~vnReference() noexcept(false)
{
    if (m_count == 0)
        return;
    const char* text = "REFERENCE MISMATCH ! Deleted referenced object with nonzero reference count";
    // A second exception on its way would end the process.
    if (std::uncaught_exceptions() > 0)
        tell(text);
    else
        throwFatalException(text, nullptr);
}

vnReference* vnReference::clone() const
{
    throwFatalException("Unimplemented clone called for type '%s'", getTypeName());
}

void vnReference::setCopyMode(const vnCopyMode& mode)
{
    m_copyMode = mode;
}

unsigned char vnReference::useDeepCopy()
{
    return m_copyMode == VN_COPY_DEEP;
}

unsigned int vnReference::unrefNoDelete()
{
    if (m_count == 0)
        throwZeroCountNoDelete();
    return --m_count;
}

unsigned char vnReference::checkDelete()
{
    if (m_count != 0)
        return 0;
    delete this;
    return 1;
}

unsigned char vnReference::releaseRefs()
{
    return 1;
}

unsigned int vnReference::getRef() const
{
    return m_count;
}

// Two spellings, on purpose: the text tells which path caught the mismatch.
void vnReference::throwZeroCount()
{
    throwFatalException("REFERENCE MISMATCH ! Unref an object with zero reference count.", nullptr);
}

void vnReference::throwZeroCountNoDelete()
{
    throwFatalException("REFRENCE MISMATCH ! Unref an object with zero reference count.", nullptr);
}

void vnReference::throwFatalException(const char* format, const char* text)
{
    vnExceptionThrows::vnThrowFatal(format, text);
}

void vnReference::throwForeignClone(const vnReference& object, vnReference* copy)
{
    const vnString name = vnClassName(typeid(object));
    const vnString copyName = vnClassName(typeid(*copy));
    copy->checkDelete();
    vnExceptionThrows::vnThrowFatal("Clone of class '%s' is of class '%s': it has no clone() of its own",
                                    name, copyName);
}

vnThreadSafeReference::~vnThreadSafeReference() noexcept(false) = default;

void vnThreadSafeReference::ref()
{
    vnLockedRaise(m_mutex, m_count);
}

void vnThreadSafeReference::unref()
{
    if (vnLockedLower(m_mutex, m_count, [] { throwZeroCountNoDelete(); }) == 0)
        checkDelete();
}

unsigned int vnThreadSafeReference::unrefNoDelete()
{
    return vnLockedLower(m_mutex, m_count, [] { throwZeroCountNoDelete(); });
}

unsigned char vnThreadSafeReference::checkDelete()
{
    // Another thread may have taken a reference since the count fell to 0; the object lives on then.
    if (vnLockedRead(m_mutex, m_count) != 0)
        return 0;
    delete this;
    return 1;
}

unsigned int vnThreadSafeReference::getRef() const
{
    return vnLockedRead(m_mutex, m_count);
}
