// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterCache.h>

#include "vnAdapterError.h"
#include "vnReadClaimed.h"
#include "vnThreadSlot.h"
#include "vnURLDispatch.h"

#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefList.h>

#include <algorithm>
#include <atomic>

vnType vnSerializeAdapterCache::s_type(vnSerializeAdapterMemory::getClassType(), "vnSerializeAdapterCache");

namespace
{
using Block = vnRefPointer<vnCacheData>;

std::atomic<unsigned int> s_maxSizeOfStream{0xFFFFFFFFu};

// A block under its URL. All counts of entries and of blocks that are shared change under the lock.
class Entry : public vnReference
{
public:
    Entry(const vnString& url, const Block& block) : m_url(url), m_block(block.get()) {}
    ~Entry() noexcept(false) override = default;

    unsigned char useDeepCopy() override { return 0; }
    const vnString& getURL() const noexcept { return m_url; }
    vnCacheData* getBlock() const noexcept { return m_block; }
    unsigned int getSize() const { return m_block->getData().getSize(); }

private:
    vnString m_url;
    Block m_block;
};

// Waiting in the pool for scratch a block would take its memory along, out of reach of the limit.
constexpr unsigned int VN_POOLED = 65536;

void letGo(Block& block)
{
    if (block && block->getRef() == 1 && block->getData().getCapacity() > VN_POOLED)
        block->getData().reallocate(0);
    block = nullptr;
}

class Cache
{
public:
    // Also for what is destroyed late: without the cache there are no threads to be kept away.
    template <class Work>
    static void locked(Work work)
    {
        Cache& cache = shared();
        if (!cache.m_lock.isValidMemory())
            return;
        vnBodyGuard guard(cache.m_lock);
        work(cache);
    }

    vnCacheData* find(const vnString& url)
    {
        const Entry* entry = m_byURL.find(url);
        return entry ? entry->getBlock() : nullptr;
    }

    // The block of `url`: `block`, or the one of a thread that was faster.
    vnCacheData* enter(const vnString& url, const Block& block)
    {
        if (vnCacheData* first = find(url))
            return first;
        vnRefPointer<Entry> entry(new Entry(url, block));
        m_byAge.append(entry);
        try
        {
            m_byURL.enter(url, entry);
        }
        catch (...)
        {
            m_byAge.remove(entry);
            throw;
        }
        m_total += entry->getSize();
        evict();
        return block;
    }

    void setMaxSize(unsigned int size)
    {
        m_maxSize = size;
        evict();
    }

    void clear()
    {
        while (!m_byAge.isEmpty())
            dropOldest();
    }

private:
    // Streams without a byte cost as well, and would not be counted.
    static constexpr unsigned int VN_MAX_COUNT = 65536;

    static Cache& shared()
    {
        static Cache cache;
        return cache;
    }

    void evict()
    {
        while (m_total > m_maxSize || m_byAge.getCount() > (m_maxSize ? VN_MAX_COUNT : 0))
            dropOldest();
    }

    void dropOldest()
    {
        vnRefPointer<Entry> oldest(m_byAge.getHead());
        Block block(oldest->getBlock());
        m_total -= oldest->getSize();
        m_byURL.remove(oldest->getURL());
        m_byAge.removeHead();
        oldest = nullptr;
        letGo(block);
    }

    vnMemCheck<vnMutex> m_lock; // guards the fields below
    vnRefDict<vnString, Entry> m_byURL;
    vnRefList<Entry> m_byAge; // the oldest first
    vnUInt64 m_total = 0;
    unsigned int m_maxSize = vnSerializeAdapterCache::VN_DEFAULT_MAX_SIZE;
};

// The stream that a thread has open, for its next part.
class CurrentSource
{
public:
    CurrentSource() = default;
    CurrentSource(const CurrentSource&) = delete;
    CurrentSource& operator=(const CurrentSource&) = delete;
    ~CurrentSource()
    {
        try
        {
            adapter = nullptr;
        }
        catch (...)
        {
            // A thread that ends has nobody to tell; a stream that was only read has lost nothing.
        }
    }

    vnString key;
    vnRefPointer<vnSerializeAdapter> adapter;
};

// Null on a thread that is about to end: adapters made then open their streams anew.
CurrentSource* currentOfThread()
{
    return vnThreadSlot<CurrentSource, vnSerializeAdapterCache>::get();
}

// Takes the thread's stream away while it is used, since opening or reading it may make further adapters of
// this class on this thread; it is put back by `keep`.
class SourceLoan
{
public:
    SourceLoan(const vnString& key, const vnString& url, vnUInt64 flags, const vnString& password)
    {
        if (CurrentSource* current = currentOfThread())
        {
            m_adapter = std::move(current->adapter);
            if (m_adapter && current->key == key && !m_adapter->hasError())
                return;
            m_adapter = nullptr;
        }
        m_adapter = vnOpenURL(url, {VN_SERIALIZE_INPUT, flags, password, nullptr, &m_reason}).release();
    }

    explicit operator bool() const noexcept { return m_adapter.get() != nullptr; }
    vnSerializeAdapter& get() const noexcept { return *m_adapter; }

    /// Why there is none.
    const vnString& getReason() const noexcept { return m_reason; }

