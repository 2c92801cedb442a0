// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterCompress.h>

#include "vnAdapterError.h"
#include "vnAdapterWindow.h"
#include "vnCompressState.h"
#include "vnDelivery.h"
#include "vnQueueRoom.h"
#include "vnReadClaimed.h"

#include <vnBase/vnCompress.h>

#include <algorithm>
#include <exception>

vnType vnSerializeAdapterCompress::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterCompress");

namespace
{
// A block of the usual size comes in one piece: zlib keeps no window of what it yields in one call.
constexpr unsigned int VN_INPUT_PIECE = 65536;
constexpr unsigned int VN_OUTPUT_STEP = 65536;

// What a reader keeps for the next block. It takes more for a large one, and gives that back.
constexpr unsigned int VN_LARGEST_KEPT = 16u << 20;

// In a row, before there is a byte. A source that gives nothing else must not hold its reader for ever.
constexpr unsigned int VN_MAX_EMPTY_BLOCKS = 65536;

// The bytes that can be asked for without waiting longer than the target does for one.
unsigned int pieceOf(vnSerializeAdapter& source, unsigned int most)
{
    return std::clamp(source.length(), 1u, most);
}

// Reads one block and leaves the source behind it. Memory is taken as bytes come, whatever the block claims.
class BlockReader
{
public:
    // `raw` is working memory.
    BlockReader(vnSerializeAdapter& source, vnQueue<unsigned char>& to, vnDynamicArray<unsigned char>& raw)
        : m_source(source), m_to(to), m_raw(raw)
    {
    }

    // Answers 0 for a damaged block, and for one that holds more than `most` bytes. After an exception what
    // was taken can be given back.
    bool read(unsigned int most)
    {
        vnBlockNumber size;
        vnBlockNumber method;
        if (!readNumber(size) || !readNumber(method) || size.value > most)
            return false;
        m_size = static_cast<unsigned int>(size.value);
        if (method.value == VN_METHOD_STORED)
            return readStored();
        return method.value == VN_METHOD_ZLIB && readDeflated();
    }

    vnUInt64 getTaken() const noexcept { return vnUInt64{m_headSize} + m_storedSize + m_rawSize; }

    // Puts all that was taken back in front of the source.
    void giveBack()
    {
        vnAdapterWindow::unread(m_source, m_to.data(), m_storedSize);
        vnAdapterWindow::unread(m_source, m_raw.data(), m_rawSize);
        vnAdapterWindow::unread(m_source, m_head, m_headSize);
    }

private:
    bool readNumber(vnBlockNumber& number)
    {
        bool isWhole = false;
        while (!isWhole && !number.isTooLong() && m_source.hasData())
        {
            m_head[m_headSize] = m_source.read();
            isWhole = number.take(m_head[m_headSize++]);
        }
        return isWhole;
    }

    // The room for the next bytes: what there is, and then as much more as half of what came, so that a large
    // block is not copied for each piece of it.
    unsigned int nextRoom()
    {
        const unsigned int left = m_size - m_done;
        return std::min(left, vnQueueRoom(m_to, m_done > 0 ? 1 : std::min(left, VN_OUTPUT_STEP)));
    }

    bool readStored()
    {
        while (m_done < m_size)
        {
            if (!m_source.hasData())
                return false;
            const unsigned int room = nextRoom();
            unsigned char* place = m_to.reserve(room);
            const unsigned int got = m_source.read(place, pieceOf(m_source, room));
            commit(got);
            m_storedSize += got;
            if (got == 0)
                return false;
        }
        return true;
    }

    bool readDeflated()
    {
        vnLentState<vnInflateState> state;
        z_stream& stream = state->getStream();
        int result = state->begin();
        while (result == Z_OK && m_rawSize <= getLargestRaw())
        {
            const unsigned char* next = vnAdapterWindow::next(m_source);
            const auto open = static_cast<std::size_t>(vnAdapterWindow::end(m_source) - next);
            if (open > 0)
            {
                // What is left of it needs not be pushed back.
                const auto count = static_cast<unsigned int>(std::min<std::size_t>(open, VN_INPUT_PIECE));
                unsigned char* piece = makeRawRoom(count);
                std::memcpy(piece, next, count);
                result = inflateSome(stream, piece, count);
                const unsigned int used = count - stream.avail_in;
                vnAdapterWindow::advance(m_source, next + used);
                m_rawSize += used;
                continue;
            }
            if (!m_source.hasData())
                return false;
            // No more than the block can take, so that little is pushed back.
            const auto most =
                static_cast<unsigned int>(std::min<vnUInt64>(vnCompressBound(m_size), VN_INPUT_PIECE));
            const unsigned int step = pieceOf(m_source, most);
            unsigned char* piece = makeRawRoom(step);
            const unsigned int got = m_source.read(piece, step);
            if (got == 0)
                return false;
            m_rawSize += got;
            result = inflateSome(stream, piece, got);
            vnAdapterWindow::unread(m_source, stream.next_in, stream.avail_in);
            m_rawSize -= stream.avail_in;
        }
        if (result == Z_MEM_ERROR)
            vnThrowBadAlloc(__FILE__, __LINE__); // no damage, and the block can be read another time
        return result == Z_STREAM_END && m_done == m_size;
    }

