// Points, masks and colours by image column and stripe edge.
#include "scanner/decoder/scanrecord.h"

#include "lxcfloat3.h"
#include "lxclxcvlibsettings.h"
#include "lxsscandatacct.h"
#include "normalkernels.h"
#include "pixelelements.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCFloat3;

namespace {

constexpr std::uint8_t kValid = 1;
using Bgr = std::array<std::uint8_t, 3>;

std::uint8_t ToByte(float level)
{
    constexpr float kLargest = 255.0F;
    const float positive = level > 0.0F ? level : 0.0F; // also for what is not a number
    return static_cast<std::uint8_t>(static_cast<int>((positive < kLargest ? positive : kLargest) + 0.5F));
}

/// Index of the pixel of an edge: halves of rows up, as far as the image reaches.
std::size_t PixelOf(const EdgePixel& edge, int width, int height)
{
    const int row = static_cast<int>(std::clamp(edge.row + 0.5, 0.0, static_cast<double>(height - 1)));
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
           static_cast<std::size_t>(edge.column);
}

Bgr ToBytes(const LxCFloat3& colour)
{
    return {ToByte(colour.get(0)), ToByte(colour.get(1)), ToByte(colour.get(2))};
}

/// The images of a full record, or of a reduced one.
struct Planes
{
    std::span<LxCFloat3> positions;
    std::span<std::uint8_t> valid;
    std::span<std::uint8_t> hasNormal;
    std::span<Bgr> colours;
    std::size_t width;

    std::size_t GetHeight() const { return positions.size() / std::max<std::size_t>(width, 1); }
};

Planes FullOf(LxCV::LxSScanDataCCT& record)
{
    return {LxCV::ElementsOf<LxCFloat3>(*record.GetFull3DPoints()),
            LxCV::ElementsOf<std::uint8_t>(*record.GetFullValidMask()),
            LxCV::ElementsOf<std::uint8_t>(*record.GetFullNormalMask()),
            LxCV::ElementsOf<Bgr>(*record.GetFullColor()),
            static_cast<std::size_t>(record.GetFull3DPoints()->GetWidth())};
}

Planes ReducedOf(LxCV::LxSScanDataCCT& record)
{
    return {LxCV::ElementsOf<LxCFloat3>(*record.Get3DPoints()),
            LxCV::ElementsOf<std::uint8_t>(*record.GetValidMask()),
            LxCV::ElementsOf<std::uint8_t>(*record.GetNormalMask()),
            LxCV::ElementsOf<Bgr>(*record.GetColor()),
            static_cast<std::size_t>(record.Get3DPoints()->GetWidth())};
}

template <typename T>
void Copy(std::span<const T> from, std::span<T> to)
{
    if (!from.empty()) {
        std::memcpy(static_cast<void*>(to.data()), from.data(), std::min(from.size_bytes(), to.size_bytes()));
    }
}

template <typename T>
void SetZero(std::span<T> values)
{
    if (!values.empty()) {
        std::memset(static_cast<void*>(values.data()), 0, values.size_bytes());
    }
}

/// The middle one of three columns.
void TakeMiddle(const Planes& full, std::size_t first, const Planes& reduced, std::size_t place)
{
    const std::size_t middle = first + kReduction / 2;
    reduced.positions[place] = full.positions[middle];
    reduced.valid[place] = full.valid[middle];
    reduced.colours[place] = full.colours[middle];
}

/// Which of three columns is the one that others have to be close to; none if it is past the last one.
std::size_t GuideOf(const Planes& full, std::size_t first)
{
    constexpr std::size_t count = kReduction;
    if (full.valid[first + count / 2] == kValid) {
        return first + count / 2;
    }
    std::size_t nearest = first + count;
    for (std::size_t i = first; i < first + count; ++i) {
        if (full.valid[i] == kValid &&
            (nearest == first + count || full.positions[i].get(2) < full.positions[nearest].get(2))) {
            nearest = i;
        }
    }
    return nearest;
}

/// The mean of those of three columns that lie on one surface; nothing where there are no points.
void TakeMean(const Planes& full, std::size_t first, float maxStep, const Planes& reduced, std::size_t place)
{
    constexpr std::size_t count = kReduction;
    const std::size_t guide = GuideOf(full, first);
    reduced.positions[place] = LxCFloat3();
    reduced.valid[place] = 0;
    reduced.colours[place] = {};
    if (guide == first + count) {
        return;
    }
    LxCFloat3 sum;
    std::array<int, 3> colour{};
    int points = 0;
    for (std::size_t i = first; i < first + count; ++i) {
        const float step = full.positions[i].get(2) - full.positions[guide].get(2);
        if (i != guide && (full.valid[i] != kValid || !(std::abs(step) <= maxStep))) {
            continue;
        }
        sum = sum + full.positions[i];
        for (std::size_t channel = 0; channel < colour.size(); ++channel) {
            colour[channel] += full.colours[i][channel];
        }
        ++points;
    }
    reduced.positions[place] = sum / static_cast<float>(points);
    reduced.valid[place] = kValid;
    for (std::size_t channel = 0; channel < colour.size(); ++channel) {
        reduced.colours[place][channel] =
            static_cast<std::uint8_t>((2 * colour[channel] + points) / (2 * points));
    }
}

/// Fills a reduced record, or one that is as wide as the full one.
void Reduce(const Planes& full, bool isSmoothed, const Planes& reduced)
{
    if (reduced.width == full.width) {
        Copy<LxCFloat3>(full.positions, reduced.positions);
        Copy<std::uint8_t>(full.valid, reduced.valid);
        Copy<Bgr>(full.colours, reduced.colours);
    } else {
        const float maxStep = LxCV::LxCLxCVLibSettings::GetClean3DDataZDistThresh();
        for (std::size_t row = 0; row < reduced.GetHeight(); ++row) {
            for (std::size_t column = 0; column < reduced.width; ++column) {
                const std::size_t first = row * full.width + kReduction * column;
                const std::size_t place = row * reduced.width + column;
                if (isSmoothed) {
                    TakeMean(full, first, maxStep, reduced, place);
                } else {
                    TakeMiddle(full, first, reduced, place);
                }
            }
        }
    }
    Copy<std::uint8_t>(reduced.valid, reduced.hasNormal);
}

/// Normals between the points of neighbouring columns and stripe edges, and the number of points.
void AddNormals(const Planes& points, LxCV::LxSScanDataCCT& record)
{
    LxCV::NormalKernels::SGrid grid;
    grid.lineLength = points.width;
    grid.points = points.positions;
    grid.mask = points.valid;
    grid.normals = LxCV::ElementsOf<LxCFloat3>(*record.GetNormals());
    grid.normalMask = points.hasNormal;
    record.SetNumValidPoints(static_cast<int>(LxCV::NormalKernels::ComputeNormals(grid)));
}

} // namespace

