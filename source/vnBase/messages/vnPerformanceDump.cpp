// SPDX-License-Identifier: MIT
#include <vnBase/vnMessage.h>
#include <vnBase/vnPerformance.h>
#include <vnBase/vnTime.h>

#include "vnPerformanceData.h"

#include <utility>
#include <vector>

namespace
{
/// The sum of one name over a thread's tree.
class vnPerformanceAccumSection : public vnReference
{
public:
    double time = 0;
    unsigned int iterations = 0;
    unsigned int recursive = 0; // the iterations below a section of the same name
    unsigned int callers = 0;   // the places in the tree
};

using Sums = vnRefDict<vnSectionName, vnPerformanceAccumSection>;

double percent(double part, double whole)
{
    return whole > 0 ? 100 * part / whole : 0;
}

double average(double time, unsigned int count)
{
    return count ? time / count : 0;
}

// Makes the lines of the report.
class Report
{
public:
    explicit Report(vnPerformanceDumpFlags flags) : m_flags(flags), m_now(vnTime::systemSeconds()) {}

    std::vector<vnString> create()
    {
        const vnPerformanceThreads& threads = vnGetPerformanceThreads();
        vnBodyGuard guard(threads.mutex);
        add("----------- Performance Dump (%s) ------------",
            vnTime::now(1).asString("%4d-%02d-%02d %02d:%02d:%02d"));
        if (m_flags & VN_PERFORMANCE_RUNNING)
        {
            add("- Running threads");
            for (const auto& entry : threads.running)
                for (const vnPerformanceThreadData* data = entry.getValue(); data; data = data->inner)
                    addThread(*data);
        }
        if (m_flags & VN_PERFORMANCE_STOPPED)
        {
            add("- Stopped threads");
            for (const vnPerformanceThreadData* data = threads.firstStopped; data; data = data->nextStopped)
                addThread(*data);
        }
        add("-------------------- End Performance Dump ---------------------");
        return std::move(m_lines);
    }

private:
    template <class... Args>
    void add(const char* format, const Args&... args)
    {
        m_lines.push_back(vnString::formatString(format, args...));
    }

    void addThread(const vnPerformanceThreadData& data)
    {
        vnBodyGuard guard(data.treeLock);
        const double total = data.getExecutionTime(m_now);
        add("  - Thread ID: 0x%x  Name: %s", data.thread, data.name);
        add("    Exec Time: %f seconds", total);
        if (m_flags & VN_PERFORMANCE_ACCUMULATED)
            addSums(data, total);
        if (m_flags & VN_PERFORMANCE_HIERARCHICAL)
        {
            add("    - Hierarchical sections");
            addTree(data.root, "", total, total);
        }
    }

    void addSums(const vnPerformanceThreadData& data, double total)
    {
        Sums sums;
        sumUp(sums, data.root);
        add("    - Accumulated sections");
        for (const auto& entry : sums)
        {
            const vnPerformanceAccumSection& sum = *entry.getValue();
            const double mean = average(sum.time, sum.iterations);
            add("      - Section       : %s", entry.getKey().get());
            add("        Exec Time     : %.8f seconds (%.4f %%)", sum.time, percent(sum.time, total));
            add("        Iterations    : %d (rec:%d)", sum.iterations, sum.recursive);
            add("        Avg Exec Time : %.8f seconds (%.4f %%)", mean, percent(mean, total));
            add("        Callers       : %d", sum.callers);
        }
    }

    // The time of a recursive section counts again at each level, since the sum is that of all places.
    void sumUp(Sums& sums, const vnPerformanceTree& tree)
    {
        for (const auto& entry : tree)
        {
            const vnPerformanceData& section = *entry.getValue();
            vnPerformanceAccumSection* sum = sums.find(entry.getKey());
            if (!sum)
            {
                vnRefPointer<vnPerformanceAccumSection> created(new vnPerformanceAccumSection);
                sums.enter(entry.getKey(), created);
                sum = created;
            }
            const unsigned int count = section.count.load(std::memory_order_relaxed);
            sum->time += section.time.load(std::memory_order_relaxed);
            sum->iterations += count;
            ++sum->callers;
            if (m_path.contains(entry.getKey()))
                sum->recursive += count;
            m_path.enter(entry.getKey(), sum);
            sumUp(sums, section.children);
            m_path.remove(entry.getKey());
        }
    }

    void addTree(const vnPerformanceTree& tree, const vnString& indent, double above, double total)
    {
        for (const auto& entry : tree)
        {
            const vnPerformanceData& section = *entry.getValue();
            const double time = section.time.load(std::memory_order_relaxed);
            const unsigned int count = section.count.load(std::memory_order_relaxed);
            const double mean = average(time, count);
            add("     %s - Section       : %s", indent, entry.getKey().get());
            add("     %s   Exec Time     : %.8f seconds (%.4f %%) (tot %.4f %%)", indent, time,
                percent(time, above), percent(time, total));
            add("     %s   Iterations    : %d", indent, count);
            add("     %s   Avg Exec Time : %.8f seconds (%.4f %%) (tot %.4f %%)", indent, mean,
                percent(mean, above), percent(mean, total));
            addTree(section.children, indent + "  ", time, total);
        }
    }

    vnPerformanceDumpFlags m_flags;
    double m_now;
    std::vector<vnString> m_lines;
    vnDict<vnSectionName, vnPerformanceAccumSection> m_path; // the sections on the way down
};
} // namespace

void vnDumpPerformanceInfo(vnPerformanceDumpFlags flags)
{
    if (!vnMessage::isWanted(VN_MESSAGE_PERF))
        return;
    // Posted with no lock held: another thread may enter a section while it keeps the message lock.
    for (const vnString& line : Report(flags).create())
        vnMessage::message(VN_MESSAGE_PERF, "%s", line);
}
