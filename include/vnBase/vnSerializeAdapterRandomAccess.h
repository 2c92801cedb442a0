// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnSerializeAdapterFilter.h>

/// Holds what another stream has in memory, so that one that can't seek can be read and written anywhere.
///
///     vnRefPointer<vnSerializeAdapter> stream(new vnSerializeAdapterRandomAccess(source));
///     stream->seek(-4, VN_ORIGIN_END);
///     unsigned char last[4];
///     stream->read(last, 4);
///
/// The target is read once, at construction, from where it stands to its end, and written once, at
/// destruction: as a whole, and only when something was written here. A target that can seek is written from
/// where it was read. One that is only for writing is not read, and is written where it stands: what is
/// written here goes behind the content of a file opened for append. So a file, which is opened for reading
/// or for writing, is not edited through one: see docs/streams.md.
///
/// Since nothing is written before the end, a target that fails to take it is known by a Warning message
/// only: `flush()` does nothing to the target, and a copy to such a stream answers that it went well.
///
/// The position may stand anywhere, which costs nothing by itself. Reading and writing behind the last byte
/// makes the stream longer, by bytes of value 0 that take their memory. What lies before the start, past 32
/// bits, further behind the last byte than `getMaxGap()`, or where memory does not reach, is not read or
/// written and sets the error; reading gives 0 then. A stream that only reading made longer is not written
/// back.
///
/// Thread-safety: one adapter belongs to one thread at a time.
class VN_BASE_API vnSerializeAdapterRandomAccess : public vnSerializeAdapterFilter
{
public:
    /// The gap that is allowed until another one is set: any.
    static constexpr unsigned int VN_DEFAULT_MAX_GAP = 0xFFFFFFFFu;

    /// Holds `target`, see the base, and reads all of it that its `length()` tells, or what comes of it; a
    /// target that is only for reading is read to its end. So is one whose length is no number of the bytes
    /// to come: a channel, which has to be ended for that, and what transforms the bytes of another one. Null
    /// sets the error, and so does a target that has data and gives none, or more than `getMaxTargetSize()`,
    /// for a target from outside `getMaxUntrustedSize()`, or memory allow, of which nothing is kept.
    explicit vnSerializeAdapterRandomAccess(vnSerializeAdapter* target);
    VN_TYPE(vnSerializeAdapterRandomAccess)

    /// Writes what was changed to the target, also when an exception is on its way. A target that could not
    /// be read whole keeps what it has. What is lost by that, and an error of the target, is reported as a
    /// Warning, unless the flags hold `VN_ADAPTER_SILENT`.
    ~vnSerializeAdapterRandomAccess() noexcept(false) override;

    unsigned char canSeek() override;

    /// Moves anywhere, also behind the end, and returns the position. An unknown origin moves nothing.
    unsigned int seek(int offset, vnOriginPos origin) override;

    /// How far behind the last byte a read or a write may begin, so that nobody pays with gigabytes for a
    /// position that was computed wrong. It bounds the position only: many reads in a row still make the
    /// stream as long as they go.
    unsigned int getMaxGap() const noexcept { return m_maxGap; }
    void setMaxGap(unsigned int gap) noexcept { m_maxGap = gap; }

    /// How many bytes the stream has, wherever the position stands.
    unsigned int getSize() const noexcept { return m_data.getSize(); }

    /// How long reading and writing may make the stream; what passes it is an error. Any length at the start,
    /// but for a target from outside, so that a loop over blocks has to ask `hasData()`: reading makes the
    /// stream longer as well.
    unsigned int getMaxSize() const noexcept { return m_maxSize; }
    void setMaxSize(unsigned int size) noexcept { m_maxSize = size; }

    /// The most bytes that are read of a target, for all adapters made afterwards; a target that has more is
    /// an error. 0xFFFFFFFF at the start, which is all that lengths of 32 bits reach: a stream may have no
    /// end. For targets from outside `getMaxUntrustedSize()` holds as well.
    static unsigned int getMaxTargetSize() noexcept;
    static void setMaxTargetSize(unsigned int size) noexcept;

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
    void warn(const vnString& text);

    vnDynamicArray<unsigned char> m_data;
    vnInt64 m_position = 0; // while no window is open; one of them at most is, since they share it
    unsigned int m_maxGap = VN_DEFAULT_MAX_GAP;
    unsigned int m_maxSize = 0xFFFFFFFFu;
    unsigned char m_isModified = 0;
    unsigned char m_isWhole = 0;        // the target was read without an error, as far as it is read at all
    unsigned int m_start = 0xFFFFFFFFu; // where the target was read from; this value if it stays where it is
};
