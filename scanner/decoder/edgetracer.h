// Follows the named pixels of stripe edges along the image and numbers the edges.
#pragma once

#include "cctimage.h"
#include "lxcdatabufferentry.h"
#include "lxclightstripeedge.h"
#include "scanner/decoder/decoderconfig.h"

#include <cstddef>
#include <span>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace decoder {

/// A stripe edge seen at one place of one image column.
struct EdgePixel
{
    int column;     ///< pixels
    double row;     ///< pixels, distorted image; integer rows are pixel centres
    int stripeEdge; ///< number of the stripe edge on the slide

    bool operator==(const EdgePixel&) const = default;
};

/// Traces the stripe edges of an image of `LxCExtremum` words that carry cyclic numbers as ids.
///
/// Every named pixel in each `m_iIncrement`-th column that no edge has passed yet is a seed. The edge's confirmed
/// pixels, each with the stripe edge that the model takes its cyclic number for at its row, vote on the number of
/// the edge as a whole. Edges that the configuration calls valid are drawn into the image, where later edges
/// find their pixels taken; the words of all other pixels stay.
class EdgeTracer
{
public:
    /// @param model calibrated; must outlive the tracer
    EdgeTracer(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config)
        : m_model(model), m_limits(config.Edges()), m_radius(config.traceRadius)
    {}

    /// Makes the working buffers for images of so many pixels.
    /// @throws std::bad_alloc
    void Init(int width, int height);

    /// Appends the pixels of all valid edges, by ascending row and column.
    /// @param words image of type INT32; afterwards the traced image: a pixel of a traced edge holds an
    ///        `LxCLightStripeEdgeSinglePixel` word with the edge's number as traced id
    /// @throws std::invalid_argument for pixels of another type
    void Trace(LxCV::CCTImage& words, std::vector<EdgePixel>& edges);

private:
    LxCV::LxCLightStripeEdgeSinglePixel* Pixels();
    void TraceFrom(int column, int row);
    static void TakeTraced(std::span<const LxCV::LxCLightStripeEdgeSinglePixel> line, int row, int* words,
                           std::vector<EdgePixel>& edges);
    int VoteOnNumber(const LxCV::LxCLightStripeEdge& edge);

    const LxCV::LxCPinholeFramework& m_model;
    LxCV::LxCEdgeDetectionConfig m_limits;
    int m_radius;           ///< rows from one column to the next
    LxCV::CCTImage m_image; ///< the words between two margins that tracing does not enter
    std::vector<LxCV::LxCDataBufferEntry> m_entries;
    std::size_t m_drawn = 0; ///< about as many pixels, in all edges so far
};

} // namespace decoder
