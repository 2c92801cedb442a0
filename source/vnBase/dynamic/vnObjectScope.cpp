// SPDX-License-Identifier: MIT
#include <dynamic/vnObjectParts.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterFilter.h>

#include <serialize/vnAdapterError.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>
#include <utility>

namespace
{
constexpr unsigned int VN_MAX_DEPTH =
    1000; // some hundred bytes of stack each, a few thousand with sanitizers

std::atomic<unsigned int> s_maxDepth{VN_MAX_DEPTH};
thread_local vnObjectScope* s_top = nullptr;
thread_local vnObjectGraves* s_graves = nullptr;

// The one in front of which `adapter` stands; null when there is none.
vnSerializeAdapter* behind(vnSerializeAdapter* adapter)
{
    const auto* filter = dynamic_cast<const vnSerializeAdapterFilter*>(adapter);
    return filter ? filter->getAdapter() : nullptr;
}
} // namespace

vnString vnUnknownFactoryError(unsigned int id)
{
    return vnString::formatString(vnTranslated("Unknown Factory : %ld"), id);
}

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

unsigned int vnObjectScope::sizeWithoutAdapter()
{
    if (isOutermost())
        return m_object->getDataSize(nullptr);
    if (!m_root->m_sizes)
        m_root->m_sizes = std::make_unique<Sizes>();
    const auto known = m_root->m_sizes->find(m_object);
    if (known != m_root->m_sizes->end())
        return known->second;
    const unsigned int size = m_object->getDataSize(nullptr);
    m_root->m_sizes->emplace(m_object, size);
    return size;
}

void vnObjectScope::beginRead(vnMadeObjects& made)
{
    if (!isOutermost())
        return;
    m_made = &made;
    if (!m_adapter->hasError())
        return;
    m_error = m_adapter->getError();
    // Clearing an adapter clears those behind it.
    for (vnSerializeAdapter* each = behind(m_adapter); each; each = behind(each))
        if (each->hasError())
            m_behind.push_back({vnRefPointer<vnSerializeAdapter>(each), each->getError()});
    m_adapter->setError(vnString());
}

void vnObjectScope::noteMade(unsigned int index, vnObject* object)
{
    if (m_root->m_made)
        m_root->m_made->add(index, object);
}

void vnObjectScope::noteUnknown(unsigned int id)
{
    m_root->m_error = vnUnknownFactoryError(id);
}

void vnObjectScope::endRead()
{
    if (!isOutermost() || m_error.isEmpty())
        return;
    const bool hasNewer = m_adapter->hasError();
    if (!m_behind.empty())
        restoreBehind();
    if (!hasNewer && m_adapter->getError() != m_error)
        m_adapter->setError(m_error);
}

// From the last adapter of the stack on, as each tells the error of those behind it for its own.
void vnObjectScope::restoreBehind()
{
    std::vector<AdapterError> restored = std::move(m_behind);
    const auto hasNewer = [](const AdapterError& each) { return each.adapter->hasError(); };
    restored.erase(std::remove_if(restored.begin(), restored.end(), hasNewer), restored.end());
    for (; !restored.empty(); restored.pop_back())
    {
        const AdapterError& last = restored.back();
        if (last.adapter->getError() != last.error)
            last.adapter->setError(last.error);
    }
}

void vnObjectScope::abandonRead()
{
    if (isOutermost() && m_made)
        m_made->breakUp(m_adapter);
    endRead();
}

vnMadeObjects::~vnMadeObjects() noexcept(false)
{
    try
    {
        letGo();
    }
    catch (...)
    {
        if (std::uncaught_exceptions() == 0)
            throw;
    }
}

void vnMadeObjects::add(unsigned int index, vnObject* object)
{
    if (m_first.object)
        m_more.push_back({index, object});
    else
        m_first = {index, object};
    object->ref();
}

void vnMadeObjects::breakUp(vnSerializeAdapter* adapter)
{
    if (m_first.object)
        takeApart(adapter, m_first);
    for (const Made& made : m_more)
        takeApart(adapter, made);
}

// What handlers throw does not keep the others from being let go, nor take the place of the failure that is
// the reason.
void vnMadeObjects::takeApart(vnSerializeAdapter* adapter, const Made& made)
{
    try
    {
        vnRefInstanceArray& instances = adapter->getRefInstanceArray();
        if (made.index < instances.getSize() && instances[made.index].get() == made.object)
            instances[made.index] = nullptr;
        made.object->removeAllUserData();
        made.object->releaseRefs();
    }
    catch (const vnBaseError&)
    {
    }
    catch (const std::exception&)
    {
    }
}

void vnMadeObjects::letGo()
{
    std::exception_ptr failure;
    for (Made next = std::exchange(m_first, {}); next.object;)
        try
        {
            vnObject* object = next.object;
            next = {};
            if (!m_more.empty())
            {
                next = m_more.back();
                m_more.pop_back();
            }
            object->unref();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
    if (failure)
        std::rethrow_exception(failure);
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
