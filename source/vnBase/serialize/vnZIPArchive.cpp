// SPDX-License-Identifier: MIT
#include "vnZIPArchive.h"

#include "vnReadClaimed.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include <minizip/unzip.h>
#include <minizip/zip.h>

namespace
{
constexpr unsigned int VN_PAGE = 32768;
constexpr unsigned int VN_COMMENT = 1000;
constexpr unsigned int VN_MAX_COMMENT = 0xFFFF;
constexpr unsigned int VN_MAX_NAME = 0xFFFF;
constexpr unsigned int VN_FIRST_SIZE = 65536;
constexpr vnUInt64 VN_LARGEST_FIRST = 16u << 20;
constexpr unsigned int VN_MAX_READ = 1u << 30; // the result of a read is a signed int
constexpr unsigned int VN_NONE = 0xFFFFFFFFu;
constexpr unsigned int VN_ENCRYPTED = 1;

// An entry of the directory, and the places in it.
constexpr unsigned int VN_ENTRY = 46;
constexpr unsigned int VN_ENTRY_NAME_LENGTH = 28;
constexpr unsigned int VN_ENTRY_EXTRA_LENGTH = 30;
constexpr unsigned int VN_ENTRY_SIZES[] = {24, 20, 42}; // unpacked, packed, place: in the order of Zip64
constexpr unsigned int VN_ZIP64 = 1;

// The end record, and the length of the comment in it.
constexpr unsigned int VN_END = 22;
constexpr unsigned int VN_END_COMMENT_LENGTH = 20;

vnUInt64 numberAt(const unsigned char* bytes, unsigned int count)
{
    vnUInt64 number = 0;
    while (count-- > 0)
        number = number << 8 | bytes[count];
    return number;
}

// The content of a field among the extra ones of a member; nothing when it is not there.
std::pair<const unsigned char*, const unsigned char*> fieldOf(unsigned int id,
                                                              const vnArray<unsigned char>& extra)
{
    for (const unsigned char* next = extra.begin(); extra.end() - next >= 4;)
    {
        const unsigned char* content = next + 4;
        const auto size = static_cast<std::ptrdiff_t>(numberAt(next + 2, 2));
        const unsigned char* end = content + std::min(size, extra.end() - content);
        if (numberAt(next, 2) == id)
            return {content, end};
        next = end;
    }
    return {nullptr, nullptr};
}

bool growTo(vnArray<unsigned char>& buffer, unsigned int size)
{
    return vnTakeMemory(size, [&] { buffer.setSize(size); });
}

vnUInt64 hashOf(const void* name, std::size_t size)
{
    return std::hash<std::string_view>()(std::string_view(static_cast<const char*>(name), size));
}
} // namespace

// What minizip calls. An exception must not pass through it: its frames have no way to unwind.
struct vnZIPArchive::Callbacks
{
    template <class Result, class Work>
    static Result guarded(void* opaque, Result failure, Work work) noexcept
    {
        auto& archive = *static_cast<vnZIPArchive*>(opaque);
        if (archive.m_failure)
            return failure;
        try
        {
            return work(archive);
        }
        catch (...)
        {
            archive.m_failure = std::current_exception();
            return failure;
        }
    }

    static voidpf open(voidpf opaque, const void*, int) noexcept { return opaque; }

    static uLong read(voidpf opaque, voidpf, void* data, uLong count) noexcept
    {
        return guarded<uLong>(opaque, 0,
                              [=](vnZIPArchive& archive)
                              { return archive.read(static_cast<unsigned char*>(data), count); });
    }

    static uLong write(voidpf opaque, voidpf, const void* data, uLong count) noexcept
    {
        auto* bytes = static_cast<unsigned char*>(const_cast<void*>(data));
        return guarded<uLong>(opaque, 0, [=](vnZIPArchive& archive) { return archive.write(bytes, count); });
    }

