// Points, masks and colours by image column and stripe edge.
#include "scanner/decoder/scanrecord.h"

#include "lxcfloat3.h"
#include "lxcorxipalgorithm.h"
#include "lxsscandatacct.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCFloat3;

namespace {

constexpr signed char kValid = 1;
using Bgr = std::array<std::uint8_t, 3>;

std::uint8_t ToByte(float level)
{
    constexpr float kLargest = 255.0F;
    return level > 0.0F ? static_cast<std::uint8_t>(std::lround(std::min(level, kLargest))) : std::uint8_t{0};
}

/// The colour at a pixel of the image's nearest row.
Bgr ColourAt(const CCTImage& reference, const EdgePixel& edge)
{
    const int row = std::clamp(static_cast<int>(std::lround(edge.row)), 0, reference.GetHeight() - 1);
    LxCFloat3 colour;
    reference.GetPixelFast(edge.column, row, &colour);
    return {ToByte(colour.get(0)), ToByte(colour.get(1)), ToByte(colour.get(2))};
}

/// Copies the middle one of every three columns, or every one where both are as wide.
void Reduce(const CCTImage& full, CCTImage& reduced)
{
    const int step = reduced.GetWidth() == full.GetWidth() ? 1 : 3;
    for (int row = 0; row < reduced.GetHeight(); ++row) {
        for (int column = 0; column < reduced.GetWidth(); ++column) {
            std::array<std::uint8_t, sizeof(LxCFloat3)> pixel; // of the largest type
            full.GetPixelFast(step * column + step / 2, row, pixel.data());
            reduced.SetPixelFast(column, row, pixel.data());
        }
    }
}

} // namespace

void FillRecord(std::span<const MeasuredPoint> points, const CCTImage& reference,
                LxCV::LxSScanDataCCT& record)
{
    record.Clear();
    CCTImage& positions = *record.GetFull3DPoints();
    for (const MeasuredPoint& point : points) {
        const auto& [column, row, edge] = point.edge;
        if (column < 0 || column >= std::min(positions.GetWidth(), reference.GetWidth()) || edge < 0 ||
            edge >= positions.GetHeight()) {
            continue;
        }
        positions.SetFloat3PixelFast(column, edge,
                                     LxCFloat3(static_cast<float>(point.position.x),
                                               static_cast<float>(point.position.y),
                                               static_cast<float>(point.position.z)));
        record.GetFullValidMask()->SetBytePixelFast(column, edge, kValid);
        record.GetFullNormalMask()->SetBytePixelFast(column, edge, kValid);
        const Bgr colour = ColourAt(reference, point.edge);
        record.GetFullColor()->SetPixelFast(column, edge, colour.data());
    }
    Reduce(positions, *record.Get3DPoints());
    Reduce(*record.GetFullValidMask(), *record.GetValidMask());
    Reduce(*record.GetFullNormalMask(), *record.GetNormalMask());
    Reduce(*record.GetFullColor(), *record.GetColor());
    LxCV::LxCORXIPAlgorithm().ComputeNormals(&record);
}

} // namespace decoder
