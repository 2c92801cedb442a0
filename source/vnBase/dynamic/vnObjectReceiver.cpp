// SPDX-License-Identifier: MIT
#include <vnBase/vnObjectReceiver.h>

#include "vnObjectFrame.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnSerializeAdapterMemory.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace
{
constexpr unsigned int reconnectMilliseconds = 10;
constexpr unsigned int blockSize = 65536;

// A name is at most as long as a text; of a longer one the last bytes remain, as of any text of a stream.
constexpr unsigned int nameWrap = vnString::VN_MAX_LENGTH + 1u;

// A stream that is alive and has nothing yet is asked again at once a few times, then less often.
constexpr unsigned int eagerPasses = 50;
} // namespace

vnObjectReceiver::vnObjectReceiver(const vnString& name, vnSerializeAdapter* adapter)
    : vnThread(VN_THREAD_PRIORITY_NORMAL), m_adapter(adapter), m_name(name), m_decompressor(nullptr)
{
    if (adapter)
        m_url = adapter->getURL();
}

vnObjectReceiver::~vnObjectReceiver() noexcept(false)
{
    stop(1);
}

void vnObjectReceiver::onObject(vnObject*) {}

void vnObjectReceiver::write(vnSerializeAdapter* adapter)
{
    vnObjectFrame::writeEnd(adapter, getName(), getURL());
}

void vnObjectReceiver::read(vnSerializeAdapter* adapter)
{
    vnString name, url;
    vnObjectFrame::readEnd(adapter, name, url);
    {
        vnBodyGuard guard(m_mutex);
        m_name = name;
    }
    openURL(url);
    run(0);
}

unsigned int vnObjectReceiver::getDataSize(vnSerializeAdapter*) const
{
    return vnObjectFrame::sizeOfEnd(getName(), getURL());
}

vnString vnObjectReceiver::getName() const
{
    vnBodyGuard guard(m_mutex);
    return m_name;
}

vnString vnObjectReceiver::getURL() const
{
    vnBodyGuard guard(m_mutex);
    return m_url;
}

unsigned char vnObjectReceiver::openURL(const vnString& url)
{
    const vnRefPointer<vnSerializeAdapter> adapter(
        vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, 0, vnString(), nullptr));
    exchange(url, adapter, nullptr);
    return adapter != nullptr;
}

vnObjectReceiver::Source vnObjectReceiver::getSource() const
{
    vnBodyGuard guard(m_mutex);
    return {m_adapter, m_url, m_opening};
}

// With `opening` only when nobody has opened another stream since. The old adapter goes without the lock,
// since that may take its time.
bool vnObjectReceiver::exchange(const vnString& url, const vnRefPointer<vnSerializeAdapter>& adapter,
                                const unsigned int* opening)
{
    vnRefPointer<vnSerializeAdapter> old;
    vnBodyGuard guard(m_mutex);
    if (opening && *opening != m_opening)
        return false;
    old = m_adapter;
    m_adapter = adapter;
    m_url = url;
    ++m_opening;
    return true;
}

// Opens the own URL again. The old stream goes first: some sources have room for one reader.
void vnObjectReceiver::reopen(const Source& source)
{
    unsigned int opening = source.opening;
    if (!exchange(source.url, nullptr, &opening))
        return;
    ++opening;
    vnDelayFunction(reconnectMilliseconds, nullptr);
    if (isStopping(0))
        return;
    const vnRefPointer<vnSerializeAdapter> adapter(vnSerializeAdapter::getURLAdapter(
        source.url, VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT, vnString(), nullptr));
    exchange(source.url, adapter, &opening);
}

void vnObjectReceiver::process()
{
    if (!getSource().adapter)
        return;
    unsigned int opening = ~0u;
    while (!isStopping(0))
    {
        Source source = getSource();
        if (source.opening != opening) // what was left of another stream is no part of this one
        {
            opening = source.opening;
            m_buffer.clear();
            m_begin = 0;
            m_stage = VN_HUNT;
        }
        if (source.adapter && fetch(source.adapter))
        {
            while (!isStopping(0) && takeFrame())
                continue;
            continue;
        }
        if (source.url.isEmpty())
            return;
        source.adapter = nullptr;
        reopen(source);
    }
}

