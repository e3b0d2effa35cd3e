// Extrema of the difference between rows with sub-pixel positions.
#include "scanner/decoder/extrema.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace decoder {

using LxCV::LxCColorValueFloat;
using LxCV::LxCEdgePosition;
using LxCV::LxCSymbol;

namespace {

/// Rows that are looked at together.
constexpr std::size_t kBlock = 64;

/// The signs of the difference, the values and the limits are joined without branches: each is as good as random
/// along a striped column, and so the loop runs on vectors.
/// @param signal the values from the row above the first one looked at, for two more than there are flags
void MarkPeaks(const float* signal, float least, std::span<std::uint8_t> isPeak)
{
    for (std::size_t i = 0; i < isPeak.size(); ++i) {
        const float centre = signal[i + 2] - signal[i + 1];
        const float sign = std::copysign(1.0F, centre);
        const float height = sign * centre;
        const float above = sign * (signal[i + 1] - signal[i]);
        const float below = sign * (signal[i + 3] - signal[i + 2]);
        isPeak[i] =
            static_cast<std::uint8_t>(static_cast<int>(height > least) & static_cast<int>(height >= above) &
                                      static_cast<int>(height > below));
    }
}

/// How much larger the difference at an end of the signal may be than the one on the other side of an extremum. Up to
/// this the positions beside the border are as exact as elsewhere.
constexpr float kLargestEndRatio = 1.2F;

/// Whether the difference at `row` is not next to an end of the signal, or leans away from it.
bool LeansInwards(std::span<const float> signal, std::size_t row)
{
    const float above = std::abs(signal[row - 1] - signal[row - 2]);
    const float below = std::abs(signal[row + 1] - signal[row]);
    return (row != 2 || above <= kLargestEndRatio * below) &&
           (row + 2 != signal.size() || below <= kLargestEndRatio * above);
}

/// The step between `row` and the row above it.
ChannelStep MakeStep(std::span<const float> signal, std::size_t row, LxCColorValueFloat::EColor channel)
{
    constexpr unsigned int kHalfRow = 1U << (LxCEdgePosition::m_sciNrSubpixBits - 1);
    const float centre = signal[row] - signal[row - 1];
    const float sign = std::copysign(1.0F, centre);
    // The fourth value makes a full vector.
    std::array<float, 4> roots{sign * (signal[row - 1] - signal[row - 2]), sign * centre,
                               sign * (signal[row + 1] - signal[row]), 0.0F};
    for (float& root : roots) {
        root = std::sqrt(std::sqrt(std::sqrt(std::max(root, 0.0F))));
    }
    ChannelStep step{LxCEdgePosition(0), LxCSymbol(0), sign * centre};
    step.position.Encode(static_cast<int>(row), roots[0], roots[1], roots[2]);
    step.position = LxCEdgePosition(step.position.GetPixelAndSubpixelPos() - kHalfRow);
    step.symbol.Encode(channel, centre > 0.0F);
    return step;
}

} // namespace

void FindSteps(std::span<const float> signal, LxCColorValueFloat::EColor channel, float minGradient,
               std::vector<ChannelStep>& steps)
{
    const float least = std::max(minGradient, 0.0F); // a step has a height, which later is a weight
    std::array<std::uint8_t, kBlock> flags;
    for (std::size_t first = 2; first + 1 < signal.size(); first += kBlock) {
        const std::span isPeak = std::span(flags).first(std::min(kBlock, signal.size() - 1 - first));
        MarkPeaks(&signal[first - 2], least, isPeak);
        for (std::size_t i = 0; i < isPeak.size(); ++i) {
            if (isPeak[i] != 0 && LeansInwards(signal, first + i)) {
                steps.push_back(MakeStep(signal, first + i, channel));
            }
        }
    }
}

} // namespace decoder
