// Small readers of the files that scans are written to, independent of the writers.
#pragma once

#include "tests/support/temporaryfolder.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace scantest {

using Point = std::array<float, 3>;

template <typename Value>
Value At(const std::string& bytes, std::size_t offset)
{
    Value value{};
    if (offset + sizeof value > bytes.size()) {
        throw std::runtime_error("the file ends at " + std::to_string(bytes.size()));
    }
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

struct PlyVertex
{
    Point position;
    Point normal;
    std::array<std::uint8_t, 3> colour;
};

/// The vertices of a PLY file with normals, of exactly that length.
inline std::vector<PlyVertex> ReadPly(const std::string& file)
{
    constexpr std::size_t vertexLength = 27;
    const std::string bytes = TestSupport::ReadFile(file);
    const std::string end = "end_header\n";
    const std::string element = "element vertex ";
    const std::size_t count = std::stoul(bytes.substr(bytes.find(element) + element.size()));
    const std::size_t begin = bytes.find(end) + end.size();
    if (bytes.rfind("ply\nformat binary_little_endian 1.0\n", 0) != 0 ||
        bytes.size() != begin + vertexLength * count) {
        throw std::runtime_error("no PLY file of " + std::to_string(count) + " vertices");
    }
    std::vector<PlyVertex> vertices;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = begin + vertexLength * i;
        vertices.push_back({At<Point>(bytes, at), At<Point>(bytes, at + 12),
                            At<std::array<std::uint8_t, 3>>(bytes, at + 24)});
    }
    return vertices;
}

/// The triangles of a binary STL file, of exactly that length.
inline std::vector<std::array<Point, 3>> ReadStl(const std::string& file)
{
    constexpr std::size_t headerLength = 84;
    constexpr std::size_t triangleLength = 50;
    const std::string bytes = TestSupport::ReadFile(file);
    const auto count = At<std::uint32_t>(bytes, 80);
    if (bytes.size() != headerLength + triangleLength * count) {
        throw std::runtime_error("no STL file of " + std::to_string(count) + " triangles");
    }
    std::vector<std::array<Point, 3>> triangles;
    for (std::size_t i = 0; i < count; ++i) {
        triangles.push_back(At<std::array<Point, 3>>(bytes, headerLength + triangleLength * i + 12));
    }
    return triangles;
}

struct Grid
{
    int width = 0;
    int height = 0;
    std::vector<Point> points; ///< row by row; 0, 0, 0 for none
};

/// The points of a 3D file, of exactly that length.
inline Grid Read3D(const std::string& file)
{
    constexpr std::size_t headerLength = 132;
    const std::string bytes = TestSupport::ReadFile(file);
    Grid grid{At<std::int32_t>(bytes, 120), At<std::int32_t>(bytes, 124), {}};
    const auto count = static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height);
    if (At<std::int32_t>(bytes, 128) != 3 || bytes.size() != headerLength + sizeof(Point) * count) {
        throw std::runtime_error("no 3D file of " + std::to_string(count) + " points");
    }
    for (std::size_t i = 0; i < count; ++i) {
        grid.points.push_back(At<Point>(bytes, headerLength + sizeof(Point) * i));
    }
    return grid;
}

/// The points of a text of three numbers a line.
inline std::vector<Point> ReadXyz(const std::string& file)
{
    std::istringstream text(TestSupport::ReadFile(file));
    std::vector<Point> points;
    for (std::string line; std::getline(text, line);) {
        std::istringstream numbers(line);
        Point point{};
        std::string rest;
        if (!(numbers >> point[0] >> point[1] >> point[2]) || numbers >> rest) {
            throw std::runtime_error("no point: " + line);
        }
        points.push_back(point);
    }
    return points;
}

} // namespace scantest
