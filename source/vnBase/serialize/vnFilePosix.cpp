// SPDX-License-Identifier: MIT
#include "vnFilePlatform.h"

#include "vnWriteSignalHoldPosix.h"

#include <vnBase/vnSystem.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

class vnFile : public vnSharedMemory
{
public:
    int descriptor;
    bool opensForAppend;
    bool appends; // what the descriptor is set to now
    bool hasSize;
    bool canSeek;
};

namespace
{
constexpr vnUInt64 VN_MAX_SIZE = 0xFFFFFFFFu;

// Linux transfers at most this much in one request; other systems fail above 2 GiB.
constexpr unsigned int VN_MAX_TRANSFER = 0x7FFFF000u;

unsigned char fail(int error)
{
    errno = error;
    return 0;
}

bool isName(const vnString& name)
{
    if (std::memchr(name.getString(), 0, name.length()) == nullptr)
        return true;
    errno = EINVAL; // the system would take the text before the NUL
    return false;
}

bool status(const vnString& name, struct stat& result)
{
    return isName(name) && ::stat(name.getString(), &result) == 0;
}

int openDescriptor(const vnString& name, int flags)
{
    if (!isName(name))
        return -1;
    int descriptor;
    do
        descriptor = ::open(name.getString(), flags | O_CLOEXEC | O_NOCTTY, 0666);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// Closes a descriptor that did not become a file.
class DescriptorGuard
{
public:
    explicit DescriptorGuard(int descriptor) : m_descriptor(descriptor) {}
    ~DescriptorGuard()
    {
        if (m_descriptor < 0)
            return;
        const int error = errno;
        ::close(m_descriptor);
        errno = error;
    }
    DescriptorGuard(const DescriptorGuard&) = delete;
    DescriptorGuard& operator=(const DescriptorGuard&) = delete;
    void release() { m_descriptor = -1; }

private:
    int m_descriptor;
};

vnFile* refuse(int error)
{
    errno = error;
    return nullptr;
}

// Takes over the descriptor. What can't be used as a file gives null.
vnFile* createFile(int descriptor, bool append, unsigned int* size)
{
    if (descriptor < 0)
        return nullptr;
    DescriptorGuard guard(descriptor);
    struct stat found;
    if (::fstat(descriptor, &found) != 0)
        return nullptr;
    if (S_ISDIR(found.st_mode))
        return refuse(EISDIR);
    const vnUInt64 bytes = S_ISREG(found.st_mode) ? static_cast<vnUInt64>(found.st_size) : 0;
    if (bytes > VN_MAX_SIZE)
        return refuse(EFBIG);
    const bool canSeek =
        S_ISREG(found.st_mode) || (!S_ISCHR(found.st_mode) && ::lseek(descriptor, 0, SEEK_CUR) >= 0);
    std::unique_ptr<vnFile> file(new vnFile);
    file->descriptor = descriptor;
    file->opensForAppend = file->appends = append;
    file->hasSize = bytes > 0;
    file->canSeek = canSeek;
    guard.release();
    if (size)
        *size = static_cast<unsigned int>(bytes);
    return file.release();
}

// Sets whether writes go to the end of the file, wherever it is.
bool setAppends(vnFile& file, bool appends)
{
    if (file.appends == appends)
        return true;
    const int flags = ::fcntl(file.descriptor, F_GETFL);
    const int wanted = appends ? flags | O_APPEND : flags & ~O_APPEND;
    if (flags < 0 || ::fcntl(file.descriptor, F_SETFL, wanted) != 0)
        return false;
    file.appends = appends;
    return true;
}

unsigned char seekTo(vnFile* file, vnInt64 offset, int origin)
{
    if (!file)
        return fail(EBADF);
    if (::lseek(file->descriptor, static_cast<off_t>(offset), origin) < 0)
        return 0;
    const bool toEnd = offset == 0 && origin == SEEK_END;
    return !file->opensForAppend || setAppends(*file, toEnd);
}

unsigned int cutSize(off_t size)
{
    return static_cast<unsigned int>(std::min(static_cast<vnUInt64>(size), VN_MAX_SIZE));
}

unsigned int sizeOf(const struct stat& found)
{
    if (S_ISREG(found.st_mode))
        return cutSize(found.st_size);
    return fail(S_ISDIR(found.st_mode) ? EISDIR : EINVAL);
}
} // namespace

vnFile* vnFileOpenRead(const vnString& name, unsigned int* size)
{
    return createFile(openDescriptor(name, O_RDONLY), false, size);
}

vnFile* vnFileOpenRegular(const vnString& name, unsigned int* size)
{
    // Opening another kind may wake a writer or start a device, which is too late to refuse it.
    struct stat there;
    if (status(name, there) && !S_ISREG(there.st_mode) && !S_ISDIR(there.st_mode))
        return refuse(EINVAL);
    // Stays without waiting: some of the system's own files look regular and have a reader wait.
    const int descriptor = openDescriptor(name, O_RDONLY | O_NONBLOCK);
    struct stat found;
    if (descriptor >= 0 && ::fstat(descriptor, &found) == 0 && !S_ISREG(found.st_mode) &&
        !S_ISDIR(found.st_mode)) // which has an error of its own
    {
        const DescriptorGuard guard(descriptor);
        return refuse(EINVAL);
    }
    return createFile(descriptor, false, size);
}

vnFile* vnFileOpenWrite(const vnString& name, unsigned char append)
{
    const int flags = O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC);
    vnFile* file = createFile(openDescriptor(name, flags), append, nullptr);
    if (file)
        ::lseek(file->descriptor, 0, SEEK_END);
    return file;
}

