// Found marks of the projected slide held against where they are.
#pragma once

#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/slidelocator.h"
#include "scanner/device/slidemarks.h"

#include <cstddef>
#include <span>

namespace calibration {

/// A mark farther than this from where the camera sees the corner that it is named after has a wrong name, pixels: far
/// above every error of a position, below the height of a stripe.
inline constexpr double c_markNamedWrongly = 2.0;

/// Which marks an image shows well enough that all four corners ought to be found.
struct MarkRange
{
    int width = 0;  ///< pixels, of the image
    int height = 0; ///< pixels
    int firstEdge = 0;
    int lastEdge = 0; ///< the stripe edges that the decoder names; a mark's two edges are among them

    /// Pixels. No corner is looked for nearer than 10 to the left and right border and 5 to the upper and lower one, and
    /// the rows next to those two show no stripe edges.
    double marginX = 12.0;
    double marginY = 9.0;

    /// The share of the image's width over which both stripe edges keep the upper and lower margin: shorter edges are
    /// not used.
    double leastStripe = 0.55;
};

/// What one pair of images tells. Only usable marks count as named.
struct SlideComparison
{
    BoardComparison corners; ///< visible are all corners of the marks in range
    std::size_t discarded =
        0; ///< of the visible corners, those that were found, with the right name, and discarded
};

/// Compares the marks of one pair with the truth. A mark's name stands for its position on the slide.
/// @param truth all corners, four a mark, as `device::FindMarkCorners` gives them
SlideComparison CompareWithTruth(std::span<const SlideMark> marks, std::span<const device::MarkCorner> truth,
                                 const MarkRange& range);

} // namespace calibration
