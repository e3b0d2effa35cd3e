#include "scanner/calibration/boardaccuracy.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace calibration {

namespace {

constexpr std::size_t c_cornersOfSquare = 4;

device::Vec3 MiddleOf(std::span<const device::TargetCorner> truth)
{
    device::Vec3 sum;
    for (const device::TargetCorner& corner : truth) {
        sum = sum + corner.pointOnTarget;
    }
    return truth.empty() ? sum : (1.0 / static_cast<double>(truth.size())) * sum;
}

/// The index of the corner nearest to a point (mm, target frame); the size of `truth` without one.
std::size_t NearestCorner(std::span<const device::TargetCorner> truth, const device::Vec3& point)
{
    std::size_t nearest = truth.size();
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const double distance = device::Length(truth[i].pointOnTarget - point);
        if (distance < least) {
            nearest = i;
            least = distance;
        }
    }
    return nearest;
}

/// For each corner whether its whole square is within the margin.
std::vector<bool> FindVisible(std::span<const device::TargetCorner> truth, int width, int height,
                              double margin)
{
    const auto isInside = [&](const device::TargetCorner& corner) {
        return corner.inImage && corner.image.x >= margin && corner.image.y >= margin &&
               corner.image.x <= width - margin && corner.image.y <= height - margin;
    };
    std::vector<bool> visible(truth.size(), false);
    for (std::size_t first = 0; first + c_cornersOfSquare <= truth.size(); first += c_cornersOfSquare) {
        const auto square = truth.subspan(first, c_cornersOfSquare);
        std::fill_n(visible.begin() + static_cast<std::ptrdiff_t>(first), c_cornersOfSquare,
                    std::all_of(square.begin(), square.end(), isInside));
    }
    return visible;
}

/// The smallest of the values at or below which a share of them lies. `values` may not be empty.
double Percentile(std::vector<double>& values, double share)
{
    const auto rank = static_cast<std::ptrdiff_t>(std::ceil(share * static_cast<double>(values.size())));
    const auto at = values.begin() + std::max<std::ptrdiff_t>(rank - 1, 0);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

} // namespace

BoardComparison CompareWithTruth(std::span<const BoardMark> marks,
                                 std::span<const device::TargetCorner> truth, int width, int height,
                                 double margin)
{
    const std::vector<bool> visible = FindVisible(truth, width, height, margin);
    BoardComparison result;
    result.visible = static_cast<std::size_t>(std::count(visible.begin(), visible.end(), true));
    const device::Vec3 middle = MiddleOf(truth);
    std::vector<bool> isNamed(truth.size(), false);
    for (const BoardMark& mark : marks) {
        if (mark.id == 0 || !mark.usable) {
            continue;
        }
        const std::size_t index = NearestCorner(truth, mark.world + middle);
        if (index == truth.size() || isNamed[index] || !truth[index].inFront) {
            ++result.wrong;
            continue;
        }
        const device::Vec2 error{mark.image.x - truth[index].image.x, mark.image.y - truth[index].image.y};
        if (!(std::hypot(error.x, error.y) <= c_namedWrongly)) {
            ++result.wrong;
            continue;
        }
        isNamed[index] = true;
        result.errors.push_back(error);
        result.visibleNamed += visible[index] ? 1 : 0;
    }
    return result;
}

double BoardAccuracy::NamedShare() const
{
    return visible == 0 ? 1.0 : static_cast<double>(visibleNamed) / static_cast<double>(visible);
}

void BoardStatistics::Add(const BoardComparison& image, bool identified)
{
    ++m_counts.images;
    m_counts.failed += identified ? 0 : 1;
    m_counts.named += image.errors.size();
    m_counts.wrong += image.wrong;
    m_counts.visible += image.visible;
    m_counts.visibleNamed += image.visibleNamed;
    for (const device::Vec2& error : image.errors) {
        m_distances.push_back(std::hypot(error.x, error.y));
        m_sum = {m_sum.x + error.x, m_sum.y + error.y};
    }
}

BoardAccuracy BoardStatistics::Summarise() const
{
    BoardAccuracy result = m_counts;
    if (m_distances.empty()) {
        return result;
    }
    constexpr double most = 0.95, nearlyAll = 0.99;
    const auto count = static_cast<double>(m_distances.size());
    std::vector<double> distances = m_distances;
    result.mean = std::accumulate(distances.begin(), distances.end(), 0.0) / count;
    result.p95 = Percentile(distances, most);
    result.p99 = Percentile(distances, nearlyAll);
    result.largest = *std::max_element(distances.begin(), distances.end());
    result.bias = {m_sum.x / count, m_sum.y / count};
    return result;
}

} // namespace calibration
