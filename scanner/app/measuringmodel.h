// Models that images are measured with.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace LxCV {
class LxCPinholeFramework;
}

namespace app {

/// Loads a model from a file of any form.
/// @throws std::runtime_error naming the file that cannot be read or is no model, and what can be done
std::unique_ptr<LxCV::LxCPinholeFramework> LoadMeasuringModel(const std::filesystem::path& file);

/// @param name what the model comes from, for the message
/// @throws std::runtime_error where the model cannot measure images of this size, and why
void RequireCalibrated(const LxCV::LxCPinholeFramework& model, const std::string& name, int width,
                       int height);

} // namespace app
