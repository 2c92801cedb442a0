// SPDX-License-Identifier: MIT
#include "core/vnKeyPlatform.h"

#include "serialize/vnWriteSignalHoldPosix.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr long billion = 1000000000;
constexpr long lockTimeoutSeconds = 5;
constexpr long lockPauseNanoseconds = 300000;

// Closes a descriptor and keeps the error of what was done with it.
class Descriptor
{
public:
    explicit Descriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    ~Descriptor()
    {
        const int error = errno;
        if (m_descriptor >= 0)
            ::close(m_descriptor);
        errno = error;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isOpen() const noexcept { return m_descriptor >= 0; }
    int get() const noexcept { return m_descriptor; }
    int release() noexcept { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

int openFile(const char* name, int flags, mode_t mode = 0)
{
    int descriptor;
    do
        descriptor = ::open(name, flags | O_CLOEXEC | O_NOCTTY, mode);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// What is private to the user stays so; anybody may read the settings of the machine.
mode_t fileMode(vnRegKeyHeader root)
{
    return root == VN_REG_KEY_USER ? 0600 : 0644;
}

mode_t folderMode(vnRegKeyHeader root)
{
    return root == VN_REG_KEY_USER ? 0700 : 0755;
}

// The folder that a file or folder stands in.
vnString folderOf(const vnString& name)
{
    const char* slash = std::strrchr(name, '/');
    if (!slash)
        return ".";
    const auto length = static_cast<unsigned short>(slash - name.getString());
    return length == 0 ? vnString("/") : name.left(length);
}

bool syncFolder(const vnString& name)
{
    const Descriptor folder(openFile(name, O_RDONLY | O_DIRECTORY));
    // Not every file system can, and those that can't need no order.
    return folder.isOpen() && (::fsync(folder.get()) == 0 || errno == EINVAL || errno == EROFS);
}

// What the superuser makes for somebody becomes that one's. Only for what was made just now: what was there
// may be a link to something else.
void giveToOwnerOfFolder(int descriptor, const vnString& name)
{
    struct stat folder;
    if (::geteuid() == 0 && ::stat(folderOf(name), &folder) == 0 && folder.st_uid != 0)
        static_cast<void>(::fchown(descriptor, folder.st_uid, folder.st_gid) == 0);
}

bool makeOneFolder(const vnString& name, mode_t mode)
{
    if (::mkdir(name, mode) != 0)
        return errno == EEXIST;
    const Descriptor folder(openFile(name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    if (folder.isOpen())
        giveToOwnerOfFolder(folder.get(), name);
    return true;
}

// Makes the folder, and those above it, so that a crash does not take them away.
bool makeFolder(const vnString& name, mode_t mode)
{
    struct stat found;
    if (::stat(name, &found) == 0)
    {
        errno = ENOTDIR;
        return S_ISDIR(found.st_mode);
    }
    const vnString above = folderOf(name);
    return above != name && makeFolder(above, mode) && makeOneFolder(name, mode) && syncFolder(above);
}

vnString absoluteFromEnvironment(const char* name)
{
    vnString value;
    const bool isSet = vnReadEnvironment(name, value) == VN_ENVIRONMENT_FOUND && value.isFirst('/');
    return isSet ? value : vnString();
}

vnString homeFolder()
{
    vnString home = absoluteFromEnvironment("HOME");
    if (!home.isEmpty())
        return home;
    char buffer[4096];
    passwd record;
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &record, buffer, sizeof buffer, &found) != 0 || !found)
        return vnString();
    return found->pw_dir && *found->pw_dir == '/' ? vnString(found->pw_dir) : vnString();
}

vnString userFolder()
{
    vnString folder = absoluteFromEnvironment("XDG_CONFIG_HOME");
    if (!folder.isEmpty())
        return folder;
    const vnString home = homeFolder();
    return home.isEmpty() ? home : home + "/.config";
}

vnString folderFor(vnRegKeyHeader root)
{
    if (root == VN_REG_KEY_USER)
    {
        const vnString folder = userFolder();
        return folder.isEmpty() ? folder : folder + "/vantorsdk";
    }
    vnString folder;
    const bool isSet = vnReadEnvironment("VANTOR_SYSTEM_STORE", folder) == VN_ENVIRONMENT_FOUND;
    return isSet && !folder.isEmpty() ? folder : vnString("/etc/vantorsdk");
}

const char* fileNameOf(vnRegKeyHeader root)
{
    switch (root)
    {
    case VN_REG_KEY_MACHINE:
        return "/machine.keys";
    case VN_REG_KEY_USER:
        return "/user.keys";
    case VN_REG_KEY_CLASSES:
        return "/classes.keys";
    }
    return nullptr;
}

vnKeyFileIdentity identityOf(const struct stat& found)
{
    vnKeyFileIdentity identity;
    identity.device = found.st_dev;
    identity.file = found.st_ino;
    identity.size = static_cast<vnUInt64>(found.st_size);
    identity.seconds = found.st_mtim.tv_sec;
    identity.nanoseconds = found.st_mtim.tv_nsec;
    return identity;
}

vnKeyFileResult failedToFind()
{
    return errno == ENOENT || errno == ENOTDIR ? VN_KEY_FILE_MISSING : VN_KEY_FILE_FAILED;
}

vnKeyFileResult fail(int error)
{
    errno = error;
    return VN_KEY_FILE_FAILED;
}

timespec now(clockid_t clock)
{
    timespec time;
    ::clock_gettime(clock, &time);
    return time;
}

bool isBefore(const timespec& left, const timespec& right)
{
    return left.tv_sec != right.tv_sec ? left.tv_sec < right.tv_sec : left.tv_nsec < right.tv_nsec;
}

// Also to a file that is not there yet. False, with a system error, when they lead nowhere.
bool followLinks(vnString& name)
{
    constexpr int most = 40; // as the system has it
    char target[PATH_MAX];
    for (int i = 0; i < most; ++i)
    {
        const ssize_t length = ::readlink(name, target, sizeof target);
        if (length < 0)
            return true;
        const vnString to(target, static_cast<unsigned short>(length));
        name = to.isFirst('/') ? to : folderOf(name) + "/" + to;
    }
    errno = ELOOP;
    return false;
}

// Polls: the system has no wait for such a lock that ends. Only from the lock on the thread must go on.
bool waitForLock(int descriptor, const timespec& deadline, std::optional<vnKillGuard>& kept)
{
    for (;;)
    {
        kept.emplace();
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            return true;
        kept.reset();
        if (errno == EINTR)
            continue;
        if (errno != EWOULDBLOCK || !isBefore(now(CLOCK_MONOTONIC), deadline))
            return false;
        const timespec pause{0, lockPauseNanoseconds};
        ::nanosleep(&pause, nullptr);
    }
}

// Whoever can open the file can lock it, so those may who may write the settings, or where there are none yet
// to the folder, and nobody who may only read them.
void shareLock(int descriptor, const vnString& target)
{
    struct stat lock, model;
    // More than one link: somebody put a file there that has another purpose.
    if (::fstat(descriptor, &lock) != 0 || !S_ISREG(lock.st_mode) || lock.st_nlink != 1)
        return;
    if (::stat(target, &model) != 0 && ::stat(folderOf(target), &model) != 0)
        return;
    const uid_t owner = ::geteuid() == 0 ? model.st_uid : lock.st_uid;
    const bool isTheirs = (owner == lock.st_uid && model.st_gid == lock.st_gid) ||
                          ::fchown(descriptor, owner, model.st_gid) == 0;
    const mode_t writes = model.st_mode & (isTheirs ? 0222 : 0202);
    const mode_t mode = 0600 | writes | writes << 1;
    if ((lock.st_mode & 0777) != mode)
        static_cast<void>(::fchmod(descriptor, mode) == 0);
}

int openLock(const vnString& name, const vnString& target)
{
    for (;;)
    {
        const int there = openFile(name, O_RDWR | O_NOFOLLOW);
        if (there >= 0 || errno != ENOENT)
            return there;
        const int made = openFile(name, O_RDWR | O_NOFOLLOW | O_CREAT | O_EXCL, 0600);
        if (made >= 0)
            shareLock(made, target);
        if (made >= 0 || errno != EEXIST)
            return made;
    }
}

// Whether the file of this name is still the one that is open.
bool isCurrent(int descriptor, const vnString& name)
{
    struct stat open, named;
    return ::fstat(descriptor, &open) == 0 && ::stat(name, &named) == 0 && open.st_ino == named.st_ino &&
           open.st_dev == named.st_dev;
}

bool writeAll(int descriptor, const unsigned char* bytes, unsigned int count)
{
    const vnWriteSignalHold hold;
    while (count > 0)
    {
        const ssize_t put = ::write(descriptor, bytes, count);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        bytes += put;
        count -= static_cast<unsigned int>(put);
    }
    return true;
}

// Makes the new content later than the old one, also twice within one tick of the clock or when it was set
// back, so that readers see that it is another.
bool setTime(int descriptor, const struct stat* old)
{
    timespec time = now(CLOCK_REALTIME);
    if (old && !isBefore(old->st_mtim, time))
    {
        time = old->st_mtim;
        if (++time.tv_nsec == billion)
            time = timespec{time.tv_sec + 1, 0};
    }
    const timespec times[2] = {time, time};
    return ::futimens(descriptor, times) == 0;
}

void takeOver(int descriptor, const struct stat& old)
{
    if (::geteuid() == 0)
        static_cast<void>(::fchown(descriptor, old.st_uid, old.st_gid) == 0);
    static_cast<void>(::fchmod(descriptor, old.st_mode & 0777) == 0);
}

bool writeNew(const vnString& name, const vnString& target, vnRegKeyHeader root,
              const vnArray<unsigned char>& bytes)
{
    struct stat old;
    const bool hasOld = ::stat(target, &old) == 0;
    const Descriptor file(openFile(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, fileMode(root)));
    if (!file.isOpen())
        return false;
    if (hasOld)
        takeOver(file.get(), old);
    else
        giveToOwnerOfFolder(file.get(), target);
    return writeAll(file.get(), bytes.data(), bytes.getSize()) &&
           setTime(file.get(), hasOld ? &old : nullptr) && ::fsync(file.get()) == 0 &&
           std::rename(name, target) == 0;
}
} // namespace

vnEnvironmentResult vnReadEnvironment(const vnString& name, vnString& value)
{
    const std::string_view text(name.getString(), name.length());
    // The environment takes the last two of these for the end of a name.
    if (text.empty() || text.find_first_of(std::string_view("/\\=\0", 4)) != text.npos)
        return VN_ENVIRONMENT_NONE;
    const char* found = std::getenv(name);
    if (!found)
        return VN_ENVIRONMENT_NONE;
    const std::size_t length = std::strlen(found);
    if (length > vnString::VN_MAX_LENGTH)
        return VN_ENVIRONMENT_TOO_LONG;
    value = vnString(found, static_cast<unsigned short>(length));
    return VN_ENVIRONMENT_FOUND;
}

vnString vnKeyFileName(vnRegKeyHeader root)
{
    const char* name = fileNameOf(root);
    const vnString folder = name ? folderFor(root) : vnString();
    // Names that the system would refuse anyway; room for those of the lock and of the new file.
    if (folder.isEmpty() || folder.length() > PATH_MAX)
        return vnString();
    return folder + name;
}

vnKeyFileResult vnIdentifyKeyFile(const vnString& name, vnKeyFileIdentity& identity)
{
    struct stat found;
    if (::stat(name, &found) != 0)
        return failedToFind();
    identity = identityOf(found);
    return VN_KEY_FILE_OK;
}

vnKeyFileResult vnReadKeyFile(const vnString& name, unsigned int limit, vnArray<unsigned char>& bytes,
                              vnKeyFileIdentity& identity)
{
    const Descriptor file(openFile(name, O_RDONLY | O_NONBLOCK));
    if (!file.isOpen())
        return failedToFind();
    struct stat found;
    if (::fstat(file.get(), &found) != 0)
        return VN_KEY_FILE_FAILED;
    identity = identityOf(found);
    if (!S_ISREG(found.st_mode))
        return fail(S_ISDIR(found.st_mode) ? EISDIR : EINVAL);
    if (identity.size > limit)
        return fail(EFBIG);
    bytes = vnArray<unsigned char>(static_cast<unsigned int>(identity.size));
    unsigned int done = 0;
    while (done < bytes.getSize())
    {
        const ssize_t got = ::read(file.get(), bytes.data() + done, bytes.getSize() - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return VN_KEY_FILE_FAILED;
        if (got == 0)
            return fail(EBADMSG); // somebody cuts the file while it is read
        done += static_cast<unsigned int>(got);
    }
    return VN_KEY_FILE_OK;
}

vnKeyFileLock::vnKeyFileLock(vnString& name, vnRegKeyHeader root)
{
    if (!makeFolder(folderOf(name), folderMode(root)))
        return;
    if (!followLinks(name))
        return;
    const vnString lock = name + ".lock";
    timespec deadline = now(CLOCK_MONOTONIC);
    deadline.tv_sec += lockTimeoutSeconds;
    for (;;)
    {
        Descriptor file(openLock(lock, name));
        if (!file.isOpen() || !waitForLock(file.get(), deadline, m_kept))
            return;
        // When somebody removed the file meanwhile, whoever came later has locked another.
        if (isCurrent(file.get(), lock))
        {
            shareLock(file.get(), name); // the permissions may have changed
            m_descriptor = file.release();
            return;
        }
        if (!isBefore(now(CLOCK_MONOTONIC), deadline))
            return;
    }
}

void vnKeyFileLock::release() noexcept
{
    const Descriptor file(std::exchange(m_descriptor, -1));
    // A child that was forked meanwhile has the file open, too, and would keep the lock.
    if (file.isOpen())
        ::flock(file.get(), LOCK_UN);
    m_kept.reset();
}

bool vnReplaceKeyFile(const vnString& name, vnRegKeyHeader root, const vnArray<unsigned char>& bytes)
{
    const vnString fresh = name + ".new";
    ::unlink(fresh); // left behind by a program that was killed
    if (writeNew(fresh, name, root, bytes))
        return true;
    const int error = errno;
    ::unlink(fresh);
    errno = error;
    return false;
}

bool vnSettleKeyFile(const vnString& name)
{
    return syncFolder(folderOf(name));
}
