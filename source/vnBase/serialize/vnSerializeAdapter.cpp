// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapter.h>

#include "vnDelivery.h"
#include "vnThreadScratch.h"

#include <vnBase/vnSerializeAdapterFilter.h>

#include <algorithm>
#include <limits>
#include <utility>

vnType vnSerializeAdapter::s_type(vnReference::getClassType(), "vnSerializeAdapter");
vnType vnSerializeAdapterProgressInfo::s_type(vnReference::getClassType(), "vnSerializeAdapterProgressInfo");

namespace
{
constexpr unsigned int VN_REF_BUCKETS = 100;
constexpr unsigned int VN_REF_CHUNK = 100;

// Gathering takes memory as the data come, not by what was asked for or is claimed.
constexpr unsigned int VN_PROBE_CHUNK = 65536;

// The store takes no more than this ahead on a hint, whatever the hint claims: it grows by half of itself
// anyway.
constexpr unsigned int VN_LARGEST_CHUNK = 1048576;

// What stands in a copy of the table for `note`. An instance that stands there itself is shared: a clone
// would be another instance under the id of the first one.
vnRefPointer<vnReference> copyOfNote(const vnInstanceCompareInterface& key, vnReference* note)
{
    const bool isCopied = note && note != key.getInstance() && note->useDeepCopy();
    return vnRefPointer<vnReference>(isCopied ? note->clone() : note);
}
} // namespace

vnSerializeAdapter::vnSerializeAdapter() = default;

vnSerializeAdapter::~vnSerializeAdapter() noexcept(false) = default;

unsigned char vnSerializeAdapter::canSeek()
{
    return 0;
}

void vnSerializeAdapter::setSeekMode(unsigned char) {}

unsigned int vnSerializeAdapter::seek(int, vnOriginPos)
{
    return 0xFFFFFFFFu;
}

unsigned char vnSerializeAdapter::supportAction(vnSerializeAction)
{
    return 1;
}

void vnSerializeAdapter::mergeAssociatedData(vnReference* data)
{
    if (data)
        m_associatedData = data;
}

void vnSerializeAdapter::flush()
{
    m_pushBack.clear();
    resumeWindowWhenDrained();
}

unsigned char vnSerializeAdapter::aboutToClose(unsigned char)
{
    return 1;
}

unsigned char vnSerializeAdapter::isActive()
{
    return 1;
}

unsigned char vnSerializeAdapter::hasError()
{
    return !m_error.isEmpty();
}

vnString vnSerializeAdapter::getError()
{
    return m_error;
}

void vnSerializeAdapter::setError(const vnString& error)
{
    m_error = error;
}

vnRefInstanceDictionary& vnSerializeAdapter::getRefInstanceDictionary()
{
    if (!m_instanceDictionary)
        m_instanceDictionary = new InstanceDictionary(vnRefInstanceDictionary(VN_REF_BUCKETS));
    return m_instanceDictionary->getData();
}

vnRefInstanceArray& vnSerializeAdapter::getRefInstanceArray()
{
    if (!m_instanceArray)
        m_instanceArray = new InstanceArray(vnRefInstanceArray(VN_REF_CHUNK));
    return m_instanceArray->getData();
}

unsigned int vnSerializeAdapter::getNewSharedInstanceID()
{
    return m_nextInstanceID++;
}

void vnSerializeAdapter::clearSharedRefs()
{
    m_nextInstanceID = 0;
    if (m_instanceDictionary)
        m_instanceDictionary->getData().clear();
}

vnString vnSerializeAdapter::useExtension(const vnString& extension)
{
    return extension;
}

void vnSerializeAdapter::pushBack(unsigned char byte)
{
    if (m_pushBack.getBack() == m_pushBack.getCapacity())
        reservePushBack(1);
    m_pushBack.push(byte);
    if (m_pushBack.getCount() == 1)
        holdWindow();
}

void vnSerializeAdapter::pushBack(const unsigned char* data, unsigned int count)
{
    if (count == 0)
        return;
    // The last byte goes first, so that the first one comes out first.
    std::reverse_copy(data, data + count, reservePushBack(count));
    if (m_pushBack.isEmpty())
        holdWindow();
    m_pushBack.commit(count);
}