    // A stream may go on without yielding anything; what is kept of it must not.
    vnUInt64 getLargestRaw() const { return 2 * vnCompressBound(m_size) + VN_OUTPUT_STEP; }

    unsigned char* makeRawRoom(unsigned int count)
    {
        if (!vnGrowTo(m_raw, vnCheckedSize(std::size_t{m_rawSize} + count)))
            vnThrowBadAlloc(__FILE__, __LINE__);
        return m_raw.data() + m_rawSize;
    }

    // Answers Z_OK when more input is needed.
    int inflateSome(z_stream& stream, unsigned char* input, unsigned int count)
    {
        stream.next_in = input;
        stream.avail_in = count;
        unsigned char nowhere = 0;
        int result = Z_OK;
        while (result == Z_OK && stream.avail_in > 0)
        {
            const unsigned int room = nextRoom();
            stream.next_out = room > 0 ? m_to.reserve(room) : &nowhere; // an address also for no bytes
            stream.avail_out = room;
            const bool isLast = room == m_size - m_done;
            result = inflate(&stream, isLast ? Z_FINISH : Z_NO_FLUSH);
            if (result == Z_BUF_ERROR && stream.avail_in == 0)
                result = Z_OK; // the end of the block is yet to come
            commit(room - stream.avail_out);
        }
        return result;
    }

    void commit(unsigned int count)
    {
        m_to.commit(count);
        m_done += count;
    }

    vnSerializeAdapter& m_source;
    vnQueue<unsigned char>& m_to;
    vnDynamicArray<unsigned char>& m_raw;
    unsigned int m_size = 0;
    unsigned int m_done = 0;
    // What was taken: the head, and what of a payload stands in the queue or in the working memory.
    unsigned char m_head[2 * vnBlockNumber::VN_MAX_SIZE];
    unsigned int m_headSize = 0;
    unsigned int m_storedSize = 0;
    unsigned int m_rawSize = 0;
};

struct QueueClearer
{
    ~QueueClearer() { queue.clear(); }
    vnQueue<unsigned char>& queue;
};

// Reads what the source holds now, which may be less than it claims, and does not wait for a channel, whose
// next bytes may be a good block. Answers how much came.
vnUInt64 dropAll(vnSerializeAdapter& source)
{
    unsigned char buffer[4096];
    vnUInt64 dropped = 0;
    for (unsigned int left = vnBytesAtHand(source); left > 0;)
    {
        const unsigned int step = std::min<unsigned int>(left, sizeof buffer);
        const unsigned int got = source.read(buffer, step);
        dropped += got;
        left -= got;
        if (got < step)
            break;
    }
    return dropped;
}
} // namespace

vnSerializeAdapterCompress::vnSerializeAdapterCompress(vnSerializeAdapter* target)
{
    setLengthIsEstimate();
    holdTarget(target);
}

vnSerializeAdapterCompress::~vnSerializeAdapterCompress() noexcept(false)
{
    try
    {
        vnSerializeAdapterCompress::flush();
    }
    catch (...)
    {
        if (std::uncaught_exceptions() == 0)
            throw; // the members are destroyed nevertheless
    }
}

void vnSerializeAdapterCompress::setAdapter(vnSerializeAdapter* target)
{
    settled().clear();
    m_isDirty = false;
    startAnew(target);
}

void vnSerializeAdapterCompress::flush()
{
    settled();
    vnSerializeAdapter::flush();
    if (!getAdapter())
        return;
    if (m_isDirty && !m_queue.isEmpty())
        writeBlock();
    m_isDirty = false;
    flushTarget();
}

void vnSerializeAdapterCompress::setChunkSize(unsigned int chunk)
{
    m_queue.setChunkSize(chunk);
}

void vnSerializeAdapterCompress::write_imp(unsigned char* data, unsigned int count)
{
    if (count == 0)
        return;
    vnQueue<unsigned char>& queue = settled();
    // Written and read in turn it must not creep through ever more memory.
    if (count > queue.getCapacity() - queue.getBack() && queue.getFront() > queue.getBack() / 2)
        queue.cleanUp();
    const unsigned int room = vnQueueRoom(queue, count);
    unsigned char* place = queue.reserve(room);
    std::memcpy(place, data, count);
    queue.commit(count);
    m_isDirty = true;
    setWriteWindow(place + count, place + room);
}

void vnSerializeAdapterCompress::write_imp(unsigned char byte)
{
    write_imp(&byte, 1);
}

