// SPDX-License-Identifier: MIT
// Workload s: settings.  Two hundred keys in a file on the disk, in the folder of the generated data: what is
// set must survive a crash of the system, which costs nothing in memory.
#include "bench.h"

#include <vnBase/vnKeyDatabase.h>

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#ifdef HAVE_QT
#include <QSettings>
#endif

namespace
{
constexpr int keyCount = 200;

std::string keyName(int index)
{
    return "group" + std::to_string(index % 10) + "/key" + std::to_string(index);
}

std::string valueOf(int index, int round)
{
    return "value " + std::to_string(index) + " of round " + std::to_string(100000 + round);
}

std::uint64_t sumOf(const char* text, std::size_t length)
{
    return length + static_cast<unsigned char>(text[length - 1]);
}

// The least that keeps the old or the new content.
bool replaceFile(const std::string& folder, const std::string& name, const std::string& bytes)
{
    const std::string fresh = folder + "/limit.new";
    const int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const bool isWritten =
        write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) && fsync(file) == 0;
    close(file);
    if (!isWritten || std::rename(fresh.c_str(), name.c_str()) != 0)
        return false;
    const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    const bool isSettled = fsync(directory) == 0;
    close(directory);
    return isSettled;
}
} // namespace

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("s.settings", argc, argv);
    const std::string folder = std::filesystem::absolute(suite.getDataDir()).string() + "/settings";
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    setenv("VANTOR_SYSTEM_STORE", (folder + "/system").c_str(), 1);
    vnKeyDatabase::setLocalRegistry("");
    std::vector<vnString> keys;
    for (int i = 0; i < keyCount; ++i)
    {
        keys.emplace_back(keyName(i).c_str());
        if (!vnKeyDatabase::setUserKey(keys.back(), valueOf(i, 0).c_str()))
            std::perror("cannot set a key"), std::exit(1);
    }
#ifdef HAVE_QT
    QSettings qt((folder + "/qt.ini").c_str(), QSettings::IniFormat);
    std::vector<QString> qtKeys;
    for (int i = 0; i < keyCount; ++i)
    {
        qtKeys.emplace_back(keyName(i).c_str());
        qt.setValue(qtKeys.back(), QString(valueOf(i, 0).c_str()));
    }
    qt.sync();
#endif

    const int reads = suite.scaled(100000);
    Group& read = suite.group("read a key, changes of others seen", kopsPerSecond, reads).sameCheck();
    read.add("vnKeyDatabase::getUserKey", ours,
             [&]
             {
                 std::uint64_t sum = 0;
                 for (int i = 0; i < reads; ++i)
                 {
                     const vnString value = vnKeyDatabase::getUserKey(keys[i % keyCount]);
                     sum += sumOf(value.getString(), value.length());
                 }
                 return sum;
             });
#ifdef HAVE_QT
    read.add("QSettings::sync, value", kit,
             [&]
             {
                 std::uint64_t sum = 0;
                 for (int i = 0; i < reads; ++i)
                 {
                     qt.sync();
                     const QByteArray value = qt.value(qtKeys[i % keyCount]).toString().toUtf8();
                     sum += sumOf(value.data(), value.size());
                 }
                 return sum;
             });
    read.add("QSettings::value, changes not seen", other,
             [&]
             {
                 std::uint64_t sum = 0;
                 for (int i = 0; i < reads; ++i)
                 {
                     const QByteArray value = qt.value(qtKeys[i % keyCount]).toString().toUtf8();
                     sum += sumOf(value.data(), value.size());
                 }
                 return sum;
             });
#endif
    suite.run();

    const int sets = suite.scaled(100);
    int round = 0;
    Group& set = suite.group("set a key for good", kopsPerSecond, sets);
    const std::string content = readAll(folder + "/vantorsdk/user.keys");
    set.add("write, fsync, rename, fsync", limit,
            [&]
            {
                std::uint64_t done = 0;
                for (int i = 0; i < sets; ++i)
                    done += replaceFile(folder, folder + "/limit.keys", content);
                return done;
            });
    set.add("vnKeyDatabase::setUserKey", ours,
            [&]
            {
                ++round;
                std::uint64_t done = 0;
                for (int i = 0; i < sets; ++i)
                    done += vnKeyDatabase::setUserKey(keys[i % keyCount], valueOf(i, round).c_str());
                return done;
            });
#ifdef HAVE_QT
    // Renames without waiting for the folder: after a crash of the system the old content may be back.
    set.add("QSettings::setValue, sync", kit,
            [&]
            {
                ++round;
                std::uint64_t done = 0;
                for (int i = 0; i < sets; ++i)
                {
                    qt.setValue(qtKeys[i % keyCount], QString(valueOf(i, round).c_str()));
                    qt.sync();
                    done += qt.status() == QSettings::NoError;
                }
                return done;
            });
#endif
    suite.run();
    return suite.getResult();
}
