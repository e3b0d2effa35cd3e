// A folder of its own for one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace TestSupport {

/// Makes a new folder below the system's temporary one, and removes it with all that is in it.
class CTemporaryFolder
{
public:
    CTemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "lxcvtest.XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        m_Path = name;
    }
    ~CTemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    const std::filesystem::path& GetPath() const { return m_Path; }

    /// The path of a file in the folder.
    std::string operator/(const std::string& name) const { return (m_Path / name).string(); }

private:
    std::filesystem::path m_Path;
};

inline std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::filesystem::path& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace TestSupport
