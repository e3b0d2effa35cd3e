// Points, masks and colours by image column and stripe edge.
#include "scanner/decoder/scanrecord.h"

#include "lxcfloat3.h"
#include "lxcorxipalgorithm.h"
#include "lxsscandatacct.h"
#include "pixelelements.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCFloat3;

namespace {

constexpr std::uint8_t kValid = 1;
using Bgr = std::array<std::uint8_t, 3>;

std::uint8_t ToByte(float level)
{
    constexpr float kLargest = 255.0F;
    return level > 0.0F ? static_cast<std::uint8_t>(std::min(level, kLargest) + 0.5F) : std::uint8_t{0};
}

/// The colour at a pixel of the image's nearest row.
Bgr ColourAt(std::span<const LxCFloat3> colours, int width, int height, const EdgePixel& edge)
{
    // Halves up, as far as the image reaches.
    const int row = static_cast<int>(std::clamp(edge.row + 0.5, 0.0, static_cast<double>(height - 1)));
    const LxCFloat3& colour = colours[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                                      static_cast<std::size_t>(edge.column)];
    return {ToByte(colour.get(0)), ToByte(colour.get(1)), ToByte(colour.get(2))};
}

/// Copies the middle one of every three columns, or every one where both are as wide.
template <typename Pixel>
void Reduce(const CCTImage& full, CCTImage& reduced)
{
    if (reduced.GetWidth() == full.GetWidth()) {
        std::ranges::copy(LxCV::ElementsOf<Pixel>(full), LxCV::ElementsOf<Pixel>(reduced).begin());
        return;
    }
    constexpr std::size_t kStep = 3;
    const auto width = static_cast<std::size_t>(reduced.GetWidth());
    const std::span<const Pixel> from = LxCV::ElementsOf<Pixel>(full).subspan(kStep / 2);
    const std::span<Pixel> to = LxCV::ElementsOf<Pixel>(reduced);
    for (std::size_t row = 0; row < static_cast<std::size_t>(reduced.GetHeight()); ++row) {
        const std::size_t first = row * static_cast<std::size_t>(full.GetWidth());
        for (std::size_t column = 0; column < width; ++column) {
            to[row * width + column] = from[first + kStep * column];
        }
    }
}

} // namespace

void FillRecord(std::span<const MeasuredPoint> points, const CCTImage& reference,
                LxCV::LxSScanDataCCT& record)
{
    record.Clear();
    CCTImage& positions = *record.GetFull3DPoints();
    const int width = positions.GetWidth();
    const std::span places = LxCV::ElementsOf<LxCFloat3>(positions);
    const std::span valid = LxCV::ElementsOf<std::uint8_t>(*record.GetFullValidMask());
    const std::span hasNormal = LxCV::ElementsOf<std::uint8_t>(*record.GetFullNormalMask());
    const std::span colours = LxCV::ElementsOf<Bgr>(*record.GetFullColor());
    const std::span levels = LxCV::ElementsOf<LxCFloat3>(reference);
    for (const MeasuredPoint& point : points) {
        const auto& [column, row, edge] = point.edge;
        if (column < 0 || column >= std::min(width, reference.GetWidth()) || edge < 0 ||
            edge >= positions.GetHeight()) {
            continue;
        }
        const auto place = static_cast<std::size_t>(edge) * static_cast<std::size_t>(width) +
                           static_cast<std::size_t>(column);
        places[place] = LxCFloat3(static_cast<float>(point.position.x), static_cast<float>(point.position.y),
                                  static_cast<float>(point.position.z));
        valid[place] = kValid;
        hasNormal[place] = kValid;
        colours[place] = ColourAt(levels, reference.GetWidth(), reference.GetHeight(), point.edge);
    }
    Reduce<LxCFloat3>(positions, *record.Get3DPoints());
    Reduce<std::uint8_t>(*record.GetFullValidMask(), *record.GetValidMask());
    Reduce<std::uint8_t>(*record.GetFullNormalMask(), *record.GetNormalMask());
    Reduce<Bgr>(*record.GetFullColor(), *record.GetColor());
    LxCV::LxCORXIPAlgorithm().ComputeNormals(&record);
}

} // namespace decoder
