// SPDX-License-Identifier: MIT
// Workload d: reference counting.
#include "bench.h"

#include <vnBase/vnRefPointer.h>
#include <vnBase/vnReference.h>

#include <atomic>
#include <memory>

#ifdef HAVE_BOOST
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif
#ifdef HAVE_GLIB
#include <glib-object.h>
#endif
#ifdef HAVE_POCO
#include <Poco/AutoPtr.h>
#include <Poco/RefCountedObject.h>
#include <Poco/SharedPtr.h>
#endif
#ifdef HAVE_QT
#include <QExplicitlySharedDataPointer>
#include <QMutex>
#include <QSharedData>
#include <QSharedPointer>
#endif

struct Plain
{
    int v = 1;
};
#ifdef HAVE_POCO
struct PocoObj : Poco::RefCountedObject
{
    int v = 1;
};
#endif
#ifdef HAVE_QT
struct QtObj : QSharedData
{
    int v = 1;
};
#endif
#ifdef HAVE_BOOST
struct BoostObj : boost::intrusive_ref_counter<BoostObj, boost::thread_safe_counter>
{
    int v = 1;
};

#endif

// What a count guarded by a mutex would cost.
struct MutexObj
{
    std::mutex m;
    int count = 0;
    int v = 1;
    void ref()
    {
        std::lock_guard<std::mutex> l(m);
        ++count;
    }
    void unref()
    {
        bool last;
        {
            std::lock_guard<std::mutex> l(m);
            last = --count == 0;
        }
        if (last)
            delete this;
    }
};
struct MutexPtr
{
    MutexObj* p;
    explicit MutexPtr(MutexObj* o) : p(o) { p->ref(); }
    MutexPtr(const MutexPtr& o) : p(o.p) { p->ref(); }
    ~MutexPtr() { p->unref(); }
    MutexObj* operator->() const { return p; }
};

// Ours, which copies of a pointer share.
struct OurObj final : vnReference
{
    int v = 1;
    unsigned char useDeepCopy() override { return 0; }
};
struct OurSafeObj final : vnThreadSafeReference
{
    int v = 1;
    unsigned char useDeepCopy() override { return 0; }
};

// The same behind its base class, as code sees it that does not know the class of its objects.
struct OurOpenObj : vnReference
{
    int v = 1;
    unsigned char useDeepCopy() override { return 0; }
};
struct OurSafeOpenObj : vnThreadSafeReference
{
    int v = 1;
    unsigned char useDeepCopy() override { return 0; }
};

// A bare count, not atomic and atomic, as the limits.
struct BareObj
{
    int count = 0;
    int v = 1;
};
struct AtomicObj
{
    std::atomic<int> count{0};
    int v = 1;
};

template <class P>
static bench::Body copies(P p, int n)
{
    return [p, n]
    {
        std::uint64_t s = 0;
        for (int i = 0; i < n; i++)
        {
            P q(p);
            bench::keep(q);
            s += q->v;
        }
        return s;
    };
}

