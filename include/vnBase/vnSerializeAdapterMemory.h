// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// Reads and writes a block of memory of fixed size. Both move one position.
///
///     unsigned char block[64];
///     vnSerializeAdapterMemory adapter(block, sizeof block);
///     adapter.write('a');
///     adapter.seek(0, VN_ORIGIN_SET);
///     unsigned char a = adapter.read();
///
/// The block is the caller's and must outlive the adapter, unless `setDeleteMemOnDestruction(1)` hands it
/// over. Reading past the end gives 0 and sets the error; writing past the end writes what fits and sets the
/// error.
class VN_BASE_API vnSerializeAdapterMemory : public vnSerializeAdapter
{
public:
    /// A null `address` makes a block of size 0.
    vnSerializeAdapterMemory(void* address, unsigned int size);
    VN_TYPE(vnSerializeAdapterMemory)
    ~vnSerializeAdapterMemory() noexcept(false) override;

    /// Starts again at position 0, on another block when `address` is not null; a block that this adapter had
    /// taken over is the caller's again then. Clears the shared instances; bytes pushed back stay.
    void reset(void* address, unsigned int size);

    unsigned char canSeek() override;

    /// The size itself can be sought to. A target outside sets the error and moves nothing.
    unsigned int seek(int offset, vnOriginPos origin) override;

    /// Drops the bytes pushed back and makes the block one of size 0: unlike other adapters this one has
    /// nothing to read or write afterwards, until `reset`. The memory stays.
    void flush() override;
    void setError(const vnString& error) override;

    /// Moves by `delta` bytes. Unlike `seek` it can't go to the very end; a fault sets the error.
    virtual void move(int delta);

    unsigned int getSize() const noexcept { return m_size; }
    unsigned int getCurrentPos() const noexcept;
    unsigned char* getCurrentAddress() const noexcept { return m_block + getCurrentPos(); }

    /// The sum of all bytes of the block, modulo 65536.
    unsigned short checksum() const noexcept;

    /// Whether the destructor releases the block by `vn_free`; 0 at the start.
    unsigned char getDeleteMemOnDestruction() const noexcept { return m_deleteMemOnDestruction; }
    void setDeleteMemOnDestruction(unsigned char enable) noexcept { m_deleteMemOnDestruction = enable; }

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;
    unsigned int length_imp() override;

private:
    void reportReadEnd();
    void setPosition(unsigned int position) noexcept;
    void openForReading(unsigned int position) noexcept;
    void openForWriting(unsigned int position) noexcept;

    unsigned char m_deleteMemOnDestruction = 0;
    bool m_isReadEndReported = false; // by the error that stands
    unsigned char* m_block;
    unsigned int m_size;
    unsigned int m_position = 0; // while no window is open; one of them at most is, since they share it
};
