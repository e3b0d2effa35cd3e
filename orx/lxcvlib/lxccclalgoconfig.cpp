// Accessors and section text of the decoding stage's parameters.
#include "lxccclalgoconfig.h"

#include "lxcpropertybag.h"
#include "orx/logging/logger.h"

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCCLAlgoConfig");

bool IsPreset(LxCAlgorithmConfig::ESettings settings)
{
    const int number = settings;
    return number >= 0 && number < LxCAlgorithmConfig::sc_iNumSettings;
}

} // namespace

LxCCCLAlgoConfig::LxCCCLAlgoConfig()
    : m_aPresets{LxCAlgorithmConfig(LxCAlgorithmConfig::eS_Preset0),
                 LxCAlgorithmConfig(LxCAlgorithmConfig::eS_Preset1),
                 LxCAlgorithmConfig(LxCAlgorithmConfig::eS_Preset2),
                 LxCAlgorithmConfig(LxCAlgorithmConfig::eS_Preset3)}
{}

std::size_t LxCCCLAlgoConfig::IndexOf(ESettings settings)
{
    return IsPreset(settings) ? static_cast<std::size_t>(settings) : 0;
}

void LxCCCLAlgoConfig::ActivateAlgorithmSettings(ESettings settings)
{
    if (!IsPreset(settings)) {
        s_Logger.Error(L"there are no algorithm settings %i", static_cast<int>(settings));
        return;
    }
    m_eActiveSettings = settings;
}

const LxCEdgeDetectionConfig& LxCCCLAlgoConfig::GetEdgeDetectionConfigBig() const
{
    return m_bOptimizeForIntraoral ? m_EdgeDetectionBigIntraoral : m_EdgeDetectionBigPlaster;
}

LxCEdgeDetectionConfig& LxCCCLAlgoConfig::GetEdgeDetectionConfigBig()
{
    return m_bOptimizeForIntraoral ? m_EdgeDetectionBigIntraoral : m_EdgeDetectionBigPlaster;
}

const LxCEdgeDetectionConfig& LxCCCLAlgoConfig::GetEdgeDetectionConfigSmall() const
{
    return m_bOptimizeForIntraoral ? m_EdgeDetectionSmallIntraoral : m_EdgeDetectionSmallPlaster;
}

LxCEdgeDetectionConfig& LxCCCLAlgoConfig::GetEdgeDetectionConfigSmall()
{
    return m_bOptimizeForIntraoral ? m_EdgeDetectionSmallIntraoral : m_EdgeDetectionSmallPlaster;
}

void LxCCCLAlgoConfig::SetExitWindow(float normalX, float normalY, float normalZ, float distance)
{
    m_fExitWindowNormalX = normalX;
    m_fExitWindowNormalY = normalY;
    m_fExitWindowNormalZ = normalZ;
    m_fExitWindowDistance = distance;
    m_CalibState.FinishedCalibrationSuccessful(L"");
}

void LxCCCLAlgoConfig::SetReduceDataInMeasurement(EReduceData reduceData)
{
    GetAlgorithmConfig(LxCAlgorithmConfig::eS_Preset0).m_eReduceData = reduceData;
}

const std::wstring& LxCCCLAlgoConfig::GetDump3DDataPath()
{
    return LxCLxCVLibSettings::GetDump3DDataPath();
}

void LxCCCLAlgoConfig::SetDump3DDataPath(const std::wstring& path)
{
    LxCLxCVLibSettings::SetDump3DDataPath(path);
}

void LxCCCLAlgoConfig::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_fFocalDistance, "FocalDistance_mm");
    bag.addScalar(m_fDepthCullingDistance, "DepthCulling_mm");
    bag.addScalar(m_fExitWindowDistance, "ExitWindowDistance");
    bag.addScalar(m_fExitWindowNormalX, "ExitWindowNormalX");
    bag.addScalar(m_fExitWindowNormalY, "ExitWindowNormalY");
    bag.addScalar(m_fExitWindowNormalZ, "ExitWindowNormalZ");
    bag.serialize(serializer, section, true);
    m_CalibState.Serialize(serializer, section);
    // A second header would hide the keys behind it: the first section of a name counts.
    SerializeColorComp(serializer, section, false);
}

void LxCCCLAlgoConfig::SerializeNonIniFileParams(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_fLowerBoundaryCC, "LowerBoundaryCC");
    bag.addScalar(m_fUpperBoundaryCC, "UpperBoundaryCC");
    bag.addScalar(m_fMulValNormal, "MulValNormal");
    bag.addScalar(m_fMulValIntraoral, "MulValIntraoral");
    bag.serialize(serializer, section, true);
    SerializeColorCompNonIniFileParams(serializer, section, false);
    m_EdgeDetectionBigIntraoral.Serialize(serializer, section + "::EdgeDetectionBigIntraoral");
    m_EdgeDetectionSmallIntraoral.Serialize(serializer, section + "::EdgeDetectionSmallIntraoral");
    m_EdgeDetectionBigPlaster.Serialize(serializer, section + "::EdgeDetectionBigPlaster");
    m_EdgeDetectionSmallPlaster.Serialize(serializer, section + "::EdgeDetectionSmallPlaster");
}

} // namespace LxCV
