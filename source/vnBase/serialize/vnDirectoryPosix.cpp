// SPDX-License-Identifier: MIT
#include "vnDirectoryPlatform.h"

#include <cstring>

#include <dirent.h>

void* vnDirectoryOpen(const vnString& path)
{
    if (std::memchr(path.getString(), 0, path.length()))
        return nullptr; // the system would take the text before the NUL
    return ::opendir(path.getString());
}

void vnDirectoryClose(void* directory)
{
    ::closedir(static_cast<DIR*>(directory));
}

unsigned char vnDirectoryReadNext(void* directory, vnString& name, int& isDirectory)
{
    const dirent* entry = ::readdir(static_cast<DIR*>(directory));
    if (!entry)
        return 0;
    name = entry->d_name;
    const bool isKnown = entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK;
    isDirectory = isKnown ? entry->d_type == DT_DIR : -1;
    return 1;
}

unsigned char vnIsAbsoluteName(const vnString& name)
{
    return name.isFirst('/');
}
