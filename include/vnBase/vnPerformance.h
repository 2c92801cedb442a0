// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnRefList.h>
#include <vnBase/vnString.h>

class vnDynamicType;

/// A profiler of named sections. Code marks what is to be measured; the library keeps, for each thread, a
/// tree of sections with their times and counts, and prints it as messages of the Perf level. A section is
/// known by its name and by the path on which it was reached.
///
///     vnEnablePerformanceSections(1);
///     {
///         vnPerformanceBody section("load");
///         ...
///     }
///     vnDumpPerformanceInfo();
///
/// Sections are off at the start, and cost one test then. What is allocated for them is private to the
/// library in the memory reports, and stays: also the data of threads that have stopped.
///
/// Where a function takes a thread id, 0 means all threads, running and stopped.
///
/// Thread-safety: any thread.

/// An enter while off, or a leave while off, leaves the tree unbalanced by one.
VN_BASE_API void vnEnablePerformanceSections(unsigned char enable);
VN_BASE_API unsigned char vnEnabledPerformanceSections();

/// Enters a section of the calling thread, below the one that it is in.
VN_BASE_API void vnEnterPerformanceSection(const vnString& name);

/// Leaves the section that was entered last; does nothing outside of all sections.
VN_BASE_API void vnLeavePerformanceSection();

/// How deep sections may be nested, 500 at the start, 2000 at most. What is entered below that is measured
/// as part of the deepest section.
VN_BASE_API void vnSetPerformanceDepth(unsigned int depth);

/// Sets time and count of all sections of the name to 0.
VN_BASE_API void vnClearPerformanceSection(const vnString& name, unsigned int thread = 0);

/// The name of a thread in the report; 0 means the calling thread. A thread that has stopped may be named
/// too, and one that has not started yet.
VN_BASE_API void vnSetPerformanceThreadName(const vnString& name, unsigned int thread = 0);

/// Called by each `vnThread` around its work, on its own thread: a running thread is reported even when it
/// enters no section, with the time since its start, and one that has stopped is reported as such. One that
/// stops while sections are off, has entered none and has no name leaves no trace. A thread that starts again
/// before it has stopped, as when it runs the work of another one, is reported once more, with a tree of its
/// own until it stops. Neither throws.
VN_BASE_API void vnStartPerformanceThread();
VN_BASE_API void vnStopPerformanceThread();

/// The name of a section of one thread. It has no type record of its own.
class VN_BASE_API vnSectionInfo : public vnReference
{
public:
    vnSectionInfo(const vnString& name, unsigned int thread) : m_name(name), m_thread(thread) {}
    vnReference* clone() const override { return new vnSectionInfo(*this); }

    const vnString& getName() const noexcept { return m_name; }
    unsigned int getThread() const noexcept { return m_thread; }

private:
    vnString m_name;
    unsigned int m_thread;
};

/// Time in seconds and count of a section, summed over all places in which it stands.
struct vnSectionResult
{
    double time = 0;
    unsigned int count = 0;
};

/// Appends one element for each name and thread, as the trees are walked.
VN_BASE_API void vnGetAllPerformanceSections(vnRefList<vnSectionInfo>& sections, unsigned int thread = 0);
VN_BASE_API vnSectionResult vnGetSectionResult(const vnString& name, unsigned int thread = 0);

/// What a report shows.
using vnPerformanceDumpFlags = unsigned int;
enum : vnPerformanceDumpFlags
{
    VN_PERFORMANCE_RUNNING = 1,
    VN_PERFORMANCE_STOPPED = 2,
    VN_PERFORMANCE_ACCUMULATED = 4,  // the sum of each name over a thread's tree
    VN_PERFORMANCE_HIERARCHICAL = 8, // the tree
    VN_PERFORMANCE_ALL = 15
};

/// Posts the report, with no lock held: those of two threads may mix. The sections that are being measured
/// are shown without the time since they were entered.
VN_BASE_API void vnDumpPerformanceInfo(vnPerformanceDumpFlags flags = VN_PERFORMANCE_ALL);

/// A name for a section that is known by its place: "file:line".
VN_BASE_API vnString vnCreatePerfLineInfo(const char* file, unsigned int line);

/// Measures a scope.
class VN_BASE_API vnPerformanceBody
{
public:
    explicit vnPerformanceBody(const vnString& name) { vnEnterPerformanceSection(name); }
    ~vnPerformanceBody() { vnLeavePerformanceSection(); }
    vnPerformanceBody(const vnPerformanceBody&) = delete;
    vnPerformanceBody& operator=(const vnPerformanceBody&) = delete;
};

/// An outside monitor. Its operations are called under one lock, on the threads that call the functions
/// below.
class VN_BASE_API vnPerformanceMonitorInterface
{
public:
    virtual void enter(const vnString& name) = 0;
    virtual void leave(const vnString& name) = 0;

    /// A value that was sampled: its name, the value, the time in seconds of `vnTime::systemSeconds()`, and
    /// which of several sources of that name it comes from.
    virtual void addValue(const vnString& name, const vnDynamicType& value, const double& time,
                          const unsigned int& source) = 0;

    /// Installs the one monitor, which is not owned; null removes it. When the call returns the old one is
    /// called no more.
    static void setPerformanceMonitor(vnPerformanceMonitorInterface* monitor);

protected:
    ~vnPerformanceMonitorInterface() = default;
};

/// Go to the installed monitor, and do nothing when there is none.
VN_BASE_API void vnEnterMonitor(const vnString& name);
VN_BASE_API void vnLeaveMonitor(const vnString& name);
VN_BASE_API void vnAddMonitorValue(const vnString& name, const vnDynamicType& value, const double& time,
                                   const unsigned int& source = 0);

/// The same when `enable` is set, and nothing otherwise.
VN_BASE_API void vnAddMonitorValueOpt(unsigned char enable, const vnString& name, const vnDynamicType& value,
                                      const double& time, const unsigned int& source = 0);

/// Tells the monitor of a scope.
class VN_BASE_API vnMonitorBody
{
public:
    explicit vnMonitorBody(const vnString& name) : m_name(name) { vnEnterMonitor(m_name); }
    ~vnMonitorBody() noexcept(false) { vnLeaveMonitor(m_name); }
    vnMonitorBody(const vnMonitorBody&) = delete;
    vnMonitorBody& operator=(const vnMonitorBody&) = delete;

private:
    vnString m_name;
};
