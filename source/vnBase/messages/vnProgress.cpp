// SPDX-License-Identifier: MIT
#include <vnBase/vnProgress.h>

#include "core/vnEternal.h"
#include "vnCallbackLock.h"

#include <vnBase/vnDict.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSemaphore.h>

#include <cstdio>

namespace
{
struct Listeners
{
    vnReadWriteMutex mutex; // guards the fields and the chains of remembered listeners
    vnDict<vnUInt32CompareInterface, vnProgressInterface> ofThreads;
    vnProgressInterface* ofAll = nullptr;

    vnProgressInterface* find(unsigned int thread) const
    {
        vnProgressInterface* listener = ofThreads.peek(thread);
        return listener ? listener : ofAll;
    }
};

Listeners& listeners()
{
    static vnEternal<Listeners> instance;
    return instance.value;
}

// The read holds of the calling thread.
__thread unsigned int s_readDepth __attribute__((tls_model("initial-exec"))) = 0;

class ReadScope : public vnCallbackReadGuard
{
public:
    explicit ReadScope(const Listeners& state) : vnCallbackReadGuard(state.mutex, s_readDepth) {}
};

// A listener may take itself out, and be destroyed, within its own report. Nothing is read behind the reports
// that are under way.
class WriteScope : public vnCallbackWriteGuard
{
public:
    explicit WriteScope(const Listeners& state) : vnCallbackWriteGuard(state.mutex, s_readDepth) {}
};

void refuseWithinReport()
{
    if (s_readDepth > 0)
        vnExceptionThrows::vnThrowFatal("vnProgress: listeners can't be replaced from within a report");
}

void setOfThread(Listeners& state, unsigned int thread, vnProgressInterface* listener)
{
    if (!listener)
    {
        state.ofThreads.remove(thread);
        return;
    }
    // In its entry when there is one: a listener that takes itself out needs no memory.
    for (auto& entry : state.ofThreads)
        if (entry.getKey() == thread)
            return entry.setValue(listener);
    vnPrivateMemoryScope scope;
    state.ofThreads.enter(thread, listener);
}
} // namespace

vnProgressInterface* vnProgress::s_firstActive = nullptr;

vnProgressInterface::~vnProgressInterface() noexcept(false)
{
    vnProgress::forget(*this);
}

void vnProgressInterface::onProgress(unsigned char, const char*) {}

void vnProgressInterface::activateProgressInterface()
{
    vnProgress::activate(*this);
}

void vnProgressInterface::deactivateProgressInterface()
{
    vnProgress::deactivate(*this);
}

void vnProgressInterface::routeProgress(unsigned char percent, const char* banner)
{
    vnProgress::route(*this, percent, banner);
}

void vnDefaultProgressInterface::onProgress(unsigned char percent, const char* banner)
{
    const char* shown = banner ? banner : "";
    vnBodyGuard guard(m_mutex);
    // Deliberately the first characters alone: that tells most operations apart, and a banner that counts
    // along does not flood the terminal.
    if (percent == m_lastPercent && shown[0] == m_lastBanner.getString()[0])
        return;
    std::fprintf(stdout, "\r%s:Progress %d%%\t\t%s", shown, percent,
                 percent >= 100 ? "                               \n" : "");
    std::fflush(stdout);
    m_lastPercent = percent;
    if (shown[0])
        m_lastBanner = shown;
}

void vnProgress::progress(unsigned char percent, const char* banner)
{
    const Listeners& state = listeners();
    ReadScope guard(state);
    if (vnProgressInterface* listener = state.find(vnCurrentThreadID()))
        listener->onProgress(percent, banner);
}

vnProgressInterface* vnProgress::getProgressInterface()
{
    const Listeners& state = listeners();
    ReadScope guard(state);
    return state.find(vnCurrentThreadID());
}

vnProgressInterface* vnProgress::setProgressInterface(vnProgressInterface* listener)
{
    refuseWithinReport();
    const unsigned int thread = vnCurrentThreadID();
    Listeners& state = listeners();
    WriteScope guard(state);
    vnProgressInterface* old = state.ofThreads.peek(thread);
    setOfThread(state, thread, listener);
    return old;
}

vnProgressInterface* vnProgress::setDefaultProgressInterface(vnProgressInterface* listener)
{
    refuseWithinReport();
    Listeners& state = listeners();
    WriteScope guard(state);
    return std::exchange(state.ofAll, listener);
}

// Whatever is remembered lives: a listener that leaves is replaced by the one that it remembers itself.
void vnProgress::replaceRemembered(const vnProgressInterface& leaving, vnProgressInterface* by)
{
    for (vnProgressInterface* each = s_firstActive; each; each = each->m_nextActive)
        if (each->m_previous == &leaving)
            each->m_previous = by;
}

void vnProgress::activate(vnProgressInterface& listener)
{
    refuseWithinReport();
    const unsigned int thread = vnCurrentThreadID();
    Listeners& state = listeners();
    WriteScope guard(state);
    if (listener.isProgressInterfaceActive())
        return;
    // It may be remembered already, as the one that a program has set: a report must not go round in a
    // circle.
    replaceRemembered(listener, nullptr);
    vnProgressInterface* ofThread = state.ofThreads.peek(thread);
    if (ofThread)
        setOfThread(state, thread, &listener);
    vnProgressInterface* previous = ofThread ? ofThread : std::exchange(state.ofAll, &listener);
    listener.m_previous = previous == &listener ? nullptr : previous;
    listener.m_nextActive = std::exchange(s_firstActive, &listener);
    listener.m_thread = thread;
    listener.m_flags = vnProgressInterface::VN_ACTIVE | (ofThread ? vnProgressInterface::VN_PER_THREAD : 0) |
                       (previous == &listener ? vnProgressInterface::VN_WAS_SET : 0);
}

// Allocates nothing: destructors come here.
void vnProgress::deactivate(vnProgressInterface& listener)
{
    Listeners& state = listeners();
    WriteScope guard(state);
    if (!listener.isProgressInterfaceActive())
        return;
    const bool ofThread = listener.m_flags & vnProgressInterface::VN_PER_THREAD;
    vnProgressInterface* top = ofThread ? state.ofThreads.peek(listener.m_thread) : state.ofAll;
    // The destructor takes it out of all places afterwards, also of one in which it was set.
    if (top == &listener && !(listener.m_flags & vnProgressInterface::VN_WAS_SET))
    {
        if (ofThread)
            setOfThread(state, listener.m_thread, listener.m_previous);
        else
            state.ofAll = listener.m_previous;
    }
    vnProgressInterface** link = &s_firstActive;
    while (*link != &listener)
        link = &(*link)->m_nextActive;
    *link = std::exchange(listener.m_nextActive, nullptr);
    replaceRemembered(listener, listener.m_previous);
    listener.m_previous = nullptr;
    listener.m_flags = 0;
}

void vnProgress::forget(vnProgressInterface& listener)
{
    deactivate(listener);
    Listeners& state = listeners();
    WriteScope guard(state);
    replaceRemembered(listener, nullptr); // one that was set remembers none
    if (state.ofAll == &listener)
        state.ofAll = nullptr;
    for (auto entry = state.ofThreads.begin(); entry != state.ofThreads.end();)
        if (entry.getValue() == &listener)
            entry.remove();
        else
            ++entry;
}

void vnProgress::route(const vnProgressInterface& listener, unsigned char percent, const char* banner)
{
    ReadScope guard(listeners());
    if (listener.isProgressInterfaceActive() && listener.m_previous)
        listener.m_previous->onProgress(percent, banner);
}
