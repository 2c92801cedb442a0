// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnEvent.h>
#include <vnBase/vnQueue.h>
#include <vnBase/vnSerializeAdapter.h>

/// A channel of bytes between threads: what some threads write, others read and wait for.
///
///     vnRefPointer<vnSerializeAdapterMux> channel(new vnSerializeAdapterMux);
///     // one thread                        // another one
///     channel->write(data, count);         while (unsigned int n = channel->read(block, sizeof block))
///     channel->setActive(0); // the end        use(block, n);
///
/// While the channel is active and nothing is queued a read waits. A block gives what is queued, up to its
/// size, and does not wait for more. Once the channel is not active, what is queued is still delivered; then
/// a single byte read is 0 and a block gives none: this 0 tells the end and counts as no byte. A loop over
/// single bytes can't tell it from one that was written, since the end may come after `hasData()` was asked.
///
/// `setActive(0)` is all that wakes a reader. A `vnThread` that reads a channel is stopped by that first; see
/// docs/threads.md.
///
/// `length()` is 0xF0000 while the channel is active and 0 afterwards, whatever is queued: the length of such
/// a stream is not known, and loops that copy streams keep reading as long as there is a length. `hasData()`
/// holds while the channel is active or bytes are queued.
///
/// Thread-safety: reading, writing, `getActive` and `setActive` on any threads at once. Blocks of several
/// writers are not mixed, and what one block read gives lies in one piece in the channel. Bytes are pushed
/// back by one thread only, while no other reads.
class VN_BASE_API vnSerializeAdapterMux : public vnSerializeAdapter
{
public:
    /// Makes an active channel.
    vnSerializeAdapterMux();
    VN_TYPE(vnSerializeAdapterMux)
    ~vnSerializeAdapterMux() noexcept(false) override;

    unsigned char getActive();
    unsigned char isActive() override { return getActive(); }

    /// The bytes that can be read without waiting, but for those pushed back.
    unsigned int getQueued();

    /// 0 ends the channel and wakes all readers at once; anything else opens it again.
    void setActive(const unsigned char& active);

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;

private:
    bool waitForData();
    void makeRoom(unsigned int count);
    void shrinkWhenDrained();

    vnEvent m_event; // its mutex guards the fields below
    unsigned char m_active = 1;
    vnQueue<unsigned char> m_queue;
};
