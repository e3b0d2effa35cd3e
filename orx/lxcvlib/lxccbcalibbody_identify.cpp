// Identification of a checkerboard target by its four marked squares.
#include "checkerboardorientation.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxccbrect.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCBCalibBody");

constexpr int c_iMarkedSquares = 4;
constexpr double c_dDeviation = 10.0;        // pixels; corners lie this close to the grid line of a neighbour
constexpr double c_dDeviationFishEye = 15.0; // pixels; where lines are bent
constexpr double c_dReachInRow = 2.5;        // pitches, of the three that the row is long
constexpr double c_dRowLength = 3.0;         // pitches
constexpr double c_dReachBeside = 1.3;       // pitches
constexpr double c_dMaxScaleQuotient = 1.5;

/// The squares at the four sides of a list.
struct SExtremes
{
    LxCCBRect* left = nullptr;
    LxCCBRect* right = nullptr;
    LxCCBRect* top = nullptr;
    LxCCBRect* bottom = nullptr;
};

bool DifferInScale(double a, double b)
{
    return a > c_dMaxScaleQuotient * b || b > c_dMaxScaleQuotient * a;
}

/// The figure of the marked squares: a first, a middle and a last one in a row of the target, the middle one two
/// columns behind the first and one before the last, and one that lies beside the middle one, a row below it. It has
/// no symmetry, so that only one orientation fits; a mirrored one would fit with two different scales.
class CFigure
{
public:
    CFigure(const std::vector<LxCCBRect*>& squares, const LxCCBCalibThres& thres)
        : m_squares(squares), m_dDeviation(thres.m_bFishEyeLens ? c_dDeviationFishEye : c_dDeviation),
          m_firstId(thres.m_iIdOfFirstMarkedSquare), m_columns(thres.m_iNrOfCols)
    {}

    /// Finds the orientation, and gives the squares their ids and units.
    void Identify(const SExtremes& extremes)
    {
        const double width = extremes.left->GetXDist(extremes.right);
        const double height = extremes.top->GetYDist(extremes.bottom);
        if (!TryRow(*extremes.left, *extremes.right, width, height)) {
            TryColumn(*extremes.top, *extremes.bottom, width, height);
        }
    }

    /// Unknown if the squares do not form the figure.
    ECalibOrientation GetOrientation() const { return m_orientation; }

    bool IsMirrored() const { return m_bMirrored; }

    /// The ids of the square in the middle, of the last one and of the one beside.
    int GetMiddleId() const { return IdAt(2); }
    int GetLastId() const { return IdAt(3); }
    int GetBesideId() const { return IdAt(2 + m_columns); }

private:
    /// An id that int cannot hold is none.
    int IdAt(std::int64_t offset) const
    {
        const std::int64_t id = m_firstId + offset;
        using Limits = std::numeric_limits<int>;
        return id < Limits::min() || id > Limits::max() ? 0 : static_cast<int>(id);
    }

    LxCCBRect* Next(const LxCCBRect& from, EDirection direction, double limit) const
    {
        const bool inRow = direction == eD_Left || direction == eD_Right;
        const int index =
            inRow ? from.FindHorNeighbor(&m_squares, direction == eD_Right, limit, m_dDeviation, false)
                  : from.FindVerNeighbor(&m_squares, direction == eD_Up, limit, m_dDeviation, false);
        return index < 0 ? nullptr : m_squares[static_cast<std::size_t>(index)];
    }

    /// The square between two others in the row or column from one to the other.
    LxCCBRect* FindMiddle(const LxCCBRect& from, const LxCCBRect& to, EDirection direction,
                          double length) const
    {
        const double limit = c_dReachInRow * length / c_dRowLength;
        LxCCBRect* const middle = Next(from, direction, limit);
        return middle != nullptr && Next(*middle, direction, limit) == &to ? middle : nullptr;
    }

    void Name(ECalibOrientation orientation, LxCCBRect& first, LxCCBRect& middle, LxCCBRect& last,
              LxCCBRect& beside)
    {
        m_orientation = orientation;
        first.SetId(IdAt(0));
        middle.SetId(GetMiddleId());
        last.SetId(GetLastId());
        beside.SetId(GetBesideId());
    }

    /// @return whether there is a row, whatever lies beside it
    bool TryRow(LxCCBRect& left, LxCCBRect& right, double width, double height);
    void TryColumn(LxCCBRect& top, LxCCBRect& bottom, double width, double height);

