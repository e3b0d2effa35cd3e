// Signal steps of the colour channels along the columns of an image.
#pragma once

#include "lxcedgeposition.h"
#include "lxcsymbol.h"
#include "scanner/decoder/stripesignal.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace decoder {

/// One extremum of the signal's derivative: a step of one colour channel.
struct ChannelStep
{
    LxCV::LxCEdgePosition position; ///< row of the step, in 1/64 rows; integer rows are pixel centres
    float amplitude;                ///< size of the step from row to row, signal units; positive
    LxCV::LxCSymbol symbol;         ///< channel and direction
};

/// Finds the extrema of the difference between successive rows, for some columns side by side. A difference belongs to
/// the middle between its rows.
///
/// The sub-pixel position is the vertex of a parabola through three values of the eighth root of the
/// difference. The difference across a blurred step is close to a Gaussian, whose logarithm is a parabola; the
/// eighth root comes near the logarithm, and square roots are rounded alike on every machine. Rows next to a
/// value that is not a number give no extremum. Smoothing, which knows nothing beyond the image, makes the first and
/// the last difference a little wrong: an extremum beside one of them counts only where it does not lean towards it.
class StepFinder
{
public:
    /// So many columns are searched at a time: their rows lie in few cache lines, and their steps in the nearer cache.
    static constexpr int kColumns = 64;

    /// Makes the working buffers for columns of so many rows.
    void Init(int height);

    /// @param pixels row by row, each of `kChannels` values in the order of `LxCV::LxCColorValueFloat::EColor`;
    ///        rows that are not whole do not count
    /// @param width pixels of a row
    /// @param first the first of `kColumns` columns, or of as many as the rows have; negative or beyond them: none
    /// @param minGradient least size of a step, signal units; a negative one counts as 0
    void Find(std::span<const float> pixels, int width, int first, float minGradient);

    /// How many columns were searched.
    int GetNumColumns() const { return m_columns; }

    /// The steps of all channels in a column, counted from the first one searched, by ascending position.
    /// @throws std::out_of_range for a column that was not searched
    std::span<const ChannelStep> StepsOf(int column) const;

private:
    static constexpr std::size_t kLanes = kChannels * static_cast<std::size_t>(kColumns);
    static constexpr std::size_t kBatch = 704; ///< extrema whose positions are found together

    /// The differences above, at and below some extrema, each times the sign of the one at it.
    struct Batch
    {
        std::array<float, kBatch> above;
        std::array<float, kBatch> centre;
        std::array<float, kBatch> below;
        std::array<std::uint32_t, kBatch> row;
        std::array<std::uint16_t, kBatch> lane;
        std::array<bool, kBatch> isRising;
        std::size_t count = 0;
    };

    void TakePeaks(const float* rowAbove, std::size_t stride, std::uint32_t row, std::uint32_t height,
                   std::span<const std::uint8_t, kLanes> isPeak);
    void Flush();
    void Append(std::size_t column, const ChannelStep& step);

    int m_columns = 0;
    std::size_t m_room = 0;           ///< steps that a column can have
    std::vector<ChannelStep> m_steps; ///< column after column
    std::array<std::size_t, kColumns> m_counts{};
    Batch m_batch;
};

} // namespace decoder
