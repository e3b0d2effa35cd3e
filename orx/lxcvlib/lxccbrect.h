// A square of a calibration target, found in an image.
#pragma once

#include "orx/base/export.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace LxCV {

class LxCRectCornerCalibMark;

/// The four corners of a square, in the order upper left, upper right, lower left, lower right, null where one is
/// not known; its id in the target's numbering, 0 while not identified; and the pitch of the squares around it,
/// pixels, horizontally and vertically. The corners are not owned; while this square is theirs they must not outlive
/// it without being told.
///
/// Positions are those of the image: x to the right, y downwards, pixels.
class ORX_EXPORT LxCCBRect
{
public:
    LxCRectCornerCalibMark* GetULCorner() const { return m_aCorners[0]; }
    LxCRectCornerCalibMark* GetURCorner() const { return m_aCorners[1]; }
    LxCRectCornerCalibMark* GetLLCorner() const { return m_aCorners[2]; }
    LxCRectCornerCalibMark* GetLRCorner() const { return m_aCorners[3]; }

    void SetULCorner(LxCRectCornerCalibMark* corner) { m_aCorners[0] = corner; }
    void SetURCorner(LxCRectCornerCalibMark* corner) { m_aCorners[1] = corner; }
    void SetLLCorner(LxCRectCornerCalibMark* corner) { m_aCorners[2] = corner; }
    void SetLRCorner(LxCRectCornerCalibMark* corner) { m_aCorners[3] = corner; }

    /// In the stored order.
    const std::array<LxCRectCornerCalibMark*, 4>& GetCorners() const { return m_aCorners; }

    int GetId() const { return m_iId; }
    void SetId(int id) { m_iId = id; }

    double GetHorDistUnit() const { return m_dHorDistUnit; } ///< pixels
    double GetVerDistUnit() const { return m_dVerDistUnit; } ///< pixels
    void SetHorDistUnit(double unit) { m_dHorDistUnit = unit; }
    void SetVerDistUnit(double unit) { m_dVerDistUnit = unit; }
    void SetDistUnits(double horizontal, double vertical)
    {
        m_dHorDistUnit = horizontal;
        m_dVerDistUnit = vertical;
    }

    bool HasFourCorners() const;

    /// Completes the square that `corner` is one of, along the edges that the corners share.
    ///
    /// The walk begins at an upper left or a lower right corner: `corner`, or the first such neighbour of it. From
    /// there the neighbours of the fitting types become corners of this square, unless they are another's. Of the
    /// corner that lies across only a lower right anchor asks whether it is another's; that is deliberate. Three
    /// corners make a fourth, virtual one, where the edges that end at the gap cross; it takes their places there.
    /// @param virtualCorner receives the fourth corner that was made, null if none was. It is to live as long as the
    ///        edges do, also where the square is refused
    /// @param checkPlausible whether a square must be plausible
    /// @return whether there is a square; else this one has no corners, and those found are of no square
    /// Throws std::bad_alloc without memory for a fourth corner; then no corner has become one of this square, which is
    /// to be dropped or completed anew.
    bool DetRemCorners(LxCRectCornerCalibMark* corner, std::unique_ptr<LxCRectCornerCalibMark>& virtualCorner,
                       bool checkPlausible);

    /// Whether four valid corners lie at the ends of four edges, each edge with the two corners of a side of the
    /// square and in their order, and opposite sides are about equally long: both quotients, top by bottom and left
    /// by right, from 0.7 to 1.3, or both differences less than 3 pixels. Sides are extents in x, or in y. False for
    /// a bottom or a right side of no extent.
    bool IsPlausible() const;

    /// The mean of the left corners' mean x and the right corners' mean x; -1.0 if one side has no corner.
    double GetXCenter() const;

    /// The mean of the upper corners' mean y and the lower corners' mean y; -1.0 if one side has no corner.
    double GetYCenter() const;

    /// How far `other` lies to the right: the mean over the corners that both have, 0.0 if there are none or for
    /// null. Negative to the left.
    double GetXDist(const LxCCBRect* other) const;

    /// How far `other` lies below, in the same way.
    double GetYDist(const LxCCBRect* other) const;

    /// Whether each corner lies inside the same corner of `other`, strictly and in both axes. False unless both
    /// squares have four corners.
    bool IsEnclosedBy(const LxCCBRect& other) const;

    /// Whether a corner is missing or invalid.
    bool IsInvalid() const;

    /// Makes the corners invalid that there are.
    void MakeInvalid();

    /// The first id that a corner was assigned by hand, asked in the order upper left, lower left, upper right, lower
    /// right; 0 if there is none.
    int GetManAssignedId() const;

    // The next square along the row or the column of the grid that this square is one of.
    //
    // The row is what lies between two lines: through the end of the upper right corner's horizontal edge and through
    // that of the lower left corner's. A candidate is another square of the list without an id and with all corners.
    // With the distance d to it, and e the root of the sum of squares by which its upper corners miss the upper line
    // and its lower ones the lower line, across the row, it is a neighbour if
    //
    //     0 < d < limit  and  e / 2 < deviation  and  0.3 - q < t < 0.7 + q / 2      q = 0.2 if relaxed, else 0
    //
    // d counts in the direction of the search. t is the fraction of |d / unit| + 0.5, 0.5 for a whole number of
    // units, with the unit of this square along the row; 0.5 if that is 0. Columns are the same with x and y
    // exchanged.

    /// @param list searched; may hold this square
    /// @param limit, deviation pixels
    /// @return the index of the nearest neighbour, the first of equally near ones; -1 if there is none, for a null
    ///         list, and if a side has no corner, no edge or no line
    int FindHorNeighbor(const std::vector<LxCCBRect*>* list, bool toRight, double limit, double deviation,
                        bool relaxed) const;
    int FindVerNeighbor(const std::vector<LxCCBRect*>* list, bool upward, double limit, double deviation,
                        bool relaxed) const;

private:
    void FindCornersFromUpperLeft(LxCRectCornerCalibMark& anchor);
    void FindCornersFromLowerRight(LxCRectCornerCalibMark& anchor);
    void MakeFourthCorner(std::unique_ptr<LxCRectCornerCalibMark>& virtualCorner);
    bool HasSharedEdges() const;

    std::array<LxCRectCornerCalibMark*, 4> m_aCorners{}; ///< not owned
    int m_iId = 0;
    double m_dHorDistUnit = 0.0; ///< pixels
    double m_dVerDistUnit = 0.0; ///< pixels
};

} // namespace LxCV
