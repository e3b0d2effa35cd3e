// Limits of depth, exit window and image region.
#include "scanner/decoder/pointculling.h"

#include "lxccclalgoconfig.h"
#include "lxclxcvlibsettings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace decoder {

using LxCV::LxC3DCoordsCCT;
using LxCV::LxCRoi;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Columns or rows, from the first one to that behind the last one.
struct Range
{
    int first;
    int end;
};

/// The range of an image of `size` columns or rows that leaves the same borders as `size` of them from `first` on in a
/// window of `window`.
Range WithBorders(std::int64_t first, std::int64_t count, std::int64_t window, std::int64_t size)
{
    const std::int64_t start = std::clamp<std::int64_t>(first, 0, size);
    const std::int64_t end = std::clamp<std::int64_t>(first + count + size - window, start, size);
    return {static_cast<int>(start), static_cast<int>(end)};
}

double FarthestOf(const LxCV::LxCCCLAlgoConfig& config)
{
    const double distance = config.GetDepthCullingDistance();
    const double farthest = config.GetFocalDistance() + distance;
    const bool isSet =
        config.GetActiveAlgorithmConfig().m_bDepthCulling && distance > 0.0 && std::isfinite(farthest);
    return isSet ? farthest : kInfinity;
}

} // namespace

LxCRoi MeasuredRegion(const LxCRoi& region, int width, int height)
{
    using Settings = LxCV::LxCLxCVLibSettings;
    const Range columns = WithBorders(region.GetLeftCol(), region.GetWidth(), Settings::c_iWidth, width);
    const Range rows = WithBorders(region.GetTopRow(), region.GetHeight(), Settings::c_iHeight, height);
    return LxCRoi(columns.first, rows.first, columns.end - columns.first, rows.end - rows.first);
}

PointCulling::PointCulling(const LxCV::LxCCCLAlgoConfig& config)
    : m_farthest(FarthestOf(config)), m_normal{0.0, 0.0, 0.0}, m_nearest(-kInfinity)
{
    const LxC3DCoordsCCT normal{config.GetExitWindowNormalX(), config.GetExitWindowNormalY(),
                                config.GetExitWindowNormalZ()};
    const double distance = config.GetExitWindowDistance();
    const double length = normal.GetLength();
    const bool isSet = config.GetActiveAlgorithmConfig().m_bExitWindowCulling && length > 0.0 &&
                       distance != 0.0 && std::isfinite(length) && std::isfinite(distance);
    if (isSet) {
        const double signedLength = std::copysign(length, distance);
        m_normal = {normal.x / signedLength, normal.y / signedLength, normal.z / signedLength};
        m_nearest = std::abs(distance);
    }
}

} // namespace decoder
