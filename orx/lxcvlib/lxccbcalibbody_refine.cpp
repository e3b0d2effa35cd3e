// Corners of a checkerboard target moved to where longer stretches of edges cross.
#include "c2dstraightline.h"
#include "cctimage.h"
#include "floattointeger.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxccbrectedge.h"
#include "lxccolorvalueargb8.h"
#include "lxclxcvlibsettings.h"
#include "lxcrectcornercalibmark.h"
#include "matrixroutines.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <unordered_map>
#include <vector>

namespace LxCV {

namespace {

using Corner = LxCRectCornerCalibMark;

constexpr std::size_t c_uiMaxPoints = 700; // of one parabola
constexpr int c_iDegree = 2;

bool HasBothCorners(const LxCCBRectEdge* edge)
{
    return edge != nullptr && edge->GetCorner(true) != nullptr && edge->GetCorner(false) != nullptr;
}

/// The line through an edge without what lies near its corners.
bool FitBetweenCorners(const LxCCBRectEdge& edge, bool horizontal, int exclusion, C2DStraightLine& line)
{
    double residual = 0.0;
    return edge.FitToStrLine(&line, edge.GetCorner(true)->GetImageCoords(),
                             edge.GetCorner(false)->GetImageCoords(), horizontal, exclusion, residual, true);
}

/// Where a corner's square stands on the grid, and which of the square's sides meet there.
struct SGridPlace
{
    int column;
    int row;
    bool isUpper;
    bool isLeft;
};

/// Deliberately the remainder of the id itself: the last square of a target's row counts to the next one.
SGridPlace PlaceOf(const Corner& corner, int columns, LxCCalibBody::ECalibOrientation orientation)
{
    const int rectId = corner.GetRectId();
    const int remainder = rectId % columns;
    const int quotient = (rectId - remainder) / columns;
    const bool isSwapped = orientation == 1 || orientation == 3;
    const Corner::EType type = corner.GetType();
    return {isSwapped ? quotient : remainder, isSwapped ? remainder : quotient,
            type == Corner::eUpperLeft || type == Corner::eUpperRight,
            type == Corner::eUpperLeft || type == Corner::eLowerLeft};
}

/// The points of one curve: positions along the edges and values across.
struct SCurvePoints
{
    void Add(const LxCCBRectEdge& edge)
    {
        for (int i = 0; i < edge.GetLen() && positions.size() < c_uiMaxPoints; ++i) {
            if (!edge.GetElement(i).IsContorGap()) {
                positions.push_back(edge.First() + i);
                values.push_back(edge.GetElementWSubpixelAcc(i));
            }
        }
    }

    std::vector<double> positions;
    std::vector<double> values;
};

using Parabola = std::array<double, c_iDegree + 1>; // coefficients in ascending order

std::optional<Parabola> Fit(const SCurvePoints& points)
{
    Parabola parabola{};
    const bool isFitted =
        FitPolynomial(points.positions.data(), points.values.data(),
                      static_cast<int>(points.positions.size()), c_iDegree, parabola.data());
    return isFitted ? std::optional(parabola) : std::nullopt;
}

/// A parabola for each line of the grid, and which edges lie on it.
class CGridCurves
{
public:
    CGridCurves(const std::vector<LxCCalibMark*>& marks, int columns,
                LxCCalibBody::ECalibOrientation orientation)
    {
        for (LxCCalibMark* mark : marks) {
            const auto* const corner = dynamic_cast<const Corner*>(mark);
            if (corner != nullptr && !corner->IsInvalid() && corner->GetRectId() > 0) {
                m_vCorners.push_back({corner, PlaceOf(*corner, columns, orientation)});
            }
        }
        for (const SPlacedCorner& seed : m_vCorners) {
            if (seed.corner->UseForCalib()) {
                AddCurve(seed, true);
                AddCurve(seed, false);
            }
        }
    }

    /// Null where there is none.
    const Parabola* Of(const LxCCBRectEdge* edge) const
    {
        const auto found = m_CurveOfEdge.find(edge);
        const bool exists = found != m_CurveOfEdge.end() && m_vCurves[found->second].has_value();
        return exists ? &*m_vCurves[found->second] : nullptr;
    }

