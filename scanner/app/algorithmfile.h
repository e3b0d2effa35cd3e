// The device's part of the decoding stage's configuration, from section text.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace LxCV {
class LxCCCLAlgoConfig;
}
namespace calibration {
struct ModelSection;
}

namespace app {

/// The section of an algorithm configuration, whatever its name: the first one that has a focal distance
/// (`FocalDistance_mm`) or a subsection of a coupling ("::CameraProjectorCoupling"); nothing where there is none. Lines
/// before the first header and a second section of a name are none, as the library reads neither.
std::optional<std::string> FindAlgorithmRoot(const std::vector<calibration::ModelSection>& sections);

/// Takes coupling, distances and exit window from a text where it has them; what it does not tell stays.
/// @param text     section text that `sections` were split from
/// @return whether it has a configuration
/// @throws std::runtime_error for a value that is no finite number, or a coupling that cannot be undone, which is taken
///         nevertheless; the message tells section and key, not the file
bool TakeAlgorithm(const std::string& text, const std::vector<calibration::ModelSection>& sections,
                   LxCV::LxCCCLAlgoConfig& algorithm);

/// The same from a file, a text or one of the forms of a model file.
/// @throws std::runtime_error naming the file that cannot be read, or has no configuration or a bad one
void LoadAlgorithm(const std::filesystem::path& file, LxCV::LxCCCLAlgoConfig& algorithm);

} // namespace app
