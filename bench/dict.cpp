// SPDX-License-Identifier: MIT
// Workload c: hash dictionaries with string keys; sorted containers; arrays.
#include "bench.h"

#include <vnBase/vnDict.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnString.h>

#include <map>
#include <memory>
#include <set>
#include <unordered_map>

#ifdef HAVE_ABSL
#include <absl/container/flat_hash_map.h>
#endif
#ifdef HAVE_BOOST
#include <boost/container/flat_map.hpp>
#include <boost/unordered_map.hpp>
#endif
#ifdef HAVE_GLIB
#include <glib.h>
#endif
#ifdef HAVE_POCO
#include <Poco/HashMap.h>
#endif
#ifdef HAVE_QT
#include <QByteArray>
#include <QHash>
#include <QMap>
#include <QVector>
#endif

// One face for all the dictionaries, so that the loops below are the same.
template <class M>
struct StdLike
{
    M m;
    using Key = std::string;
    void insert(const Key& k, int v) { m.emplace(k, v); }
    const int* find(const Key& k) const
    {
        auto i = m.find(k);
        return i == m.end() ? nullptr : &i->second;
    }
    std::uint64_t sum() const
    {
        std::uint64_t s = 0;
        for (auto& e : m)
            s += e.second;
        return s;
    }
    void erase(const Key& k) { m.erase(k); }
};

#ifdef HAVE_POCO
struct PocoMap
{
    Poco::HashMap<std::string, int> m;
    using Key = std::string;
    void insert(const Key& k, int v) { m.insert(std::make_pair(k, v)); }
    const int* find(const Key& k) const
    {
        auto i = m.find(k);
        return i == m.end() ? nullptr : &i->second;
    }
    std::uint64_t sum() const
    {
        std::uint64_t s = 0;
        for (auto i = m.begin(); i != m.end(); ++i)
            s += i->second;
        return s;
    }
    void erase(const Key& k) { m.erase(k); }
};

#endif

#ifdef HAVE_QT
template <class M>
struct QtLike
{
    M m;
    using Key = QByteArray;
    void insert(const Key& k, int v) { m.insert(k, v); }
    const int* find(const Key& k) const
    {
        auto i = m.constFind(k);
        return i == m.constEnd() ? nullptr : &i.value();
    }
    std::uint64_t sum() const
    {
        std::uint64_t s = 0;
        for (auto i = m.constBegin(); i != m.constEnd(); ++i)
            s += i.value();
        return s;
    }
    void erase(const Key& k) { m.remove(k); }
};

#endif

#ifdef HAVE_GLIB
// GLib keeps pointers only; the key is copied, as the others copy theirs.
struct GlibMap
{
    GHashTable* t = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
    std::vector<int> values;
    using Key = std::string;
    GlibMap() {}
    GlibMap(const GlibMap&) = delete;
    ~GlibMap() { g_hash_table_destroy(t); }
    void insert(const Key& k, int v) { g_hash_table_insert(t, g_strdup(k.c_str()), GINT_TO_POINTER(v + 1)); }
    mutable int last = 0;
    const int* find(const Key& k) const
    {
        gpointer p = g_hash_table_lookup(t, k.c_str());
        if (!p)
            return nullptr;
        last = GPOINTER_TO_INT(p) - 1;
        return &last;
    }
    std::uint64_t sum() const
    {
        GHashTableIter i;
        gpointer k, v;
        std::uint64_t s = 0;
        g_hash_table_iter_init(&i, t);
        while (g_hash_table_iter_next(&i, &k, &v))
            s += GPOINTER_TO_INT(v) - 1;
        return s;
    }
    void erase(const Key& k) { g_hash_table_remove(t, k.c_str()); }
};

#endif

// Ours keeps pointers to values as well; the number stands in the pointer, as it does in GLib's.
struct OurMap
{
    mutable vnDict<vnString, char> m; // finding remembers where
    using Key = vnString;
    OurMap() { m.setAutoGrow(1); }
    void insert(const Key& k, int v) { m.enter(k, reinterpret_cast<char*>(std::intptr_t(v) + 1)); }
    mutable int last = 0;
    const int* find(const Key& k) const
    {
        const char* p = m.find(k);
        if (!p)
            return nullptr;
        last = number(p);
        return &last;
    }
    std::uint64_t sum()
    {
        std::uint64_t s = 0;
        for (auto& e : m)
            s += number(e.getValue());
        return s;
    }
    void erase(const Key& k) { m.remove(k); }
    static int number(const char* p) { return int(reinterpret_cast<std::intptr_t>(p) - 1); }
};