    void Draw(CCTImage& image) const
    {
        for (std::size_t i = 0; i < m_vCurves.size(); ++i) {
            if (m_vCurves[i].has_value()) {
                const int size = m_vbHorizontal[i] ? image.GetWidth() : image.GetHeight();
                image.DrawPolynomial(*m_vCurves[i], m_vbHorizontal[i], 0, size - 1,
                                     LxCColorValueARGB8::eMagenta);
            }
        }
    }

private:
    struct SPlacedCorner
    {
        const Corner* corner;
        SGridPlace place;

        const LxCCBRectEdge* Edge(bool horizontal) const
        {
            return horizontal ? corner->GetHorEdge() : corner->GetVerEdge();
        }
    };

    static bool AreOnOneLine(const SGridPlace& a, const SGridPlace& b, bool horizontal)
    {
        return horizontal ? a.row == b.row && a.isUpper == b.isUpper
                          : a.column == b.column && a.isLeft == b.isLeft;
    }

    /// The curve of the line that the seed's edge lies on, unless there is one.
    void AddCurve(const SPlacedCorner& seed, bool horizontal)
    {
        if (seed.Edge(horizontal) == nullptr || m_CurveOfEdge.contains(seed.Edge(horizontal))) {
            return;
        }
        SCurvePoints points;
        Take(seed.Edge(horizontal), points);
        for (const SPlacedCorner& other : m_vCorners) {
            const LxCCBRectEdge* const edge = other.Edge(horizontal);
            if (edge != nullptr && AreOnOneLine(seed.place, other.place, horizontal) &&
                !m_CurveOfEdge.contains(edge)) {
                Take(edge, points);
            }
        }
        m_vCurves.push_back(Fit(points));
        m_vbHorizontal.push_back(horizontal);
    }

    void Take(const LxCCBRectEdge* edge, SCurvePoints& points)
    {
        points.Add(*edge);
        m_CurveOfEdge.emplace(edge, m_vCurves.size());
    }

    std::vector<SPlacedCorner> m_vCorners;
    std::unordered_map<const LxCCBRectEdge*, std::size_t> m_CurveOfEdge;
    std::vector<std::optional<Parabola>> m_vCurves;
    std::vector<bool> m_vbHorizontal;
};

} // namespace

void LxCCBCalibBody::ImprovePositionByEstimatedCorner()
{
    const LxCCBCalibThres* const thres = GetCBThres();
    if (thres == nullptr) {
        return;
    }
    for (LxCCalibMark* mark : m_vMarks) {
        auto* const corner = dynamic_cast<Corner*>(mark);
        if (corner == nullptr || !corner->UseForCalib() || !HasBothCorners(corner->GetHorEdge()) ||
            !HasBothCorners(corner->GetVerEdge())) {
            continue;
        }
        C2DStraightLine hor;
        C2DStraightLine ver;
        double x = 0.0;
        double y = 0.0;
        if (FitBetweenCorners(*corner->GetHorEdge(), true, thres->m_iSkip, hor) &&
            FitBetweenCorners(*corner->GetVerEdge(), false, thres->m_iSkip, ver) &&
            hor.Intersect(&ver, &x, &y) && std::isfinite(x) && std::isfinite(y)) {
            corner->SetXImg(x);
            corner->SetYImg(y);
        }
    }
}

void LxCCBCalibBody::ImprovePositionByPolyOverEntireImage(CCTImage* image)
{
    const LxCCBCalibThres* const thres = GetCBThres();
    if (thres == nullptr || thres->m_iNrOfCols < 1) {
        return;
    }
    const CGridCurves curves(m_vMarks, thres->m_iNrOfCols, m_eOrientation);
    if (image != nullptr && LxCLxCVLibSettings::IsDrawMarkerPosForDebugging()) {
        curves.Draw(*image);
    }
    for (LxCCalibMark* mark : m_vMarks) {
        auto* const corner = dynamic_cast<Corner*>(mark);
        if (corner == nullptr || !corner->UseForCalib()) {
            continue;
        }
        const Parabola* const hor = curves.Of(corner->GetHorEdge());
        const Parabola* const ver = curves.Of(corner->GetVerEdge());
        double x = 0.0;
        double y = 0.0;
        if (hor != nullptr && ver != nullptr &&
            Corner::IntersectPolysDeg2(hor->data(), ver->data(), x, y, TruncateTo<int>(corner->GetXImg()))) {
            corner->SetXImg(x);
            corner->SetYImg(y);
        }
    }
}

} // namespace LxCV
