// Point cloud output.
#include "scanner/app/pointcloud.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <fstream>
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

} // namespace

void WritePly(const std::filesystem::path& file, std::span<const CloudPoint> points)
{
    std::ofstream stream(file, std::ios::binary);
    stream << "ply\nformat binary_little_endian 1.0\ncomment millimetres, camera frame\nelement vertex "
           << std::to_string(points.size())
           << "\nproperty float x\nproperty float y\nproperty float z\nproperty uchar red\n"
              "property uchar green\nproperty uchar blue\nend_header\n";
    std::array<char, 3 * sizeof(float) + sizeof(Rgb)> record{};
    for (const CloudPoint& point : points) {
        for (std::size_t axis = 0; axis < point.position.size(); ++axis) {
            const auto value = static_cast<float>(point.position[axis]);
            std::memcpy(record.data() + axis * sizeof(float), &value, sizeof(float));
        }
        std::memcpy(record.data() + 3 * sizeof(float), point.colour.data(), sizeof(Rgb));
        stream.write(record.data(), static_cast<std::streamsize>(record.size()));
    }
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
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