void vnSerializeAdapter::allocPushBack(unsigned int extra)
{
    const vnUInt64 wanted = static_cast<vnUInt64>(extra) + m_pushBack.getCount();
    const auto chunk = static_cast<unsigned int>(std::min<vnUInt64>(wanted, VN_LARGEST_CHUNK));
    m_pushBack.setChunkSize(std::max({m_pushBack.getChunkSize(), chunk, 1u}));
}

void vnSerializeAdapter::pushBackAdapterData()
{
    if (length_imp() == 0)
        return;
    vnThreadScratch<unsigned char, VN_PROBE_CHUNK, struct GatheredData> scratch;
    // What is pushed back already comes first, so all of it passes through.
    gather(*scratch, length());
}

unsigned int vnSerializeAdapter::length()
{
    const vnUInt64 sum = static_cast<vnUInt64>(m_pushBack.getCount()) + length_imp();
    return static_cast<unsigned int>(std::min<vnUInt64>(sum, std::numeric_limits<unsigned int>::max()));
}

void vnSerializeAdapter::serialize(vnSerializeData* data, vnSerializeAction action)
{
    if (action == VN_SERIALIZE_OUTPUT)
        data->write(this);
    else if (action == VN_SERIALIZE_INPUT)
        data->read(this);
}

vnString vnSerializeAdapter::getURL() const
{
    const vnString url = m_urlBase + m_defaultPath + getName();
    return m_attributes.isEmpty() ? url : url + "?" + m_attributes;
}

// An adapter in front of another one has no tables of its own: the last adapter of a stack holds them.
const vnSerializeAdapter& vnSerializeAdapter::getInstanceHolder() const noexcept
{
    const vnSerializeAdapter* holder = this;
    while (const auto* filter = dynamic_cast<const vnSerializeAdapterFilter*>(holder))
    {
        if (!filter->getAdapter())
            break;
        holder = filter->getAdapter();
    }
    return *holder;
}

void vnSerializeAdapter::copySharedRefData(const vnSerializeAdapter& other)
{
    const_cast<vnSerializeAdapter&>(getInstanceHolder()).copyInstances(other.getInstanceHolder());
}

void vnSerializeAdapter::copyInstances(const vnSerializeAdapter& other)
{
    if (this == &other)
        return;
    vnRefPointer<InstanceDictionary> dictionary;
    if (other.m_instanceDictionary)
    {
        const vnRefInstanceDictionary& source = other.m_instanceDictionary->getData();
        dictionary = new InstanceDictionary(vnRefInstanceDictionary(source.getHashSize()));
        for (const auto& entry : source)
            dictionary->getData().enter(entry.getKey(), copyOfNote(entry.getKey(), entry.getValue()));
    }
    vnRefPointer<InstanceArray> array;
    if (other.m_instanceArray)
    {
        const vnRefInstanceArray& source = other.m_instanceArray->getData();
        array = new InstanceArray(vnRefInstanceArray(VN_REF_CHUNK));
        array->getData().setSize(source.getSize());
        for (unsigned int i = 0; i < source.getSize(); ++i)
            array->getData()[i] = source.get(i);
    }
    m_instanceDictionary = std::move(dictionary);
    m_instanceArray = std::move(array);
    m_nextInstanceID = other.m_nextInstanceID;
    m_skippedBytes = other.m_skippedBytes;
}

void vnSerializeAdapter::write_imp(unsigned char* data, unsigned int count)
{
    for (unsigned int i = 0; i < count; ++i)
        write_imp(data[i]);
}

unsigned int vnSerializeAdapter::read_imp(unsigned char* data, unsigned int count)
{
    // The source is asked before the count is looked at, so it is asked once more than it gives bytes:
    // sources that fetch when they are asked rely on it.
    // A source that opens a window for a byte has the next ones there.
    const auto readEach = [&](unsigned int& done)
    {
        while ((length() != 0 || hasData_imp()) && done < count)
        {
            data[done] = m_readNext != m_readEnd ? *m_readNext++ : read_imp();
            ++done;
        }
    };
    return vnDeliver(*this, data, 0, readEach);
}

unsigned int vnSerializeAdapter::length_imp()
{
    return 0;
}

