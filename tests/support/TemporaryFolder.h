// SPDX-License-Identifier: MIT
// TemporaryFolder.h - a folder that goes away with its object, one with the user's folders in it, and
// whole-file reads and writes.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string name = std::filesystem::temp_directory_path() / "veltrano.XXXXXX";
        m_path = mkdtemp(name.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(m_path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path(const std::string& name) const { return m_path + '/' + name; }

private:
    std::string m_path;
};

/// Every folder that the platform derives from the environment, below a temporary one.
class TemporaryHome : public TemporaryFolder
{
public:
    TemporaryHome()
    {
        setenv("HOME", Path("home").c_str(), 1);
        setenv("XDG_CONFIG_HOME", Path("config").c_str(), 1);
        setenv("XDG_CONFIG_DIRS", Path("etc").c_str(), 1);
        setenv("XDG_DATA_HOME", Path("data").c_str(), 1);
        setenv("XDG_DATA_DIRS", Path("share").c_str(), 1);
    }
};

inline std::string ReadFile(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline void WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}
