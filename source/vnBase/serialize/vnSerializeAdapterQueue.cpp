// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterQueue.h>

#include "vnQueueRoom.h"

vnType vnSerializeAdapterQueue::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterQueue");

namespace
{
// Most reads are items of these sizes; a copy of a size that the compiler knows is one move. Answers whether
// `count` is one of them.
bool copyItem(unsigned char* to, const unsigned char* from, unsigned int count)
{
    switch (count)
    {
    case 1:
        *to = *from;
        return true;
    case 2:
        std::memcpy(to, from, 2);
        return true;
    case 4:
        std::memcpy(to, from, 4);
        return true;
    case 8:
        std::memcpy(to, from, 8);
        return true;
    default:
        return false;
    }
}
} // namespace

vnSerializeAdapterQueue::vnSerializeAdapterQueue(vnQueueMode mode, unsigned int chunk) : m_queue(mode, chunk)
{
}

vnSerializeAdapterQueue::~vnSerializeAdapterQueue() noexcept(false) = default;

void vnSerializeAdapterQueue::clear()
{
    getQueue().clear();
}

void vnSerializeAdapterQueue::cleanUp()
{
    getQueue().cleanUp();
}

unsigned char* vnSerializeAdapterQueue::getAddress()
{
    return m_queue.data() - m_queue.getFront();
}

void vnSerializeAdapterQueue::getQueueData(vnArray<unsigned char>& array)
{
    drainInto(array);
}

void vnSerializeAdapterQueue::getQueueData(vnArray<vnQuadWordAligned<unsigned char>>& array)
{
    drainInto(array);
}

void vnSerializeAdapterQueue::getQueueData(vnDynamicArray<unsigned char>& array)
{
    drainInto(array);
}

void vnSerializeAdapterQueue::getQueueData(vnDynamicArray<vnQuadWordAligned<unsigned char>>& array)
{
    drainInto(array);
}

void vnSerializeAdapterQueue::setChunkSize(unsigned int chunk)
{
    m_queue.setChunkSize(chunk);
}

void vnSerializeAdapterQueue::write_imp(unsigned char* data, unsigned int count)
{
    if (count == 0)
        return;
    const Room room = makeRoom(count);
    std::memcpy(room.place, data, count);
    commit(room, count);
}

void vnSerializeAdapterQueue::write_imp(unsigned char byte)
{
    const Room room = makeRoom(1);
    *room.place = byte;
    commit(room, 1);
}

unsigned int vnSerializeAdapterQueue::read_imp(unsigned char* data, unsigned int count)
{
    settle();
    const bool isFifo = m_queue.getMode() == VN_QUEUE_FIFO;
    if (isFifo && data && count <= m_queue.getCount() && copyItem(data, m_queue.data(), count))
        data = nullptr; // and what was copied is dropped from the queue
    const unsigned int done = m_queue.pop(data, count);
    closeWhenMoved();
    return done;
}

unsigned char vnSerializeAdapterQueue::read_imp()
{
    settle();
    if (m_queue.isEmpty())
        return m_queue.pop(); // throws
    // The cell is zeroed, unlike those of a block: bytes that were read one by one do not stay in memory.
    unsigned char& cell = m_queue.top();
    const unsigned char byte = cell;
    cell = 0;
    m_queue.pop(nullptr, 1);
    closeWhenMoved();
    return byte;
}

unsigned int vnSerializeAdapterQueue::length_imp()
{
    settle();
    return m_queue.getCount();
}

vnQueue<unsigned char>& vnSerializeAdapterQueue::getQueue()
{
    settle();
    setWriteWindow(nullptr, nullptr);
    return m_queue;
}

template <class Array>
void vnSerializeAdapterQueue::drainInto(Array& array)
{
    static_assert(sizeof(*array.data()) == 1, "the bytes stand in a row");
    vnQueue<unsigned char>& queue = getQueue();
    array.setSize(queue.getCount());
    queue.pop(reinterpret_cast<unsigned char*>(array.data()), queue.getCount());
}

// Makes what was written into the window part of the queue; the rest of the window stays open.
void vnSerializeAdapterQueue::settle() noexcept
{
    if (const unsigned char* next = getWriteNext())
        m_queue.commit(static_cast<unsigned int>(next - (m_queue.data() + m_queue.getCount())));
}

// The window stands behind the newest byte. Reading a stack takes that byte away, and a drained queue starts
// again at the front.
void vnSerializeAdapterQueue::closeWhenMoved() noexcept
{
    if (m_queue.getMode() == VN_QUEUE_LIFO || m_queue.isEmpty())
        setWriteWindow(nullptr, nullptr);
}

// The place for at least `count` bytes more.
vnSerializeAdapterQueue::Room vnSerializeAdapterQueue::makeRoom(unsigned int count)
{
    vnQueue<unsigned char>& queue = getQueue();
    const unsigned int size = vnQueueRoom(queue, count);
    return {queue.reserve(size), size};
}

void vnSerializeAdapterQueue::commit(const Room& room, unsigned int count) noexcept
{
    m_queue.commit(count);
    if (m_queue.getMode() == VN_QUEUE_FIFO)
        setWriteWindow(room.place + count, room.place + room.size);
}