    static ZPOS64_T tell(voidpf opaque, voidpf) noexcept
    {
        return static_cast<vnZIPArchive*>(opaque)->m_position;
    }

    static long seek(voidpf opaque, voidpf, ZPOS64_T offset, int origin) noexcept
    {
        return guarded<long>(opaque, -1,
                             [=](vnZIPArchive& archive) { return archive.seek(offset, origin) ? 0L : -1L; });
    }

    static int close(voidpf, voidpf) noexcept { return 0; }

    // minizip takes a byte that is missing at the end of the archive for one that it has read, unless there
    // is an error.
    static int testError(voidpf opaque, voidpf) noexcept
    {
        const auto& archive = *static_cast<vnZIPArchive*>(opaque);
        return archive.m_failure || archive.m_cameShort ? -1 : 0;
    }

    static zlib_filefunc64_def tableFor(vnZIPArchive& archive)
    {
        zlib_filefunc64_def table;
        table.zopen64_file = open;
        table.zread_file = read;
        table.zwrite_file = write;
        table.ztell64_file = tell;
        table.zseek64_file = seek;
        table.zclose_file = close;
        table.zerror_file = testError;
        table.opaque = &archive;
        return table;
    }
};

vnZIPArchive::~vnZIPArchive()
{
    if (m_reader)
        unzClose(m_reader);
    if (m_writer)
        zipClose(m_writer, nullptr);
}

bool vnZIPArchive::openForReading()
{
    if (!measure())
        return false;
    zlib_filefunc64_def table = Callbacks::tableFor(*this);
    m_reader = unzOpen2_64("", &table);
    rethrow();
    return m_reader != nullptr;
}

bool vnZIPArchive::openForWriting()
{
    if (!measure())
        return false;
    zlib_filefunc64_def table = Callbacks::tableFor(*this);
    m_writer = zipOpen2_64("", APPEND_STATUS_CREATEAFTER, nullptr, &table);
    rethrow();
    return m_writer != nullptr;
}

bool vnZIPArchive::close(const vnString& comment)
{
    bool isWhole = true;
    if (m_reader)
        unzClose(std::exchange(m_reader, nullptr));
    if (m_writer)
        isWhole = zipClose(std::exchange(m_writer, nullptr), comment.getString()) == ZIP_OK;
    rethrow();
    return isWhole;
}

vnString vnZIPArchive::readComment()
{
    unz_global_info64 info;
    if (unzGetGlobalInfo64(m_reader, &info) != UNZ_OK)
        return vnString();
    if (info.size_comment > VN_MAX_COMMENT)
        vnExceptionThrows::vnThrowFatal("unzGetGlobalComment out of range");
    if (info.size_comment == 0)
        return readCommentAtEnd();
    char comment[VN_COMMENT] = {};
    const int count = unzGetGlobalComment(m_reader, comment, VN_COMMENT);
    rethrow();
    // An archive that was cut off in its comment can be read all the same: the comment is what there is.
    const std::size_t there =
        count < 0 ? strnlen(comment, VN_COMMENT) : std::min<std::size_t>(count, info.size_comment);
    return vnString(comment, static_cast<unsigned short>(there));
}

// minizip takes archives with Zip64 records for ones without a comment.
vnString vnZIPArchive::readCommentAtEnd()
{
    const auto count = static_cast<unsigned int>(std::min<vnUInt64>(m_size, VN_END + VN_MAX_COMMENT));
    for (const unsigned int size : {std::min(count, VN_END), count}) // most archives end with the record
    {
        vnArray<unsigned char> bytes(size);
        if (size < VN_END || !readAt(m_size - size, bytes.data(), size))
            break;
        for (unsigned int at = size - VN_END + 1; at-- > 0;)
        {
            if (std::memcmp(bytes.data() + at, "PK\x05\x06", 4) != 0)
                continue;
            const vnUInt64 length = numberAt(bytes.data() + at + VN_END_COMMENT_LENGTH, 2);
            const auto there = std::min<vnUInt64>({length, size - VN_END - at, VN_COMMENT});
            return vnString(reinterpret_cast<const char*>(bytes.data()) + at + VN_END,
                            static_cast<unsigned short>(there));
        }
    }
    return vnString();
}

