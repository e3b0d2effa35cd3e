// Gradients, extrema and thresholds on rows of pixels, for edges of calibration targets.
#pragma once

#include "orx/base/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace LxCV::CalibEdgeKernels {

// Results are the same bit for bit whatever vectors the processor has. Of spans of different lengths the shortest
// rules.

/// target[i] = ((before - after) * 3) * 0.5 of the first channels of pixel i of two rows of three-channel pixels: the
/// gradient with the kernel (1, 0, -1), positive from bright to dark. Deliberately the other two channels do not count.
ORX_EXPORT void GradientOfFirstChannel(std::span<const float> before, std::span<const float> after,
                                       std::span<float> target);

/// What `FindExtrema` finds at a pixel.
inline constexpr std::uint8_t c_uiNoExtremum = 0;
inline constexpr std::uint8_t c_uiMaximum = 1;
inline constexpr std::uint8_t c_uiMinimum = 2;

/// Five gradient values around each pixel along the scan direction: the pixel's own is number 2.
using GradientWindow = std::array<std::span<const float>, 5>;

/// Marks the pixels whose gradient g2 is an extremum of its window g0 ... g4, with S = g1 + g2 + g3 and limits L, T:
///
///     maximum   (g2 > L or S > T)   and g2 >= g0, g2 >= g1, g2 > g3, g2 > g4
///     minimum   (g2 < -L or S < -T) and g2 <= g0, g2 <= g1, g2 < g3, g2 < g4
///
/// So of a plateau the last pixel counts. What is not a number is no extremum.
/// @param local, total the limits L and T of each pixel
ORX_EXPORT void FindExtrema(const GradientWindow& gradient, std::span<const float> local,
                            std::span<const float> total, std::span<std::uint8_t> extrema);

/// Index of the first element from `from` on that is not zero; the size of the span if there is none.
ORX_EXPORT std::size_t FindNonZero(std::span<const std::uint8_t> values, std::size_t from);
ORX_EXPORT std::size_t FindNonZero(std::span<const std::int32_t> values, std::size_t from);

/// Index of the first element from `from` on where both rows have any of the bits `mask`; the size of the shorter row
/// if there is none.
ORX_EXPORT std::size_t FindCommonBits(std::span<const std::int32_t> a, std::span<const std::int32_t> b,
                                      std::int32_t mask, std::size_t from);

/// Whether the angle of the direction (dx, dy), rounded to single precision, lies strictly within a quarter turn
/// around the x axis: |angle| < 0.7853982 or |angle| > 2.3561945. Exact diagonals are not, nor is what is not a
/// number; the zero vector is.
ORX_EXPORT bool IsNearXAxis(float dx, float dy);

/// Whether it lies strictly within a quarter turn around the y axis: 0.7853982 < |angle| < 2.3561945.
ORX_EXPORT bool IsNearYAxis(float dx, float dy);

/// Writes |b[i]|, and |a[i]| + |b[i]| + |c[i]| in this order: a row of gradients alone and together with the rows above
/// and below.
ORX_EXPORT void GradientAmounts(std::span<const float> a, std::span<const float> b, std::span<const float> c,
                                std::span<float> alone, std::span<float> together);

/// The largest of the values that it is given, without ordering or keeping all of them. Values that are not a number
/// do not count.
class ORX_EXPORT CLargestValues
{
public:
    explicit CLargestValues(std::size_t howMany);

    void Add(std::span<const float> values);

    /// The mean of the values of ranks `first` to `end` - 1, counted from 0 for the largest one. They are added in
    /// descending order in double precision, so that the result does not depend on the order in which they came.
    /// @return false, with `mean` untouched, if there are fewer values, or `end` exceeds what is kept
    bool GetMeanOfRanks(std::size_t first, std::size_t end, double& mean) const;

private:
    void AddOne(float value);
    void DropSmallest();

    std::size_t m_uiHowMany;
    std::vector<float> m_vfValues; ///< the largest ones and some more, in any order
    /// What is not above this is not among the largest.
    float m_fLimit = -std::numeric_limits<float>::infinity();
    bool m_bFull = false; ///< whether values were dropped, so that the limit holds
};

} // namespace LxCV::CalibEdgeKernels
