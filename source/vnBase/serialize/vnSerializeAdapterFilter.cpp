// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterFilter.h>

vnType vnSerializeAdapterFilter::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterFilter");

vnSerializeAdapterFilter::~vnSerializeAdapterFilter() noexcept(false) = default;

void vnSerializeAdapterFilter::holdTarget(vnSerializeAdapter* target)
{
    if (target)
    {
        setURLBase(target->getURLBase());
        setDefaultPath(target->getDefaultPath());
        setName(target->getName());
        setPassword(target->getPassword());
        setAttributes(target->getAttributes());
        setAdapterFlags(target->getAdapterFlags());
    }
    m_target = target;
}

unsigned char vnSerializeAdapterFilter::hasError()
{
    return vnSerializeAdapter::hasError() || (m_target && m_target->hasError());
}

vnString vnSerializeAdapterFilter::getError()
{
    return vnSerializeAdapter::hasError() || !m_target ? vnSerializeAdapter::getError()
                                                       : m_target->getError();
}

void vnSerializeAdapterFilter::setError(const vnString& error)
{
    vnSerializeAdapter::setError(error);
    if (error.isEmpty() && m_target)
        m_target->setError(error);
}

vnRefInstanceDictionary& vnSerializeAdapterFilter::getRefInstanceDictionary()
{
    return m_target ? m_target->getRefInstanceDictionary() : vnSerializeAdapter::getRefInstanceDictionary();
}

vnRefInstanceArray& vnSerializeAdapterFilter::getRefInstanceArray()
{
    return m_target ? m_target->getRefInstanceArray() : vnSerializeAdapter::getRefInstanceArray();
}

unsigned int vnSerializeAdapterFilter::getNewSharedInstanceID()
{
    return m_target ? m_target->getNewSharedInstanceID() : vnSerializeAdapter::getNewSharedInstanceID();
}

void vnSerializeAdapterFilter::clearSharedRefs()
{
    if (m_target)
        m_target->clearSharedRefs();
    else
        vnSerializeAdapter::clearSharedRefs();
}
