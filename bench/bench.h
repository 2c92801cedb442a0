// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <iterator>
#include <malloc.h>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Times several libraries side by side, in one process, in turns.
///
/// A Suite has Groups; a Group is one piece of work; each case of a Group is one library doing that work. The
/// cases of a group take turns, round by round, and each round starts with another case, so that a change in
/// the machine's speed hits all of them alike. The first round only warms up and is not counted.
///
/// A case's body does the whole work once and returns a check value. Where the group asks for it, all cases
/// must return the same value, which shows that they really did the same work.
///
/// Arguments of every program: the folder of the generated data, and `--quick` for one short round that only
/// shows that all cases run and agree. The programs end with 1 when check values differ.
namespace bench
{
/// What a case stands for in the table.
enum Role
{
    limit, ///< the least work that could do it: raw system call, hand loop, generated code
    peer,  ///< a library made for this one thing
    kit,   ///< a general foundation library (Poco, Qt, GLib, the C++ standard library)
    ours,  ///< vnBase
    other  ///< does less or other work than the rest; shown, but not compared
};

inline const char* roleName(Role role)
{
    static const char* const names[] = {"limit", "peer", "kit", "ours", "other"};
    return names[role];
}

enum Unit
{
    nsPerOp,       ///< lower is better; the work is a number of operations
    mbPerSecond,   ///< higher is better; the work is a number of bytes
    kopsPerSecond, ///< higher is better; the work is a number of operations
    bytesEach      ///< lower is better; recorded, not timed
};

inline const char* unitName(Unit unit)
{
    static const char* const names[] = {"ns/op", "MB/s", "kops/s", "bytes"};
    return names[unit];
}

/// Makes the compiler believe that the value is used, and that memory may have changed.
template <class T>
inline void keep(T const& value)
{
    asm volatile("" : : "r,m"(value) : "memory");
}

inline double seconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

inline std::uint64_t heapBytes()
{
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

using Body = std::function<std::uint64_t()>;

class Group
{
public:
    Group(std::string name, Unit unit, double work, bool quick)
        : m_name(std::move(name)), m_unit(unit), m_work(work), m_quick(quick)
    {
    }

    /// All cases that are added after this call must return the same check value.
    Group& sameCheck()
    {
        m_checked = true;
        return *this;
    }

    Group& rounds(int count)
    {
        m_rounds = count;
        return *this;
    }

    /// Gives the heap back to the system before each run. Without it a case that frees a million small blocks
    /// leaves the sorting of them to the next case.
    Group& freshHeap()
    {
        m_freshHeap = true;
        return *this;
    }

    /// `prepare`, if given, runs before each timed run and is not timed. `share` is the part of the work that
    /// this case does (for slow cases).
    void add(std::string name, Role role, Body body, std::function<void()> prepare = nullptr,
             double share = 1)
    {
        Case added;
        added.name = std::move(name);
        added.role = role;
        added.body = std::move(body);
        added.prepare = std::move(prepare);
        added.share = share;
        added.checked = m_checked && share == 1;
        m_cases.push_back(std::move(added));
    }

    /// Answers whether the check values agree.
    bool run(const std::string& suite)
    {
        const std::size_t count = m_cases.size();
        const std::size_t rounds = m_quick ? 1 : static_cast<std::size_t>(m_rounds);
        for (std::size_t round = m_quick ? 1 : 0; round <= rounds; ++round)
            for (std::size_t i = 0; i < count; ++i)
                runOnce(m_cases[(i + round) % count], round > 0);
        for (Case& one : m_cases)
            print(suite, one);
        const bool agreed = checkAll(suite);
        std::fflush(stdout);
        return agreed;
    }

private:
    struct Case
    {
        std::string name;
        Role role = peer;
        Body body;
        std::function<void()> prepare;
        double share = 1;
        bool checked = false;
        std::vector<double> values;
        std::uint64_t check = 0;
        double spent = 0;
    };

    void runOnce(Case& one, bool counted)
    {
        // A slow case stops after three counted runs once it has used its time.
        if (one.spent > 6 && one.values.size() >= 3)
            return;
        if (one.prepare)
            one.prepare();
        if (m_freshHeap)
            malloc_trim(0);
        const double start = seconds();
        one.check = one.body();
        const double time = seconds() - start;
        one.spent += time;
        if (counted)
            one.values.push_back(value(time, m_work * one.share));
    }

    double value(double time, double work) const
    {
        switch (m_unit)
        {
        case nsPerOp:
            return time * 1e9 / work;
        case mbPerSecond:
            return work / 1e6 / time;
        case kopsPerSecond:
            return work / 1e3 / time;
        default:
            return time;
        }
    }

    bool checkAll(const std::string& suite) const
    {
        const Case* first = nullptr;
        bool agreed = true;
        for (const Case& one : m_cases)
        {
            if (!one.checked)
                continue;
            if (!first)
                first = &one;
            if (one.check == first->check)
                continue;
            agreed = false;
            std::printf("# NOTE %s/%s: %s did other work (check %" PRIu64 ", %s has %" PRIu64 ")\n",
                        suite.c_str(), m_name.c_str(), one.name.c_str(), one.check, first->name.c_str(),
                        first->check);
        }
        return agreed;
    }

    void print(const std::string& suite, Case& one) const
    {
        std::vector<double>& values = one.values;
        std::sort(values.begin(), values.end());
        const std::size_t count = values.size();
        const double median = count % 2 ? values[count / 2] : (values[count / 2 - 1] + values[count / 2]) / 2;
        std::printf("%s\t%s\t%s\t%s\t%.6g\t%.6g\t%.6g\t%zu\t%s\n", suite.c_str(), m_name.c_str(),
                    one.name.c_str(), roleName(one.role), median, values.front(), values.back(), count,
                    unitName(m_unit));
    }

    std::string m_name;
    Unit m_unit;
    double m_work;
    bool m_quick;
    int m_rounds = 7;
    bool m_checked = false;
    bool m_freshHeap = false;
    std::vector<Case> m_cases;
};

/// A thread that sleeps until the end. glibc and libstdc++ leave out atomic operations while a process has
/// one thread only, which would make every lock, reference count, malloc and getc look better than it is in a
/// real program.
class SecondThread
{
public:
    SecondThread()
        : m_thread(
              [this]
              {
                  std::unique_lock<std::mutex> lock(m_mutex);
                  m_condition.wait(lock, [this] { return m_stop; });
              })
    {
    }

    ~SecondThread()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_condition.notify_one();
        m_thread.join();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_stop = false;
    std::thread m_thread;
};

class Suite
{
public:
    Suite(std::string name, int argc, char** argv) : m_name(std::move(name))
    {
        for (int i = 1; i < argc; ++i)
            if (std::strcmp(argv[i], "--quick") == 0)
                m_quick = true;
            else
                m_dataDir = argv[i];
        std::printf("#suite\tgroup\tcase\trole\tmedian\tmin\tmax\truns\tunit\n");
    }

    Group& group(const std::string& name, Unit unit, double work)
    {
        m_groups.emplace_back(name, unit, work, m_quick);
        return m_groups.back();
    }

    /// A number that is not a time (bytes per entry and the like).
    void record(const std::string& group, const std::string& what, Role role, double value, Unit unit)
    {
        std::printf("%s\t%s\t%s\t%s\t%.6g\t%.6g\t%.6g\t1\t%s\n", m_name.c_str(), group.c_str(), what.c_str(),
                    roleName(role), value, value, value, unitName(unit));
    }

    /// Runs the groups added since the last call.
    void run()
    {
        for (Group& group : m_groups)
            m_agreed &= group.run(m_name);
        m_groups.clear();
    }

    /// The size of the work: `count`, or a hundredth of it in a quick run.
    int scaled(int count) const { return m_quick ? std::max(count / 100, 1) : count; }
    const std::string& getDataDir() const { return m_dataDir; }

    /// The exit code of the program.
    int getResult() const { return m_agreed ? 0 : 1; }

private:
    std::string m_name;
    std::string m_dataDir = ".";
    bool m_quick = false;
    bool m_agreed = true;
    SecondThread m_second;
    std::deque<Group> m_groups;
};

/// Where a program may write its output files: memory, not a disk.
inline std::string scratchDir()
{
    const char* folder = std::getenv("BENCH_SCRATCH");
    return folder ? folder : "/dev/shm";
}

inline std::string readAll(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        std::exit(1);
    }
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline std::vector<std::string> readLines(const std::string& path)
{
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

/// Runs `work(0)` to `work(count - 1)` in threads at once and waits for all of them.
template <class F>
void inThreads(int count, F work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; i++)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
}
} // namespace bench
