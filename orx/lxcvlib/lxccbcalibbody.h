// The checkerboard target: separate dark squares on bright ground, some of which hold a small bright square.
#pragma once

#include "checkerboardorientation.h"
#include "lxccalibbody.h"
#include "lxcrectedgelocator.h"
#include "lxcroi.h"
#include "orx/base/export.h"

#include <iosfwd>
#include <utility>
#include <vector>

namespace LxCV {

class CCTImage;
class LxCCBCalibThres;
class LxCCBRect;
class LxCCalibData;
class LxCRectCornerCalibMark;

/// Finds the corners of the squares of a checkerboard in one image, builds squares of them and gives the squares their
/// ids: gradients, extrema, traced edges, corners where a horizontal and a vertical edge cross, squares of corners.
///
/// Corners of a dark square and of a bright one have opposite polarities and lie in lists of their own: the marks of
/// the base, whose squares are the first list of squares, and the marks of the second polarity with the second one.
/// All marks that location makes are `LxCRectCornerCalibMark`; others that a caller puts into the lists are left out of
/// squares, and count as marks of the base.
///
/// Stored: first and second list of squares, marks of the second polarity, black areas of the target. Ownership: the
/// target owns its squares and all marks, its base `LxCRectEdgeLocator` the edges. Marks point to edges and squares,
/// squares to marks, edges to marks, none of which owns the other; all of them stay where they are until `Reset`,
/// squares until `RemoveRects`, edges until `RemoveRectEdges`.
///
/// Pixel (0, 0) of an image is a centre; positions are pixels. One thread at a time. The order of the virtual
/// operations is fixed, as in the base.
class ORX_EXPORT LxCCBCalibBody : public LxCCalibBody, public LxCRectEdgeLocator
{
public:
    /// What `DetPolarity` tells of a corner.
    enum EPolarity : int
    {
        eP_NoCorner = 0,
        eP_First = 1,
        eP_Second = 2,
        eP_Contradiction = 3 ///< the two edges would have the dark side in different places
    };

    /// @param createThres whether the target gets thresholds, `LxCCBCalibThres`; concrete targets pass false and set
    ///        their own. The coordinate file is `sc_FilenameReadFromRegistry`
    /// Throws as the base does.
    explicit LxCCBCalibBody(bool createThres);
    LxCCBCalibBody(const LxCCBCalibBody&) = delete;
    LxCCBCalibBody& operator=(const LxCCBCalibBody&) = delete;
    ~LxCCBCalibBody() override;

    /// Finds the corners in the camera image of `data`. Smoothes it into `eCamImageSmoothed`, makes the edge images,
    /// traces edges into the id images, and takes a corner wherever two edges cross near an end of both, outside the
    /// camera mask where that is in use. Images of `data` that do not have the smoothed image's size, or not their type
    /// of `LxCCalibData::Init`, yield nothing.
    /// @param debug whether the camera image with a tick at each corner goes to `eCamDebugImage`: green for the first
    ///        polarity, red for the second one, and small yellow ticks for candidates that are none
    /// @return 0, also if nothing was found; 19 unless the camera image is `eIDT_FLOAT32_3`; 45 without
    ///         `LxCCBCalibThres`; 7 without memory, and then without marks
    ECalibError LocateCalibMarks(LxCCalibData& data, bool debug) override;

    /// Sets the quality of each mark by `AssessCornerQual`; marks without edges get 10.0.
    /// @param image `eIDT_ARGB8` @return 0; 1 for null; 45 without `LxCCBCalibThres`
    ECalibError AssessMarkQual(const CCTImage* image) override;

    using LxCCalibBody::DrawCalibMarks;

    /// Builds the squares anew and gives them their ids: finds the squares that enclose a bright one, which form a
    /// figure without symmetry, takes the orientation from that, and spreads ids from them by `PropagateRectIds`. With
    /// F the id of the first marked square, the figure is the squares F, F + 2, F + 3 in one row and the one below
    /// F + 2.
    /// @return 0, also with squares that ids did not reach; 45 without `LxCCBCalibThres`; 14 unless four squares
    ///         enclose one (three where `m_bAssumeStandardOrientation` is set); 13 if they do not form the figure; 43 if
    ///         its two parts differ in scale by more than 1.5, as in a mirror, with the orientation unknown; 15 if the
    ///         squares could not be sorted. All are logged but 43 and a 14 for the pitches of three squares. With any
    ///         but 43 the orientation stays
    ECalibError IdentifyCalibMarks() override;

    /// A record of each mark that is used for calibration and has world coordinates, see `GetWorldCoords`, behind those
    /// of `out`. The caller owns them.
    /// @return 0, and the target is reset; 1, and nothing has changed, if a mark is no `LxCRectCornerCalibMark`
    ECalibError ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>& out) override;

    /// The coordinates of a square's corner, four a square in the order of their ids: that of the place on the target at
    /// which the mark's place in the image is at this orientation, or at `eCO_NoTurn` while it is not known.
    /// @return (0, 0, 0) for an id below 1 or above the number of coordinates
    LxC3DCoordsCCT GetWorldCoords(const LxCCalibMark& mark) const override;

