// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterCompress.h>

#include "vnAdapterError.h"
#include "vnAdapterWindow.h"
#include "vnCompressState.h"

#include <vnBase/vnCompress.h>

#include <algorithm>
#include <exception>
#include <limits>

vnType vnSerializeAdapterCompress::s_type(vnSerializeAdapterFilter::getClassType(),
                                          "vnSerializeAdapterCompress");

namespace
{
constexpr unsigned int VN_INPUT_PIECE = 16384;
constexpr unsigned int VN_OUTPUT_STEP = 65536;
constexpr unsigned int VN_MAX_SIZE = std::numeric_limits<unsigned int>::max();

// The bytes that can be asked for without waiting longer than the target does for one.
unsigned int pieceOf(vnSerializeAdapter& source, unsigned int most)
{
    return std::clamp(source.length(), 1u, most);
}

// Reads one block and leaves the source behind it. Memory is taken as bytes come, whatever the block claims.
class BlockReader
{
public:
    BlockReader(vnSerializeAdapter& source, vnQueue<unsigned char>& to) : m_source(source), m_to(to) {}

    // Answers 0 for a damaged block.
    bool read()
    {
        vnUInt64 size = 0;
        vnUInt64 method = 0;
        if (!readNumber(size) || !readNumber(method) || size > VN_MAX_SIZE)
            return false;
        m_size = static_cast<unsigned int>(size);
        if (method == VN_METHOD_STORED)
            return readStored();
        return method == VN_METHOD_ZLIB && readDeflated();
    }

    vnUInt64 getTaken() const noexcept { return m_taken; }

private:
    bool readNumber(vnUInt64& value)
    {
        value = 0;
        unsigned char byte = 0x80;
        for (unsigned int shift = 0; byte & 0x80; shift += 7)
        {
            if (!m_source.hasData())
                return false;
            byte = m_source.read();
            ++m_taken;
            if (shift < 64)
                value |= vnUInt64{byte & 0x7Fu} << shift;
            else
                shift = 64; // what is there adds nothing, and the count must not wrap
        }
        return true;
    }

    // The room for the next bytes, in steps that grow with what came.
    unsigned int nextStep() const { return std::min(m_size - m_done, std::max(m_done, VN_OUTPUT_STEP)); }

    bool readStored()
    {
        while (m_done < m_size)
        {
            if (!m_source.hasData())
                return false;
            const unsigned int step = pieceOf(m_source, nextStep());
            const unsigned int got = m_source.read(m_to.reserve(step), step);
            commit(got);
            m_taken += got;
            if (got == 0)
                return false;
        }
        return true;
    }

    bool readDeflated()
    {
        vnLentState<vnInflateState> state;
        z_stream* stream = state->begin();
        if (!stream)
            return false;
        int result = Z_OK;
        while (result == Z_OK)
        {
            const unsigned char* next = vnAdapterWindow::next(m_source);
            const std::size_t open = static_cast<std::size_t>(vnAdapterWindow::end(m_source) - next);
            if (open > 0)
            {
                // What lies open is not copied, and what is left of it is not pushed back.
                result = inflateSome(*stream, next,
                                     static_cast<unsigned int>(std::min<std::size_t>(open, VN_MAX_SIZE)));
                vnAdapterWindow::advance(m_source, stream->next_in);
                continue;
            }
            if (!m_source.hasData())
                return false;
            // No more than the block can take, so that little is pushed back.
            const auto most =
                static_cast<unsigned int>(std::min<vnUInt64>(vnCompressBound(m_size), VN_INPUT_PIECE));
            const unsigned int got = m_source.read(m_input, pieceOf(m_source, most));
            if (got == 0)
                return false;
            result = inflateSome(*stream, m_input, got);
            vnAdapterWindow::unread(m_source, stream->next_in, stream->avail_in);
        }
        return result == Z_STREAM_END && m_done == m_size;
    }

    // Answers Z_OK when more input is needed.
    int inflateSome(z_stream& stream, const unsigned char* input, unsigned int count)
    {
        stream.next_in = const_cast<Bytef*>(input); // zlib reads only
        stream.avail_in = count;
        int result = Z_OK;
        while (result == Z_OK && stream.avail_in > 0)
        {
            const unsigned int room = nextStep();
            stream.next_out = room > 0 ? m_to.reserve(room) : m_input; // an address also for no bytes
            stream.avail_out = room;
            result = inflate(&stream, Z_NO_FLUSH);
            commit(room - stream.avail_out);
        }
        if (result == Z_MEM_ERROR)
            vnThrowBadAlloc(__FILE__, __LINE__);
        m_taken += count - stream.avail_in;
        return result;
    }

    void commit(unsigned int count)
    {
        m_to.commit(count);
        m_done += count;
    }

    vnSerializeAdapter& m_source;
    vnQueue<unsigned char>& m_to;
    unsigned int m_size = 0;
    unsigned int m_done = 0;
    vnUInt64 m_taken = 0;
    unsigned char m_input[VN_INPUT_PIECE];
};

// Reads what the source holds now, which may be less than it claims. Answers how much came.
vnUInt64 dropAll(vnSerializeAdapter& source)
{
    unsigned char buffer[4096];
    vnUInt64 dropped = 0;
    for (unsigned int left = source.length(); left > 0;)
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
    m_isDirty = m_isTargetDirty = false;
    vnSerializeAdapter::flush();
    vnSerializeAdapter::setError(vnString());
    holdTarget(target);
}

void vnSerializeAdapterCompress::flush()
{
    settled();
    vnSerializeAdapter::flush();
    vnSerializeAdapter* target = getAdapter();
    if (!target)
        return;
    if (m_isDirty && !m_queue.isEmpty())
        writeBlock();
    m_isDirty = false;
    if (!m_isTargetDirty)
        return;
    target->flush();
    m_isTargetDirty = target->hasError(); // so that another try reaches it
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
    if (queue.isEmpty())
        queue.clear();
    const unsigned int back = queue.getBack();
    unsigned int room = queue.getCapacity() - back;
    if (count > room)
    {
        // Half of what is there comes on top, so that a large block is not copied at every chunk.
        const bool fits = back + vnUInt64{back / 2} < vnUInt64{VN_MAX_SIZE} - queue.getChunkSize();
        room = fits ? std::max(count, back / 2) : count;
    }
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
    unsigned int done = settled().pop(data, count);
    while (done < count && fill(true))
        done += settled().pop(data + done, count - done);
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
    while (getBuffered() == 0 && (target->length() > 0 || (waits && target->hasData())))
        if (!takeBlock())
            return false;
    return getBuffered() > 0;
}

// Makes the queue, which is empty, the bytes of the next block. Answers 0 for a damaged one.
bool vnSerializeAdapterCompress::takeBlock()
{
    vnQueue<unsigned char>& queue = settled();
    queue.clear();
    m_isDirty = false; // what was written has been read back
    BlockReader reader(*getAdapter(), queue);
    try
    {
        if (reader.read())
            return true;
    }
    catch (...)
    {
        queue.clear(); // no part of a block
        throw;
    }
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
    m_isTargetDirty = true;
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
