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

/// The differences above, at and below some extrema, each times the sign of the one at it.
struct Peaks
{
    std::array<float, kBlock> above;
    std::array<float, kBlock> centre;
    std::array<float, kBlock> below;
};

/// The signs of the difference, the values and the limits are joined without branches: each is as good as random
/// along a striped column, and so the loop runs on vectors.
/// @param signal the values from the row above the first one looked at, for two more than there are flags
void MarkPeaks(const float* signal, float least, std::span<std::int32_t> isPeak)
{
    for (std::size_t i = 0; i < isPeak.size(); ++i) {
        const float centre = signal[i + 2] - signal[i + 1];
        const float sign = std::copysign(1.0F, centre);
        const float height = sign * centre;
        const float above = sign * (signal[i + 1] - signal[i]);
        const float below = sign * (signal[i + 3] - signal[i + 2]);
        isPeak[i] = static_cast<std::int32_t>(height > least) & static_cast<std::int32_t>(height >= above) &
                    static_cast<std::int32_t>(height > below);
    }
}

/// Writes the indices of the flags that are set, and as many others behind them.
/// @return how many are set
std::size_t ListPeaks(std::span<const std::int32_t> isPeak, std::span<std::uint32_t, kBlock> indices)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < isPeak.size(); ++i) {
        indices[count] = static_cast<std::uint32_t>(i);
        count += static_cast<std::size_t>(isPeak[i]);
    }
    return count;
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

/// What keeps a flat top from dividing by 0; of the middle root, far below what noise makes of a curvature.
constexpr float kLeastCurvature = 1e-6F;

/// The vertices of parabolas through the eighth roots of three differences each, in 1/64 rows below the row above the
/// middle one; rounded.
void FindVertices(const Peaks& peaks, std::size_t count, std::span<std::int32_t, kBlock> vertices)
{
    constexpr float kFactor = LxCEdgePosition::m_scfSubpixFactor;
    // The sum is twice a positive value and 0 for a negative one, without a branch, so that the loop runs on vectors.
    const auto eighthRoot = [](float value) {
        return std::sqrt(std::sqrt(std::sqrt((value + std::abs(value)) * 0.5F)));
    };
    for (std::size_t i = 0; i < count; ++i) {
        const float above = eighthRoot(peaks.above[i]);
        const float centre = eighthRoot(peaks.centre[i]);
        const float below = eighthRoot(peaks.below[i]);
        // Below 0 also where the roots round to one number. The vertex lies within half a row.
        const float curvature = above + below - (centre + centre) - kLeastCurvature * centre;
        const float vertex = (above - below) / curvature * 0.5F;
        vertices[i] = static_cast<std::int32_t>(vertex * kFactor + (kFactor + 0.5F));
    }
}

/// A vertex about a row's difference, which belongs to the middle between the row and the one above it.
std::uint32_t PositionOf(std::size_t row, std::int32_t vertex)
{
    constexpr std::int64_t kOneAndAHalf = 3 << (LxCEdgePosition::m_sciNrSubpixBits - 1);
    return static_cast<std::uint32_t>((static_cast<std::int64_t>(row) << LxCEdgePosition::m_sciNrSubpixBits) +
                                      vertex - kOneAndAHalf);
}

} // namespace

void FindSteps(std::span<const float> signal, LxCColorValueFloat::EColor channel, float minGradient,
               std::vector<ChannelStep>& steps)
{
    const float least = std::max(minGradient, 0.0F); // a step has a height, which later is a weight
    std::array<std::int32_t, kBlock> flags;
    std::array<std::uint32_t, kBlock> rows;
    std::array<std::int32_t, kBlock> vertices;
    Peaks peaks{};
    for (std::size_t first = 2; first + 1 < signal.size(); first += kBlock) {
        const std::span isPeak = std::span(flags).first(std::min(kBlock, signal.size() - 1 - first));
        MarkPeaks(&signal[first - 2], least, isPeak);
        const std::size_t count = ListPeaks(isPeak, rows);
        for (std::size_t i = 0; i < count; ++i) {
            const float* const value = &signal[first + rows[i]];
            const float sign = std::copysign(1.0F, value[0] - value[-1]);
            peaks.above[i] = sign * (value[-1] - value[-2]);
            peaks.centre[i] = sign * (value[0] - value[-1]);
            peaks.below[i] = sign * (value[1] - value[0]);
        }
        FindVertices(peaks, count, vertices);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t row = first + rows[i];
            if (LeansInwards(signal, row)) {
                ChannelStep step{LxCEdgePosition(PositionOf(row, vertices[i])), LxCSymbol(0),
                                 peaks.centre[i]};
                step.symbol.Encode(channel, signal[row] > signal[row - 1]);
                steps.push_back(step);
            }
        }
    }
}

} // namespace decoder
