// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterFile.h>

#include "vnAdapterError.h"
#include "vnFilePlatform.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDirectory.h>
#include <vnBase/vnSystem.h>

#include <algorithm>
#include <exception>
#include <new>

vnType vnSerializeAdapterFile::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterFile");

namespace
{
constexpr unsigned int VN_BLOCK = 1000000;
constexpr unsigned int VN_CHUNK = 100000;

// Blocks from here on that find the buffer empty are read without it, although they would fit: the copy costs
// more than the request that the buffer saves, and nothing but the number of requests can be told apart.
constexpr unsigned int VN_DIRECT = 65536;
constexpr unsigned int VN_OPEN_ENDED_BLOCK = 65536; // what a pipe holds
constexpr unsigned int VN_MAX_SIZE = 0xFFFFFFFFu;

// The texts name the action that the file was opened for as the one that can be used: callers know them so.
constexpr char VN_WRITE_ON_INPUT[] = "Can use VN_SERIALIZE_INPUT on a file opened for writing !\n";
constexpr char VN_READ_ON_OUTPUT[] = "Can use VN_SERIALIZE_OUTPUT on a file opened for reading !\n";

void warnOfMisuse(const char* text)
{
    vnWarningError warning(vnMessage::translate("Exception", text), 0, VN_MESSAGE_UNTRANSLATED);
    warning.reportError();
}

unsigned int saturatedSum(unsigned int left, unsigned int right)
{
    return right > VN_MAX_SIZE - left ? VN_MAX_SIZE : left + right;
}
} // namespace

void vnSerializeAdapterFile::vnFileQueue::onInitItem(vnQueue<unsigned char>& queue) const
{
    queue.setChunkSize(VN_CHUNK);
    queue.setMode(VN_QUEUE_FIFO);
    queue.clear();
}

vnSerializeAdapterFile::vnSerializeAdapterFile(const vnString& name, vnSerializeAction action,
                                               unsigned char append, vnUInt64 flags)
    : m_fileName(name), m_action(action)
{
    setAdapterFlags(flags);
    if (action == VN_SERIALIZE_APPEND)
    {
        m_action = VN_SERIALIZE_OUTPUT;
        append = 1;
    }
    if (isInput() && !(flags & VN_ADAPTER_NO_EXPANSION))
        m_fileName = vnDirectory::getExtendedFileName(name);
    setName(m_fileName); // the expanded one, so that a relative URL is resolved from where the file was found
    m_append = append;
    if (m_fileName.isEmpty())
        return;
    if (isInput())
        openForInput();
    else if (m_action == VN_SERIALIZE_OUTPUT)
        openForOutput();
    else
        setError(textOf("Could not open '", "' for an unknown action")); // nothing is cut for it
}

vnSerializeAdapterFile::~vnSerializeAdapterFile() noexcept(false)
{
    try
    {
        flush();
        finish();
    }
    catch (const std::bad_alloc&)
    {
        // There is no memory for the text of an error. The members still close the file.
    }
    catch (...)
    {
        if (std::uncaught_exceptions() == 0)
            throw;
    }
}

unsigned char vnSerializeAdapterFile::canSeek()
{
    if (!isInput())
        return m_append;
    return !m_file || vnFileCanSeek(m_file.get());
}

void vnSerializeAdapterFile::setSeekMode(unsigned char mode)
{
    m_largeChunks = !mode;
}

unsigned int vnSerializeAdapterFile::seek(int offset, vnOriginPos origin)
{
    flush();
    if (!m_file)
        return 0;
    vnInt64 target = offset;
    if (origin == VN_ORIGIN_CURRENT)
        target += vnInt64{vnFileTell(m_file.get())} - getBuffered();
    else if (origin == VN_ORIGIN_END)
        target += vnFileSize(m_file.get());
    if (target < 0 || target > VN_MAX_SIZE)
        return 0;
    const auto position = static_cast<unsigned int>(target);
    return reset(position) ? position : 0;
}

