// SPDX-License-Identifier: MIT
#include <vnBase/vnObjectReceiver.h>

#include "vnObjectFrame.h"
#include "vnObjectParts.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterMux.h>

#include <serialize/vnAdapterWindow.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <utility>

namespace
{
constexpr unsigned int reconnectMilliseconds = 10;
constexpr unsigned int blockSize = 65536;

// A name is at most as long as a text; of a longer one the last bytes remain, as of any text of a stream.
constexpr unsigned int nameWrap = vnString::VN_MAX_LENGTH + 1u;

// A stream that is alive and has nothing yet is asked again at once a few times, then less often.
constexpr unsigned int eagerPasses = 50;

// Behind a larger frame the memory of its plain bytes is given back: up to 1032 times as many.
constexpr unsigned int largeFrame = 65536;

// Runs a step of the receiver. Streams are of any class and may throw whenever they are used, made or let go;
// that ends a stream, and exhausted memory a frame, but not the receiver. Answers whether the step did.
template <class Step>
bool attempt(Step step)
{
    try
    {
        return step();
    }
    catch (const vnBaseError&)
    {
        return false;
    }
    catch (const std::exception&)
    {
        return false;
    }
}

// The bytes that can be read without waiting; 0 also when a stream does not tell. One that is not active has
// come to its end and gives what is left whatever its length says.
unsigned int bytesThere(vnSerializeAdapter* adapter)
{
    const bool isMux = adapter->isOfType(vnSerializeAdapterMux::getClassType());
    const unsigned int length =
        isMux ? static_cast<vnSerializeAdapterMux*>(adapter)->getQueued() + vnAdapterWindow::held(*adapter)
              : adapter->length();
    return length == 0 && !adapter->isActive() ? blockSize : length;
}
} // namespace

vnObjectReceiver::vnObjectReceiver(const vnString& name, vnSerializeAdapter* adapter)
    : vnThread(VN_THREAD_PRIORITY_NORMAL), m_adapter(adapter), m_name(name)
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

// Keeps the thread from opening the URL meanwhile: some sources have room for one reader.
class vnObjectReceiver::Opening
{
public:
    explicit Opening(vnObjectReceiver& receiver) : m_receiver(receiver)
    {
        vnBodyGuard guard(receiver.m_mutex);
        ++receiver.m_beingOpened;
    }
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;
    ~Opening()
    {
        vnBodyGuard guard(m_receiver.m_mutex);
        --m_receiver.m_beingOpened;
    }

private:
    vnObjectReceiver& m_receiver;
};

unsigned char vnObjectReceiver::openURL(const vnString& url)
{
    const Opening opening(*this);
    const unsigned int number = exchange(url, nullptr, nullptr);
    const vnRefPointer<vnSerializeAdapter> adapter(
        vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, 0, vnString(), nullptr));
    exchange(url, adapter, &number);
    return adapter != nullptr;
}

vnObjectReceiver::Source vnObjectReceiver::getSource() const
{
    vnBodyGuard guard(m_mutex);
    return {m_adapter, m_url, m_opening, m_beingOpened > 0};
}

// With `opening` only when nobody has opened another stream since. The old adapter goes without the lock,
// since that may take its time. Answers the number of the exchange; 0 when there was none.
unsigned int vnObjectReceiver::exchange(const vnString& url, const vnRefPointer<vnSerializeAdapter>& adapter,
                                        const unsigned int* opening)
{
    vnRefPointer<vnSerializeAdapter> old;
    vnBodyGuard guard(m_mutex);
    if (opening && *opening != m_opening)
        return 0;
    old = m_adapter;
    m_adapter = adapter;
    m_url = url;
    return ++m_opening;
}

// Opens the own URL again. The old stream goes first: some sources have room for one reader.
void vnObjectReceiver::reopen(const Source& source)
{
    vnDelayFunction(reconnectMilliseconds, nullptr);
    if (isStopping(0))
        return; // with the old stream, at whose end the next run opens the URL
    const unsigned int opening = exchange(source.url, nullptr, &source.opening);
    if (opening == 0)
        return;
    const vnRefPointer<vnSerializeAdapter> adapter(vnSerializeAdapter::getURLAdapter(
        source.url, VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT, vnString(), nullptr));
    exchange(source.url, adapter, &opening);
}

void vnObjectReceiver::process()
{
    if (const Source source = getSource(); source.adapter || source.isBeingOpened)
        keepTo(source);
    else
        return;
    while (!isStopping(0))
    {
        if (stepThroughFrame()) // first what the last run has left
        {
            deliver();
            continue;
        }
        bool hasMore = true;
        if (!attempt([&] { return hasMore = takeBytes(), true; }))
            vnDelayFunction(reconnectMilliseconds, nullptr);
        if (!hasMore)
            return;
    }
}

