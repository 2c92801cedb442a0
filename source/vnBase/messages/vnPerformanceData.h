// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnString.h>

#include <atomic>
#include <cstring>

/// What the profiler keeps.

/// The name of a section as a key. Unlike strings, names that are compared are never interned: that would
/// free the text which a report on another thread is reading.
class vnSectionName
{
public:
    /// Refers to the name, so that a look-up copies nothing; copies of the key have a text of their own.
    explicit vnSectionName(const vnString& name) noexcept : m_name(&name) {}
    vnSectionName(const vnSectionName& other) : m_own(other.get()), m_name(&m_own) {}
    vnSectionName& operator=(const vnSectionName& other)
    {
        m_own = other.get();
        m_name = &m_own;
        return *this;
    }

    const vnString& get() const noexcept { return *m_name; }
    unsigned int hash() const noexcept { return m_name->hash(); }
    vnUInt64 mixedHash(vnUInt64 seed) const noexcept { return m_name->mixedHash(seed); }
    bool operator==(const vnSectionName& other) const noexcept
    {
        const unsigned short length = m_name->length();
        return hash() == other.hash() && length == other.m_name->length() &&
               std::memcmp(m_name->getString(), other.m_name->getString(), length) == 0;
    }

private:
    vnString m_own;
    const vnString* m_name;
};

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
    vnRefDict<vnSectionName, vnPerformanceData> children{1};
};

using vnPerformanceTree = vnRefDict<vnSectionName, vnPerformanceData>;

/// A thread's tree.
class vnPerformanceThreadData : public vnReference
{
public:
    vnPerformanceThreadData(unsigned int id, double now) : thread(id), start(now) {}
    unsigned char useDeepCopy() override { return 0; }

    double getExecutionTime(double now) const noexcept { return isStopped ? total : now - start; }

    const unsigned int thread;

    // Under the lock of the profiler.
    double start;
    vnString name;
    double total = 0;
    bool isStarted = false; // by its thread, and not only named before
    bool isStopped = false;
    vnRefPointer<vnPerformanceThreadData> nextStopped;

    // A thread that runs the work of another one within its own has data for each: those of the work started
    // last are the inner ones.
    vnRefPointer<vnPerformanceThreadData> inner;
    vnPerformanceThreadData* outer = nullptr;

    vnMutex treeLock; // held by the thread when it adds a section, and by others when they walk
    vnPerformanceTree root;

    // Of the thread itself only.
    vnPerformanceData* current = nullptr;
    unsigned int depth = 0;
    unsigned int skipped = 0;      // entered beyond the limit of the depth
    unsigned int failedStarts = 0; // for which there was no memory; their stops are left out
};

/// All threads, for a report.
struct vnPerformanceThreads
{
    vnMutex mutex;
    vnRefDict<vnUInt32CompareInterface, vnPerformanceThreadData> running; // the outermost ones

    /// The innermost data of a running thread; null when there are none.
    vnPerformanceThreadData* findRunning(unsigned int thread)
    {
        vnPerformanceThreadData* data = running.find(thread);
        while (data && data->inner)
            data = data->inner;
        return data;
    }

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
