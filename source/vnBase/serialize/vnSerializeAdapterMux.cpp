// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterMux.h>

#include <algorithm>

vnType vnSerializeAdapterMux::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterMux");

namespace
{
// Not a number of bytes: what generic loops take as a reason to go on reading.
constexpr unsigned int VN_UNKNOWN_LENGTH = 0xF0000;

constexpr unsigned int VN_WAIT_MILLISECONDS = 200;
constexpr unsigned int VN_CHUNK = 4096;
constexpr unsigned int VN_KEPT = 1u << 20; // capacity that a drained queue keeps for the next bytes
} // namespace

vnSerializeAdapterMux::vnSerializeAdapterMux() : m_queue(VN_QUEUE_FIFO, VN_CHUNK) {}

vnSerializeAdapterMux::~vnSerializeAdapterMux() noexcept(false) = default;

unsigned char vnSerializeAdapterMux::getActive()
{
    vnBodyGuard guard(m_event);
    return m_active;
}

unsigned int vnSerializeAdapterMux::getQueued()
{
    vnBodyGuard guard(m_event);
    return m_queue.getCount();
}

void vnSerializeAdapterMux::setActive(const unsigned char& active)
{
    vnBodyGuard guard(m_event);
    m_active = active;
    m_event.fire();
}

void vnSerializeAdapterMux::write_imp(unsigned char* data, unsigned int count)
{
    if (count == 0)
        return;
    vnBodyGuard guard(m_event);
    makeRoom(count);
    m_queue.push(data, count);
    m_event.fire();
}

void vnSerializeAdapterMux::write_imp(unsigned char byte)
{
    vnBodyGuard guard(m_event);
    makeRoom(1);
    m_queue.push(byte);
    m_event.fire();
}

// Waits for the first byte only: a copy asks for as much as the length promises, and must not hold back what
// came until all of that is there.
unsigned int vnSerializeAdapterMux::read_imp(unsigned char* data, unsigned int count)
{
    vnBodyGuard guard(m_event);
    if (count == 0 || !waitForData())
        return 0;
    const unsigned int done = m_queue.pop(data, count);
    shrinkWhenDrained();
    return done;
}

unsigned char vnSerializeAdapterMux::read_imp()
{
    vnBodyGuard guard(m_event);
    if (!waitForData())
        return 0;
    const unsigned char byte = m_queue.pop();
    shrinkWhenDrained();
    return byte;
}

unsigned int vnSerializeAdapterMux::length_imp()
{
    return getActive() ? VN_UNKNOWN_LENGTH : 0;
}

// With bytes queued the channel has data although it ended: a loop that asks before each read would lose what
// was written between its last read and the end.
unsigned char vnSerializeAdapterMux::hasData_imp()
{
    vnBodyGuard guard(m_event);
    return m_active || !m_queue.isEmpty();
}

// Under the mutex. False at the end of the channel.
bool vnSerializeAdapterMux::waitForData()
{
    while (m_queue.isEmpty())
    {
        if (!m_active)
            return false;
        m_event.waitAndLock(VN_WAIT_MILLISECONDS, 1);
    }
    return true;
}

// Under the mutex. A queue that never runs empty must not creep, and one that grows must not be copied for
// each chunk.
void vnSerializeAdapterMux::makeRoom(unsigned int count)
{
    const std::size_t wanted = static_cast<std::size_t>(m_queue.getBack()) + count;
    if (wanted <= m_queue.getCapacity())
        return;
    if (m_queue.getFront() >= m_queue.getCount())
        m_queue.cleanUp(); // no byte is moved that was not paid for by one that was read
    m_queue.setChunkSize(std::max(VN_CHUNK, m_queue.getCount() / 2));
}

void vnSerializeAdapterMux::shrinkWhenDrained()
{
    if (m_queue.isEmpty() && m_queue.getCapacity() > VN_KEPT)
        m_queue = vnQueue<unsigned char>(VN_QUEUE_FIFO, VN_CHUNK);
}
