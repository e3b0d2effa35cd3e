// The folder of target archives beside the program that runs the tests.
#pragma once

#include "orx/platform/filedescriptor.h"
#include "orx/platform/paths.h"

#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <system_error>

namespace TestSupport {

/// Makes the folder HEXFILES, empty, beside the running program, and removes it with all that is in it. While it lives
/// no other test program of the same build has it, whichever runs beside this one.
class CHexFilesFolder
{
public:
    CHexFilesFolder() : m_Lock(open(GetProgramFolder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        if (!m_Lock.IsOpen() || flock(m_Lock.Get(), LOCK_EX) != 0) {
            throw std::runtime_error("the program's folder cannot be locked");
        }
        Remove();
        std::filesystem::create_directory(m_Path);
    }
    ~CHexFilesFolder() { Remove(); }
    CHexFilesFolder(const CHexFilesFolder&) = delete;
    CHexFilesFolder& operator=(const CHexFilesFolder&) = delete;

    /// The path of a file in the folder.
    std::string operator/(const std::string& name) const { return (m_Path / name).string(); }

private:
    static std::filesystem::path GetProgramFolder()
    {
        return std::filesystem::path(platform::GetExecutablePath()).parent_path();
    }
    void Remove() const
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }

    platform::CFileDescriptor m_Lock;
    std::filesystem::path m_Path = GetProgramFolder() / "HEXFILES";
};

} // namespace TestSupport
