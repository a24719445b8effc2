#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A directory for one test, removed with its contents when the object is destroyed.
class TemporaryDirectory
{
public:
    TemporaryDirectory()
        : m_Path(mkdtemp((std::filesystem::temp_directory_path() / "sonarbench-XXXXXX").string().data()))
    {
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(m_Path); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;

    /// Path of a name inside, whether or not it exists.
    std::string Path(const std::string& Name = "") const { return m_Path + "/" + Name; }

    /// Writes a file inside and returns its path.
    std::string Write(const std::string& Name, const std::string& Content) const
    {
        std::ofstream(Path(Name), std::ios::binary) << Content;
        return Path(Name);
    }

    /// Writes an executable shell script inside and returns its path.
    std::string WriteProgram(const std::string& Name, const std::string& Script) const
    {
        const std::string path = Write(Name, "#!/bin/sh\n" + Script);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }

    /// Content of a file inside, empty when there is none.
    std::string Read(const std::string& Name) const
    {
        std::ifstream file(Path(Name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string m_Path;
};
