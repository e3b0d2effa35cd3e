// Persistence of the projector.
#include "lxcpatternprojector.h"

namespace LxCV {

LxCPatternProjector::LxCPatternProjector()
{
    SetQualityThreshold(sc_dDefaultQualityThreshold);
}

void LxCPatternProjector::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPinholeCamera::Serialize(serializer, section + "::PinholeProjector::PinholeCamera");
    m_Pattern.Serialize(serializer, section + "::CLPattern");
}

} // namespace LxCV
