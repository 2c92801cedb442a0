// SPDX-License-Identifier: MIT
#include "vnReadClaimed.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr unsigned int VN_BELIEVED = 16u << 20; // without having seen a byte
constexpr unsigned int VN_SPARE = 1u << 20;     // what an array may keep beside its bytes

// Exactly the room that is asked for: the chunk of an array may be a claim itself.
void setExactSize(vnDynamicArray<unsigned char>& bytes, unsigned int size)
{
    if (bytes.getCapacity() < size)
        bytes.reallocate(size);
    bytes.setSize(size);
}

unsigned int sizeWith(const vnDynamicArray<unsigned char>& bytes, unsigned int more)
{
    return vnCheckedSize(static_cast<std::size_t>(bytes.getSize()) + more);
}

// Cuts off those of the last `count` bytes that did not come.
void keep(vnDynamicArray<unsigned char>& bytes, unsigned int count, unsigned int got)
{
    bytes.setSize(bytes.getSize() - count + got);
}

void dropSpare(vnDynamicArray<unsigned char>& bytes)
{
    if (bytes.getCapacity() - bytes.getSize() > std::max(bytes.getSize() / 2, VN_SPARE))
        bytes.reallocate(bytes.getSize());
}
} // namespace

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

void vnReadClaimed(vnSerializeAdapter& source, unsigned int claimed, vnDynamicArray<unsigned char>& bytes)
{
    bytes.setSize(0);
    while (bytes.getSize() < claimed)
    {
        const unsigned int done = bytes.getSize();
        const unsigned int step = std::min(claimed - done, std::max(done, VN_BELIEVED));
        setExactSize(bytes, sizeWith(bytes, step));
        const unsigned int got = vnReadFully(source, bytes.data() + done, step);
        keep(bytes, step, got);
        if (got < step)
            break;
    }
    dropSpare(bytes);
}

bool vnReadAll(vnSerializeAdapter& source, vnDynamicArray<unsigned char>& bytes)
{
    while (!source.hasError() && source.hasData())
    {
        const unsigned int known = source.length();
        if (known == 0)
        {
            // It has data and does not know how many: a block would wait until it is full.
            const unsigned char byte = source.read();
            if (source.hasError())
                break;
            vnGrowTo(bytes, sizeWith(bytes, 1));
            bytes.data()[bytes.getSize() - 1] = byte;
            continue;
        }
        const unsigned int step = std::min(known, std::max(bytes.getSize(), VN_BELIEVED));
        vnGrowTo(bytes, sizeWith(bytes, step));
        const unsigned int got = std::min(step, source.read(bytes.data() + bytes.getSize() - step, step));
        keep(bytes, step, got);
        if (got == 0 && source.hasData())
            return false; // it did not come to its end meanwhile
    }
    dropSpare(bytes);
    return true;
}

void vnGrowTo(vnDynamicArray<unsigned char>& bytes, unsigned int size)
{
    const unsigned int capacity = bytes.getCapacity();
    if (size > capacity)
    {
        const vnUInt64 step = std::max(bytes.getChunkSize(), capacity / 2);
        const vnUInt64 larger = std::min<vnUInt64>(capacity + step, std::numeric_limits<unsigned int>::max());
        bytes.reallocate(std::max(size, static_cast<unsigned int>(larger)));
    }
    bytes.setSize(size);
}
