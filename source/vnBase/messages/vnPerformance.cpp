// SPDX-License-Identifier: MIT
#include <vnBase/vnPerformance.h>

#include "core/vnEternal.h"
#include "vnPerformanceData.h"
#include "vnPerformanceThread.h"

#include <vnBase/vnTime.h>

#include <algorithm>
#include <new>

namespace
{
constexpr unsigned int maximalDepth = 2000;

std::atomic<bool> s_enabled{false};
std::atomic<unsigned int> s_depth{500};

// The calling thread's data, once it was found; it leaves the dictionary on its own thread only.
__thread vnPerformanceThreadData* s_own __attribute__((tls_model("initial-exec"))) = nullptr;

vnPerformanceThreadData* create(vnPerformanceThreads& threads, unsigned int thread)
{
    vnPrivateMemoryScope scope;
    vnRefPointer<vnPerformanceThreadData> data(new vnPerformanceThreadData(thread, vnTime::systemSeconds()));
    threads.running.enter(thread, data);
    return data;
}

vnPerformanceThreadData* findOrCreate(unsigned int thread)
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    vnPerformanceThreadData* data = threads.findRunning(thread);
    return data ? data : create(threads, thread);
}

vnPerformanceThreadData* findOwn()
{
    if (s_own)
        return s_own;
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    return s_own = threads.findRunning(vnCurrentThreadID());
}

vnPerformanceData* createSection(vnPerformanceThreadData& own, vnPerformanceTree& tree,
                                 const vnSectionName& name)
{
    vnBodyGuard guard(own.treeLock);
    vnPrivateMemoryScope scope;
    vnRefPointer<vnPerformanceData> section(new vnPerformanceData(own.current));
    tree.enter(name, section);
    return section;
}

// Calls `visit(data)` for each thread that is meant.
template <class Visit>
void forEachThread(unsigned int thread, const Visit& visit)
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    const auto visitLocked = [&](vnPerformanceThreadData& data)
    {
        if (thread != 0 && data.thread != thread)
            return;
        vnBodyGuard treeGuard(data.treeLock);
        visit(data);
    };
    for (const auto& entry : threads.running)
        for (vnPerformanceThreadData* data = entry.getValue(); data; data = data->inner)
            visitLocked(*data);
    for (vnPerformanceThreadData* data = threads.firstStopped; data; data = data->nextStopped)
        visitLocked(*data);
}

// Calls `visit(name, section)` for all sections below, each before its own children.
template <class Visit>
void forEachSection(const vnPerformanceTree& tree, const Visit& visit)
{
    for (const auto& entry : tree)
    {
        visit(entry.getKey(), *entry.getValue());
        forEachSection(entry.getValue()->children, visit);
    }
}

// Calls `visit(section)` for all sections of the name.
template <class Visit>
void forEachSectionNamed(const vnString& name, unsigned int thread, const Visit& visit)
{
    const vnSectionName wanted(name);
    const auto visitNamed = [&](const vnSectionName& key, vnPerformanceData& section)
    {
        if (key == wanted)
            visit(section);
    };
    forEachThread(thread, [&](vnPerformanceThreadData& data) { forEachSection(data.root, visitNamed); });
}

// The lock is held.
void stop(vnPerformanceThreads& threads, vnPerformanceThreadData* running)
{
    vnRefPointer<vnPerformanceThreadData> data(running);
    if (data->outer)
        data->outer->inner = nullptr;
    else
        threads.running.remove(data->thread);
    data->outer = nullptr;
    data->total = vnTime::systemSeconds() - data->start;
    data->isStopped = true;
    // Programs that never look do not pay for each thread that they ever ran.
    if (vnEnabledPerformanceSections() || !data->root.isEmpty() || !data->name.isEmpty())
        threads.appendStopped(data);
}

// Stops all that runs under the id.
void stopAll(vnPerformanceThreads& threads, unsigned int thread)
{
    while (vnPerformanceThreadData* data = threads.findRunning(thread))
        stop(threads, data);
}

// Fresh data of the calling thread: within those that it has, or in place of those of a thread that ended
// without a word and had the same id.
vnPerformanceThreadData* start(unsigned int thread)
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    vnPerformanceThreadData* known = threads.findRunning(thread);
    if (known && !known->isStarted && known->root.isEmpty())
    {
        known->start = vnTime::systemSeconds(); // was only named
        return known;
    }
    if (!s_own)
    {
        stopAll(threads, thread);
        return create(threads, thread);
    }
    vnPrivateMemoryScope scope;
    s_own->inner = new vnPerformanceThreadData(thread, vnTime::systemSeconds());
    s_own->inner->outer = s_own;
    return s_own->inner;
}

// The last one that stopped under the id; null when there is none.
vnPerformanceThreadData* findStopped(const vnPerformanceThreads& threads, unsigned int thread)
{
    vnPerformanceThreadData* found = nullptr;
    for (vnPerformanceThreadData* data = threads.firstStopped; data; data = data->nextStopped)
        if (data->thread == thread)
            found = data;
    return found;
}

// The monitor and its lock; a monitor may call in again.
std::atomic<vnPerformanceMonitorInterface*> s_monitor{nullptr};

const vnMutex& monitorMutex()
{
    static vnEternal<vnMutex> mutex;
    return mutex.value;
}

template <class Call>
void callMonitor(const Call& call)
{
    if (!s_monitor.load(std::memory_order_acquire))
        return;
    vnBodyGuard guard(monitorMutex());
    if (vnPerformanceMonitorInterface* monitor = s_monitor.load(std::memory_order_relaxed))
        call(*monitor);
}
} // namespace

