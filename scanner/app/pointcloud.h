// Measured points as a PLY file and as a depth picture.
#pragma once

#include "scanner/app/colourimage.h"

#include <array>
#include <filesystem>
#include <span>

namespace app {

/// A point as files and pictures show it.
struct CloudPoint
{
    std::array<double, 3> position; ///< mm, camera frame
    int column;                     ///< pixels, camera image
    double row;                     ///< pixels, camera image
    Rgb colour;                     ///< of the reference image
};

/// A unit vector, or zero for none.
using PointNormal = std::array<float, 3>;

/// Makes or replaces a binary little-endian PLY file: a vertex is float x, y, z in mm, float nx, ny, nz if there are
/// normals, and uchar red, green, blue.
/// @param normals one for each point, or none at all
/// @throws std::runtime_error naming the file if it cannot be written, std::invalid_argument for another number of
///         normals
void WritePly(const std::filesystem::path& file, std::span<const CloudPoint> points,
              std::span<const PointNormal> normals = {});

/// Makes or replaces a text of a line "x y z" a point, mm, each the shortest one that reads back as the same float.
/// @throws std::runtime_error naming the file if it cannot be written
void WriteXyz(const std::filesystem::path& file, std::span<const CloudPoint> points);

/// Paints each point at its pixel, high enough to meet the next stripe edge, in a colour that runs from blue
/// (far) over green to red (near). Pixels without a point stay dark; what lies beside the picture is left out.
/// @param nearest, farthest depths of the two ends of the colour scale; mm
ColourImage PaintDepth(int width, int height, std::span<const CloudPoint> points, double nearest,
                       double farthest);

/// Depths that 1 percent of the points lie in front of and behind; {0, 0} without points.
std::array<double, 2> DepthRange(std::span<const CloudPoint> points);

} // namespace app
