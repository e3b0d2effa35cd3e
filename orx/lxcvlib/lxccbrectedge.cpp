// An edge of a target's squares, with the corners at its ends.
#include "lxccbrectedge.h"

namespace LxCV {

void LxCCBRectEdge::RemoveCorner(const LxCRectCornerCalibMark* corner)
{
    if (m_pStartCorner == corner) {
        m_pStartCorner = nullptr;
    }
    if (m_pEndCorner == corner) {
        m_pEndCorner = nullptr;
    }
}

} // namespace LxCV
