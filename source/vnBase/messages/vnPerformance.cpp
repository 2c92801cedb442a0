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

vnPerformanceThreadData* findOrCreate(unsigned int thread)
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    if (vnPerformanceThreadData* data = threads.running.find(thread))
        return data;
    vnPrivateMemoryScope scope;
    vnRefPointer<vnPerformanceThreadData> data(new vnPerformanceThreadData(thread, vnTime::systemSeconds()));
    threads.running.enter(thread, data);
    return data;
}

vnPerformanceThreadData* findOwn()
{
    if (s_own)
        return s_own;
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    return s_own = threads.running.find(vnCurrentThreadID());
}

vnPerformanceData* createSection(vnPerformanceThreadData& own, vnPerformanceTree& tree, const vnString& name)
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
        visitLocked(*entry.getValue());
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
    const auto visitNamed = [&](const vnString& key, vnPerformanceData& section)
    {
        if (key == name)
            visit(section);
    };
    forEachThread(thread, [&](vnPerformanceThreadData& data) { forEachSection(data.root, visitNamed); });
}

void stopThread(unsigned int thread)
{
    vnPerformanceThreads& threads = vnGetPerformanceThreads();
    vnBodyGuard guard(threads.mutex);
    vnRefPointer<vnPerformanceThreadData> data(threads.running.find(thread));
    if (!data)
        return;
    threads.running.remove(thread);
    data->total = vnTime::systemSeconds() - data->start;
    data->isStopped = true;
    // Programs that never look do not pay for each thread that they ever ran.
    if (vnEnabledPerformanceSections() || !data->root.isEmpty())
        threads.appendStopped(data);
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
    vnPerformanceData* section = tree.find(name);
    if (!section)
        section = createSection(own, tree, name);
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
    vnBodyGuard guard(vnGetPerformanceThreads().mutex);
    vnPerformanceThreadData* data = findOrCreate(thread ? thread : vnCurrentThreadID());
    vnPrivateMemoryScope scope;
    data->name = name;
}

void vnStartPerformanceThread()
{
    try
    {
        s_own = findOrCreate(vnCurrentThreadID());
    }
    catch (const std::bad_alloc&)
    {
        // The thread works all the same; its first section tries again.
    }
}

void vnStopPerformanceThread()
{
    s_own = nullptr;
    stopThread(vnCurrentThreadID());
}

void vnStopKilledPerformanceThread(unsigned int thread)
{
    stopThread(thread);
}

void vnGetAllPerformanceSections(vnRefList<vnSectionInfo>& sections, unsigned int thread)
{
    forEachThread(thread,
                  [&](vnPerformanceThreadData& data)
                  {
                      vnDict<vnString, const vnString> known;
                      forEachSection(data.root,
                                     [&](const vnString& name, vnPerformanceData&)
                                     {
                                         if (known.contains(name))
                                             return;
                                         known.enter(name, &name);
                                         vnRefPointer<vnSectionInfo> info(
                                             new vnSectionInfo(name, data.thread));
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