    void keep(const vnString& key)
    {
        CurrentSource* current = currentOfThread();
        if (!current)
            return;
        current->key = key;
        current->adapter = std::move(m_adapter);
    }

private:
    vnRefPointer<vnSerializeAdapter> m_adapter;
    vnString m_reason;
};

// What the stream of a URL is kept under. Those that are trusted and those that are not share nothing: the
// mark stands in front of both, so that no URL has the key of another of the other kind.
vnString keyOf(const vnString& url, vnUInt64 flags)
{
    return vnString(flags & VN_ADAPTER_UNTRUSTED ? "u" : "t") + url;
}

// The length in front of a part; `length` where there is none.
unsigned int readLengthOf(vnSerializeAdapter& source, unsigned int length)
{
    unsigned char bytes[4];
    if (source.length() < sizeof bytes || vnReadFully(source, bytes, sizeof bytes) != sizeof bytes)
        return length;
    return bytes[0] | static_cast<unsigned int>(bytes[1]) << 8 | static_cast<unsigned int>(bytes[2]) << 16 |
           static_cast<unsigned int>(bytes[3]) << 24;
}
} // namespace

vnSerializeAdapterCache::vnSerializeAdapterCache(const vnString& url, unsigned int offset,
                                                 unsigned int length, unsigned char readLength,
                                                 vnUInt64 flags, const vnString& password)
    : vnSerializeAdapterMemory(nullptr, 0)
{
    const vnString key = keyOf(url, flags);
    if (shareCached(key, offset, length))
        return;
    SourceLoan source(key, url, flags, password);
    if (!source)
    {
        setError(vnString::formatString("%s%s (%s)", vnTranslated("Failed to open URL:"), url,
                                        source.getReason()));
        return;
    }
    if (!source.get().canSeek())
    {
        cacheWhole(source.get(), key, offset, length);
        return;
    }
    source.get().setSeekMode(1);
    if (vnSeekTo(source.get(), offset))
        readPart(source.get(), length, readLength);
    source.keep(key);
}

vnSerializeAdapterCache::~vnSerializeAdapterCache() noexcept(false)
{
    Cache::locked([this](Cache&) { letGo(m_block); });
}

unsigned char vnSerializeAdapterCache::supportAction(vnSerializeAction action)
{
    return action == VN_SERIALIZE_INPUT;
}

void vnSerializeAdapterCache::setMaxSizeOfCachedData(unsigned int size)
{
    Cache::locked([size](Cache& cache) { cache.setMaxSize(size); });
}

unsigned int vnSerializeAdapterCache::getMaxSizeOfStream() noexcept
{
    return s_maxSizeOfStream.load(std::memory_order_relaxed);
}

void vnSerializeAdapterCache::setMaxSizeOfStream(unsigned int size) noexcept
{
    s_maxSizeOfStream.store(size, std::memory_order_relaxed);
}

void vnSerializeAdapterCache::resetCaches()
{
    Cache::locked([](Cache& cache) { cache.clear(); });
    CurrentSource* current = currentOfThread();
    if (!current)
        return;
    const vnRefPointer<vnSerializeAdapter> open(std::move(current->adapter)); // closed last: it may come here
    current->key = vnString();
}

void vnSerializeAdapterCache::write_imp(unsigned char*, unsigned int)
{
    setError(vnTranslated("Cache Adapter can not be written"));
}

void vnSerializeAdapterCache::write_imp(unsigned char)
{
    write_imp(nullptr, 1);
}

bool vnSerializeAdapterCache::shareCached(const vnString& key, unsigned int offset, unsigned int length)
{
    Cache::locked([&](Cache& cache) { m_block = cache.find(key); });
    if (!m_block)
        return false;
    serve(offset, length);
    return true;
}

// A stream that can seek serves each part on its own. The claim of its length field is worth no more than
// what there is.
void vnSerializeAdapterCache::readPart(vnSerializeAdapter& source, unsigned int length,
                                       unsigned char readLength)
{
    if (readLength)
        length = readLengthOf(source, length);
    m_block = new vnCacheData;
    const unsigned int wanted = std::min(length, source.length());
    const vnReadResult result = wanted > vnReadLimit(source)
                                    ? vnReadResult::TooLong
                                    : vnReadClaimed(source, wanted, m_block->getData());
    setError(vnReadError(source, result));
    serve(0, length);
}

void vnSerializeAdapterCache::cacheWhole(vnSerializeAdapter& source, const vnString& key, unsigned int offset,
                                         unsigned int length)
{
    Block block(new vnCacheData);
    const unsigned int limit = vnReadLimit(source, getMaxSizeOfStream());
    setError(vnReadError(source, vnReadAll(source, block->getData(), limit)));
    if (hasError())
        return; // the next one shall try again
    Cache::locked(
        [&](Cache& cache)
        {
            m_block = cache.enter(key, block);
            letGo(block);
        });
    if (!m_block)
        m_block = std::move(block);
    serve(offset, length);
}

void vnSerializeAdapterCache::serve(unsigned int offset, unsigned int length)
{
    vnDynamicArray<unsigned char>& bytes = m_block->getData();
    if (offset < bytes.getSize())
        reset(bytes.data() + offset, std::min(length, bytes.getSize() - offset));
}