    /// Also removes all edges and squares, and deletes the marks of the second polarity.
    void Reset() override;

    /// Draws the base's squares, and each traced edge white and three pixels wide. A null and a size below 1 are
    /// logged.
    void DrawMask(CCTImage* mask, int size) const override;

    /// As the base, then `NormalizeTargetCoordsToCenter` and `FillVectorBlackAreaOnTarget`; stops at the first error.
    ECalibError Read3DCoordsFromStream(std::istream& stream) override;

    /// Sets the pixels of a mask to 0 that lie in a square of the first list, widened by `margin` pixels along the
    /// image axes. Squares without four corners do not count. @return 0; 19 for null, which is logged
    ECalibError FilterOutCalibMarks(CCTImage* mask, double margin) override;

    /// The bounding box of the world coordinates, widened on each side by the thresholds' part of its extent along
    /// either axis. Without coordinates as the base. @return 0; 1 for a null
    ECalibError GetPositionInWC(double* minX, double* minY, double* maxX, double* maxY) const override;

    /// Takes the ids of squares of the first list that have one below 0 or above columns * rows, and of all that share
    /// one with another, and makes those squares invalid. @return 0
    ECalibError DoubleCheckIds(int columns, int rows) override;

    // Virtual operations of this class, in the order of their slots.

    /// Outlines of the squares, of the first list green, of the second one yellow; while the setting
    /// DrawMarkerPosForDebugging is on, ids in red at identified marks. A null is ignored.
    virtual void DrawCalibMarks(CCTImage* image);

    /// `RemoveRects`, then `DetectAllRects`.
    virtual void DetectAllRectsExtern();

    /// Keeps the four squares of the first list that `DetectValidRectangleWithinCalibMarks` finds and frees the others,
    /// whose marks are of no square then. Without four such squares nothing changes.
    /// @param tolerance degrees
    virtual void FilterRectsForValidRectangle(double tolerance);

    /// Looks in the first list for four different squares whose centres i, j, k, l have right angles at j, k and l.
    /// @param quad receives the first four by their places in the list: least i, then j, k and l. Untouched without any
    /// @param tolerance degrees by which each angle may be off
    /// @return whether there are four; false for null
    virtual bool DetectValidRectangleWithinCalibMarks(LxCCBRect* quad[4], double tolerance);

    /// The squares of the first list nearest to the image's corners: with the least sums of the centre's distances (pixels)
    /// from the two borders, the later one of equal ones. Nulls are passed over. @return 0; 1 without squares
    virtual ECalibError SortRectsDiagonal(int width, int height, LxCCBRect** ul, LxCCBRect** ur,
                                          LxCCBRect** ll, LxCCBRect** lr);

    /// As `IdentifyCalibMarks` where just three squares enclose one: the left one is taken to be missing, and the
    /// orientation to be `eCO_NoTurn`.
    /// @return 14 too, which is not logged, if the columns' pitch is more than 1.5 times that of the rows
    virtual ECalibError IdentifyCalibMarksWDefaultOrient3EmbSqs();

    /// Frees all squares; no mark points to one afterwards.
    virtual void RemoveRects();

    /// Builds squares of the corners that are in none: of the marks into the first list, of those of the second
    /// polarity into the second list. A fourth corner that three others tell joins the marks as a virtual one. Corners
    /// left without a square become invalid.
    virtual void DetectAllRects();

    /// Appends each square of the second list that a square of the first list encloses to `embedded`, and the first such
    /// square to `enclosing`. The target keeps them. @return how many were found
    virtual int DetectEmbeddedRects(std::vector<LxCCBRect*>& embedded, std::vector<LxCCBRect*>& enclosing);

    /// The angle (degrees) at the centre of square `b` between the directions to the centres of `a` and `c`, indices
    /// into the first list. Not a number for an index outside it, and where two centres coincide.
    virtual double ComputeCornerAngle(int a, int b, int c) const;

    /// The squares with the least and the largest x and y of their centres, the later one of equal ones. Nulls to write
    /// to are passed over. @return false for an empty list
    virtual bool SortRects(const std::vector<LxCCBRect*>& list, LxCCBRect** left, LxCCBRect** right,
                           LxCCBRect** top, LxCCBRect** bottom);

    /// Spreads ids from the squares of the first list that have one to their neighbours in the image, on a target with
    /// `columns` squares a row and `rows` rows, at the orientation that stands. Each of `m_iMaxIterationsPropIDs` passes
    /// goes through all squares with an id that are not invalid and searches to the left, right, up and down, wherever
    /// `IsSpace`, by `FindHorNeighbor` and `FindVerNeighbor`. A neighbour k units away gets the id k steps on, and its
    /// units from the distance. In the first half of the passes searches reach 1.3 units, in the second half 2.3, so
    /// that a missing square is bridged (1.1 and 1.2, and relaxed, with `m_bFishEyeLens`). After each pass
    /// `DoubleCheckIds` undoes what does not fit, and `UpdateDistUnits` takes all units from the neighbours.
    ///
    /// Passes that only repeat earlier ones are not run, and of either half at most 1000 and 8 for each square, so that
    /// any number of passes ends. @return 0
    virtual ECalibError PropagateRectIds(int columns, int rows);

