// An object of the user's own before the camera: `--mesh`, `--pose` and `--scale`.
#pragma once

#include "scanner/acquisition/rendering.h"

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace app {

/// What the command line tells of a mesh.
struct MeshOptions
{
    std::filesystem::path file;  ///< empty for none
    std::string pose;            ///< as `acquisition::ReadPose` takes it; empty for the default
    std::optional<double> scale; ///< mm per unit of the file
};

/// The bounds of the scale.
inline constexpr double kSmallestMeshScale = 1e-6;
inline constexpr double kLargestMeshScale = 1e6;

/// Adds `--mesh` and `--pose` to a command that has an option `--scene`.
void AddMeshOptions(CLI::App& command, MeshOptions& options);

/// Adds `--scale` for meshes alone.
void AddMeshScale(CLI::App& command, MeshOptions& options);

/// Tells a rendering which mesh is wanted, if any.
void Apply(const MeshOptions& options, acquisition::PairOptions& pair);

/// File, counts of triangles, pose, scale, bounding box (mm, camera frame), and whether the box lies within the
/// working range.
nlohmann::ordered_json MeshToJson(const acquisition::Rendering& rendering);

/// The same in words, and what lies outside the working range.
void PrintMesh(std::ostream& out, const acquisition::Rendering& rendering);

} // namespace app
