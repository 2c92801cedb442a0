// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// One entry of a directory.
class VN_BASE_API vnDirectoryEntry
{
public:
    vnDirectoryEntry() = default;
    vnDirectoryEntry(const vnString& directory, const vnString& name, unsigned char isDirectory);

    /// The name within its directory.
    const vnString& getEntryName() const noexcept { return m_name; }

    /// The path of the directory, a slash, and the name.
    const vnString& getPath() const noexcept { return m_path; }

    /// Also 1 for a link to a directory.
    unsigned char isDirectory() const noexcept { return m_isDirectory; }

private:
    vnString m_name;
    vnString m_path;
    unsigned char m_isDirectory = 0;
};

/// Walks the entries of one directory, in the order in which the system hands them out.
///
///     for (vnDirectoryIterator i("models"); i.foundEntry(); ++i)
///         use(i.getEntry().getPath());
///
/// A path that can't be read has no entries. Entries made or removed during the walk may be seen or not. An
/// entry whose path is longer than a string is left out.
///
/// Thread-safety: none for one iterator.
class VN_BASE_API vnDirectoryIterator
{
public:
    /// Stands on the first entry. With `withDots` the entries "." and ".." come too.
    explicit vnDirectoryIterator(const vnString& path, unsigned char withDots = 0);
    vnDirectoryIterator(const vnDirectoryIterator&) = delete;
    vnDirectoryIterator& operator=(const vnDirectoryIterator&) = delete;
    ~vnDirectoryIterator();

    /// 0 behind the last entry.
    unsigned char foundEntry() const noexcept { return m_found; }

    /// Valid while `foundEntry()` is 1, until the next step.
    const vnDirectoryEntry& getEntry() const noexcept { return m_entry; }
    vnDirectoryIterator& operator++();

private:
    vnString m_path;
    vnDirectoryEntry m_entry;
    void* m_handle; // of the platform; null once the end was met
    unsigned char m_withDots;
    unsigned char m_found = 0;
};

/// The search for files.
///
/// Thread-safety: any thread.
class VN_BASE_API vnDirectory
{
public:
    /// The name under which a file is opened for reading. A name that exists or is absolute is the answer, a
    /// scheme "file:" taken away. Any other is looked for in the directories of the user key VANTOR_PATH,
    /// which are separated by ";" or, when the key has none, by ","; the first that has it makes the answer.
    /// Otherwise the name stays, without the scheme.
    ///
    /// The key is read once. The last answer is kept: asked for the same name again it comes at once, even
    /// when the file was made or removed since.
    static vnString getExtendedFileName(const vnString& name);
};
