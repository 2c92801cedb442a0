// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A fresh folder that goes with everything in it.
class vnTempFolder
{
public:
    vnTempFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "vnTestXXXXXX").string();
        m_path = ::mkdtemp(name.data());
    }
    ~vnTempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    vnTempFolder(const vnTempFolder&) = delete;
    vnTempFolder& operator=(const vnTempFolder&) = delete;

    vnString path(const std::string& name) const { return (m_path + "/" + name).c_str(); }

    /// A file with this content; its path.
    vnString write(const std::string& name, const std::string& content) const
    {
        std::ofstream(m_path + "/" + name, std::ios::binary) << content;
        return path(name);
    }

    static std::string content(const vnString& path)
    {
        std::ifstream file(path.getString(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::string m_path;
};