using Keys = std::vector<std::string>;
template <class K>
std::vector<K> convert(const Keys& in)
{
    std::vector<K> out;
    for (const std::string& s : in)
        out.push_back(K(s.data(), static_cast<unsigned short>(s.size())));
    return out;
}

struct Groups
{
    bench::Group *insert, *erase, *hit, *miss, *iterate;
    bench::Suite* suite;
    std::string prefix;
};

template <class D>
static void fill(D& d, const std::vector<typename D::Key>& keys)
{
    for (size_t i = 0; i < keys.size(); i++)
        d.insert(keys[i], int(i));
}

// Insert and erase come first, while no other dictionary has cut up the heap.
template <class D>
static void addInsert(const Groups& g, const char* name, bench::Role role, const Keys& keys,
                      const Keys& again)
{
    using K = typename D::Key;
    auto k = std::make_shared<std::vector<K>>(convert<K>(keys));
    auto a = std::make_shared<std::vector<K>>(convert<K>(again));
    g.insert->add(name, role,
                  [k]
                  {
                      D d;
                      fill(d, *k);
                      bench::keep(d);
                      return std::uint64_t(k->size());
                  });
    if (g.erase)
    {
        auto d = std::make_shared<std::unique_ptr<D>>();
        g.erase->add(
            name, role,
            [d, a]
            {
                for (const K& x : *a)
                    (*d)->erase(x);
                return std::uint64_t(a->size());
            },
            [d, k]
            {
                d->reset(new D);
                fill(**d, *k);
            });
    }
}

template <class D>
static void addFind(const Groups& g, const char* name, bench::Role role, const Keys& keys, const Keys& again,
                    const Keys& absent)
{
    using K = typename D::Key;
    const std::uint64_t before = bench::heapBytes();
    auto full = std::make_shared<D>();
    {
        std::vector<K> k(convert<K>(keys)); // a shared string stays in the dictionary
        fill(*full, k);
    }
    g.suite->record(g.prefix + "heap bytes per entry (4-byte value)", name, role,
                    double(bench::heapBytes() - before) / keys.size(), bench::bytesEach);

    // Keys for the look-ups are other string objects than the stored ones and
    // come in another order.
    auto a = std::make_shared<std::vector<K>>(convert<K>(again));
    auto n = std::make_shared<std::vector<K>>(convert<K>(absent));
    g.hit->add(name, role,
               [a, full]
               {
                   std::uint64_t s = 0;
                   for (const K& x : *a)
                       s += *full->find(x);
                   return s;
               });
    g.miss->add(name, role,
                [n, full]
                {
                    std::uint64_t s = 0;
                    for (const K& x : *n)
                        s += full->find(x) != nullptr;
                    return s;
                });
    g.iterate->add(name, role, [full] { return full->sum(); });
}

