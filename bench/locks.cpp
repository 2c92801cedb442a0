// SPDX-License-Identifier: MIT
// Workload e: mutexes, read-write locks, events.
#include "bench.h"

#include <vnBase/vnEvent.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnSemaphore.h>

#include <atomic>
#include <linux/futex.h>
#include <pthread.h>
#include <shared_mutex>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifdef HAVE_GLIB
#include <glib.h>
#endif
#ifdef HAVE_POCO
#include <Poco/Event.h>
#include <Poco/Mutex.h>
#include <Poco/RWLock.h>
#endif
#ifdef HAVE_QT
#include <QMutex>
#include <QReadWriteLock>
#include <QSemaphore>
#endif

static int N; // locks of one run

template <class L, class U>
static bench::Body alone(L lock, U unlock)
{
    return [=]
    {
        std::uint64_t s = 0;
        for (int i = 0; i < N; i++)
        {
            lock();
            s++;
            bench::keep(s);
            unlock();
        }
        return s;
    };
}

template <class L, class U>
static bench::Body nested(L lock, U unlock)
{
    return [=]
    {
        std::uint64_t s = 0;
        lock();
        for (int i = 0; i < N; i++)
        {
            lock();
            s++;
            bench::keep(s);
            unlock();
        }
        unlock();
        return s;
    };
}

// 'threads' threads take the lock for a very short time, again and again.
template <class L, class U>
static bench::Body fight(L lock, U unlock, int n)
{
    return [=]
    {
        std::uint64_t s = 0;
        bench::inThreads(2,
                         [&](int)
                         {
                             for (int i = 0; i < n; i++)
                             {
                                 lock();
                                 bench::keep(s);
                                 unlock();
                             }
                         });
        return std::uint64_t(n);
    };
}

// Two threads wake each other in turn.
template <class Set, class Wait>
static bench::Body pingpong(Set set, Wait wait, int n, bool oneCpu)
{
    return [=]
    {
        bench::inThreads(2,
                         [&](int me)
                         {
                             if (oneCpu)
                             {
                                 cpu_set_t cpu;
                                 CPU_ZERO(&cpu);
                                 CPU_SET(0, &cpu);
                                 pthread_setaffinity_np(pthread_self(), sizeof cpu, &cpu);
                             }
                             for (int i = 0; i < n; i++)
                             {
                                 if (me == 0)
                                 {
                                     set(0);
                                     wait(1);
                                 }
                                 else
                                 {
                                     wait(0);
                                     set(1);
                                 }
                             }
                         });
        return std::uint64_t(n);
    };
}

struct FutexEvent
{
    std::atomic<int> v{0};
    void set()
    {
        v.store(1);
        syscall(SYS_futex, &v, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }
    void wait()
    {
        int one = 1;
        while (!v.compare_exchange_strong(one, 0))
        {
            syscall(SYS_futex, &v, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
            one = 1;
        }
    }
};

struct CondEvent
{
    std::mutex m;
    std::condition_variable c;
    bool on = false;
    void set()
    {
        {
            std::lock_guard<std::mutex> l(m);
            on = true;
        }
        c.notify_one();
    }
    void wait()
    {
        std::unique_lock<std::mutex> l(m);
        c.wait(l, [this] { return on; });
        on = false;
    }
};

struct OurEvent
{
    vnEvent e;
    bool on = false;
    void set()
    {
        {
            vnBodyGuard l(e);
            on = true;
        }
        e.fireOnlyOne();
    }
    void wait()
    {
        vnBodyGuard l(e);
        while (!on)
            e.waitAndLock(0xFFFFFFFFu, 1); // as the others: without a time-out
        on = false;
    }
};

#define LOCK(x) [&] { x; }

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("e.locks", argc, argv);
    N = suite.scaled(4000000);

    std::mutex sm;
    std::recursive_mutex srm;
    pthread_mutex_t prm;
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&prm, &attr);
#ifdef HAVE_QT
    QMutex qm;
    QRecursiveMutex qrm;
#endif
#ifdef HAVE_POCO
    Poco::FastMutex pfm;
    Poco::Mutex pm;
#endif
#ifdef HAVE_GLIB
    GMutex gm;
    g_mutex_init(&gm);
    GRecMutex grm;
    g_rec_mutex_init(&grm);
#endif
    vnMutex vm;
    std::atomic<int> flag{0};

