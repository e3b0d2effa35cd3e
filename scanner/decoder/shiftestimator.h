// How far the camera moved between two images.
#pragma once

#include "cctimage.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace decoder {

/// A motion of a whole image, pixels: what one image shows at (column, row) the other one shows at
/// (column + columns, row + rows).
struct ImageShift
{
    int columns = 0;
    int rows = 0;

    bool operator==(const ImageShift&) const = default;
};

/// Tells how far a scene lies in the pattern image from where it lies in the reference image.
///
/// The stripes, which only one of the images has, run along the rows. So the images are compared by their relative slopes
/// along the rows, (right - left) / (right + left) of two means of four pixels: within a stripe they are those of the
/// scene alone. Differences are cut off at a limit, so that the ends of stripes on inclined surfaces count little. The
/// shift with the least sum of differences is taken, unless it is hardly better than none: the gain over no shift must be
/// many times its standard error. So a scene without texture is not shifted.
///
/// Costs are sums of integers, the same on every machine.
class ShiftEstimator
{
public:
    /// @param largestShift pixels along either axis; as many at the border of the pattern image are not looked at.
    ///        Negative is 0
    /// @param isPyramid whether the search goes from rows of the reference image that are joined by four to single ones;
    ///        else each shift within the limit is tried, which takes a time that grows with its square
    ShiftEstimator(int largestShift, bool isPyramid) : m_largest(largestShift), m_isPyramid(isPyramid) {}

    /// Makes the working buffers for images of so many pixels.
    /// @throws std::bad_alloc
    void Init(int width, int height);

    /// From the reference to the pattern image; none in images that are too small.
    /// @param reference, pattern type FLOAT32_3, of one size, any values
    ImageShift Estimate(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern);

private:
    using Slopes = std::vector<std::int16_t>;

    bool IsLargeEnough() const;
    void TakeReference(const float* image);
    void TakePattern(const float* image);
    int FirstCell() const;

    /// Rows of slopes that belong together by a shift, of equal lengths.
    struct Rows
    {
        std::span<const std::int16_t> pattern;
        std::span<const std::int16_t> reference;
    };

    Rows RowsOf(std::int64_t row, ImageShift shift, bool isCoarse) const;
    std::int64_t CostOf(ImageShift shift, bool isCoarse = false) const;
    bool IsClearlyBetter(ImageShift shift) const;
    ImageShift SearchGrid(int step, bool isCoarse) const;
    ImageShift SearchAround(ImageShift start) const;

    int m_largest;
    bool m_isPyramid;
    int m_width = 0;
    int m_height = 0;
    int m_cells = 0;             ///< of four pixels in a row
    std::vector<float> m_levels; ///< of a row's pixels, the sum of the channels
    std::vector<float> m_means;  ///< of a row
    std::vector<float> m_joined; ///< of four rows
    Slopes m_reference;          ///< by row and cell
    Slopes m_coarse;             ///< by four rows and cell
    Slopes m_pattern;            ///< by sampled row, column modulo four, and cell
};

} // namespace decoder
