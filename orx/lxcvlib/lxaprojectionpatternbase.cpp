// Persistence of the size of a pattern.
#include "lxaprojectionpatternbase.h"

#include "lxcpropertybag.h"

namespace LxCV {

void LxAProjectionPatternBase::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    if (!serializer.IsStoring()) {
        m_iPatternHeight = 0;
        m_iPatternWidth = 0;
    }
    LxCPropertyBag bag;
    bag.addScalar(m_iPatternHeight, "PatternHeight");
    bag.addScalar(m_iPatternWidth, "PatternWidth");
    bag.serialize(serializer, section, true);
}

} // namespace LxCV
