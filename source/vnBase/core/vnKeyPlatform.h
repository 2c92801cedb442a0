// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnKeyDatabase.h>
#include <vnBase/vnThreadID.h>

#include <optional>

// What the settings ask of the platform: where they are, how their files are read and replaced, and the
// environment. A function that fails leaves the reason as the last system error of the thread.

enum vnEnvironmentResult
{
    VN_ENVIRONMENT_NONE,
    VN_ENVIRONMENT_FOUND,
    VN_ENVIRONMENT_TOO_LONG, // for a string
};

/// Reads a variable of the environment. What can't be the name of one is not found, nor is one with slashes,
/// which names a setting.
vnEnvironmentResult vnReadEnvironment(const vnString& name, vnString& value);

/// The file with the settings of a root; empty when the user has no place for it.
vnString vnKeyFileName(vnRegKeyHeader root);

/// Tells one content of a file from another: each replacement is later than the one before it, whatever the
/// clock says.
struct vnKeyFileIdentity
{
    vnUInt64 device = 0;
    vnUInt64 file = 0;
    vnUInt64 size = 0;
    vnInt64 seconds = 0;
    vnInt64 nanoseconds = 0;

    bool operator==(const vnKeyFileIdentity& other) const noexcept
    {
        return file == other.file && nanoseconds == other.nanoseconds && seconds == other.seconds &&
               size == other.size && device == other.device;
    }
};

enum vnKeyFileResult
{
    VN_KEY_FILE_OK,
    VN_KEY_FILE_MISSING,
    VN_KEY_FILE_FAILED,
};

/// Asks the file of this name for its identity.
vnKeyFileResult vnIdentifyKeyFile(const vnString& name, vnKeyFileIdentity& identity);

/// Reads all of the file, up to `limit` bytes, beyond which it fails; `identity` becomes that of what was
/// read. Waits for nobody.
vnKeyFileResult vnReadKeyFile(const vnString& name, unsigned int limit, vnArray<unsigned char>& bytes,
                              vnKeyFileIdentity& identity);

/// The right to replace the file, which one thread of one process has at a time. It ends with its process.
class vnKeyFileLock
{
public:
    /// Waits for the others, threads of this process among them, five seconds at most. Makes the folder of
    /// the file if need be. `name` becomes the name of the file itself when it is that of a link.
    vnKeyFileLock(vnString& name, vnRegKeyHeader root);
    vnKeyFileLock(const vnKeyFileLock&) = delete;
    vnKeyFileLock& operator=(const vnKeyFileLock&) = delete;
    ~vnKeyFileLock() { release(); }

    bool isHeld() const noexcept { return m_descriptor >= 0; }
    void release() noexcept;

private:
    int m_descriptor = -1;
    std::optional<vnKillGuard> m_kept; // while it is held: a thread that is killed must not leave it behind
};

/// Replaces the file, or makes it; the caller holds its lock. Whoever reads finds all of the old or all of
/// the new content, also after a crash of the program or of the system. After a failure the old one is there.
bool vnReplaceKeyFile(const vnString& name, vnRegKeyHeader root, const vnArray<unsigned char>& bytes);

/// Returns when the replacement can no more be lost. The lock need not be held.
bool vnSettleKeyFile(const vnString& name);
