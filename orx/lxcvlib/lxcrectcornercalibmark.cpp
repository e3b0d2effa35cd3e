// A corner of a square: its neighbours, its id, and where its edges cross.
#include "lxcrectcornercalibmark.h"

#include "c2dstraightline.h"
#include "cctimage.h"
#include "lxccbcalibthres.h"
#include "lxccbrect.h"
#include "lxccbrectedge.h"
#include "lxccolorvalueargb8.h"
#include "saturate.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace LxCV {

namespace {

constexpr int c_iCornersPerSquare = 4;
constexpr double c_dStartResidual = 0.1; // pixels; stays where parabolas are fitted
constexpr double c_dMaxResidual = 3.0;   // pixels; corners on worse lines are not used for calibration
constexpr int c_iMinParabolaEntries = 6; // an edge must have more beside those that are skipped

// The search for the crossing of two parabolas, pixels.
constexpr double c_dSearchBefore = 4.0;
constexpr double c_dSearchStep = 0.1;
constexpr int c_iSearchSteps = 100;
constexpr double c_dBisectionEnd = 1e-7;

using Parabola = std::array<double, 3>; // ascending coefficients

std::string WithTwoDecimals(double value)
{
    // The largest double has as many digits, beside sign, point and two decimals.
    std::array<char, std::numeric_limits<double>::max_exponent10 + 8> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 2);
    return {text.data(), end.ptr};
}

/// The other corner at an edge's start or end.
LxCRectCornerCalibMark* Neighbor(const LxCCBRectEdge* edge, bool atStart, const LxCRectCornerCalibMark* self)
{
    LxCRectCornerCalibMark* const corner = edge == nullptr ? nullptr : edge->GetCorner(atStart);
    return corner == self ? nullptr : corner;
}

/// Decides which end of an edge a corner at `position` lies at.
bool FindEnd(const LxCCBRectEdge& edge, int position, const LxCCBCalibThres& thres, bool& atStart)
{
    const std::int64_t fromFirst = std::int64_t{position} - edge.First();
    const std::int64_t toLast = std::int64_t{edge.Last()} - position;
    const std::int64_t distFirst = std::abs(fromFirst);
    const std::int64_t distLast = std::abs(toLast);
    if (distFirst < thres.m_iMaxDistCornerToEdgeEnd && distLast >= thres.m_iMinDistCornerToOppEdgeEnd &&
        fromFirst <= toLast) {
        atStart = true;
    } else if (distLast < thres.m_iMaxDistCornerToEdgeEnd &&
               distFirst >= thres.m_iMinDistCornerToOppEdgeEnd && fromFirst >= toLast) {
        atStart = false;
    } else {
        return false;
    }
    return edge.GetCorner(atStart) == nullptr;
}

/// Two edges, and the ends at which they are fitted.
struct SCrossing
{
    const LxCCBRectEdge& horEdge;
    const LxCCBRectEdge& verEdge;
    bool atHorStart = false;
    bool atVerStart = false;
    LxCSensorCoordsCCT point;
    double horResidual = c_dStartResidual;
    double verResidual = c_dStartResidual;

    bool ByParabolas(int seed, const LxCCBCalibThres& thres, CCTImage* image)
    {
        Parabola hor{};
        Parabola ver{};
        if (!horEdge.FitToPoly(hor, thres.m_iNrOfSamples, thres.m_iSkip, atHorStart) ||
            !verEdge.FitToPoly(ver, thres.m_iNrOfSamples, thres.m_iSkip, atVerStart) ||
            !LxCRectCornerCalibMark::IntersectPolysDeg2(hor.data(), ver.data(), point.x, point.y, seed)) {
            return false;
        }
        Draw(image, hor, ver);
        return true;
    }

