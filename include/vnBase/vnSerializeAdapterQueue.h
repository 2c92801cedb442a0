// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnSerializeAdapter.h>

/// A growing queue of bytes in memory: what is written is read again, the first byte first in the mode
/// `VN_QUEUE_FIFO` and the last byte first in the mode `VN_QUEUE_LIFO`.
///
///     vnSerializeAdapterQueue stream(VN_QUEUE_FIFO);
///     stream.write('a');
///     unsigned char a = stream.read();
///
/// Reading a single byte from an empty queue throws `vnFatalError`; ask `hasData()` first.
class VN_BASE_API vnSerializeAdapterQueue : public vnSerializeAdapter
{
public:
    static constexpr unsigned int VN_DEFAULT_CHUNK = 100;

    /// The mode at the start is that of a stack, so that bytes come back in reverse; a stream takes
    /// `VN_QUEUE_FIFO`. A `chunk` of 0 becomes 1.
    explicit vnSerializeAdapterQueue(vnQueueMode mode = VN_QUEUE_LIFO, unsigned int chunk = VN_DEFAULT_CHUNK);
    VN_TYPE(vnSerializeAdapterQueue)
    ~vnSerializeAdapterQueue() noexcept(false) override;

    /// Drops all bytes but those pushed back.
    void clear();

    /// Moves the unread bytes to the start of the array, so that a queue that never runs empty does not
    /// creep.
    void cleanUp();

    /// The array of the queue; valid until the next write.
    unsigned char* getAddress();

    /// Makes the array as large as the unread bytes are many and moves them there, in the order of reading.
    /// Bytes pushed back stay.
    void getQueueData(vnArray<unsigned char>& array);
    void getQueueData(vnArray<vnQuadWordAligned<unsigned char>>& array);
    void getQueueData(vnDynamicArray<unsigned char>& array);
    void getQueueData(vnDynamicArray<vnQuadWordAligned<unsigned char>>& array);

    vnQueueMode getMode() const noexcept { return m_queue.getMode(); }
    unsigned int getChunkSize() const noexcept { return m_queue.getChunkSize(); }

    /// The step by which the array grows; 0 becomes 1.
    void setChunkSize(unsigned int chunk);

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;
    unsigned int length_imp() override;

    /// The queue with all that was written; changing it is allowed.
    vnQueue<unsigned char>& getQueue();

private:
    struct Room
    {
        unsigned char* place;
        unsigned int size;
    };

    template <class Array>
    void drainInto(Array& array);
    void settle() noexcept;
    void closeWhenMoved() noexcept;
    Room makeRoom(unsigned int count);
    void commit(const Room& room, unsigned int count) noexcept;

    vnQueue<unsigned char> m_queue;
};
