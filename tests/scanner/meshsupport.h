// Meshes for tests, and their files.
#pragma once

#include "scanner/device/meshfile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace device {

/// A box from `lowest` to `highest`, its faces of two triangles each, corners counterclockwise from outside.
inline Mesh BoxMesh(const Vec3& lowest, const Vec3& highest)
{
    Mesh mesh;
    for (unsigned int i = 0; i < 8; ++i) {
        mesh.vertices.push_back({(i & 1U) != 0 ? highest.x : lowest.x, (i & 2U) != 0 ? highest.y : lowest.y,
                                 (i & 4U) != 0 ? highest.z : lowest.z});
    }
    mesh.triangles = {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
                      {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
    return mesh;
}

/// A rectangle of columns by rows squares in the plane z = 0, each of two triangles, the middle at the origin.
inline Mesh SheetMesh(double width, double height, std::uint32_t columns, std::uint32_t rows)
{
    Mesh mesh;
    for (std::uint32_t row = 0; row <= rows; ++row) {
        for (std::uint32_t column = 0; column <= columns; ++column) {
            mesh.vertices.push_back(
                {width * (double(column) / columns - 0.5), height * (double(row) / rows - 0.5), 0.0});
        }
    }
    for (std::uint32_t row = 0; row < rows; ++row) {
        for (std::uint32_t column = 0; column < columns; ++column) {
            const std::uint32_t first = row * (columns + 1) + column, above = first + columns + 1;
            mesh.triangles.push_back({first, first + 1, above + 1});
            mesh.triangles.push_back({first, above + 1, above});
        }
    }
    return mesh;
}

/// A ball around the origin: an icosahedron whose triangles are divided `levels` times into four, all corners at the
/// radius. With `normals` those of the ball.
inline Mesh BallMesh(double radius, int levels, bool normals = false)
{
    const double g = 0.5 * (1.0 + std::sqrt(5.0));
    Mesh mesh;
    for (const Vec3& corner : {Vec3{-1, g, 0},
                               {1, g, 0},
                               {-1, -g, 0},
                               {1, -g, 0},
                               {0, -1, g},
                               {0, 1, g},
                               {0, -1, -g},
                               {0, 1, -g},
                               {g, 0, -1},
                               {g, 0, 1},
                               {-g, 0, -1},
                               {-g, 0, 1}}) {
        mesh.vertices.push_back(radius * Normalized(corner));
    }
    mesh.triangles = {{0, 11, 5},  {0, 5, 1},  {0, 1, 7},  {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
                      {11, 10, 2}, {10, 7, 6}, {7, 1, 8},  {3, 9, 4},  {3, 4, 2},   {3, 2, 6}, {3, 6, 8},
                      {3, 8, 9},   {4, 9, 5},  {2, 4, 11}, {6, 2, 10}, {8, 6, 7},   {9, 8, 1}};
    for (int level = 0; level < levels; ++level) {
        std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> middles;
        const auto middle = [&](std::uint32_t a, std::uint32_t b) {
            const auto [place, isNew] = middles.try_emplace(std::pair(std::min(a, b), std::max(a, b)),
                                                            static_cast<std::uint32_t>(mesh.vertices.size()));
            if (isNew) {
                mesh.vertices.push_back(radius * Normalized(mesh.vertices[a] + mesh.vertices[b]));
            }
            return place->second;
        };
        std::vector<Corners> finer;
        for (const Corners& t : mesh.triangles) {
            const std::uint32_t a = middle(t[0], t[1]), b = middle(t[1], t[2]), c = middle(t[2], t[0]);
            finer.insert(finer.end(), {{t[0], a, c}, {t[1], b, a}, {t[2], c, b}, {a, b, c}});
        }
        mesh.triangles = finer;
    }
    if (normals) {
        for (const Vec3& vertex : mesh.vertices) {
            mesh.normals.push_back(Normalized(vertex));
        }
        mesh.normalsOf = mesh.triangles;
    }
    return mesh;
}

/// The bytes of a number, in this machine's order or turned round.
template <typename Number>
std::string BytesOf(Number number, bool turned = false)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return turned ? std::string(bytes.rbegin(), bytes.rend()) : bytes;
}

inline std::string BinaryStl(const Mesh& mesh, std::string header = "made by a test")
{
    header.resize(80, ' ');
    std::string bytes = header + BytesOf(static_cast<std::uint32_t>(mesh.triangles.size()));
    for (const Corners& corners : mesh.triangles) {
        bytes += BytesOf(0.0F) + BytesOf(0.0F) + BytesOf(0.0F);
        for (const std::uint32_t corner : corners) {
            const Vec3& at = mesh.vertices[corner];
            for (const double value : {at.x, at.y, at.z}) {
                bytes += BytesOf(static_cast<float>(value));
            }
        }
        bytes += std::string(2, '\0');
    }
    return bytes;
}

inline std::string TextStl(const Mesh& mesh)
{
    std::ostringstream text;
    text.precision(17);
    text << "solid a name\n";
    for (const Corners& corners : mesh.triangles) {
        text << "  facet normal 0 0 0\n    outer loop\n";
        for (const std::uint32_t corner : corners) {
            const Vec3& at = mesh.vertices[corner];
            text << "      vertex " << at.x << " " << at.y << " " << at.z << "\n";
        }
        text << "    endloop\n  endfacet\n";
    }
    text << "endsolid a name\n";
    return text.str();
}

inline std::string PlyHeader(const Mesh& mesh, const std::string& format)
{
    std::ostringstream text;
    text << "ply\nformat " << format << " 1.0\ncomment made by a test\nelement vertex "
         << mesh.vertices.size() << "\nproperty double x\nproperty double y\nproperty double z\n";
    if (!mesh.normals.empty()) {
        text << "property float nx\nproperty float ny\nproperty float nz\n";
    }
    if (!mesh.colours.empty()) {
        text << "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    }
    text << "element face " << mesh.triangles.size()
         << "\nproperty list uchar int vertex_indices\nend_header\n";
    return text.str();
}

/// Normals are written as those of vertices.
inline std::string BinaryPly(const Mesh& mesh, bool bigEndian)
{
    std::string bytes = PlyHeader(mesh, bigEndian ? "binary_big_endian" : "binary_little_endian");
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        for (const double value : {mesh.vertices[i].x, mesh.vertices[i].y, mesh.vertices[i].z}) {
            bytes += BytesOf(value, bigEndian);
        }
        if (!mesh.normals.empty()) {
            for (const double value : {mesh.normals[i].x, mesh.normals[i].y, mesh.normals[i].z}) {
                bytes += BytesOf(static_cast<float>(value), bigEndian);
            }
        }
        if (!mesh.colours.empty()) {
            for (const std::size_t channel : {2U, 1U, 0U}) {
                bytes += static_cast<char>(std::lround(255.0 * mesh.colours[i][channel]));
            }
        }
    }
    for (const Corners& corners : mesh.triangles) {
        bytes += '\3';
        for (const std::uint32_t corner : corners) {
            bytes += BytesOf(corner, bigEndian);
        }
    }
    return bytes;
}

inline std::string TextPly(const Mesh& mesh)
{
    std::ostringstream text;
    text.precision(17);
    text << PlyHeader(mesh, "ascii");
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        text << mesh.vertices[i].x << " " << mesh.vertices[i].y << " " << mesh.vertices[i].z;
        if (!mesh.normals.empty()) {
            text << " " << mesh.normals[i].x << " " << mesh.normals[i].y << " " << mesh.normals[i].z;
        }
        if (!mesh.colours.empty()) {
            for (const std::size_t channel : {2U, 1U, 0U}) {
                text << " " << std::lround(255.0 * mesh.colours[i][channel]);
            }
        }
        text << "\n";
    }
    for (const Corners& corners : mesh.triangles) {
        text << "3 " << corners[0] << " " << corners[1] << " " << corners[2] << "\n";
    }
    return text.str();
}

inline std::string ObjText(const Mesh& mesh)
{
    std::ostringstream text;
    text.precision(17);
    text << "# made by a test\no thing\n";
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        text << "v " << mesh.vertices[i].x << " " << mesh.vertices[i].y << " " << mesh.vertices[i].z;
        if (!mesh.colours.empty()) {
            text << " " << mesh.colours[i][2] << " " << mesh.colours[i][1] << " " << mesh.colours[i][0];
        }
        text << "\n";
    }
    for (const Vec3& normal : mesh.normals) {
        text << "vn " << normal.x << " " << normal.y << " " << normal.z << "\n";
    }
    for (std::size_t i = 0; i < mesh.triangles.size(); ++i) {
        text << "f";
        for (std::size_t k = 0; k < 3; ++k) {
            text << " " << mesh.triangles[i][k] + 1;
            if (!mesh.normalsOf.empty()) {
                text << "//" << mesh.normalsOf[i][k] + 1;
            }
        }
        text << "\n";
    }
    return text.str();
}

} // namespace device
