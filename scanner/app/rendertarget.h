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
/// at random by the seed; where some are, the others are 0, 0 and 33. The chart of bars, mtf, is told in pixels and lies in
/// the image's plane.
struct TargetOptions
{
    std::string target;         ///< checkerboard, slide-a2, slide-c or mtf; empty for none
    std::optional<double> tilt; ///< degrees, of the target against the image
    /// Degrees: of the checkerboard or of the chart in its plane, or of the direction of the slide's tilt.
    std::optional<double> rotation;
    std::optional<double> distance; ///< mm along the camera's axis
    std::optional<double>
        contrast;                ///< of the chart's bars before the blur, 0 to 1; none: the chart's own two
    std::optional<double> scale; ///< of the chart, pixels; of a mesh where one is rendered, mm per unit
    double blur = 0.7;           ///< sigma of the camera's blur, pixels
};

/// What every rendering is told.
struct TargetOutput
{
    std::uint64_t seed = 1; ///< of the pose and of the noise
    double noise =
        1.0; ///< for checkerboard and chart its sigma in grey levels, for a slide the factor on the sensor's noise
    std::filesystem::path folder;
    bool json = false; ///< the report's form
};

/// Adds the options to a command that has the options `--scene` and `--mesh`.
void AddTargetOptions(CLI::App& command, TargetOptions& options);

/// Writes image.png for a checkerboard, reference.png and pattern.png for a slide, and model.txt and truth.json into the
/// folder; for the chart image.png and truth.json with its contrasts after the blur. Writes a report to `out`.
/// @throws std::runtime_error naming the file that cannot be written
void RenderTarget(const TargetOptions& options, const TargetOutput& output, std::ostream& out);

} // namespace app
