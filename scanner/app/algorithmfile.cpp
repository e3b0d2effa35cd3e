// Reading of files of algorithm configurations.
#include "scanner/app/algorithmfile.h"

#include "scanner/app/modelfile.h"
#include "scanner/calibration/algorithmtext.h"

#include <stdexcept>
#include <string>

namespace app {

void LoadAlgorithm(const std::filesystem::path& file, LxCV::LxCCCLAlgoConfig& algorithm)
{
    const std::string text = ReadModelFile(file).text;
    bool isThere = false;
    try {
        isThere = calibration::TakeAlgorithm(text, calibration::SplitModelText(text), algorithm);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("'" + file.string() + "': " + error.what());
    }
    if (!isThere) {
        throw std::runtime_error(
            "'" + file.string() +
            "' is no algorithm configuration: it has no section with FocalDistance_mm and "
            "none whose name ends with '::CameraProjectorCoupling'");
    }
}

} // namespace app
