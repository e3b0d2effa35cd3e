// Signal steps of the colour channels along the columns of an image.
#pragma once

#include "scanner/decoder/stripesignal.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace decoder {

/// Extrema of the signal's derivative, each a step of one colour channel.
class StepBatch
{
public:
    std::size_t GetCount() const { return m_count; }

    /// Row of a step in 1/64 rows; integer rows are pixel centres.
    std::int32_t PositionAt(std::size_t i) const { return m_position[i]; }

    /// Size of a step from row to row, signal units; positive and finite.
    float AmplitudeAt(std::size_t i) const { return m_centre[i]; }

    /// Column of the image, counted from the first one that is searched.
    std::size_t ColumnAt(std::size_t i) const { return m_place[i] >> kDirectionBits; }

    /// Channel and direction as `LxCV::LxCSymbol` tells them: a bit for each of the six.
    std::uint32_t SymbolAt(std::size_t i) const { return 1U << (m_place[i] & kDirectionMask); }

    /// The bits of both directions of its channel.
    std::uint32_t ChannelAt(std::size_t i) const { return 3U << (m_place[i] & kDirectionMask & ~1U); }

private:
    friend class StepFinder;
    friend struct PeakTaking;

    /// Whether a step should come before the one that is before it: they are of one column, and it lies above.
    bool IsBeforeNeighbour(std::size_t i) const;
    void MoveUp(std::size_t i);

    static constexpr std::size_t kSize = 704;
    static constexpr std::size_t kVector = 8; ///< as many values are written at once, not all of which count
    static constexpr unsigned int kDirectionBits = 3;
    static constexpr std::uint32_t kDirectionMask = (1U << kDirectionBits) - 1;
    template <typename T>
    using Values = std::array<T, kSize + kVector>;

    Values<float> m_above;         ///< difference above the step, times its sign; 0 for what is negative
    Values<float> m_centre;        ///< that at the step
    Values<float> m_below;         ///< that below the step
    Values<std::int32_t> m_row;    ///< the lower one of the two that the step is between
    Values<std::uint32_t> m_place; ///< column, and the number of the symbol's bit
    Values<std::int32_t> m_position;
    std::size_t m_count = 0;
};

/// Finds the extrema of the difference between successive rows, for some columns side by side. A difference belongs to
/// the middle between its rows.
///
/// The sub-pixel position is the vertex of a parabola through three values of the eighth root of the difference. The
/// difference across a blurred step is close to a Gaussian, whose logarithm is a parabola; the eighth root comes near
/// the logarithm, and square roots are rounded alike on every machine. Rows next to a value that is not a number give
/// no extremum. Smoothing, which knows nothing beyond the image, makes the first and the last difference a little
/// wrong: an extremum beside one of them counts only where it does not lean towards it.
///
///     finder.Start(pixels, width, first, 0, minGradient);
///     while (finder.Next()) {
///         use(finder.GetSteps());
///     }
class StepFinder
{
public:
    /// So many columns are searched at a time: their rows lie in few cache lines, and their steps in the nearer cache.
    static constexpr int kColumns = 64;

    /// Begins the search in some columns.
    /// @param pixels row by row, each of `kChannels` values in the order of `LxCV::LxCColorValueFloat::EColor`; rows
    ///        that are not whole do not count, nor those from 2^24 on. Must outlive the search
    /// @param width pixels of a row
    /// @param first the first of `kColumns` columns, or of as many as the rows have; negative or beyond them: none
    /// @param blankRows how many rows at the upper and at the lower border are not numbers; negative counts as none
    /// @param minGradient least size of a step, signal units; a negative one counts as 0
    void Start(std::span<const float> pixels, int width, int first, int blankRows, float minGradient);

    /// Finds the steps of further rows.
    /// @return false where no rows are left
    bool Next();

    /// How many columns are searched.
    int GetNumColumns() const { return static_cast<int>(m_columns); }

    /// What `Next` found: steps of all channels and columns. Those of one column come by ascending position, from one
    /// call of `Next` to the following as well.
    const StepBatch& GetSteps() const { return m_steps; }

private:
    void RemoveLeaningOutwards(std::size_t first);
    void Order();

    const float* m_pixels = nullptr; ///< of the first column
    std::size_t m_columns = 0;
    std::size_t m_stride = 0;   ///< floats of a row
    std::uint32_t m_height = 0; ///< rows
    std::uint32_t m_blankRows = 0;
    std::uint32_t m_row = 0; ///< whose difference to the one above it comes next
    float m_least = 0.0F;    ///< signal units
    StepBatch m_steps;
};

} // namespace decoder
