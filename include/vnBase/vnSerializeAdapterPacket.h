// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnRefList.h>
#include <vnBase/vnSerializeAdapterMemory.h>

/// One packet of a `vnSerializeAdapterPacket`.
class VN_BASE_API vnPacketAdapterData : public vnReference
{
public:
    /// `size` is the number of bytes that the packet is going to hold at most, and at least 1.
    explicit vnPacketAdapterData(unsigned int size);
    VN_TYPE(vnPacketAdapterData)
    ~vnPacketAdapterData() noexcept(false) override;

    /// The bytes, with the growth chunk `size`, as far as that is no more than 64 KiB.
    vnDynamicArray<unsigned char>& getData() noexcept { return m_data; }

private:
    vnDynamicArray<unsigned char> m_data;
};

/// A queue of bytes between threads that keeps them in packets of one size: a long queue takes no long block,
/// and what was read is free for what is written next.
///
///     vnSerializeAdapterPacket queue(4096);
///     queue.write(data, count);      // any thread
///     while (queue.length() != 0)    // any thread
///         use(queue.read());
///
/// Reading never waits. A block gives what is there; a single byte read from an empty queue is 0 and sets the
/// error. A block for which there is not memory enough is written as far as it goes.
///
/// Thread-safety: reading, writing, `length`, `hasData(1)` and the error on any threads at once. A block
/// stays in one piece on both sides. Bytes are pushed back, which `hasData` of more bytes does too, by one
/// thread only, while no other reads.
class VN_BASE_API vnSerializeAdapterPacket : public vnSerializeAdapter
{
public:
    static constexpr unsigned int VN_DEFAULT_PACKET_SIZE = 1000;

    /// A size of 0 becomes 1.
    explicit vnSerializeAdapterPacket(unsigned int packetSize = VN_DEFAULT_PACKET_SIZE);
    VN_TYPE(vnSerializeAdapterPacket)
    ~vnSerializeAdapterPacket() noexcept(false) override;

    unsigned int getPacketSize() const noexcept { return m_packetSize; }

    /// The packets that wait behind the one that is being read.
    unsigned int getPacketCount();

    unsigned char hasError() override;
    vnString getError() override;
    void setError(const vnString& error) override;

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;

private:
    vnUInt64 getLength();
    unsigned int append(const unsigned char* data, unsigned int count);
    vnDynamicArray<unsigned char>& openPacket();
    bool hasPacketToRead();

    vnMutex m_lock; // guards the fields below but the size, and the error
    vnRefList<vnPacketAdapterData> m_packets;
    const unsigned int m_packetSize;
    vnSerializeAdapterMemory m_reader; // over the packet that is being read
    vnUInt64 m_total = 0;              // bytes in the list
    vnRefPointer<vnPacketAdapterData> m_current;
    vnRefPointer<vnPacketAdapterData> m_spare; // one that was read, to be written next
};
