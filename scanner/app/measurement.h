// A rendered pair of images, measured: what the commands of the program share.
#pragma once

#include "scanner/app/accuracy.h"
#include "scanner/app/pointcloud.h"
#include "scanner/app/progress.h"
#include "scanner/device/virtualdevice.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace app {

/// Root of the section names in the parameter sets that the program writes and reads.
inline constexpr const char* kModelRoot = "::MV3DCamBase";

/// What to render.
struct SceneOptions
{
    std::string scene = "molar";
    std::uint64_t seed = 1;
    double noise = 1.0; ///< factor on all noise; 0 for none
    std::filesystem::path out = "out/demo";
};

/// One image pair of the virtual device.
struct Rendering
{
    device::VirtualDevice device;
    std::unique_ptr<device::Scene> scene;
    device::RenderedPair pair;
};

/// Makes the folder and those above it where they are missing.
/// @throws std::runtime_error naming the folder that cannot be made
void CreateFolder(const std::filesystem::path& folder);

/// @throws std::invalid_argument for an unknown scene
Rendering Render(const SceneOptions& options);

/// Writes reference.png, pattern.png and the device's parameter set model.txt into the folder `out`.
/// @throws std::runtime_error naming the file that cannot be written
void WriteRendering(const Rendering& rendering, const std::filesystem::path& out);

/// What came of measuring one pair.
struct Measurement
{
    std::vector<CloudPoint> cloud;
    Accuracy accuracy;
};

/// Loads the model from `modelFile`, decodes and triangulates the pair, and compares it with the truth. The
/// stages are timed by `progress`.
/// @throws std::runtime_error if the model cannot be loaded or is not calibrated for the pair's size
Measurement Measure(const Rendering& rendering, const std::filesystem::path& modelFile, Progress& progress);

/// Writes cloud.ply, depth.png and overview.png (reference image, pattern image and depth side by side).
/// @throws std::runtime_error naming the file that cannot be written
void WriteMeasurement(const Rendering& rendering, const Measurement& measurement,
                      const std::filesystem::path& out);

} // namespace app
