// SPDX-License-Identifier: MIT
#include "vnTool.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

const std::vector<vnCommand>& vnCommands()
{
    static const std::vector<vnCommand> commands = {
        {"cat", "FILE...", "write files to standard output, one after the other", "", vnRunCat},
        {"copy", "FROM TO", "copy one file to another",
         "What TO held before is lost. A file is not copied onto itself.\n", vnRunCopy},
        {"format", "FORMAT [ARGUMENT...]", "print a text by the library's format engine",
         "Up to 16 arguments. Digits with an optional sign that fit 64 bits are an integer, digits with a "
         "point or\n"
         "an exponent are a number, anything else is a string; so is what stands behind a leading \"=\".\n"
         "    vn format '%-8s|%5d|%x' name 42 255\n",
         vnRunFormat},
        {"words", "[--top N] [--threads N] FILE...", "count the words of files",
         "A word is a run of ASCII letters, digits and bytes above 127; letters are lower-cased, and a word "
         "is cut at\n"
         "1000 bytes. Prints the N most frequent words (20) as \"COUNT WORD\", the most frequent first, "
         "equal counts\n"
         "in the order of their bytes. N threads (as many as there are processors) count.\n",
         vnRunWords},
    };
    return commands;
}

namespace
{
[[noreturn]] void failOutput()
{
    throw vnFailure(std::string("can't write to standard output: ") + std::strerror(errno));
}
} // namespace

void vnWriteResult(const void* data, std::size_t size)
{
    if (std::fwrite(data, 1, size, stdout) != size)
        failOutput();
}

void vnFlushResults()
{
    if (std::fflush(stdout) != 0)
        failOutput();
}
