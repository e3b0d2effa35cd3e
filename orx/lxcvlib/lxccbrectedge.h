// An edge of a target's squares, with the corners at its ends.
#pragma once

#include "cstraightedge.h"
#include "orx/base/export.h"

namespace LxCV {

class LxCRectCornerCalibMark;

/// A straight edge with one corner at its start and one at its end: the left and the right one of a horizontal edge,
/// the upper and the lower one of a vertical edge. Both are null at first; neither is owned.
class ORX_EXPORT LxCCBRectEdge : public CStraightEdge
{
public:
    explicit LxCCBRectEdge(EOrientation orientation) : CStraightEdge(orientation) {}

    LxCRectCornerCalibMark* GetLeftCorner() const { return m_pStartCorner; }
    LxCRectCornerCalibMark* GetRightCorner() const { return m_pEndCorner; }
    LxCRectCornerCalibMark* GetUpperCorner() const { return m_pStartCorner; }
    LxCRectCornerCalibMark* GetLowerCorner() const { return m_pEndCorner; }

    void SetLeftCorner(LxCRectCornerCalibMark* corner) { m_pStartCorner = corner; }
    void SetRightCorner(LxCRectCornerCalibMark* corner) { m_pEndCorner = corner; }
    void SetUpperCorner(LxCRectCornerCalibMark* corner) { m_pStartCorner = corner; }
    void SetLowerCorner(LxCRectCornerCalibMark* corner) { m_pEndCorner = corner; }

    /// The corner at the start of the edge, or the one at its end, whatever the orientation.
    LxCRectCornerCalibMark* GetCorner(bool atStart) const { return atStart ? m_pStartCorner : m_pEndCorner; }
    void SetCorner(bool atStart, LxCRectCornerCalibMark* corner)
    {
        (atStart ? m_pStartCorner : m_pEndCorner) = corner;
    }

    /// Frees the places that hold this corner.
    void RemoveCorner(const LxCRectCornerCalibMark* corner);

private:
    LxCRectCornerCalibMark* m_pStartCorner = nullptr; ///< not owned
    LxCRectCornerCalibMark* m_pEndCorner = nullptr;   ///< not owned
};

} // namespace LxCV
