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
/// The position may stand anywhere. Reading and writing behind the last byte makes the stream longer, by
/// bytes of value 0 that take their memory. What lies before the start, past 32 bits or further behind the
/// last byte than `getMaxGap()` is not read or written and sets the error; reading gives 0 then. A stream
/// that only reading made longer is not written back.
///
/// Thread-safety: one adapter belongs to one thread at a time.
class VN_BASE_API vnSerializeAdapterRandomAccess : public vnSerializeAdapterFilter
{
public:
    /// The gap that is allowed until another one is set.
    static constexpr unsigned int VN_DEFAULT_MAX_GAP = 256u << 20;

    /// Reads all of `target` that its `length()` tells, or what comes of it; a target that is only for
    /// reading is read to its end. Null sets the error.
    explicit vnSerializeAdapterRandomAccess(vnSerializeAdapter* target);
    VN_TYPE(vnSerializeAdapterRandomAccess)

    /// Writes what was changed to the target, and nothing when an exception is on its way: then the target
    /// keeps what it has, and so does one that could not be read whole. An error of the target is reported as
    /// a Warning, unless the flags hold `VN_ADAPTER_SILENT`.
    ~vnSerializeAdapterRandomAccess() noexcept(false) override;

    unsigned char canSeek() override;

    /// Moves anywhere, also behind the end, and returns the position. An unknown origin moves nothing.
    unsigned int seek(int offset, vnOriginPos origin) override;

    /// How far behind the last byte may be read and written: nobody pays with gigabytes for a position that
    /// was computed wrong.
    unsigned int getMaxGap() const noexcept { return m_maxGap; }
    void setMaxGap(unsigned int gap) noexcept { m_maxGap = gap; }

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;

    /// What is left behind the position.
    unsigned int length_imp() override;

private:
    vnInt64 getPosition() const noexcept;
    void setPosition(vnInt64 position) noexcept;
    bool reach(unsigned int count);
    void writeBack();

    vnDynamicArray<unsigned char> m_data;
    vnInt64 m_position = 0; // while no window is open; one of them at most is, since they share it
    unsigned int m_maxGap = VN_DEFAULT_MAX_GAP;
    unsigned char m_isModified = 0;
    unsigned char m_isWhole = 0; // the target was read without an error
};
