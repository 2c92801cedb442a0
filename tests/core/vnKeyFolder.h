// SPDX-License-Identifier: MIT
#pragma once

#include "../serialize/vnTempFolder.h"

#include <vnBase/vnKeyDatabase.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

/// Settings of the user and of the machine in a fresh folder, and no others, as long as it lives.
class vnKeyFolder
{
public:
    vnKeyFolder() : m_header(vnKeyDatabase::getDefaultKeyHeader().getString())
    {
        vnKeyDatabase::setLocalRegistry("");
        setenv("XDG_CONFIG_HOME", m_folder.path("config"), 1);
        setenv("VANTOR_SYSTEM_STORE", m_folder.path("system"), 1);
    }
    ~vnKeyFolder()
    {
        vnKeyDatabase::setLocalRegistry("");
        vnKeyDatabase::setDefaultKeyHeader(m_header.c_str());
        vnKeyDatabase::enableSystemRegistry(1);
        unsetenv("XDG_CONFIG_HOME");
        unsetenv("VANTOR_SYSTEM_STORE");
    }
    vnKeyFolder(const vnKeyFolder&) = delete;
    vnKeyFolder& operator=(const vnKeyFolder&) = delete;

    std::string path(const std::string& name) const { return m_folder.path(name).getString(); }
    std::string userFile() const { return path("config/vantorsdk/user.keys"); }
    std::string machineFile() const { return path("system/machine.keys"); }
    std::string userBytes() const { return vnTempFolder::content(userFile().c_str()); }

    /// Writes the user's file over, as another program might. It is later than any before, also within one
    /// tick of the clock.
    void writeUserFile(const std::string& bytes)
    {
        std::filesystem::create_directories(path("config/vantorsdk"));
        std::ofstream(userFile(), std::ios::binary) << bytes;
        m_age += std::chrono::seconds(1);
        std::filesystem::last_write_time(userFile(), std::filesystem::file_time_type::clock::now() + m_age);
    }

private:
    vnTempFolder m_folder;
    std::string m_header;
    std::chrono::seconds m_age{0};
};

inline std::string vnKeyText(const vnString& text)
{
    return std::string(text.getString(), text.length());
}

inline vnString vnKeyString(const std::string& text)
{
    return vnString(text.data(), static_cast<unsigned short>(text.size()));
}
