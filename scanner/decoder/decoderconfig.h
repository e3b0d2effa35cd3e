// Tuning of the decoding stage.
#pragma once

#include "lxccclalgoconfig.h"

namespace decoder {

/// The library's configuration. Where the surface leans towards the projector a stripe is up to 14 rows high, which is
/// more than the code words of small structures bridge by default.
inline LxCV::LxCCCLAlgoConfig AlgorithmDefaults()
{
    constexpr int kHighestStripe = 14; // rows
    LxCV::LxCCCLAlgoConfig algorithm;
    for (const bool intraoral : {false, true}) { // what is set for last stays
        algorithm.SetOptimizeAlgoForIntraoralMeasurement(intraoral);
        algorithm.GetEdgeDetectionConfigSmall().m_iMaxCodeLetterDist = kHighestStripe;
    }
    return algorithm;
}

/// Limits of the decoding stage. The signal of a colour channel is the pattern image over the reference image:
/// about 1 where the stripe carries the colour, near 0 where it does not.
struct DecoderConfig
{
    /// A pixel whose reference image is darker than this in a channel is not decoded there; grey levels of 255, where
    /// colours are coupled those of the unmixed light.
    float minReference = 12.0F;

    /// An extremum must exceed this signal step from one row to the next; signal units.
    float minGradient = 0.12F;

    /// Extrema of different channels belong to one stripe edge while each lies at most this far below the one
    /// above it; rows.
    float maxChannelSpread = 1.6F;

    /// How far an edge may go up or down from one column to the next; rows.
    int traceRadius = 2;

    /// Whether points are looked up in a table of triangulated points, which `Decoder::Init` makes, instead of being
    /// computed one by one. Those in cells with a corner without a point are computed; see `PointTable`.
    bool useTable = false;

    /// Whether the record has a quality for each point.
    bool withQualities = false;

    /// What the library keeps for this stage: for teeth or for plaster, with the limits of the edge detection for each;
    /// and in the active preset which points are delivered, and in which form.
    LxCV::LxCCCLAlgoConfig algorithm = AlgorithmDefaults();

    /// The limits that decoding goes by, those for small structures: smoothing of the signal, distance of successive
    /// edges in a code word, seeds and limits of tracing.
    LxCV::LxCEdgeDetectionConfig& Edges() { return algorithm.GetEdgeDetectionConfigSmall(); }
    const LxCV::LxCEdgeDetectionConfig& Edges() const { return algorithm.GetEdgeDetectionConfigSmall(); }
};

} // namespace decoder
