// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnSharedMemory.h>
#include <vnBase/vnString.h>

#include <exception>

class vnSerializeAdapterZIP;

/// An archive opened by minizip on the callbacks of an adapter. The functions that minizip calls let no
/// exception through it: what the adapter's parent throws is kept, minizip sees a failed access, and the
/// operation here throws it again.
class vnZIPArchive : public vnSharedMemory
{
public:
    explicit vnZIPArchive(vnSerializeAdapterZIP& adapter) noexcept : m_adapter(adapter) {}
    vnZIPArchive(const vnZIPArchive&) = delete;
    vnZIPArchive& operator=(const vnZIPArchive&) = delete;

    /// Closes what is open still, as it is.
    ~vnZIPArchive();

    /// Opens the archive whose directory stands at the end of the parent; false when there is none.
    bool openForReading();

    /// Begins an archive behind what the parent has.
    bool openForWriting();

    /// Ends an archive that was begun, with this comment, or closes one that was read. False when the end
    /// could not be written.
    bool close(const vnString& comment);

    /// The first 1000 bytes of the comment, or as many of them as there are.
    vnString readComment();

    /// Goes to the first member of this name.
    bool locate(const vnString& name);

    /// The steps for the member that was located: each needs the one before it.
    bool readInfo();
    bool openMember();

    /// Unpacks the member into `buffer`, which is as large as the member in the end, and closes it. False
    /// for one that holds more than there is memory for.
    bool readMember(vnArray<unsigned char>& buffer);

    /// What the member whose information was read claims to hold: more than that is not unpacked.
    vnUInt64 getMemberSize() const noexcept { return m_member.size; }

private:
    struct Callbacks;

    // Where a member stands in the directory, under the hash of its name.
    struct Place
    {
        vnUInt64 hash;
        vnUInt64 offset;
        vnUInt64 number;
    };

    // A piece of the archive in memory: minizip reads its tables byte by byte.
    struct Page
    {
        vnArray<unsigned char> bytes;
        vnUInt64 start = 0;
        unsigned int count = 0;
    };

    // What a member says of itself.
    struct Member
    {
        vnUInt64 packedSize = 0;
        vnUInt64 size = 0;
        unsigned int method = 0;
        bool isEncrypted = false;
    };

    // A number that minizip shall see in place of the one that stands there.
    struct Patch
    {
        vnUInt64 position;
        unsigned int value;
    };

    bool measure();
    bool moveTo(vnUInt64 position);
    unsigned int read(unsigned char* data, vnUInt64 count);
    unsigned int write(unsigned char* data, vnUInt64 count);
    const Page& pageAt(vnUInt64 position);
    bool seek(vnUInt64 offset, int origin);
    bool readAt(vnUInt64 position, unsigned char* data, unsigned int count);
    void applyPatches(unsigned char* data, vnUInt64 position, unsigned int count) const;

    void rethrow();
    void buildIndex();
    void addToIndex(vnUInt64 hash);
    void addPatches(vnUInt64 entry, vnDynamicArray<Patch>& patches);
    vnString readCommentAtEnd();
    bool isNamed(const Place& place, const vnString& name);
    unsigned int firstSize() const;
    bool unpack(vnArray<unsigned char>& buffer);

    vnSerializeAdapterZIP& m_adapter;
    void* m_reader = nullptr;
    void* m_writer = nullptr;
    vnUInt64 m_size = 0; // of the parent
    vnUInt64 m_position = 0;
    Page m_pages[2]; // one for the directory and one for the members
    unsigned int m_lastPage = 0;
    vnUInt64 m_lastPlace = 0; // that minizip moved to by its distance from the start
    bool m_cameShort = false; // the last read
    bool m_hasIndex = false;
    vnDynamicArray<Place> m_index;   // by hash, then by number
    vnDynamicArray<Patch> m_patches; // by position
    Member m_member;
    std::exception_ptr m_failure;
};
