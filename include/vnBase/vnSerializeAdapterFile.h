// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnFile.h>
#include <vnBase/vnRecycleData.h>
#include <vnBase/vnSerializeAdapter.h>

#include <memory>

/// A file, read ahead and written behind in blocks of 1,000,000 bytes.
///
///     vnSerializeAdapterFile out("a.txt", VN_SERIALIZE_OUTPUT, 0, 0);
///     out.write(data, count);
///     out.flush();
///     if (out.hasError())
///         ...
///
/// Errors: a file that can't be opened, read or written sets the error; the adapter stays usable. What could
/// not be written stays in the buffer, and the next `flush()` tries again; once the buffer is full and the
/// error still set, further writes are refused. A file that ends before its size says sets the error, and has
/// no more data. Reading a single byte with nothing left throws `vnFatalError`; ask `hasData()` first. Files
/// of 4 GiB and more are refused.
///
/// What has no size (a pipe, a device, the files of /proc) is read to its end: `length()` counts what is
/// there by now, `hasData()` waits for more or the end, and there is no seeking in what can't be read twice.
class VN_BASE_API vnSerializeAdapterFile : public vnSerializeAdapter
{
public:
    /// The buffer of one file, from a pool of the process.
    class VN_BASE_API vnFileQueue : public vnRecycleData_vnBase<vnQueue<unsigned char>>
    {
    public:
        void onInitItem(vnQueue<unsigned char>& queue) const override;
    };

    /// Opens the file. For `VN_SERIALIZE_INPUT` the name is looked up by `vnDirectory::getExtendedFileName`
    /// unless the flags hold `VN_ADAPTER_NO_EXPANSION`; `getName()` answers the result, not what was asked
    /// for. `VN_SERIALIZE_OUTPUT` drops what the file holds unless `append` is set; `VN_SERIALIZE_APPEND`
    /// means output with `append`; any other action opens nothing and sets the error. An empty name opens
    /// nothing and is no error. With `VN_ADAPTER_UNTRUSTED` only regular files are read, up to the told size.
    vnSerializeAdapterFile(const vnString& name, vnSerializeAction action, unsigned char append,
                           vnUInt64 flags);
    VN_TYPE(vnSerializeAdapterFile)

    /// Writes what is buffered and closes the file. Data lost here are reported as a Warning, unless the
    /// flags hold `VN_ADAPTER_SILENT`.
    ~vnSerializeAdapterFile() noexcept(false) override;

    /// 1 for input, and for output that appends.
    unsigned char canSeek() override;

    /// 1 stops reading ahead, which does not pay for a reader that seeks.
    void setSeekMode(unsigned char mode) override;

    /// Writes what is buffered, then moves. Returns the new position, or 0 when that fails: not 0xFFFFFFFF,
    /// as other adapters do. Input and appending output may be moved past the end.
    unsigned int seek(int offset, vnOriginPos origin) override;
    unsigned char supportAction(vnSerializeAction action) override;

    /// Writes what is buffered. Does nothing for input.
    void flush() override;

    /// Writes what is buffered, then moves to `position` from the start of the file. 0 when that fails;
    /// nothing has moved then.
    virtual unsigned char reset(unsigned int position);

    /// Whether files are read in blocks, 1 at the start, or each byte when it is asked for.
    unsigned char readLargeChunks() const noexcept { return m_largeChunks; }
    void readLargeChunks(unsigned char enable) noexcept { m_largeChunks = enable; }

    /// The name under which the file was opened.
    const vnString& getFileName() const noexcept { return m_fileName; }

    /// Frees the buffers that wait in the pool. They keep the size that they had to grow to, so this is worth
    /// a call after very large files.
    static void cleanUpLargeFiles();

protected:
    /// On an input file these post a Warning and put the data behind what is read ahead.
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;

    /// On an output file this posts a Warning and takes the byte out of what is to be written.
    unsigned char read_imp() override;
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;

private:
    struct Close
    {
        void operator()(vnFile* file) const { vnFileClose(file); }
    };

    bool isInput() const noexcept { return m_action == VN_SERIALIZE_INPUT; }
    void openForInput();
    void openForOutput();
    void setOpenError(const char* purpose);
    vnString textOf(const char* before, const char* behind) const;
    void finish();
    vnQueue<unsigned char>& settled();
    void openWindow();
    unsigned int getBuffered() const;
    bool hasMore() const noexcept;
    bool fetch(unsigned int count);
    unsigned int readDirectly(unsigned char* data, unsigned int count);
    bool noteRead(unsigned int asked, unsigned int got) noexcept;
    void gatherWithoutWaiting();
    unsigned int readOpenEnded(unsigned char* data, unsigned int count);
    unsigned char readOnOutput();
    bool makeRoom(unsigned int count);

    vnFileQueue m_buffer;
    vnString m_fileName;
    vnSerializeAction m_action;
    std::unique_ptr<vnFile, Close> m_file;
    unsigned int m_size = 0; // reading: bytes in the file behind the buffer; writing: bytes in the file
    unsigned char m_largeChunks = 1;
    unsigned char m_append = 0;
    bool m_isOpenEnded = false; // read until the system says that it is the end
    bool m_hasEnded = false;    // that was said
    bool m_writeFailed = false;
};