// Takes what the stream has; false at its end. A stream that fails has ended, and so has one whose frame the
// memory can't hold.
bool vnObjectReceiver::fetch(vnSerializeAdapter* adapter)
{
    try
    {
        if (!adapter->hasData(1))
            return false;
        const unsigned int held = getCount();
        const unsigned int missing = m_stage == VN_PAYLOAD ? m_payloadSize - held : blockSize;
        const unsigned int count = std::min({adapter->length(), missing, blockSize});
        const unsigned int got = count > 0 ? adapter->read(makeRoom(count), count) : 0;
        m_buffer.setSize(m_begin + held + std::min(got, count));
        if (got > 0)
            m_idle = 0;
        else
            wait();
        return true;
    }
    catch (const vnBaseError&)
    {
        return false;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

// The place for `count` bytes behind those that are held.
unsigned char* vnObjectReceiver::makeRoom(unsigned int count)
{
    const unsigned int held = getCount();
    if (vnUInt64{m_begin} + held + count > m_buffer.getCapacity())
    {
        if (held > 0)
            std::memmove(m_buffer.data(), m_buffer.data() + m_begin, held);
        m_begin = 0;
        m_buffer.setSize(held);
        // Twice as much at a time, so that a large frame is not copied again for each block.
        m_buffer.setChunkSize(std::max(blockSize, m_buffer.getCapacity()));
    }
    m_buffer.setSize(m_begin + held + count);
    return m_buffer.data() + m_begin + held;
}

// For a stream that is alive and has nothing yet.
void vnObjectReceiver::wait()
{
    if (m_idle < eagerPasses)
    {
        ++m_idle;
        vnMicroDelayFunction(0);
        return;
    }
    vnDelayFunction(1, nullptr);
}

// One step through a frame; false when more bytes are needed.
bool vnObjectReceiver::takeFrame()
{
    switch (m_stage)
    {
    case VN_HUNT:
        return hunt();
    case VN_NAME:
        return takeName();
    case VN_HEADER:
        return takeHeader();
    default:
        return takePayload();
    }
}

bool vnObjectReceiver::hunt()
{
    using vnObjectFrame::markerSize;
    const unsigned char* const begin = m_buffer.data() + m_begin;
    const unsigned char* const end = begin + getCount();
    const unsigned char* found =
        std::search(begin, end, vnObjectFrame::startMarker, vnObjectFrame::startMarker + markerSize);
    if (found == end)
    {
        // The last bytes may be the beginning of a marker.
        m_begin += getCount() - std::min(getCount(), markerSize - 1);
        return false;
    }
    m_begin += static_cast<unsigned int>(found - begin) + markerSize;
    m_stage = VN_NAME;
    return true;
}

bool vnObjectReceiver::takeName()
{
    const unsigned char* const begin = m_buffer.data() + m_begin;
    const void* const zero = getCount() > 0 ? std::memchr(begin, 0, std::min(getCount(), nameWrap)) : nullptr;
    if (!zero)
    {
        if (getCount() < nameWrap)
            return false;
        m_begin += nameWrap;
        return true;
    }
    const auto length = static_cast<unsigned short>(static_cast<const unsigned char*>(zero) - begin);
    m_frameName = vnString(reinterpret_cast<const char*>(begin), length);
    m_begin += length + 1u;
    m_stage = VN_HEADER;
    return true;
}

bool vnObjectReceiver::takeHeader()
{
    using namespace vnObjectFrame;
    if (getCount() < headSize)
        return false;
    const unsigned char* const head = m_buffer.data() + m_begin;
    m_checksum = getBigEndian(head, 8);
    m_payloadSize = static_cast<unsigned int>(getBigEndian(head + sizeOffset, 4));
    const bool isSound = std::equal(endMarker, endMarker + markerSize, head + endOffset) &&
                         m_payloadSize > 0 && m_payloadSize <= getMaxFrameSize();
    m_begin += headSize;
    m_stage = isSound ? VN_PAYLOAD : VN_HUNT;
    return true;
}

bool vnObjectReceiver::takePayload()
{
    if (getCount() < m_payloadSize)
        return false;
    unsigned char* const payload = m_buffer.data() + m_begin;
    m_begin += m_payloadSize;
    m_stage = VN_HUNT;
    if (vnObjectFrame::checksum(payload, m_payloadSize) == m_checksum)
        decode(payload);
    return true;
}

// Damage that the checksum does not show drops the frame, too.
void vnObjectReceiver::decode(unsigned char* payload)
{
    vnRefPointer<vnObject> object;
    try
    {
        vnRefPointer<vnSerializeAdapter> memory(new vnSerializeAdapterMemory(payload, m_payloadSize));
        memory->setAdapterFlags(VN_ADAPTER_SILENT);
        m_decompressor.setAdapter(memory);
        object = vnObject::readObject(&m_decompressor, 0, vnString(), 0);
    }
    catch (const vnBaseError&)
    {
        object = nullptr;
    }
    catch (const std::bad_alloc&)
    {
        object = nullptr; // reported where it was thrown; the next frame may be smaller
    }
    m_decompressor.setAdapter(nullptr); // with the instances of this frame
    if (object && m_frameName == getName())
        onObject(object);
}
