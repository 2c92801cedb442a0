// SPDX-License-Identifier: MIT
#include <vnBase/vnDirectory.h>

#include "vnTempFolder.h"

#include <vnBase/vnFile.h>
#include <vnBase/vnKeyDatabase.h>
#include <vnBase/vnUniqueString.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

TEST(vnDirectoryIterator, GivesEachEntryOnce)
{
    const vnTempFolder folder;
    folder.write("a", "");
    vnMakeDir(folder.path("d"));
    std::filesystem::create_directory_symlink("d", folder.path("link").getString());
    std::filesystem::create_symlink("nowhere", folder.path("broken").getString());
    for (unsigned char withDots : {0, 1})
        for (const vnString& path : {folder.path(""), folder.path("d/..")})
        {
            std::map<std::string, int> found;
            for (vnDirectoryIterator i(path, withDots); i.foundEntry(); ++i)
            {
                const vnDirectoryEntry& entry = i.getEntry();
                found[entry.getEntryName().getString()] += entry.isDirectory() ? 10 : 1;
                EXPECT_TRUE(
                    std::filesystem::exists(std::filesystem::symlink_status(entry.getPath().getString())))
                    << entry.getPath();
            }
            std::map<std::string, int> expected{{"a", 1}, {"d", 10}, {"link", 10}, {"broken", 1}};
            if (withDots)
                expected.insert({{".", 10}, {"..", 10}});
            EXPECT_EQ(found, expected);
        }
}

TEST(vnDirectoryIterator, FindsNothingWhereItCanNotRead)
{
    const vnTempFolder folder;
    vnDirectoryIterator none(folder.path("none"));
    EXPECT_FALSE(none.foundEntry());
    EXPECT_FALSE((++none).foundEntry());
    EXPECT_FALSE(vnDirectoryIterator(folder.write("a", "")).foundEntry());
    EXPECT_FALSE(vnDirectoryIterator("").foundEntry());
}

TEST(vnDirectory, SearchesTheListOfTheUser)
{
    const vnTempFolder folder;
    for (const char* name : {"one", "two", "work"})
        vnMakeDir(folder.path(name));
    folder.write("two/a", "");
    folder.write("one/b", "");
    folder.write("two/b", "");
    folder.write("work/here", "");
    const struct
    {
        const char* separator;
        vnString name;
        vnString answer;
    } rows[] = {
        {";", "a", folder.path("two/a")},
        {";", "file:b", folder.path("one/b")},
        {";", "here", "here"},
        {";", "file:here", "here"},
        {";", "none", "none"},
        {";", "file:none", "none"},
        {";", "/none", "/none"},
        {";", "", ""},
        {";", "file:", ""}, // and no directory of the list
        {",", "a", folder.path("two/a")},
    };
    for (const auto& row : rows)
    {
        // The list is read once in a process, so that each row has its own.
        const pid_t child = fork();
        if (child == 0)
        {
            const vnString list =
                folder.path("one/") + row.separator + " " + row.separator + " " + folder.path("two") + " ";
            setenv("VANTOR_PATH", list, 1);
            const bool isSet = chdir(folder.path("work")) == 0;
            const bool isFirst = vnDirectory::getExtendedFileName(row.name) == row.answer;
            const bool isAgain = vnDirectory::getExtendedFileName(row.name) == row.answer;
            _exit(isSet && isFirst && isAgain ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << row.name;
    }
}

TEST(vnDirectory, SearchesTheListThatIsStored)
{
    const vnTempFolder folder;
    vnMakeDir(folder.path("one"));
    const vnString answer = folder.write("one/a", "");
    const pid_t child = fork();
    if (child == 0)
    {
        unsetenv("VANTOR_PATH");
        setenv("XDG_CONFIG_HOME", folder.path("config"), 1);
        vnKeyDatabase::setUserKey("VANTOR_PATH", folder.path("one"));
        _exit(vnDirectory::getExtendedFileName("a") == answer ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(vnDirectory, LeavesTheNameItIsAskedForAlone)
{
    const vnUniqueString interned("no such file");
    const vnString plain("no such file");
    vnDirectory::getExtendedFileName(interned);
    EXPECT_EQ(vnDirectory::getExtendedFileName(plain), "no such file");
    EXPECT_FALSE(plain.isUnique());
}

TEST(vnDirectory, KeepsItsLastAnswer)
{
    const vnTempFolder folder;
    const vnString name = folder.write("a", "");
    const vnString question = vnString("file:") + name;
    EXPECT_EQ(vnDirectory::getExtendedFileName(question), name);
    vnFileDelete(name);
    EXPECT_EQ(vnDirectory::getExtendedFileName(question), name);
}
