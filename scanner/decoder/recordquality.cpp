// Steps of the signal at the points of a record.
#include "scanner/decoder/recordquality.h"

#include "lxsscandatacct.h"
#include "scanner/decoder/stripesignal.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace decoder {

using LxCV::MultipleQualities;

float StepContrast(const StripeSignal& signal, const EdgePixel& edge)
{
    constexpr int kDistance = 2; // rows
    const auto row = static_cast<int>(std::clamp(std::round(edge.row), 0.0, signal.GetHeight() - 1.0));
    if (row < kDistance || row + kDistance >= signal.GetHeight()) {
        return 0.0F;
    }
    float contrast = 0.0F;
    for (std::size_t i = 0; i < kChannels; ++i) {
        const auto channel = static_cast<LxCV::LxCColorValueFloat::EColor>(i);
        const float step = std::abs(signal.At(channel, edge.column, row + kDistance) -
                                    signal.At(channel, edge.column, row - kDistance));
        contrast = step > contrast ? step : contrast; // what is not a number is not larger
    }
    return std::min(contrast, 1.0F);
}

void FillQualities(std::span<const MeasuredPoint> points, const StripeSignal& signal, bool isSmoothed,
                   LxCV::LxSScanDataCCT& record)
{
    if (!record.ClearQualityData()) {
        return;
    }
    const std::span<MultipleQualities> qualities = record.GetQualities();
    const int width = record.Get3DPoints()->GetWidth();
    const bool isReduced = width < record.GetFull3DPoints()->GetWidth();
    for (const MeasuredPoint& point : points) {
        const auto& [column, row, edge] = point.edge;
        const int reduced = isReduced ? column / kReduction : column;
        const bool isTaken = !isReduced || isSmoothed || column % kReduction == kReduction / 2;
        if (!isTaken || column < 0 || column >= signal.GetWidth() || reduced >= width || edge < 0 ||
            edge >= record.Get3DPoints()->GetHeight()) {
            continue;
        }
        MultipleQualities& quality =
            qualities[static_cast<std::size_t>(edge) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(reduced)];
        quality = MultipleQualities(std::min(quality.GetFloatQuality(), StepContrast(signal, point.edge)));
    }
}

} // namespace decoder
