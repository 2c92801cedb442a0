// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnDirectory.h>
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnString.h>

#include <sys/stat.h>

// The commands that move bytes from stream to stream, and tell about their URLs.

namespace
{
// The name of the file that a URL opens, also within other URLs. What opens no file may get the name of one
// here; a copy between the two is refused then, which loses nothing.
std::string fileOf(const std::string& url)
{
    const std::string inner = vnInnermostURL(url);
    vnString base, path, name;
    vnSerializeAdapter::getURLBaseEncoding(inner.c_str(), &base, &path, &name, nullptr, nullptr);
    if (base == "file:")
        return (path + name).getString();
    // What looks like a scheme and is none belongs to the name, as it was spelled.
    vnString spelled(inner.substr(0, base.length()).c_str());
    spelled.substitute('\\', '/');
    return (spelled + path + name).getString();
}

// The file that an open source reads. It knows that itself: a name may be found in another folder.
std::string fileOf(vnAdapter& source, const std::string& url)
{
    const auto* file = dynamic_cast<const vnSerializeAdapterFile*>(source.get());
    return (file ? file->getFileName() : vnDirectory::getExtendedFileName(fileOf(url).c_str())).getString();
}

bool isSameFile(const std::string& left, const std::string& right)
{
    struct stat leftStat, rightStat;
    return stat(left.c_str(), &leftStat) == 0 && stat(right.c_str(), &rightStat) == 0 &&
           S_ISREG(leftStat.st_mode) && leftStat.st_dev == rightStat.st_dev &&
           leftStat.st_ino == rightStat.st_ino;
}
} // namespace

void vnCheckDistinct(vnAdapter& source, const std::string& from, const std::string& to)
{
    if (from != "-" && to != "-" && isSameFile(fileOf(source, from), fileOf(to)))
        throw vnFailure("'" + from + "' and '" + to + "' are one file");
}

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
    vnCheckDistinct(source, urls[0], urls[1]);
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
    vnCheckURL(url);
    vnString parts[4];
    unsigned char isValid = 0;
    vnSerializeAdapter::getURLBaseEncoding(url.c_str(), &parts[0], &parts[1], &parts[2], &parts[3], &isValid);
    if (!isValid)
        throw vnFailure("'" + url + "' is no valid URL of the scheme " + parts[0].getString());
    for (const vnString& part : parts)
        vnWriteLine(part.getString());
}