    bool ByLines(const LxCCBCalibThres& thres, CCTImage* image)
    {
        C2DStraightLine hor;
        C2DStraightLine ver;
        if (!horEdge.FitToStrLine(&hor, thres.m_iNrOfSamples, thres.m_iSkip, atHorStart, horResidual, true) ||
            !verEdge.FitToStrLine(&ver, thres.m_iNrOfSamples, thres.m_iSkip, atVerStart, verResidual, true) ||
            !hor.Intersect(&ver, &point.x, &point.y) || !std::isfinite(point.x) || !std::isfinite(point.y)) {
            return false;
        }
        ver.Invert();
        Draw(image, {hor.GetIntercept(), hor.GetSlope()}, {ver.GetIntercept(), ver.GetSlope()});
        return true;
    }

    /// @param hor y of x
    /// @param ver x of y
    void Draw(CCTImage* image, const Parabola& hor, const Parabola& ver) const
    {
        if (image != nullptr) {
            image->DrawPolynomial(hor, true, horEdge.First(), horEdge.Last(), LxCColorValueARGB8::eGreen);
            image->DrawPolynomial(ver, false, verEdge.First(), verEdge.Last(), LxCColorValueARGB8::eRed);
        }
    }
};

double ValueAt(const double* parabola, double x)
{
    return (parabola[2] * x + parabola[1]) * x + parabola[0];
}

/// x - B(A(x)), which is 0 where y = A(x) and x = B(y) cross.
double Mismatch(const double* polyA, const double* polyB, double x)
{
    return x - ValueAt(polyB, ValueAt(polyA, x));
}

/// 0 also for what is not a number.
int SignOf(double value)
{
    return (value > 0.0 ? 1 : 0) - (value < 0.0 ? 1 : 0);
}

/// Narrows an interval at whose lower end the mismatch has the sign `sign`, and at whose upper end another one.
bool Bisect(const double* polyA, const double* polyB, double lower, double upper, int sign, double& x,
            double& y)
{
    double step = c_dSearchStep;
    do {
        step *= 0.5;
        const double middle = lower + step;
        if (SignOf(Mismatch(polyA, polyB, middle)) == sign) {
            lower = middle;
        } else {
            upper -= step;
        }
    } while (step > c_dBisectionEnd);
    const double foundX = (lower + upper) / 2.0;
    const double foundY = ValueAt(polyA, foundX);
    if (!std::isfinite(foundX) || !std::isfinite(foundY)) {
        return false;
    }
    x = foundX;
    y = foundY;
    return true;
}

} // namespace

LxCRectCornerCalibMark::LxCRectCornerCalibMark(double x, double y, LxCCBRectEdge* horEdge,
                                               LxCCBRectEdge* verEdge, bool atHorStart, bool atVerStart)
    : m_eType(TypeOf(atHorStart, atVerStart)), m_bVirtual(false), m_pHorEdge(horEdge), m_pVerEdge(verEdge)
{
    LxCCalibMark::SetXImg(x);
    LxCCalibMark::SetYImg(y);
}

LxCRectCornerCalibMark::EType LxCRectCornerCalibMark::TypeOf(bool atHorStart, bool atVerStart)
{
    if (atVerStart) {
        return atHorStart ? eUpperLeft : eUpperRight;
    }
    return atHorStart ? eLowerLeft : eLowerRight;
}

int LxCRectCornerCalibMark::GetId() const
{
    const int rectId = GetRectId();
    return rectId == 0 || m_eType == eNone
               ? 0
               : SaturateToInt(c_iCornersPerSquare * std::int64_t{rectId} + m_eType - c_iCornersPerSquare);
}

bool LxCRectCornerCalibMark::UseForCalib() const
{
    return LxCCalibMark::UseForCalib() && !m_bVirtual;
}

void LxCRectCornerCalibMark::Sprint(std::string& out, bool withPosition) const
{
    out += std::to_string(GetRectId()) + "-" + std::to_string(static_cast<int>(m_eType));
    if (withPosition) {
        out += ": " + WithTwoDecimals(GetXImg()) + ", " + WithTwoDecimals(GetYImg());
    }
}

