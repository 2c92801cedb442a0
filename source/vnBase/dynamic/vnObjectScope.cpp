// SPDX-License-Identifier: MIT
#include <dynamic/vnObjectParts.h>

#include <vnBase/vnBaseError.h>

#include <serialize/vnAdapterError.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>

namespace
{
constexpr unsigned int VN_MAX_DEPTH =
    1000; // some hundred bytes of stack each, a few thousand with sanitizers
constexpr char unknownFormat[] = "Unknown Factory : %ld";

std::atomic<unsigned int> s_maxDepth{VN_MAX_DEPTH};
thread_local vnObjectScope* s_top = nullptr;
thread_local vnObjectGraves* s_graves = nullptr;

bool isUnknownNote(const vnString& error)
{
    const vnString format = vnTranslated(unknownFormat);
    return error.isFirst(format.left(format.find('%')));
}
} // namespace

unsigned int vnObject::getMaxDepth() noexcept
{
    return s_maxDepth.load(std::memory_order_relaxed);
}

void vnObject::setMaxDepth(unsigned int depth) noexcept
{
    s_maxDepth.store(std::max(depth, 1u), std::memory_order_relaxed);
}

vnObjectScope::vnObjectScope(vnSerializeAdapter* adapter, vnObject* object) noexcept
    : m_adapter(adapter), m_object(object), m_outer(s_top), m_root(this), m_depth(1)
{
    if (m_outer)
    {
        m_depth = m_outer->m_depth + 1;
        if (m_outer->m_adapter == adapter)
            m_root = m_outer->m_root;
    }
    s_top = this;
}

vnObjectScope::~vnObjectScope()
{
    s_top = m_outer;
}

vnObjectScope* vnObjectScope::getTop() noexcept
{
    return s_top;
}

bool vnObjectScope::isWithin(const vnSerializeAdapter* adapter, const vnObject* object) noexcept
{
    return s_top && s_top->m_object == object && s_top->m_adapter == adapter;
}

bool vnObjectScope::isTooDeep() const noexcept
{
    return m_depth > vnObject::getMaxDepth();
}

void vnObjectScope::testDepth() const
{
    if (isTooDeep())
        vnExceptionThrows::vnThrowWarning("Objects are nested deeper than %d", vnObject::getMaxDepth());
}

void vnObjectScope::beginRead()
{
    if (!isOutermost() || !m_adapter->hasError())
        return;
    const vnString error = m_adapter->getError();
    if (!isUnknownNote(error))
        return;
    m_adapter->setError(vnString());
    m_unknown = error;
}

void vnObjectScope::noteUnknown(unsigned int id)
{
    m_root->m_unknown = vnString::formatString(vnTranslated(unknownFormat), id);
}

void vnObjectScope::endRead()
{
    if (isOutermost() && !m_unknown.isEmpty() && !m_adapter->hasError())
        m_adapter->setError(m_unknown);
}

void vnFailObject(vnSerializeAdapter* adapter, const char* error)
{
    if (!adapter->hasError())
        adapter->setError(vnTranslated(error));
    vnExceptionThrows::vnThrowWarning("vnObject::read failure in adapter '%s' !", adapter->getName());
}

vnObjectGraves::vnObjectGraves() noexcept
{
    s_graves = this;
}

vnObjectGraves::~vnObjectGraves()
{
    s_graves = nullptr;
}

vnObjectGraves* vnObjectGraves::getOpen() noexcept
{
    return s_graves;
}

bool vnObjectGraves::take(vnUserData* data) noexcept
{
    try
    {
        m_waiting.push_back(data);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

void vnObjectGraves::empty()
{
    std::exception_ptr failure;
    while (!m_waiting.empty())
        try
        {
            vnUserData* data = m_waiting.back();
            m_waiting.pop_back();
            data->unref();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
    if (failure)
        std::rethrow_exception(failure);
}
