// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnGuidStringDict.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnURL.h>

#include <algorithm>

// Any text as a URL: its parts are found without a fault and hold what they promise; attributes likewise. One
// from outside reaches nothing in the process, whatever stands within it.

namespace
{
struct Parts
{
    vnString base, path, name, attributes;
    unsigned char valid = 2;
    unsigned char absolute = 2;
};

Parts split(const vnString& url)
{
    Parts parts;
    parts.absolute = vnSerializeAdapter::getURLBaseEncoding(url, &parts.base, &parts.path, &parts.name,
                                                            &parts.attributes, &parts.valid);
    return parts;
}

void checkParts(const Parts& parts)
{
    VN_FUZZ_CHECK(parts.valid <= 1);
    VN_FUZZ_CHECK(parts.absolute == (!parts.base.isEmpty() || parts.path.isFirst('/')));
    VN_FUZZ_CHECK(parts.base.isEmpty() || parts.base.find(':') == parts.base.length() - 1);
    const bool hasOwnSyntax = parts.base == "zip:" || parts.base == "purl:";
    if (hasOwnSyntax)
        return;
    VN_FUZZ_CHECK(parts.valid);
    VN_FUZZ_CHECK(parts.path.isEmpty() || parts.path.isLast('/'));
    VN_FUZZ_CHECK(parts.name.find('/') == parts.name.length());
    VN_FUZZ_CHECK(parts.attributes.find('?') == parts.attributes.length());
}

// What was split and glued together splits into the same parts. Left out is what is rewritten once more:
// a further "cache:" and its numbers, a second colon at the front of a URL within, the last question mark of
// a path or name.
void checkGlue(const Parts& parts)
{
    vnString glued = parts.base + parts.path + parts.name;
    const bool hasQuestion = glued.find('?') < glued.length();
    if (!parts.attributes.isEmpty())
        glued += vnString("?") + parts.attributes;
    else if (hasQuestion)
        return;
    if (!parts.valid || parts.base.isEmpty() || parts.base == "purl:" || glued.contains("cache:", 0, 0))
        return;
    const Parts again = split(glued);
    VN_FUZZ_CHECK(again.base == parts.base);
    VN_FUZZ_CHECK(again.path == parts.path);
    VN_FUZZ_CHECK(again.name == parts.name);
    VN_FUZZ_CHECK(again.attributes == parts.attributes);
}

// In the place of the schemes that must not be reached, or that reach more than the fuzzer should.
class Gate : public vnSerializeURLManagerInterface
{
public:
    explicit Gate(bool isOpen) : m_isOpen(isOpen) {}
    vnSerializeAdapter* getURLAdapter(const vnString&, vnSerializeAction, vnUInt64, const vnString&,
                                      vnString*) override
    {
        VN_FUZZ_CHECK(m_isOpen);
        return new vnSerializeAdapterQueue(VN_QUEUE_FIFO);
    }

private:
    bool m_isOpen;
};

void openFromOutside(const vnString& url)
{
    const vnRefPointer<vnSerializeAdapter> adapter(
        vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, VN_ADAPTER_UNTRUSTED | VN_ADAPTER_SILENT));
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
    // What GUIDs stand for is split, too; the second one names itself.
    vnGuidStringDict::enter(vnGUID(1ull, 2), "http://host/cache:0,9,dir/file.txt?a=1");
    vnGuidStringDict::enter(vnGUID(3ull, 4), vnString("purl:prefix,") + vnString(vnGUID(3ull, 4).asString()));
    vnGuidStringDict::enter(vnGUID(5ull, 6), "mem:1,8");
    auto* const open = new Gate(true); // the registry holds them
    auto* const closed = new Gate(false);
    for (const char* scheme : {"file:", "http:", "udp:", "tcp:", "dummy:"})
        vnSerializeAdapter::registerURLManager(scheme, open);
    for (const char* scheme : {"mem:", "adapt:", "con:", "pipe:", "psrv:"})
        vnSerializeAdapter::registerURLManager(scheme, closed);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = vnFuzzInput(data, size).rest();
    const vnString url(text.data(), static_cast<unsigned short>(std::min<std::size_t>(text.size(), 65535)));
    const Parts parts = split(url);
    checkParts(parts);
    checkGlue(parts);
    vnIsDirURL(url);
    const vnString value = vnSerializeAdapter::getURLAttributeValue(url.left(1), url, "none");
    VN_FUZZ_CHECK(value.length() <= std::max<unsigned int>(url.length(), 4));
    // Others would ask the managers as trusted ones.
    if (parts.base == "zip:" && !parts.valid)
        VN_FUZZ_CHECK(!vnURLExist(url));
    openFromOutside(url);
    openFromOutside(vnString("rand:") + url);
    return 0;
}
