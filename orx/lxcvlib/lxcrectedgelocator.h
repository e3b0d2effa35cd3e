// Traces the edges of a target's squares.
#pragma once

#include "ecaliberror.h"
#include "lxccbrectedge.h"
#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace LxCV {

class CCTImage;

/// Finds all edges of an edge image and owns them: vertical ones and horizontal ones, in the order in which they
/// were found. The edge with id n in an id image stands at index n - 1.
///
/// Edges stay where they are until `RemoveRectEdges`, so that marks may point to them.
class ORX_EXPORT LxCRectEdgeLocator
{
public:
    using Edges = std::vector<std::unique_ptr<LxCCBRectEdge>>;

    static constexpr std::size_t sc_uiMaxEdges = 4095; ///< of one orientation; tracing stops there

    LxCRectEdgeLocator() = default;
    LxCRectEdgeLocator(const LxCRectEdgeLocator&) = delete;
    LxCRectEdgeLocator& operator=(const LxCRectEdgeLocator&) = delete;

    // The virtual functions stand in the order of their slots, which modules built earlier rely on.

    virtual ~LxCRectEdgeLocator();

    /// Clears the id image, traces all vertical edges of the edge image and draws them into the id image, each with
    /// the `LxCCalibId` word of its number. Seeds are tried in every third row or so, from the middle of the image
    /// outwards: the edges there are the sharpest and have the first claim on pixels.
    ///
    /// An edge that touches one that was drawn before takes its place, the pixels of the other edge included, if the
    /// other one is less straight by the least-squares residual over its length. Else it is not drawn, but listed all
    /// the same.
    /// @param edgeImage `eIDT_INT32`, `LxCCalibEdge` words
    /// @param idImage `eIDT_INT32` of the same size
    /// @param drawWidth pixels that an edge is drawn beyond either end
    /// @param method of `CStraightEdge::Trace`
    /// @param minLen, maxLen edges of other lengths are dropped; both lengths themselves are kept
    /// @return `eCalibNoMemory`, with what was found until then, else `eCalibOk`; images of other types and sizes have
    ///         no edges
    virtual ECalibError TraceRectEdgesVer(const CCTImage& edgeImage, CCTImage& idImage, int drawWidth,
                                          int method, int minLen, int maxLen);

    /// The same for horizontal edges, with seeds in every third column or so.
    virtual ECalibError TraceRectEdgesHor(const CCTImage& edgeImage, CCTImage& idImage, int drawWidth,
                                          int method, int minLen, int maxLen);

    /// Destroys all edges.
    virtual void RemoveRectEdges();

    const Edges& GetVerEdges() const { return m_vVerEdges; }
    const Edges& GetHorEdges() const { return m_vHorEdges; }

private:
    Edges m_vVerEdges;
    Edges m_vHorEdges;
};

} // namespace LxCV
