// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterPacket.h>

#include "vnReadClaimed.h"

#include <algorithm>
#include <limits>

vnType vnPacketAdapterData::s_type(vnReference::getClassType(), "vnPacketAdapterData");
vnType vnSerializeAdapterPacket::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterPacket");

namespace
{
// A packet takes its memory at once up to here, and what is larger as it is filled: most packets of a size
// that was chosen to be out of reach stay short.
constexpr unsigned int VN_LARGEST_CHUNK = 65536;
} // namespace

vnPacketAdapterData::vnPacketAdapterData(unsigned int size) : m_data(std::min(size, VN_LARGEST_CHUNK)) {}

vnPacketAdapterData::~vnPacketAdapterData() noexcept(false) = default;

vnSerializeAdapterPacket::vnSerializeAdapterPacket(unsigned int packetSize)
    : m_packetSize(std::max(packetSize, 1u)), m_reader(nullptr, 0)
{
    m_packets.setReuseNodes(1);
}

vnSerializeAdapterPacket::~vnSerializeAdapterPacket() noexcept(false) = default;

unsigned int vnSerializeAdapterPacket::getPacketCount()
{
    vnBodyGuard guard(m_lock);
    return m_packets.getCount();
}

unsigned char vnSerializeAdapterPacket::hasError()
{
    vnBodyGuard guard(m_lock);
    return vnSerializeAdapter::hasError() || m_reader.hasError();
}

vnString vnSerializeAdapterPacket::getError()
{
    vnBodyGuard guard(m_lock);
    return vnSerializeAdapter::hasError() ? vnSerializeAdapter::getError() : m_reader.getError();
}

void vnSerializeAdapterPacket::setError(const vnString& error)
{
    vnBodyGuard guard(m_lock);
    vnSerializeAdapter::setError(error);
    if (error.isEmpty())
        m_reader.setError(error);
}

void vnSerializeAdapterPacket::write_imp(unsigned char* data, unsigned int count)
{
    vnBodyGuard guard(m_lock);
    for (unsigned int done = 0; done < count;)
        done += append(data + done, count - done);
}

void vnSerializeAdapterPacket::write_imp(unsigned char byte)
{
    vnBodyGuard guard(m_lock);
    append(&byte, 1);
}

unsigned int vnSerializeAdapterPacket::read_imp(unsigned char* data, unsigned int count)
{
    vnBodyGuard guard(m_lock);
    unsigned int done = 0;
    while (done < count && hasPacketToRead())
        done += m_reader.read(data + done, std::min(count - done, m_reader.length()));
    return done;
}

unsigned char vnSerializeAdapterPacket::read_imp()
{
    vnBodyGuard guard(m_lock);
    hasPacketToRead();
    return m_reader.read(); // sets its error when there is none
}

unsigned int vnSerializeAdapterPacket::length_imp()
{
    return static_cast<unsigned int>(
        std::min<vnUInt64>(getLength(), std::numeric_limits<unsigned int>::max()));
}

unsigned char vnSerializeAdapterPacket::hasData_imp()
{
    return getLength() != 0;
}

vnUInt64 vnSerializeAdapterPacket::getLength()
{
    vnBodyGuard guard(m_lock);
    return m_total + m_reader.length();
}

// Under the lock. Puts what fits into one packet, and answers how many bytes that are.
unsigned int vnSerializeAdapterPacket::append(const unsigned char* data, unsigned int count)
{
    vnDynamicArray<unsigned char>& packet = openPacket();
    const unsigned int held = packet.getSize();
    const unsigned int fits = std::min(count, m_packetSize - held);
    if (!vnGrowTo(packet, held + fits))
        vnThrowBadAlloc(__FILE__, __LINE__);
    std::memcpy(packet.data() + held, data, fits);
    m_total += fits;
    return fits;
}

// Under the lock. The last packet when it has room, or a new one.
vnDynamicArray<unsigned char>& vnSerializeAdapterPacket::openPacket()
{
    vnPacketAdapterData* last = m_packets.getTail();
    if (last && last->getData().getSize() < m_packetSize)
        return last->getData();
    vnRefPointer<vnPacketAdapterData> packet(m_spare ? m_spare.get() : new vnPacketAdapterData(m_packetSize));
    m_packets.append(packet);
    m_spare = nullptr;
    packet->getData().setSize(0);
    return packet->getData();
}

// Under the lock. Moves on to the next packet when the one being read is used up; false without one.
bool vnSerializeAdapterPacket::hasPacketToRead()
{
    while (m_reader.length() == 0)
    {
        vnPacketAdapterData* next = m_packets.getHead();
        if (!next)
            return false;
        if (m_current && m_current->getData().getCapacity() <= VN_LARGEST_CHUNK)
            m_spare = m_current;
        m_current = next;
        m_packets.removeHead();
        vnDynamicArray<unsigned char>& packet = m_current->getData();
        m_total -= packet.getSize();
        if (packet.isEmpty())
            m_reader.flush(); // its first bytes found no memory; a reset to no block would keep the last one
        else
            m_reader.reset(packet.data(), packet.getSize());
    }
    return true;
}