bool vnZIPArchive::locate(const vnString& name)
{
    if (!m_hasIndex)
        buildIndex();
    const vnUInt64 hash = hashOf(name.getString(), name.length());
    const Place* place =
        std::lower_bound(m_index.begin(), m_index.end(), hash,
                         [](const Place& candidate, vnUInt64 wanted) { return candidate.hash < wanted; });
    for (; place != m_index.end() && place->hash == hash; ++place)
        if (isNamed(*place, name))
            return true;
    return false;
}

bool vnZIPArchive::readInfo()
{
    unz_file_info64 info;
    const int result = unzGetCurrentFileInfo64(m_reader, &info, nullptr, 0, nullptr, 0, nullptr, 0);
    rethrow();
    if (result != UNZ_OK)
        return false;
    m_member = Member{info.compressed_size, info.uncompressed_size,
                      static_cast<unsigned int>(info.compression_method), (info.flag & VN_ENCRYPTED) != 0};
    return true;
}

// minizip hands out the packed bytes of methods that it does not know, and those of encrypted members.
bool vnZIPArchive::openMember()
{
    if (m_member.isEncrypted || (m_member.method != 0 && m_member.method != Z_DEFLATED))
        return false;
    const int result = unzOpenCurrentFile(m_reader);
    rethrow();
    return result == UNZ_OK;
}

bool vnZIPArchive::readMember(vnArray<unsigned char>& buffer)
{
    bool isWhole = false;
    try
    {
        isWhole = unpack(buffer);
    }
    catch (...)
    {
        unzCloseCurrentFile(m_reader);
        throw;
    }
    // The checksum is compared when it is closed, and only if all bytes came.
    const bool isSound = unzCloseCurrentFile(m_reader) == UNZ_OK;
    rethrow();
    return isWhole && isSound;
}

bool vnZIPArchive::measure()
{
    const unsigned int size = m_adapter.seekZIP(0, VN_ORIGIN_END);
    m_size = size;
    return size != VN_NONE;
}

// The parent counts from both ends in signed numbers, so that each half is reached from its own end.
bool vnZIPArchive::moveTo(vnUInt64 position)
{
    const unsigned int moved = position <= static_cast<vnUInt64>(std::numeric_limits<int>::max())
                                   ? m_adapter.seekZIP(static_cast<int>(position), VN_ORIGIN_SET)
                                   : m_adapter.seekZIP(static_cast<int>(static_cast<vnInt64>(position) -
                                                                        static_cast<vnInt64>(m_size)),
                                                       VN_ORIGIN_END);
    return moved == position;
}

unsigned int vnZIPArchive::read(unsigned char* data, vnUInt64 count)
{
    const auto wanted = static_cast<unsigned int>(std::min(count, m_size - m_position));
    unsigned int done = 0;
    while (done < wanted)
    {
        const Page& page = pageAt(m_position);
        const auto begin = static_cast<unsigned int>(m_position - page.start);
        if (begin >= page.count)
            break; // the parent gave less than it has
        const unsigned int step = std::min(wanted - done, page.count - begin);
        std::memcpy(data + done, page.bytes.data() + begin, step);
        m_position += step;
        done += step;
    }
    applyPatches(data, m_position - done, done);
    m_cameShort = done < count;
    return done;
}

// Beside minizip, which finds its position where it left it.
bool vnZIPArchive::readAt(vnUInt64 position, unsigned char* data, unsigned int count)
{
    const vnUInt64 oldPosition = std::exchange(m_position, std::min(position, m_size));
    const bool cameShort = m_cameShort;
    const unsigned int got = read(data, count);
    m_position = oldPosition;
    m_cameShort = cameShort;
    return got == count;
}