void FillRecord(std::span<const MeasuredPoint> points, const CCTImage& reference, bool isSmoothed,
                LxCV::LxSScanDataCCT& record)
{
    constexpr std::size_t kAhead = 16; // points; until then memory is near
    const Planes full = FullOf(record);
    SetZero(full.positions);
    SetZero(full.valid);
    SetZero(full.colours);
    const int width = reference.GetWidth();
    const int height = reference.GetHeight();
    const auto isInside = [columns = std::min(static_cast<int>(full.width), width),
                           edges = static_cast<int>(full.GetHeight())](const EdgePixel& edge) {
        return edge.column >= 0 && edge.column < columns && edge.stripeEdge >= 0 && edge.stripeEdge < edges;
    };
    const std::span levels = LxCV::ElementsOf<LxCFloat3>(reference);
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (i + kAhead < points.size() && isInside(points[i + kAhead].edge)) {
            __builtin_prefetch(&levels[PixelOf(points[i + kAhead].edge, width, height)]);
        }
        const auto& [edge, position] = points[i];
        if (!isInside(edge)) {
            continue;
        }
        const auto place =
            static_cast<std::size_t>(edge.stripeEdge) * full.width + static_cast<std::size_t>(edge.column);
        full.positions[place] = LxCFloat3(static_cast<float>(position.x), static_cast<float>(position.y),
                                          static_cast<float>(position.z));
        full.valid[place] = kValid;
        full.colours[place] = ToBytes(levels[PixelOf(edge, width, height)]);
    }
    Copy<std::uint8_t>(full.valid, full.hasNormal);
    const Planes reduced = ReducedOf(record);
    Reduce(full, isSmoothed, reduced);
    AddNormals(reduced, record);
}

} // namespace decoder
