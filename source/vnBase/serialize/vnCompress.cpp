// SPDX-License-Identifier: MIT
#include <vnBase/vnCompress.h>

#include "vnCompressState.h"

#include <vnBase/vnVarUInt64.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace
{
// A bit pair for a repeat of 258 bytes is the best that deflate can do.
constexpr vnUInt64 VN_LARGEST_RATIO = 1032;

// What a block that claims much is given at once.
constexpr unsigned int VN_FIRST_STEP = 1048576;

// zlib is C: no exception may pass through it.
void* allocate(void*, unsigned int items, unsigned int size) noexcept
{
    const vnUInt64 bytes = vnUInt64{items} * size;
    if (bytes > std::numeric_limits<unsigned int>::max())
        return nullptr;
    try
    {
        return vn_malloc(static_cast<unsigned int>(bytes));
    }
    catch (...)
    {
        return nullptr;
    }
}

void release(void*, void* block) noexcept
{
    try
    {
        vn_free(block);
    }
    catch (...)
    {
    }
}

Bytef* inputOf(const unsigned char* bytes)
{
    return const_cast<Bytef*>(bytes); // zlib reads only
}

// The payload in the given room; 0 when zlib fails or the room is too small.
unsigned int deflateInto(const unsigned char* from, unsigned int count, unsigned char* to, unsigned int room)
{
    vnLentState<vnDeflateState> state;
    if (state->begin() != Z_OK)
        return 0;
    z_stream& stream = state->getStream();
    stream.next_in = inputOf(from);
    stream.avail_in = count;
    stream.next_out = to;
    stream.avail_out = room;
    return deflate(&stream, Z_FINISH) == Z_STREAM_END ? room - stream.avail_out : 0;
}

struct BlockView
{
    vnUInt64 size = 0;
    vnUInt64 method = 0;
    const unsigned char* payload = nullptr;
    unsigned int count = 0;
};

// Answers whether there is a whole number.
bool readNumber(const unsigned char*& from, const unsigned char* end, vnUInt64& to)
{
    vnBlockNumber number;
    bool isWhole = false;
    while (!isWhole && from != end && !number.isTooLong())
        isWhole = number.take(*from++);
    to = number.value;
    return isWhole;
}

// Answers whether the block may hold as much as it says, and that is no more than `most`.
bool parse(const unsigned char* from, unsigned int count, unsigned int most, BlockView& block)
{
    const unsigned char* end = from + count;
    if (!readNumber(from, end, block.size) || !readNumber(from, end, block.method))
        return false;
    block.payload = from;
    block.count = static_cast<unsigned int>(end - from);
    if (block.size > most)
        return false;
    if (block.method == VN_METHOD_STORED)
        return block.size <= block.count;
    return block.method == VN_METHOD_ZLIB && block.size <= block.count * VN_LARGEST_RATIO;
}

// Memory as inflate fills it: `grow` makes room for that many bytes in all and answers where they stand.
template <class Grow>
bool inflateBlock(const BlockView& block, unsigned int firstStep, Grow grow)
{
    vnLentState<vnInflateState> state;
    if (state->begin() != Z_OK)
        return false;
    z_stream& stream = state->getStream();
    stream.next_in = inputOf(block.payload);
    stream.avail_in = block.count;
    const auto size = static_cast<unsigned int>(block.size);
    unsigned char nowhere = 0;
    unsigned int done = 0;
    for (unsigned int room = std::min(size, firstStep);; room += std::min(size - room, room))
    {
        unsigned char* place = grow(room);
        stream.next_out = room > done ? place + done : &nowhere; // zlib wants an address also for no bytes
        stream.avail_out = room - done;
        const int result = inflate(&stream, room == size ? Z_FINISH : Z_NO_FLUSH);
        done = room - stream.avail_out;
        if (result == Z_STREAM_END)
            return done == size;
        if (result != Z_OK || done < room || room == size)
            return false;
    }
}

template <class Array>
unsigned char* bytesOf(Array& array)
{
    static_assert(sizeof(*array.data()) == 1, "the bytes stand in a row");
    return reinterpret_cast<unsigned char*>(array.data());
}

template <class Array>
const unsigned char* bytesOf(const Array& array)
{
    return reinterpret_cast<const unsigned char*>(array.data());
}

template <class Array>
unsigned char compressArray(const Array& source, Array& destination, Array& scratch)
{
    const unsigned int room = vnCheckedSize(vnCompressBound(source.getSize()));
    if (scratch.getSize() < room)
        scratch.setSize(room);
    const unsigned int size = vnWriteBlock(bytesOf(source), source.getSize(), bytesOf(scratch), room);
    destination.setSize(size);
    std::memcpy(bytesOf(destination), bytesOf(scratch), size);
    return 1;
}

template <class Array>
bool fillFromBlock(const Array& source, unsigned int most, Array& destination)
{
    BlockView block;
    if (!parse(bytesOf(source), source.getSize(), most, block))
        return false;
    const auto grow = [&destination](unsigned int size)
    {
        destination.setSize(size);
        return bytesOf(destination);
    };
    if (block.method == VN_METHOD_ZLIB)
        return inflateBlock(block, std::max(VN_FIRST_STEP, block.count), grow);
    if (unsigned char* to = grow(static_cast<unsigned int>(block.size)))
        std::memcpy(to, block.payload, block.size);
    return true;
}

template <class Array>
unsigned char uncompressArray(const Array& source, Array& destination, unsigned int most)
{
    Array own;
    const bool isSame = &source == &destination;
    if (isSame)
        own.swap(destination);
    try
    {
        if (fillFromBlock(isSame ? own : source, most, destination))
            return 1;
    }
    catch (...)
    {
        destination.setSize(0);
        if (isSame)
            own.swap(destination); // the source is not lost
        throw;
    }
    destination.setSize(0);
    return 0;
}
} // namespace

