// SPDX-License-Identifier: MIT
#include <vnBase/vnKeyDatabase.h>

#include "core/vnKeyLocalRegistry.h"
#include "core/vnKeyStore.h"

#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMutex.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

namespace
{
constexpr const char* headerTail = "/VantorSDK";

struct State
{
    vnMutex mutex;
    unsigned char isSystemEnabled = 1;
    vnString defaultHeader = "software/Norvane Systems/VantorSDK";
    vnString defaultRegistry = "/usr/local/vantorsdk/vantorsdk.reg";
    vnString localURL;
    vnKeyLocalRegistryPointer local;
    vnKeyCache stored;
};

// Whether there is no more need to look for the default registry.
std::atomic<bool> isRegistryChosen{false};
thread_local bool isReadingRegistry = false;

vnMemCheck<State>& sharedState()
{
    static vnMemCheck<State> state;
    return state;
}

// Runs the work under the one lock of the settings. Nothing that looks a key up may run in it, nor what such
// a look-up may wait for.
template <class Work>
auto withState(Work work)
{
    vnMemCheck<State>& state = sharedState();
    if (!state.isValidMemory())
    {
        State own; // programs look keys up until their very end
        return work(own);
    }
    const vnBodyGuard guard(state.mutex);
    return work(state);
}

unsigned char fail(int error)
{
    errno = error;
    return 0;
}

// A text of its own, since the hash does not follow a substitution.
vnString slashed(const vnString& key)
{
    vnString result(key.getString(), key.length());
    return result.substitute('\\', '/') > 0 ? vnString(result.getString(), result.length()) : result;
}

// The form in which keys are stored: no slash at the ends, no two in a row.
vnString storedForm(const vnString& key)
{
    vnArray<char> text(key.length());
    unsigned short count = 0;
    for (unsigned short i = 0; i < key.length(); ++i)
    {
        const char byte = key(i);
        const bool follows = count > 0 && text[count - 1u] != '/';
        if (byte != '/' || follows)
            text[count++] = byte;
    }
    if (count > 0 && text[count - 1u] == '/')
        --count;
    return vnString(text.data(), count);
}

// Twice gives the text again. Answers whether it does.
bool scramble(vnString& text, const vnString& password)
{
    // Without a password the text must not pass the scrambler, which would cut one that is no UTF-8.
    if (password.hash() == 0)
        return true;
    vnString scrambled = text;
    scrambled.scramble(password.hash());
    vnString again = scrambled;
    const bool isWhole = again.scramble(password.hash()) == text;
    text = std::move(scrambled);
    return isWhole;
}

// Where the key of a user or of the machine is kept.
struct Place
{
    Place(const vnString& whole, const vnString& password)
    {
        const vnString text = slashed(whole);
        const void* last = ::memrchr(text.getString(), '/', text.length());
        if (last)
        {
            const auto length =
                static_cast<unsigned short>(static_cast<const char*>(last) - text.getString());
            key = text.left(length);
            name = text.left(static_cast<unsigned short>(length + 1), 1);
        }
        else
        {
            key = vnKeyDatabase::getDefaultKeyHeader();
            name = text;
        }
        isValid = scramble(name, password);
    }

    bool isValid; // no two names with this password are stored as one
    vnString key;
    vnString name;
};

void readDefaultRegistry()
{
    if (isRegistryChosen.load(std::memory_order_acquire) || isReadingRegistry)
        return;
    struct Reading
    {
        Reading() { isReadingRegistry = true; }
        ~Reading() { isReadingRegistry = false; }
    } reading;
    const vnString url = vnKeyDatabase::getDefaultRegistry();
    // Outside the lock, since opening a URL looks keys up. Threads that come here at one time read it each;
    // then none of them has to wait for another.
    vnKeyLocalRegistryPointer registry = url.isEmpty() ? nullptr : vnReadKeyLocalRegistry(url);
    withState(
        [&](State& state)
        {
            if (isRegistryChosen.load(std::memory_order_relaxed))
                return;
            if (registry)
                state.localURL = url;
            state.local = std::move(registry);
            isRegistryChosen.store(true, std::memory_order_release);
        });
}

bool findStored(State& state, vnRegKeyHeader header, const vnString& key, const vnString& name,
                vnString& value)
{
    if (!state.isSystemEnabled || header > VN_REG_KEY_CLASSES)
        return false;
    const vnKeyDocument& document = state.stored.get(header);
    unsigned int index = 0;
    if (!document.find(storedForm(key), name, index))
        return false;
    value = vnKeyDocument::valueText(document.getEntry(index));
    return true;
}

bool isBelow(const vnKeyDocument::Text& key, const vnString& above)
{
    const unsigned int length = above.length();
    if (key.size < length || std::memcmp(key.data, above.getString(), length) != 0)
        return false;
    return length == 0 || key.size == length || key.data[length] == '/';
}
} // namespace