unsigned char vnSerializeAdapterFile::supportAction(vnSerializeAction action)
{
    return action == m_action;
}

void vnSerializeAdapterFile::flush()
{
    if (isInput())
        return;
    if (!m_file)
    {
        setError(textOf("Could not flush to file '", "'"));
        return;
    }
    vnQueue<unsigned char>& queue = settled();
    const unsigned int count = queue.getCount();
    const bool isTooLarge = count > VN_MAX_SIZE - m_size && vnFileCanSeek(m_file.get());
    const unsigned int written = isTooLarge ? 0 : vnFileWrite(m_file.get(), queue.data(), count);
    const int error = vnGetSysError(); // before anything else changes it
    m_writeFailed = written < count;
    // Before the text of an error, for which there may be no memory: what is out must not go out again.
    m_size = saturatedSum(m_size, written);
    queue.pop(nullptr, written);
    queue.cleanUp();
    openWindow();
    if (m_writeFailed)
    {
        const vnString reason = isTooLarge ? vnFileTooLargeDescription() : vnGetSysErrorDescription(error);
        setError(vnWithReason(textOf("Could not flush to file '", "'"), reason));
        return;
    }
    vnFileFlush(m_file.get());
    vnFileSeek(m_file.get(), 0, VN_ORIGIN_END);
}

unsigned char vnSerializeAdapterFile::reset(unsigned int position)
{
    flush();
    if (!m_file)
        return 0;
    // What could not be written would be lost with the buffer.
    if (!isInput() && getBuffered() > 0)
        return 0;
    if (!isInput() && !m_append && position > vnFileSize(m_file.get()))
        return 0;
    if (!vnFileReset(m_file.get(), static_cast<int>(position)))
        return 0;
    settled().clear();
    m_hasEnded = false;
    if (!isInput())
    {
        m_size = position;
        return 1;
    }
    const unsigned int size = m_isOpenEnded ? 0 : vnFileSize(m_file.get());
    m_size = size > position ? size - position : 0;
    return 1;
}

void vnSerializeAdapterFile::cleanUpLargeFiles()
{
    vnFileQueue::emptyPool();
}

void vnSerializeAdapterFile::write_imp(unsigned char* data, unsigned int count)
{
    if (isInput())
        warnOfMisuse(VN_WRITE_ON_INPUT);
    else if (!makeRoom(count))
        return;
    vnQueue<unsigned char>& queue = settled(); // also for no bytes: a window that is not settled starts anew
    if (count > 0)
        queue.push(data, count);
    openWindow();
}

void vnSerializeAdapterFile::write_imp(unsigned char byte)
{
    write_imp(&byte, 1);
}

unsigned int vnSerializeAdapterFile::read_imp(unsigned char* data, unsigned int count)
{
    if (!isInput())
        return 0;
    vnQueue<unsigned char>& queue = settled();
    if (m_isOpenEnded)
        return readOpenEnded(data, count);
    const unsigned int held = queue.getCount();
    if (held < count && m_size > 0)
    {
        const bool isDirect = held == 0 && count >= VN_DIRECT;
        const bool fillsBlock = m_largeChunks && count <= VN_BLOCK && !isDirect;
        const unsigned int wanted = std::min((fillsBlock ? VN_BLOCK : count) - held, m_size);
        if (held == 0 && wanted == count)
            return readDirectly(data, count);
        fetch(wanted);
    }
    const unsigned int got = queue.pop(data, count);
    openWindow();
    return got;
}

unsigned char vnSerializeAdapterFile::read_imp()
{
    if (!isInput())
        return readOnOutput();
    vnQueue<unsigned char>& queue = settled();
    if (queue.isEmpty() && hasMore())
    {
        const unsigned int block = m_isOpenEnded ? VN_OPEN_ENDED_BLOCK : VN_BLOCK;
        const unsigned int most = m_isOpenEnded ? block : std::min(block, m_size);
        if (!fetch(m_largeChunks ? most : 1))
            return 0;
    }
    const unsigned char byte = queue.pop();
    openWindow();
    return byte;
}

