// SPDX-License-Identifier: MIT
#include <vnBase/vnGuidStringDict.h>

#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnRefPointer.h>

vnType vnGuidStringDict::s_type(vnReference::getClassType(), "vnGuidStringDict");

// Made on first use, since static initializers of other files may enter URLs. Null once it was destroyed, so
// that what still runs then finds no URL.
vnGuidStringDict* vnGuidStringDict::getInstance()
{
    struct Instance final : vnGuidStringDict, vnMemoryCheck
    {
    };
    static Instance instance;
    return instance.isValidMemory() ? &instance : nullptr;
}

vnString vnGuidStringDict::lookup(const vnString& guid)
{
    vnGUID key;
    return key.setString(guid) ? lookup(key) : vnString();
}

vnString vnGuidStringDict::lookup(const vnGUID& guid)
{
    vnGuidStringDict* dict = getInstance();
    if (!dict)
        return vnString();
    vnBodyGuard guard(dict->m_mutex);
    const Url* url = dict->m_urls.find(guid);
    return url ? url->getData() : vnString();
}

void vnGuidStringDict::enter(const vnGUID& guid, const vnString& url)
{
    if (url.isEmpty())
    {
        remove(guid);
        return;
    }
    vnGuidStringDict* dict = getInstance();
    if (!dict)
        return;
    vnBodyGuard guard(dict->m_mutex);
    if (Url* known = dict->m_urls.find(guid))
    {
        known->getData() = url;
        return;
    }
    vnRefPointer<Url> entry(new Url(url));
    dict->m_urls.enter(guid, entry);
}

unsigned char vnGuidStringDict::remove(const vnGUID& guid)
{
    vnGuidStringDict* dict = getInstance();
    if (!dict)
        return 0;
    vnBodyGuard guard(dict->m_mutex);
    return dict->m_urls.remove(guid) != nullptr;
}
