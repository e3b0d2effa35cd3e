// Triangle meshes from STL, PLY and OBJ files.
#pragma once

#include "scanner/device/geometry.h"
#include "scanner/device/scene.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string_view>
#include <vector>

namespace device {

/// Corners of a triangle as indices.
using Corners = std::array<std::uint32_t, 3>;

/// The index of a normal that a file does not tell.
inline constexpr std::uint32_t c_noNormal = std::numeric_limits<std::uint32_t>::max();

/// Triangles in the units and the frame of their file. All coordinates are finite, all indices lead to an entry, and
/// every triangle has an area.
struct Mesh
{
    std::vector<Vec3> vertices;
    std::vector<Corners> triangles; ///< indices of vertices
    std::vector<Vec3> normals;      ///< of the surface at corners, unit length; empty where the file has none
    std::vector<Corners>
        normalsOf; ///< of each triangle, indices of normals or `c_noNormal`; empty without normals
    std::vector<Colour> colours;      ///< of each vertex, 0 to 1; empty where the file has none
    std::size_t droppedTriangles = 0; ///< that had no area
};

enum class EMeshFormat
{
    eStl, ///< text or binary; every corner has a vertex of its own, normals and colours are not read
    ePly, ///< text or binary of either byte order, with vertex normals and colours
    eObj  ///< with normals of corners and colours behind the coordinates
};

/// What is refused however much memory there is. One triangle takes 50 bytes of a binary STL file and 100 to 300 of a
/// text.
struct MeshLimits
{
    std::size_t bytes = std::size_t{512} << 20; ///< of the file
    std::size_t triangles = 4'000'000;
    std::size_t vertices = 12'000'000;
    double coordinate = 1e6; ///< largest magnitude, in the file's units
};

/// Reads the content of a mesh file. Polygons become triangles, where they are convex. What it takes of memory is in
/// proportion to the content, whatever counts it tells.
/// @throws std::runtime_error telling what is wrong, at which line or vertex, and what to do
Mesh ParseMesh(std::string_view content, EMeshFormat format, const MeshLimits& limits = MeshLimits());

/// Reads a mesh file whose name ends in .stl, .ply or .obj, in upper or lower case.
/// @throws std::runtime_error naming the file, what is wrong, and what to do
Mesh ReadMesh(const std::filesystem::path& file, const MeshLimits& limits = MeshLimits());

} // namespace device
