// SPDX-License-Identifier: MIT
#include "vnInput.h"

#include "vnTool.h"

#include <vnBase/vnProgress.h>
#include <vnBase/vnString.h>

#include <algorithm>
#include <cctype>

namespace
{
bool isSchemeBegin(const std::string& text, std::size_t at)
{
    return at == 0 || !std::isalnum(static_cast<unsigned char>(text[at - 1]));
}

// Schemes stand at the begin, or within the URL of an adapter that takes another one.
bool namesMemory(const std::string& url)
{
    const std::string text = vnString(url.c_str()).toLower().getString();
    if (text.compare(0, 5, "file:") == 0)
        return false;
    for (const char* scheme : {"mem:", "adapt:"})
        for (std::size_t at = text.find(scheme); at != std::string::npos; at = text.find(scheme, at + 1))
            if (isSchemeBegin(text, at))
                return true;
    return false;
}
} // namespace

void vnCheckError(vnAdapter& adapter)
{
    if (adapter->hasError())
        throw vnFailure(adapter->getError().getString());
}

vnAdapter vnOpenURL(const std::string& url, vnSerializeAction action)
{
    if (url.empty())
        throw vnUsageError("a URL is empty");
    if (namesMemory(url))
        throw vnUsageError("'" + url + "' names memory of the process");
    vnString error;
    vnAdapter adapter(vnSerializeAdapter::getURLAdapter(url.c_str(), action, VN_ADAPTER_SILENT, "", &error));
    if (!adapter)
        throw vnFailure(error.isEmpty() ? "can't open '" + url + "'" : error.getString());
    vnCheckError(adapter);
    return adapter;
}

vnBlockReader::vnBlockReader(vnAdapter& source, const char* banner)
    : m_source(source), m_banner(banner), m_total(source->canSeek() ? source->length() : 0)
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
    m_finished += got;
    if (m_finished <= m_total)
        vnProgress::progress(static_cast<unsigned char>(m_finished / m_total * 100.0), m_banner);
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