    /// Fills the gradient and edge images of the camera step from `eCamImageSmoothed`. Where the thresholds say so,
    /// each quarter of the image has thresholds of its own from the vertical gradients.
    /// @param range bits of the sub-pixel fraction
    /// @param checkHor, checkVer whether entries go where the gradient runs along the edge
    virtual void CreateEdgeImgs(LxCCalibData& data, int range, bool checkHor, bool checkVer);

    /// Also no mark points to an edge afterwards. It stands behind the operations above since it takes a place of its own
    /// in the table of this class, being one of the second base.
    void RemoveRectEdges() override;

    // The others.

    /// Whether the target goes on from square `id` in a direction of the image, see `HasNeighborInImage`.
    static bool IsSpace(int id, int columns, int rows, ECalibOrientation orientation, EDirection direction);

    /// Sets a square's horizontal unit to the mean distance of its left and right neighbours by id, as far as they are in
    /// the list, and its vertical unit likewise. Without neighbours, and for an id below 1, units stay.
    static void UpdateDistUnits(LxCCBRect& rect, const std::vector<LxCCBRect*>& list, int columns, int rows,
                                ECalibOrientation orientation);

    // Black areas: where the squares of the target are, 0.075 wider on each side. Positions and distances are in the
    // unit of the world coordinates, target frame.

    /// Takes the areas from the world coordinates, four for each square; what is left over makes none. @return 0
    ECalibError FillVectorBlackAreaOnTarget();

    /// Areas reach from their lower bounds, inclusive, to their upper bounds, exclusive.
    bool IsInsideBlackAreaOnTarget(double x, double y) const;

    /// The distance to the nearest centre of an area; the largest float divided by 1000 without areas.
    float GetDistToBlackAreaOnTarget(double x, double y) const;

    /// In 1/1000 of the world unit.
    const std::vector<LxCRoi>& GetBlackAreas() const { return m_vBlackAreas; }

    /// Which polarity the square of a corner has, by the corner's type and by whether its edges are maxima (bright to
    /// dark). `eP_NoCorner` without a type or an edge.
    static EPolarity DetPolarity(const LxCRectCornerCalibMark& mark);

    /// Sets a corner's quality from the mean contrast c (0 to 255) and the mean share o (percent) of oversaturated
    /// samples along both edges near the corner: (255 - c) / 255 + o / 5; 10.0 where an edge has no samples.
    static void AssessCornerQual(const CCTImage& image, LxCRectCornerCalibMark& corner,
                                 const LxCCBCalibThres& thres);

    /// Moves each mark that is used for calibration, and whose edges both have a corner at their other end, to where
    /// lines through the whole edges cross, entries near the corners left out. Needs `LxCCBCalibThres`.
    void ImprovePositionByEstimatedCorner();

    /// Moves each mark that is used for calibration to where two parabolas cross, each through all edges of one side of
    /// the squares of one row, or column, of the target. Needs ids.
    /// @param image if not null, the parabolas are drawn into it while the setting DrawMarkerPosForDebugging is on
    void ImprovePositionByPolyOverEntireImage(CCTImage* image);

    int GetNumDetectedRects() const { return static_cast<int>(m_vRects.size()); }

    /// A square of the first list; null for an index outside it. The target keeps it.
    LxCCBRect* GetDetectedRect(int index) const;

    /// The first square with this id; null without one.
    static LxCCBRect* FindRect(const std::vector<LxCCBRect*>& rects, int id);

    /// The square of the first list whose upper left corner is nearest to (x, y) among those less than `tol` off along
    /// either axis; the first one on a tie, null without one.
    LxCCBRect* FindRect(double x, double y, double tol) const;

    const std::vector<LxCCBRect*>& GetRects() const { return m_vRects; }
    const std::vector<LxCCBRect*>& GetRectsOfSecondPolarity() const { return m_vSecondRects; }
    const std::vector<LxCCalibMark*>& GetMarksOfSecondPolarity() const { return m_vSecondMarks; }

protected:
    /// Null where the thresholds are of another type.
    LxCCBCalibThres* GetCBThres() { return const_cast<LxCCBCalibThres*>(std::as_const(*this).GetCBThres()); }
    const LxCCBCalibThres* GetCBThres() const;

    std::vector<LxCCBRect*> m_vRects;          ///< owned, never null
    std::vector<LxCCBRect*> m_vSecondRects;    ///< owned, never null
    std::vector<LxCCalibMark*> m_vSecondMarks; ///< owned, never null
    std::vector<LxCRoi> m_vBlackAreas;         ///< 1/1000 of the world unit, target frame

private:
    /// Null for an id without coordinates.
    const LxC3DCoordsCCT* FindWorldCoords(int id) const;

    ECalibError FindCorners(LxCCalibData& data, const LxCCBCalibThres& thres, bool debug);
    bool PrepareImages(LxCCalibData& data, const LxCCBCalibThres& thres, bool debug);
};

} // namespace LxCV
