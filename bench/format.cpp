// SPDX-License-Identifier: MIT
// Workload a: printf-like formatting.
#include "bench.h"

#include <vnBase/vnString.h>

#include <charconv>
#include <iomanip>
#include <sstream>

#ifdef HAVE_BOOST
#include <boost/format.hpp>
#endif
#ifdef HAVE_FMT
#include <fmt/format.h>
#endif
#ifdef HAVE_GLIB
#include <glib.h>
#endif
#ifdef HAVE_POCO
#include <Poco/Format.h>
#endif
#ifdef HAVE_QT
#include <QByteArray>
#include <QString>
#endif

struct Row
{
    std::string name;
    int count;
    double percent;
    unsigned id;
};

static char* putText(char* p, const char* s, size_t n)
{
    std::memcpy(p, s, n);
    return p + n;
}
#define PUT(p, literal) putText(p, literal, sizeof(literal) - 1)

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("a.format", argc, argv);

    const int N = 1024, LOOPS = suite.scaled(200);
    static const char* const words[] = {"apple", "quartz", "telescope", "it", "notebook", "umbrella stand"};
    std::vector<Row> rows;
    for (int i = 0; i < N; i++)
        rows.push_back({words[i % 6], (i * 7919) % 100000 - 20000, (i * 104729 % 100000) / 997.0,
                        unsigned(i) * 2654435761u});
#ifdef HAVE_QT
    std::vector<QString> qnames;
    for (const Row& r : rows)
        qnames.push_back(QString::fromStdString(r.name));
#endif
    std::vector<vnString> ourNames;
    for (const Row& r : rows)
        ourNames.emplace_back(r.name.c_str());

    // The body of a case that formats each row of the table, which returns the sum of the lengths.
    auto each = [&](auto one)
    {
        return [&, one]
        {
            std::uint64_t sum = 0;
            for (int l = 0; l < LOOPS; l++)
                for (int i = 0; i < N; i++)
                    sum += one(rows[i], i);
            return sum;
        };
    };
    {
        Group& g = suite.group("four arguments (%s %d %f %x)", nsPerOp, double(N) * LOOPS).sameCheck();
        g.add("to_chars by hand, stack buffer", limit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      char b[512]; // to_chars is told of half of it
                      char* p = putText(b, r.name.data(), r.name.size());
                      p = PUT(p, " has ");
                      p = std::to_chars(p, b + 256, r.count).ptr;
                      p = PUT(p, " items, ");
                      p = std::to_chars(p, b + 256, r.percent, std::chars_format::fixed, 6).ptr;
                      p = PUT(p, " percent, id ");
                      p = std::to_chars(p, b + 256, r.id, 16).ptr;
                      keep(b);
                      return p - b;
                  }));
        g.add("snprintf, stack buffer", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      char b[256];
                      int n = std::snprintf(b, sizeof b, "%s has %d items, %f percent, id %x", r.name.c_str(),
                                            r.count, r.percent, r.id);
                      keep(b);
                      return n;
                  }));
        g.add("snprintf, then std::string", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      char b[256];
                      int n = std::snprintf(b, sizeof b, "%s has %d items, %f percent, id %x", r.name.c_str(),
                                            r.count, r.percent, r.id);
                      std::string s(b, n);
                      keep(s);
                      return s.size();
                  }));
        g.add("std::ostringstream, new each", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      std::ostringstream o;
                      o << r.name << " has " << r.count << " items, " << std::fixed << std::setprecision(6)
                        << r.percent << " percent, id " << std::hex << r.id;
                      std::string s = o.str();
                      keep(s);
                      return s.size();
                  }));
