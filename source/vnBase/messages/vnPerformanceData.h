// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnString.h>

#include <atomic>

/// What the profiler keeps.

/// A section on one path. Its own thread alone enters it and adds children; others read the numbers, and set
/// them to 0, at any time.
class vnPerformanceData : public vnReference
{
public:
    explicit vnPerformanceData(vnPerformanceData* above) : parent(above) {}
    vnPerformanceData(const vnPerformanceData&) = delete;
    vnPerformanceData& operator=(const vnPerformanceData&) = delete;
    unsigned char useDeepCopy() override { return 0; }

    void addTime(double seconds) noexcept
    {
        double old = time.load(std::memory_order_relaxed);
        while (!time.compare_exchange_weak(old, old + seconds, std::memory_order_relaxed))
            ;
    }

    vnPerformanceData* const parent; // null directly below the root; the way back from a section
    double start = 0;                // of the thread itself only
    std::atomic<double> time{0};
    std::atomic<unsigned int> count{0};
    vnRefDict<vnString, vnPerformanceData> children{1};
};

using vnPerformanceTree = vnRefDict<vnString, vnPerformanceData>;

/// A thread's tree.
class vnPerformanceThreadData : public vnReference
{
public:
    vnPerformanceThreadData(unsigned int id, double now) : thread(id), start(now) {}
    unsigned char useDeepCopy() override { return 0; }

    double getExecutionTime(double now) const noexcept { return isStopped ? total : now - start; }

    const unsigned int thread;
    const double start;

    // Under the lock of the profiler.
    vnString name;
    double total = 0;
    bool isStopped = false;
    vnRefPointer<vnPerformanceThreadData> nextStopped;

    vnMutex treeLock; // held by the thread when it adds a section, and by others when they walk
    vnPerformanceTree root;

    // Of the thread itself only.
    vnPerformanceData* current = nullptr;
    unsigned int depth = 0;
    unsigned int skipped = 0; // entered beyond the limit of the depth
};

/// All threads, for a report.
struct vnPerformanceThreads
{
    vnMutex mutex;
    vnRefDict<vnUInt32CompareInterface, vnPerformanceThreadData> running;

    // A chain through the data, so that the end of a thread needs no memory.
    vnRefPointer<vnPerformanceThreadData> firstStopped;
    vnPerformanceThreadData* lastStopped = nullptr;

    void appendStopped(vnPerformanceThreadData* data)
    {
        (lastStopped ? lastStopped->nextStopped : firstStopped) = data;
        lastStopped = data;
    }
};

vnPerformanceThreads& vnGetPerformanceThreads();
