// SPDX-License-Identifier: MIT
#include "vnReadClaimed.h"

#include "vnAdapterError.h"
#include "vnAdapterWindow.h"

#include <vnBase/vnSerializeAdapterCache.h>
#include <vnBase/vnSerializeAdapterMux.h>
#include <vnBase/vnSerializeAdapterRandomAccess.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace
{
constexpr unsigned int VN_BELIEVED = 16u << 20; // without having seen a byte
constexpr unsigned int VN_SPARE = 1u << 20;     // what an array may keep beside its bytes

// Reserves room for exactly that many; the chunk of an array may be a claim itself.
bool reserve(vnDynamicArray<unsigned char>& bytes, unsigned int capacity)
{
    return vnTakeMemory(capacity, [&] { bytes.reallocate(capacity); });
}

// Cuts off those of the last `count` bytes that did not come.
void keep(vnDynamicArray<unsigned char>& bytes, unsigned int count, unsigned int got)
{
    bytes.setSize(bytes.getSize() - count + got);
}

bool isChannel(const vnSerializeAdapter& adapter)
{
    return dynamic_cast<const vnSerializeAdapterMux*>(&adapter) != nullptr;
}

// The adapter behind this one.
vnSerializeAdapter* behind(const vnSerializeAdapter& adapter)
{
    const auto* filter = dynamic_cast<const vnSerializeAdapterFilter*>(&adapter);
    return filter ? filter->getAdapter() : nullptr;
}

// The bytes that are held in memory as a whole; nothing where they come from the target while it is read.
std::optional<unsigned int> sizeHeldBy(const vnSerializeAdapter& adapter)
{
    if (const auto* access = dynamic_cast<const vnSerializeAdapterRandomAccess*>(&adapter))
        return access->getSize();
    if (const auto* zip = dynamic_cast<const vnSerializeAdapterZIP*>(&adapter))
        return zip->getCurrentSize();
    if (const auto* cache = dynamic_cast<const vnSerializeAdapterCache*>(&adapter))
        return cache->getSize();
    return std::nullopt;
}

// The adapter that the bytes of this one come from while it is read; null where they are held as a whole.
vnSerializeAdapter* targetOf(const vnSerializeAdapter& adapter)
{
    return sizeHeldBy(adapter) ? nullptr : behind(adapter);
}

void dropSpare(vnDynamicArray<unsigned char>& bytes)
{
    if (bytes.getCapacity() - bytes.getSize() > std::max(bytes.getSize() / 2, VN_SPARE))
        bytes.reallocate(bytes.getSize());
}
} // namespace

vnString vnReadError(vnSerializeAdapter& source, vnReadResult result)
{
    if (source.hasError())
        return source.getError();
    switch (result)
    {
    case vnReadResult::Stuck:
        return vnTranslated("Source adapter has data and gives none");
    case vnReadResult::TooLong:
        return vnTranslated("Source adapter gives too many bytes");
    case vnReadResult::NoMemory:
        return vnTranslated("No memory for all bytes of the source adapter");
    default:
        return vnString();
    }
}

vnUInt64 vnSizeInMemory(const vnSerializeAdapter& source)
{
    vnUInt64 size = 0;
    for (const vnSerializeAdapter* next = &source; next; next = behind(*next))
        size += sizeHeldBy(*next).value_or(0);
    return size;
}

unsigned int vnReadLimit(const vnSerializeAdapter& source, unsigned int limit)
{
    if (!(source.getAdapterFlags() & VN_ADAPTER_UNTRUSTED))
        return limit;
    const vnUInt64 held = vnSizeInMemory(source); // or each of many adapters would hold that much
    const unsigned int most = vnSerializeAdapter::getMaxUntrustedSize();
    return std::min(limit, held < most ? most - static_cast<unsigned int>(held) : 0);
}

bool vnTellsLength(const vnSerializeAdapter& source)
{
    for (const vnSerializeAdapter* next = &source; next; next = targetOf(*next))
        if (vnAdapterWindow::estimates(*next) || isChannel(*next))
            return false;
    return true;
}

