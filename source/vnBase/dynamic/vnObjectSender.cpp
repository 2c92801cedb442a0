// SPDX-License-Identifier: MIT
#include <vnBase/vnObjectSender.h>

#include "vnObjectFrame.h"

#include <vnBase/vnObject.h>

#include <algorithm>

vnObjectSender::vnObjectSender(const vnString& name, vnSerializeAdapter* adapter)
    : m_adapter(adapter), m_queue(new vnSerializeAdapterQueue), m_compressor(m_queue), m_name(name)
{
    if (adapter)
        m_url = adapter->getURL();
}

vnObjectSender::~vnObjectSender() noexcept(false) = default;

void vnObjectSender::write(vnSerializeAdapter* adapter)
{
    vnObjectFrame::writeEnd(adapter, m_name, m_url);
}

void vnObjectSender::read(vnSerializeAdapter* adapter)
{
    vnString url;
    vnObjectFrame::readEnd(adapter, m_name, url);
    openURL(url);
}

unsigned int vnObjectSender::getDataSize(vnSerializeAdapter*) const
{
    return vnObjectFrame::sizeOfEnd(m_name, m_url);
}

unsigned char vnObjectSender::openURL(const vnString& url)
{
    m_url = url;
    m_adapter = nullptr; // before the other one is opened: it may be the same file
    m_adapter = vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_OUTPUT, 0, vnString(), nullptr);
    return m_adapter != nullptr;
}

unsigned char vnObjectSender::sendObject(vnObject* object)
{
    if (!object || !m_adapter)
        return 0;
    // The frame is begun when all of it is there: what fails before does not harm the stream.
    pack(object);
    const unsigned char* payload = m_queue->getAddress();
    const unsigned int size = m_queue->length();

    unsigned char head[vnObjectFrame::headSize];
    vnDynamicBytes::putBig(head, vnObjectFrame::checksum(payload, size));
    vnDynamicBytes::putBig(head + vnObjectFrame::sizeOffset, size);
    std::copy_n(vnObjectFrame::endMarker, vnObjectFrame::markerSize, head + vnObjectFrame::endOffset);

    m_adapter->write(vnObjectFrame::startMarker, vnObjectFrame::markerSize);
    vnSerializeString(m_name).write(m_adapter);
    m_adapter->write(head, sizeof head);
    m_adapter->write(payload, size);
    return 1;
}

// Makes the queue hold the compressed record of the object. Instances are numbered anew in each frame.
void vnObjectSender::pack(vnObject* object)
{
    m_queue->clear();
    m_compressor.clearSharedRefs();
    try
    {
        vnObject::writeObject(object, &m_compressor, 0, vnString(), 1);
        m_compressor.flush();
    }
    catch (...)
    {
        m_compressor.setAdapter(m_queue); // forgets what it holds of the object
        m_compressor.clearSharedRefs();
        throw;
    }
    m_compressor.clearSharedRefs(); // the objects are not held until the next one is sent
}