unsigned char vnFileClose(vnFile* file)
{
    if (!file)
        return 1;
    const int descriptor = file->descriptor;
    delete file;
    return ::close(descriptor) == 0 || errno == EINTR; // the descriptor is gone in that case too
}

unsigned char vnFileFlush(vnFile* file)
{
    return file ? 1 : fail(EBADF);
}

unsigned int vnFileRead(vnFile* file, void* data, unsigned int count)
{
    unsigned int done = 0;
    while (done < count)
    {
        const unsigned int got = vnFileReadSome(file, static_cast<char*>(data) + done, count - done);
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

unsigned int vnFileReadSome(vnFile* file, void* data, unsigned int count)
{
    if (!file)
        return fail(EBADF);
    ssize_t got;
    do
        got = ::read(file->descriptor, data, std::min(count, VN_MAX_TRANSFER));
    while (got < 0 && errno == EINTR);
    if (got == 0)
        errno = 0;
    return got > 0 ? static_cast<unsigned int>(got) : 0;
}

unsigned int vnFileWrite(vnFile* file, const void* data, unsigned int count)
{
    if (!file)
        return fail(EBADF);
    const vnWriteSignalHold hold;
    unsigned int done = 0;
    while (done < count)
    {
        const ssize_t put = ::write(file->descriptor, static_cast<const char*>(data) + done,
                                    std::min(count - done, VN_MAX_TRANSFER));
        if (put > 0)
            done += static_cast<unsigned int>(put);
        else if (put == 0)
        {
            errno = EIO; // a device that takes nothing, and gives no reason
            break;
        }
        else if (errno != EINTR)
            break;
    }
    return done;
}

unsigned char vnFileSeek(vnFile* file, int offset, vnOriginPos origin)
{
    switch (origin)
    {
    case VN_ORIGIN_SET:
        return seekTo(file, offset, SEEK_SET);
    case VN_ORIGIN_CURRENT:
        return seekTo(file, offset, SEEK_CUR);
    case VN_ORIGIN_END:
        return seekTo(file, offset, SEEK_END);
    }
    return fail(EINVAL);
}

unsigned char vnFileReset(vnFile* file, int position)
{
    return seekTo(file, static_cast<unsigned int>(position), SEEK_SET);
}

unsigned int vnFileTell(vnFile* file)
{
    const off_t position = file ? ::lseek(file->descriptor, 0, SEEK_CUR) : -1;
    return position < 0 ? ~0u : cutSize(position);
}

unsigned int vnFileSize(vnFile* file)
{
    struct stat found;
    if (!file)
        return fail(EBADF);
    return ::fstat(file->descriptor, &found) == 0 ? sizeOf(found) : 0;
}

unsigned int vnFileSize(const vnString& name)
{
    struct stat found;
    return status(name, found) ? sizeOf(found) : 0;
}

unsigned char vnFileExist(const vnString& name)
{
    struct stat found;
    return status(name, found) && !S_ISDIR(found.st_mode);
}

unsigned char vnFileDelete(const vnString& name)
{
    return isName(name) && ::unlink(name.getString()) == 0;
}

unsigned char vnDirExist(const vnString& name)
{
    struct stat found;
    return status(name, found) && S_ISDIR(found.st_mode);
}

unsigned char vnMakeDir(const vnString& name)
{
    return isName(name) && ::mkdir(name.getString(), 0777) == 0;
}

vnString vnGetCWD()
{
    char path[vnString::VN_MAX_LENGTH + 1];
    return ::getcwd(path, sizeof path) ? vnString(path) : vnString();
}

vnString vnGetProcessName()
{
    char path[4096]; // the kernel answers no longer path
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0)
        return vnString();
    vnString name(path, static_cast<unsigned short>(length));
    // What the kernel writes behind the path of a program that was removed or replaced while it runs.
    const vnString removed(" (deleted)");
    if (name.isLast(removed) && !vnFileExist(name))
        name = name.left(static_cast<unsigned short>(name.length() - removed.length()));
    return name;
}

unsigned char vnFileHasSize(vnFile* file)
{
    return file->hasSize;
}

unsigned char vnFileCanSeek(vnFile* file)
{
    return file->canSeek;
}

unsigned char vnFileIsReady(vnFile* file)
{
    pollfd request{file->descriptor, POLLIN, 0};
    return ::poll(&request, 1, 0) > 0;
}

vnString vnFileTooLargeDescription()
{
    return vnGetSysErrorDescription(EFBIG);
}
