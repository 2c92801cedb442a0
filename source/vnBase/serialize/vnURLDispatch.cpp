// SPDX-License-Identifier: MIT
#include "vnURLDispatch.h"

#include "vnURLParts.h"

#include <vnBase/vnGuidStringDict.h>
#include <vnBase/vnSerializeAdapterCache.h>
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterRandomAccess.h>
#include <vnBase/vnSerializeAdapterStdIO.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace
{
std::atomic<unsigned int> s_maxDepth{32};
std::atomic<unsigned int> s_maxUntrustedSize{64u << 20};

// Adapters and managers open further URLs, and a GUID may stand for a URL in which it stands itself.
class DepthGuard
{
public:
    DepthGuard() noexcept { ++s_depth; }
    ~DepthGuard() { --s_depth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;
    bool isTooDeep() const noexcept { return s_depth > vnSerializeAdapter::getMaxURLDepth(); }

private:
    static thread_local unsigned int s_depth;
};

thread_local unsigned int DepthGuard::s_depth = 0;

// An adapter, or none that could be made; empty when the failure was reported.
using Created = std::optional<vnOpenedAdapter>;

unsigned char isAppending(const vnURLParts& parts)
{
    return vnSerializeAdapter::getURLAttributeValue("append", parts.attributes, vnString()).yesNo();
}

Created openFile(const vnURLParts& parts, const vnURLRequest& request)
{
    // Deliberately without the flags of the caller, unlike a name without a scheme: the name is always looked
    // up in the search path. Whether it is trusted is no such flag.
    return vnOpenedAdapter(new vnSerializeAdapterFile(
        parts.path + parts.name, request.action, isAppending(parts), request.flags & VN_ADAPTER_UNTRUSTED));
}

Created openNameWithoutScheme(const vnURLParts& parts, const vnURLRequest& request)
{
    // A purl URL without its parts has only its text: no manager has taken it, so that it is the name of a
    // file.
    const vnString name = parts.isValid ? parts.getSpelledBase() + parts.path + parts.name : parts.text;
    return vnOpenedAdapter(
        new vnSerializeAdapterFile(name, request.action, isAppending(parts), request.flags));
}

Created openCache(const vnURLParts& parts, const vnURLRequest& request)
{
    unsigned int offset = 0;
    int length = 0;
    vnString inner;
    // The attributes stay this adapter's own: the URL within is opened without any.
    // A negative length says that it stands in the stream, and is everything where it does not.
    if (vnSerializeAdapterCache::parseCacheURL(parts.path + parts.name, offset, length, inner))
        return vnOpenedAdapter(new vnSerializeAdapterCache(inner, offset, static_cast<unsigned int>(length),
                                                           length < 0, request.flags, request.password));
    request.report(VN_MESSAGE_WARNING, "Wrong syntax in (cache:offset,len,url) adapter arguments (%s)",
                   parts.text);
    return std::nullopt;
}

void* addressOf(const vnURLInteger& integer)
{
    // Some print an address as a signed number.
    const vnUInt64 value = integer.isNegative ? 0 - integer.magnitude : integer.magnitude;
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(value));
}

Created openMemory(const vnURLParts& parts, const vnURLRequest& request)
{
    std::string_view text = vnViewOf(parts.name);
    vnURLInteger address, length;
    bool isRight = vnTakeInteger(text, address) && text.substr(0, 1) == ",";
    if (isRight)
        text.remove_prefix(1);
    // What follows the length is not looked at. A length that 32 bits don't hold is refused, since a part of
    // the block is not what was asked for.
    isRight = isRight && vnTakeInteger(text, length) && !address.isCut &&
              length.magnitude <= std::numeric_limits<unsigned int>::max() &&
              !(length.isNegative && length.magnitude != 0);
    if (!isRight)
    {
        request.report(VN_MESSAGE_WARNING, "Wrong syntax in (mem:address,len) adapter arguments (%s)",
                       parts.text);
        return std::nullopt;
    }
    return vnOpenedAdapter(
        new vnSerializeAdapterMemory(addressOf(address), static_cast<unsigned int>(length.magnitude)));
}

Created openAdapter(const vnURLParts& parts, const vnURLRequest& request)
{
    std::string_view text = vnViewOf(parts.name);
    vnURLInteger address;
    if (!vnTakeInteger(text, address) || address.isCut)
    {
        request.report(VN_MESSAGE_WARNING, "Wrong syntax in (adapt:address) adapter arguments (%s)",
                       parts.text);
        return std::nullopt;
    }
    return vnOpenedAdapter(static_cast<vnSerializeAdapter*>(addressOf(address)), true);
}

// What stands between the last "{" and the "}" behind it.
vnString innerURLOf(const vnURLParts& parts)
{
    const std::string_view path = vnViewOf(parts.path);
    const std::size_t begin = path.rfind('{') + 1; // 0 without one
    return vnStringOf(path.substr(begin, path.find('}', begin) - begin));
}

Created openZip(const vnURLParts& parts, const vnURLRequest& request)
{
    if (!parts.isValid)
    {
        request.report(VN_MESSAGE_WARNING, "Wrong syntax in (zip:{archive url},file) adapter arguments (%s)",
                       parts.text);
        return std::nullopt;
    }
    // Before the archive is opened: opening it for output would drop what it holds.
    if (request.action != VN_SERIALIZE_INPUT)
    {
        request.report(VN_MESSAGE_WARNING, "Can not open '%s' as output", parts.text);
        return std::nullopt;
    }
    // Deliberately without the error string: that the archive did not open is told by its message alone.
    const vnRefPointer<vnSerializeAdapter> archive(
        vnOpenURL(innerURLOf(parts),
                  {request.action, request.flags, request.password, nullptr, request.reason})
            .release());
    if (!archive)
        return std::nullopt; // that was reported
    auto* zip = new vnSerializeAdapterZIP(archive, VN_SERIALIZE_INPUT);
    vnOpenedAdapter opened(zip);
    zip->setCurrentItem(parts.name);
    return opened;
}

Created openRandomAccess(const vnURLParts& parts, const vnURLRequest& request)
{
    // Deliberately without the attributes, which stay this adapter's own: an "append" here is not that of the
    // file within.
    const vnRefPointer<vnSerializeAdapter> target(vnSerializeAdapter::getURLAdapter(
        parts.path + parts.name, request.action, request.flags, request.password, nullptr));
    if (!target)
        return vnOpenedAdapter(); // a failure of its own, since the other one has no text for the caller
    return vnOpenedAdapter(new vnSerializeAdapterRandomAccess(target));
}

Created openConsole(const vnURLParts&, const vnURLRequest&)
{
    return vnOpenedAdapter(new vnSerializeAdapterStdIO);
}

// Schemes of the library that this build can't open: they must not fall through to files of these names.
Created openNothing(const vnURLParts&, const vnURLRequest&)
{
    return vnOpenedAdapter();
}

struct Scheme
{
    std::string_view base;
    Created (*open)(const vnURLParts&, const vnURLRequest&);
    bool reachesProcess = false; // its memory or its channels
};

constexpr Scheme schemes[] = {
    {"file:", openFile},
    {"cache:", openCache},
    {"mem:", openMemory, true},
    {"adapt:", openAdapter, true},
    {"pipe:", openNothing, true},
    {"psrv:", openNothing, true},
    {"zip:", openZip},
    {"con:", openConsole, true},
    {"http:", openNothing},
    {"udp:", openNothing},
    {"tcp:", openNothing},
    {"rand:", openRandomAccess},
};

const Scheme* schemeOf(const vnURLParts& parts)
{
    const std::string_view base = vnViewOf(parts.base);
    const Scheme* const found = std::find_if(std::begin(schemes), std::end(schemes),
                                             [base](const Scheme& scheme) { return scheme.base == base; });
    return found == std::end(schemes) ? nullptr : found;
}

Created openByScheme(const vnURLParts& parts, const vnURLRequest& request)
{
    const Scheme* const scheme = schemeOf(parts);
    return scheme ? scheme->open(parts, request) : openNameWithoutScheme(parts, request);
}

bool isRefused(const vnURLParts& parts, const vnURLRequest& request)
{
    const Scheme* const scheme = request.isTrusted() ? nullptr : schemeOf(parts);
    return scheme && scheme->reachesProcess;
}

// The last adapter that was handed out by its address. A manager that opens an "adapt:" URL passes it on as a
// plain pointer, and nobody could tell it from a new one, which is deleted when it is not wanted.
thread_local vnSerializeAdapter* s_borrowed = nullptr;

// Asks a manager, which may open further URLs.
vnOpenedAdapter ask(vnSerializeURLManagerInterface& manager, const vnURLParts& parts,
                    const vnURLRequest& request)
{
    vnSerializeAdapter* const before = std::exchange(s_borrowed, nullptr);
    // The URL is the one that was rewritten: "cache:" stands in front, GUIDs are replaced.
    vnSerializeAdapter* const adapter =
        manager.getURLAdapter(parts.text, request.action, request.flags, request.password, request.error);
    const bool isBorrowed = adapter && adapter == s_borrowed;
    s_borrowed = before;
    return vnOpenedAdapter(adapter, isBorrowed);
}

vnOpenedAdapter openByManager(const vnURLParts& parts, const vnURLRequest& request)
{
    vnRefPointer<vnSerializeURLManagerInterface> manager(
        vnSerializeAdapter::getURLManager(parts.base, nullptr));
    while (manager)
    {
        // Found before, since a manager may unregister itself when it is asked.
        const vnRefPointer<vnSerializeURLManagerInterface> next(
            vnSerializeAdapter::getURLManager(parts.base, manager));
        if (vnOpenedAdapter opened = ask(*manager, parts, request))
            return opened;
        manager = next;
    }
    return vnOpenedAdapter();
}

// Puts what GUIDs stand for in their places. False when one is not known, which was reported.
bool resolveGUIDs(vnURLParts& parts, const vnURLRequest& request)
{
    constexpr vnMessageLevel level = VN_MESSAGE_WARNING | VN_MESSAGE_INTERNAL;
    if (vnIsGUIDText(parts.text))
    {
        parts.text = vnGuidStringDict::lookup(parts.text);
        if (parts.text.isEmpty())
        {
            request.report(level, "Unknown GUID URL in getAdapter");
            return false;
        }
    }
    parts = vnSplitURL(parts.text);
    if (!parts.isValid || !vnIsGUIDText(parts.name))
        return true;
    parts.name = vnGuidStringDict::lookup(parts.name);
    if (parts.name.isEmpty())
    {
        request.report(level, "Unknown GUID URLName in getAdapter");
        return false;
    }
    // A GUID stands for any text, and a string that is joined to be too long is cut to another one.
    const unsigned int query = parts.attributes.isEmpty() ? 0 : parts.attributes.length() + 1u;
    const unsigned int joined = parts.base.length() + parts.path.length() + parts.name.length() + query;
    if (joined > vnString::VN_MAX_LENGTH)
    {
        request.report(VN_MESSAGE_WARNING, "Too long URL in getAdapter");
        return false;
    }
    parts.text = parts.getSpelledBase() + parts.path + parts.name;
    if (!parts.attributes.isEmpty())
        parts.text += vnString("?") + parts.attributes;
    return true;
}

vnOpenedAdapter checked(vnOpenedAdapter opened, const vnURLParts& parts, const vnURLRequest& request)
{
    if (!opened)
    {
        request.report(VN_MESSAGE_WARNING, "Could not create URL Adapter '%s'", parts.text);
        return opened;
    }
    if (opened->hasError())
    {
        request.report(VN_MESSAGE_WARNING, "URL Adapter (%s) Error:%s", parts.text, opened->getError());
        return vnOpenedAdapter();
    }
    opened->setURLBase(parts.base);
    opened->setDefaultPath(parts.path);
    opened->setName(parts.name);
    opened->setPassword(request.password);
    opened->setAttributes(parts.attributes);
    opened->setAdapterFlags(request.flags);
    return opened;
}
} // namespace

