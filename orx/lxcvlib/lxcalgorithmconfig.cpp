// Presets and section text of the measurement's steps.
#include "lxcalgorithmconfig.h"

#include "lxcpropertybag.h"
#include "saturate.h"

namespace LxCV {

LxCAlgorithmConfig::LxCAlgorithmConfig(ESettings settings)
{
    using Settings = LxCLxCVLibSettings;
    const bool bare = settings == eS_Preset1 || settings == eS_Preset2;
    const std::int64_t border = Settings::GetMeasurementSettingBoundary3DDataAllRound();
    const std::int64_t rightBorder = bare ? 0 : Settings::GetMeasurementSettingBoundary3DData();
    const int start = SaturateToInt(border);
    m_Roi.Set(start, start, SaturateToInt(Settings::c_iWidth - 2 * border - rightBorder),
              SaturateToInt(Settings::c_iHeight - 2 * border));
    UpdateHalfRegion();
    if (!bare) {
        TakeSettings();
    }
}

void LxCAlgorithmConfig::TakeSettings()
{
    using Settings = LxCLxCVLibSettings;
    m_bRepairEdgesUndercutFree = Settings::IsMeasurementSettingRepairEdgesUndercutFree();
    m_bUsePyrApproach = true;
    m_bUseCompSceneColor = true;
    m_bClean3DData = Settings::IsMeasurementSettingClean3DData();
    m_bUseReferenceShift = Settings::IsMeasurementSettingUseReferenceShift();
    m_iBoundaryShiftedRefImg = Settings::GetMeasurementSettingBoundaryShiftedRefImg();
    m_bRepairEdges = Settings::IsMeasurementSettingRepairEdgesEnable();
    m_bCheckOtherSymbols = Settings::IsMeasurementSettingCheckOtherSymbols();
    m_bOrderingConstraint = Settings::IsMeasurementSettingOrderingConstraint();
    m_iMinNumSymbols = Settings::GetMeasurementSettingMinNumSymbols();
    m_bDepthCulling = Settings::IsMeasurementSettingEnableDepthCulling();
    m_bExitWindowCulling = Settings::IsMeasurementSettingEnableExitWindowCulling();
    m_bSmoothReducedData = Settings::IsMeasurementSettingSmoothReducedData();
    m_eReduceData = Settings::GetReduceData();
}

void LxCAlgorithmConfig::UpdateHalfRegion()
{
    m_RoiHalf.Set(m_Roi.GetLeftCol() / 2 + 1, m_Roi.GetTopRow() / 2 + 1, m_Roi.GetWidth() / 2 - 2,
                  m_Roi.GetHeight() / 2 - 2);
}

void LxCAlgorithmConfig::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_bOrderingConstraint, "OrderingConstraint");
    bag.addScalar(m_bCheckOtherSymbols, "CheckOtherSymbols");
    bag.addScalar(m_iMinNumSymbols, "MinNumSymbols");
    bag.addScalar(m_bRepairEdges, "RepairEdges");
    bag.addScalar(m_bRepairEdgesUndercutFree, "RepairEdgesUndercutFree");
    bag.addScalar(m_bClean3DData, "Clean3DData");
    bag.addScalar(m_bUseReferenceShift, "UseReferenceShift");
    bag.addScalar(m_iBoundaryShiftedRefImg, "BoundaryShiftedRefImg");
    bag.addScalar(m_bUsePyrApproach, "UsePyrApproach");
    bag.addScalar(m_iMaxIpolGap, "MaxIpolGap");
    bag.addScalar(m_bUseCompSceneColor, "UseCompSceneColor");
    bag.addScalar(m_bDepthCulling, "DepthCulling");
    bag.addScalar(m_bExitWindowCulling, "ExitWindowCulling");
    bag.serialize(serializer, section, true);
    m_Roi.Serialize(serializer, section + "::Roi");
    if (!serializer.IsStoring()) {
        UpdateHalfRegion();
    }
}

} // namespace LxCV
