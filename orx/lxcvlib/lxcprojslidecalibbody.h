// The projector's slide as a calibration target: marks on some of its stripes.
#pragma once

#include "lxccbcalibbody.h"
#include "lxccprojslidecalibthres.h"
#include "orx/base/export.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <utility>
#include <vector>

namespace LxCV {

class CCTImage;
class CCurveFamily;
class LxCCCLAlgoData;
class LxCCalibData;
class LxCPinholeFramework;
struct SExtremumThresholds;

/// Finds the small rectangular marks of the projector's slide in an image of the projected slide.
///
/// The stripes run across the image from left to right. A mark lies on one stripe: stripe edge s is its upper and
/// s + 1 its lower side, so that upper sides have even and lower sides odd numbers, as all marked stripes are even. Its
/// left and right sides are short vertical edges. A row of the slide is a column of the image, row 0 at the right; along
/// it marks are numbered by their index in the thresholds' `m_viCalibMarkPos`. With C marks a row
///
///     square id = row * C + index + 1        corner id = 4 * (square id - 1) + corner type
///
/// which at orientation `eCO_QuarterTurn` fits the order of the world coordinates of the built-in slides (slide units).
///
/// Uses marks, edges and squares of its base with the ownership told there, and only the first polarity. The
/// thresholds are `LxCCProjSlideCalibThres`. Stored besides: the partner of each vertical edge.
class ORX_EXPORT LxCProjSlideCalibBody : public LxCCBCalibBody
{
public:
    /// Deliberately of no further use.
    static constexpr int msc_iMaxNrOfPts = 200;

    /// What `CompareVerEdges` answers where two edges cannot be the sides of one mark.
    static constexpr int sc_iNoPair = 0x7FFFFFFF;

    /// Throws as the base does.
    LxCProjSlideCalibBody();
    ~LxCProjSlideCalibBody() override;

    /// Outlines of the squares in green, and what `LxCCalibBody` draws at each mark. A null is ignored.
    void DrawCalibMarks(CCTImage* image) override;
    using LxCCBCalibBody::DrawCalibMarks;

    /// Nothing: the slide is identified with an image of stripe edges. @return 1
    ECalibError IdentifyCalibMarks() override;
    ECalibError ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>& out) override;

    /// As `LxCCalibBody` reads them.
    ECalibError Read3DCoordsFromStream(std::istream& stream) override;

    using LxCCBCalibBody::CreateEdgeImgs;

    // Virtual operations of this class, in the order of their slots.

    /// Finds the corners of the marks in `eProjImage` of `data`. It smoothes the image, traces the vertical edges of
    /// the smoothed one and the stripe edges that `eProjHorEdges` holds, as `LxCLightStripeEdgeSinglePixel` words,
    /// replaces each stripe edge by a parabola, and takes a corner where one meets a vertical edge, outside the
    /// projector mask where that is in use. Corners stand at whole pixels.
    ///
    /// Marks are also there when the stripes are found to be bent or not to be parallel.
    /// @param algo  for automatic thresholds, see `CreateEdgeImgs`
    /// @param debug whether the image with parabolas in yellow and a green tick at each corner goes to
    ///        `eProjDebugImage`
    /// @return 0; 19 unless the image is `eIDT_FLOAT32_3`; 1 for an unknown marker type and 45 without
    ///         `LxCCProjSlideCalibThres`, which are logged; 7 without memory, and then without marks; 33 without a
    ///         parabola, for one that is bent above the limit, which is logged, and for slopes that differ too much
    virtual ECalibError LocateCalibMarks2(LxCCCLAlgoData& algo, LxCCalibData& data, bool debug);

    /// Gives each corner its square by stripe and row, sets the orientation, and improves the positions by
    /// `FilterOutByMedian` and `ImprovePositionEstimate`. A corner on a stripe without marks, or in a row before the
    /// first one, becomes invalid and belongs to no square.
    /// @param image     words of stripe edges as above, pixels of four bytes
    /// @param data      takes no part
    /// @param framework tells the row by triangulation; null takes it from the column of the image
    /// @return 0; 19 for another image or null; 45 without `LxCCProjSlideCalibThres`; 7; else the first error of the
    ///         two
    virtual ECalibError IdentifyCalibMarks(CCTImage* image, LxCCalibData& data,
                                           LxCPinholeFramework* framework);

    /// 1 + the index of the stripe that the corner's mark lies on; 0 for a stripe without marks, and where no word of a
    /// stripe edge lies under the corner's horizontal edge. Words are looked for from the middle of the edge outwards,
    /// to the right first.
    virtual int DetPatternColumn(const CCTImage* image, const LxCRectCornerCalibMark& mark) const;

    /// The row of a corner's mark, counted from 1 in the direction of falling slide columns: the nearest of equal parts
    /// of the pattern's width, one more than there are rows. 0 where no word of a stripe edge is found, and for a
    /// pattern without width.
    virtual int DetPatternRow(const CCTImage* image, const LxCRectCornerCalibMark& mark,
                              const LxCPinholeFramework& framework) const;

