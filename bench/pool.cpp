// SPDX-License-Identifier: MIT
// Workload o: one million tiny work items over two workers.
#include "bench.h"

#include <vnBase/vnEvent.h>
#include <vnBase/vnQueue.h>
#include <vnBase/vnThread.h>

#include <atomic>
#include <memory>

#ifdef HAVE_BOOST
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#endif
#ifdef HAVE_GLIB
#include <glib.h>
#endif
#ifdef HAVE_POCO
#include <Poco/AutoPtr.h>
#include <Poco/Event.h>
#include <Poco/Notification.h>
#include <Poco/NotificationQueue.h>
#include <Poco/Runnable.h>
#include <Poco/RunnableAdapter.h>
#include <Poco/TaskManager.h>
#include <Poco/ThreadPool.h>
#endif
#ifdef HAVE_QT
#include <QRunnable>
#include <QThreadPool>
#endif

static std::atomic<std::uint64_t> total;

// The work: a few nanoseconds.
static inline void work(int i)
{
    std::uint32_t x = i;
    for (int k = 0; k < 8; k++)
        x = x * 1664525 + 1013904223;
    total.fetch_add(x & 255, std::memory_order_relaxed);
}

#ifdef HAVE_POCO
struct PocoItem : Poco::Notification
{
    int i;
    explicit PocoItem(int n) : i(n) {}
};
struct PocoStop : Poco::Notification
{
};
struct PocoWorker : Poco::Runnable
{
    Poco::NotificationQueue& q;
    explicit PocoWorker(Poco::NotificationQueue& queue) : q(queue) {}
    void run() override
    {
        for (;;)
        {
            Poco::AutoPtr<Poco::Notification> n(q.waitDequeueNotification());
            if (PocoItem* p = dynamic_cast<PocoItem*>(n.get()))
                work(p->i);
            else
                return;
        }
    }
};
#endif

#ifdef HAVE_QT
struct QtItem : QRunnable
{
    int i;
    explicit QtItem(int n) : i(n) {}
    void run() override { work(i); }
};
#endif

// The usual queue: a mutex, a condition variable, a deque of functions.
class PlainPool
{
public:
    explicit PlainPool(int workers)
    {
        for (int i = 0; i < workers; i++)
            threads_.emplace_back([this] { run(); });
    }
    ~PlainPool()
    {
        {
            std::lock_guard<std::mutex> l(mutex_);
            stop_ = true;
        }
        cond_.notify_all();
        for (std::thread& t : threads_)
            t.join();
    }
    void post(std::function<void()> f)
    {
        {
            std::lock_guard<std::mutex> l(mutex_);
            queue_.push_back(std::move(f));
        }
        cond_.notify_one();
    }

private:
    void run()
    {
        for (;;)
        {
            std::function<void()> f;
            {
                std::unique_lock<std::mutex> l(mutex_);
                cond_.wait(l, [this] { return stop_ || !queue_.empty(); });
                if (queue_.empty())
                    return;
                f = std::move(queue_.front());
                queue_.pop_front();
            }
            f();
        }
    }
    std::mutex mutex_;
    std::condition_variable cond_;
    std::deque<std::function<void()>> queue_;
    bool stop_ = false;
    std::vector<std::thread> threads_;
};

// The same made of our parts.
class OurPool
{
public:
    explicit OurPool(int workers)
    {
        for (int i = 0; i < workers; i++)
        {
            m_workers.push_back(std::make_unique<Worker>(*this));
            m_workers.back()->run(0);
        }
    }
    ~OurPool()
    {
        {
            vnBodyGuard guard(m_event);
            m_stop = true;
        }
        m_event.fire();
        m_workers.clear(); // each stops and waits
    }
    void post(std::function<void()> f)
    {
        {
            vnBodyGuard guard(m_event);
            m_queue.push(std::move(f));
        }
        m_event.fireOnlyOne();
    }

private:
    struct Worker : vnThread
    {
        explicit Worker(OurPool& owner) : pool(owner) {}
        ~Worker() noexcept(false) override { stop(1); }
        void process() override { pool.run(); }
        OurPool& pool;
    };

    void run()
    {
        for (;;)
        {
            std::function<void()> f;
            {
                vnBodyGuard guard(m_event);
                while (!m_stop && m_queue.isEmpty())
                    m_event.waitAndLock(1000, 1);
                if (m_queue.isEmpty())
                    return;
                f = m_queue.pop();
            }
            f();
        }
    }