void vnZIPArchive::applyPatches(unsigned char* data, vnUInt64 position, unsigned int count) const
{
    const Patch* patch = std::lower_bound(m_patches.begin(), m_patches.end(), position,
                                          [](const Patch& candidate, vnUInt64 wanted)
                                          { return candidate.position + sizeof candidate.value <= wanted; });
    for (; patch != m_patches.end() && patch->position < position + count; ++patch)
        for (unsigned int i = 0; i < sizeof patch->value; ++i)
        {
            const vnUInt64 place = patch->position + i;
            if (place >= position && place < position + count)
                data[place - position] = static_cast<unsigned char>(patch->value >> (8 * i));
        }
}

unsigned int vnZIPArchive::write(unsigned char* data, vnUInt64 count)
{
    if (count > VN_NONE - m_position || !moveTo(m_position))
        return 0;
    // An older error, of the parent or of the member's reader, says nothing about these bytes.
    vnSerializeAdapter& parent = *m_adapter.getAdapter();
    const vnString before = parent.getError();
    m_adapter.writeZIP(data, static_cast<unsigned int>(count));
    if (parent.hasError() && parent.getError() != before)
        return 0;
    m_position += count;
    m_size = std::max(m_size, m_position);
    return static_cast<unsigned int>(count);
}

// Seeks before each page: another archive may be read from the same parent in between.
const vnZIPArchive::Page& vnZIPArchive::pageAt(vnUInt64 position)
{
    const vnUInt64 start = position - position % VN_PAGE;
    for (unsigned int i : {m_lastPage, 1 - m_lastPage})
        if (m_pages[i].count > 0 && m_pages[i].start == start)
        {
            m_lastPage = i;
            return m_pages[i];
        }
    m_lastPage = 1 - m_lastPage;
    Page& page = m_pages[m_lastPage];
    page.count = 0;
    page.bytes.setSize(VN_PAGE);
    if (!moveTo(start))
        return page;
    const auto wanted = static_cast<unsigned int>(std::min<vnUInt64>(VN_PAGE, m_size - start));
    page.start = start;
    page.count = std::min(wanted, m_adapter.readZIP(page.bytes.data(), wanted));
    return page;
}

bool vnZIPArchive::seek(vnUInt64 offset, int origin)
{
    const vnUInt64 base = origin == SEEK_END ? m_size : origin == SEEK_CUR ? m_position : 0;
    if (offset > m_size - base)
        return false; // an archive that lies about its places
    m_position = base + offset;
    if (origin == SEEK_SET)
        m_lastPlace = m_position;
    return true;
}

void vnZIPArchive::rethrow()
{
    if (m_failure)
        std::rethrow_exception(std::exchange(m_failure, nullptr));
}

// Members that stand behind a broken place in the directory are not found.
void vnZIPArchive::buildIndex()
{
    m_index.clear();
    vnDynamicArray<Patch> patches;
    vnArray<unsigned char> name(VN_MAX_NAME + 1);
    for (int result = unzGoToFirstFile(m_reader); result == UNZ_OK; result = unzGoToNextFile(m_reader))
    {
        unz_file_info64 info;
        result = unzGetCurrentFileInfo64(m_reader, &info, reinterpret_cast<char*>(name.data()),
                                         name.getSize(), nullptr, 0, nullptr, 0);
        if (result != UNZ_OK)
            break;
        if (info.size_file_extra > 0)
            addPatches(m_lastPlace, patches); // it moves to an entry, and within it by distances
        addToIndex(hashOf(name.data(), std::min<std::size_t>(info.size_filename, VN_MAX_NAME)));
    }
    rethrow();
    std::sort(m_index.begin(), m_index.end(),
              [](const Place& left, const Place& right)
              { return left.hash != right.hash ? left.hash < right.hash : left.number < right.number; });
    std::sort(patches.begin(), patches.end(),
              [](const Patch& left, const Patch& right) { return left.position < right.position; });
    m_patches = std::move(patches);
    m_hasIndex = true;
}