    // Each of these adds the locks of one kind, used in the way that `use` makes of a lock and an unlock.
    auto addPlain = [&](Group& g, auto use)
    {
        g.add("std::mutex", kit, use(LOCK(sm.lock()), LOCK(sm.unlock())));
#ifdef HAVE_QT
        g.add("QMutex", kit, use(LOCK(qm.lock()), LOCK(qm.unlock())));
#endif
#ifdef HAVE_POCO
        g.add("Poco::FastMutex", kit, use(LOCK(pfm.lock()), LOCK(pfm.unlock())));
#endif
#ifdef HAVE_GLIB
        g.add("GMutex", kit, use(LOCK(g_mutex_lock(&gm)), LOCK(g_mutex_unlock(&gm))));
#endif
        g.add("vnMutex", ours, use(LOCK(vm.waitLock()), LOCK(vm.unLock())));
    };
    auto addRecursive = [&](Group& g, auto use)
    {
        g.add("std::recursive_mutex", kit, use(LOCK(srm.lock()), LOCK(srm.unlock())));
        g.add("pthread recursive", kit,
              use(LOCK(pthread_mutex_lock(&prm)), LOCK(pthread_mutex_unlock(&prm))));
#ifdef HAVE_POCO
        g.add("Poco::Mutex", kit, use(LOCK(pm.lock()), LOCK(pm.unlock())));
#endif
#ifdef HAVE_QT
        g.add("QRecursiveMutex", kit, use(LOCK(qrm.lock()), LOCK(qrm.unlock())));
#endif
#ifdef HAVE_GLIB
        g.add("GRecMutex", kit, use(LOCK(g_rec_mutex_lock(&grm)), LOCK(g_rec_mutex_unlock(&grm))));
#endif
        g.add("vnMutex", ours, use(LOCK(vm.waitLock()), LOCK(vm.unLock())));
    };

    const int M = suite.scaled(1000000);
    auto inOneThread = [](auto lock, auto unlock) { return alone(lock, unlock); };
    auto onSecondLevel = [](auto lock, auto unlock) { return nested(lock, unlock); };
    auto inTwoThreads = [M](auto lock, auto unlock) { return fight(lock, unlock, M); };
    {
        Group& g = suite.group("mutex lock + unlock, no contention", nsPerOp, N).sameCheck();
        g.add("atomic exchange + store", limit,
              alone(LOCK(while (flag.exchange(1, std::memory_order_acquire)){}),
                    LOCK(flag.store(0, std::memory_order_release))));
        addPlain(g, inOneThread);
    }
    addRecursive(suite.group("recursive mutex lock + unlock, no contention", nsPerOp, N).sameCheck(),
                 inOneThread);
    addRecursive(suite.group("recursive mutex, second level lock + unlock", nsPerOp, N).sameCheck(),
                 onSecondLevel);
    addPlain(suite.group("mutex, 2 threads fight", nsPerOp, 2.0 * M), inTwoThreads);
    addRecursive(suite.group("recursive mutex, 2 threads fight", nsPerOp, 2.0 * M), inTwoThreads);

