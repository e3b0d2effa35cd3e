// Positions of the marks on the projector's slide, improved by what rows of marks have in common.
#include "cctimage.h"
#include "curvefamily.h"
#include "floattointeger.h"
#include "lxccolorvalueargb8.h"
#include "lxclxcvlibsettings.h"
#include "lxcprojslidecalibbody.h"
#include "lxcrectcornercalibmark.h"
#include "matrixroutines.h"
#include "orx/logging/logger.h"
#include "slidemarkplace.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_set>
#include <vector>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCProjSlideCalibBody");

constexpr std::size_t c_uiMinCurves = 4;
constexpr std::size_t c_uiMinEdges = 2;
constexpr std::size_t c_uiMinEdgesOfParabola = 3;
constexpr int c_iDegree = 2;
constexpr double c_dMiddleRow = 249.0; // pixels; where the column of a row of marks is told
constexpr int c_iMaskTolerance = 25;   // pixels around that column
constexpr int c_iUnknownRow = -1;

using KnownEdges = std::unordered_set<const LxCCBRectEdge*>;

/// The marks of one row and side, and their vertical edges.
struct SGroup
{
    SSlideMarkPlace place;
    std::vector<LxCRectCornerCalibMark*> marks;
    std::vector<const LxCCBRectEdge*> edges; ///< each once

    void Add(LxCRectCornerCalibMark& mark, KnownEdges& known)
    {
        if (known.insert(mark.GetVerEdge()).second) {
            edges.push_back(mark.GetVerEdge());
        }
        marks.push_back(&mark);
    }

    /// x as a function of y through all edges; false for a single one.
    bool Fit(std::array<double, 3>& curve) const
    {
        if (edges.size() < c_uiMinEdges) {
            return false;
        }
        std::vector<double> positions;
        std::vector<double> values;
        for (const LxCCBRectEdge* edge : edges) {
            for (int i = 0; i < edge->GetLen(); ++i) {
                if (!edge->GetElement(i).IsContorGap()) {
                    positions.push_back(static_cast<double>(edge->First()) + i);
                    values.push_back(edge->GetElementWSubpixelAcc(i));
                }
            }
        }
        const int degree = edges.size() < c_uiMinEdgesOfParabola ? c_iDegree - 1 : c_iDegree;
        curve = {};
        return FitPolynomial(positions.data(), values.data(), static_cast<int>(positions.size()), degree,
                             curve.data());
    }
};

/// All marks of the row and side of `seed` that are not invalid.
SGroup GroupOf(const LxCRectCornerCalibMark& seed, const std::vector<LxCRectCornerCalibMark*>& corners,
               const LxCCProjSlideCalibThres& thres, KnownEdges& known)
{
    SGroup group{SSlideMarkPlace(seed.GetId(), thres.m_iNrOfCols), {}, {}};
    for (LxCRectCornerCalibMark* mark : corners) {
        if (mark->GetVerEdge() != nullptr && SSlideMarkPlace::IsKnown(*mark, thres) &&
            SSlideMarkPlace(mark->GetId(), thres.m_iNrOfCols) == group.place) {
            group.Add(*mark, known);
        }
    }
    return group;
}

/// The groups of all marks that are used for calibration. No mark is in two of them.
std::vector<SGroup> FindGroups(const std::vector<LxCRectCornerCalibMark*>& corners,
                               const LxCCProjSlideCalibThres& thres)
{
    std::vector<SGroup> groups;
    KnownEdges known;
    for (const LxCRectCornerCalibMark* seed : corners) {
        if (seed->UseForCalib() && seed->GetVerEdge() != nullptr && !known.contains(seed->GetVerEdge()) &&
            SSlideMarkPlace::IsKnown(*seed, thres)) {
            groups.push_back(GroupOf(*seed, corners, thres, known));
        }
    }
    return groups;
}

