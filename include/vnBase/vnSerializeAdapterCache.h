// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnRecycleData.h>
#include <vnBase/vnSerializeAdapterMemory.h>

/// Reads a part of what a URL delivers: the streams behind URLs that can't seek are kept in memory, in one
/// cache of the process, so that many parts of one stream need one transfer.
///
///     // bytes 100 to 199
///     vnSerializeAdapterCache part("http://host/data", 100, 100, 0, 0, vnString());
///
/// In a URL this is "cache:100,100,http://host/data".
///
/// A stream that can seek is not cached: each part is read on its own, and the stream stays open for the next
/// part that this thread asks for, until the thread asks for another URL or ends.
///
/// A part is cut to what is there. A URL that does not open makes an empty adapter with an error; why was
/// reported when it was opened. A stream that breaks sets the error, and is not kept. The adapter seeks and
/// reads as one of memory; a write is refused with an error, since blocks are shared.
///
/// Blocks belong to their URL alone: whoever asks for it later gets them, whatever flags and password he
/// gives. They don't change, so that a source that changed meanwhile is not seen before `resetCaches()`.
///
/// Thread-safety: one adapter belongs to one thread at a time; adapters, also of one URL, may be made, used
/// and destroyed on any threads at once. Two threads that miss a URL at once both read it, and share the
/// block of the first. No lock is held while a URL is opened or read.
class VN_BASE_API vnSerializeAdapterCache : public vnSerializeAdapterMemory
{
public:
    /// The limit of all blocks until another one is set.
    static constexpr unsigned int VN_DEFAULT_MAX_SIZE = 64u << 20;

    /// Serves `length` bytes from `offset` of what `url` delivers. With `readLength`, a stream that can seek
    /// has the length at the offset, as an unsigned number of 32 bits, the low byte first, and the part
    /// behind it; where there are fewer than these 4 bytes `length` holds. A block of the cache is cut by
    /// `offset` and `length` alone.
    vnSerializeAdapterCache(const vnString& url, unsigned int offset, unsigned int length,
                            unsigned char readLength, vnUInt64 flags, const vnString& password);
    VN_TYPE(vnSerializeAdapterCache)
    ~vnSerializeAdapterCache() noexcept(false) override;

    /// Only for reading.
    unsigned char supportAction(vnSerializeAction action) override;

    /// Limits the bytes that the cache holds: the blocks that came first go first, now and whenever one is
    /// added. Adapters that read a block keep it. 0 keeps none.
    static void setMaxSizeOfCachedData(unsigned int size);

    /// The most bytes of a stream that can't seek; a longer one is an error. 0xFFFFFFFF at the start, which
    /// is all that lengths of 32 bits reach: a stream may have no end. With `VN_ADAPTER_UNTRUSTED`
    /// `getMaxUntrustedSize()` holds as well, also for parts of streams that can seek.
    static unsigned int getMaxSizeOfStream() noexcept;
    static void setMaxSizeOfStream(unsigned int size) noexcept;

    /// Drops all blocks, and closes the stream that this thread left open.
    static void resetCaches();

    /// Splits "offset,length,inner", in front of which "cache:" may stand. 0 when one of them is empty; the
    /// outputs stay as they are then. Numbers that are out of range become the nearest one.
    static unsigned char parseCacheURL(const vnString& url, unsigned int& offset, int& length,
                                       vnString& inner);

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;

private:
    using Block = vnRefPointer<vnCacheData>;

    bool shareCached(const vnString& key, unsigned int offset, unsigned int length);
    void readPart(vnSerializeAdapter& source, unsigned int length, unsigned char readLength);
    void cacheWhole(vnSerializeAdapter& source, const vnString& key, unsigned int offset,
                    unsigned int length);
    void serve(unsigned int offset, unsigned int length);

    Block m_block; // its count is guarded by the lock of the cache
};
