// Thresholds of the checkerboard target.
#pragma once

#include "lxccalibthres.h"

#include <memory>
#include <string>

namespace LxCV {

/// Tuning values of the location and identification of checkerboard corners. Edge lengths and distances along
/// an edge count pixels of the traced edge; gradient amounts are grey levels.
class ORX_EXPORT LxCCBCalibThres : public LxCCalibThres
{
public:
    /// Which squares of the board are used.
    enum ECheckerBoardType : int
    {
        eCBT_MoreCorners = 0, ///< the polarity that has more corners
        eCBT_FirstPolarity = 1,
        eCBT_SecondPolarity = 2,
        eCBT_NoPolarity = 3 ///< squares are not split by polarity
    };

    /// Version of the target; any number that a data file tells is carried.
    enum ETargetVersion : int
    {
        eTV_Default = 0
    };

    LxCCBCalibThres() { LxCCBCalibThres::Reset(); }

    /// Restores the defaults of this class's members and leaves the base's alone.
    void Reset() override;

    /// Own members under `section`, the base's under `section` + "::Base". After loading, `m_iMinEdgeLen` is
    /// at least 1, `m_iMaxEdgeLen` at least `m_iMinEdgeLen`, and an empty `m_sTargetIdS` becomes the number
    /// `m_uiTargetId` as signed decimal of at least eight characters, filled up with zeros.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section) override;

    std::unique_ptr<LxCCalibThres> Clone() const override { return std::make_unique<LxCCBCalibThres>(*this); }

    int m_iMinLocExtAmount;       ///< a gradient extremum must exceed this ...
    int m_iMinTotalExtAmount;     ///< ... or the sum of three neighbours this
    int m_iMinEdgeLen;            ///< shorter traced edges are dropped
    int m_iMaxEdgeLen;            ///< longer traced edges are dropped
    int m_iNrOfSamples;           ///< edge samples for a fit near a corner
    int m_iSkip;                  ///< edge samples left out next to the corner
    int m_iNrOfCols;              ///< squares per row of the target's numbering
    int m_iNrOfRows;              ///< rows of the target's numbering
    int m_iIdOfFirstMarkedSquare; ///< id of the first square that holds an embedded square
    ECheckerBoardType m_eTypeOfCB;
    float m_fFactor2;                  ///< carried for other readers of the file
    float m_fFactor1;                  ///< carried for other readers of the file
    int m_iMaxDistCornerToEdgeEnd;     ///< a corner lies at most this far from the edge end
    int m_iMinDistCornerToOppEdgeEnd;  ///< and at least this far from the other end
    bool m_bAssumeStandardOrientation; ///< three embedded squares suffice
    double m_dXOffset;                 ///< mm, target frame; carried for other readers of the file
    double m_dYOffset;                 ///< mm, target frame; carried for other readers of the file
    bool m_bUseParabolaFit;            ///< fit edges with degree 2 near corners
    bool m_bUseEdgeDirCheck;           ///< check the gradient direction of edge pixels
    unsigned int m_uiTargetId;
    std::wstring m_sTargetIdS; ///< the target's number as text
    ETargetVersion m_eTargetVersion;
};

} // namespace LxCV
