// SPDX-License-Identifier: MIT
// Workload b: short strings (8 to 40 bytes).
#include "bench.h"

#include <vnBase/vnString.h>

#include <string_view>

#ifdef HAVE_GLIB
#include <glib.h>
#endif
#ifdef HAVE_QT
#include <QByteArray>
#include <QHash>
#include <QString>
#endif

template <class F>
static auto mapped(const std::vector<std::string>& from, F make)
{
    std::vector<decltype(make(from[0]))> to;
    to.reserve(from.size());
    for (const std::string& s : from)
        to.push_back(make(s));
    return to;
}

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("b.string", argc, argv);

    const int N = 4096, LOOPS = suite.scaled(400) / 4 * 4;
    std::vector<std::string> text;
    std::uint32_t x = 12345;
    for (int i = 0; i < N; i++)
    {
        x = x * 1664525 + 1013904223;
        std::string s;
        const int n = 8 + (x >> 16) % 33;
        for (int k = 0; k < n; k++)
            s += char('a' + (x >> 8 ^ k * 7) % 26);
        s[0] = 'k'; // a common start, as keys of one program have
        s[1] = 'e';
        text.push_back(s);
    }
    std::vector<std::string> text2(text);
    std::vector<std::string> different(text);
    for (std::string& s : different)
        s.back() = '~';
        // Each set is made by itself, so that its blocks stand in a row for all libraries alike.
#ifdef HAVE_QT
    const auto bytes = [](const std::string& s) { return QByteArray(s.data(), int(s.size())); };
    const auto wide = [](const std::string& s) { return QString::fromLatin1(s.data(), int(s.size())); };
    const auto qb = mapped(text, bytes), qb2 = mapped(text, bytes), qbDifferent = mapped(different, bytes);
    const auto qs = mapped(text, wide), qs2 = mapped(text, wide), qsDifferent = mapped(different, wide);
