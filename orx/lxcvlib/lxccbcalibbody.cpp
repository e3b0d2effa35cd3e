// Life and lookup of the checkerboard target.
#include "lxccbcalibbody.h"

#include "lxccbcalibthres.h"
#include "lxccbrect.h"
#include "lxcrectcornercalibmark.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>

namespace LxCV {

namespace {

constexpr double c_dPi = 3.1415926535; // as precise as angles of squares have always been told
constexpr double c_dHalfTurn = 180.0;  // degrees

void DeleteRects(std::vector<LxCCBRect*>& rects)
{
    for (const LxCCBRect* rect : rects) {
        delete rect;
    }
    rects.clear();
}

template <typename Action>
void ForEachCorner(const std::vector<LxCCalibMark*>& marks, Action action)
{
    for (LxCCalibMark* mark : marks) {
        if (auto* corner = dynamic_cast<LxCRectCornerCalibMark*>(mark); corner != nullptr) {
            action(*corner);
        }
    }
}

/// The interval that holds all values, widened at both ends by a part of its length.
struct SInterval
{
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();

    void Add(double value)
    {
        low = std::min(low, value);
        high = std::max(high, value);
    }

    void Widen(double part)
    {
        const double margin = (high - low) * part;
        low -= margin;
        high += margin;
    }
};

} // namespace

LxCCBCalibBody::LxCCBCalibBody(bool createThres) : LxCCalibBody(false)
{
    if (createThres) {
        m_pThres = std::make_unique<LxCCBCalibThres>();
    }
    m_sCoordFile = sc_FilenameReadFromRegistry;
}

LxCCBCalibBody::~LxCCBCalibBody()
{
    DeleteRects(m_vRects);
    DeleteRects(m_vSecondRects);
    DeleteMarks(m_vSecondMarks);
}

const LxCCBCalibThres* LxCCBCalibBody::GetCBThres() const
{
    return dynamic_cast<const LxCCBCalibThres*>(m_pThres.get());
}

void LxCCBCalibBody::Reset()
{
    RemoveRectEdges();
    RemoveRects();
    LxCCalibBody::Reset();
    DeleteMarks(m_vSecondMarks);
}

void LxCCBCalibBody::RemoveRectEdges()
{
    for (const auto* marks : {&m_vMarks, &m_vSecondMarks}) {
        ForEachCorner(*marks, [](LxCRectCornerCalibMark& corner) { corner.SetEdges(nullptr, nullptr); });
    }
    LxCRectEdgeLocator::RemoveRectEdges();
}

void LxCCBCalibBody::RemoveRects()
{
    for (const auto* marks : {&m_vMarks, &m_vSecondMarks}) {
        ForEachCorner(*marks, [](LxCRectCornerCalibMark& corner) { corner.SetRect(nullptr); });
    }
    DeleteRects(m_vRects);
    DeleteRects(m_vSecondRects);
}

ECalibError LxCCBCalibBody::GetPositionInWC(double* minX, double* minY, double* maxX, double* maxY) const
{
    if (minX == nullptr || minY == nullptr || maxX == nullptr || maxY == nullptr || m_vWorldCoords.empty()) {
        return LxCCalibBody::GetPositionInWC(minX, minY, maxX, maxY);
    }
    SInterval x;
    SInterval y;
    for (const LxC3DCoordsCCT& point : m_vWorldCoords) {
        x.Add(point.x);
        y.Add(point.y);
    }
    x.Widen(GetThresOrDefaults().m_dMarginPercent);
    y.Widen(GetThresOrDefaults().m_dMarginPercent);
    *minX = x.low;
    *minY = y.low;
    *maxX = x.high;
    *maxY = y.high;
    return eCalibOk;
}

double LxCCBCalibBody::ComputeCornerAngle(int a, int b, int c) const
{
    const LxCCBRect* const first = GetDetectedRect(a);
    const LxCCBRect* const apex = GetDetectedRect(b);
    const LxCCBRect* const last = GetDetectedRect(c);
    if (first == nullptr || apex == nullptr || last == nullptr) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    const double ux = first->GetXCenter() - apex->GetXCenter();
    const double uy = first->GetYCenter() - apex->GetYCenter();
    const double vx = last->GetXCenter() - apex->GetXCenter();
    const double vy = last->GetYCenter() - apex->GetYCenter();
    const double cosine = (ux * vx + uy * vy) / (std::sqrt(ux * ux + uy * uy) * std::sqrt(vx * vx + vy * vy));
    // Rounding may take the cosine of parallel directions beyond 1. Written so that what is no number stays so.
    return std::acos(cosine > 1.0 ? 1.0 : cosine < -1.0 ? -1.0 : cosine) * c_dHalfTurn / c_dPi;
}

LxCCBRect* LxCCBCalibBody::GetDetectedRect(int index) const
{
    const bool isInside = index >= 0 && index < GetNumDetectedRects();
    return isInside ? m_vRects[static_cast<std::size_t>(index)] : nullptr;
}

LxCCBRect* LxCCBCalibBody::FindRect(const std::vector<LxCCBRect*>& rects, int id)
{
    const auto found =
        std::find_if(rects.begin(), rects.end(), [id](const LxCCBRect* rect) { return rect->GetId() == id; });
    return found == rects.end() ? nullptr : *found;
}

LxCCBRect* LxCCBCalibBody::FindRect(double x, double y, double tol) const
{
    LxCCBRect* nearest = nullptr;
    double leastSquare = std::numeric_limits<double>::infinity();
    for (LxCCBRect* rect : m_vRects) {
        const LxCRectCornerCalibMark* const corner = rect->GetULCorner();
        if (corner == nullptr) {
            continue;
        }
        const double dx = corner->GetXImg() - x;
        const double dy = corner->GetYImg() - y;
        const double square = dx * dx + dy * dy;
        if (std::abs(dx) < tol && std::abs(dy) < tol && square < leastSquare) {
            leastSquare = square;
            nearest = rect;
        }
    }
    return nearest;
}

} // namespace LxCV
