// An algorithm configuration from a file.
#pragma once

#include <filesystem>

namespace LxCV {
class LxCCCLAlgoConfig;
}

namespace app {

/// Takes what `calibration::TakeAlgorithm` takes from a file, a text or one of the forms of a model file.
/// @throws std::runtime_error naming the file that cannot be read, or has no configuration or a bad one
void LoadAlgorithm(const std::filesystem::path& file, LxCV::LxCCCLAlgoConfig& algorithm);

} // namespace app
