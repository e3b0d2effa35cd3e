// Thresholds of the projector slide target.
#pragma once

#include "lxccalibthres.h"

#include <memory>
#include <string>
#include <vector>

namespace LxCV {

/// Tuning values of the location of the marks on the projector's slide, and where those marks are. Slide
/// positions are in the slide's own units, in which a stripe is 50 wide.
class ORX_EXPORT LxCCProjSlideCalibThres : public LxCCalibThres
{
public:
    /// How a mark stands out.
    enum EMarkerTyp : int
    {
        eMT_BlackInWhite = 1,
        eMT_WhiteInBlack = 2
    };

    /// Rows that the marker mask holds at most; no sensor shows more.
    static constexpr int sc_iMaxVisibleRows = 4096;

    LxCCProjSlideCalibThres() { LxCCProjSlideCalibThres::Reset(); }

    /// Restores the defaults of this class's members and leaves the base's alone.
    void Reset() override;

    /// Own members under `section`, the base's under `section` + "::Base". Loading ends with
    /// `ResetMarkerMask`.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section) override;

    std::unique_ptr<LxCCalibThres> Clone() const override
    {
        return std::make_unique<LxCCProjSlideCalibThres>(*this);
    }

    /// 1 + the index of `stripe` in `m_viCalibMarkPos`, or 0 for a stripe without marks.
    int GetIdOfMarker(int stripe) const;

    /// Whether `stripe` bears marks.
    bool LSHasMarker(int stripe) const;

    /// Whether slide position `pos` along the edge between `stripe` - 1 and `stripe` lies on a mark or near
    /// one: one of both stripes bears marks, and `pos` is less than `m_iBlankOutMarkerWidth` away from an
    /// entry of `m_viBlankOutMarkerPos`.
    bool IsCloseByMarkerPosition(int stripe, double pos) const;

    /// Gives the marker mask one entry per visible row: rows 580, 350, 115, further ones 0, and the tolerance
    /// 70 for each. A mask of fewer than three rows takes the first ones. A number of visible rows that is
    /// negative or above `sc_iMaxVisibleRows` is corrected to the nearer bound, with a warning in the log.
    void ResetMarkerMask();

    int m_iMinLocExtAmount;                   ///< a gradient extremum must exceed this ...
    int m_iMinTotalExtAmount;                 ///< ... or the sum of three neighbours this
    int m_iNrOfCols;                          ///< marks per row of the slide's numbering
    int m_iNrOfRows;                          ///< rows of marks
    std::vector<int> m_viCalibMarkPos;        ///< stripe numbers that bear a mark
    std::vector<int> m_viBlankOutMarkerPos;   ///< slide positions to leave out
    int m_iBlankOutMarkerWidth;               ///< slide units; half width around them
    double m_dMaxPolyFitQuad;                 ///< 1/pixel; limit of the quadratic term of a row fit
    double m_dMaxDiffFitLinear;               ///< limit of the difference between the slopes of row fits
    int m_iFixedNrVisibleRows;                ///< number of mark rows that a slide image shows
    std::vector<int> m_viMarkerMaskRow;       ///< pixels; expected image row of each mark row, not persisted
    std::vector<int> m_viMarkerMaskTolerance; ///< pixels; tolerance around them, not persisted
    EMarkerTyp m_eMarkerTyp;                  ///< any number that a data file tells is carried
};

} // namespace LxCV
