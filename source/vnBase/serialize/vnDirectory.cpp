// SPDX-License-Identifier: MIT
#include <vnBase/vnDirectory.h>

#include "vnDirectoryPlatform.h"

#include <vnBase/vnFile.h>
#include <vnBase/vnKeyDatabase.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMutex.h>

#include <utility>

namespace
{
bool exists(const vnString& name)
{
    return vnFileExist(name) || vnDirExist(name);
}

// Empty when the path is too long for a string.
vnString joined(const vnString& directory, const vnString& name)
{
    if (directory.length() + 1u + name.length() > vnString::VN_MAX_LENGTH)
        return vnString();
    return directory + "/" + name;
}

// Never shares a text of the intern table, which may end before the last file is opened.
vnString plainCopy(const vnString& text)
{
    return vnString(text.getString(), text.length());
}

// `name` in the first directory of the list that has it; `name` itself when none does.
vnString searched(const vnString& list, const vnString& name)
{
    const unsigned char separator = list.contains(";") ? ';' : ',';
    unsigned int begin = 0;
    while (begin < list.length())
    {
        const unsigned short end = list.find(separator, static_cast<unsigned short>(begin));
        const vnString item(list.getString() + begin, static_cast<unsigned short>(end - begin));
        begin = end + 1u;
        vnString directory = item.stripWhiteSpace();
        if (directory.isEmpty()) // names no directory, also not the root. That is meant
            continue;
        if (directory.isLast('/'))
            directory = directory.right(1, 1);
        vnString path = joined(directory, name);
        if (exists(path))
            return path;
    }
    return name;
}

// The last question with its answer, and the list of directories once it was read.
struct SearchState
{
    vnMutex mutex;
    vnString name;
    vnString answer;
    vnString list;
    bool hasList = false;
};

// The key is read outside the lock: the look-up may open files, which comes back here.
vnString searchList(SearchState& state)
{
    {
        const vnBodyGuard guard(state.mutex);
        if (state.hasList)
            return state.list;
    }
    vnString list = vnKeyDatabase::getUserKey("VANTOR_PATH");
    const vnBodyGuard guard(state.mutex);
    if (!state.hasList)
    {
        state.list = std::move(list);
        state.hasList = true;
    }
    return state.list;
}

vnString extended(const vnString& name, SearchState& state)
{
    vnString file = name.isFirst("file:") ? name.left(5, 1) : name;
    if (file.isEmpty())
        return file; // would find the directories themselves
    if (exists(file) || vnIsAbsoluteName(file))
        return file;
    return searched(searchList(state), file);
}
} // namespace

vnDirectoryEntry::vnDirectoryEntry(const vnString& directory, const vnString& name, unsigned char isDirectory)
    : m_name(name), m_path(joined(directory, name)), m_isDirectory(isDirectory)
{
}

vnDirectoryIterator::vnDirectoryIterator(const vnString& path, unsigned char withDots)
    : m_path(path.isLast('/') ? path.right(1, 1) : path), m_handle(vnDirectoryOpen(path)),
      m_withDots(withDots)
{
    try
    {
        ++*this;
    }
    catch (...)
    {
        if (m_handle)
            vnDirectoryClose(m_handle);
        throw;
    }
}

vnDirectoryIterator::~vnDirectoryIterator()
{
    if (m_handle)
        vnDirectoryClose(m_handle);
}

vnDirectoryIterator& vnDirectoryIterator::operator++()
{
    vnString name;
    int isDirectory = 0;
    m_found = 0;
    while (m_handle && vnDirectoryReadNext(m_handle, name, isDirectory))
    {
        if (!m_withDots && (name == "." || name == ".."))
            continue;
        m_entry = vnDirectoryEntry(m_path, name, isDirectory > 0);
        if (m_entry.getPath().isEmpty())
            continue;
        if (isDirectory < 0)
            m_entry = vnDirectoryEntry(m_path, name, vnDirExist(m_entry.getPath()));
        m_found = 1;
        return *this;
    }
    if (m_handle)
        vnDirectoryClose(std::exchange(m_handle, nullptr));
    return *this;
}

vnString vnDirectory::getExtendedFileName(const vnString& name)
{
    if (name.isEmpty())
        return name;
    static vnMemCheck<SearchState> state;
    if (!state.isValidMemory())
    {
        SearchState own; // files are opened until the very end of a program
        return extended(name, own);
    }
    {
        const vnBodyGuard guard(state.mutex);
        // By bytes: comparing two strings may intern `name`, which other threads may read meanwhile.
        if (name == state.name.getString())
            return state.answer;
    }
    vnString answer = extended(name, state);
    // Both before either is stored: exhausted memory must not give one name the answer of another.
    vnString keptName = plainCopy(name);
    vnString keptAnswer = plainCopy(answer);
    const vnBodyGuard guard(state.mutex);
    state.name = std::move(keptName);
    state.answer = std::move(keptAnswer);
    return answer;
}
