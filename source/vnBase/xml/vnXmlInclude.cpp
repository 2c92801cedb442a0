// SPDX-License-Identifier: MIT
#include "vnXmlTree.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnRegKeyExpandParser.h>
#include <vnBase/vnSerializeAdapterMemory.h>

namespace
{
constexpr const char* tooLarge = "Too large XML data";

vnString withSettings(const vnString& text)
{
    if (text.find('$') == text.length())
        return text;
    const vnRefPointer<vnSerializeAdapter> adapter(
        new vnSerializeAdapterMemory(const_cast<char*>(text.getString()), text.length())); // only read
    vnRegKeyExpandParser parser;
    parser.setAdapter(adapter);
    return parser.parse();
}

bool isNamePart(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
}

// Whether the scheme stands anywhere in the URL, also in a URL in it.
bool hasScheme(std::string_view url, std::string_view scheme)
{
    for (std::size_t at = url.find(scheme); at != url.npos; at = url.find(scheme, at + 1))
        if (at == 0 || !isNamePart(url[at - 1]))
            return true;
    return false;
}

// A "cache:" with its numbers goes to the front when a URL is opened, and what stood around it meets; that
// must not make a scheme of two halves.
vnString withoutCache(const vnString& url)
{
    constexpr std::string_view scheme = "cache:";
    const std::string_view text = vnXmlTree::viewOf(url);
    const std::size_t begin = text.rfind(scheme);
    if (begin == text.npos)
        return url;
    std::size_t end = begin + scheme.size();
    for (int commas = 0; end != text.size() && commas != 2; ++end)
        commas += text[end] == ',';
    return vnXmlTree::makeString(text.substr(0, begin)) + vnXmlTree::makeString(text.substr(end));
}

bool reachesProcess(const vnString& url)
{
    constexpr std::string_view schemes[] = {"mem:", "adapt:", "con:", "pipe:", "psrv:"};
    vnString text = url.toLower();
    for (unsigned int length = 0; length != text.length();)
    {
        for (const std::string_view scheme : schemes)
            if (hasScheme(vnXmlTree::viewOf(text), scheme))
                return true;
        length = text.length();
        text = withoutCache(text);
    }
    return false;
}

// The URL of what is included by a document; empty when it is too long.
vnString urlOf(const vnString& included, const vnSerializeAdapter& document)
{
    vnString base, path, name, attributes;
    unsigned char valid = 1;
    vnSerializeAdapter::getURLBaseEncoding(included, &base, &path, &name, &attributes, &valid);
    if (!base.isEmpty())
        return included;
    const vnString& documentBase = document.getURLBase();
    const bool isFile = documentBase.isEmpty() || documentBase == "file:";
    const vnString directory = isFile && path.isFirst('/') ? vnString() : document.getDefaultPath();
    if (documentBase.length() + directory.length() + included.length() >
        static_cast<int>(vnString::VN_MAX_LENGTH))
        return vnString();
    return documentBase + directory + included;
}
} // namespace

unsigned char vnXmlDom::failLimit(const vnString& error)
{
    setError("%s", error);
    m_hasPassedLimit = 1;
    return 0;
}

unsigned char vnXmlDom::include(const vnString& data, unsigned int level)
{
    vnSerializeAdapter* const own = getAdapter();
    if (!own)
        return 1; // nothing is read just now
    const vnString name = withSettings(data.stripWhiteSpace());
    const vnString url = urlOf(name, *own);
    if (m_includeDepth >= m_maxIncludeDepth)
        return failLimit(vnString::formatString("Too deep nesting of included XML documents (%s)", url));
    if (url.isEmpty() || reachesProcess(url))
    {
        vnMessage::message(VN_MESSAGE_WARNING, "An XML document may not include '%s'", name);
        return 1;
    }
    const vnRefPointer<vnSerializeAdapter> adapter(
        vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT));
    if (!adapter)
        return 1; // which was told
    const vnRefPointer<vnXmlDom> included(new vnXmlDom);
    included->setName(name);
    included->setWriteIncludedXml(m_writeIncludedXml);
    included->useProgress(isUsingProgress());
    return readIncluded(*included, adapter, level);
}

unsigned char vnXmlDom::readIncluded(vnXmlDom& included, vnSerializeAdapter* adapter, unsigned int level)
{
    included.m_includeDepth = m_includeDepth + 1;
    included.m_maxIncludeDepth = m_maxIncludeDepth;
    included.useLimitsOf(*this);
    const vnUInt64 used = vnUInt64{getTokenPos()} + m_includedTokens;
    if (m_sizeLimit && used >= m_sizeLimit)
        return failLimit(tooLarge);
    if (m_sizeLimit)
        included.setMaxDocumentSize(static_cast<unsigned int>(m_sizeLimit - used));
    included.read(adapter);
    addItemAt(&included, level);
    if (included.m_hasPassedLimit || included.getError() == tooLarge)
        return failLimit(included.getError());
    m_includedTokens += included.getTokenPos() + included.m_includedTokens;
    if (m_sizeLimit && m_includedTokens >= m_sizeLimit)
        return failLimit(tooLarge);
    if (m_sizeLimit)
        setMaxDocumentSize(static_cast<unsigned int>(m_sizeLimit - m_includedTokens));
    return 1;
}
