// The surface between the points of a scan record.
#pragma once

#include <array>
#include <filesystem>
#include <span>
#include <vector>

namespace LxCV {
class LxSScanDataCCT;
}

namespace app {

/// Neighbouring points whose depths differ by more are not of one surface. Stripe edges are some 0.1 mm apart, so
/// this is a surface that leans away from the camera by 76 degrees, which no stripe is followed across.
inline constexpr float kLargestDepthStep = 0.4F; // mm

/// Three corners, mm, camera frame, anticlockwise as the camera sees them: the normal points to the camera.
using SurfaceTriangle = std::array<std::array<float, 3>, 3>;

/// Triangles between the full points of a record in neighbouring columns and stripe edges. Four points make two, which
/// meet along the shorter diagonal, three points make one. There is none whose corners' depths differ by more than
/// `depthStep`, and none without an area.
std::vector<SurfaceTriangle> SurfaceOf(const LxCV::LxSScanDataCCT& record,
                                       float depthStep = kLargestDepthStep);

/// Makes or replaces a binary STL file.
/// @throws std::runtime_error naming the file that cannot be written
void WriteStl(const std::filesystem::path& file, std::span<const SurfaceTriangle> surface);

} // namespace app
