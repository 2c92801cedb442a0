// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnTool.h"

#include <vnBase/vnProgress.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapterFile.h>

#include <algorithm>
#include <sys/stat.h>
#include <vector>

// The commands that move bytes from stream to stream.

namespace
{
using Adapter = vnRefPointer<vnSerializeAdapter>;

void checkError(Adapter& adapter)
{
    if (adapter->hasError())
        throw vnFailure(adapter->getError().getString());
}

Adapter openFile(const std::string& name, vnSerializeAction action)
{
    if (name.empty())
        throw vnUsageError("a file name is empty");
    Adapter adapter(new vnSerializeAdapterFile(name.c_str(), action, 0, 0));
    checkError(adapter);
    return adapter;
}

// Hands all bytes of `source` to `put(data, size)`, and tells how far it is.
template <class Put>
void forEachBlock(Adapter& source, const char* banner, Put put)
{
    std::vector<unsigned char> block(1000000);
    double total = source->length();
    double finished = 0;
    while (source->hasData())
    {
        // A source that can't tell how much there is, such as a named pipe, is read as the bytes come.
        const unsigned int known = std::max(source->length(), 1u);
        const unsigned int wanted = std::min<unsigned int>(known, static_cast<unsigned int>(block.size()));
        const unsigned int size = source->read(block.data(), wanted);
        checkError(source);
        put(block.data(), size);
        finished += size;
        total = std::max(total, finished);
        vnProgress::progress(static_cast<unsigned char>(finished / total * 100.0), banner);
    }
    checkError(source);
}

bool isSameFile(const std::string& left, const std::string& right)
{
    struct stat leftStat, rightStat;
    return stat(left.c_str(), &leftStat) == 0 && stat(right.c_str(), &rightStat) == 0 &&
           S_ISREG(leftStat.st_mode) && leftStat.st_dev == rightStat.st_dev &&
           leftStat.st_ino == rightStat.st_ino;
}
} // namespace

void vnRunCat(vnArguments& arguments)
{
    for (const std::string& name : arguments.takeOperands(1, SIZE_MAX))
    {
        Adapter source = openFile(name, VN_SERIALIZE_INPUT);
        forEachBlock(source, name.c_str(), vnWriteResult);
    }
}

void vnRunCopy(vnArguments& arguments)
{
    const std::vector<std::string> names = arguments.takeOperands(2, 2);
    // Opening the target empties it, so that the source would be lost.
    if (isSameFile(names[0], names[1]))
        throw vnFailure("'" + names[0] + "' and '" + names[1] + "' are one file");
    Adapter source = openFile(names[0], VN_SERIALIZE_INPUT);
    Adapter target = openFile(names[1], VN_SERIALIZE_OUTPUT);
    forEachBlock(source, "copy",
                 [&target](unsigned char* data, unsigned int size)
                 {
                     target->write(data, size);
                     checkError(target);
                 });
    target->flush();
    checkError(target);
}
