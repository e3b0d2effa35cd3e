// Any file that `lumorad info` is shown: the first byte picks a name, whose suffix decides where the content leaves a doubt.
#include "orx/logging/logger.h"
#include "scanner/app/filefacts.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::array names{"file",
                               "a.ply",
                               "a.stl",
                               "a.obj",
                               "a.3d",
                               "a.xyz",
                               "a.json",
                               "a.csv",
                               "a.lua",
                               "ColorCalibrationData_a.dat",
                               "CamCalib_5DArray_000.xyz"};
    const Logging::CCapture quiet;
    if (size < 2) {
        return 0;
    }
    const std::string_view content(reinterpret_cast<const char*>(data) + 1, size - 1);
    try {
        const app::FileFacts told = app::TellContent({names[data[0] % names.size()], content});
        if (told.kind.empty() || !told.facts.is_object()) {
            std::abort();
        }
    } catch (const std::runtime_error& error) {
        if (std::string_view(error.what()).empty()) {
            std::abort();
        }
    }
    return 0;
}