    std::shared_mutex ss;
#ifdef HAVE_QT
    QReadWriteLock qrw;
#endif
#ifdef HAVE_POCO
    Poco::RWLock prw;
#endif
#ifdef HAVE_GLIB
    GRWLock grw;
    g_rw_lock_init(&grw);
#endif
    vnReadWriteMutex vrw;
    auto addReading = [&](Group& g, auto use)
    {
        g.add("std::shared_mutex", kit, use(LOCK(ss.lock_shared()), LOCK(ss.unlock_shared())));
#ifdef HAVE_QT
        g.add("QReadWriteLock", kit, use(LOCK(qrw.lockForRead()), LOCK(qrw.unlock())));
#endif
#ifdef HAVE_POCO
        g.add("Poco::RWLock", kit, use(LOCK(prw.readLock()), LOCK(prw.unlock())));
#endif
#ifdef HAVE_GLIB
        g.add("GRWLock", kit, use(LOCK(g_rw_lock_reader_lock(&grw)), LOCK(g_rw_lock_reader_unlock(&grw))));
#endif
        g.add("vnReadWriteMutex", ours, use(LOCK(vrw.waitLockRead()), LOCK(vrw.unLock())));
    };
    addReading(suite.group("rwlock: read lock + unlock, 1 thread", nsPerOp, N).sameCheck(), inOneThread);
    {
        Group& g = suite.group("rwlock: write lock + unlock, 1 thread", nsPerOp, N).sameCheck();
        g.add("std::shared_mutex", kit, alone(LOCK(ss.lock()), LOCK(ss.unlock())));
#ifdef HAVE_QT
        g.add("QReadWriteLock", kit, alone(LOCK(qrw.lockForWrite()), LOCK(qrw.unlock())));
#endif
#ifdef HAVE_POCO
        g.add("Poco::RWLock", kit, alone(LOCK(prw.writeLock()), LOCK(prw.unlock())));
#endif
#ifdef HAVE_GLIB
        g.add("GRWLock", kit, alone(LOCK(g_rw_lock_writer_lock(&grw)), LOCK(g_rw_lock_writer_unlock(&grw))));
#endif
        g.add("vnReadWriteMutex", ours, alone(LOCK(vrw.waitLockWrite()), LOCK(vrw.unLock())));
    }
    addReading(suite.group("rwlock: read lock + unlock, 2 threads", nsPerOp, 2.0 * M), inTwoThreads);
    // On two processors the time is the machine's inter-processor wake-up; on
    // one it is the context switch plus what the library adds.
    for (bool oneCpu : {false, true})
    {
        const int wakes = suite.scaled(10000);
        Group& g = suite.group(oneCpu ? "event: wake each other, one processor (one way)"
                                      : "event: wake each other, two processors (one way)",
                               nsPerOp, 2.0 * wakes);
        FutexEvent f[2];
        CondEvent c[2];
#ifdef HAVE_POCO
        Poco::Event p[2];
#endif
#ifdef HAVE_QT
        QSemaphore q[2];
#endif
        OurEvent v[2];
        int fd[2] = {eventfd(0, 0), eventfd(0, 0)};
        g.add("futex by hand", limit,
              pingpong([&](int i) { f[i].set(); }, [&](int i) { f[i].wait(); }, wakes, oneCpu));
        g.add("eventfd write/read", limit,
              pingpong(
                  [&](int i)
                  {
                      std::uint64_t count = 1;
                      if (write(fd[i], &count, 8) != 8)
                          abort();
                  },
                  [&](int i)
                  {
                      std::uint64_t count;
                      if (read(fd[i], &count, 8) != 8)
                          abort();
                  },
                  wakes, oneCpu));
        g.add("std::mutex + condition_variable", kit,
              pingpong([&](int i) { c[i].set(); }, [&](int i) { c[i].wait(); }, wakes, oneCpu));
#ifdef HAVE_POCO
        g.add("Poco::Event", kit,
              pingpong([&](int i) { p[i].set(); }, [&](int i) { p[i].wait(); }, wakes, oneCpu));
#endif
#ifdef HAVE_QT
        g.add("QSemaphore", kit,
              pingpong([&](int i) { q[i].release(); }, [&](int i) { q[i].acquire(); }, wakes, oneCpu));
#endif
        g.add("vnEvent", ours,
              pingpong([&](int i) { v[i].set(); }, [&](int i) { v[i].wait(); }, wakes, oneCpu));
        suite.run();
        close(fd[0]);
        close(fd[1]);
    }
    return suite.getResult();
}
