// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterMemory.h>

#include "vnAdapterError.h"

#include <algorithm>

vnType vnSerializeAdapterMemory::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterMemory");

vnSerializeAdapterMemory::vnSerializeAdapterMemory(void* address, unsigned int size)
    : m_block(static_cast<unsigned char*>(address)), m_size(address ? size : 0)
{
}

vnSerializeAdapterMemory::~vnSerializeAdapterMemory() noexcept(false)
{
    if (m_deleteMemOnDestruction)
        vn_free(m_block);
}

void vnSerializeAdapterMemory::reset(void* address, unsigned int size)
{
    if (address)
    {
        m_block = static_cast<unsigned char*>(address);
        m_size = size;
    }
    setPosition(0);
    clearSharedRefs();
}

unsigned char vnSerializeAdapterMemory::canSeek()
{
    return 1;
}

unsigned int vnSerializeAdapterMemory::seek(int offset, vnOriginPos origin)
{
    const unsigned int position = getCurrentPos();
    vnInt64 target = offset;
    switch (origin)
    {
    case VN_ORIGIN_SET:
        break;
    case VN_ORIGIN_CURRENT:
        target += position;
        break;
    case VN_ORIGIN_END:
        target += m_size;
        break;
    default:
        return position;
    }
    if (target < 0 || target > m_size)
    {
        setError(vnTranslated("Memory Adapter moved outside size"));
        return 0xFFFFFFFFu;
    }
    setPosition(static_cast<unsigned int>(target));
    return static_cast<unsigned int>(target);
}

void vnSerializeAdapterMemory::flush()
{
    vnSerializeAdapter::flush();
    setPosition(0);
    m_size = 0;
}

void vnSerializeAdapterMemory::setError(const vnString& error)
{
    vnSerializeAdapter::setError(error);
    m_isReadEndReported = false;
}

void vnSerializeAdapterMemory::move(int delta)
{
    const unsigned int position = getCurrentPos();
    const unsigned int target = position + static_cast<unsigned int>(delta);
    // A step to before the beginning wraps, so that it is reported as one beyond the end; the second test is
    // reached by blocks above 2 GiB only. Callers know the texts in this order.
    if (target >= m_size)
        setError(vnTranslated("Memory Adapter moved beyond end"));
    else if (delta < 0 && 0u - static_cast<unsigned int>(delta) > position)
        setError(vnTranslated("Memory Adapter moved before beginning"));
    else
        setPosition(target);
}

unsigned int vnSerializeAdapterMemory::getCurrentPos() const noexcept
{
    const unsigned char* next = getReadNext() ? getReadNext() : getWriteNext();
    return next ? static_cast<unsigned int>(next - m_block) : m_position;
}

unsigned short vnSerializeAdapterMemory::checksum() const noexcept
{
    unsigned int sum = 0;
    for (unsigned int i = 0; i < m_size; ++i)
        sum += m_block[i];
    return static_cast<unsigned short>(sum);
}

void vnSerializeAdapterMemory::write_imp(unsigned char* data, unsigned int count)
{
    const unsigned int position = getCurrentPos();
    const unsigned int fits = std::min(count, m_size - position);
    if (fits > 0)
        std::memmove(m_block + position, data, fits);
    openForWriting(position + fits);
    if (fits < count)
        setError(vnTranslated("Memory Adapter written beyond end"));
}

void vnSerializeAdapterMemory::write_imp(unsigned char byte)
{
    const unsigned int position = getCurrentPos();
    if (position == m_size)
    {
        setError(vnTranslated("Memory Adapter written beyond end"));
        return;
    }
    m_block[position] = byte;
    openForWriting(position + 1);
}

unsigned int vnSerializeAdapterMemory::read_imp(unsigned char* data, unsigned int count)
{
    const unsigned int position = getCurrentPos();
    const unsigned int there = std::min(count, m_size - position);
    if (there > 0)
        std::memmove(data, m_block + position, there);
    openForReading(position + there);
    if (there < count)
        reportReadEnd();
    return there;
}

unsigned char vnSerializeAdapterMemory::read_imp()
{
    const unsigned int position = getCurrentPos();
    if (position == m_size)
    {
        reportReadEnd();
        return 0;
    }
    openForReading(position + 1);
    return m_block[position];
}

unsigned int vnSerializeAdapterMemory::length_imp()
{
    return m_size - getCurrentPos();
}

// Skipping reads byte by byte, also far beyond the end: the text is not made anew for each.
void vnSerializeAdapterMemory::reportReadEnd()
{
    if (m_isReadEndReported)
        return;
    setError(vnTranslated("Memory Adapter read beyond end"));
    m_isReadEndReported = true;
}

void vnSerializeAdapterMemory::setPosition(unsigned int position) noexcept
{
    setReadWindow(nullptr, nullptr);
    setWriteWindow(nullptr, nullptr);
    m_position = position;
}

void vnSerializeAdapterMemory::openForReading(unsigned int position) noexcept
{
    setPosition(position);
    setReadWindow(m_block + position, m_block + m_size);
}

void vnSerializeAdapterMemory::openForWriting(unsigned int position) noexcept
{
    setPosition(position);
    setWriteWindow(m_block + position, m_block + m_size);
}
