// Reading of the file of settings before the library does.
#include "scanner/app/hostsettings.h"

#include "orx/platform/paths.h"
#include "orx/settingsvalue/settingsfile.h"
#include "scanner/app/filecontent.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace app {

void RequireHostSettings()
{
    const std::string name = platform::GetEnvironmentText("LXCV_SETTINGS");
    if (name.empty()) {
        return;
    }
    const std::filesystem::path file = platform::NativePath(name);
    const std::string remedy = "; correct the file, or unset LXCV_SETTINGS, which names it";
    std::string refusal;
    try {
        // A pipe or a device could keep a reader waiting.
        std::error_code unknown;
        if (std::filesystem::is_other(file, unknown)) {
            throw std::runtime_error("'" + name + "' is no regular file");
        }
        const std::string text = ReadContent(file, LxCV::c_longestSettingsText, "a file of settings");
        if (LxCV::ParseSettings(text, refusal)) {
            return;
        }
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("the settings: " + std::string(error.what()) + remedy);
    }
    throw std::runtime_error("the settings '" + name + "' are refused: " + refusal + remedy);
}

} // namespace app
