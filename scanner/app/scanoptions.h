// What the command `lumorad scan` is told.
#pragma once

#include <filesystem>
#include <vector>

namespace app {

struct ScanOptions
{
    std::filesystem::path reference; ///< empty for none
    std::filesystem::path pattern;   ///< empty for none
    std::filesystem::path model;     ///< empty for none
    std::filesystem::path
        algorithm; ///< instead of what the model tells of coupling and distances; empty for none
    std::vector<std::filesystem::path> out;
    std::filesystem::path report; ///< empty for none
    bool exact = false;           ///< points are computed, not looked up
    bool json = false;
};

} // namespace app