vnOpenedAdapter vnOpenURL(const vnString& url, const vnURLRequest& request)
{
    const DepthGuard guard;
    if (guard.isTooDeep())
    {
        request.report(VN_MESSAGE_WARNING, "Too many URLs within each other in getAdapter");
        return vnOpenedAdapter();
    }
    if (url.isEmpty())
    {
        request.report(VN_MESSAGE_WARNING, "Empty URL name in getAdapter");
        return vnOpenedAdapter();
    }
    vnURLParts parts;
    parts.text = url;
    if (!resolveGUIDs(parts, request))
        return vnOpenedAdapter();
    if (isRefused(parts, request)) // before the managers of such a scheme are asked
    {
        request.report(VN_MESSAGE_WARNING, "A URL from outside may not reach '%s'", parts.base);
        return vnOpenedAdapter();
    }
    if (vnOpenedAdapter opened = openByManager(parts, request))
        return checked(std::move(opened), parts, request);
    Created created = openByScheme(parts, request);
    return created ? checked(std::move(*created), parts, request) : vnOpenedAdapter();
}

vnSerializeAdapter* vnSerializeAdapter::getURLAdapter(const vnString& url, vnSerializeAction action,
                                                      vnUInt64 flags, const vnString& password,
                                                      vnString* error)
{
    vnOpenedAdapter opened = vnOpenURL(url, {action, flags, password, error});
    if (opened.isBorrowed())
        s_borrowed = opened.get();
    return opened.release();
}

unsigned int vnSerializeAdapter::getMaxURLDepth() noexcept
{
    return s_maxDepth.load(std::memory_order_relaxed);
}

void vnSerializeAdapter::setMaxURLDepth(unsigned int depth) noexcept
{
    s_maxDepth.store(depth ? depth : 1, std::memory_order_relaxed);
}

unsigned int vnSerializeAdapter::getMaxUntrustedSize() noexcept
{
    return s_maxUntrustedSize.load(std::memory_order_relaxed);
}

void vnSerializeAdapter::setMaxUntrustedSize(unsigned int size) noexcept
{
    s_maxUntrustedSize.store(size, std::memory_order_relaxed);
}