/// Notes the column of a left side in the middle of the image, where its row of marks is a visible one.
void NoteExpectedRow(const SSlideMarkPlace& place, const std::array<double, 3>& curve,
                     const LxCCProjSlideCalibThres& thres, std::vector<int>& expected)
{
    const std::int64_t visibleRow = place.row - HiddenSlideRows(thres);
    if (place.isLeft && visibleRow >= 0 && visibleRow < static_cast<std::int64_t>(expected.size())) {
        const double column = (curve[2] * c_dMiddleRow + curve[1]) * c_dMiddleRow + curve[0];
        expected[static_cast<std::size_t>(visibleRow)] = TruncateTo<int>(column);
    }
}

} // namespace

bool LxCProjSlideCalibBody::AuxUpdatePosHor(LxCRectCornerCalibMark& mark, const Parabola& curve,
                                            int degree) const
{
    const LxCCBRectEdge* const edge = mark.GetHorEdge();
    Parabola stripe{};
    double x = 0.0;
    double y = 0.0;
    if (edge == nullptr || degree < 0 || degree > c_iDegree ||
        !edge->FitToPoly(std::span(stripe).first(static_cast<std::size_t>(degree) + 1), edge->GetLen(), 0,
                         true) ||
        !LxCRectCornerCalibMark::IntersectPolysDeg2(stripe.data(), curve.data(), x, y, mark.GetXImg())) {
        s_Logger.Info(L"AuxUpdatePos failed\n");
        return false;
    }
    mark.SetXImg(x);
    mark.SetYImg(y);
    return true;
}

ECalibError LxCProjSlideCalibBody::ImprovePositionEstimate(CCTImage* image)
{
    LxCCProjSlideCalibThres* const thres = GetSlideThres();
    if (thres == nullptr) {
        s_Logger.Error(L"invalid projector calib thres");
        return eCalibWrongThresholds;
    }
    std::vector<int> expected(thres->m_viMarkerMaskRow.size(), c_iUnknownRow);
    CCurveFamily curves;
    for (const SGroup& group : FindGroups(GetCorners(), *thres)) {
        Parabola curve{};
        if (!group.Fit(curve)) {
            for (LxCRectCornerCalibMark* mark : group.marks) {
                mark->MakeInvalid();
            }
            continue;
        }
        curves.Add(curve);
        NoteExpectedRow(group.place, curve, *thres, expected);
        if (image != nullptr && LxCLxCVLibSettings::IsDrawMarkerPosForDebugging()) {
            image->DrawPolynomial(curve, false, 0, image->GetHeight() - 1, LxCColorValueARGB8::eMagenta);
        }
        for (LxCRectCornerCalibMark* mark : group.marks) {
            if (!AuxUpdatePosHor(*mark, curve, c_iDegree)) {
                mark->MarkAsUnusableForCalib();
            }
        }
    }
    return StoreExpectedRows(curves, expected);
}

/// Checks the curves, and tells the thresholds where the rows of marks were found.
ECalibError LxCProjSlideCalibBody::StoreExpectedRows(const CCurveFamily& curves,
                                                     const std::vector<int>& expected)
{
    LxCCProjSlideCalibThres& thres = *GetSlideThres();
    if (curves.GetCount() < c_uiMinCurves) {
        return eCalibTooFewVerticalFits;
    }
    if (curves.IsBent(thres.m_dMaxPolyFitQuad) || curves.IsSpread(thres.m_dMaxDiffFitLinear)) {
        return eCalibVerticalFitPoor;
    }
    for (std::size_t row = 0; row < expected.size(); ++row) {
        if (expected[row] == c_iUnknownRow) {
            continue;
        }
        thres.m_viMarkerMaskRow[row] = expected[row];
        if (row < thres.m_viMarkerMaskTolerance.size()) {
            thres.m_viMarkerMaskTolerance[row] = c_iMaskTolerance;
        }
    }
    return eCalibOk;
}

} // namespace LxCV
