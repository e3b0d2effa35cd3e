// Images of calibration targets with the true places of their corners: `lumorad render --target`.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace app {

/// Which target the camera sees, and from where. Where neither tilt nor rotation nor distance is told, the pose is drawn
/// at random by the seed; where some are, the others are 0, 0 and 33.
struct TargetOptions
{
    std::string target;         ///< checkerboard, slide-a2 or slide-c; empty for none
    std::optional<double> tilt; ///< degrees, of the target against the image
    std::optional<double>
        rotation; ///< degrees, of the checkerboard in its plane, or of the direction of the slide's tilt
    std::optional<double> distance; ///< mm along the camera's axis
    double blur = 0.7;              ///< sigma of the camera's blur, pixels
};

/// What every rendering is told.
struct TargetOutput
{
    std::uint64_t seed = 1; ///< of the pose and of the noise
    double noise =
        1.0; ///< for a checkerboard its sigma in grey levels, for a slide the factor on the sensor's noise
    std::filesystem::path folder;
    bool json = false; ///< the report's form
};

/// Adds the options to a command that has an option `--scene`.
void AddTargetOptions(CLI::App& command, TargetOptions& options);

/// Writes image.png for a checkerboard, reference.png and pattern.png for a slide, model.txt and truth.json into the
/// folder, and a report to `out`.
/// @throws std::runtime_error naming the file that cannot be written
void RenderTarget(const TargetOptions& options, const TargetOutput& output, std::ostream& out);

} // namespace app