unsigned int vnSerializeAdapterFile::length_imp()
{
    if (m_isOpenEnded && !m_hasEnded && getBuffered() == 0)
        gatherWithoutWaiting();
    return saturatedSum(getBuffered(), m_size);
}

unsigned char vnSerializeAdapterFile::hasData_imp()
{
    if (length_imp() > 0)
        return 1;
    if (!m_isOpenEnded || m_hasEnded)
        return 0;
    fetch(VN_OPEN_ENDED_BLOCK);
    openWindow();
    return getBuffered() > 0;
}

void vnSerializeAdapterFile::openForInput()
{
    const bool isTrusted = !(getAdapterFlags() & VN_ADAPTER_UNTRUSTED);
    m_file.reset((isTrusted ? vnFileOpenRead : vnFileOpenRegular)(m_fileName, &m_size));
    // The system's own files, its view of the memory among them, look regular and tell no size.
    if (m_file)
        m_isOpenEnded = isTrusted && !vnFileHasSize(m_file.get());
    else
        setOpenError("' for reading");
}

void vnSerializeAdapterFile::openForOutput()
{
    m_file.reset(vnFileOpenWrite(m_fileName, m_append));
    if (m_file)
        m_size = vnFileSize(m_file.get());
    else
        setOpenError("' for writing");
}

void vnSerializeAdapterFile::setOpenError(const char* purpose)
{
    const vnString reason = vnGetSysErrorDescription(); // before anything else changes it
    setError(vnWithReason(textOf("Could not open '", purpose), reason));
}

// The name between two texts, which are translated.
vnString vnSerializeAdapterFile::textOf(const char* before, const char* behind) const
{
    return vnString::formatString("%s%s%s", vnTranslated(before), m_fileName, vnTranslated(behind));
}

// The last words of an output file: nobody asks this adapter for its error any more.
void vnSerializeAdapterFile::finish()
{
    if (!m_file)
        return;
    const unsigned int lost = isInput() ? 0 : getBuffered();
    if (!vnFileClose(m_file.release()) && lost == 0 && !isInput())
    {
        const vnString reason = vnGetSysErrorDescription();
        setError(vnWithReason(textOf("Could not flush to file '", "'"), reason));
    }
    else if (lost == 0)
    {
        return;
    }
    if (!(getAdapterFlags() & VN_ADAPTER_SILENT))
        vnMessage::message(VN_MESSAGE_WARNING, "%s", getError());
}

// The buffer with all that was read and written through the windows, which are closed.
vnQueue<unsigned char>& vnSerializeAdapterFile::settled()
{
    vnQueue<unsigned char>& queue = m_buffer.getData();
    if (const unsigned char* next = getReadNext())
        queue.pop(nullptr, static_cast<unsigned int>(next - queue.data()));
    else if (const unsigned char* place = getWriteNext())
        queue.commit(static_cast<unsigned int>(place - (queue.data() + queue.getCount())));
    setReadWindow(nullptr, nullptr);
    setWriteWindow(nullptr, nullptr);
    return queue;
}

// An input file lays open what it has read ahead, an output file the rest of its buffer.
void vnSerializeAdapterFile::openWindow()
{
    vnQueue<unsigned char>& queue = m_buffer.getData();
    const unsigned int count = queue.getCount();
    if (isInput())
    {
        if (count > 0)
            setReadWindow(queue.data(), queue.data() + count);
        return;
    }
    const unsigned int spare = queue.getCapacity() - queue.getBack();
    const unsigned int room = std::min(spare, VN_BLOCK - std::min(count, VN_BLOCK));
    if (room == 0)
        return;
    unsigned char* place = queue.reserve(room);
    setWriteWindow(place, place + room);
}