    const std::vector<LxCCBRect*>& m_squares;
    double m_dDeviation;    ///< pixels
    std::int64_t m_firstId; ///< wide, so that no id overflows
    std::int64_t m_columns;
    ECalibOrientation m_orientation = eCO_Unknown;
    bool m_bMirrored = false; ///< the two parts of the row have different scales
};

bool CFigure::TryRow(LxCCBRect& left, LxCCBRect& right, double width, double height)
{
    LxCCBRect* const middle = FindMiddle(left, right, eD_Right, width);
    if (middle == nullptr) {
        return false;
    }
    double leftUnit = left.GetXDist(middle);
    double rightUnit = middle->GetXDist(&right);
    double verUnit = 0.0;
    LxCCBRect* beside = Next(*middle, eD_Down, c_dReachBeside * height);
    if (beside != nullptr) {
        Name(eCO_NoTurn, left, *middle, right, *beside);
        verUnit = middle->GetYDist(beside);
        leftUnit *= 0.5;
    } else if (beside = Next(*middle, eD_Up, c_dReachBeside * height); beside != nullptr) {
        Name(eCO_HalfTurn, right, *middle, left, *beside);
        verUnit = beside->GetYDist(middle);
        rightUnit *= 0.5;
    } else {
        return true;
    }
    left.SetDistUnits(leftUnit, verUnit);
    right.SetDistUnits(rightUnit, verUnit);
    const double meanUnit = (leftUnit + rightUnit) * 0.5;
    middle->SetDistUnits(meanUnit, verUnit);
    beside->SetDistUnits(meanUnit, verUnit);
    m_bMirrored = DifferInScale(leftUnit, rightUnit);
    return true;
}

void CFigure::TryColumn(LxCCBRect& top, LxCCBRect& bottom, double width, double height)
{
    LxCCBRect* const middle = FindMiddle(top, bottom, eD_Down, height);
    if (middle == nullptr) {
        return;
    }
    const auto setUnits = [&](LxCCBRect& beside, double horUnit, double topUnit, double bottomUnit) {
        top.SetDistUnits(horUnit, topUnit);
        bottom.SetDistUnits(horUnit, bottomUnit);
        const double meanUnit = (topUnit + bottomUnit) * 0.5;
        middle->SetDistUnits(horUnit, meanUnit);
        beside.SetDistUnits(horUnit, meanUnit);
        m_bMirrored = m_bMirrored || DifferInScale(topUnit, bottomUnit);
    };
    double horUnit = width;
    if (LxCCBRect* const beside = Next(*middle, eD_Left, c_dReachBeside * horUnit); beside != nullptr) {
        Name(eCO_QuarterTurn, top, *middle, bottom, *beside);
        horUnit = beside->GetXDist(middle);
        setUnits(*beside, horUnit, top.GetYDist(middle) * 0.5, middle->GetYDist(&bottom));
    }
    // Deliberately also after a hit on the left: if both sides hit, the right one stands.
    if (LxCCBRect* const beside = Next(*middle, eD_Right, c_dReachBeside * horUnit); beside != nullptr) {
        Name(eCO_ThreeQuarterTurn, bottom, *middle, top, *beside);
        horUnit = middle->GetXDist(beside);
        setUnits(*beside, horUnit, top.GetYDist(middle), middle->GetYDist(&bottom) * 0.5);
    }
}

/// Builds the squares anew. @param enclosing receives those that enclose a bright one @return how many
int FindMarkedSquares(LxCCBCalibBody& body, std::vector<LxCCBRect*>& enclosing)
{
    body.RemoveRects();
    body.DetectAllRects();
    std::vector<LxCCBRect*> embedded;
    return body.DetectEmbeddedRects(embedded, enclosing);
}

ECalibError ReportMissingSquares(int found)
{
    s_Logger.Error(
        L"Error: LxCCBCalibBody::IdentifyCalibMarks: Could not find embedded squares: only found %d.\n",
        found);
    return eCalibNoFourSquares;
}

ECalibError ReportUnsorted()
{
    s_Logger.Error(L"Error: LxCCBCalibBody::IdentifyCalibMarks: embedded squares could not be sorted.\n");
    return eCalibTiltTooStrong;
}

} // namespace