unsigned int vnSerializeAdapterCompress::read_imp(unsigned char* data, unsigned int count)
{
    const auto pop = [&](unsigned int& done)
    {
        done = settled().pop(data, count);
        while (done < count && fill(true))
            done += settled().pop(data + done, count - done);
    };
    const unsigned int done = vnDeliver(*this, data, 0, pop);
    openForReading();
    return done;
}

unsigned char vnSerializeAdapterCompress::read_imp()
{
    fill(true);
    const unsigned char byte = settled().pop(); // throws when there is none
    openForReading();
    return byte;
}

unsigned int vnSerializeAdapterCompress::length_imp()
{
    vnSerializeAdapter* target = getAdapter();
    if (getBuffered() > 0 || !target || !target->supportAction(VN_SERIALIZE_INPUT))
        return getBuffered();
    if (target->supportAction(VN_SERIALIZE_OUTPUT))
        return target->length(); // taking a block would be wrong if this adapter is about to write
    fill(false);
    return getBuffered();
}

unsigned char vnSerializeAdapterCompress::hasData_imp()
{
    return fill(true);
}

// The queue with all that was read and written through the windows, which are closed.
vnQueue<unsigned char>& vnSerializeAdapterCompress::settled()
{
    if (const unsigned char* next = getReadNext())
        m_queue.pop(nullptr, static_cast<unsigned int>(next - m_queue.data()));
    else if (const unsigned char* place = getWriteNext())
        m_queue.commit(static_cast<unsigned int>(place - (m_queue.data() + m_queue.getCount())));
    setReadWindow(nullptr, nullptr);
    setWriteWindow(nullptr, nullptr);
    return m_queue;
}

void vnSerializeAdapterCompress::openForReading()
{
    if (!m_queue.isEmpty())
        setReadWindow(m_queue.data(), m_queue.data() + m_queue.getCount());
}

unsigned int vnSerializeAdapterCompress::getBuffered() const
{
    if (const unsigned char* next = getReadNext())
        return m_queue.getCount() - static_cast<unsigned int>(next - m_queue.data());
    if (const unsigned char* place = getWriteNext())
        return static_cast<unsigned int>(place - m_queue.data());
    return m_queue.getCount();
}

// Takes blocks until there are bytes; for those that are not there yet it waits if told so. Answers whether
// there are bytes.
bool vnSerializeAdapterCompress::fill(bool waits)
{
    vnSerializeAdapter* target = getAdapter();
    if (getBuffered() > 0)
        return true;
    if (!target || !target->supportAction(VN_SERIALIZE_INPUT))
        return false;
    for (unsigned int taken = 0; (waits || target->length() > 0) && target->hasData(); ++taken)
    {
        if (taken == VN_MAX_EMPTY_BLOCKS)
        {
            reportDamage(dropAll(*target));
            return false;
        }
        if (!takeBlock())
            return false;
        if (!m_queue.isEmpty())
            return true;
    }
    return false;
}

// Makes the queue, which is empty, the bytes of the next block. Answers 0 for a damaged one.
bool vnSerializeAdapterCompress::takeBlock()
{
    vnQueue<unsigned char>& queue = settled();
    queue.clear();
    if (queue.getCapacity() > VN_LARGEST_KEPT)
        queue = vnQueue<unsigned char>(VN_QUEUE_FIFO, queue.getChunkSize());
    m_isDirty = false; // what was written has been read back
    BlockReader reader(*getAdapter(), queue, m_raw);
    bool isWhole = false;
    try
    {
        isWhole = reader.read(m_maxBlockSize);
    }
    catch (...)
    {
        const QueueClearer clearer{queue}; // no part of a block, also when there is no memory to give it back
        reader.giveBack();
        throw;
    }
    if (m_raw.getCapacity() > VN_LARGEST_KEPT)
        m_raw.reallocate(0);
    if (isWhole)
        return true;
    queue.clear();
    reportDamage(reader.getTaken() + dropAll(*getAdapter()));
    return false;
}

void vnSerializeAdapterCompress::writeBlock()
{
    const unsigned int room = vnCheckedSize(vnCompressBound(m_queue.getCount()));
    if (m_compressed.getSize() < room)
        m_compressed.setSize(room);
    const unsigned int size = vnWriteBlock(m_queue.data(), m_queue.getCount(), m_compressed.data(), room);
    noteWritten();
    getAdapter()->write(m_compressed.data(), size);
    m_queue.clear();
}

void vnSerializeAdapterCompress::reportDamage(vnUInt64 taken)
{
    constexpr const char* text = "Failed to uncompress data in %s from %d bytes";
    const vnString url = getURL();
    setError(vnString::formatString(vnTranslated(text).getString(), url, taken));
    if (!(getAdapterFlags() & VN_ADAPTER_SILENT))
        vnMessage::message("VantorSDK", VN_MESSAGE_WARNING, text, url, taken);
}
