// Section text of the colour compensation.
#include "lxccolorcompsettings.h"

#include "lxcpropertybag.h"

namespace LxCV {

void LxCColorCompSettings::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    SerializeColorComp(serializer, section, true);
}

void LxCColorCompSettings::SerializeNonIniFileParams(LxCCCTSerializer& serializer, const std::string& section)
{
    SerializeColorCompNonIniFileParams(serializer, section, true);
}

void LxCColorCompSettings::SerializeColorComp(LxCCCTSerializer& serializer, const std::string& section,
                                              bool writeSection)
{
    LxCPropertyBag bag;
    bag.addScalar(m_fRBC, "RBC");
    bag.addScalar(m_fGBC, "GBC");
    bag.addScalar(m_fBBC, "BBC");
    bag.addScalar(m_iCCOpMode, "CCOpMode");
    bag.serialize(serializer, section, writeSection);
    m_Coupling.Serialize(serializer, section + "::CameraProjectorCoupling");
}

void LxCColorCompSettings::SerializeColorCompNonIniFileParams(LxCCCTSerializer& serializer,
                                                              const std::string& section, bool writeSection)
{
    LxCPropertyBag bag;
    bag.addScalar(m_bOptimizeForIntraoral, "OptimizeForIntraoral");
    bag.addScalar(m_fMulValIntraoral, "MulValIntraotal"); // so spelt in the files that exist
    bag.addScalar(m_fMulValNormal, "MulValNormal");
    bag.serialize(serializer, section, writeSection);
}

void LxCColorCompSettings::GetCameraProjectorCoupling(float& arr, float& arg, float& arb, float& agr,
                                                      float& agg, float& agb, float& abr, float& abg,
                                                      float& abb) const
{
    m_Coupling.GetValues(arr, arg, arb, agr, agg, agb, abr, abg, abb);
}

bool LxCColorCompSettings::SetCameraProjectorCoupling(float arr, float arg, float arb, float agr, float agg,
                                                      float agb, float abr, float abg, float abb)
{
    m_Coupling.SetValues(arr, arg, arb, agr, agg, agb, abr, abg, abb);
    return true;
}

const char* LxCColorCompSettings::GetOperatingModeText(std::int32_t mode)
{
    switch (mode) {
    case eOM_FullMatrix:
        return "Use full matrix mode";
    case eOM_TriangularMatrix:
        return "Use triangular matrix mode";
    default:
        return "";
    }
}

} // namespace LxCV
