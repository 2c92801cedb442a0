// SPDX-License-Identifier: MIT
#include <vnBase/vnMessage.h>

#include "core/vnEternal.h"
#include "vnCallbackLock.h"
#include "vnMessagePlatform.h"

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnSemaphore.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
// How the default receiver stands to the list. It is never an element of the list unless a program adds it:
// while it is active it stands for the only one, so that the first message changes no list under a read lock.
enum DefaultUse : unsigned char
{
    DEFAULT_PENDING, // no message yet
    DEFAULT_ACTIVE,
    DEFAULT_OFF, // for good
};

// The message system's lock guards the fields, but for the use of the default receiver, which a reader may
// change from pending to active.
struct Registry
{
    vnReadWriteMutex mutex;
    vnDynamicArray<vnMessageReceiverInterface*> receivers{4};
    std::atomic<unsigned int> suspended{
        0}; // deliveries that gave their read holds back and walk the list again later
    vnMessageTranslatorInterface* translator = nullptr;
};

std::atomic<DefaultUse> s_defaultUse{DEFAULT_PENDING};
std::atomic<vnAssertDialogue> s_assertDialogue{vnPlatformAssertDialogue};

// At the end of the process a thread may stand in a delivery, or hold the lock, for good.
constexpr unsigned int endMilliseconds = 200;

// The read holds of the calling thread: lets it see that it is within a delivery instead of waiting for
// itself.
__thread unsigned int s_readDepth __attribute__((tls_model("initial-exec"))) = 0;

Registry& registry()
{
    static vnEternal<Registry> instance;
    return instance.value;
}

class ReadScope : public vnCallbackReadGuard
{
public:
    explicit ReadScope(const Registry& state) : vnCallbackReadGuard(state.mutex, s_readDepth) {}
};

void releaseReadHolds()
{
    for (; s_readDepth > 0; --s_readDepth)
        registry().mutex.unLock();
}

void waitLockWrite(const vnReadWriteMutex& mutex)
{
    if (s_readDepth > 0 && mutex.getOwnerValue() != vnCurrentThreadID())
        vnExceptionThrows::vnThrowFatal(
            "vnMessage: receivers can't be added, nor the translator set, from within a delivery");
    mutex.waitLockWrite();
}

class WriteScope
{
public:
    explicit WriteScope(const Registry& state) : m_mutex(state.mutex) { waitLockWrite(m_mutex); }
    ~WriteScope() { m_mutex.unLock(); }
    WriteScope(const WriteScope&) = delete;
    WriteScope& operator=(const WriteScope&) = delete;

private:
    const vnReadWriteMutex& m_mutex;
};

// For removals, which destructors ask for: they also run within a delivery, not least when a receiver ends
// the program.
class RemoveScope : public vnCallbackWriteGuard
{
public:
    explicit RemoveScope(const Registry& state) : vnCallbackWriteGuard(state.mutex, s_readDepth) {}
};

// Counts a delivery that waits to go on, from before it gives its read holds back until it has them again.
class SuspendScope
{
public:
    explicit SuspendScope(Registry& state) : m_state(state), m_counts(s_readDepth > 0)
    {
        if (m_counts)
            m_state.suspended.fetch_add(1);
    }
    ~SuspendScope()
    {
        if (m_counts)
            m_state.suspended.fetch_sub(1);
    }
    SuspendScope(const SuspendScope&) = delete;
    SuspendScope& operator=(const SuspendScope&) = delete;

private:
    Registry& m_state;
    const bool m_counts;
};

struct Prefix
{
    vnMessageLevel severity;
    const char* plain;
    const char* internal;
};

constexpr Prefix prefixes[] = {
    {VN_MESSAGE_MEMORY, " Memory::", " Internal Memory::"},
    {VN_MESSAGE_PERF, " Perf::", " Internal Perf::"},
    {VN_MESSAGE_DEBUG, " Debug::", " Internal Debug::"},
    {VN_MESSAGE_NOTICE, " Notice::", " Internal Notice::"},
    {VN_MESSAGE_WARNING, " Warning::", " Internal Warning::"},
    {VN_MESSAGE_FATAL, " Fatal::", " Internal Fatal::"},
    {VN_MESSAGE_ASSERT, " Assert::", " Internal Assert::"},
    {VN_MESSAGE_ALWAYS, " Always::", " Internal Always::"},
};

const char* prefixOf(vnMessageLevel level)
{
    const bool internal = level & VN_MESSAGE_INTERNAL;
    for (const Prefix& prefix : prefixes)
        if (prefix.severity == (level & VN_MESSAGE_SEVERITY))
            return internal ? prefix.internal : prefix.plain;
    return internal ? " Internal::" : "::";
}

