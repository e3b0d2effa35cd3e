// Pairs of points in the measuring volume, their distances and the change of these.
#include "lxccalibcheckercct.h"

#include "floattointeger.h"
#include "lxc3dcoordscct.h"
#include "lxclxcvlibsettings.h"
#include "lxcpinholeframework.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

namespace LxCV {

namespace {

constexpr int c_iOuterMargin = 25; ///< pixels from the image's border
constexpr int c_iInnerMargin = 50; ///< pixels from the image's border

// mm, against the reference depth
constexpr double c_dLowDepth = -2.5;
constexpr double c_dHighDepth = 2.5;
constexpr double c_dHighestDepth = 4.0;

constexpr std::size_t c_iDroppedAtEachEnd = 3;

/// A pixel at a depth in mm.
struct SPlace
{
    int column;
    int row;
    double depth;
};

struct STwoPlaces
{
    SPlace first;
    SPlace second;
};

/// A size in whole pixels from which the margins can be taken off without overflow.
int WholePixels(double size)
{
    return std::max(TruncateTo<std::int32_t>(size),
                    std::numeric_limits<std::int32_t>::min() + c_iInnerMargin);
}

/// How much a distance has changed, relative to the one before; infinite where that cannot be told.
double RelativeChange(double before, double after)
{
    if (before == after) {
        return 0.0;
    }
    const double change = std::abs(after / before - 1.0);
    return std::isnan(change) ? std::numeric_limits<double>::infinity() : change;
}

LxC3DCoordsCCT PointOf(const LxCPinholeFramework& framework, int column, int row, int stripe)
{
    LxC3DCoordsCCT point;
    framework.ComputeEdgeXYZ(column, row, stripe, true, &point.x, &point.y, &point.z, false);
    return point;
}

} // namespace

LxCCalibCheckerCCT::LxCCalibCheckerCCT(LxCPinholeFramework* framework, float depth)
    : m_pFramework(framework), m_dMaxLengthDiff(LxCLxCVLibSettings::GetCalibCheckerMaxLengthDiff()),
      m_fReferenceDepth(depth)
{}

LxCCalibCheckerCCT::~LxCCalibCheckerCCT() = default;

void LxCCalibCheckerCCT::ComputeComparativeValuesBeforeCalibration()
{
    m_ValuesAfter = LxSComparativeValues();
    DefinePairs();
    ComputeDistInMeasureVol(m_ValuesBefore);
}

void LxCCalibCheckerCCT::ComputeComparativeValuesAfterCalibration()
{
    ComputeDistInMeasureVol(m_ValuesAfter);
}

bool LxCCalibCheckerCCT::IsComparativeValuesComputed() const
{
    return m_ValuesBefore.m_bComputed && m_ValuesAfter.m_bComputed;
}

double LxCCalibCheckerCCT::GetDistanceRatio() const
{
    return IsComparativeValuesComputed()
               ? ComputeDistanceRatio(m_ValuesBefore.m_vdDistances, m_ValuesAfter.m_vdDistances)
               : 1.0;
}

void LxCCalibCheckerCCT::AddPairDefinition(int x1, int y1, double depth1, int x2, int y2, double depth2)
{
    m_vPairs.push_back({x1, y1, GetStripeNumberForSensorPointAndDepth(x1, y1, depth1), x2, y2,
                        GetStripeNumberForSensorPointAndDepth(x2, y2, depth2)});
}

int LxCCalibCheckerCCT::GetStripeNumberForSensorPointAndDepth(int x, int y, double depth) const
{
    if (m_pFramework == nullptr) {
        return 0;
    }
    const LxCPinholeCamera& camera = *m_pFramework->GetCamera();
    const LxCPatternProjector& projector = *m_pFramework->GetProjector();
    LxC3DCoordsCCT point;
    point.z = depth;
    camera.DisImageToCameraCoords(x, y, depth, &point.x, &point.y);
    camera.LocalToLocalCoords(&projector, point.x, point.y, point.z, &point.x, &point.y, &point.z);
    double slideColumn = 0.0;
    double slideRow = 0.0;
    projector.CameraToDisImageCoords(point.x, point.y, point.z, &slideColumn, &slideRow);
    return TruncateTo<std::int32_t>(slideColumn / projector.GetCLPattern()->GetPrimitiveSize());
}

void LxCCalibCheckerCCT::DefinePairs()
{
    m_vPairs.clear();
    if (m_pFramework == nullptr) {
        return;
    }
    const LxCIntrinsicParams& intrinsics = *m_pFramework->GetCamera()->GetIntrinsicParams();
    const int w = WholePixels(intrinsics.GetExactImageWidth());
    const int h = WholePixels(intrinsics.GetExactImageHeight());
    const int L = c_iOuterMargin;
    const int T = c_iOuterMargin;
    const int R = w - c_iOuterMargin;
    const int B = h - c_iOuterMargin;
    const int l = c_iInnerMargin;
    const int t = c_iInnerMargin;
    const int r = w - c_iInnerMargin;
    const int b = h - c_iInnerMargin;
    const double d1 = m_fReferenceDepth + c_dLowDepth;
    const double d2 = m_fReferenceDepth + c_dHighDepth;
    const double d3 = m_fReferenceDepth + c_dHighestDepth;
    // Column w is one beyond the image; the camera model goes on there.
    const STwoPlaces pairs[] = {
        {{L, T, d1}, {R, T, d1}}, {{R, T, d1}, {R, B, d1}}, {{R, B, d1}, {L, B, d1}},
        {{L, B, d1}, {L, T, d1}}, {{l, t, d2}, {r, t, d2}}, {{r, t, d2}, {r, b, d2}},
        {{r, b, d2}, {l, b, d2}}, {{l, b, d2}, {l, t, d2}}, {{L, T, d1}, {R, T, d2}},
        {{R, T, d1}, {w, T, d2}}, {{L, B, d1}, {R, B, d2}}, {{R, B, d1}, {w, B, d2}},
        {{l, t, d1}, {l, b, d3}}, {{l, b, d1}, {l, t, d3}}, {{r, t, d1}, {r, b, d3}},
        {{r, b, d1}, {r, t, d3}}, {{L, T, d1}, {R, B, d2}}, {{L, B, d1}, {R, T, d2}},
        {{R, B, d1}, {L, T, d2}}, {{R, T, d1}, {L, B, d2}}, {{l, t, d1}, {r, b, d3}},
        {{l, b, d1}, {r, t, d3}}, {{r, b, d1}, {l, t, d3}}, {{r, t, d1}, {l, b, d3}},
    };
    for (const STwoPlaces& pair : pairs) {
        AddPairDefinition(pair.first.column, pair.first.row, pair.first.depth, pair.second.column,
                          pair.second.row, pair.second.depth);
    }
}

void LxCCalibCheckerCCT::ComputeDistInMeasureVol(LxSComparativeValues& values) const
{
    values = LxSComparativeValues();
    if (m_pFramework == nullptr) {
        return;
    }
    values.m_vdDistances.reserve(m_vPairs.size());
    for (const SPairDefinition& pair : m_vPairs) {
        const LxC3DCoordsCCT first = PointOf(*m_pFramework, pair.m_iColumn1, pair.m_iRow1, pair.m_iStripe1);
        const LxC3DCoordsCCT second = PointOf(*m_pFramework, pair.m_iColumn2, pair.m_iRow2, pair.m_iStripe2);
        const LxC3DCoordsCCT delta = second - first;
        values.m_vdDistances.push_back(std::sqrt(delta.x * delta.x + delta.y * delta.y + delta.z * delta.z));
    }
    values.m_bComputed = true;
}

double LxCCalibCheckerCCT::ComputeDistanceRatio(const std::vector<double>& before,
                                                const std::vector<double>& after)
{
    const std::size_t count = std::min(before.size(), after.size());
    if (count == 0) {
        return 1.0;
    }
    std::vector<double> changes;
    changes.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        changes.push_back(RelativeChange(before[i], after[i]));
    }
    std::sort(changes.begin(), changes.end());
    const auto dropped = static_cast<std::ptrdiff_t>(std::min(c_iDroppedAtEachEnd, (count - 1) / 2));
    const double sum = std::accumulate(changes.begin() + dropped, changes.end() - dropped, 0.0);
    return sum / static_cast<double>(count - 2 * static_cast<std::size_t>(dropped)) + 1.0;
}

} // namespace LxCV
