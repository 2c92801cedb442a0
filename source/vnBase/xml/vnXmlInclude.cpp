// SPDX-License-Identifier: MIT
#include "vnXmlInput.h"

#include "lex/vnRegKeyExpand.h"
#include "serialize/vnReadClaimed.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapter.h>
#include <vnBase/vnXmlDom.h>

namespace
{
// What an included document takes is not told by its tokens alone: an empty one has buffers of this many
// bytes, and its stream may stand in memory while those that it includes are read.
constexpr unsigned int VN_DOCUMENT_SIZE = 8192;

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
    // Deliberately not below the folder of the document where a file is named from the root: nothing stands
    // there.
    const vnString directory = isFile && path.isFirst('/') ? vnString() : document.getDefaultPath();
    // What a request for the document carries, a session for example, those for its parts carry as well.
    const bool takesQuery = attributes.isEmpty() && !document.getAttributes().isEmpty();
    const vnString query = takesQuery ? vnString("?") + document.getAttributes() : vnString();
    if (documentBase.length() + directory.length() + included.length() + query.length() >
        static_cast<int>(vnString::VN_MAX_LENGTH))
        return vnString();
    return documentBase + directory + included + query;
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
    vnString name;
    if (!vnExpandRegKeys(data.stripWhiteSpace(), name))
    {
        vnMessage::message(VN_MESSAGE_WARNING, "Wrong reference in the URL of an included XML document (%s)",
                           data);
        return 1;
    }
    const vnString url = urlOf(name, *own);
    if (m_includeDepth >= m_maxIncludeDepth)
        return failLimit(vnString::formatString("Too deep nesting of included XML documents (%s)", url));
    if (url.isEmpty() && !name.isEmpty())
    {
        vnMessage::message(VN_MESSAGE_WARNING, "Too long URL of an included XML document (%s)", name);
        return 1;
    }
    const vnRefPointer<vnSerializeAdapter> adapter(
        vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, VN_ADAPTER_UNTRUSTED));
    if (!adapter)
        return 1; // which was told
    const vnRefPointer<vnXmlDom> included(new vnXmlDom);
    included->setName(name);
    included->setWriteIncludedXml(m_writeIncludedXml);
    included->useProgress(isUsingProgress());
    if (!readIncluded(*included, adapter, level))
        return 0;
    if (included->hasError())
        vnMessage::message(VN_MESSAGE_WARNING, "Error in the included XML document '%s': %s", url,
                           included->getError());
    return 1;
}

unsigned char vnXmlDom::readIncluded(vnXmlDom& included, vnSerializeAdapter* adapter, unsigned int level)
{
    if (!addToDocumentSize(VN_DOCUMENT_SIZE + vnSizeInMemory(*adapter)))
        return 0;
    included.m_includeDepth = m_includeDepth + 1;
    included.m_maxIncludeDepth = m_maxIncludeDepth;
    included.useLimitsOf(*this);
    const unsigned int limit = getMaxDocumentSize() ? static_cast<unsigned int>(getDocumentSizeLeft()) : 0;
    included.setMaxDocumentSize(limit);
    included.read(adapter);
    addItemAt(&included, level);
    if (included.m_hasPassedLimit || included.getError() == vnXmlInput::VN_TOO_LARGE)
        return failLimit(included.getError());
    return !limit || addToDocumentSize(limit - included.getDocumentSizeLeft());
}