unsigned int vnSerializeAdapterFile::getBuffered() const
{
    const vnQueue<unsigned char>& queue = m_buffer.getData();
    unsigned int count = queue.getCount();
    if (const unsigned char* next = getReadNext())
        count -= static_cast<unsigned int>(next - queue.data());
    else if (const unsigned char* place = getWriteNext())
        count = static_cast<unsigned int>(place - queue.data());
    return count;
}

bool vnSerializeAdapterFile::hasMore() const noexcept
{
    return m_isOpenEnded ? !m_hasEnded : m_size > 0;
}

// Reads behind what is buffered; the windows are closed. Answers whether no error came up.
bool vnSerializeAdapterFile::fetch(unsigned int count)
{
    vnQueue<unsigned char>& queue = settled();
    queue.cleanUp(); // the few bytes left over would make the buffer creep, to the size of the file
    unsigned char* place = queue.reserve(count);
    const unsigned int got =
        m_isOpenEnded ? vnFileReadSome(m_file.get(), place, count) : vnFileRead(m_file.get(), place, count);
    const bool isSound = noteRead(count, got);
    queue.commit(got); // before the text of an error, for which there may be no memory
    if (!isSound)
        setError(vnTranslated("File read beyond end"));
    return isSound || got > 0;
}

// Reads into the caller's memory; the buffer is empty. A file that has become shorter gives what it still
// has, as on the way through the buffer: a result of 0 would lose it.
unsigned int vnSerializeAdapterFile::readDirectly(unsigned char* data, unsigned int count)
{
    const unsigned int got = vnFileRead(m_file.get(), data, count);
    if (noteRead(count, got))
        return got;
    try
    {
        setError(vnTranslated("File read beyond end"));
    }
    catch (...)
    {
        // The caller does not learn how much came, so that it comes again.
        if (vnFileReset(m_file.get(), static_cast<int>(vnFileTell(m_file.get()) - got)))
            m_size = got;
        throw;
    }
    return got;
}

// Keeps account of a read; has to follow it at once. Answers whether no error came up.
bool vnSerializeAdapterFile::noteRead(unsigned int asked, unsigned int got) noexcept
{
    if (m_isOpenEnded)
    {
        m_hasEnded = got == 0;
        return got > 0 || vnGetSysError() == 0;
    }
    m_size = got < asked ? 0 : m_size - got; // a file that has become shorter has no more
    return got == asked;
}

// Takes over what is there already, so that it counts.
void vnSerializeAdapterFile::gatherWithoutWaiting()
{
    while (!m_hasEnded && settled().getCount() < VN_BLOCK && vnFileIsReady(m_file.get()))
        fetch(VN_OPEN_ENDED_BLOCK);
    openWindow();
}

unsigned int vnSerializeAdapterFile::readOpenEnded(unsigned char* data, unsigned int count)
{
    vnQueue<unsigned char>& queue = m_buffer.getData();
    unsigned int done = queue.pop(data, count);
    while (done < count && !m_hasEnded)
    {
        fetch(m_largeChunks ? VN_OPEN_ENDED_BLOCK : count - done);
        done += queue.pop(data + done, count - done);
    }
    openWindow();
    return done;
}

unsigned char vnSerializeAdapterFile::readOnOutput()
{
    warnOfMisuse(VN_READ_ON_OUTPUT);
    vnQueue<unsigned char>& queue = settled();
    if (queue.isEmpty() && m_size > 0)
    {
        setError(vnTranslated("File read beyond end")); // the file is open for writing only
        return 0;
    }
    const unsigned char byte = queue.pop();
    openWindow();
    return byte;
}

// Writes the buffer out when it would get larger than a block. A block that is larger by itself goes into the
// empty buffer as it is. Answers 0 when the data must be refused.
bool vnSerializeAdapterFile::makeRoom(unsigned int count)
{
    const auto isTooFull = [this, count] { return vnUInt64{getBuffered()} + count > VN_BLOCK; };
    if (!isTooFull())
        return true;
    if (!(m_writeFailed && hasError()))
        flush();
    return getBuffered() == 0 || !isTooFull();
}