// minizip leaves the numbers of Zip64 in the directory unread where its `unsigned long` has 64 bits. It gets
// those that 32 bits hold as if they stood in the entry itself; others are beyond what is read here anyway.
void vnZIPArchive::addPatches(vnUInt64 entry, vnDynamicArray<Patch>& patches)
{
    unsigned char head[VN_ENTRY];
    if (!readAt(entry, head, VN_ENTRY))
        return;
    const vnUInt64 place = entry + VN_ENTRY + numberAt(head + VN_ENTRY_NAME_LENGTH, 2);
    vnArray<unsigned char> extra(static_cast<unsigned int>(numberAt(head + VN_ENTRY_EXTRA_LENGTH, 2)));
    if (!readAt(place, extra.data(), extra.getSize()))
        return;
    const auto [first, end] = fieldOf(VN_ZIP64, extra);
    const unsigned char* next = first;
    for (const unsigned int field : VN_ENTRY_SIZES)
    {
        if (numberAt(head + field, 4) != VN_NONE)
            continue;
        if (end - next < 8)
            return;
        const vnUInt64 value = numberAt(next, 8);
        next += 8;
        patches.setChunkSize(std::max(patches.getSize() / 2, 16u));
        if (value < VN_NONE)
            patches.append(Patch{entry + field, static_cast<unsigned int>(value)});
    }
}

void vnZIPArchive::addToIndex(vnUInt64 hash)
{
    unz64_file_pos position;
    if (unzGetFilePos64(m_reader, &position) != UNZ_OK)
        return;
    m_index.setChunkSize(std::max(vnDynamicArray<Place>::VN_DEFAULT_CHUNK, m_index.getSize() / 2));
    m_index.append(Place{hash, position.pos_in_zip_directory, position.num_of_file});
}

bool vnZIPArchive::isNamed(const Place& place, const vnString& name)
{
    unz64_file_pos position;
    position.pos_in_zip_directory = place.offset;
    position.num_of_file = place.number;
    unz_file_info64 info;
    vnArray<unsigned char> found(name.length() + 1u);
    const bool isThere = unzGoToFilePos64(m_reader, &position) == UNZ_OK &&
                         unzGetCurrentFileInfo64(m_reader, &info, reinterpret_cast<char*>(found.data()),
                                                 found.getSize(), nullptr, 0, nullptr, 0) == UNZ_OK;
    rethrow();
    return isThere && info.size_filename == name.length() &&
           std::memcmp(found.data(), name.getString(), name.length()) == 0;
}

// What most members come to at once. The packed size is a claim too, so that it takes no more than some.
unsigned int vnZIPArchive::firstSize() const
{
    const vnUInt64 likely = std::max<vnUInt64>(VN_FIRST_SIZE, std::min(m_member.packedSize, m_size) * 4);
    return static_cast<unsigned int>(std::min({m_member.size, likely, VN_LARGEST_FIRST}));
}

// False when there are fewer bytes than the member claims, or they can't be unpacked.
bool vnZIPArchive::unpack(vnArray<unsigned char>& buffer)
{
    if (m_member.size >= VN_NONE)
        return false; // what 32 bits don't hold stands as the former
    if (m_member.method == 0 && m_member.size != m_member.packedSize)
        return false; // stored bytes are what they are packed to
    const auto claimed = static_cast<unsigned int>(m_member.size);
    buffer.setSize(0);
    if (!growTo(buffer, firstSize()))
        return false;
    unsigned int done = 0;
    while (done < claimed)
    {
        if (done == buffer.getSize() && !growTo(buffer, done > claimed / 2 ? claimed : done * 2))
            return false;
        const int got = unzReadCurrentFile(m_reader, buffer.data() + done,
                                           std::min(buffer.getSize() - done, VN_MAX_READ));
        rethrow();
        if (got <= 0)
            return false;
        done += static_cast<unsigned int>(got);
    }
    return true;
}
