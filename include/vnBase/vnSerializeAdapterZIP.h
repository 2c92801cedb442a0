// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnSerializeAdapterFilter.h>
#include <vnBase/vnSerializeAdapterMemory.h>

#include <memory>

class vnZIPArchive;

/// Reads members of a ZIP archive that lies behind any adapter, its parent.
///
///     vnRefPointer<vnSerializeAdapterZIP> archive(new vnSerializeAdapterZIP(file, VN_SERIALIZE_INPUT));
///     if (archive->setCurrentItem("dir/a.txt"))
///         archive->read(data, archive->length());
///
/// In a URL this is "zip:{file:a.zip},dir/a.txt".
///
/// A member is unpacked as a whole when it is selected, so that seeking in it costs nothing; its checksum and
/// its length are tested then. Memory grows by what comes out, not by what the archive claims. Members stored
/// or deflated are read, also with data descriptors and Zip64 records, up to 4 GiB - 2; encrypted ones are
/// not. Names are compared byte by byte, in the case of their letters; of two of one name the first is found.
///
/// Opened for anything but `VN_SERIALIZE_INPUT` it puts an archive without members, with `getComment()`, at
/// the end of its parent when it goes; what is written is dropped. A Warning tells an end that could not be
/// written, unless the flags hold `VN_ADAPTER_SILENT`.
///
/// Failures set the error. Reading past the end of a member gives 0 and sets the error.
///
/// Thread-safety: one adapter belongs to one thread at a time, together with its parent.
class VN_BASE_API vnSerializeAdapterZIP : public vnSerializeAdapterFilter
{
public:
    /// Holds `parent`, see `vnSerializeAdapterFilter`. The format of the archives:
    /// https://pkware.cachefly.net/webdocs/casestudies/APPNOTE.TXT
    vnSerializeAdapterZIP(vnSerializeAdapter* parent, vnSerializeAction action);
    VN_TYPE(vnSerializeAdapterZIP)

    /// Closes the archive.
    ~vnSerializeAdapterZIP() noexcept(false) override;

    /// Closes the archive, drops its comment and the errors that it left, and opens the one behind `parent`,
    /// which is wrapped in a
    /// `vnSerializeAdapterRandomAccess` if it can't seek. Null, a parent with an error and one without an
    /// archive set the error.
    void setAdapter(vnSerializeAdapter* parent);

    /// The member that was selected; empty when there is none.
    const vnString& getCurrentItem() const noexcept { return m_currentItem; }

    /// How many bytes that member has.
    unsigned int getCurrentSize() const noexcept { return m_buffer.getSize(); }

    /// Selects and unpacks a member, and answers whether that went well; if not, the error is set and no
    /// member is selected. On output it only stores the name.
    unsigned char setCurrentItem(const vnString& name);

    /// The most bytes that a member may hold, for all members selected afterwards; one that holds more can't
    /// be read. 0xFFFFFFFF at the start, which is all that lengths of 32 bits reach: a few megabytes may
    /// unpack to gigabytes. In archives from outside `getMaxUntrustedSize()` holds as well.
    static unsigned int getMaxMemberSize() noexcept;
    static void setMaxMemberSize(unsigned int size) noexcept;

    /// The comment of the whole archive, of which the first 1000 bytes are read.
    const vnString& getComment() const noexcept { return m_comment; }
    void setComment(const vnString& comment) { m_comment = comment; }

    /// The archive's bytes: what the archive is read and written by. They forward to the parent; without one
    /// nothing is read or written.
    unsigned int readZIP(unsigned char* data, unsigned int count);
    void writeZIP(unsigned char* data, unsigned int count);
    unsigned int seekZIP(int offset, vnOriginPos origin);

    unsigned char canSeek() override;

    /// Any action, whatever the parent can be used for: members are in memory, and what is written is
    /// dropped.
    unsigned char supportAction(vnSerializeAction action) override;

    /// Seeks in the member.
    unsigned int seek(int offset, vnOriginPos origin) override;

    /// Does nothing: what was pushed back stays, too.
    void flush() override;
    unsigned char hasError() override;
    vnString getError() override;
    void setError(const vnString& error) override;

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;

    /// What remains of the member.
    unsigned int length_imp() override;

private:
    bool isInput() const noexcept { return m_action == VN_SERIALIZE_INPUT; }
    void closeArchive();
    void dropItem();
    unsigned char refuseItem(const char* format, const vnString& name);
    void openWindow();
    void settle();

    vnString m_currentItem;
    vnString m_comment;
    std::unique_ptr<vnZIPArchive> m_archive; // null when it could not be opened
    vnSerializeAction m_action;
    vnArray<unsigned char> m_buffer;   // the member
    vnSerializeAdapterMemory m_member; // over the buffer
};
