// Compensation of the scene's and the camera's colours.
#pragma once

#include "lxccameraprojectorcoupling.h"
#include "orx/base/export.h"

#include <cstdint>
#include <limits>
#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// Carries the parameters of the colour compensation for the decoding stage, which reads them.
class ORX_EXPORT LxCColorCompSettings
{
public:
    /// How the coupling between projector and camera is used. Any number is carried.
    enum EOperatingMode : std::int32_t
    {
        eOM_FullMatrix = 1,
        eOM_TriangularMatrix = 2
    };

    LxCColorCompSettings() = default;
    LxCColorCompSettings(const LxCColorCompSettings&) = default;
    LxCColorCompSettings& operator=(const LxCColorCompSettings&) = default;

    // The virtual functions stand in the order of their slots, which modules built earlier rely on; so the destructor
    // comes after them.

    /// The part that a device's parameter set holds. Keys: RBC, GBC, BBC, CCOpMode; the coupling in the subsection
    /// "::CameraProjectorCoupling". A key that a loaded text lacks leaves its value, here and below.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// The part that tools hold. Keys: OptimizeForIntraoral, MulValIntraotal (so spelt in these files), MulValNormal.
    virtual void SerializeNonIniFileParams(LxCCCTSerializer& serializer, const std::string& section);

    virtual ~LxCColorCompSettings() = default;

    /// The coupling, which this object keeps; never null.
    LxCCameraProjectorCoupling* GetCameraProjectorCoupling() { return &m_Coupling; }
    const LxCCameraProjectorCoupling* GetCameraProjectorCoupling() const { return &m_Coupling; }

    /// Its coefficients, as `LxCCameraProjectorCoupling` defines them.
    void GetCameraProjectorCoupling(float& arr, float& arg, float& arb, float& agr, float& agg, float& agb,
                                    float& abr, float& abg, float& abb) const;

    /// @return true
    bool SetCameraProjectorCoupling(float arr, float arg, float arb, float agr, float agg, float agb,
                                    float abr, float abg, float abb);

    /// Whether teeth are measured, rather than plaster models.
    bool GetOptimizeAlgoForIntraoralMeasurement() const { return m_bOptimizeForIntraoral; }
    void SetOptimizeAlgoForIntraoralMeasurement(bool optimize) { m_bOptimizeForIntraoral = optimize; }

    float GetRBC() const { return m_fRBC; }
    float GetGBC() const { return m_fGBC; }
    float GetBBC() const { return m_fBBC; }
    std::int32_t GetCCOpMode() const { return m_iCCOpMode; }
    float GetLowerBoundaryCC() const { return m_fLowerBoundaryCC; }
    float GetUpperBoundaryCC() const { return m_fUpperBoundaryCC; }
    float GetMulValNormal() const { return m_fMulValNormal; }
    float GetMulValIntraoral() const { return m_fMulValIntraoral; }

    /// "Use full matrix mode" or "Use triangular matrix mode"; empty for another number.
    static const char* GetOperatingModeText(std::int32_t mode);

protected:
    // The same as the virtual operations. A descendant whose own keys share the section has written its header.
    void SerializeColorComp(LxCCCTSerializer& serializer, const std::string& section, bool writeSection);
    void SerializeColorCompNonIniFileParams(LxCCCTSerializer& serializer, const std::string& section,
                                            bool writeSection);

    float m_fRBC = 0.0F;                             ///< red value
    float m_fGBC = 0.0F;                             ///< green value
    float m_fBBC = 0.0F;                             ///< blue value
    std::int32_t m_iCCOpMode = eOM_TriangularMatrix; ///< an `EOperatingMode`
    float m_fLowerBoundaryCC = 0.0F;
    float m_fUpperBoundaryCC = std::numeric_limits<float>::max();
    bool m_bOptimizeForIntraoral = true;
    float m_fMulValNormal = 100.0F;    ///< multiplier for other objects than teeth
    float m_fMulValIntraoral = 170.0F; ///< multiplier for teeth
    LxCCameraProjectorCoupling m_Coupling;
};

} // namespace LxCV