static void dictionaries(bench::Suite& suite, const Keys& all, size_t count, const char* label, int rounds)
{
    using namespace bench;
    Keys keys(all.begin(), all.begin() + count), again(keys), absent;
    std::uint32_t x = 99;
    for (size_t i = count; i-- > 1;)
    {
        x = x * 1664525 + 1013904223;
        std::swap(again[i], again[(x >> 4) % (i + 1)]);
    }
    for (const std::string& s : again)
        absent.push_back(s + "~");

    const std::string p = std::string("hash, ") + label + ": ";
    Groups g;
    g.suite = &suite;
    g.prefix = p;
    g.insert = &suite.group(p + "insert + destroy", nsPerOp, double(count)).rounds(rounds);
    g.erase = &suite.group(p + "erase one by one", nsPerOp, double(count)).rounds(rounds);
    if (count > 100000)
    {
        g.insert->freshHeap();
        g.erase->freshHeap();
    }
    addInsert<StdLike<std::unordered_map<std::string, int>>>(g, "std::unordered_map", kit, keys, again);
#ifdef HAVE_ABSL
    addInsert<StdLike<absl::flat_hash_map<std::string, int>>>(g, "absl::flat_hash_map", peer, keys, again);
#endif
#ifdef HAVE_BOOST
    addInsert<StdLike<boost::unordered_map<std::string, int>>>(g, "boost::unordered_map", peer, keys, again);
#endif
#ifdef HAVE_QT
    addInsert<QtLike<QHash<QByteArray, int>>>(g, "QHash<QByteArray> (shares the key)", kit, keys, again);
#endif
#ifdef HAVE_POCO
    addInsert<PocoMap>(g, "Poco::HashMap", kit, keys, again);
#endif
#ifdef HAVE_GLIB
    addInsert<GlibMap>(g, "GHashTable", kit, keys, again);
#endif
    addInsert<OurMap>(g, "vnDict<vnString>", ours, keys, again);
    suite.run();

    g.hit = &suite.group(p + "find, present", nsPerOp, double(count)).rounds(rounds).sameCheck();
    g.miss = &suite.group(p + "find, absent", nsPerOp, double(count)).rounds(rounds).sameCheck();
    g.iterate = &suite.group(p + "iterate", nsPerOp, double(count)).rounds(rounds).sameCheck();
    addFind<StdLike<std::unordered_map<std::string, int>>>(g, "std::unordered_map", kit, keys, again, absent);
#ifdef HAVE_ABSL
    addFind<StdLike<absl::flat_hash_map<std::string, int>>>(g, "absl::flat_hash_map", peer, keys, again,
                                                            absent);
#endif
#ifdef HAVE_BOOST
    addFind<StdLike<boost::unordered_map<std::string, int>>>(g, "boost::unordered_map", peer, keys, again,
                                                             absent);
#endif
#ifdef HAVE_QT
    addFind<QtLike<QHash<QByteArray, int>>>(g, "QHash<QByteArray>", kit, keys, again, absent);
#endif
#ifdef HAVE_POCO
    addFind<PocoMap>(g, "Poco::HashMap", kit, keys, again, absent);
#endif
#ifdef HAVE_GLIB
    addFind<GlibMap>(g, "GHashTable", kit, keys, again, absent);
#endif
    addFind<OurMap>(g, "vnDict<vnString>", ours, keys, again, absent);
    suite.run();
}

static void sorted(bench::Suite& suite, const Keys& all, size_t count)
{
    using namespace bench;
    Keys keys(all.begin(), all.begin() + count), again(keys.rbegin(), keys.rend()), absent;
    for (const std::string& s : again)
        absent.push_back(s + "~");
    const std::string p = "sorted, 20k keys: ";
    Groups g;
    g.suite = &suite;
    g.prefix = p;
    g.insert = &suite.group(p + "insert + destroy", nsPerOp, double(count));
    g.erase = nullptr;
    addInsert<StdLike<std::map<std::string, int>>>(g, "std::map (tree)", kit, keys, again);
#ifdef HAVE_BOOST
    addInsert<StdLike<boost::container::flat_map<std::string, int>>>(g, "boost flat_map (array)", peer, keys,
                                                                     again);
#endif
#ifdef HAVE_QT
    addInsert<QtLike<QMap<QByteArray, int>>>(g, "QMap<QByteArray> (tree, shares the key)", kit, keys, again);
#endif
    suite.run();
    g.hit = &suite.group(p + "find, present", nsPerOp, double(count)).sameCheck();
    g.miss = &suite.group(p + "find, absent", nsPerOp, double(count)).sameCheck();
    g.iterate = &suite.group(p + "iterate", nsPerOp, double(count)).sameCheck();
    addFind<StdLike<std::map<std::string, int>>>(g, "std::map (tree)", kit, keys, again, absent);
#ifdef HAVE_BOOST
    addFind<StdLike<boost::container::flat_map<std::string, int>>>(g, "boost flat_map (array)", peer, keys,
                                                                   again, absent);
#endif
#ifdef HAVE_QT
    addFind<QtLike<QMap<QByteArray, int>>>(g, "QMap<QByteArray> (tree)", kit, keys, again, absent);
#endif
    suite.run();
}

