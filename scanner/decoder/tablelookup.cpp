// Filling of a table, and weights of the corners of a cell.
#include "scanner/decoder/tablelookup.h"

#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

namespace decoder {

using LxCV::LxC3DCoordsCCT;

namespace {

/// How many corners lie along so many pixels, the last one behind the last pixel.
int CountCorners(int pixels, int step)
{
    return pixels / step + 2;
}

} // namespace

void PointTable::Init(const LxCV::LxCPinholeFramework& model, int width, int height)
{
    constexpr int kMostEdges = 256; // numbers of 8 bits, which traced edges have
    const int edges = std::clamp(model.GetCLPattern()->GetNrOfStripeEdges(), 0, kMostEdges);
    const bool fits = width > 0 && height > 0 && CountCorners(width, kStepX) == m_columns &&
                      CountCorners(height, kStepY) == m_rows && edges == m_edges;
    if (IsFilled() && fits) {
        return;
    }
    Fill(edges, width, height, [&model](int column, int row, std::span<LxC3DCoordsCCT> points) {
        model.ComputeEdgesXYZ(column, row, 0, true, points, false);
    });
}

void PointTable::Fill(int edges, int width, int height, const PointSource& pointsAt)
{
    m_isFilled = false;
    m_edges = 0;
    m_corners.clear();
    if (edges < 0 || width < 1 || height < 1) {
        throw std::invalid_argument("there are no images of this size to tabulate points for");
    }
    const int columns = CountCorners(width, kStepX);
    const int rows = CountCorners(height, kStepY);
    const std::size_t perEdge = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    std::vector<LxC3DCoordsCCT> points(static_cast<std::size_t>(edges));
    std::vector<Corner> corners(perEdge * points.size());
    for (std::size_t place = 0; place < perEdge && !points.empty(); ++place) {
        pointsAt(static_cast<int>(place) % columns * kStepX, static_cast<int>(place) / columns * kStepY,
                 points);
        for (std::size_t edge = 0; edge < points.size(); ++edge) {
            corners[edge * perEdge + place] = CornerOf(points[edge]);
        }
    }
    m_corners = std::move(corners);
    m_columns = columns;
    m_rows = rows;
    m_edges = edges;
    m_isFilled = true;
}

PointTable::Corner PointTable::CornerOf(const LxC3DCoordsCCT& point)
{
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    const Corner corner{static_cast<float>(point.x / point.z), static_cast<float>(point.y / point.z),
                        static_cast<float>(1.0 / point.z)};
    // So that sums over corners are finite as well.
    constexpr float kMost = 1e30F;
    const bool isThere = point.z > 0.0 && corner.overZ > 0.0F && corner.overZ < kMost &&
                         std::abs(corner.xOverZ) < kMost && std::abs(corner.yOverZ) < kMost;
    return isThere ? corner : Corner{kNone, kNone, kNone};
}

PointTable::Cell PointTable::Find(const EdgePixel& edge) const
{
    Cell cell;
    if (edge.stripeEdge < 0 || edge.stripeEdge >= m_edges || edge.column < 0 || !(edge.row >= 0.0)) {
        return cell;
    }
    const int x = edge.column / kStepX;
    const double y = edge.row / kStepY;
    if (x + 1 >= m_columns || !(y + 1.0 < m_rows)) {
        return cell;
    }
    const int line = static_cast<int>(y);
    const std::size_t row = static_cast<std::size_t>(edge.stripeEdge) * static_cast<std::size_t>(m_rows) +
                            static_cast<std::size_t>(line);
    cell.upperLeft = &m_corners[row * static_cast<std::size_t>(m_columns) + static_cast<std::size_t>(x)];
    cell.a = static_cast<float>(edge.column % kStepX) / static_cast<float>(kStepX);
    cell.b = static_cast<float>(y - line);
    __builtin_prefetch(cell.upperLeft);
    __builtin_prefetch(cell.upperLeft + m_columns);
    return cell;
}

bool PointTable::LookUp(const Cell& cell, LxC3DCoordsCCT& position) const
{
    const Corner* const upper = cell.upperLeft;
    if (upper == nullptr) {
        return false;
    }
    const Corner* const lower = upper + m_columns;
    const float a = cell.a;
    const float b = cell.b;
    const std::array<float, 4> weights{(1.0F - a) * (1.0F - b), a * (1.0F - b), (1.0F - a) * b, a * b};
    const auto meanOf = [&](float Corner::*value) {
        return weights[0] * upper[0].*value + weights[1] * upper[1].*value + weights[2] * lower[0].*value +
               weights[3] * lower[1].*value;
    };
    const float overZ = meanOf(&Corner::overZ);
    if (!(overZ > 0.0F)) {
        return false;
    }
    const float depth = 1.0F / overZ;
    position.x = meanOf(&Corner::xOverZ) * depth;
    position.y = meanOf(&Corner::yOverZ) * depth;
    position.z = depth;
    return true;
}

} // namespace decoder