void LxCRectCornerCalibMark::Reset()
{
    m_eType = eNone;
    m_pHorEdge = nullptr;
    m_pVerEdge = nullptr;
    m_pRect = nullptr;
    m_iManRectId = 0;
    m_bVirtual = false;
    LxCCalibMark::Reset();
}

int LxCRectCornerCalibMark::GetRectId() const
{
    if (m_iManRectId != 0) {
        return m_iManRectId;
    }
    return m_pRect == nullptr ? 0 : m_pRect->GetId();
}

LxCRectCornerCalibMark* LxCRectCornerCalibMark::GetLeftNeighbor() const
{
    return Neighbor(m_pHorEdge, true, this);
}

LxCRectCornerCalibMark* LxCRectCornerCalibMark::GetRightNeighbor() const
{
    return Neighbor(m_pHorEdge, false, this);
}

LxCRectCornerCalibMark* LxCRectCornerCalibMark::GetUpperNeighbor() const
{
    return Neighbor(m_pVerEdge, true, this);
}

LxCRectCornerCalibMark* LxCRectCornerCalibMark::GetLowerNeighbor() const
{
    return Neighbor(m_pVerEdge, false, this);
}

bool LxCRectCornerCalibMark::DetPosByIntersec(LxCCBRectEdge* horEdge, LxCCBRectEdge* verEdge, int x, int y,
                                              const LxCCBCalibThres& thres, CCTImage* image)
{
    if (horEdge == nullptr || verEdge == nullptr) {
        return false;
    }
    SCrossing crossing{*horEdge, *verEdge, false, false, {}, c_dStartResidual, c_dStartResidual};
    if (!FindEnd(*horEdge, x, thres, crossing.atHorStart) ||
        !FindEnd(*verEdge, y, thres, crossing.atVerStart)) {
        return false;
    }
    const auto isLongEnough = [&thres](const LxCCBRectEdge& edge) {
        return std::int64_t{edge.GetLen()} - thres.m_iSkip > c_iMinParabolaEntries;
    };
    const bool useParabolas = thres.m_bUseParabolaFit && isLongEnough(*horEdge) && isLongEnough(*verEdge);
    if (!(useParabolas ? crossing.ByParabolas(x, thres, image) : crossing.ByLines(thres, image))) {
        return false;
    }
    SetEdges(horEdge, verEdge);
    SetXImg(crossing.point.x);
    SetYImg(crossing.point.y);
    if (crossing.horResidual > c_dMaxResidual || crossing.verResidual > c_dMaxResidual) {
        MarkAsUnusableForCalib();
    }
    horEdge->SetCorner(crossing.atHorStart, this);
    verEdge->SetCorner(crossing.atVerStart, this);
    m_eType = TypeOf(crossing.atHorStart, crossing.atVerStart);
    return true;
}

void LxCRectCornerCalibMark::ResetCorner()
{
    for (LxCCBRectEdge* const edge : {m_pHorEdge, m_pVerEdge}) {
        if (edge != nullptr) {
            edge->RemoveCorner(this);
        }
    }
    SetEdges(nullptr, nullptr);
    MarkAsUsableForCalib();
}

bool LxCRectCornerCalibMark::IntersectPolysDeg2(const double* polyA, const double* polyB, double& x,
                                                double& y, double seed)
{
    if (polyA == nullptr || polyB == nullptr) {
        return false;
    }
    const double start = seed - c_dSearchBefore;
    double lower = start;
    int sign = SignOf(Mismatch(polyA, polyB, lower));
    for (int i = 1; i < c_iSearchSteps; ++i) {
        const double upper = start + c_dSearchStep * i;
        const int signHere = SignOf(Mismatch(polyA, polyB, upper));
        if (signHere != sign) {
            return Bisect(polyA, polyB, lower, upper, sign, x, y);
        }
        lower = upper;
    }
    return false;
}

} // namespace LxCV
