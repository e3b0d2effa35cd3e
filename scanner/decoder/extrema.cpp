// Extrema of the difference between rows with sub-pixel positions.
#include "scanner/decoder/extrema.h"

#include "scanner/decoder/flags.h"
#include "vectorunits.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace decoder {

using LxCV::LxCColorValueFloat;
using LxCV::LxCEdgePosition;
using LxCV::LxCSymbol;

namespace {

/// Marks where the difference between the middle two of four rows is an extremum. The signs of the difference, the values
/// and the limits are joined without branches: each is as good as random along a striped column, and so the loop runs
/// on vectors.
[[gnu::always_inline]] inline void MarkPeaksIn(const float* row, std::size_t stride, float least,
                                               std::size_t lanes, std::uint8_t* isPeak)
{
    for (std::size_t i = 0; i < lanes; ++i) {
        const float centre = row[2 * stride + i] - row[stride + i];
        const float sign = std::copysign(1.0F, centre);
        const float height = sign * centre;
        const float above = sign * (row[stride + i] - row[i]);
        const float below = sign * (row[3 * stride + i] - row[2 * stride + i]);
        isPeak[i] = static_cast<std::uint8_t>(static_cast<std::int32_t>(height > least) &
                                              static_cast<std::int32_t>(height >= above) &
                                              static_cast<std::int32_t>(height > below));
    }
}

void MarkPeaksBasic(const float* row, std::size_t stride, float least, std::size_t lanes,
                    std::uint8_t* isPeak)
{
    MarkPeaksIn(row, stride, least, lanes, isPeak);
}

/// What keeps a flat top from dividing by 0; of the middle root, far below what noise makes of a curvature.
constexpr float kLeastCurvature = 1e-6F;

/// 0 of what is not above 0. Differences count as the largest float at most, so that vertices are finite.
[[gnu::always_inline]] inline float EighthRoot(float value)
{
    constexpr float kMost = std::numeric_limits<float>::max();
    const float positive = value > 0.0F ? value : 0.0F;
    return std::sqrt(std::sqrt(std::sqrt(positive < kMost ? positive : kMost)));
}

/// The vertices of parabolas through the eighth roots of three differences each, in 1/64 rows below the row above the
/// middle one; rounded.
[[gnu::always_inline]] inline void FindVerticesOf(const float* aboves, const float* centres,
                                                  const float* belows, std::size_t count,
                                                  std::int32_t* vertices)
{
    constexpr float kFactor = LxCEdgePosition::m_scfSubpixFactor;
    for (std::size_t i = 0; i < count; ++i) {
        const float above = EighthRoot(aboves[i]);
        const float centre = EighthRoot(centres[i]);
        const float below = EighthRoot(belows[i]);
        // Below 0 also where the roots round to one number. The vertex lies within half a row.
        const float curvature = above + below - (centre + centre) - kLeastCurvature * centre;
        const float vertex = (above - below) / curvature * 0.5F;
        vertices[i] = static_cast<std::int32_t>(vertex * kFactor + (kFactor + 0.5F));
    }
}

void FindVerticesBasic(const float* above, const float* centre, const float* below, std::size_t count,
                       std::int32_t* vertices)
{
    FindVerticesOf(above, centre, below, count, vertices);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void MarkPeaksWide(const float* row, std::size_t stride, float least,
                                           std::size_t lanes, std::uint8_t* isPeak)
{
    MarkPeaksIn(row, stride, least, lanes, isPeak);
}

[[gnu::target("avx2")]] void FindVerticesWide(const float* above, const float* centre, const float* below,
                                              std::size_t count, std::int32_t* vertices)
{
    FindVerticesOf(above, centre, below, count, vertices);
}
#else
constexpr auto MarkPeaksWide = MarkPeaksBasic;
constexpr auto FindVerticesWide = FindVerticesBasic;
#endif

/// How much larger the difference at an end of the signal may be than the one on the other side of an extremum. Up to
/// this the positions beside the border are as exact as elsewhere.
constexpr float kLargestEndRatio = 1.2F;

/// Whether an extremum is not next to an end of the column, or leans away from it.
bool LeansInwards(float above, float below, std::uint32_t row, std::uint32_t height)
{
    return (row != 2 || std::abs(above) <= kLargestEndRatio * std::abs(below)) &&
           (row + 2 != height || std::abs(below) <= kLargestEndRatio * std::abs(above));
}

/// A vertex about a row's difference, which belongs to the middle between the row and the one above it.
LxCEdgePosition PositionOf(std::uint32_t row, std::int32_t vertex)
{
    constexpr std::int64_t kOneAndAHalf = 3 << (LxCEdgePosition::m_sciNrSubpixBits - 1);
    return LxCEdgePosition(static_cast<std::uint32_t>(
        (std::int64_t{row} << LxCEdgePosition::m_sciNrSubpixBits) + vertex - kOneAndAHalf));
}

LxCSymbol SymbolOf(std::size_t channel, bool isRising)
{
    LxCSymbol symbol(0);
    symbol.Encode(static_cast<LxCColorValueFloat::EColor>(channel), isRising);
    return symbol;
}

} // namespace

void StepFinder::Init(int height)
{
    // Each difference of each channel may be an extremum, of one sign after the other.
    m_room = kChannels * static_cast<std::size_t>(std::max(height, 0));
    m_steps.resize(std::max(m_steps.size(), m_room * kColumns));
}

void StepFinder::Find(std::span<const float> pixels, int width, int first, float minGradient)
{
    m_columns = std::clamp(width - std::max(first, 0), 0, first < 0 ? 0 : kColumns);
    m_counts.fill(0);
    if (m_columns == 0) {
        return;
    }
    const std::size_t stride = kChannels * static_cast<std::size_t>(width);
    const auto height = static_cast<std::uint32_t>(pixels.size() / stride);
    Init(static_cast<int>(height));
    const float least = std::max(minGradient, 0.0F); // a step has a height, which later is a weight
    const bool isWide = LxCV::VectorUnits::AreWide();
    const auto markPeaks = isWide ? MarkPeaksWide : MarkPeaksBasic;
    std::array<std::uint8_t, kLanes> isPeak{};
    for (std::uint32_t row = 2; row + 1 < height; ++row) {
        const float* const from = &pixels[(row - 2) * stride + kChannels * static_cast<std::size_t>(first)];
        markPeaks(from, stride, least, kChannels * static_cast<std::size_t>(m_columns), isPeak.data());
        TakePeaks(from + stride, stride, row, height, isPeak);
    }
    Flush();
}

/// Adds the extrema of a row to the batch.
void StepFinder::TakePeaks(const float* rowAbove, std::size_t stride, std::uint32_t row, std::uint32_t height,
                           std::span<const std::uint8_t, kLanes> isPeak)
{
    if (m_batch.count + kLanes > kBatch) {
        Flush();
    }
    const bool isAtEnd = row == 2 || row + 2 == height;
    std::size_t count = m_batch.count;
    ForEachFlag(isPeak, [&](std::size_t lane) {
        const float* const value = rowAbove + lane;
        const float difference = value[stride] - value[0];
        const float sign = std::copysign(1.0F, difference);
        const float above = sign * (value[0] - *(value - stride));
        const float below = sign * (value[2 * stride] - value[stride]);
        m_batch.above[count] = above;
        m_batch.centre[count] = sign * difference;
        m_batch.below[count] = below;
        m_batch.row[count] = row;
        m_batch.lane[count] = static_cast<std::uint16_t>(lane);
        m_batch.isRising[count] = difference > 0.0F;
        count += !isAtEnd || LeansInwards(above, below, row, height) ? 1 : 0;
    });
    m_batch.count = count;
}

/// Makes steps of the batch.
void StepFinder::Flush()
{
    std::array<std::int32_t, kBatch> vertices;
    const auto findVertices = LxCV::VectorUnits::AreWide() ? FindVerticesWide : FindVerticesBasic;
    findVertices(m_batch.above.data(), m_batch.centre.data(), m_batch.below.data(), m_batch.count,
                 vertices.data());
    static const std::array<std::array<LxCSymbol, 2>, kChannels> symbols{
        {{SymbolOf(0, false), SymbolOf(0, true)},
         {SymbolOf(1, false), SymbolOf(1, true)},
         {SymbolOf(2, false), SymbolOf(2, true)}}};
    for (std::size_t i = 0; i < m_batch.count; ++i) {
        const std::size_t lane = m_batch.lane[i];
        Append(lane / kChannels, {PositionOf(m_batch.row[i], vertices[i]), m_batch.centre[i],
                                  symbols[lane % kChannels][m_batch.isRising[i] ? 1 : 0]});
    }
    m_batch.count = 0;
}

/// Steps come by ascending row; those of one row, which lie within one row's height, are brought into order.
void StepFinder::Append(std::size_t column, const ChannelStep& step)
{
    ChannelStep* const begin = &m_steps[column * m_room];
    std::size_t at = m_counts[column]++;
    for (; at > 0 && step.position.IsSmallerThan(begin[at - 1].position); --at) {
        begin[at] = begin[at - 1];
    }
    begin[at] = step;
}

std::span<const ChannelStep> StepFinder::StepsOf(int column) const
{
    if (column < 0 || column >= m_columns) {
        throw std::out_of_range("no steps were searched in this column");
    }
    const auto index = static_cast<std::size_t>(column);
    return std::span(m_steps).subspan(index * m_room, m_counts[index]);
}

} // namespace decoder
