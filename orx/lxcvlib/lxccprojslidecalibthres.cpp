// Defaults, section text and mark queries of the projector slide's thresholds.
#include "lxccprojslidecalibthres.h"

#include "lxcpropertybag.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCProjSlideCalibThres");

constexpr std::array c_aiMarkerMaskRows{580, 350, 115}; // pixels
constexpr int c_iMarkerMaskTolerance = 70;              // pixels

} // namespace

void LxCCProjSlideCalibThres::Reset()
{
    m_iMinLocExtAmount = 40;
    m_iMinTotalExtAmount = 80;
    m_iNrOfCols = 0;
    m_iNrOfRows = 0;
    m_viCalibMarkPos = {10, 20, 28, 38, 50, 58, 74, 84, 92, 102, 114, 122, 138};
    m_viBlankOutMarkerPos = {1750, 3500, 5250};
    m_iBlankOutMarkerWidth = 100;
    m_dMaxPolyFitQuad = 0.00005;
    m_dMaxDiffFitLinear = 0.025;
    m_iFixedNrVisibleRows = 3;
    ResetMarkerMask();
    m_eMarkerTyp = eMT_BlackInWhite;
}

void LxCCProjSlideCalibThres::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    const bool loading = !serializer.IsStoring();
    if (loading) {
        LxCCProjSlideCalibThres::Reset();
    }
    int markerTyp = m_eMarkerTyp;

    LxCPropertyBag bag;
    bag.addScalar(m_iMinLocExtAmount, "MinLocExtAmount");
    bag.addScalar(m_iMinTotalExtAmount, "MinTotalExtAmount");
    bag.addScalar(m_iNrOfRows, "NrOfRows");
    bag.addScalar(m_iNrOfCols, "NrOfCols");
    bag.add(new LxCVectorProperty(&m_viCalibMarkPos, "CalibMarkPos"));
    bag.add(new LxCVectorProperty(&m_viBlankOutMarkerPos, "BlankOutMarkerPos"));
    bag.addScalar(m_iBlankOutMarkerWidth, "BlankOutMarkerWidth");
    bag.addScalar(m_dMaxPolyFitQuad, "MaxPolyFitQuad");
    bag.addScalar(m_dMaxDiffFitLinear, "MaxDiffFitLinear");
    bag.addScalar(m_iFixedNrVisibleRows, "FixedNrVisibleRows");
    bag.addScalar(markerTyp, "MarkerTyp");
    bag.serialize(serializer, section, true);

    if (loading) {
        m_eMarkerTyp = static_cast<EMarkerTyp>(markerTyp);
        ResetMarkerMask();
    }
    LxCCalibThres::Serialize(serializer, section + "::Base");
}

int LxCCProjSlideCalibThres::GetIdOfMarker(int stripe) const
{
    const auto found = std::find(m_viCalibMarkPos.begin(), m_viCalibMarkPos.end(), stripe);
    return found == m_viCalibMarkPos.end() ? 0 : static_cast<int>(found - m_viCalibMarkPos.begin()) + 1;
}

bool LxCCProjSlideCalibThres::LSHasMarker(int stripe) const
{
    return GetIdOfMarker(stripe) != 0;
}

bool LxCCProjSlideCalibThres::IsCloseByMarkerPosition(int stripe, double pos) const
{
    const bool hasLower = stripe != std::numeric_limits<int>::min() && LSHasMarker(stripe - 1);
    if (!hasLower && !LSHasMarker(stripe)) {
        return false;
    }
    const double halfWidth = m_iBlankOutMarkerWidth;
    return std::any_of(
        m_viBlankOutMarkerPos.begin(), m_viBlankOutMarkerPos.end(),
        [pos, halfWidth](double center) { return center - halfWidth < pos && pos < center + halfWidth; });
}

void LxCCProjSlideCalibThres::ResetMarkerMask()
{
    const int rows = std::clamp(m_iFixedNrVisibleRows, 0, sc_iMaxVisibleRows);
    if (rows != m_iFixedNrVisibleRows) {
        s_Logger.Warning(
            L"LxCCProjSlideCalibThres::ResetMarkerMask: %i visible rows are not possible, %i taken\n",
            m_iFixedNrVisibleRows, rows);
        m_iFixedNrVisibleRows = rows;
    }
    const auto size = static_cast<std::size_t>(rows);
    m_viMarkerMaskRow.assign(size, 0);
    std::copy_n(c_aiMarkerMaskRows.begin(), std::min(size, c_aiMarkerMaskRows.size()),
                m_viMarkerMaskRow.begin());
    m_viMarkerMaskTolerance.assign(size, c_iMarkerMaskTolerance);
}

} // namespace LxCV
