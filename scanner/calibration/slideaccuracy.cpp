#include "scanner/calibration/slideaccuracy.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace calibration {

namespace {

constexpr std::size_t c_cornersOfMark = 4;

using Corners = std::span<const device::MarkCorner>;

/// Where the image shows a stripe edge: the line through two corners on it.
struct EdgeLine
{
    EdgeLine(const device::Vec2& a, const device::Vec2& b)
        : slope((b.y - a.y) / (b.x - a.x)), offset(a.y - slope * a.x)
    {}

    /// For how many pixels of the image's width the edge keeps the margin.
    double Visible(const MarkRange& range) const
    {
        const double width = range.width - 1.0;
        const double low = range.marginY, high = range.height - 1.0 - range.marginY;
        if (slope == 0.0) {
            return offset >= low && offset <= high ? width : 0.0;
        }
        const double atLow = (low - offset) / slope, atHigh = (high - offset) / slope;
        const double first = std::min(atLow, atHigh), last = std::max(atLow, atHigh);
        return std::max(0.0, std::min(last, width) - std::max(first, 0.0));
    }

    double slope;
    double offset;
};

/// For each corner whether its mark is in range.
std::vector<bool> FindInRange(Corners truth, const MarkRange& range)
{
    const auto isInside = [&](const device::MarkCorner& corner) {
        return corner.visible && corner.image.x >= range.marginX && corner.image.y >= range.marginY &&
               corner.image.x <= range.width - 1.0 - range.marginX &&
               corner.image.y <= range.height - 1.0 - range.marginY;
    };
    std::vector<bool> inRange(truth.size(), false);
    for (std::size_t first = 0; first + c_cornersOfMark <= truth.size(); first += c_cornersOfMark) {
        const Corners mark = truth.subspan(first, c_cornersOfMark);
        const double least = range.leastStripe * range.width;
        const bool isIn = mark[0].stripe >= range.firstEdge && mark[0].stripe < range.lastEdge &&
                          std::all_of(mark.begin(), mark.end(), isInside) &&
                          EdgeLine(mark[0].image, mark[2].image).Visible(range) >= least &&
                          EdgeLine(mark[1].image, mark[3].image).Visible(range) >= least;
        std::fill_n(inRange.begin() + static_cast<std::ptrdiff_t>(first), c_cornersOfMark, isIn);
    }
    return inRange;
}

/// The index of the corner at a position of the slide; the number of corners where there is none.
std::size_t FindCorner(Corners truth, const device::Vec2& slide)
{
    constexpr double same = 0.5; // slide units
    const auto found = std::find_if(truth.begin(), truth.end(), [&](const device::MarkCorner& corner) {
        return std::abs(corner.slide.x - slide.x) < same && std::abs(corner.slide.y - slide.y) < same;
    });
    return static_cast<std::size_t>(found - truth.begin());
}

} // namespace

SlideComparison CompareWithTruth(std::span<const SlideMark> marks, Corners truth, const MarkRange& range)
{
    const std::vector<bool> inRange = FindInRange(truth, range);
    SlideComparison result;
    result.corners.visible = static_cast<std::size_t>(std::count(inRange.begin(), inRange.end(), true));
    std::vector<bool> isNamed(truth.size(), false);
    for (const SlideMark& mark : marks) {
        if (!mark.usable && !mark.discarded) {
            continue;
        }
        const std::size_t index = FindCorner(truth, mark.slide);
        const device::Vec2 error = index == truth.size() ? device::Vec2{}
                                                         : device::Vec2{mark.image.x - truth[index].image.x,
                                                                        mark.image.y - truth[index].image.y};
        const bool isRight = index < truth.size() && !isNamed[index] && truth[index].onPlane &&
                             std::hypot(error.x, error.y) <= c_markNamedWrongly;
        if (mark.discarded) {
            result.discarded += isRight && inRange[index] ? 1 : 0;
        } else if (isRight) {
            isNamed[index] = true;
            result.corners.errors.push_back(error);
            result.corners.visibleNamed += inRange[index] ? 1 : 0;
        } else {
            ++result.corners.wrong;
        }
    }
    return result;
}

} // namespace calibration
