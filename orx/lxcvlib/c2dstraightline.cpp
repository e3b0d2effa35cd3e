// A straight line in the image plane, for edge fits on calibration targets.
#include "c2dstraightline.h"

#include <cmath>
#include <limits>
#include <utility>

namespace LxCV {

C2DStraightLine::C2DStraightLine(const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b)
{
    InitFromPoints(a.x, a.y, b.x, b.y);
}

bool C2DStraightLine::InitFromPoints(const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b)
{
    return !(a == b) && InitFromPoints(a.x, a.y, b.x, b.y);
}

bool C2DStraightLine::InitFromPoints(double x1, double y1, double x2, double y2)
{
    m_dBaseX = x1;
    m_dBaseY = y1;
    m_dDirX = x2 - x1;
    m_dDirY = y2 - y1;
    return x1 != x2 || y1 != y2;
}

bool C2DStraightLine::InitFromPointAndDirection(const LxCSensorCoordsCCT& point,
                                                const LxCSensorCoordsCCT& direction)
{
    if (direction.x == 0.0 && direction.y == 0.0) {
        return false;
    }
    m_dBaseX = point.x;
    m_dBaseY = point.y;
    m_dDirX = direction.x;
    m_dDirY = direction.y;
    return true;
}

bool C2DStraightLine::InitFromSlopeAndIntercept(double slope, double intercept)
{
    m_dBaseX = 0.0;
    m_dBaseY = intercept;
    m_dDirX = 1.0;
    m_dDirY = slope;
    return true;
}

double C2DStraightLine::GetSlope() const
{
    return IsVertical() ? std::numeric_limits<double>::max() : m_dDirY / m_dDirX;
}

double C2DStraightLine::f(double x) const
{
    return (x - m_dBaseX) * GetSlope() + m_dBaseY;
}

double C2DStraightLine::GetDistToPoint(const LxCSensorCoordsCCT& point) const
{
    return GetDistToPoint(point.x, point.y);
}

double C2DStraightLine::GetDistToPoint(double x, double y) const
{
    const double relX = x - m_dBaseX;
    const double relY = y - m_dBaseY;
    const double t = (relX * m_dDirX + relY * m_dDirY) / (m_dDirX * m_dDirX + m_dDirY * m_dDirY);
    const double toFootX = t * m_dDirX - relX;
    const double toFootY = t * m_dDirY - relY;
    return std::sqrt(toFootX * toFootX + toFootY * toFootY);
}

bool C2DStraightLine::PointIsRightOf(const LxCSensorCoordsCCT& p) const
{
    return (p.y - m_dBaseY) * m_dDirX - (p.x - m_dBaseX) * m_dDirY > 0.0;
}

bool C2DStraightLine::Intersect(const C2DStraightLine* other, double* x, double* y) const
{
    if (!other || !x || !y || (m_dDirX == other->m_dDirX && m_dDirY == other->m_dDirY)) {
        return false;
    }
    const double t =
        ((m_dBaseY - other->m_dBaseY) * other->m_dDirX - (m_dBaseX - other->m_dBaseX) * other->m_dDirY) /
        (m_dDirX * other->m_dDirY - other->m_dDirX * m_dDirY);
    *x = m_dDirX * t + m_dBaseX;
    *y = m_dDirY * t + m_dBaseY;
    return true;
}

void C2DStraightLine::Invert()
{
    std::swap(m_dBaseX, m_dBaseY);
    std::swap(m_dDirX, m_dDirY);
}

} // namespace LxCV