vnString translated(const char* text)
{
    return vnMessage::translate(vnMessage::getDefaultSender(), text);
}

// Abort ends the program from within the delivery: the destructors that run then want to remove receivers,
// so that this thread's part of the read lock is given back first.
[[noreturn]] void endProgram()
{
    releaseReadHolds();
    std::exit(99);
}

void presentAssert(const char* message)
{
    const vnString body =
        vnString::formatString("\n%s\n\n%s\n\n%s", translated("---- Press 'Retry' to debug  ----"),
                               translated("---- Press 'Ignore' to continue execution  ----"), message);
    switch (s_assertDialogue.load()(translated("VantorSDK Assert"), body))
    {
    case VN_ASSERT_ABORT:
        endProgram();
    case VN_ASSERT_RETRY:
        throw vnFatalError("breakpoint", 9999, 0);
    default:
        return;
    }
}

vnMutex s_consoleMutex;

class DefaultMessageReceiver : public vnMessageReceiverInterface, public vnMemoryCheck
{
public:
    constexpr DefaultMessageReceiver() = default;

    // From here on messages are dropped. What is left in the list belongs to statics that are destroyed later
    // or never, and the memory report wants its block back.
    ~DefaultMessageReceiver() noexcept(false) override
    {
        releaseReadHolds(); // the program may end within a delivery
        s_defaultUse = DEFAULT_OFF;
        Registry& state = registry();
        if (!vnMessage::tryLock(endMilliseconds))
            return;
        state.receivers.reallocate(0);
        vnMessage::unLock();
    }

    void onMessage(const vnString& sender, vnMessageLevel level, const char* message) override
    {
        if (!isValidMemory())
            return;
        char prefix[1024];
        strcpy_safe(prefix, sender, sizeof prefix);
        const std::size_t length = std::strlen(prefix);
        strcpy_safe(prefix + length, translated(prefixOf(level)),
                    static_cast<unsigned short>(sizeof prefix - length));
        print(prefix, message);
        vnPlatformDebugOutput(prefix, message);
        if ((level & 0xF000) == VN_MESSAGE_ASSERT)
            presentAssert(message);
    }

private:
    // The carriage return overwrites a line of progress.
    static void print(const char* prefix, const char* message)
    {
        vnBodyGuard guard(s_consoleMutex);
        std::fprintf(stdout, "\r%s", prefix);
        if (message)
            std::fprintf(stdout, "%s\n", message);
        std::fflush(stdout);
    }
};

// Constant initialisation: messages of other files' static initialisers find it complete.
DefaultMessageReceiver s_defaultReceiver;

// A message below the threshold does not come here: unlike the first one above it, it leaves the default
// receiver pending.
bool useDefaultReceiver(const Registry& state)
{
    if (s_defaultUse.load(std::memory_order_relaxed) == DEFAULT_OFF)
        return false;
    DefaultUse expected = DEFAULT_PENDING;
    s_defaultUse.compare_exchange_strong(expected, DEFAULT_ACTIVE);
    return state.receivers.isEmpty() && expected != DEFAULT_OFF;
}

void deliver(const Registry& state, const vnString& sender, vnMessageLevel level, const char* text)
{
    if (useDefaultReceiver(state))
    {
        s_defaultReceiver.onMessage(sender, level, text);
        return;
    }
    // By index: a thread that holds the write lock may post, and change the list from within the delivery.
    for (unsigned int i = 0; i < state.receivers.getSize(); ++i)
        if (vnMessageReceiverInterface* receiver = state.receivers.get(i))
            receiver->onMessage(sender, level, text);
}

bool isListed(const Registry& state, const vnMessageReceiverInterface* receiver)
{
    ReadScope guard(state);
    return std::find(state.receivers.begin(), state.receivers.end(), receiver) != state.receivers.end();
}

// Takes the receiver out of the list. Deliveries walk it by index: places stay where they are as long as one
// is suspended, be it by this removal or by that of another thread.
void erase(Registry& state, const vnMessageReceiverInterface* receiver)
{
    vnMessageReceiverInterface** end = state.receivers.end();
    vnMessageReceiverInterface** place = std::find(state.receivers.begin(), end, receiver);
    if (place != end)
        *place = nullptr;
    if (s_readDepth > 0 || state.suspended.load() > 0)
        return;
    end = std::remove(state.receivers.begin(), end, nullptr);
    state.receivers.setSize(static_cast<unsigned int>(end - state.receivers.begin()));
}