static void arrays(bench::Suite& suite)
{
    using namespace bench;
    const int N = suite.scaled(4000000);
    {
        Group& g = suite.group("array: append 4M ints one by one", nsPerOp, N).sameCheck();
        g.add("store into ready memory", limit,
              [=]
              {
                  std::unique_ptr<int[]> a(new int[N]);
                  for (int i = 0; i < N; i++)
                  {
                      a[i] = i;
                      keep(a);
                  }
                  return std::uint64_t(N);
              });
        g.add("std::vector", kit,
              [=]
              {
                  std::vector<int> a;
                  for (int i = 0; i < N; i++)
                      a.push_back(i);
                  keep(a);
                  return std::uint64_t(a.size());
              });
#ifdef HAVE_QT
        g.add("QVector", kit,
              [=]
              {
                  QVector<int> a;
                  for (int i = 0; i < N; i++)
                      a.append(i);
                  keep(a);
                  return std::uint64_t(a.size());
              });
#endif
#ifdef HAVE_GLIB
        g.add("GArray", kit,
              [=]
              {
                  GArray* a = g_array_new(FALSE, FALSE, sizeof(int));
                  for (int i = 0; i < N; i++)
                      g_array_append_val(a, i);
                  std::uint64_t n = a->len;
                  g_array_free(a, TRUE);
                  return n;
              });
#endif
        g.add("vnDynamicArray", ours,
              [=]
              {
                  vnDynamicArray<int> a;
                  for (int i = 0; i < N; i++)
                      a.append(i);
                  keep(a);
                  return std::uint64_t(a.getSize());
              });
    }
    {
        const int M = suite.scaled(500000);
        Group& g = suite.group("array: append 500k short strings", nsPerOp, M).sameCheck();
        g.add("std::vector<std::string>", kit,
              [=]
              {
                  std::vector<std::string> a;
                  for (int i = 0; i < M; i++)
                      a.emplace_back("a string of thirty characters.");
                  keep(a);
                  return std::uint64_t(a.size());
              });
#ifdef HAVE_QT
        g.add("QVector<QByteArray>", kit,
              [=]
              {
                  QVector<QByteArray> a;
                  for (int i = 0; i < M; i++)
                      a.append(QByteArray("a string of thirty characters."));
                  keep(a);
                  return std::uint64_t(a.size());
              });
        g.add("QByteArrayList (QList)", kit,
              [=]
              {
                  QList<QByteArray> a;
                  for (int i = 0; i < M; i++)
                      a.append(QByteArray("a string of thirty characters."));
                  keep(a);
                  return std::uint64_t(a.size());
              });
#endif
#ifdef HAVE_GLIB
        g.add("GPtrArray of g_strdup", kit,
              [=]
              {
                  GPtrArray* a = g_ptr_array_new_with_free_func(g_free);
                  for (int i = 0; i < M; i++)
                      g_ptr_array_add(a, g_strdup("a string of thirty characters."));
                  std::uint64_t n = a->len;
                  g_ptr_array_free(a, TRUE);
                  return n;
              });
#endif
        g.add("vnDynamicArray<vnString>", ours,
              [=]
              {
                  vnDynamicArray<vnString> a;
                  for (int i = 0; i < M; i++)
                      a.append(vnString("a string of thirty characters."));
                  keep(a);
                  return std::uint64_t(a.getSize());
              });
    }
    suite.run();
}

int main(int argc, char** argv)
{
#ifdef HAVE_QT
    qputenv("QT_HASH_SEED", "0");
#endif
    bench::Suite suite("c.dict", argc, argv);
    const Keys all = bench::readLines(suite.getDataDir() + "/keys.txt");
    if (all.size() < std::size_t(suite.scaled(1000000)))
    {
        std::fprintf(stderr, "%s holds too few keys\n", suite.getDataDir().c_str());
        return 1;
    }
    dictionaries(suite, all, suite.scaled(1000000), "1M keys", 3);
    dictionaries(suite, all, suite.scaled(10000), "10k keys", 15);
    sorted(suite, all, suite.scaled(20000));
    arrays(suite);
    return suite.getResult();
}
