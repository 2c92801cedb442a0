// SPDX-License-Identifier: MIT
#include <vnBase/vnURL.h>

#include "vnReadClaimed.h"
#include "vnThreadScratch.h"
#include "vnURLDispatch.h"
#include "vnURLParts.h"

#include <algorithm>

namespace
{
// More than a file adapter keeps in its buffer, so that files are read straight into the block.
constexpr unsigned int VN_COPY_BLOCK = 1048576;

// Holds an adapter for a while. One that was there before, and that perhaps nobody holds, stays.
class Holder
{
public:
    explicit Holder(vnOpenedAdapter& opened) : m_opened(opened)
    {
        if (m_opened)
            m_opened->ref();
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;
    ~Holder() noexcept(false)
    {
        if (m_opened)
            m_opened->unrefNoDelete();
    }

private:
    vnOpenedAdapter& m_opened; // deletes what nobody holds
};

bool hasFailed(vnSerializeAdapter* adapter, vnString* error)
{
    if (!adapter->hasError())
        return false;
    if (error)
        *error = adapter->getError();
    return true;
}

unsigned char refuse(vnString* error, const char* text)
{
    if (error)
        *error = vnTranslated(text);
    return 0;
}

using Scratch = vnThreadScratch<unsigned char, 1, struct CopiedBlock>;

// One step of a copy; the number of bytes that came.
unsigned int copySome(vnSerializeAdapter* destination, vnSerializeAdapter* source, Scratch& scratch)
{
    const unsigned int known = std::min(source->length(), VN_COPY_BLOCK);
    if (scratch->getSize() < std::max(known, 1u))
        scratch->setSize(std::max(known, 1u));
    const unsigned int count = vnReadSome(*source, scratch->data(), known);
    if (count > 0)
        destination->write(scratch->data(), count);
    return count;
}

vnOpenedAdapter open(const vnString& url, vnSerializeAction action, vnUInt64 flags, vnString* error)
{
    vnString text;
    vnOpenedAdapter opened = vnOpenURL(url, {action, flags, vnString(), &text});
    if (!opened && error)
        *error = text.isEmpty() ? vnTranslated("Failed to open URL:") + url : text;
    return opened;
}
} // namespace

unsigned char vnURLExist(const vnString& url)
{
    const vnURLParts parts = vnSplitURL(url);
    // The attribute alone would name a file without a name, which opens nothing and has no error.
    if (parts.text.isEmpty())
        return 0;
    const char* exist = "";
    if (parts.attributes.isEmpty())
        exist = "exist=yes";
    else if (!vnSerializeAdapter::getURLAttributeValue("exist", parts.attributes, vnString()).yesNo())
        exist = "&exist=yes";
    // What is too long is cut at its end: then the attribute goes, which is only advice, and not the name.
    const vnString asked = vnString::formatString("%s%s%s?%s%s", parts.getSpelledBase(), parts.path,
                                                  parts.name, parts.attributes, exist);
    return vnOpenURL(asked, {VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT, vnString(), nullptr}).get() != nullptr;
}

unsigned char copyAdapters(vnSerializeAdapter* destination, vnSerializeAdapter* source, vnString* error)
{
    if (!destination)
        return refuse(error, "No valid destination adapter");
    if (!source)
        return refuse(error, "No valid source adapter");
    if (destination == source) // it would get as much as it gives, without an end
        return refuse(error, "Source and destination are one adapter");
    Scratch scratch;
    bool isStuck = false;
    while (!isStuck && !source->hasError() && !destination->hasError() && source->hasData())
        isStuck = copySome(destination, source, scratch) == 0 && !source->hasError() &&
                  source->hasData(); // it may end meanwhile
    if (hasFailed(source, error) || hasFailed(destination, error))
        return 0;
    return isStuck ? refuse(error, "Source adapter has data and gives none") : 1;
}

unsigned char copyAdapters(const vnString& destination, const vnString& source, vnString* error,
                           vnUInt64 destinationFlags, vnUInt64 sourceFlags)
{
    vnOpenedAdapter from = open(source, VN_SERIALIZE_INPUT, sourceFlags, error);
    const Holder holdFrom(from);
    if (!from || hasFailed(from.get(), error))
        return 0;
    vnOpenedAdapter to = open(destination, VN_SERIALIZE_OUTPUT, destinationFlags, error);
    const Holder holdTo(to);
    if (!to || hasFailed(to.get(), error) || !copyAdapters(to.get(), from.get(), error))
        return 0;
    // Nobody sees this adapter again, so what can't be written has to be told now. The adapter of somebody
    // else is left as it is: one in memory would lose the copy.
    const bool isHeldByOthers = to.isBorrowed() || to->getRef() > 1;
    if (!isHeldByOthers)
        to->flush();
    return !hasFailed(to.get(), error);
}

unsigned char copyAdapters(const vnString& destination, const vnString& source, vnString* error)
{
    return copyAdapters(destination, source, error, 0, 0);
}
