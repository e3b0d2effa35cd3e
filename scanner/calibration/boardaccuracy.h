// Found corners of a calibration target held against where they are.
#pragma once

#include "scanner/calibration/boardmark.h"
#include "scanner/device/checkerboard.h"

#include <cstddef>
#include <span>
#include <vector>

namespace calibration {

/// A mark farther than this from where the camera sees the corner that it is named after has a wrong name, pixels:
/// far above every error of a position, far below a square's side.
inline constexpr double c_namedWrongly = 5.0;

/// What one image tells. Only usable marks with an id count as named.
struct BoardComparison
{
    std::vector<device::Vec2> errors; ///< pixels, found minus true position, of the marks with the right name
    std::size_t wrong = 0;            ///< marks with a wrong name, and those with the name of another mark
    std::size_t visible = 0;          ///< corners that the image shows
    std::size_t visibleNamed = 0;     ///< of them, those that a mark with the right name was found of
};

/// Compares the marks of one image with the truth. A mark's name stands for its world coordinates: the true corner with
/// these is the one that was found.
///
/// A corner is visible if all four corners of its square have margin <= x <= width - margin, likewise in y: marks
/// outside that are not used for calibration, and of a square that reaches out of it an edge may be missing.
/// @param truth all corners of the board, four a square in the order of `ECorner`
/// @param width,height,margin pixels
BoardComparison CompareWithTruth(std::span<const BoardMark> marks,
                                 std::span<const device::TargetCorner> truth, int width, int height,
                                 double margin);

/// Figures over many images. Errors are distances in pixels between found and true position, those of wrong names left
/// out; all are 0 without any.
struct BoardAccuracy
{
    std::size_t images = 0;
    std::size_t failed =
        0; ///< images in which the target was not identified; their corners are visible, not named
    std::size_t named = 0; ///< marks with the right name
    std::size_t wrong = 0; ///< marks with a wrong name
    std::size_t visible = 0;
    std::size_t visibleNamed = 0;
    double mean = 0.0;
    double p95 = 0.0; ///< 95 percent of the errors lie at or below it
    double p99 = 0.0;
    double largest = 0.0;
    device::Vec2 bias; ///< mean of the errors with their sign

    /// Share of the visible corners that were named; 1 where none is visible.
    double NamedShare() const;
};

class BoardStatistics
{
public:
    /// @param identified whether the target was; else the image counts as failed
    void Add(const BoardComparison& image, bool identified);

    BoardAccuracy Summarise() const;

private:
    BoardAccuracy m_counts;
    std::vector<double> m_distances;
    device::Vec2 m_sum;
};

} // namespace calibration
