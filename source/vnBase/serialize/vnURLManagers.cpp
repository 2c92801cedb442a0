// SPDX-License-Identifier: MIT
#include "vnReadClaimed.h"
#include "vnURLDispatch.h"
#include "vnURLParts.h"

#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnRandom.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnURL.h>

#include <algorithm>
#include <atomic>
#include <limits>

namespace
{
constexpr const char* VN_DUMMY_BASE = "dummy:";
constexpr unsigned int VN_RANDOM_BLOCK = 4096;

std::atomic<unsigned int> s_maxDummySize{std::numeric_limits<unsigned int>::max()};

// Null for so many bytes that memory does not hold them.
vnSerializeAdapter* createRandomBytes(unsigned int size)
{
    vnOpenedAdapter opened(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    const auto fill = [&]
    {
        unsigned char block[VN_RANDOM_BLOCK];
        for (unsigned int left = size; left > 0;)
        {
            const unsigned int count = std::min(left, VN_RANDOM_BLOCK);
            std::generate_n(block, count, [] { return static_cast<unsigned char>(vnRandomUInt32()); });
            opened->write(block, count);
            left -= count;
        }
    };
    return vnTakeMemory(size, fill) ? opened.release() : nullptr;
}

// "dummy:1000" reads as 1000 random bytes, for tests of receivers.
class DummyURLManager final : public vnSerializeURLManagerInterface
{
public:
    unsigned char useDeepCopy() override { return 0; }

    unsigned char releaseRefs() override
    {
        vnSerializeAdapter::unregisterURLManager(VN_DUMMY_BASE, this);
        return 1;
    }

    // A refusal is no end: the built-in schemes are tried next, and open a file of this name if they can.
    vnSerializeAdapter* getURLAdapter(const vnString& url, vnSerializeAction action, vnUInt64 flags,
                                      const vnString& password, vnString* error) override
    {
        const vnURLRequest request{action, flags, password, error};
        const vnUInt64 most = request.isTrusted() ? s_maxDummySize.load(std::memory_order_relaxed) : 0;
        vnURLInteger size;
        std::string_view text = vnViewOf(url);
        text.remove_prefix(std::min(text.find(':') + 1, text.size()));
        if (!vnTakeInteger(text, size) || (size.isNegative && size.magnitude != 0) ||
            size.magnitude > std::numeric_limits<unsigned int>::max())
            request.report(VN_MESSAGE_WARNING, "Wrong syntax in (dummy:{size}) adapter arguments (%s)", url);
        else if (action != VN_SERIALIZE_INPUT)
            request.report(VN_MESSAGE_WARNING, "Can not open '%s' as output", url);
        else if (size.magnitude > most)
            request.report(VN_MESSAGE_WARNING, "Too many bytes in (dummy:{size}) adapter arguments (%s)",
                           url);
        else if (vnSerializeAdapter* made = createRandomBytes(static_cast<unsigned int>(size.magnitude)))
            return made;
        else
            request.report(VN_MESSAGE_WARNING, "No memory for (dummy:{size}) adapter arguments (%s)", url);
        return nullptr;
    }
};

// Keys are ordinary strings and looked up by ordinary strings, so that no comparison writes to one and
// threads may look them up at once.
class Registry : public vnRefDict<vnString, vnSerializeURLManagerInterface>
{
public:
    Registry() : m_dummy(new DummyURLManager, 0)
    {
        enter(vnString(VN_DUMMY_BASE), static_cast<DummyURLManager*>(m_dummy.get()));
    }

private:
    vnCleanupReference m_dummy;
};

// Made on first use, since static initializers of other files register managers. Null once it was destroyed.
Registry* getRegistry()
{
    static vnMemCheck<Registry> registry;
    return registry.isValidMemory() ? &registry : nullptr;
}

// Made at the start at the latest. The first look-up may come when references are cleaned up, and must not
// wait for the list of these then.
[[maybe_unused]] const Registry* const s_started = getRegistry();

vnString ordinary(const vnString& text)
{
    return vnStringOf(vnViewOf(text));
}

vnString keyOf(const vnString& scheme)
{
    const vnString key = ordinary(scheme.toLower());
    return key.isLast(':') ? key : key + ":";
}
} // namespace

void vnSerializeAdapter::registerURLManager(const vnString& scheme, vnSerializeURLManagerInterface* manager)
{
    Registry* registry = getRegistry();
    if (!manager || !registry)
        return;
    // Once only: a walk goes on behind the first entry of a manager, so that it would never get past a second
    // one.
    const vnString key = keyOf(scheme);
    const vnSerializeURLManagerInterface* known = registry->peek(key);
    while (known && known != manager)
        known = registry->peek(key, known);
    if (!known)
        registry->enter(key, manager);
}

void vnSerializeAdapter::unregisterURLManager(const vnString& scheme, vnSerializeURLManagerInterface* manager)
{
    Registry* registry = getRegistry();
    if (manager && registry)
        registry->remove(keyOf(scheme), manager);
}

vnSerializeURLManagerInterface* vnSerializeAdapter::getURLManager(const vnString& key,
                                                                  vnSerializeURLManagerInterface* previous)
{
    const Registry* registry = getRegistry();
    if (!registry)
        return nullptr;
    return registry->peek(key.isUnique() ? ordinary(key) : key, previous);
}

unsigned char vnSerializeAdapter::hasRegisteredURLManager(const vnString& key)
{
    return getURLManager(key) != nullptr;
}

void vnSetMaxDummyURLSize(unsigned int bytes)
{
    s_maxDummySize.store(bytes, std::memory_order_relaxed);
}
