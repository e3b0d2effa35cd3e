// Defaults and section text of the thresholds that all calibration targets share.
#include "lxccalibthres.h"

#include "lxcpropertybag.h"

namespace LxCV {

void LxCCalibThres::Reset()
{
    m_iImgMargin = 5;
    m_iImgMarginBottom = 0;
    m_eSmoothingMode = CCTImage::eSM_Gaussian;
    m_iKernelSizeX = 5;
    m_iKernelSizeY = 5;
    m_dMarginPercent = 0.015;
    m_bFishEyeLens = false;
    m_dPseudoKappa2Tsai = 0.0;
    m_bUseAutoThresholds = true;
    m_iMaxIterationsPropIDs = 10;
}

void LxCCalibThres::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    if (!serializer.IsStoring()) {
        // Not the virtual one: a descendant has read its own members already.
        LxCCalibThres::Reset();
    }
    int smoothingMode = m_eSmoothingMode;

    LxCPropertyBag bag;
    bag.addScalar(m_iImgMargin, "ImgMargin");
    bag.addScalar(m_iImgMarginBottom, "ImgMarginBottom");
    bag.addScalar(smoothingMode, "SmoothingMode");
    bag.addScalar(m_iKernelSizeX, "KernelSizeX");
    bag.addScalar(m_iKernelSizeY, "KernelSizeY");
    bag.addScalar(m_dMarginPercent, "MarginPercent");
    bag.addScalar(m_bFishEyeLens, "FishEyeLens");
    bag.addScalar(m_dPseudoKappa2Tsai, "PseudoKappa2Tsai");
    bag.addScalar(m_iMaxIterationsPropIDs, "MaxIterationsPropIDs");
    bag.addScalar(m_bUseAutoThresholds, "UseAutoThresholds");
    bag.serialize(serializer, section, true);

    m_eSmoothingMode = static_cast<CCTImage::ESmoothingMode>(smoothingMode);
}

} // namespace LxCV
