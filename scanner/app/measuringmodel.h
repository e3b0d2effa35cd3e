// Models that images are measured with.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace LxCV {
class LxCCCLAlgoConfig;
class LxCPinholeFramework;
} // namespace LxCV

namespace app {

/// Loads a model from a file of any form.
/// @param algorithm takes what the file tells of the decoding stage's configuration, see `calibration::TakeAlgorithm`; null for nothing
/// @throws std::runtime_error naming the file that cannot be read, is no model or has a bad configuration, and what can be
///         done
std::unique_ptr<LxCV::LxCPinholeFramework> LoadMeasuringModel(const std::filesystem::path& file,
                                                              LxCV::LxCCCLAlgoConfig* algorithm = nullptr);

/// What messages call a model that comes from a file.
std::string ModelName(const std::filesystem::path& file);

/// @param name what the model comes from, for the message
/// @throws std::runtime_error where the model cannot measure images of this size, and why
void RequireCalibrated(const LxCV::LxCPinholeFramework& model, const std::string& name, int width,
                       int height);

} // namespace app
