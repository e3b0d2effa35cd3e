// Point cloud output.
#include "scanner/app/pointcloud.h"

#include "scanner/app/filecontent.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

namespace {

static_assert(std::endian::native == std::endian::little, "the PLY writer copies floats as they lie");

constexpr Rgb kNoPoint = {24, 24, 28};
constexpr int kHalfStripe = 3;       ///< rows painted above and below a point
constexpr double kFarthestRow = 1e6; ///< beyond any picture, and well within an int

/// Stops of the depth scale from far to near, interpolated linearly.
constexpr std::array<Rgb, 6> kScale = {
    {{49, 54, 149}, {69, 117, 180}, {116, 196, 173}, {194, 230, 120}, {253, 174, 67}, {190, 20, 38}}};

Rgb ScaleColour(double nearness)
{
    const double position = std::clamp(nearness, 0.0, 1.0) * static_cast<double>(kScale.size() - 1);
    const auto lower = std::min(static_cast<std::size_t>(position), kScale.size() - 2);
    const double part = position - static_cast<double>(lower);
    Rgb colour{};
    for (std::size_t i = 0; i < colour.size(); ++i) {
        colour[i] = static_cast<std::uint8_t>(
            std::lround((1.0 - part) * kScale[lower][i] + part * kScale[lower + 1][i]));
    }
    return colour;
}

void AppendFloat(std::string& content, float value)
{
    std::array<char, sizeof value> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    content.append(bytes.data(), bytes.size());
}

} // namespace

void WritePly(const std::filesystem::path& file, std::span<const CloudPoint> points,
              std::span<const PointNormal> normals)
{
    const bool hasNormals = !normals.empty();
    if (hasNormals && normals.size() != points.size()) {
        throw std::invalid_argument("a cloud wants a normal for each point, or none");
    }
    std::string content = "ply\nformat binary_little_endian 1.0\ncomment millimetres, camera frame\n"
                          "element vertex " +
                          std::to_string(points.size()) +
                          "\nproperty float x\nproperty float y\nproperty float z\n";
    content += hasNormals ? "property float nx\nproperty float ny\nproperty float nz\n" : "";
    content += "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (const double coordinate : points[i].position) {
            AppendFloat(content, static_cast<float>(coordinate));
        }
        for (std::size_t axis = 0; hasNormals && axis < normals[i].size(); ++axis) {
            AppendFloat(content, normals[i][axis]);
        }
        for (const std::uint8_t level : points[i].colour) {
            content.push_back(static_cast<char>(level));
        }
    }
    WriteContent(file, content);
}

void WriteXyz(const std::filesystem::path& file, std::span<const CloudPoint> points)
{
    constexpr std::size_t longest = 32; // characters of a float
    std::array<char, longest> digits{};
    std::string content;
    for (const CloudPoint& point : points) {
        for (std::size_t axis = 0; axis < point.position.size(); ++axis) {
            const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                           static_cast<float>(point.position[axis]));
            content.append(digits.data(), end.ptr);
            content.push_back(axis + 1 < point.position.size() ? ' ' : '\n');
        }
    }
    WriteContent(file, content);
}

std::array<double, 2> DepthRange(std::span<const CloudPoint> points)
{
    constexpr std::size_t kTailDivisor = 100;
    if (points.empty()) {
        return {0.0, 0.0};
    }
    std::vector<double> depths;
    depths.reserve(points.size());
    for (const CloudPoint& point : points) {
        depths.push_back(point.position[2]);
    }
    std::sort(depths.begin(), depths.end());
    const std::size_t tail = depths.size() / kTailDivisor;
    return {depths[tail], depths[depths.size() - 1 - tail]};
}

ColourImage PaintDepth(int width, int height, std::span<const CloudPoint> points, double nearest,
                       double farthest)
{
    ColourImage image(width, height, kNoPoint);
    std::vector<int> distances(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                               kHalfStripe + 1);
    const double range = std::max(farthest - nearest, 1e-9);
    for (const CloudPoint& point : points) {
        if (point.column < 0 || point.column >= width || !(std::abs(point.row) < kFarthestRow)) {
            continue;
        }
        const int centre = static_cast<int>(std::lround(point.row));
        const Rgb colour = ScaleColour((farthest - point.position[2]) / range);
        for (int row = std::max(0, centre - kHalfStripe); row <= std::min(height - 1, centre + kHalfStripe);
             ++row) {
            int& distance = distances[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                                      static_cast<std::size_t>(point.column)];
            if (std::abs(row - centre) < distance) {
                distance = std::abs(row - centre);
                image.At(point.column, row) = colour;
            }
        }
    }
    return image;
}

} // namespace app
