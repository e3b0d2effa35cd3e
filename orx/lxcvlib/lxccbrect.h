// A square of a calibration target, found in an image.
#pragma once

#include "orx/base/export.h"

namespace LxCV {

class LxCRectCornerCalibMark;

/// The four corners of a square, in the order upper left, upper right, lower left, lower right, null where one is
/// not known; its id in the target's numbering, 0 while not identified; and the pitch of the squares around it,
/// pixels, horizontally and vertically. The corners are not owned.
class ORX_EXPORT LxCCBRect
{
public:
    LxCRectCornerCalibMark* GetULCorner() const { return m_pULCorner; }
    LxCRectCornerCalibMark* GetURCorner() const { return m_pURCorner; }
    LxCRectCornerCalibMark* GetLLCorner() const { return m_pLLCorner; }
    LxCRectCornerCalibMark* GetLRCorner() const { return m_pLRCorner; }

    void SetULCorner(LxCRectCornerCalibMark* corner) { m_pULCorner = corner; }
    void SetURCorner(LxCRectCornerCalibMark* corner) { m_pURCorner = corner; }
    void SetLLCorner(LxCRectCornerCalibMark* corner) { m_pLLCorner = corner; }
    void SetLRCorner(LxCRectCornerCalibMark* corner) { m_pLRCorner = corner; }

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

private:
    LxCRectCornerCalibMark* m_pULCorner = nullptr; ///< not owned
    LxCRectCornerCalibMark* m_pURCorner = nullptr; ///< not owned
    LxCRectCornerCalibMark* m_pLLCorner = nullptr; ///< not owned
    LxCRectCornerCalibMark* m_pLRCorner = nullptr; ///< not owned
    int m_iId = 0;
    double m_dHorDistUnit = 0.0; ///< pixels
    double m_dVerDistUnit = 0.0; ///< pixels
};

} // namespace LxCV