unsigned char vnSerializeAdapter::hasData_imp()
{
    return length() != 0;
}

void vnSerializeAdapter::setReadWindow(const unsigned char* next, const unsigned char* end) noexcept
{
    const bool isHeld = !m_pushBack.isEmpty();
    m_readBegin = next;
    (isHeld ? m_heldNext : m_readNext) = next;
    (isHeld ? m_heldEnd : m_readEnd) = end;
}

unsigned char vnSerializeAdapter::readByte()
{
    if (m_pushBack.isEmpty())
        return read_imp();
    const unsigned char byte = m_pushBack.pop();
    resumeWindowWhenDrained();
    return byte;
}

unsigned int vnSerializeAdapter::readBlock(unsigned char* data, unsigned int count)
{
    if (!data)
        return skip(count);
    if (count == 0)
        return 0; // the source is not asked, since that may wait
    if (m_pushBack.isEmpty())
        return read_imp(data, count);
    const unsigned int done = m_pushBack.pop(data, count);
    resumeWindowWhenDrained();
    if (done == count)
        return done;
    try
    {
        return done + read_imp(data + done, count - done);
    }
    catch (...)
    {
        pushBack(data, done); // there is room
        throw;
    }
}

unsigned int vnSerializeAdapter::skip(unsigned int count)
{
    for (unsigned int left = count; left > 0;)
    {
        const std::size_t open =
            std::min<std::size_t>(left, static_cast<std::size_t>(m_readEnd - m_readNext));
        if (open > 0)
        {
            m_readNext += open;
            left -= static_cast<unsigned int>(open);
            continue;
        }
        readByte();
        --left;
    }
    return count;
}

unsigned char vnSerializeAdapter::probe(unsigned int count)
{
    if (m_lengthIsEstimate && count > m_pushBack.getCount() && !hasData_imp())
        return 0;
    if (count <= length())
        return 1;
    return count == 1 ? hasData_imp() : probeByReading(count);
}

unsigned char vnSerializeAdapter::probeByReading(unsigned int count)
{
    unsigned char few[256];
    if (count <= sizeof few) // as for the texts that a parser compares
    {
        reservePushBack(count);
        const unsigned int got = read(few, count);
        pushBack(few, got);
        return got == count;
    }
    vnDynamicArray<unsigned char> buffer(VN_PROBE_CHUNK);
    return gather(buffer, count) == count;
}

// Reads up to `count` bytes, as they come, and pushes them back. Answers how many came.
unsigned int vnSerializeAdapter::gather(vnDynamicArray<unsigned char>& buffer, unsigned int count)
{
    unsigned int done = 0;
    try
    {
        while (done < count)
        {
            const unsigned int step = std::min(count - done, std::max(done, VN_PROBE_CHUNK));
            buffer.setSize(done + step);
            reservePushBack(done + step);
            const unsigned int got = read(buffer.data() + done, step);
            done += got;
            if (got < step)
                break;
        }
    }
    catch (...)
    {
        pushBack(buffer.data(), done); // there is room
        throw;
    }
    pushBack(buffer.data(), done);
    return done;
}

unsigned char* vnSerializeAdapter::reservePushBack(unsigned int count)
{
    // Growing by the small chunk alone would copy the store again and again under one that pushes much.
    const unsigned int held = m_pushBack.getCount();
    const bool isFull = m_pushBack.getCapacity() - held < count;
    const vnUInt64 wanted = isFull ? std::max<vnUInt64>(count, held / 2) : count;
    const vnUInt64 largest = wanted + held + m_pushBack.getChunkSize();
    const bool fits = largest <= std::numeric_limits<unsigned int>::max();
    return m_pushBack.reserve(fits ? static_cast<unsigned int>(wanted) : count);
}

void vnSerializeAdapter::holdWindow() noexcept
{
    m_heldNext = m_readNext;
    m_heldEnd = m_readEnd;
    m_readNext = m_readEnd = nullptr;
}

void vnSerializeAdapter::resumeWindowWhenDrained() noexcept
{
    if (!m_pushBack.isEmpty() || !m_heldNext)
        return;
    m_readNext = m_heldNext;
    m_readEnd = m_heldEnd;
    m_heldNext = m_heldEnd = nullptr;
}
