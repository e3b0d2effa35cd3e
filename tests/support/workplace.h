// A working folder of its own for one test.
#pragma once

#include "tests/support/temporaryfolder.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace TestSupport {

/// A working folder of its own, beside which there may be a folder of results.
class CWorkplace
{
public:
    explicit CWorkplace(bool hasResults) : m_Before(std::filesystem::current_path())
    {
        std::filesystem::create_directory(m_Folder.GetPath() / "work");
        if (hasResults) {
            std::filesystem::create_directory(GetResults());
        }
        std::filesystem::current_path(m_Folder.GetPath() / "work");
    }
    ~CWorkplace() { std::filesystem::current_path(m_Before); }
    CWorkplace(const CWorkplace&) = delete;
    CWorkplace& operator=(const CWorkplace&) = delete;

    std::filesystem::path GetResults() const { return m_Folder.GetPath() / "Results"; }

    /// All names below the folder, sorted.
    std::vector<std::string> GetNames() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_Folder.GetPath())) {
            names.push_back(entry.path().lexically_relative(m_Folder.GetPath()).string());
        }
        std::ranges::sort(names);
        return names;
    }

private:
    CTemporaryFolder m_Folder;
    std::filesystem::path m_Before;
};

} // namespace TestSupport
