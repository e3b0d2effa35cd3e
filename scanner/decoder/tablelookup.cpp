// Weights and quotients of the corners of a cell.
#include "scanner/decoder/tablelookup.h"

#include "lxcfloat3.h"
#include "lxctriangulationlut.h"
#include "pixelelements.h"

#include <array>
#include <cstddef>
#include <span>

namespace decoder {

using LxCV::LxCFloat3;
using LxCV::LxCTriangulationLUT;

namespace {

constexpr std::size_t kCorners = 4;

} // namespace

bool LookUpPoint(const LxCTriangulationLUT& table, const EdgePixel& edge, LxCV::LxC3DCoordsCCT& position)
{
    const LxCV::CCTImage* const entry = table.GetLUTEntry(edge.stripeEdge);
    if (entry == nullptr || edge.column < 0 || !(edge.row >= 0.0)) {
        return false;
    }
    const int x = edge.column / LxCTriangulationLUT::sc_iGridStepX;
    const double y = edge.row / LxCTriangulationLUT::sc_iGridStepY;
    if (x + 1 >= entry->GetWidth() || !(y + 1.0 < entry->GetHeight())) {
        return false;
    }
    const auto width = static_cast<std::size_t>(entry->GetWidth());
    const auto first = static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x);
    const float a = static_cast<float>(edge.column % LxCTriangulationLUT::sc_iGridStepX) /
                    static_cast<float>(LxCTriangulationLUT::sc_iGridStepX);
    const float b = static_cast<float>(y - static_cast<double>(static_cast<std::size_t>(y)));
    const std::span<const LxCFloat3> points = LxCV::ElementsOf<LxCFloat3>(*entry);
    const std::array<const LxCFloat3*, kCorners> corners{&points[first], &points[first + 1],
                                                         &points[first + width], &points[first + width + 1]};
    const std::array<float, kCorners> weights{(1.0F - a) * (1.0F - b), a * (1.0F - b), (1.0F - a) * b, a * b};
    std::array<float, kCorners> overDepth;
    bool isWhole = true;
    for (std::size_t i = 0; i < kCorners; ++i) {
        const float depth = corners[i]->get(2);
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
        sumX += overDepth[i] * corners[i]->get(0);
        sumY += overDepth[i] * corners[i]->get(1);
    }
    const float depth = 1.0F / sum;
    position.x = sumX * depth;
    position.y = sumY * depth;
    position.z = depth;
    return true;
}

} // namespace decoder