vnCompressState::vnCompressState() noexcept
{
    m_stream.zalloc = allocate;
    m_stream.zfree = release;
}

vnDeflateState::~vnDeflateState()
{
    if (m_isReady)
        deflateEnd(&m_stream);
}

int vnDeflateState::begin()
{
    // A state that was used gives the same bytes as a new one, and costs less.
    const int result = m_isReady ? deflateReset(&m_stream) : deflateInit(&m_stream, Z_DEFAULT_COMPRESSION);
    m_isReady |= result == Z_OK;
    return result;
}

vnInflateState::~vnInflateState()
{
    if (m_isReady)
        inflateEnd(&m_stream);
}

int vnInflateState::begin()
{
    const int result = m_isReady ? inflateReset(&m_stream) : inflateInit(&m_stream);
    m_isReady |= result == Z_OK;
    return result;
}

unsigned int vnWriteBlock(const unsigned char* from, unsigned int count, unsigned char* to, unsigned int room)
{
    unsigned char head[vnVarUInt64::VN_MAX_SIZE + 1];
    const unsigned int headSize = vnVarUInt64::encode(count, head) + 1;
    if (room < headSize)
        return 0;
    unsigned int size = deflateInto(from, count, to + headSize, room - headSize);
    unsigned int method = VN_METHOD_ZLIB;
    if (size == 0)
    {
        if (room - headSize < count)
            return 0;
        if (count > 0)
            std::memcpy(to + headSize, from, count);
        size = count;
        method = VN_METHOD_STORED;
    }
    head[headSize - 1] = static_cast<unsigned char>(method);
    std::memcpy(to, head, headSize);
    return headSize + size;
}

unsigned char vnCompress(const vnArray<unsigned char>& source, vnArray<unsigned char>& destination,
                         vnArray<unsigned char>& scratch)
{
    return compressArray(source, destination, scratch);
}

unsigned char vnCompress(const vnDynamicArray<unsigned char>& source,
                         vnDynamicArray<unsigned char>& destination, vnDynamicArray<unsigned char>& scratch)
{
    return compressArray(source, destination, scratch);
}

unsigned char vnCompress(const vnArray<vnQuadWordAligned<unsigned char>>& source,
                         vnArray<vnQuadWordAligned<unsigned char>>& destination,
                         vnArray<vnQuadWordAligned<unsigned char>>& scratch)
{
    return compressArray(source, destination, scratch);
}

unsigned char vnCompress(const vnDynamicArray<vnQuadWordAligned<unsigned char>>& source,
                         vnDynamicArray<vnQuadWordAligned<unsigned char>>& destination,
                         vnDynamicArray<vnQuadWordAligned<unsigned char>>& scratch)
{
    return compressArray(source, destination, scratch);
}

unsigned char vnCompress(const unsigned char* source, unsigned int count, unsigned char* destination,
                         unsigned int& size)
{
    size = vnWriteBlock(source, count, destination, size);
    return size > 0;
}

vnUInt64 vnCompressBound(unsigned int count)
{
    return vnVarUInt64::sizeOf(count) + 1 + vnUInt64{compressBound(count)};
}

unsigned char vnUnCompress(const vnArray<unsigned char>& source, vnArray<unsigned char>& destination,
                           unsigned int most)
{
    return uncompressArray(source, destination, most);
}

unsigned char vnUnCompress(const vnDynamicArray<unsigned char>& source,
                           vnDynamicArray<unsigned char>& destination, unsigned int most)
{
    return uncompressArray(source, destination, most);
}

unsigned char vnUnCompress(const vnArray<vnQuadWordAligned<unsigned char>>& source,
                           vnArray<vnQuadWordAligned<unsigned char>>& destination, unsigned int most)
{
    return uncompressArray(source, destination, most);
}

unsigned char vnUnCompress(const vnDynamicArray<vnQuadWordAligned<unsigned char>>& source,
                           vnDynamicArray<vnQuadWordAligned<unsigned char>>& destination, unsigned int most)
{
    return uncompressArray(source, destination, most);
}

unsigned char vnUnCompress(const unsigned char* source, unsigned int count, unsigned char* destination,
                           unsigned int& size)
{
    const unsigned int room = size;
    size = 0;
    BlockView block;
    if (!parse(source, count, room, block))
        return 0;
    if (block.method == VN_METHOD_STORED && block.size > 0)
        std::memcpy(destination, block.payload, block.size);
    else if (block.method == VN_METHOD_ZLIB &&
             !inflateBlock(block, room, [destination](unsigned int) { return destination; }))
        return 0;
    size = static_cast<unsigned int>(block.size);
    return 1;
}
