// SPDX-License-Identifier: MIT
#include "vnInput.h"

#include "vnTool.h"

#include <vnBase/vnString.h>

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

std::vector<unsigned char> vnReadURL(const std::string& url)
{
    vnAdapter source = vnOpenURL(url, VN_SERIALIZE_INPUT);
    std::vector<unsigned char> bytes;
    vnForEachBlock(source, url.c_str(),
                   [&bytes](const unsigned char* data, unsigned int size)
                   { bytes.insert(bytes.end(), data, data + size); });
    return bytes;
}
