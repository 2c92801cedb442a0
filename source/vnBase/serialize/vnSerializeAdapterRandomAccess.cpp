// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterRandomAccess.h>

#include "vnAdapterError.h"
#include "vnReadClaimed.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <new>

vnType vnSerializeAdapterRandomAccess::s_type(vnSerializeAdapterFilter::getClassType(),
                                              "vnSerializeAdapterRandomAccess");

vnSerializeAdapterRandomAccess::vnSerializeAdapterRandomAccess(vnSerializeAdapter* target)
{
    holdTarget(target);
    if (!target)
    {
        setError(vnTranslated("Missing target adapter for random access"));
        return;
    }
    const unsigned int length = target->length();
    m_data.setChunkSize(length); // at least 1
    vnReadClaimed(*target, length, m_data);
    // A pipe knows the length of what is there by now. One that is written as well may wait for this side.
    if (!target->supportAction(VN_SERIALIZE_OUTPUT))
        vnReadAll(*target, m_data);
    m_data.setChunkSize(
        std::max(m_data.getSize(), 1u)); // of what came, if the length was no more than a claim
    m_isWhole = !target->hasError();
}

vnSerializeAdapterRandomAccess::~vnSerializeAdapterRandomAccess() noexcept(false)
{
    if (!m_isModified || !getAdapter() || std::uncaught_exceptions() > 0)
        return;
    try
    {
        writeBack();
    }
    catch (const std::bad_alloc&)
    {
        // It was reported, and there is no memory for more.
    }
}

unsigned char vnSerializeAdapterRandomAccess::canSeek()
{
    return 1;
}

unsigned int vnSerializeAdapterRandomAccess::seek(int offset, vnOriginPos origin)
{
    vnInt64 position = getPosition();
    switch (origin)
    {
    case VN_ORIGIN_SET:
        position = offset;
        break;
    case VN_ORIGIN_CURRENT:
        position += offset;
        break;
    case VN_ORIGIN_END:
        position = vnInt64{m_data.getSize()} + offset;
        break;
    default:
        break;
    }
    // Deliberately without a test of bounds: whoever seeks may not be going to read.
    setPosition(position);
    return static_cast<unsigned int>(position);
}

void vnSerializeAdapterRandomAccess::write_imp(unsigned char* data, unsigned int count)
{
    if (count == 0 || !reach(count))
        return;
    const auto position = static_cast<unsigned int>(m_position);
    std::memmove(m_data.data() + position, data, count);
    m_isModified = 1;
    setPosition(vnInt64{position} + count);
    setWriteWindow(m_data.data() + position + count, m_data.data() + m_data.getSize());
}

void vnSerializeAdapterRandomAccess::write_imp(unsigned char byte)
{
    write_imp(&byte, 1);
}

unsigned int vnSerializeAdapterRandomAccess::read_imp(unsigned char* data, unsigned int count)
{
    if (count == 0 || !reach(count))
        return 0;
    const auto position = static_cast<unsigned int>(m_position);
    std::memmove(data, m_data.data() + position, count);
    setPosition(vnInt64{position} + count);
    setReadWindow(m_data.data() + position + count, m_data.data() + m_data.getSize());
    return count;
}

unsigned char vnSerializeAdapterRandomAccess::read_imp()
{
    unsigned char byte = 0;
    read_imp(&byte, 1);
    return byte;
}

unsigned int vnSerializeAdapterRandomAccess::length_imp()
{
    const vnInt64 position = std::max<vnInt64>(getPosition(), 0);
    return position < m_data.getSize() ? m_data.getSize() - static_cast<unsigned int>(position) : 0;
}

vnInt64 vnSerializeAdapterRandomAccess::getPosition() const noexcept
{
    const unsigned char* next = getReadNext() ? getReadNext() : getWriteNext();
    return next ? next - m_data.data() : m_position;
}

void vnSerializeAdapterRandomAccess::setPosition(vnInt64 position) noexcept
{
    setReadWindow(nullptr, nullptr);
    setWriteWindow(nullptr, nullptr);
    m_position = position;
}

// Closes the windows and makes the stream long enough for `count` bytes at the position. False when they
// can't be there, which sets the error.
bool vnSerializeAdapterRandomAccess::reach(unsigned int count)
{
    setPosition(getPosition());
    const vnInt64 size = m_data.getSize();
    const vnInt64 end = m_position + count;
    const bool isNear = m_position >= 0 && m_position - size <= vnInt64{m_maxGap};
    if (!isNear || end > std::numeric_limits<unsigned int>::max())
    {
        setError(vnTranslated("Random Access Adapter moved outside size"));
        return false;
    }
    if (end > size)
        vnGrowTo(m_data, static_cast<unsigned int>(end));
    return true;
}

// The target is as it was left by the one read, so that the changed stream takes the place of what was read.
void vnSerializeAdapterRandomAccess::writeBack()
{
    vnSerializeAdapter* target = getAdapter();
    const bool hadError = m_isWhole && target->hasError();
    if (m_isWhole)
    {
        if (target->canSeek())
            target->seek(0, VN_ORIGIN_SET);
        target->write(m_data.data(), m_data.getSize());
    }
    if (!hadError && target->hasError() && !(getAdapterFlags() & VN_ADAPTER_SILENT))
        vnMessage::message(VN_MESSAGE_WARNING, "%s", target->getError());
}