ECalibError LxCCBCalibBody::IdentifyCalibMarks()
{
    const LxCCBCalibThres* const thres = GetCBThres();
    if (thres == nullptr) {
        s_Logger.Error(L"LxCCBCalibBody::IdentifyCalibMarks: m_pThres is no instance of LxCCBCalibThres\n");
        return eCalibWrongThresholds;
    }
    std::vector<LxCCBRect*> enclosing;
    const int found = FindMarkedSquares(*this, enclosing);
    if (found == c_iMarkedSquares - 1 && thres->m_bAssumeStandardOrientation) {
        s_Logger.Info(
            L"Info: LxCCBCalibBody::IdentifyCalibMarks: Found only 3 embedded squares, assume standard "
            L"orientation.\n");
        return IdentifyCalibMarksWDefaultOrient3EmbSqs();
    }
    if (found != c_iMarkedSquares) {
        return ReportMissingSquares(found);
    }
    SExtremes extremes;
    if (!SortRects(enclosing, &extremes.left, &extremes.right, &extremes.top, &extremes.bottom)) {
        return ReportUnsorted();
    }
    CFigure figure(enclosing, *thres);
    figure.Identify(extremes);
    if (figure.IsMirrored()) {
        m_eOrientation = eCO_Unknown;
        return eCalibMirrorTube;
    }
    if (figure.GetOrientation() == eCO_Unknown) {
        s_Logger.Error(
            L"Error: LxCCBCalibBody::IdentifyCalibMarks: could not establish the orientation of the "
            L"calibration body.\n");
        return eCalibWrongOrientation;
    }
    m_eOrientation = figure.GetOrientation();
    return PropagateRectIds(thres->m_iNrOfCols, thres->m_iNrOfRows);
}

ECalibError LxCCBCalibBody::IdentifyCalibMarksWDefaultOrient3EmbSqs()
{
    const LxCCBCalibThres* const thres = GetCBThres();
    if (thres == nullptr) {
        s_Logger.Error(L"LxCCBCalibBody::IdentifyCalibMarksWDefaultOrient3EmbSqs: m_pThres is no instance of "
                       L"LxCCBCalibThres\n");
        return eCalibWrongThresholds;
    }
    std::vector<LxCCBRect*> enclosing;
    const int found = FindMarkedSquares(*this, enclosing);
    if (found != c_iMarkedSquares - 1) {
        return ReportMissingSquares(found);
    }
    SExtremes extremes;
    if (!SortRects(enclosing, &extremes.left, &extremes.right, &extremes.top, &extremes.bottom)) {
        return ReportUnsorted();
    }
    const auto middle = std::find_if(enclosing.begin(), enclosing.end(), [&extremes](const LxCCBRect* rect) {
        return rect != extremes.right && rect != extremes.bottom;
    });
    if (middle == enclosing.end()) {
        return eCalibNoFourSquares;
    }
    const double horUnit = (*middle)->GetXDist(extremes.right);
    const double verUnit = (*middle)->GetYDist(extremes.bottom);
    if (std::abs(horUnit / verUnit) > c_dMaxScaleQuotient) {
        return eCalibNoFourSquares;
    }
    const CFigure figure(enclosing, *thres);
    extremes.right->SetId(figure.GetLastId());
    extremes.bottom->SetId(figure.GetBesideId());
    (*middle)->SetId(figure.GetMiddleId());
    for (LxCCBRect* const rect : {extremes.right, extremes.bottom, *middle}) {
        rect->SetDistUnits(horUnit, verUnit);
    }
    m_eOrientation = eCO_NoTurn;
    return PropagateRectIds(thres->m_iNrOfCols, thres->m_iNrOfRows);
}

int LxCCBCalibBody::DetectEmbeddedRects(std::vector<LxCCBRect*>& embedded, std::vector<LxCCBRect*>& enclosing)
{
    int found = 0;
    for (LxCCBRect* const inner : m_vSecondRects) {
        const auto outer = std::find_if(m_vRects.begin(), m_vRects.end(), [inner](const LxCCBRect* rect) {
            return inner->IsEnclosedBy(*rect);
        });
        if (outer != m_vRects.end()) {
            embedded.push_back(inner);
            enclosing.push_back(*outer);
            ++found;
        }
    }
    return found;
}

} // namespace LxCV
