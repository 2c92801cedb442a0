// SPDX-License-Identifier: MIT
// Workload k, the short end: two integers out of a text by a format.
#include "bench.h"

#include <vnBase/vnStringParser.h>

#include <cstdio>
#include <string>

static const char* const text = "1024,768";
static constexpr int calls = 200000;

// The limit: what a careful programmer writes for this one format.
static long twoByHand(const char* from)
{
    char* end = nullptr;
    const long first = std::strtol(from, &end, 10);
    return end != from && *end == ',' ? first + std::strtol(end + 1, nullptr, 10) : 0;
}

int main(int argc, char** argv)
{
    bench::Suite suite("k.scan", argc, argv);
    auto& group = suite.group("\"%l,%l\" of a warm format", bench::nsPerOp, calls).sameCheck();
    group.add("strtol twice", bench::limit,
              []
              {
                  std::uint64_t sum = 0;
                  for (int i = 0; i < calls; ++i)
                  {
                      bench::keep(text);
                      sum += static_cast<std::uint64_t>(twoByHand(text));
                  }
                  return sum;
              });
    group.add("sscanf, two longs", bench::kit,
              []
              {
                  std::uint64_t sum = 0;
                  for (int i = 0; i < calls; ++i)
                  {
                      long first = 0, second = 0;
                      bench::keep(text);
                      if (std::sscanf(text, "%ld,%ld", &first, &second) == 2)
                          sum += static_cast<std::uint64_t>(first + second);
                  }
                  return sum;
              });
    group.add("parse, two strings, and their numbers", bench::ours,
              []
              {
                  static const vnString format("%l,%l"), input(text);
                  std::uint64_t sum = 0;
                  for (int i = 0; i < calls; ++i)
                  {
                      unsigned char ok = 0;
                      const vnArray<vnString> pieces = parse(format, input, &ok);
                      if (ok)
                          sum += static_cast<std::uint64_t>(pieces[0].num() + pieces[1].num());
                  }
                  return sum;
              });
    suite.run();
    return suite.getResult();
}
