// Gradient images, edge images and their thresholds, for edges of calibration targets.
#pragma once

#include "cctimage.h"
#include "lxcroi.h"
#include "orx/base/export.h"

#include <cstddef>
#include <vector>

namespace LxCV {

/// The horizontal gradient sum: 1.5 * (first channel of the pixel before - that of the pixel behind) along the row, so
/// that a positive value is a step from bright to dark. Deliberately only the first channel counts. Columns 0, 1,
/// width - 2 and width - 1 become 0, in every row.
/// @param source `eIDT_FLOAT32_3`
/// @param target `eIDT_FLOAT32` of the same size; outside the region it stays as it is
/// @param region the pixels to compute; null for the whole image
/// @return false for other types, different sizes and images without pixels; then nothing is written
ORX_EXPORT bool ComputeSobelSumHor(const CCTImage& source, CCTImage& target, const LxCRoi* region);

/// The same along the column. Deliberately nothing becomes 0: the first and the last row stay as they are.
ORX_EXPORT bool ComputeSobelSumVer(const CCTImage& source, CCTImage& target, const LxCRoi* region);

/// Where a gradient has to exceed which limits to be an extremum.
struct SExtremumThresholds
{
    std::vector<LxCRoi> regions;
    std::vector<int> minLocal; ///< of each region, for the extremum's own gradient
    std::vector<int> minTotal; ///< of each region, for the sum of the gradients at three neighbours
};

/// Writes the extrema of the horizontal gradient along each row to an edge image, as `LxCCalibEdge` words. A maximum,
/// where bright turns dark, exceeds a threshold and is nowhere exceeded among two pixels before, and nowhere reached
/// among two pixels behind; a minimum mirrors that. Its sub-pixel position is the vertex of the parabola through three
/// gradients; where that lies before the pixel, the word stands one pixel earlier with the fraction from there.
///
/// The thresholds of a pixel are those of the first region that holds it. Deliberately, a pixel in none of them takes
/// those of the pixel scanned before it; before any region was met, those of the first region. At last a frame of `border` + 2
/// pixels inside the border is cleared, where extrema have no full neighbourhood.
/// @param gradient `eIDT_FLOAT32`
/// @param edges    `eIDT_INT32` of the same size; words that no extremum and no frame overwrites stay
/// @param border   pixels that are left out at each side; 0 or more
/// @param range    bits of the sub-pixel fraction, 0 to 30
/// @return false for other types, different sizes, images without pixels and other arguments; then nothing is written
ORX_EXPORT bool NonLocExtSuppHor(const CCTImage& gradient, CCTImage& edges,
                                 const SExtremumThresholds& thresholds, int border, int range);

/// The same of the vertical gradient along each column, columns from left to right.
ORX_EXPORT bool NonLocExtSuppVer(const CCTImage& gradient, CCTImage& edges,
                                 const SExtremumThresholds& thresholds, int border, int range);

/// Deletes the entries of horizontal edges where the gradient of the image does not run vertically: the angle of the
/// differences of the next and the previous pixel, means of three channels, is less than 45 degrees off the x axis.
/// Entries in the outermost rows and columns stay. See `CalibEdgeKernels::IsNearXAxis` for what counts on the diagonal.
/// @param image `eIDT_FLOAT32_3`
/// @param edges `eIDT_INT32` of the same size
/// @return false for other types, different sizes and images without pixels; then nothing is written
ORX_EXPORT bool CheckGradientOfHorEdges(const CCTImage& image, CCTImage& edges);

/// Deletes the entries of vertical edges where the gradient runs less than 45 degrees off the y axis.
ORX_EXPORT bool CheckGradientOfVerEdges(const CCTImage& image, CCTImage& edges);

/// How thresholds follow from the strongest values of a region: the mean of the values with these ranks in descending
/// order, 0 being the largest, times the factor.
struct SRankRule
{
    std::size_t firstRank;
    std::size_t endRank;
    double factor;
};

/// Thresholds of each region from what lies at least 75 pixels inside it, and which the image holds together with the
/// rows above and below: local ones from the amounts |g(x, y)|, total ones from |g(x, y - 1)| + |g(x, y)| +
/// |g(x, y + 1)|, each truncated. Of an image with three channels all values count, sums being taken channel by channel.
/// @param image `eIDT_FLOAT32` or `eIDT_FLOAT32_3`
/// @param minLocal, minTotal replaced; one threshold a region
/// @return false, with nothing written, for other types, and if any region has too few values
ORX_EXPORT bool ThresholdsOfRegions(const CCTImage& image, const std::vector<LxCRoi>& regions,
                                    const SRankRule& rule, std::vector<int>& minLocal,
                                    std::vector<int>& minTotal);

/// Thresholds for the four quarters of a gradient image, upper left, lower left, upper right, lower right: 0.4 times
/// the mean of the ranks 100 to 299.
/// @param gradient `eIDT_FLOAT32`
/// @param thresholds replaced
/// @return false, with nothing written, for other types, and where an image is so small that a quarter has fewer than
///         300 values; at most 300 pixels of width or height are too few in any case
ORX_EXPORT bool DecideForBestSettings(const CCTImage& gradient, SExtremumThresholds& thresholds);

} // namespace LxCV