    vnEvent m_event; // its mutex guards the queue
    vnQueue<std::function<void()>> m_queue{VN_QUEUE_FIFO, 4096};
    bool m_stop = false;
    std::vector<std::unique_ptr<Worker>> m_workers;
};

struct OurThread : vnThread
{
    ~OurThread() noexcept(false) override { stop(1); }
    void process() override {}
};

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("o.pool", argc, argv);
    const int N = suite.scaled(1000000);
    auto begin = [] { total = 0; };
    {
        Group& g = suite.group("post 1M items one by one, wait for all", nsPerOp, N).rounds(5).sameCheck();
        g.add(
            "no queue: 2 threads, shared counter", limit,
            [=]
            {
                std::atomic<int> next{0};
                inThreads(2,
                          [&](int)
                          {
                              for (int i; (i = next.fetch_add(1)) < N;)
                                  work(i);
                          });
                return total.load();
            },
            begin);
        g.add(
            "no threads: a loop", limit,
            [=]
            {
                for (int i = 0; i < N; i++)
                    work(i);
                return total.load();
            },
            begin);
        g.add(
            "std::thread, mutex + condition", kit,
            [=]
            {
                {
                    PlainPool p(2);
                    for (int i = 0; i < N; i++)
                        p.post([i] { work(i); });
                }
                return total.load();
            },
            begin);
#ifdef HAVE_BOOST
        g.add(
            "boost::asio::thread_pool", peer,
            [=]
            {
                boost::asio::thread_pool p(2);
                for (int i = 0; i < N; i++)
                    boost::asio::post(p, [i] { work(i); });
                p.join();
                return total.load();
            },
            begin);
#endif
#ifdef HAVE_POCO
        g.add(
            "Poco::NotificationQueue + ThreadPool", kit,
            [=]
            {
                Poco::NotificationQueue q;
                Poco::ThreadPool p(2, 2);
                PocoWorker a(q), b(q);
                p.start(a);
                p.start(b);
                for (int i = 0; i < N; i++)
                    q.enqueueNotification(new PocoItem(i));
                q.enqueueNotification(new PocoStop);
                q.enqueueNotification(new PocoStop);
                p.joinAll();
                return total.load();
            },
            begin);
#endif
#ifdef HAVE_QT
        g.add(
            "QThreadPool", kit,
            [=]
            {
                QThreadPool p;
                p.setMaxThreadCount(2);
                for (int i = 0; i < N; i++)
                    p.start(new QtItem(i));
                p.waitForDone();
                return total.load();
            },
            begin);
#endif
#ifdef HAVE_GLIB
        g.add(
            "GThreadPool", kit,
            [=]
            {
                GThreadPool* p = g_thread_pool_new([](gpointer d, gpointer) { work(GPOINTER_TO_INT(d) - 1); },
                                                   nullptr, 2, TRUE, nullptr);
                for (int i = 0; i < N; i++)
                    g_thread_pool_push(p, GINT_TO_POINTER(i + 1), nullptr);
                g_thread_pool_free(p, FALSE, TRUE);
                return total.load();
            },
            begin);
#endif
        g.add(
            "vnThread, vnEvent, vnQueue", ours,
            [=]
            {
                {
                    OurPool p(2);
                    for (int i = 0; i < N; i++)
                        p.post([i] { work(i); });
                }
                return total.load();
            },
            begin);
        suite.run();
    }
    {
        const int M = suite.scaled(20000);
        Group& g = suite.group("start a thread and join it", nsPerOp, M).rounds(3);
        g.add("std::thread", kit,
              [=]
              {
                  for (int i = 0; i < M; i++)
                      std::thread([] {}).join();
                  return 0;
              });
#ifdef HAVE_POCO
        struct Nothing : Poco::Runnable
        {
            void run() override {}
        };
        g.add("Poco::Thread", kit,
              [=]
              {
                  Nothing n;
                  for (int i = 0; i < M; i++)
                  {
                      Poco::Thread t;
                      t.start(n);
                      t.join();
                  }
                  return 0;
              });
#endif
#ifdef HAVE_QT
        struct QtThread : QThread
        {
            void run() override {}
        };
        g.add("QThread", kit,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      QtThread t;
                      t.start();
                      t.wait();
                  }
                  return 0;
              });
#endif
        g.add("vnThread, run() and stop(1)", ours,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      OurThread t;
                      t.run(0);
                      t.stop(1);
                  }
                  return 0;
              });
        suite.run();
    }
    return suite.getResult();
}