template <class P>
static bench::Body copies2(P p, int n)
{
    return [p, n]
    {
        bench::inThreads(2,
                         [&](int)
                         {
                             for (int i = 0; i < n; i++)
                             {
                                 P q(p);
                                 bench::keep(q);
                             }
                         });
        return std::uint64_t(n);
    };
}

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("d.refcount", argc, argv);
    const int N = suite.scaled(4000000);
    {
        Group& g = suite.group("copy + drop a reference, 1 thread", nsPerOp, N).sameCheck();
        auto bare = std::make_shared<BareObj>();
        g.add("plain int ++/-- (not thread-safe)", limit,
              [bare, N]
              {
                  std::uint64_t s = 0;
                  BareObj* o = bare.get();
                  for (int i = 0; i < N; i++)
                  {
                      ++o->count;
                      keep(*o);
                      s += o->v;
                      --o->count;
                      keep(*o);
                  }
                  return s;
              });
        auto at = std::make_shared<AtomicObj>();
        g.add("std::atomic ++/--", limit,
              [at, N]
              {
                  std::uint64_t s = 0;
                  AtomicObj* o = at.get();
                  for (int i = 0; i < N; i++)
                  {
                      o->count.fetch_add(1, std::memory_order_relaxed);
                      s += o->v;
                      o->count.fetch_sub(1, std::memory_order_acq_rel);
                  }
                  return s;
              });
        g.add("std::shared_ptr", kit, copies(std::make_shared<Plain>(), N));
        g.add("count under a std::mutex", kit, copies(MutexPtr(new MutexObj), N));
#ifdef HAVE_BOOST
        g.add("boost::intrusive_ptr", peer, copies(boost::intrusive_ptr<BoostObj>(new BoostObj), N));
#endif
#ifdef HAVE_POCO
        g.add("Poco::AutoPtr", kit, copies(Poco::AutoPtr<PocoObj>(new PocoObj), N));
        g.add("Poco::SharedPtr", kit, copies(Poco::SharedPtr<Plain>(new Plain), N));
#endif
#ifdef HAVE_QT
        g.add("QExplicitlySharedDataPointer", kit, copies(QExplicitlySharedDataPointer<QtObj>(new QtObj), N));
        g.add("QSharedPointer", kit, copies(QSharedPointer<Plain>::create(), N));
#endif
#ifdef HAVE_GLIB
        g.add("GObject ref/unref", kit,
              [=]
              {
                  static GObject* o = (GObject*)g_object_new(G_TYPE_OBJECT, nullptr);
                  for (int i = 0; i < N; i++)
                  {
                      g_object_ref(o);
                      g_object_unref(o);
                  }
                  return std::uint64_t(N);
              });
#endif
        g.add("vnRefPointer", ours, copies(vnRefPointer<OurOpenObj>(new OurOpenObj), N));
        g.add("vnRefPointer, final class", ours, copies(vnRefPointer<OurObj>(new OurObj), N));
        g.add("vnRefPointer, thread-safe", ours, copies(vnRefPointer<OurSafeOpenObj>(new OurSafeOpenObj), N));
        g.add("vnRefPointer, thread-safe final class", ours,
              copies(vnRefPointer<OurSafeObj>(new OurSafeObj), N));
    }
    {
        const int M = suite.scaled(1000000);
        Group& g = suite.group("copy + drop, 2 threads, same object", nsPerOp, 2.0 * M);
        g.add("std::shared_ptr", kit, copies2(std::make_shared<Plain>(), M));
        g.add("count under a std::mutex", kit, copies2(MutexPtr(new MutexObj), M));
#ifdef HAVE_BOOST
        g.add("boost::intrusive_ptr", peer, copies2(boost::intrusive_ptr<BoostObj>(new BoostObj), M));
#endif
#ifdef HAVE_POCO
        g.add("Poco::AutoPtr", kit, copies2(Poco::AutoPtr<PocoObj>(new PocoObj), M));
#endif
#ifdef HAVE_QT
        g.add("QExplicitlySharedDataPointer", kit,
              copies2(QExplicitlySharedDataPointer<QtObj>(new QtObj), M));
#endif
        g.add("vnRefPointer, thread-safe", ours,
              copies2(vnRefPointer<OurSafeOpenObj>(new OurSafeOpenObj), M));
    }
    {
        const int M = suite.scaled(1000000);
        Group& g = suite.group("create + destroy a counted object", nsPerOp, M);
        g.add("new + delete (no count)", limit,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      Plain* p = new Plain;
                      keep(p);
                      delete p;
                  }
                  return std::uint64_t(M);
              });
        g.add("std::make_shared", kit,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      auto p = std::make_shared<Plain>();
                      keep(p);
                  }
                  return std::uint64_t(M);
              });
#ifdef HAVE_BOOST
        g.add("boost::intrusive_ptr", peer,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      boost::intrusive_ptr<BoostObj> p(new BoostObj);
                      keep(p);
                  }
                  return std::uint64_t(M);
              });
#endif
#ifdef HAVE_POCO
        g.add("Poco::AutoPtr", kit,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      Poco::AutoPtr<PocoObj> p(new PocoObj);
                      keep(p);
                  }
                  return std::uint64_t(M);
              });
#endif
#ifdef HAVE_QT
        g.add("QExplicitlySharedDataPointer", kit,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      QExplicitlySharedDataPointer<QtObj> p(new QtObj);
                      keep(p);
                  }
                  return std::uint64_t(M);
              });
#endif
#ifdef HAVE_GLIB
        g.add(
            "GObject", kit,
            [=]
            {
                for (int i = 0; i < M / 10; i++)
                {
                    GObject* o = (GObject*)g_object_new(G_TYPE_OBJECT, nullptr);
                    g_object_unref(o);
                }
                return std::uint64_t(M);
            },
            nullptr, 0.1);
#endif
        g.add("vnRefPointer", ours,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      vnRefPointer<OurOpenObj> p(new OurOpenObj);
                      keep(p);
                  }
                  return std::uint64_t(M);
              });
        g.add("vnRefPointer, thread-safe", ours,
              [=]
              {
                  for (int i = 0; i < M; i++)
                  {
                      vnRefPointer<OurSafeOpenObj> p(new OurSafeOpenObj);
                      keep(p);
                  }
                  return std::uint64_t(M);
              });
    }
    suite.run();
    return suite.getResult();
}
