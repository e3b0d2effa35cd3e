// A corner of a square of a calibration target.
#pragma once

#include "lxccalibmark.h"
#include "orx/base/export.h"

#include <memory>
#include <string>

namespace LxCV {

class CCTImage;
class LxCCBCalibThres;
class LxCCBRect;
class LxCCBRectEdge;

/// The mark where a horizontal and a vertical edge of a square cross. Its id follows from that of its square and
/// from which of the four corners it is:
///
///     id = 4 * square + type - 4        square n has the ids 4n - 3 to 4n
///
/// Stored beside the fields of a mark: type, whether it is virtual, that is computed and never seen, both edges and
/// the square, none of which it owns, and a square's id that was assigned by hand.
///
/// The order of the virtual operations is fixed, as in the base.
class ORX_EXPORT LxCRectCornerCalibMark : public LxCCalibMark
{
public:
    enum EType : int
    {
        eNone = 0,
        eUpperLeft = 1,
        eUpperRight = 2,
        eLowerLeft = 3,
        eLowerRight = 4
    };

    explicit LxCRectCornerCalibMark(bool isVirtual) : m_bVirtual(isVirtual) {}

    /// @param x, y pixels
    /// @param atHorStart, atVerStart whether the corner lies at the start of the horizontal edge, that is on the
    ///        left, and at that of the vertical edge, that is at the top
    LxCRectCornerCalibMark(double x, double y, LxCCBRectEdge* horEdge, LxCCBRectEdge* verEdge,
                           bool atHorStart, bool atVerStart);

    /// The type of a corner at the start, or at the end, of its edges.
    static EType TypeOf(bool atHorStart, bool atVerStart);

    /// 0 unless both the square's id and the type are known. An id beyond int becomes the nearest int.
    int GetId() const override;

    /// As in the base, and not for a virtual corner.
    bool UseForCalib() const override;

    /// Appends the square's id, "-" and the type, such as "12-3"; `withPosition` also ": ", x, ", " and y with two
    /// decimals.
    void Sprint(std::string& out, bool withPosition) const override;

    /// All fields as constructed and not virtual, except for the quality limit, which stays. The edges are not told:
    /// see `ResetCorner`.
    void Reset() override;

    /// Edges and rectangle are those of the original.
    std::unique_ptr<LxCCalibMark> Clone() const override
    {
        return std::make_unique<LxCRectCornerCalibMark>(*this);
    }

    virtual bool IsVirtual() const { return m_bVirtual; }
    virtual bool IsRectIdManAssigned() const { return m_iManRectId > 0; }
    virtual void AssignIdMan(int rectId) { m_iManRectId = rectId; }

    /// The square's id that was assigned by hand, else that of the square, else 0.
    virtual int GetRectId() const;

    LxCCBRectEdge* GetHorEdge() const { return m_pHorEdge; }
    LxCCBRectEdge* GetVerEdge() const { return m_pVerEdge; }
    void SetEdges(LxCCBRectEdge* horEdge, LxCCBRectEdge* verEdge)
    {
        m_pHorEdge = horEdge;
        m_pVerEdge = verEdge;
    }

    LxCCBRect* GetRect() const { return m_pRect; }
    void SetRect(LxCCBRect* rect) { m_pRect = rect; }
    bool IsPartOfRect() const { return m_pRect != nullptr; }

    EType GetType() const { return m_eType; }
    void SetType(EType type) { m_eType = type; }

    // The corner at the same end of the same edge as the name tells; null without an edge, and where that corner is
    // this one.

    LxCRectCornerCalibMark* GetLeftNeighbor() const;
    LxCRectCornerCalibMark* GetRightNeighbor() const;
    LxCRectCornerCalibMark* GetUpperNeighbor() const;
    LxCRectCornerCalibMark* GetLowerNeighbor() const;

    /// Decides whether two edges that cross near pixel (x, y) have a corner there, and places it.
    ///
    /// A corner lies within `m_iMaxDistCornerToEdgeEnd` of one end of each edge and `m_iMinDistCornerToOppEdgeEnd` or
    /// more from its other end, and no other corner has that end. It is where lines through the last `m_iNrOfSamples`
    /// entries of both edges cross, `m_iSkip` of them left out; with `m_bUseParabolaFit`, where parabolas do, unless
    /// an edge is too short for them. A corner on lines with a residual above 3 pixels is not used for calibration.
    /// @param image if not null, the two curves are drawn into it, the horizontal one green, the vertical one red
    /// @return whether it is a corner; then the mark has position, edges and type, and both edges have it as a corner.
    ///         Else neither the mark nor the edges have changed. False for a null edge
    bool DetPosByIntersec(LxCCBRectEdge* horEdge, LxCCBRectEdge* verEdge, int x, int y,
                          const LxCCBCalibThres& thres, CCTImage* image = nullptr);

    /// Takes back a successful `DetPosByIntersec`: leaves both edges, and can be used again.
    void ResetCorner();

    /// Intersects y = A(x) with x = B(y) for x from `seed` - 4 to `seed` + 5.9. The first crossing is found to
    /// within 1e-7; two in one tenth of a pixel are not seen.
    /// @param polyA, polyB three coefficients in ascending order
    /// @return false, with x and y untouched, if there is none, for a null pointer, and for values that are not finite
    static bool IntersectPolysDeg2(const double* polyA, const double* polyB, double& x, double& y,
                                   double seed);

private:
    EType m_eType = eNone;
    bool m_bVirtual;
    LxCCBRectEdge* m_pHorEdge = nullptr; ///< not owned
    LxCCBRectEdge* m_pVerEdge = nullptr; ///< not owned
    LxCCBRect* m_pRect = nullptr;        ///< not owned
    int m_iManRectId = 0;
};

} // namespace LxCV