bool vnKeyDatabase::findLocal(vnKeyLocalRegistry& registry, vnString header, vnString key,
                              const vnString& name, vnString& value)
{
    constexpr unsigned int longestAffix = 16;
    if (header.isLast(headerTail))
        header = header.right(static_cast<unsigned short>(std::strlen(headerTail)), 1);
    // Also where the header ends within a word of the key: documents rely on the plain comparison.
    if (key.isFirst(header, 0))
        key = key.left(header.length(), 1);
    key = key.strip('/', 1, 0);
    // Without key and name the path would search for any text.
    if (key.isEmpty() || name.isEmpty() ||
        key.length() + name.length() + longestAffix > vnString::VN_MAX_LENGTH)
        return false;
    // A CDATA section is found at any depth, plain text only from the top: documents rely on both.
    const vnString path = key + SLASH + name + SLASH;
    return vnFindInKeyLocalRegistry(registry, path + "<char_data>", VN_KEY_LOCAL_CHAR_DATA, value) ||
           vnFindInKeyLocalRegistry(registry, vnString(DSLASH) + path + "<cdata>", VN_KEY_LOCAL_CDATA, value);
}

bool vnKeyDatabase::find(vnRegKeyHeader header, const vnString& key, const vnString& name,
                         unsigned char storedOnly, vnString& value)
{
    if (!storedOnly)
        readDefaultRegistry();
    return withState(
        [&](State& state)
        {
            const vnString text = slashed(key);
            if (state.local && !storedOnly && findLocal(*state.local, state.defaultHeader, text, name, value))
                return true;
            return findStored(state, header, text, name, value);
        });
}

bool vnKeyDatabase::findBelow(vnRegKeyHeader header, const vnString& key, const vnString& password,
                              unsigned char storedOnly, vnString& value)
{
    const Place place(key, password);
    if (!place.isValid || !find(header, place.key, place.name, storedOnly, value))
        return false;
    scramble(value, password);
    return true;
}

bool vnKeyDatabase::findUser(const vnString& key, const vnString& password, unsigned char userOnly,
                             unsigned char storedOnly, vnString& value)
{
    if (!storedOnly && password.isEmpty() && vnReadEnvironment(key, value) != VN_ENVIRONMENT_NONE)
        return true;
    return findBelow(VN_REG_KEY_USER, key, password, storedOnly, value) ||
           (!userOnly && findBelow(VN_REG_KEY_MACHINE, key, password, storedOnly, value));
}

unsigned char vnKeyDatabase::setBelow(vnRegKeyHeader header, const vnString& key, vnString& value,
                                      const vnString& password)
{
    const Place place(key, password);
    if (!place.isValid || !scramble(value, password))
        return fail(EILSEQ);
    return setRegKey(header, place.key, place.name, value);
}

unsigned char vnKeyDatabase::removeBelow(vnRegKeyHeader header, const vnString& key, const vnString& password)
{
    const Place place(key, password);
    return place.isValid ? removeRegKey(header, place.key, place.name) : fail(EILSEQ);
}

vnString vnKeyDatabase::getRegKey(vnRegKeyHeader header, vnString key, const vnString& name)
{
    return getDefaultRegKey(header, std::move(key), name, vnString());
}

unsigned char vnKeyDatabase::existRegKey(vnRegKeyHeader header, vnString key, const vnString& name)
{
    vnString value;
    return find(header, key, name, 0, value);
}

unsigned char vnKeyDatabase::setRegKey(vnRegKeyHeader header, vnString key, const vnString& name,
                                       const vnString& value)
{
    if (!isSystemRegistryEnabled())
        return fail(EROFS);
    return vnChangeKeyStore(header, storedForm(slashed(key)), name, &value);
}

unsigned char vnKeyDatabase::removeRegKey(vnRegKeyHeader header, vnString key, const vnString& name)
{
    if (!isSystemRegistryEnabled())
        return fail(EROFS);
    return vnChangeKeyStore(header, storedForm(slashed(key)), name, nullptr);
}

vnString vnKeyDatabase::getDefaultRegKey(vnRegKeyHeader header, vnString key, const vnString& name,
                                         const vnString& defaultValue)
{
    vnString value;
    return find(header, key, name, 0, value) ? value : defaultValue;
}

vnArray<vnRegKeyPlace> vnKeyDatabase::getStoredKeys(vnRegKeyHeader header, vnString key)
{
    const vnString above = storedForm(slashed(key));
    return withState(
        [&](State& state)
        {
            if (!state.isSystemEnabled || header > VN_REG_KEY_CLASSES)
                return vnArray<vnRegKeyPlace>();
            const vnKeyDocument& document = state.stored.get(header);
            unsigned int count = 0;
            for (unsigned int i = 0; i < document.getCount(); ++i)
                count += isBelow(document.getEntry(i).key, above);
            vnArray<vnRegKeyPlace> places(count);
            for (unsigned int i = document.getCount(); count > 0; --i)
            {
                const vnKeyDocument::Entry entry = document.getEntry(i - 1);
                if (isBelow(entry.key, above))
                    places[--count] = {entry.key.asString(), entry.name.asString()};
            }
            return places;
        });
}

