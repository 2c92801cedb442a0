// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapter.h>

#include <string>
#include <vector>

// What the commands read and write.

using vnAdapter = vnRefPointer<vnSerializeAdapter>;

/// The URL within one whose adapter takes another URL ("cache:", "rand:", "zip:", "purl:"); empty for others.
std::string vnInnerURL(const std::string& url);

/// The last URL within URLs; the URL itself when there is none in it.
std::string vnInnermostURL(std::string url);

/// Throws `vnUsageError` for an empty URL, and for one that names memory of the process, or an adapter there,
/// by itself or within: a command line knows nothing of these.
void vnCheckURL(const std::string& url);

/// Opens a URL; "-" is standard input or standard output. Throws `vnFailure` when it does not open, and
/// `vnUsageError` as `vnCheckURL` does.
vnAdapter vnOpenURL(const std::string& url, vnSerializeAction action);

/// Throws `vnFailure` when the adapter has an error.
void vnCheckError(vnAdapter& adapter);

/// Throws `vnFailure` when `source`, opened by the URL `from`, reads the file that `to` names: opening that
/// for output would empty it.
void vnCheckDistinct(vnAdapter& source, const std::string& from, const std::string& to);

/// All that a URL holds.
std::vector<unsigned char> vnReadURL(const std::string& url);

/// Reads a source block by block and reports how far it is, as long as the source tells how much there is.
class vnBlockReader
{
public:
    static constexpr unsigned int VN_BLOCK = 1000000;

    /// `banner` is only referred to. How far it is is told by `counted`: the source, or an adapter behind it.
    vnBlockReader(vnAdapter& source, const char* banner, vnAdapter& counted);
    vnBlockReader(vnAdapter& source, const char* banner) : vnBlockReader(source, banner, source) {}

    /// The size of the next block, `VN_BLOCK` at most; 0 at the end. Waits for a source that does.
    unsigned int getNextSize();

    /// Reads the next block, `size` bytes as told, and returns how many came.
    unsigned int read(unsigned char* data, unsigned int size);

private:
    vnAdapter& m_source;
    const char* m_banner;
    vnAdapter& m_counted;
    vnUInt64 m_total;
};

/// Hands all bytes of `source` to `put(data, size)`, and tells how far it is by `counted`.
template <class Put>
void vnForEachBlock(vnAdapter& source, const char* banner, vnAdapter& counted, Put put)
{
    std::vector<unsigned char> block(vnBlockReader::VN_BLOCK);
    vnBlockReader reader(source, banner, counted);
    while (const unsigned int size = reader.getNextSize())
        put(block.data(), reader.read(block.data(), size));
}

template <class Put>
void vnForEachBlock(vnAdapter& source, const char* banner, Put put)
{
    vnForEachBlock(source, banner, source, put);
}
