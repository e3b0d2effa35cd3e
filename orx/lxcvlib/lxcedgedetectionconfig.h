// Limits of the detection and tracing of stripe edges.
#pragma once

#include "orx/base/export.h"

#include <cstdint>
#include <string>

namespace LxCV {

class LxCCCTSerializer;
class LxCLightStripeEdge;

/// A plain record: members may be read and written freely. Amounts are on the scale of the image's grey values,
/// lengths in pixels. The members that nothing here uses are for the decoding stage.
class ORX_EXPORT LxCEdgeDetectionConfig
{
public:
    /// @param small whether the defaults are those of the small structures rather than of the big ones
    /// @param optimizeForIntraoral without effect
    LxCEdgeDetectionConfig(bool small, bool optimizeForIntraoral);

    /// Writes or reads the members that have keys. A key that a loaded text lacks leaves its member.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// Whether a traced edge counts. It always does if ids are assigned manually. Else it needs
    /// `m_iMinStripeLengthContFlag` pixels with the continuation flag, and then either a pixel with the second
    /// continuation flag or, unless `strict`, both its least length and its least share of confirmed pixels.
    /// @param edge a null one counts only if ids are assigned manually
    bool IsLightStripeEdgeValid(LxCLightStripeEdge* edge, bool strict) const;

    std::int32_t m_iMinDerivativeAmount;          ///< least step between two pixels
    std::int32_t m_iMinSingExtremumAmount;        ///< least amount of an extremum of one channel
    std::int32_t m_iMinTotExtremumAmount;         ///< least amount of an edge, all channels
    std::int32_t m_iMaxExtremaDist;               ///< between the channels of one edge
    std::int32_t m_iMaxCodeLetterDist;            ///< between successive edges of a code word
    std::int32_t m_iMaxGapWithinStripeBoundary;   ///< columns; open gaps that tracing bears
    std::int32_t m_iMinStripeLen;                 ///< least pixels of an edge
    std::int32_t m_iMinStripeLengthContFlag;      ///< least pixels of an edge with the continuation flag
    std::int32_t m_iIncrement;                    ///< columns between seeds
    std::int32_t m_iTraceStepLimit;               ///< columns without a confirmed pixel; not stored
    std::int32_t m_iMinConfirmedPixelsPercentage; ///< percent; least share of an edge's confirmed pixels
    std::int32_t m_iThrowAwayPixAtStripeBegEnd;   ///< pixels at either end that are not drawn
    std::int32_t m_iSmoothingMode;                ///< a `CCTImage::ESmoothingMode`; any number is carried
    std::int32_t m_iKernelSizeX;                  ///< smoothing kernel width
    std::int32_t m_iKernelSizeY;                  ///< smoothing kernel height
    std::int32_t m_iRepairEdgesMaxNumGaps; ///< columns; the setting `RepairEdgesMaxNumGaps`, not stored
    bool m_bManuallyAssignLseId;           ///< ids are assigned by hand: every edge counts, tails are kept
};

} // namespace LxCV
