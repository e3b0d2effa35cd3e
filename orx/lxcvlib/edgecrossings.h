// Pixels where a traced horizontal edge and a traced vertical one meet.
#pragma once

#include "calibedgekernels.h"
#include "cctimage.h"
#include "lxccalibid.h"
#include "lxcrectedgelocator.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace LxCV {

/// The edge that an id pixel names; null if there is none.
inline LxCCBRectEdge* EdgeOf(const LxCRectEdgeLocator::Edges& edges, std::int32_t word)
{
    const auto id = static_cast<std::size_t>(LxCCalibId(word).GetId());
    return id >= 1 && id <= edges.size() ? edges[id - 1].get() : nullptr;
}

/// Calls visit(horEdge, verEdge, x, y) for each pixel on a contour of both id images, row by row, left to right. An edge
/// is null where its pixel names none. Ids are read as the scan comes to them: what a call draws counts for later pixels.
/// @param horIds, verIds `eIDT_INT32` of one size with pixels
/// @param marginX, marginY pixels that are left out at each side; 0 or more
template <typename Visit>
void ForEachCrossing(const LxCRectEdgeLocator& edges, const CCTImage& horIds, const CCTImage& verIds,
                     int marginX, int marginY, const Visit& visit)
{
    const auto rowOf = [](const CCTImage& ids, int y) {
        return std::span<const std::int32_t>(&ids.GetInt32PixelFast(0, y),
                                             static_cast<std::size_t>(ids.GetWidth()));
    };
    const int end = verIds.GetWidth() - marginX;
    for (int y = marginY; y < verIds.GetHeight() - marginY; ++y) {
        const auto ver = rowOf(verIds, y);
        const auto hor = rowOf(horIds, y);
        const auto next = [&](int x) {
            return static_cast<int>(CalibEdgeKernels::FindCommonBits(
                ver, hor, LxCCalibId::m_sciContourPixelExt, static_cast<std::size_t>(x)));
        };
        for (int x = next(marginX); x < end; x = next(x + 1)) {
            const auto column = static_cast<std::size_t>(x);
            visit(EdgeOf(edges.GetHorEdges(), hor[column]), EdgeOf(edges.GetVerEdges(), ver[column]), x, y);
        }
    }
}

} // namespace LxCV
