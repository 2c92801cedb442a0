// SPDX-License-Identifier: MIT
#include "vnInput.h"

#include "vnStandardStreams.h"
#include "vnTool.h"

#include <vnBase/vnProgress.h>
#include <vnBase/vnString.h>

#include <algorithm>

std::string vnInnerURL(const std::string& url)
{
    vnString base, path, name;
    vnSerializeAdapter::getURLBaseEncoding(url.c_str(), &base, &path, &name, nullptr, nullptr);
    std::string rest = path.getString() + std::string(name.getString());
    const auto behind = [&rest](std::size_t comma)
    { return comma == std::string::npos ? std::string() : rest.substr(comma + 1); };
    if (base == "rand:")
        return rest;
    if (base == "purl:")
        return behind(rest.find(','));
    if (base == "cache:")
        return behind(rest.find(',', std::min(rest.find(','), rest.size()) + 1));
    if (base != "zip:")
        return std::string();
    const std::string archive = path.getString();
    const std::size_t open = archive.rfind('{');
    return open == std::string::npos ? std::string()
                                     : archive.substr(open + 1, archive.find('}', open) - open - 1);
}

std::string vnInnermostURL(std::string url)
{
    for (std::string inner = vnInnerURL(url); !inner.empty(); inner = vnInnerURL(url))
        url = inner;
    return url;
}

void vnCheckURL(const std::string& url)
{
    if (url.empty())
        throw vnUsageError("a URL is empty");
    vnString base;
    vnSerializeAdapter::getURLBaseEncoding(vnInnermostURL(url).c_str(), &base, nullptr, nullptr, nullptr,
                                           nullptr);
    for (const char* memory : {"mem:", "adapt:"})
        if (base == memory)
            throw vnUsageError("'" + url + "' names memory of the process");
}

void vnCheckError(vnAdapter& adapter)
{
    if (adapter->hasError())
        throw vnFailure(adapter->getError().getString());
}

vnAdapter vnOpenURL(const std::string& url, vnSerializeAction action)
{
    if (url == "-")
        return vnOpenStandardStream(action);
    vnCheckURL(url);
    vnString error;
    vnAdapter adapter(vnSerializeAdapter::getURLAdapter(url.c_str(), action, VN_ADAPTER_SILENT, "", &error));
    if (!adapter && error.isEmpty()) // of an archive that does not open
        throw vnFailure("can't open '" + vnInnerURL(url) + "' for '" + url + "'");
    if (!adapter)
        throw vnFailure(error.getString());
    vnCheckError(adapter);
    return adapter;
}

vnBlockReader::vnBlockReader(vnAdapter& source, const char* banner, vnAdapter& counted)
    : m_source(source), m_banner(banner), m_counted(counted),
      m_total(counted->canSeek() ? counted->length() : 0)
{
}

unsigned int vnBlockReader::getNextSize()
{
    const bool hasData = m_source->hasData();
    vnCheckError(m_source);
    // A source that can't tell how much there is, such as a named pipe, is read as the bytes come.
    return hasData ? std::clamp(m_source->length(), 1u, VN_BLOCK) : 0;
}

unsigned int vnBlockReader::read(unsigned char* data, unsigned int size)
{
    const unsigned int got = m_source->read(data, size);
    vnCheckError(m_source);
    if (m_total > 0)
    {
        const vnUInt64 finished = m_total - std::min<vnUInt64>(m_total, m_counted->length());
        vnProgress::progress(static_cast<unsigned char>(finished * 100 / m_total), m_banner);
    }
    return got;
}

std::vector<unsigned char> vnReadURL(const std::string& url)
{
    vnAdapter source = vnOpenURL(url, VN_SERIALIZE_INPUT);
    std::vector<unsigned char> bytes;
    vnForEachBlock(source, url.c_str(),
                   [&bytes](const unsigned char* data, unsigned int size)
                   { bytes.insert(bytes.end(), data, data + size); });
    return bytes;
}
