// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterFilter.h>

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

void vnSerializeAdapterFilter::startAnew(vnSerializeAdapter* target)
{
    m_isTargetDirty = false;
    vnSerializeAdapter::flush();
    vnSerializeAdapter::setError(vnString());
    holdTarget(target);
}

void vnSerializeAdapterFilter::flushTarget()
{
    if (!m_isTargetDirty || !m_target)
        return;
    m_target->flush();
    m_isTargetDirty = m_target->hasError();
}

unsigned char vnSerializeAdapterFilter::supportAction(vnSerializeAction action)
{
    return m_target ? m_target->supportAction(action) : vnSerializeAdapter::supportAction(action);
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
