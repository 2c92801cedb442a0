// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterRandomAccess.h>

#include "vnAdapterError.h"
#include "vnReadClaimed.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <new>

vnType vnSerializeAdapterRandomAccess::s_type(vnSerializeAdapterFilter::getClassType(),
                                              "vnSerializeAdapterRandomAccess");

namespace
{
constexpr unsigned int VN_NOWHERE = 0xFFFFFFFFu; // also what a seek answers that failed

constexpr unsigned int VN_FIRST_CHUNK = 65536; // where the length is no number of bytes

std::atomic<unsigned int> s_maxTargetSize{0xFFFFFFFFu};

// Reads all that the target has.
vnReadResult readTarget(vnSerializeAdapter& target, unsigned int length, vnDynamicArray<unsigned char>& bytes)
{
    const unsigned int limit = vnReadLimit(target, s_maxTargetSize.load(std::memory_order_relaxed));
    const bool isTold = vnTellsLength(target);
    vnReadResult result =
        isTold ? vnReadClaimed(target, std::min(length, limit), bytes) : vnReadResult::Whole;
    // A pipe knows the length of what is there by now. One that is written as well may wait for this side.
    const bool goesOn = !isTold || length > limit || !target.supportAction(VN_SERIALIZE_OUTPUT);
    if (result == vnReadResult::Whole && goesOn)
        result = vnReadAll(target, bytes, limit);
    if (result == vnReadResult::TooLong || result == vnReadResult::NoMemory)
        bytes.reallocate(0);
    return result;
}

// Where the bytes began that were read, those that had been pushed back among them.
unsigned int startOf(vnSerializeAdapter& target, unsigned int size)
{
    const unsigned int end = target.seek(0, VN_ORIGIN_CURRENT);
    return end == VN_NOWHERE || end < size ? 0 : end - size;
}
} // namespace

vnSerializeAdapterRandomAccess::vnSerializeAdapterRandomAccess(vnSerializeAdapter* target)
{
    holdTarget(target);
    if (!target)
    {
        setError(vnTranslated("Missing target adapter for random access"));
        return;
    }
    // What is only written is not read: its length is no promise, and what is written here goes behind it.
    const bool isRead = target->supportAction(VN_SERIALIZE_INPUT);
    const unsigned int length = isRead ? target->length() : 0;
    m_data.setChunkSize(vnTellsLength(*target) ? length : VN_FIRST_CHUNK); // at least 1
    const vnReadResult result = isRead ? readTarget(*target, length, m_data) : vnReadResult::Whole;
    m_maxSize = vnReadLimit(*target);
    m_data.setChunkSize(
        std::max(m_data.getSize(), 1u)); // of what came, if the length was no more than a claim
    m_isWhole = result == vnReadResult::Whole && !target->hasError();
    if (result != vnReadResult::Whole && !target->hasError())
        setError(vnReadError(*target, result));
    if (m_isWhole && isRead && target->canSeek())
        m_start = startOf(*target, m_data.getSize());
}

vnSerializeAdapterRandomAccess::~vnSerializeAdapterRandomAccess() noexcept(false)
{
    if (!m_isModified || !getAdapter())
        return;
    try
    {
        writeBack();
    }
    catch (const std::bad_alloc&)
    {
        // It was reported, and there is no memory for more.
    }
    catch (...)
    {
        if (std::uncaught_exceptions() == 0)
            throw;
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
    // What is left, and not all that there is: loops that read as long as there is a length come to an end.
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

unsigned int vnSerializeAdapterRandomAccess::getMaxTargetSize() noexcept
{
    return s_maxTargetSize.load(std::memory_order_relaxed);
}

void vnSerializeAdapterRandomAccess::setMaxTargetSize(unsigned int size) noexcept
{
    s_maxTargetSize.store(size, std::memory_order_relaxed);
}

// Closes the windows and makes the stream long enough for `count` bytes at the position. False when they
// can't be there, which sets the error.
bool vnSerializeAdapterRandomAccess::reach(unsigned int count)
{
    setPosition(getPosition());
    const vnInt64 size = m_data.getSize();
    const vnInt64 end = m_position + count;
    const bool isNear = m_position >= 0 && m_position - size <= vnInt64{m_maxGap};
    if (!isNear || end > std::max(size, vnInt64{m_maxSize}))
    {
        setError(vnTranslated("Random Access Adapter moved outside size"));
        return false;
    }
    if (end <= size || vnGrowTo(m_data, static_cast<unsigned int>(end)))
        return true;
    setError(vnTranslated("No memory for the position of the Random Access Adapter"));
    return false;
}

void vnSerializeAdapterRandomAccess::writeBack()
{
    if (!m_isWhole)
    {
        warn(
            vnTranslated("Random Access Adapter drops what was written: its target was not read as a whole"));
        return;
    }
    vnSerializeAdapter& target = *getAdapter();
    const vnString before = target.getError();
    if (m_start == VN_NOWHERE || vnSeekTo(target, m_start))
        target.write(m_data.data(), m_data.getSize());
    else if (!target.hasError())
        target.setError(vnTranslated("Random Access Adapter could not move its target to the start"));
    if (target.hasError() && target.getError() != before)
        warn(target.getError());
}

void vnSerializeAdapterRandomAccess::warn(const vnString& text)
{
    if (!(getAdapterFlags() & VN_ADAPTER_SILENT))
        vnMessage::message(VN_MESSAGE_WARNING, "%s", text);
}