vnPerformanceThreads& vnGetPerformanceThreads()
{
    static vnEternal<vnPerformanceThreads> threads;
    return threads.value;
}

void vnEnablePerformanceSections(unsigned char enable)
{
    s_enabled.store(enable != 0, std::memory_order_relaxed);
}

unsigned char vnEnabledPerformanceSections()
{
    return s_enabled.load(std::memory_order_relaxed);
}

void vnEnterPerformanceSection(const vnString& name)
{
    if (!s_enabled.load(std::memory_order_relaxed))
        return;
    if (!s_own)
        s_own = findOrCreate(vnCurrentThreadID());
    vnPerformanceThreadData& own = *s_own;
    if (own.skipped > 0 || own.depth >= s_depth.load(std::memory_order_relaxed))
    {
        ++own.skipped;
        return;
    }
    vnPerformanceTree& tree = own.current ? own.current->children : own.root;
    const vnSectionName key(name);
    vnPerformanceData* section = tree.find(key);
    if (!section)
        section = createSection(own, tree, key);
    own.current = section;
    ++own.depth;
    section->count.fetch_add(1, std::memory_order_relaxed);
    // Last of all, so that the above is not measured.
    section->start = vnTime::systemSeconds();
}

void vnLeavePerformanceSection()
{
    if (!s_enabled.load(std::memory_order_relaxed))
        return;
    const double now = vnTime::systemSeconds();
    vnPerformanceThreadData* own = findOwn();
    if (!own || !own->current)
        return;
    if (own->skipped > 0)
    {
        --own->skipped;
        return;
    }
    vnPerformanceData& section = *own->current;
    section.addTime(now - section.start);
    // It was cleared meanwhile.
    unsigned int none = 0;
    section.count.compare_exchange_strong(none, 1, std::memory_order_relaxed);
    own->current = section.parent;
    --own->depth;
}

void vnSetPerformanceDepth(unsigned int depth)
{
    s_depth.store(std::clamp(depth, 1u, maximalDepth), std::memory_order_relaxed);
}

void vnClearPerformanceSection(const vnString& name, unsigned int thread)
{
    forEachSectionNamed(name, thread,
                        [](vnPerformanceData& section)
                        {
                            section.time.store(0, std::memory_order_relaxed);
                            section.count.store(0, std::memory_order_relaxed);
                        });
}

void vnSetPerformanceThreadName(const vnString& name, unsigned int thread)
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    const unsigned int id = thread ? thread : vnCurrentThreadID();
    vnPerformanceThreadData* data = threads.findRunning(id);
    if (!data && thread)
        data = findStopped(threads, id);
    if (!data)
        data = create(threads, id);
    vnPrivateMemoryScope scope;
    data->name = name;
}

void vnStartPerformanceThread()
{
    try
    {
        s_own = start(vnCurrentThreadID());
        s_own->isStarted = true;
    }
    catch (const std::bad_alloc&)
    {
        // The thread works all the same; its first section tries again.
        if (s_own)
            ++s_own->failedStarts;
    }
}

void vnStopPerformanceThread()
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    if (s_own && s_own->failedStarts > 0)
    {
        --s_own->failedStarts;
        return;
    }
    vnPerformanceThreadData* own = s_own ? s_own : threads.findRunning(vnCurrentThreadID());
    if (!own)
        return;
    s_own = own->outer;
    stop(threads, own);
}

void vnStopKilledPerformanceThread(unsigned int thread)
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    stopAll(threads, thread);
}

void vnGetAllPerformanceSections(vnRefList<vnSectionInfo>& sections, unsigned int thread)
{
    forEachThread(thread,
                  [&](vnPerformanceThreadData& data)
                  {
                      vnDict<vnSectionName, const vnSectionName> known;
                      forEachSection(data.root,
                                     [&](const vnSectionName& name, vnPerformanceData&)
                                     {
                                         if (known.contains(name))
                                             return;
                                         known.enter(name, &name);
                                         vnRefPointer<vnSectionInfo> info(
                                             new vnSectionInfo(name.get(), data.thread));
                                         sections.append(info);
                                     });
                  });
}

vnSectionResult vnGetSectionResult(const vnString& name, unsigned int thread)
{
    vnSectionResult result;
    forEachSectionNamed(name, thread,
                        [&](const vnPerformanceData& section)
                        {
                            result.time += section.time.load(std::memory_order_relaxed);
                            result.count += section.count.load(std::memory_order_relaxed);
                        });
    return result;
}

vnString vnCreatePerfLineInfo(const char* file, unsigned int line)
{
    return vnString::formatString("%s:%d", file, line);
}

void vnPerformanceMonitorInterface::setPerformanceMonitor(vnPerformanceMonitorInterface* monitor)
{
    vnBodyGuard guard(monitorMutex());
    s_monitor.store(monitor, std::memory_order_release);
}

void vnEnterMonitor(const vnString& name)
{
    callMonitor([&](vnPerformanceMonitorInterface& monitor) { monitor.enter(name); });
}

void vnLeaveMonitor(const vnString& name)
{
    callMonitor([&](vnPerformanceMonitorInterface& monitor) { monitor.leave(name); });
}

void vnAddMonitorValue(const vnString& name, const vnDynamicType& value, const double& time,
                       const unsigned int& source)
{
    callMonitor([&](vnPerformanceMonitorInterface& monitor) { monitor.addValue(name, value, time, source); });
}

void vnAddMonitorValueOpt(unsigned char enable, const vnString& name, const vnDynamicType& value,
                          const double& time, const unsigned int& source)
{
    if (enable)
        vnAddMonitorValue(name, value, time, source);
}
