// Error statistics.
#include "scanner/acceptance/accuracy.h"

#include "lxcpinholeframework.h"
#include "lxcroi.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace acceptance {

namespace {

/// A point belongs to a crossing that lies at most this far from it along the column, rows.
constexpr double kReach = 2.0;

/// Index of the crossing nearest to `row`, if one is within reach.
std::optional<std::size_t> NearestCrossing(std::span<const device::EdgeCrossing> crossings, double row)
{
    const auto above = std::lower_bound(
        crossings.begin(), crossings.end(), row,
        [](const device::EdgeCrossing& crossing, double value) { return crossing.row < value; });
    std::optional<std::size_t> nearest;
    double distance = kReach;
    for (auto it = above == crossings.begin() ? above : above - 1; it != crossings.end() && it <= above;
         ++it) {
        if (std::abs(it->row - row) <= distance) {
            distance = std::abs(it->row - row);
            nearest = static_cast<std::size_t>(it - crossings.begin());
        }
    }
    return nearest;
}

double Distance(const LxCV::LxC3DCoordsCCT& measured, const device::Vec3& point)
{
    return device::Length(device::Vec3{measured.x, measured.y, measured.z} - point);
}

double RootMeanSquare(std::span<const double> errors)
{
    double sum = 0.0;
    for (const double error : errors) {
        sum += error * error;
    }
    return errors.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(errors.size()));
}

double Mean(std::span<const double> errors)
{
    double sum = 0.0;
    for (const double error : errors) {
        sum += error;
    }
    return errors.empty() ? 0.0 : sum / static_cast<double>(errors.size());
}

/// The smallest value that at least 95 percent of the values do not exceed.
double Percentile95(std::vector<double> errors)
{
    constexpr double kShare = 0.95;
    if (errors.empty()) {
        return 0.0;
    }
    const auto count = static_cast<std::size_t>(std::ceil(kShare * static_cast<double>(errors.size())));
    const auto at = errors.begin() + static_cast<std::ptrdiff_t>(std::max<std::size_t>(count, 1) - 1);
    std::nth_element(errors.begin(), at, errors.end());
    return *at;
}

double Share(std::size_t part, std::size_t whole)
{
    return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

/// Whether camera and projector see a crossing in the region.
bool IsWanted(const LxCV::LxCRoi& region, int column, const device::EdgeCrossing& crossing)
{
    constexpr double kHalfPixel = 0.5; // from the lower border of a pixel to its centre
    return crossing.seenByProjector && region.Contains(column, crossing.row + kHalfPixel);
}

std::size_t CountWanted(const LxCV::LxCRoi& region, const device::GroundTruth& truth)
{
    std::size_t count = 0;
    for (int column = 0; column < static_cast<int>(truth.crossings.size()); ++column) {
        count += static_cast<std::size_t>(std::ranges::count_if(
            truth.crossings[static_cast<std::size_t>(column)],
            [&](const device::EdgeCrossing& crossing) { return IsWanted(region, column, crossing); }));
    }
    return count;
}

/// Which crossings of each column were delivered, so that none counts twice.
class DeliveredCrossings
{
public:
    explicit DeliveredCrossings(const device::GroundTruth& truth)
    {
        for (const auto& column : truth.crossings) {
            m_delivered.emplace_back(column.size(), false);
        }
    }

    void Mark(int column, std::size_t crossing)
    {
        const auto flag =
            m_delivered[static_cast<std::size_t>(column)].begin() + static_cast<std::ptrdiff_t>(crossing);
        m_count += *flag ? 0 : 1;
        *flag = true;
    }

    std::size_t GetCount() const { return m_count; }

private:
    std::vector<std::vector<bool>> m_delivered;
    std::size_t m_count = 0;
};

} // namespace

Accuracy CompareWithTruth(const device::VirtualDevice& device, const device::Scene& scene,
                          const device::GroundTruth& truth, const LxCV::LxCRoi& region,
                          std::span<const decoder::MeasuredPoint> points)
{
    DeliveredCrossings delivered(truth);
    std::vector<double> rightErrors;
    std::vector<double> allErrors;
    std::vector<double> pointErrors;
    pointErrors.reserve(points.size());
    std::vector<bool> isRight;
    isRight.reserve(points.size());
    for (const decoder::MeasuredPoint& point : points) {
        const int column = point.edge.column;
        const auto& crossings = truth.crossings.at(static_cast<std::size_t>(column));
        const std::optional<std::size_t> nearest = NearestCrossing(crossings, point.edge.row);
        const auto truePoint = device.TruePointAt(scene, {static_cast<double>(column), point.edge.row});
        if (!truePoint) {
            pointErrors.push_back(std::numeric_limits<double>::quiet_NaN());
            isRight.push_back(false);
            continue;
        }
        const bool right = nearest && crossings[*nearest].edge == point.edge.stripeEdge;
        if (right && IsWanted(region, column, crossings[*nearest])) {
            delivered.Mark(column, *nearest);
        }
        allErrors.push_back(Distance(point.position, *truePoint));
        pointErrors.push_back(allErrors.back());
        isRight.push_back(right);
        if (right) {
            rightErrors.push_back(allErrors.back());
        }
    }
    Accuracy accuracy;
    accuracy.points = points.size();
    accuracy.seenCrossings = CountWanted(region, truth);
    accuracy.coverage = Share(delivered.GetCount(), accuracy.seenCrossings);
    accuracy.wrongCodeFraction = Share(points.size() - rightErrors.size(), points.size());
    accuracy.meanMm = Mean(allErrors);
    accuracy.rmsMm = RootMeanSquare(allErrors);
    accuracy.rmsRightCodeMm = RootMeanSquare(rightErrors);
    accuracy.p95Mm = Percentile95(std::move(allErrors));
    accuracy.errorsMm = std::move(pointErrors);
    accuracy.isRight = std::move(isRight);
    return accuracy;
}

TableDeviation CompareWithComputed(const LxCV::LxCPinholeFramework& model,
                                   std::span<const decoder::MeasuredPoint> points)
{
    TableDeviation deviation;
    std::vector<double> distances;
    distances.reserve(points.size());
    for (const auto& [edge, position] : points) {
        LxCV::LxC3DCoordsCCT computed;
        model.ComputeEdgeXYZ(edge.column, edge.row, edge.stripeEdge, true, &computed.x, &computed.y,
                             &computed.z, false);
        distances.push_back(Distance(computed, {position.x, position.y, position.z}));
    }
    deviation.rmsMm = RootMeanSquare(distances);
    deviation.largestMm = distances.empty() ? 0.0 : *std::ranges::max_element(distances);
    return deviation;
}

} // namespace acceptance
