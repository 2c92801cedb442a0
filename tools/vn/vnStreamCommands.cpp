// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnString.h>

#include <sys/stat.h>

// The commands that move bytes from stream to stream, and tell about their URLs.

namespace
{
// The name of the file that a URL opens; of other things there is none of that name.
std::string fileOf(const std::string& url)
{
    vnString base, path, name;
    vnSerializeAdapter::getURLBaseEncoding(url.c_str(), &base, &path, &name, nullptr, nullptr);
    return base == "file:" || base.isEmpty() ? (path + name).getString() : url;
}

// The file that an open source reads. It knows that itself: a name may be found in another folder.
std::string fileOf(vnAdapter& source, const std::string& url)
{
    const auto* file = dynamic_cast<const vnSerializeAdapterFile*>(source.get());
    return file ? file->getFileName().getString() : fileOf(url);
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
    for (const std::string& url : arguments.takeOperands(1, SIZE_MAX))
    {
        vnAdapter source = vnOpenURL(url, VN_SERIALIZE_INPUT);
        vnForEachBlock(source, url.c_str(), vnWriteResult);
    }
}

void vnRunCopy(vnArguments& arguments)
{
    const std::vector<std::string> urls = arguments.takeOperands(2, 2);
    vnAdapter source = vnOpenURL(urls[0], VN_SERIALIZE_INPUT);
    // Opening the target empties it, so that the source would be lost.
    if (isSameFile(fileOf(source, urls[0]), fileOf(urls[1])))
        throw vnFailure("'" + urls[0] + "' and '" + urls[1] + "' are one file");
    vnAdapter target = vnOpenURL(urls[1], VN_SERIALIZE_OUTPUT);
    vnForEachBlock(source, "copy",
                   [&target](unsigned char* data, unsigned int size)
                   {
                       target->write(data, size);
                       vnCheckError(target);
                   });
    target->flush();
    vnCheckError(target);
}

void vnRunUrl(vnArguments& arguments)
{
    const std::string url = arguments.takeOperands(1, 1)[0];
    vnString parts[4];
    vnSerializeAdapter::getURLBaseEncoding(url.c_str(), &parts[0], &parts[1], &parts[2], &parts[3], nullptr);
    for (const vnString& part : parts)
        vnWriteLine(part.getString());
}
