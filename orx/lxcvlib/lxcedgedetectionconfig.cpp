// Defaults, section text and verdicts of the edge detection's limits.
#include "lxcedgedetectionconfig.h"

#include "cctimage.h"
#include "lxclightstripeedge.h"
#include "lxclxcvlibsettings.h"
#include "lxcpropertybag.h"

namespace LxCV {

LxCEdgeDetectionConfig::LxCEdgeDetectionConfig(bool small, bool /*optimizeForIntraoral*/)
    : m_iMinDerivativeAmount(0), m_iMinSingExtremumAmount(small ? 1 : 5),
      m_iMinTotExtremumAmount(small ? 1 : 5), m_iMaxExtremaDist(small ? 20 : 30),
      m_iMaxCodeLetterDist(small ? 8 : 15), m_iMaxGapWithinStripeBoundary(small ? 1 : 3), m_iMinStripeLen(10),
      m_iMinStripeLengthContFlag(small ? 5 : 7), m_iIncrement(small ? 3 : 7),
      m_iTraceStepLimit(small ? 200 : 50), m_iMinConfirmedPixelsPercentage(small ? 10 : 33),
      m_iThrowAwayPixAtStripeBegEnd(0), m_iSmoothingMode(small ? CCTImage::eSM_Gaussian : CCTImage::eSM_Blur),
      m_iKernelSizeX(small ? 3 : 5), m_iKernelSizeY(small ? 3 : 5),
      m_iRepairEdgesMaxNumGaps(LxCLxCVLibSettings::GetRepairEdgesMaxNumGaps()), m_bManuallyAssignLseId(false)
{}

void LxCEdgeDetectionConfig::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_iMinDerivativeAmount, "MinDerivativeAmount");
    bag.addScalar(m_iMinSingExtremumAmount, "MinSingExtremumAmount");
    bag.addScalar(m_iMinTotExtremumAmount, "MinTotExtremumAmount");
    bag.addScalar(m_iMaxExtremaDist, "MaxExtremaDist");
    bag.addScalar(m_iMaxCodeLetterDist, "MaxCodeLetterDist");
    bag.addScalar(m_iMaxGapWithinStripeBoundary, "MaxGapWithinStripeBoundary");
    bag.addScalar(m_iMinStripeLen, "MinStripeLen");
    bag.addScalar(m_iMinStripeLengthContFlag, "MinStripeLengthContFlag");
    bag.addScalar(m_iIncrement, "Increment");
    bag.addScalar(m_iMinConfirmedPixelsPercentage, "MinConfirmedPixelsPercentage");
    bag.addScalar(m_iKernelSizeX, "KernelSizeX");
    bag.addScalar(m_iKernelSizeY, "KernelSizeY");
    bag.addScalar(m_iThrowAwayPixAtStripeBegEnd, "ThrowAwayPixAtStripeBegEnd");
    bag.addScalar(m_iSmoothingMode, "SmoothingMode");
    bag.addScalar(m_bManuallyAssignLseId, "ManuallyAssignLseId");
    bag.serialize(serializer, section, true);
}

bool LxCEdgeDetectionConfig::IsLightStripeEdgeValid(LxCLightStripeEdge* edge, bool strict) const
{
    if (m_bManuallyAssignLseId) {
        return true;
    }
    if (edge == nullptr || edge->GetContCount() < m_iMinStripeLengthContFlag) {
        return false;
    }
    if (edge->GetContCount2() >= 1) {
        return true;
    }
    return !strict && edge->GetNrOfPixels() >= m_iMinStripeLen &&
           edge->GetValidCWPercent() >= m_iMinConfirmedPixelsPercentage;
}

} // namespace LxCV