#endif
    const auto ourText = [](const std::string& s) { return vnString(s.c_str()); };
    const auto vs = mapped(text, ourText), vs2 = mapped(text, ourText),
               vsDifferent = mapped(different, ourText);
    // Keys of tables have been asked for their hashes, other texts have not.
    const auto keys = mapped(text, ourText), keys2 = mapped(text, ourText),
               keysDifferent = mapped(different, ourText);
    for (const std::vector<vnString>* v : {&keys, &keys2, &keysDifferent})
        for (const vnString& s : *v)
            keep(s.hash());
    const double ops = double(N) * LOOPS;

    auto each = [&](auto one)
    {
        return [&, one]
        {
            std::uint64_t sum = 0;
            for (int l = 0; l < LOOPS; l++)
                for (int i = 0; i < N; i++)
                    sum += one(i);
            return sum;
        };
    };

    {
        Group& g = suite.group("construct from chars + destroy", nsPerOp, ops).sameCheck();
        g.add("memcpy to stack", limit,
              each(
                  [&](int i) -> size_t
                  {
                      char b[64];
                      std::memcpy(b, text[i].data(), text[i].size());
                      keep(b);
                      return text[i].size();
                  }));
        g.add("malloc + memcpy + free", limit,
              each(
                  [&](int i) -> size_t
                  {
                      char* b = (char*)std::malloc(text[i].size() + 1);
                      std::memcpy(b, text[i].data(), text[i].size());
                      keep(b);
                      std::free(b);
                      return text[i].size();
                  }));
        g.add("std::string", kit,
              each(
                  [&](int i) -> size_t
                  {
                      std::string s(text[i].data(), text[i].size());
                      keep(s);
                      return s.size();
                  }));
#ifdef HAVE_QT
        g.add("QByteArray", kit,
              each(
                  [&](int i) -> size_t
                  {
                      QByteArray s(text[i].data(), int(text[i].size()));
                      keep(s);
                      return s.size();
                  }));
        g.add("QString (from Latin-1)", kit,
              each(
                  [&](int i) -> size_t
                  {
                      QString s = QString::fromLatin1(text[i].data(), int(text[i].size()));
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_GLIB
        g.add("GString", kit,
              each(
                  [&](int i) -> size_t
                  {
                      GString* s = g_string_new_len(text[i].data(), text[i].size());
                      keep(s);
                      size_t n = s->len;
                      g_string_free(s, TRUE);
                      return n;
                  }));
#endif
        g.add("vnString", ours,
              each(
                  [&](int i) -> size_t
                  {
                      vnString s(text[i].data(), static_cast<unsigned short>(text[i].size()));
                      keep(s);
                      return s.length();
                  }));
        g.add("vnString, up to the NUL", ours,
              each(
                  [&](int i) -> size_t
                  {
                      vnString s(text[i].c_str());
                      keep(s);
                      return s.length();
                  }));
    }
    {
        Group& g = suite.group("copy + destroy", nsPerOp, ops).sameCheck();
        g.add("std::string", kit,
              each(
                  [&](int i) -> size_t
                  {
                      std::string s(text[i]);
                      keep(s);
                      return s.size();
                  }));
#ifdef HAVE_QT
        g.add("QByteArray (shared)", kit,
              each(
                  [&](int i) -> size_t
                  {
                      QByteArray s(qb[i]);
                      keep(s);
                      return s.size();
                  }));
        g.add("QString (shared)", kit,
              each(
                  [&](int i) -> size_t
                  {
                      QString s(qs[i]);
                      keep(s);
                      return s.size();
                  }));
#endif
        g.add("vnString", ours,
              each(
                  [&](int i) -> size_t
                  {
                      vnString s(vs[i]);
                      keep(s);
                      return s.length();
                  }));
    }
    {
        Group& g = suite.group("compare, equal contents", nsPerOp, ops).sameCheck();
        g.add("memcmp", limit,
              each(
                  [&](int i) -> size_t
                  {
                      return text[i].size() == text2[i].size() &&
                             std::memcmp(text[i].data(), text2[i].data(), text[i].size()) == 0;
                  }));
        g.add("std::string ==", kit, each([&](int i) -> size_t { return text[i] == text2[i]; }));
#ifdef HAVE_QT
        g.add("QByteArray ==", kit, each([&](int i) -> size_t { return qb[i] == qb2[i]; }));
        g.add("QString ==", kit, each([&](int i) -> size_t { return qs[i] == qs2[i]; }));
#endif
        g.add("vnString ==", ours, each([&](int i) -> size_t { return vs[i] == vs2[i]; }));
        g.add("vnString ==, hashes known", ours, each([&](int i) -> size_t { return keys[i] == keys2[i]; }));
    }
    {
        // Equal lengths and all but the last byte, as the keys of one program have.
        Group& g = suite.group("compare, unequal contents", nsPerOp, ops).sameCheck();
        g.add("std::string ==", kit, each([&](int i) -> size_t { return text[i] == different[i]; }));
#ifdef HAVE_QT
        g.add("QByteArray ==", kit, each([&](int i) -> size_t { return qb[i] == qbDifferent[i]; }));
        g.add("QString ==", kit, each([&](int i) -> size_t { return qs[i] == qsDifferent[i]; }));
#endif
        g.add("vnString ==", ours, each([&](int i) -> size_t { return vs[i] == vsDifferent[i]; }));
        g.add("vnString ==, hashes known", ours,
              each([&](int i) -> size_t { return keys[i] == keysDifferent[i]; }));
    }
    {
        Group& g = suite.group("compare, order (<)", nsPerOp, ops).sameCheck();
        g.add("std::string <", kit, each([&](int i) -> size_t { return text[i] < text2[N - 1 - i]; }));
#ifdef HAVE_QT
        g.add("QByteArray <", kit, each([&](int i) -> size_t { return qb[i] < qb2[N - 1 - i]; }));
        g.add("QString <", kit, each([&](int i) -> size_t { return qs[i] < qs2[N - 1 - i]; }));
#endif
        g.add("vnString <", ours, each([&](int i) -> size_t { return vs[i] < vs2[N - 1 - i]; }));
    }
    {
        Group& g = suite.group("concat a + '/' + b", nsPerOp, ops).sameCheck();
        g.add("memcpy to stack", limit,
              each(
                  [&](int i) -> size_t
                  {
                      char b[128];
                      const std::string &p = text[i], &q = text2[N - 1 - i];
                      std::memcpy(b, p.data(), p.size());
                      b[p.size()] = '/';
                      std::memcpy(b + p.size() + 1, q.data(), q.size());
                      keep(b);
                      return p.size() + 1 + q.size();
                  }));
        g.add("std::string, operator +", kit,
              each(
                  [&](int i) -> size_t
                  {
                      std::string s = text[i] + '/' + text2[N - 1 - i];
                      keep(s);
                      return s.size();
                  }));
        g.add("std::string, reserve + append", kit,
              each(
                  [&](int i) -> size_t
                  {
                      const std::string &p = text[i], &q = text2[N - 1 - i];
                      std::string s;
                      s.reserve(p.size() + 1 + q.size());
                      s += p;
                      s += '/';
                      s += q;
                      keep(s);
                      return s.size();
                  }));
#ifdef HAVE_QT
        g.add("QByteArray, operator +", kit,
              each(
                  [&](int i) -> size_t
                  {
                      QByteArray s = qb[i] + '/' + qb2[N - 1 - i];
                      keep(s);
                      return s.size();
                  }));
        g.add("QString, operator +", kit,
              each(
                  [&](int i) -> size_t
                  {
                      QString s = qs[i] + QLatin1Char('/') + qs2[N - 1 - i];
                      keep(s);
                      return s.size();
                  }));
#endif
        g.add("vnString, operator +", ours,
              each(
                  [&](int i) -> size_t
                  {
                      vnString s = vs[i] + '/' + vs2[N - 1 - i];
                      keep(s);
                      return s.length();
                  }));
        g.add("vnString, copy and +=", ours,
              each(
                  [&](int i) -> size_t
                  {
                      vnString s(vs[i]);
                      s += '/';
                      s += vs2[N - 1 - i];
                      keep(s);
                      return s.length();
                  }));
    }
    {
        Group& g = suite.group("append 32 single chars", nsPerOp, ops / 4).sameCheck();
        auto some = [&](auto one)
        {
            return [&, one]
            {
                std::uint64_t sum = 0;
                for (int l = 0; l < LOOPS / 4; l++)
                    for (int i = 0; i < N; i++)
                        sum += one(i);
                return sum;
            };
        };
        g.add("std::string", kit,
              some(
                  [&](int i) -> size_t
                  {
                      std::string s;
                      for (int k = 0; k < 32; k++)
                          s += char('a' + (i + k) % 16);
                      keep(s);
                      return s.size();
                  }));
#ifdef HAVE_QT
        g.add("QByteArray", kit,
              some(
                  [&](int i) -> size_t
                  {
                      QByteArray s;
                      for (int k = 0; k < 32; k++)
                          s += char('a' + (i + k) % 16);
                      keep(s);
                      return s.size();
                  }));
        g.add("QString", kit,
              some(
                  [&](int i) -> size_t
                  {
                      QString s;
                      for (int k = 0; k < 32; k++)
                          s += QLatin1Char('a' + (i + k) % 16);
                      keep(s);
                      return s.size();
                  }));
#endif
#ifdef HAVE_GLIB
        g.add("GString", kit,
              some(
                  [&](int i) -> size_t
                  {
                      GString* s = g_string_new(nullptr);
                      for (int k = 0; k < 32; k++)
                          g_string_append_c(s, char('a' + (i + k) % 16));
                      size_t n = s->len;
                      g_string_free(s, TRUE);
                      return n;
                  }));
#endif
        g.add("vnString", ours,
              some(
                  [&](int i) -> size_t
                  {
                      vnString s;
                      for (int k = 0; k < 32; k++)
                          s += char('a' + (i + k) % 16);
                      keep(s);
                      return s.length();
                  }));
    }
    {
        Group& g = suite.group("hash", nsPerOp, ops);
        g.add("std::hash (Murmur)", kit,
              each([&](int i) -> size_t { return std::hash<std::string>()(text[i]); }));
#ifdef HAVE_QT
        g.add("qHash(QByteArray)", kit, each([&](int i) -> size_t { return qHash(qb[i]); }));
        g.add("qHash(QString)", kit, each([&](int i) -> size_t { return qHash(qs[i]); }));
#endif
#ifdef HAVE_GLIB
        g.add("g_str_hash (times 33)", kit,
              each([&](int i) -> size_t { return g_str_hash(text[i].c_str()); }));
#endif
        g.add("vnString::hash of bytes", ours,
              each([&](int i) -> size_t
                   { return vnString::hash(text[i].data(), static_cast<unsigned int>(text[i].size())); }));
        g.add("vnString::hash (stored)", other, each([&](int i) -> size_t { return vs[i].hash(); }));
    }
    suite.run();
    return suite.getResult();
}
