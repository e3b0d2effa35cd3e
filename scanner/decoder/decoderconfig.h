// Tuning of the decoding stage.
#pragma once

#include "lxcedgedetectionconfig.h"

namespace decoder {

/// The library's limits for small structures. Where the surface leans towards the projector a stripe is up to 14 rows
/// high, which is more than their code words bridge.
inline LxCV::LxCEdgeDetectionConfig EdgeDefaults()
{
    LxCV::LxCEdgeDetectionConfig edges(true, false);
    edges.m_iMaxCodeLetterDist = 14;
    return edges;
}

/// Limits of the decoding stage. The signal of a colour channel is the pattern image over the reference image:
/// about 1 where the stripe carries the colour, near 0 where it does not.
struct DecoderConfig
{
    /// A pixel whose reference image is darker than this in any channel is not decoded; grey levels of 255.
    float minReference = 12.0F;

    /// An extremum must exceed this signal step from one row to the next; signal units.
    float minGradient = 0.12F;

    /// Extrema of different channels belong to one stripe edge while each lies at most this far below the one
    /// above it; rows.
    float maxChannelSpread = 1.6F;

    /// How far an edge may go up or down from one column to the next; rows.
    int traceRadius = 2;

    /// Smoothing of the signal, distance of successive edges in a code word, seeds and limits of tracing.
    LxCV::LxCEdgeDetectionConfig edges = EdgeDefaults();
};

} // namespace decoder
