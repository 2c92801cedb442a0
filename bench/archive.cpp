// SPDX-License-Identifier: MIT
// Workload m: the members of one open ZIP archive, each unpacked whole.  The archive is in memory (tmpfs), so
// that the disk plays no part.
#include "bench.h"

#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <unistd.h>

#ifdef HAVE_MINIZIP
#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <zlib.h>
#endif

#ifdef HAVE_MINIZIP
using namespace bench;

namespace
{
struct Archive
{
    std::string path;
    std::vector<std::string> names;
    std::uint64_t size = 0; // of all members, unpacked
};

// Cuts the text into members of this size.
Archive makeArchive(const std::string& text, std::size_t memberSize, int method)
{
    Archive archive;
    archive.path = scratchDir() + "/bench_archive.zip";
    const zipFile zip = zipOpen64(archive.path.c_str(), APPEND_STATUS_CREATE);
    for (std::size_t place = 0; place + memberSize <= text.size(); place += memberSize)
    {
        archive.names.push_back("folder/member" + std::to_string(place));
        const zip_fileinfo info = {};
        zipOpenNewFileInZip64(zip, archive.names.back().c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                              method, Z_DEFAULT_COMPRESSION, 0);
        zipWriteInFileInZip(zip, text.data() + place, static_cast<unsigned int>(memberSize));
        zipCloseFileInZip(zip);
        archive.size += memberSize;
    }
    zipClose(zip, nullptr);
    return archive;
}

std::uint64_t checkOf(const unsigned char* bytes, std::size_t size)
{
    return size + bytes[0] + bytes[size / 2] * 3u + bytes[size - 1] * 5u;
}

std::uint64_t readCurrent(unzFile zip, std::vector<unsigned char>& buffer)
{
    unz_file_info64 info;
    unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
    buffer.resize(info.uncompressed_size);
    unzOpenCurrentFile(zip);
    const int got = unzReadCurrentFile(zip, buffer.data(), static_cast<unsigned int>(buffer.size()));
    return unzCloseCurrentFile(zip) == UNZ_OK && got > 0
               ? checkOf(buffer.data(), static_cast<std::size_t>(got))
               : 0;
}

std::uint64_t readInOrder(const Archive& archive)
{
    std::uint64_t sum = 0;
    std::vector<unsigned char> buffer;
    const unzFile zip = unzOpen64(archive.path.c_str());
    for (int result = unzGoToFirstFile(zip); result == UNZ_OK; result = unzGoToNextFile(zip))
        sum += readCurrent(zip, buffer);
    unzClose(zip);
    return sum;
}

std::uint64_t readByName(const Archive& archive)
{
    std::uint64_t sum = 0;
    std::vector<unsigned char> buffer;
    const unzFile zip = unzOpen64(archive.path.c_str());
    for (const std::string& name : archive.names)
        if (unzLocateFile(zip, name.c_str(), 1) == UNZ_OK)
            sum += readCurrent(zip, buffer);
    unzClose(zip);
    return sum;
}

std::uint64_t readOurs(const Archive& archive)
{
    std::uint64_t sum = 0;
    std::vector<unsigned char> buffer;
    const vnRefPointer<vnSerializeAdapter> file(
        new vnSerializeAdapterFile(archive.path.c_str(), VN_SERIALIZE_INPUT, 0, 0));
    const vnRefPointer<vnSerializeAdapterZIP> zip(new vnSerializeAdapterZIP(file, VN_SERIALIZE_INPUT));
    for (const std::string& name : archive.names)
    {
        if (!zip->setCurrentItem(name.c_str()))
            continue;
        buffer.resize(zip->length());
        sum += checkOf(buffer.data(), zip->read(buffer.data(), zip->length()));
    }
    return sum;
}

void addMembers(Suite& suite, const std::string& name, const Archive& archive)
{
    Group& g = suite.group(name, mbPerSecond, static_cast<double>(archive.size)).sameCheck();
    g.add("minizip, in the order of the archive", limit, [&archive] { return readInOrder(archive); });
    if (archive.names.size() < 1000) // it walks through the directory for each name: minutes for thousands
        g.add("minizip, by name", peer, [&archive] { return readByName(archive); });
    g.add("vnSerializeAdapterZIP, by name", ours, [&archive] { return readOurs(archive); });
    suite.run();
    unlink(archive.path.c_str());
}
} // namespace

int main(int argc, char** argv)
{
    Suite suite("m.archive", argc, argv);
    std::string text = readAll(suite.getDataDir() + "/source.txt");
    text.resize(std::min<std::size_t>(text.size(), static_cast<std::size_t>(suite.scaled(20000000))));
    struct Kind
    {
        const char* name;
        std::size_t size;
        int method;
    };
    const Kind kinds[] = {{"deflated members of 64 KB", 65536, Z_DEFLATED},
                          {"deflated members of 2 KB", 2048, Z_DEFLATED},
                          {"stored members of 64 KB", 65536, 0}};
    for (const Kind& kind : kinds)
        addMembers(suite, kind.name, makeArchive(text, kind.size, kind.method));
    return suite.getResult();
}
#else
int main(int argc, char** argv)
{
    const bench::Suite suite("m.archive", argc, argv); // there is nothing that could make archives
    return suite.getResult();
}
#endif