unsigned char vnKeyDatabase::checkStoredKeys(vnRegKeyHeader header, vnString* file)
{
    if (header > VN_REG_KEY_CLASSES)
        return fail(EINVAL);
    const vnString name = vnKeyFileName(header);
    if (file)
        *file = name;
    vnKeyDocument document;
    vnKeyFileIdentity identity;
    return name.isEmpty() || vnReadKeyStore(name, document, identity);
}

vnString vnKeyDatabase::getGlobalKey(vnString key, const vnString& password, unsigned char storedOnly)
{
    return getDefaultGlobalKey(std::move(key), vnString(), password, storedOnly);
}

unsigned char vnKeyDatabase::existGlobalKey(vnString key, const vnString& password, unsigned char storedOnly)
{
    vnString value;
    return findBelow(VN_REG_KEY_MACHINE, key, password, storedOnly, value);
}

unsigned char vnKeyDatabase::setGlobalKey(vnString key, vnString value, const vnString& password)
{
    return setBelow(VN_REG_KEY_MACHINE, key, value, password);
}

unsigned char vnKeyDatabase::removeGlobalKey(vnString key, const vnString& password)
{
    return removeBelow(VN_REG_KEY_MACHINE, key, password);
}

vnString vnKeyDatabase::getDefaultGlobalKey(vnString key, const vnString& defaultValue,
                                            const vnString& password, unsigned char storedOnly)
{
    vnString value;
    return findBelow(VN_REG_KEY_MACHINE, key, password, storedOnly, value) ? value : defaultValue;
}

vnString vnKeyDatabase::getUserKey(vnString key, const vnString& password, unsigned char userOnly,
                                   unsigned char storedOnly)
{
    return getDefaultUserKey(std::move(key), vnString(), password, userOnly, storedOnly);
}

unsigned char vnKeyDatabase::existUserKey(vnString key, const vnString& password, unsigned char userOnly,
                                          unsigned char storedOnly)
{
    vnString value;
    return findUser(key, password, userOnly, storedOnly, value);
}

unsigned char vnKeyDatabase::setUserKey(vnString key, vnString value, const vnString& password)
{
    return setBelow(VN_REG_KEY_USER, key, value, password);
}

unsigned char vnKeyDatabase::removeUserKey(vnString key, const vnString& password)
{
    return removeBelow(VN_REG_KEY_USER, key, password);
}

vnString vnKeyDatabase::getDefaultUserKey(vnString key, const vnString& defaultValue,
                                          const vnString& password, unsigned char userOnly,
                                          unsigned char storedOnly)
{
    vnString value;
    return findUser(key, password, userOnly, storedOnly, value) ? value : defaultValue;
}

unsigned char vnKeyDatabase::setLocalRegistry(const vnString& url)
{
    const auto exchange = [](vnKeyLocalRegistryPointer registry, const vnString& from)
    {
        vnString kept = from;
        withState(
            [&](State& state)
            {
                std::swap(state.local, registry);
                std::swap(state.localURL, kept);
                isRegistryChosen.store(true, std::memory_order_release);
            });
        // What was there before goes outside the lock.
    };
    exchange(nullptr, vnString());
    if (url.isEmpty())
        return 1;
    vnKeyLocalRegistryPointer registry = vnReadKeyLocalRegistry(url);
    if (!registry)
        return 0;
    exchange(std::move(registry), url);
    return 1;
}

vnString vnKeyDatabase::getLocalRegistryURL()
{
    return withState([](State& state) { return state.localURL; });
}

vnString vnKeyDatabase::getDefaultRegistry()
{
    return withState([](State& state) { return state.defaultRegistry; });
}

void vnKeyDatabase::setDefaultRegistry(const vnString& url)
{
    withState([&](State& state) { state.defaultRegistry = url; });
}

vnString vnKeyDatabase::getDefaultKeyHeader()
{
    return withState([](State& state) { return state.defaultHeader; });
}

void vnKeyDatabase::setDefaultKeyHeader(const vnString& header)
{
    withState([&](State& state) { state.defaultHeader = slashed(header); });
}

void vnKeyDatabase::enableSystemRegistry(unsigned char enabled)
{
    withState([&](State& state) { state.isSystemEnabled = enabled != 0; });
}

unsigned char vnKeyDatabase::isSystemRegistryEnabled()
{
    return withState([](State& state) { return state.isSystemEnabled; });
}
