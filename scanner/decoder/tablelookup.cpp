// Weights and quotients of the corners of a cell.
#include "scanner/decoder/tablelookup.h"

#include "lxctriangulationlut.h"

#include <array>

namespace decoder {

using LxCV::LxCTriangulationLUT;

namespace {

constexpr std::size_t kCorners = 4;
constexpr std::size_t kFloats = 3; ///< of a point

} // namespace

PointTable::PointTable(const LxCTriangulationLUT& table)
    : m_points(table.GetBlock()), m_edges(table.GetNrEntries())
{
    if (m_edges > 0) {
        m_width = table.GetLUTEntry(0)->GetWidth();
        m_height = table.GetLUTEntry(0)->GetHeight();
    }
}

bool PointTable::FindCell(const EdgePixel& edge, Cell& cell) const
{
    if (edge.stripeEdge < 0 || edge.stripeEdge >= m_edges || edge.column < 0 || !(edge.row >= 0.0)) {
        return false;
    }
    const int x = edge.column / LxCTriangulationLUT::sc_iGridStepX;
    const double y = edge.row / LxCTriangulationLUT::sc_iGridStepY;
    if (x + 1 >= m_width || !(y + 1.0 < m_height)) {
        return false;
    }
    const auto line = static_cast<std::size_t>(y);
    const std::size_t lines =
        static_cast<std::size_t>(edge.stripeEdge) * static_cast<std::size_t>(m_height) + line;
    cell.corner =
        m_points + kFloats * (lines * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(x));
    cell.a = static_cast<float>(edge.column % LxCTriangulationLUT::sc_iGridStepX) /
             static_cast<float>(LxCTriangulationLUT::sc_iGridStepX);
    cell.b = static_cast<float>(y - static_cast<double>(line));
    return true;
}

void PointTable::Announce(const EdgePixel& edge) const
{
    Cell cell{};
    if (FindCell(edge, cell)) {
        __builtin_prefetch(cell.corner);
        __builtin_prefetch(cell.corner + kFloats * static_cast<std::size_t>(m_width));
    }
}

bool PointTable::LookUp(const EdgePixel& edge, LxCV::LxC3DCoordsCCT& position) const
{
    Cell cell{};
    if (!FindCell(edge, cell)) {
        return false;
    }
    const auto& [corner, a, b] = cell;
    const float* const below = corner + kFloats * static_cast<std::size_t>(m_width);
    const std::array<const float*, kCorners> corners{corner, corner + kFloats, below, below + kFloats};
    const std::array<float, kCorners> weights{(1.0F - a) * (1.0F - b), a * (1.0F - b), (1.0F - a) * b, a * b};
    std::array<float, kCorners> overDepth;
    bool isWhole = true;
    for (std::size_t i = 0; i < kCorners; ++i) {
        const float depth = corners[i][2];
        isWhole &= depth > 0.0F;
        overDepth[i] = weights[i] / depth;
    }
    if (!isWhole) {
        return false;
    }
    float sum = 0.0F;
    float sumX = 0.0F;
    float sumY = 0.0F;
    for (std::size_t i = 0; i < kCorners; ++i) {
        sum += overDepth[i];
        sumX += overDepth[i] * corners[i][0];
        sumY += overDepth[i] * corners[i][1];
    }
    const float depth = 1.0F / sum;
    position.x = sumX * depth;
    position.y = sumY * depth;
    position.z = depth;
    return true;
}

} // namespace decoder
