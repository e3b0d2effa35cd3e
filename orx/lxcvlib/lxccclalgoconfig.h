// All parameters of the decoding stage.
#pragma once

#include "lxcalgorithmconfig.h"
#include "lxccalibstate.h"
#include "lxccolorcompsettings.h"
#include "lxcedgedetectionconfig.h"
#include "lxcshadingcorrection.h"
#include "orx/base/export.h"

#include <array>
#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// The presets of the measurement's steps, the limits of the edge detection for big and small structures of teeth and
/// of plaster models, the compensation of colours, the depths beyond which points are dropped, and the shading of the
/// lighting. The library stores these values and hands them out; the decoding stage reads them.
///
/// The exit window, the device's glass, is a plane in the camera frame, told by its normal and its distance.
///
/// A value: copies are deep. References that accessors return are to parts of this object.
class ORX_EXPORT LxCCCLAlgoConfig : public LxCColorCompSettings
{
public:
    using ESettings = LxCAlgorithmConfig::ESettings;
    using EReduceData = LxCAlgorithmConfig::EReduceData;

    /// Preset 0 is active; distances and normal are 0.
    LxCCCLAlgoConfig();

    /// Chooses the active preset. A number that is no preset changes nothing and writes a line to the log.
    void ActivateAlgorithmSettings(ESettings settings);
    ESettings GetActivatedAlgorithmSetting() const { return m_eActiveSettings; }

    LxCAlgorithmConfig& GetActiveAlgorithmConfig() { return GetAlgorithmConfig(m_eActiveSettings); }
    const LxCAlgorithmConfig& GetActiveAlgorithmConfig() const
    {
        return GetAlgorithmConfig(m_eActiveSettings);
    }

    /// A preset; preset 0 for a number that is none.
    LxCAlgorithmConfig& GetAlgorithmConfig(ESettings settings) { return m_aPresets[IndexOf(settings)]; }
    const LxCAlgorithmConfig& GetAlgorithmConfig(ESettings settings) const
    {
        return m_aPresets[IndexOf(settings)];
    }

    /// The limits for teeth or for plaster, as `GetOptimizeAlgoForIntraoralMeasurement` tells.
    LxCEdgeDetectionConfig& GetEdgeDetectionConfigBig();
    const LxCEdgeDetectionConfig& GetEdgeDetectionConfigBig() const;
    LxCEdgeDetectionConfig& GetEdgeDetectionConfigSmall();
    const LxCEdgeDetectionConfig& GetEdgeDetectionConfigSmall() const;

    float GetFocalDistance() const { return m_fFocalDistance; }               ///< mm
    float GetDepthCullingDistance() const { return m_fDepthCullingDistance; } ///< mm
    float GetExitWindowDistance() const { return m_fExitWindowDistance; }     ///< mm
    float GetExitWindowNormalX() const { return m_fExitWindowNormalX; }
    float GetExitWindowNormalY() const { return m_fExitWindowNormalY; }
    float GetExitWindowNormalZ() const { return m_fExitWindowNormalZ; }

    /// Stores the plane as it is, and marks it as calibrated now.
    void SetExitWindow(float normalX, float normalY, float normalZ, float distance);

    /// Stores how the cloud is reduced, in preset 0.
    void SetReduceDataInMeasurement(EReduceData reduceData);

    /// The setting `Dump3DDataPath`.
    static const std::wstring& GetDump3DDataPath();
    static void SetDump3DDataPath(const std::wstring& path);

    const LxCCalibState& GetCalibState() const { return m_CalibState; }

    LxCShadingCorrection& GetShadingCorrection() { return m_ShadingCorrection; }
    const LxCShadingCorrection& GetShadingCorrection() const { return m_ShadingCorrection; }

    /// One section: FocalDistance_mm, DepthCulling_mm, ExitWindowDistance, ExitWindowNormalX, ExitWindowNormalY,
    /// ExitWindowNormalZ, the calibration state, and what the base class holds; and its subsections. A key that a
    /// loaded text lacks leaves its value, here and below.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section) override;

    /// One section: LowerBoundaryCC, UpperBoundaryCC, MulValNormal, MulValIntraoral, and what the base class holds,
    /// MulValNormal among it again; then subsections of the four edge detections. Where a text tells different
    /// multipliers for teeth by its two spellings, that of the base class counts.
    void SerializeNonIniFileParams(LxCCCTSerializer& serializer, const std::string& section) override;

private:
    static std::size_t IndexOf(ESettings settings);

    LxCEdgeDetectionConfig m_EdgeDetectionBigIntraoral{false, true};
    LxCEdgeDetectionConfig m_EdgeDetectionSmallIntraoral{true, true};
    LxCEdgeDetectionConfig m_EdgeDetectionBigPlaster{false, false};
    LxCEdgeDetectionConfig m_EdgeDetectionSmallPlaster{true, false};
    ESettings m_eActiveSettings = LxCAlgorithmConfig::eS_Preset0;
    std::array<LxCAlgorithmConfig, LxCAlgorithmConfig::sc_iNumSettings> m_aPresets;
    float m_fFocalDistance = 0.0F;        ///< mm
    float m_fDepthCullingDistance = 0.0F; ///< mm
    float m_fExitWindowDistance = 0.0F;   ///< mm, camera frame
    float m_fExitWindowNormalX = 0.0F;    ///< camera frame
    float m_fExitWindowNormalY = 0.0F;
    float m_fExitWindowNormalZ = 0.0F;
    LxCCalibState m_CalibState; ///< of the exit window
    LxCShadingCorrection m_ShadingCorrection;
};

} // namespace LxCV
