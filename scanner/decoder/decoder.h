// From a reference and a pattern image to 3D points.
#pragma once

#include "cctimage.h"
#include "lxc3dcoordscct.h"
#include "scanner/decoder/codewords.h"
#include "scanner/decoder/decoderconfig.h"
#include "scanner/decoder/edgetracer.h"
#include "scanner/decoder/edgewords.h"
#include "scanner/decoder/stripesignal.h"

#include <vector>

namespace decoder {

/// One measured point with the edge pixel it comes from.
struct MeasuredPoint
{
    EdgePixel edge;
    LxCV::LxC3DCoordsCCT position; ///< mm, camera frame
};

/// The decoding stage: signal, edge words, code words, traced edges and points, one call for each, so that a caller
/// can time and look at every step. The working buffers are kept from measurement to measurement.
///
/// Any pixel values will do, also infinite ones and such that are not numbers, and any model: what cannot be
/// decoded gives no points.
class Decoder
{
public:
    /// @param model calibrated; must outlive the decoder
    explicit Decoder(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config = {});

    /// Makes the working buffers for images of so many pixels, so that the first measurement finds them in memory
    /// as all later ones do. Optional: the steps make what is missing.
    /// @throws std::bad_alloc, std::invalid_argument for sizes below 1
    void Init(int width, int height);

    /// Frees the pattern image of shading and texture.
    /// @param reference, pattern type FLOAT32_3, grey levels 0 to 255, one size
    /// @throws std::invalid_argument if they do not fit
    void ComputeSignal(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern);

    /// Finds the stripe edges of the signal.
    void FindEdges();

    /// Names the pixels of stripe edges by their code words.
    void ReadCodeWords();

    /// Follows the named pixels along the image and numbers the stripe edges.
    void TraceEdges();

    /// Triangulates the traced edges; those outside the working range are left out.
    void Triangulate();

    /// `LxCExtremum` words; after tracing, pixels of traced edges are `LxCLightStripeEdgeSinglePixel` words.
    const LxCV::CCTImage& GetEdgeWords() const { return m_words; }
    const std::vector<EdgePixel>& GetEdgePixels() const { return m_edges; }
    const std::vector<MeasuredPoint>& GetPoints() const { return m_points; }

private:
    void FitWords(int width, int height);

    const LxCV::LxCPinholeFramework& m_model;
    DecoderConfig m_config;
    StripeSignal m_signal;
    EdgeWordWriter m_writer;
    CodeWordReader m_reader;
    EdgeTracer m_tracer;
    LxCV::CCTImage m_words; ///< INT32
    std::vector<EdgePixel> m_edges;
    std::vector<MeasuredPoint> m_points;
};

} // namespace decoder