    /// Pairs the vertical edges that are the sides of one mark: each with the one that has the lowest score below 30,
    /// the first on a tie. What is not paired with each other has no partner, and its pixels leave the id image.
    /// Without usable thresholds there is one line in the log, no partners, and the id image stays.
    /// @param idImage ids of the vertical edges; an image of another type stays
    virtual void EnforceVerEdgeConsistency(CCTImage& idImage);

    /// Moves each corner that is used for calibration to where its stripe edge crosses the curve through all vertical
    /// edges of the same row and side: a line through two edges, a parabola through more. Of a row and side with one
    /// edge all marks become invalid; marks whose curves do not cross cannot be used.
    ///
    /// The curves' columns in the middle of the image become the rows of the thresholds' marker mask, with a narrower
    /// tolerance.
    /// @param image if not null, the curves are drawn into it while the setting DrawMarkerPosForDebugging is on
    /// @return 0; 45 without `LxCCProjSlideCalibThres`; 32 below four curves; 31 for one that is bent above the limit,
    ///         which is logged, and for slopes that differ too much
    virtual ECalibError ImprovePositionEstimate(CCTImage* image);

    /// Fills gradient and edge image of the projector step from `eProjImageSmoothed`. Where the thresholds say so, each
    /// sixth of the image has thresholds of its own from the pattern image of the measurement that `algo` holds.
    /// @param range bits of the sub-pixel fraction
    /// @param check whether entries go where the gradient runs along the edge
    virtual void CreateEdgeImgs(LxCCCLAlgoData& algo, LxCCalibData& data, int range, bool check);

    // The others.

    /// How badly two vertical edges form the two sides of one mark, lower is better: with the mean x of their lines and
    /// d the distance of these, |difference of their ends| + |difference of their starts| + |d - 10| + 20 e +
    /// 20 |difference of their slopes|, truncated. e tells by how much d, over the mean length, is off 1.5, if that
    /// is 0.5 or more. `sc_iNoPair` where the polarities do not fit the marker type, and for edges without a line.
    /// 1, with a line in the log, for an unknown marker type and thresholds of another class.
    int CompareVerEdges(const LxCCBRectEdge& a, const LxCCBRectEdge& b) const;

    /// Thresholds for the six parts of an image, three across and two down, row by row: 0.2 times the mean of the ranks
    /// 200 to 599 of the values of all channels at least 75 pixels inside, and of sums of three rows.
    /// @param image `eIDT_FLOAT32_3`
    /// @return false, with nothing written, for other types, and where a part has fewer than 600 values
    static bool DecideForBestSettings(const CCTImage& image, SExtremumThresholds& thresholds);

    /// Of each vertical edge 1 + the index of its partner, 0 without one; as `EnforceVerEdgeConsistency` left it.
    const std::vector<std::uint32_t>& GetVerEdgePartners() const { return m_vuiVerEdgePartners; }

    /// Makes marks invalid that lie 8 pixels or more from the median column of the marks of the same row and side, where
    /// these are more than two. Needs ids. @return 0; 45 without `LxCCProjSlideCalibThres`
    ECalibError FilterOutByMedian();

    /// Makes all marks unusable and adds a mark for each square with four corners: the mean of their positions and
    /// qualities, with the square's id.
    void ReduceToRectID();

    /// Clears a mask and fills every square on it that has four valid corners.
    /// @param x, y receive the mean of the squares' centres, pixels; untouched without a square
    void DrawCalibMarkMask(CCTImage* mask, double* x, double* y) const;

protected:
    using Parabola = std::array<double, 3>; ///< ascending coefficients

    /// Moves a mark to where the parabola through its whole horizontal edge crosses the curve x of y.
    /// @param degree of the fit, 0 to 2
    /// @return false, with a line in the log and the mark unmoved, where they do not cross
    bool AuxUpdatePosHor(LxCRectCornerCalibMark& mark, const Parabola& curve, int degree) const;

    /// Null where the thresholds are of another type.
    LxCCProjSlideCalibThres* GetSlideThres()
    {
        return const_cast<LxCCProjSlideCalibThres*>(std::as_const(*this).GetSlideThres());
    }
    const LxCCProjSlideCalibThres* GetSlideThres() const;

private:
    ECalibError FindCorners(LxCCCLAlgoData& algo, LxCCalibData& data, const LxCCProjSlideCalibThres& thres,
                            bool debug, CCurveFamily& stripeEdges);
    ECalibError TraceEdges(LxCCalibData& data, int minStripeLen);
    void FitStripeEdges(LxCCalibData& data, bool debug, CCurveFamily& stripeEdges);
    void FindCornersOnEdges(LxCCalibData& data, const LxCCProjSlideCalibThres& thres, bool debug);
    bool TryCorner(int x, int y, LxCCBRectEdge& hor, LxCCBRectEdge& ver, const CCTImage& image,
                   const LxCCProjSlideCalibThres& thres);
    void IdentifyCorners(const CCTImage& image, const LxCCProjSlideCalibThres& thres,
                         const LxCPinholeFramework* framework);
    void AddToRect(LxCRectCornerCalibMark& mark, int rectId);
    std::vector<LxCRectCornerCalibMark*> GetCorners() const;
    ECalibError StoreExpectedRows(const CCurveFamily& curves, const std::vector<int>& expected);

    std::vector<std::uint32_t> m_vuiVerEdgePartners; ///< see `GetVerEdgePartners`
};

} // namespace LxCV
