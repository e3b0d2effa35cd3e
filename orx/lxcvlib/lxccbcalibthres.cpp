// Defaults and section text of the checkerboard's thresholds.
#include "lxccbcalibthres.h"

#include "lxcpropertybag.h"
#include "stringutils.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace LxCV {

namespace {

/// A number above the largest int wraps to a negative one, as the text of existing targets has it.
std::wstring TargetIdText(unsigned int id)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%08i", static_cast<int>(id));
    return s2ws(text.data());
}

} // namespace

void LxCCBCalibThres::Reset()
{
    m_iMinLocExtAmount = 40;
    m_iMinTotalExtAmount = 80;
    m_iMinEdgeLen = 10;
    m_iMaxEdgeLen = 80;
    m_iNrOfSamples = 27;
    m_iSkip = 3;
    m_iNrOfCols = 8;
    m_iNrOfRows = 7;
    m_iIdOfFirstMarkedSquare = 27;
    m_eTypeOfCB = eCBT_FirstPolarity;
    m_fFactor2 = 1.0F;
    m_fFactor1 = 1.0F;
    m_iMaxDistCornerToEdgeEnd = 80;
    m_iMinDistCornerToOppEdgeEnd = 7;
    m_bAssumeStandardOrientation = false;
    m_dXOffset = 0.0;
    m_dYOffset = 0.0;
    m_bUseParabolaFit = false;
    m_bUseEdgeDirCheck = true;
    m_uiTargetId = 0;
    m_sTargetIdS.clear();
    m_eTargetVersion = eTV_Default;
}

void LxCCBCalibThres::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    const bool loading = !serializer.IsStoring();
    if (loading) {
        LxCCBCalibThres::Reset();
    }
    int targetVersion = m_eTargetVersion;
    int typeOfCB = m_eTypeOfCB;

    LxCPropertyBag bag;
    bag.addScalar(m_uiTargetId, "TargetId");
    bag.addScalar(m_sTargetIdS, "TargetIdS");
    bag.addScalar(targetVersion, "TargetVersion");
    bag.addScalar(m_iMinLocExtAmount, "MinLocExtAmount");
    bag.addScalar(m_iMinTotalExtAmount, "MinTotalExtAmount");
    bag.addScalar(m_iNrOfSamples, "NrOfSamples");
    bag.addScalar(m_iSkip, "Skip");
    bag.addScalar(m_iMaxDistCornerToEdgeEnd, "MaxDistCornerToEdgeEnd");
    bag.addScalar(m_iMinDistCornerToOppEdgeEnd, "MinDistCornerToOppEdgeEnd");
    bag.addScalar(m_iNrOfRows, "NrOfRows");
    bag.addScalar(m_iNrOfCols, "NrOfCols");
    bag.addScalar(m_iMinEdgeLen, "MinEdgeLen");
    bag.addScalar(m_iMaxEdgeLen, "MaxEdgeLen");
    bag.addScalar(m_iIdOfFirstMarkedSquare, "IdOfFirstMarkedSquare");
    bag.addScalar(typeOfCB, "TypeOfCB");
    bag.addScalar(m_bAssumeStandardOrientation, "AssumeStandardOrientation");
    bag.addScalar(m_dXOffset, "XOffset");
    bag.addScalar(m_dYOffset, "YOffset");
    bag.addScalar(m_bUseParabolaFit, "UseParabolaFit");
    bag.addScalar(m_bUseEdgeDirCheck, "UseEdgeDirCheck");
    bag.addScalar(m_fFactor1, "Factor1");
    bag.addScalar(m_fFactor2, "Factor2");
    bag.serialize(serializer, section, true);

    if (loading) {
        m_eTargetVersion = static_cast<ETargetVersion>(targetVersion);
        m_eTypeOfCB = static_cast<ECheckerBoardType>(typeOfCB);
        m_iMinEdgeLen = std::max(m_iMinEdgeLen, 1);
        m_iMaxEdgeLen = std::max(m_iMaxEdgeLen, m_iMinEdgeLen);
        if (m_sTargetIdS.empty()) {
            m_sTargetIdS = TargetIdText(m_uiTargetId);
        }
    }
    LxCCalibThres::Serialize(serializer, section + "::Base");
}

} // namespace LxCV
