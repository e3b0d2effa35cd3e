// A pair of images, measured: what the commands of the program share.
#pragma once

#include "scanner/acceptance/accuracy.h"
#include "scanner/acquisition/imagepair.h"
#include "scanner/acquisition/rendering.h"
#include "scanner/app/pointcloud.h"
#include "scanner/app/progress.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace app {

using acceptance::Accuracy;
using acceptance::TableDeviation;

/// Root of the section names in the parameter sets that the program writes and reads.
inline constexpr const char* kModelRoot = "::MV3DCamBase";

/// Makes the folder and those above it where they are missing.
/// @throws std::runtime_error naming the folder that cannot be made
void CreateFolder(const std::filesystem::path& folder);

/// @throws std::runtime_error naming the file that cannot be written
void WriteText(const std::filesystem::path& file, const std::string& text);

/// Writes reference.png, pattern.png and the device's parameter set model.txt into the folder `out`.
/// @throws std::runtime_error naming the file that cannot be written
void WriteRendering(const acquisition::Rendering& rendering, const std::filesystem::path& out);

/// What came of measuring one pair.
struct Measurement
{
    std::shared_ptr<const LxCV::LxCPinholeFramework> model;
    std::shared_ptr<const decoder::Decoder> decoder; ///< with points and record
    std::vector<CloudPoint> cloud;
    Accuracy accuracy;
    std::optional<TableDeviation> table; ///< where points were looked up
};

/// How points come from edges.
enum class ETriangulation
{
    eTable,   ///< looked up in a table that is made beforehand
    eComputed ///< one by one
};

/// Loads the model from `modelFile`, decodes and triangulates the images, and compares the points with the truth of
/// the pair that the images show. The stages are timed by `progress`.
/// @throws std::runtime_error if the model cannot be loaded or is not calibrated for the pair's size
Measurement Measure(const acquisition::ImagePair& images, const acquisition::Rendering& rendering,
                    const std::filesystem::path& modelFile, ETriangulation triangulation, Progress& progress);

/// Writes cloud.ply, scan.3d (the record's full points as a 3D file), depth.png and overview.png (reference image,
/// pattern image and depth side by side).
/// @throws std::runtime_error naming the file that cannot be written
void WriteMeasurement(const acquisition::Rendering& rendering, const Measurement& measurement,
                      const std::filesystem::path& out);

} // namespace app