#ifdef HAVE_FMT
        g.add("fmt::format_to, stack buffer", peer,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      char b[256];
                      char* e = fmt::format_to(b, "{} has {} items, {:f} percent, id {:x}", r.name, r.count,
                                               r.percent, r.id);
                      keep(b);
                      return e - b;
                  }));
        g.add("fmt::format", peer,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      std::string s = fmt::format("{} has {} items, {:f} percent, id {:x}", r.name, r.count,
                                                  r.percent, r.id);
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_BOOST
        g.add("boost::format", peer,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      std::string s = (boost::format("%s has %d items, %f percent, id %x") % r.name %
                                       r.count % r.percent % r.id)
                                          .str();
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_POCO
        g.add("Poco::format", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      std::string s = Poco::format("%s has %d items, %f percent, id %x", r.name, r.count,
                                                   r.percent, r.id);
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_QT
        g.add("QString::asprintf", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      QString s = QString::asprintf("%s has %d items, %f percent, id %x", r.name.c_str(),
                                                    r.count, r.percent, r.id);
                      keep(s);
                      return s.size();
                  }));
        g.add("QString::arg", kit,
              each(
                  [&](const Row& r, int i) -> size_t
                  {
                      QString s = QStringLiteral("%1 has %2 items, %3 percent, id %4")
                                      .arg(qnames[i])
                                      .arg(r.count)
                                      .arg(r.percent, 0, 'f', 6)
                                      .arg(r.id, 0, 16);
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_GLIB
        g.add("GString printf, reused", kit,
              [&]
              {
                  std::uint64_t sum = 0;
                  GString* s = g_string_sized_new(256);
                  for (int l = 0; l < LOOPS; l++)
                      for (const Row& r : rows)
                      {
                          g_string_printf(s, "%s has %d items, %f percent, id %x", r.name.c_str(), r.count,
                                          r.percent, r.id);
                          sum += s->len;
                      }
                  g_string_free(s, TRUE);
                  return sum;
              });
#endif
        g.add("vnString::formatString", ours,
              each(
                  [&](const Row& r, int i) -> size_t
                  {
                      vnString s = vnString::formatString("%s has %d items, %.6f percent, id %x", ourNames[i],
                                                          r.count, r.percent, r.id);
                      keep(s);
                      return s.length();
                  }));
        g.add("vnString::format, reused", ours,
              [&]
              {
                  std::uint64_t sum = 0;
                  vnString s;
                  for (int l = 0; l < LOOPS; l++)
                      for (int i = 0; i < N; i++)
                      {
                          const Row& r = rows[i];
                          s.format("%s has %d items, %.6f percent, id %x", ourNames[i], r.count, r.percent,
                                   r.id);
                          sum += s.length();
                      }
                  return sum;
              });
    }
    {
        Group& g = suite.group("no float (%s %d %x)", nsPerOp, double(N) * LOOPS).sameCheck();
        g.add("to_chars by hand, stack buffer", limit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      char b[512]; // to_chars is told of half of it
                      char* p = putText(b, r.name.data(), r.name.size());
                      p = PUT(p, " has ");
                      p = std::to_chars(p, b + 256, r.count).ptr;
                      p = PUT(p, " items, id ");
                      p = std::to_chars(p, b + 256, r.id, 16).ptr;
                      keep(b);
                      return p - b;
                  }));
        g.add("snprintf, then std::string", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      char b[256];
                      int n =
                          std::snprintf(b, sizeof b, "%s has %d items, id %x", r.name.c_str(), r.count, r.id);
                      std::string s(b, n);
                      keep(s);
                      return s.size();
                  }));
        g.add("std::ostringstream, new each", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      std::ostringstream o;
                      o << r.name << " has " << r.count << " items, id " << std::hex << r.id;
                      std::string s = o.str();
                      keep(s);
                      return s.size();
                  }));
#ifdef HAVE_FMT
        g.add("fmt::format", peer,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      std::string s = fmt::format("{} has {} items, id {:x}", r.name, r.count, r.id);
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_POCO
        g.add("Poco::format", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      std::string s = Poco::format("%s has %d items, id %x", r.name, r.count, r.id);
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_QT
        g.add("QString::asprintf", kit,
              each(
                  [](const Row& r, int) -> size_t
                  {
                      QString s = QString::asprintf("%s has %d items, id %x", r.name.c_str(), r.count, r.id);
                      keep(s);
                      return s.size();
                  }));
        g.add(
            "QString::arg", kit,
            each(
                [&](const Row& r, int i) -> size_t
                {
                    QString s =
                        QStringLiteral("%1 has %2 items, id %3").arg(qnames[i]).arg(r.count).arg(r.id, 0, 16);
                    keep(s);
                    return s.size();
                }));
#endif
        g.add("vnString::formatString", ours,
              each(
                  [&](const Row& r, int i) -> size_t
                  {
                      vnString s =
                          vnString::formatString("%s has %d items, id %x", ourNames[i], r.count, r.id);
                      keep(s);
                      return s.length();
                  }));
    }
    suite.run();
    return suite.getResult();
}
