// SPDX-License-Identifier: MIT
#include "vnZIPArchive.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include <minizip/unzip.h>
#include <minizip/zip.h>

namespace
{
constexpr unsigned int VN_PAGE = 32768;
constexpr unsigned int VN_COMMENT = 1000;
constexpr unsigned int VN_MAX_COMMENT = 0xFFFF;
constexpr unsigned int VN_MAX_NAME = 0xFFFF;
constexpr unsigned int VN_FIRST_SIZE = 65536;
constexpr unsigned int VN_MAX_READ = 1u << 30; // the result of a read is a signed int
constexpr unsigned int VN_NONE = 0xFFFFFFFFu;
constexpr unsigned int VN_ENCRYPTED = 1;

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

void vnZIPArchive::close(const vnString& comment)
{
    if (m_reader)
        unzClose(std::exchange(m_reader, nullptr));
    if (m_writer)
        zipClose(std::exchange(m_writer, nullptr), comment.getString());
    rethrow();
}

vnString vnZIPArchive::readComment()
{
    unz_global_info64 info;
    if (unzGetGlobalInfo64(m_reader, &info) != UNZ_OK)
        return vnString();
    if (info.size_comment > VN_MAX_COMMENT)
        vnExceptionThrows::vnThrowFatal("unzGetGlobalComment out of range");
    char comment[VN_COMMENT] = {};
    const int count = unzGetGlobalComment(m_reader, comment, VN_COMMENT);
    rethrow();
    // An archive that was cut off in its comment can be read all the same: the comment is what there is.
    const std::size_t there =
        count < 0 ? strnlen(comment, VN_COMMENT) : std::min<std::size_t>(count, info.size_comment);
    return vnString(comment, static_cast<unsigned short>(there));
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
    m_cameShort = done < count;
    return done;
}

unsigned int vnZIPArchive::write(unsigned char* data, vnUInt64 count)
{
    if (count > VN_NONE - m_position || !moveTo(m_position))
        return 0;
    m_adapter.writeZIP(data, static_cast<unsigned int>(count));
    if (m_adapter.hasError())
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
    vnArray<unsigned char> name(VN_MAX_NAME + 1);
    for (int result = unzGoToFirstFile(m_reader); result == UNZ_OK; result = unzGoToNextFile(m_reader))
    {
        unz_file_info64 info;
        result = unzGetCurrentFileInfo64(m_reader, &info, reinterpret_cast<char*>(name.data()),
                                         name.getSize(), nullptr, 0, nullptr, 0);
        if (result != UNZ_OK)
            break;
        addToIndex(hashOf(name.data(), std::min<std::size_t>(info.size_filename, VN_MAX_NAME)));
    }
    rethrow();
    std::sort(m_index.begin(), m_index.end(),
              [](const Place& left, const Place& right)
              { return left.hash != right.hash ? left.hash < right.hash : left.number < right.number; });
    m_hasIndex = true;
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

// What most members come to at once; it depends on the bytes that are there, not on the claim.
unsigned int vnZIPArchive::firstSize() const
{
    const vnUInt64 likely = std::max<vnUInt64>(VN_FIRST_SIZE, std::min(m_member.packedSize, m_size) * 4);
    return static_cast<unsigned int>(std::min(m_member.size, likely));
}

// False when there are fewer bytes than the member claims, or they can't be unpacked.
bool vnZIPArchive::unpack(vnArray<unsigned char>& buffer)
{
    if (m_member.size > std::numeric_limits<unsigned int>::max())
        return false;
    if (m_member.method == 0 && m_member.size != m_member.packedSize)
        return false; // stored bytes are what they are packed to
    const auto claimed = static_cast<unsigned int>(m_member.size);
    buffer.setSize(0);
    buffer.setSize(firstSize());
    unsigned int done = 0;
    while (done < claimed)
    {
        if (done == buffer.getSize())
            buffer.setSize(done > claimed / 2 ? claimed : done * 2);
        const int got = unzReadCurrentFile(m_reader, buffer.data() + done,
                                           std::min(buffer.getSize() - done, VN_MAX_READ));
        rethrow();
        if (got <= 0)
            return false;
        done += static_cast<unsigned int>(got);
    }
    return true;
}