void remove(Registry& state, const vnMessageReceiverInterface* receiver)
{
    erase(state, receiver);
    if (receiver == &s_defaultReceiver && s_defaultUse == DEFAULT_ACTIVE)
        s_defaultUse = DEFAULT_OFF;
    if (state.receivers.isEmpty())
        state.receivers.reallocate(0);
}
} // namespace

std::atomic<vnMessageLevel> vnMessage::s_level{VN_MESSAGE_NOTICE};

vnMessageReceiverInterface::~vnMessageReceiverInterface() noexcept(false)
{
    vnMessage::removeMessageReceiver(this);
}

void vnMessage::post(const vnString& sender, vnMessageLevel level, const char* format,
                     const vnArgumentList& arguments)
{
    if (!s_defaultReceiver.isValidMemory())
        return;
    const Registry& state = registry();
    ReadScope guard(state);

    vnString text;
    const char* shown = format ? format : "";
    unsigned short length = strlen_safe(shown);
    if (state.translator && !(level & VN_MESSAGE_UNTRANSLATED) && level >= VN_MESSAGE_NOTICE)
    {
        text = state.translator->translate(sender, level, vnString(shown, length));
        if (text.isEmpty())
            return;
        shown = text;
        length = text.length();
    }
    vnString formatted;
    if (!(level & VN_MESSAGE_FINAL))
        shown = formatted.assignFormat(shown, length, arguments);
    else if (shown[length] != 0)
        shown = formatted = vnString(shown, length); // longer than a string
    deliver(state, sender, level, shown);
}

void vnMessage::setMessageLevel(vnMessageLevel level) noexcept
{
    if (level < VN_MESSAGE_ALWAYS + 1)
        s_level.store(level, std::memory_order_relaxed);
}

void vnMessage::addMessageReceiver(vnMessageReceiverInterface* receiver)
{
    if (!receiver || !s_defaultReceiver.isValidMemory())
        return;
    Registry& state = registry();
    WriteScope guard(state);
    erase(state, &s_defaultReceiver);
    if (std::find(state.receivers.begin(), state.receivers.end(), receiver) == state.receivers.end())
        state.receivers.append(receiver);
    s_defaultUse = DEFAULT_OFF;
}

void vnMessage::removeMessageReceiver(vnMessageReceiverInterface* receiver)
{
    Registry& state = registry();
    if (!receiver || (s_readDepth > 0 && !isListed(state, receiver)))
        return;
    if (s_defaultReceiver.isValidMemory())
    {
        const SuspendScope suspended(state);
        RemoveScope guard(state);
        remove(state, receiver);
    }
    else if (tryLock(endMilliseconds))
    {
        remove(state, receiver);
        unLock();
    }
}

vnMessageReceiverInterface* vnMessage::getDefaultMessageReceiver()
{
    return &s_defaultReceiver;
}

void vnMessage::setMessageTranslator(vnMessageTranslatorInterface* translator)
{
    Registry& state = registry();
    if (!translator)
    {
        const SuspendScope suspended(state);
        RemoveScope guard(state);
        state.translator = nullptr;
        return;
    }
    WriteScope guard(state);
    state.translator = translator;
}

vnMessageTranslatorInterface* vnMessage::getMessageTranslator()
{
    const Registry& state = registry();
    ReadScope guard(state);
    return state.translator;
}

vnMessageTranslatorInterface* vnMessage::getDefaultMessageTranslator()
{
    return nullptr;
}

vnString vnMessage::translate(const vnString& sender, const vnString& text)
{
    if (!s_defaultReceiver.isValidMemory())
        return text;
    const Registry& state = registry();
    ReadScope guard(state);
    return state.translator ? state.translator->translate(sender, VN_MESSAGE_ALWAYS, text) : text;
}

void vnMessage::setTranslation(const vnString& language, const vnString& sender, const vnString& text,
                               const vnString& translation)
{
    const Registry& state = registry();
    ReadScope guard(state);
    if (state.translator)
        state.translator->setTranslation(language, sender, text, translation);
}

void vnMessage::waitLock()
{
    waitLockWrite(registry().mutex);
}

void vnMessage::unLock()
{
    registry().mutex.unLock();
}

unsigned char vnMessage::tryLock(unsigned int milliseconds)
{
    return registry().mutex.tryLock(vnCurrentThreadID(), milliseconds);
}

vnAssertDialogue vnMessage::setAssertDialogue(vnAssertDialogue dialogue) noexcept
{
    return s_assertDialogue.exchange(dialogue ? dialogue : vnPlatformAssertDialogue);
}

vnString vnMessage::getDefaultSender()
{
    return vnString("VantorSDK");
}
