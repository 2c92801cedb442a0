// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnSerializeAdapterFilter.h>

/// Holds the whole of another stream in memory, so that one that can't seek can be read and written anywhere.
///
///     vnRefPointer<vnSerializeAdapter> stream(new vnSerializeAdapterRandomAccess(source));
///     stream->seek(-4, VN_ORIGIN_END);
///     unsigned char last[4];
///     stream->read(last, 4);
///
/// The target is read once, at construction, and written once, at destruction: as a whole, and only when
/// something was written here. A target that can seek is written from its start.
///
/// The position may stand anywhere. Reading and writing behind the last byte makes the stream longer by bytes
/// of value 0, and takes the memory for it: a user who lets others choose positions sets `setMaxSize`. What
/// would reach past that, past 32 bits or before the start is not done and sets the error; reading gives 0
/// then. A stream that only reading made longer is not written back.
///
/// Thread-safety: one adapter belongs to one thread at a time.
class VN_BASE_API vnSerializeAdapterRandomAccess : public vnSerializeAdapterFilter
{
public:
    /// Reads all of `target` that its `length()` tells, or what comes of it. Null sets the error.
    explicit vnSerializeAdapterRandomAccess(vnSerializeAdapter* target);
    VN_TYPE(vnSerializeAdapterRandomAccess)

    /// Writes what was changed to the target, and nothing when an exception is on its way: then the target
    /// keeps what it has. An error of the target is reported as a Warning, unless the flags hold
    /// `VN_ADAPTER_SILENT`.
    ~vnSerializeAdapterRandomAccess() noexcept(false) override;

    unsigned char canSeek() override;

    /// Moves anywhere, also behind the end, and returns the position. An unknown origin moves nothing.
    unsigned int seek(int offset, vnOriginPos origin) override;

    /// The length that the stream can be given; 0xFFFFFFFF at the start. What it has already stays.
    unsigned int getMaxSize() const noexcept { return m_maxSize; }
    void setMaxSize(unsigned int size) noexcept { m_maxSize = size; }

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;

    /// What is left behind the position.
    unsigned int length_imp() override;

private:
    vnInt64 getPosition() const noexcept;
    void closeWindows() noexcept;
    bool reach(unsigned int count);
    void grow(unsigned int size);
    void writeBack();

    vnDynamicArray<unsigned char> m_data;
    vnInt64 m_position = 0; // while no window is open; one of them at most is, since they share it
    unsigned int m_maxSize = 0xFFFFFFFFu;
    unsigned char m_isModified = 0;
};