unsigned int vnBytesAtHand(vnSerializeAdapter& source)
{
    if (auto* channel = dynamic_cast<vnSerializeAdapterMux*>(&source))
        return vnAdapterWindow::held(source) + channel->getQueued();
    for (const vnSerializeAdapter* next = targetOf(source); next; next = targetOf(*next))
        if (isChannel(*next))
            return vnAdapterWindow::held(source); // what it makes of those behind it is not known
    return source.length();
}

unsigned int vnReadSome(vnSerializeAdapter& source, unsigned char* data, unsigned int known)
{
    // A block also for one byte: what a channel gives as a single byte at its end is none.
    const unsigned int wanted = std::max(known, 1u);
    const unsigned int got = std::min(wanted, source.read(data, wanted));
    return known == 0 && source.hasError() ? 0 : got;
}

unsigned int vnReadFully(vnSerializeAdapter& source, unsigned char* data, unsigned int count)
{
    unsigned int done = 0;
    while (done < count)
    {
        const unsigned int got = std::min(count - done, source.read(data + done, count - done));
        done += got;
        if (got == 0 || (done < count && (source.hasError() || !source.hasData())))
            break;
    }
    return done;
}

vnReadResult vnReadClaimed(vnSerializeAdapter& source, unsigned int claimed,
                           vnDynamicArray<unsigned char>& bytes)
{
    bytes.setSize(0);
    vnReadResult result = vnReadResult::Whole;
    while (bytes.getSize() < claimed)
    {
        const unsigned int done = bytes.getSize();
        const unsigned int step = std::min(claimed - done, std::max(done, VN_BELIEVED));
        if (bytes.getCapacity() < done + step && !reserve(bytes, done + step))
            return vnReadResult::NoMemory;
        bytes.setSize(done + step);
        const unsigned int got = vnReadFully(source, bytes.data() + done, step);
        keep(bytes, step, got);
        if (got == step)
            continue;
        if (!source.hasError() && source.hasData())
            result = vnReadResult::Stuck;
        break;
    }
    dropSpare(bytes);
    return result;
}

vnReadResult vnReadAll(vnSerializeAdapter& source, vnDynamicArray<unsigned char>& bytes, unsigned int limit)
{
    while (!source.hasError() && source.hasData())
    {
        const unsigned int done = bytes.getSize();
        if (done >= limit)
            return vnReadResult::TooLong;
        const unsigned int known = std::min(source.length(), limit - done);
        const unsigned int step = std::clamp(known, 1u, std::max(done, VN_BELIEVED));
        if (!vnGrowTo(bytes, done + step))
            return vnReadResult::NoMemory;
        const unsigned int got = vnReadSome(source, bytes.data() + done, std::min(known, step));
        keep(bytes, step, got);
        if (got == 0 && !source.hasError() && source.hasData())
            return vnReadResult::Stuck; // it did not come to its end meanwhile
    }
    dropSpare(bytes);
    return vnReadResult::Whole;
}

bool vnGrowTo(vnDynamicArray<unsigned char>& bytes, unsigned int size)
{
    const unsigned int capacity = bytes.getCapacity();
    if (size > capacity)
    {
        const vnUInt64 step = std::max(bytes.getChunkSize(), capacity / 2);
        const vnUInt64 larger = std::min<vnUInt64>(capacity + step, std::numeric_limits<unsigned int>::max());
        if (!reserve(bytes, std::max(size, static_cast<unsigned int>(larger))))
            return false;
    }
    bytes.setSize(size);
    return true;
}

bool vnSeekTo(vnSerializeAdapter& adapter, unsigned int offset)
{
    constexpr unsigned int farthest = std::numeric_limits<int>::max();
    unsigned int wanted = std::min(offset, farthest);
    unsigned int position = adapter.seek(static_cast<int>(wanted), VN_ORIGIN_SET);
    while (position == wanted && position < offset)
    {
        wanted = position + std::min(offset - position, farthest);
        position = adapter.seek(static_cast<int>(wanted - position), VN_ORIGIN_CURRENT);
    }
    return position == offset;
}
