// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterFilter.h>

/// Compresses what is written and decompresses what is read, in blocks as `vnCompress` makes them.
///
///     vnRefPointer<vnSerializeAdapter> out(new vnSerializeAdapterCompress(file));
///     out->write(data, count);
///     out->flush();
///
/// Written bytes gather until `flush()`, which makes one block of them and writes it to the target in one
/// piece. Reading takes the next block when the bytes of the last one are used up; what stands behind a block
/// stays in the target, so that blocks in a row read back as one stream. A block must be there in full: the
/// adapter waits for its rest where the target does, and takes a target that has ended for damage.
///
/// One queue serves both directions: what was written and not flushed is read back as it is, and what was
/// read in part is written by the next `flush()` along with what follows.
///
/// When the target throws within a block, or memory is exhausted, what was taken of the block is put back in
/// front of the target, and the next reading begins with it.
///
/// A damaged block gives no bytes. All that the target held then is dropped (of a channel behind a further
/// adapter only what that one holds), the error is set, and "Failed to uncompress data in ..." is posted as a
/// warning unless the flags hold `VN_ADAPTER_SILENT`. Reading a single
/// byte when there is none throws `vnFatalError`; ask `hasData()` first.
class VN_BASE_API vnSerializeAdapterCompress : public vnSerializeAdapterFilter
{
public:
    static constexpr unsigned int VN_DEFAULT_CHUNK = 300;

    /// Holds `target`, see `vnSerializeAdapterFilter`.
    explicit vnSerializeAdapterCompress(vnSerializeAdapter* target = nullptr);
    VN_TYPE(vnSerializeAdapterCompress)

    /// Flushes. What goes wrong then is thrown, unless another exception is on its way.
    ~vnSerializeAdapterCompress() noexcept(false) override;

    /// Starts anew in front of `target`, which is held: bytes not flushed, bytes pushed back and the own
    /// error are dropped.
    void setAdapter(vnSerializeAdapter* target);

    /// Writes the bytes gathered as one block, and flushes the target; does nothing when nothing was written
    /// since the last time. A memory adapter is emptied by its flush, so read its block before, or put a
    /// queue in its place. Drops the bytes pushed back.
    void flush() override;

    /// The step by which the queue grows at least; 0 becomes 1.
    void setChunkSize(unsigned int chunk);

    /// How many bytes a block may hold that is read, as many as there are until another limit is set. One
    /// that claims more counts as damaged: a thousand bytes of a stranger's may yield a million.
    unsigned int getMaxBlockSize() const noexcept { return m_maxBlockSize; }
    void setMaxBlockSize(unsigned int bytes) noexcept { m_maxBlockSize = bytes; }

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;

    /// The bytes in the queue: what was written and not flushed, or what is left of the block. When there
    /// are none, a target that is only for reading gives its next block. One that can be written as well
    /// keeps it, so that a writer can ask; then the length of the target is the estimate.
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;

private:
    vnQueue<unsigned char>& settled();
    void openForReading();
    unsigned int getBuffered() const;
    bool fill(bool waits);
    bool takeBlock();
    void writeBlock();
    void reportDamage(vnUInt64 taken);

    vnQueue<unsigned char> m_queue{VN_QUEUE_FIFO, VN_DEFAULT_CHUNK};
    vnDynamicArray<unsigned char> m_compressed; // kept between blocks
    vnDynamicArray<unsigned char> m_raw;        // the same for reading
    unsigned int m_maxBlockSize = 0xFFFFFFFFu;
    bool m_isDirty = false; // bytes were written into the queue
};