// What was left of another stream is no part of this one.
void vnObjectReceiver::keepTo(const Source& source)
{
    if (source.opening == m_lastOpening)
        return;
    m_lastOpening = source.opening;
    m_buffer.clear();
    m_begin = 0;
    m_stage = VN_HUNT;
}

// Takes what the stream has, or opens it again at its end; false when it can't. A stream that fails has
// ended, and so has one whose frame the memory can't hold.
bool vnObjectReceiver::takeBytes()
{
    Source source = getSource();
    keepTo(source);
    const unsigned int held = getCount();
    if (source.adapter && attempt([this, &source] { return fetch(source.adapter); }))
        return true;
    m_buffer.setSize(m_begin + held); // without the room for what did not come
    if (source.isBeingOpened)
    {
        vnDelayFunction(reconnectMilliseconds, nullptr);
        return true;
    }
    if (source.url.isEmpty())
        return false;
    source.adapter = nullptr;
    reopen(source);
    return true;
}

// False at the end of the stream.
bool vnObjectReceiver::fetch(vnSerializeAdapter* adapter)
{
    const unsigned int there = bytesThere(adapter);
    if (there == 0 && !adapter->hasData(1)) // asked last, as some wait then
        return false;
    const unsigned int held = getCount();
    const unsigned int missing = m_stage == VN_PAYLOAD ? m_payloadSize - held : blockSize;
    const unsigned int count = std::min({there, missing, blockSize});
    const unsigned int got = count > 0 ? std::min(adapter->read(makeRoom(count), count), count) : 0;
    m_buffer.setSize(m_begin + held + got);
    if (got > 0)
        m_idle = 0;
    else if (adapter->isActive() || adapter->hasData(1))
        wait();
    else
        return false;
    return true;
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
        growTo(held + count);
    }
    m_buffer.setSize(m_begin + held + count);
    return m_buffer.data() + m_begin + held;
}

// Twice as much at a time, so that a large frame is not copied again for each block.
void vnObjectReceiver::growTo(unsigned int size)
{
    const unsigned int capacity = m_buffer.getCapacity();
    if (size <= capacity)
        return;
    const vnUInt64 wanted = std::max<vnUInt64>({size, blockSize, 2 * vnUInt64{capacity}});
    const vnUInt64 largest = std::numeric_limits<unsigned int>::max();
    m_buffer.reallocate(static_cast<unsigned int>(std::min(wanted, largest)));
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

// False when more bytes are needed. What fails for want of memory drops the frame.
bool vnObjectReceiver::stepThroughFrame()
{
    bool hasMore = true;
    if (!attempt([&] { return hasMore = takeFrame(), true; }))
        m_stage = VN_HUNT;
    return hasMore;
}

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
    m_checksum = vnDynamicBytes::getBig<vnUInt64>(head);
    m_payloadSize = vnDynamicBytes::getBig<unsigned int>(head + sizeOffset);
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

// Damage that the checksum does not show drops the frame, too. Objects for other names are read all the same,
// and nobody else would break the circles in them.
void vnObjectReceiver::decode(unsigned char* payload)
{
    vnMadeObjects made;
    attempt(
        [&]
        {
            vnRefPointer<vnSerializeAdapter> memory(new vnSerializeAdapterMemory(payload, m_payloadSize));
            memory->setAdapterFlags(VN_ADAPTER_SILENT);
            if (!m_decompressor)
                m_decompressor = new vnSerializeAdapterCompress;
            m_decompressor->setMaxBlockSize(getMaxPlainSize());
            m_decompressor->setAdapter(memory);
            vnObject* object = vnReadObject(m_decompressor, 0, made);
            m_isOwn = object && m_frameName == getName();
            if (object && !m_isOwn)
                made.breakUp(m_decompressor);
            if (object)
                object->ref();
            m_object = object;
            return true;
        });
    attempt(
        [&]
        {
            made.letGo();
            return true;
        });
    attempt(
        [&]
        {
            if (m_decompressor)
                m_decompressor->setAdapter(nullptr); // with the instances of this frame
            if (m_payloadSize > largeFrame)
                m_decompressor = nullptr;
            return true;
        });
}

// What an implementation throws ends the thread. The class of the object has the last word on its end.
void vnObjectReceiver::deliver()
{
    struct Drop
    {
        ~Drop() noexcept(false)
        {
            attempt(
                [this]
                {
                    object->unrefNoDelete();
                    return object->checkDelete() != 0;
                });
        }
        vnObject* object;
    };
    if (!m_object)
        return;
    const Drop drop{std::exchange(m_object, nullptr)};
    if (m_isOwn)
        onObject(drop.object);
}
