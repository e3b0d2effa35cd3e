// The bag and its properties that are no templates.
#include "lxcpropertybag.h"

#include "integerlist.h"

namespace LxCV {

LxCVectorProperty::LxCVectorProperty(std::vector<int>* variable, std::string key, std::string comment)
    : m_pVariable(variable), m_Default(*variable), m_sKey(std::move(key)), m_sComment(std::move(comment))
{}

bool LxCVectorProperty::read(LxCCCTSerializer& serializer)
{
    std::string text;
    const bool found =
        serializer.Read<std::string>(serializer.GetSectionData(), m_sKey, text, JoinIntegers(m_Default));
    if (found) {
        *m_pVariable = SplitIntegers(text);
    }
    return found;
}

bool LxCVectorProperty::write(LxCCCTSerializer& serializer)
{
    return serializer.Write<std::string>(m_sKey, JoinIntegers(*m_pVariable), m_sComment, c_iFormatDecimal);
}

bool LxCBlockComment::read(LxCCCTSerializer&)
{
    return true;
}

bool LxCBlockComment::write(LxCCCTSerializer& serializer)
{
    serializer.WriteBlockComment(m_sText);
    return true;
}

void LxCPropertyBag::add(LxISerializedProperty* property)
{
    m_vProperties.push_back(std::shared_ptr<LxISerializedProperty>(property));
}

bool LxCPropertyBag::serialize(LxCCCTSerializer& serializer, const std::string& sectionName,
                               bool writeSection)
{
    if (!serializer.IsStoring()) {
        serializer.FindExtractSection(sectionName);
    } else if (writeSection) {
        serializer.WriteSection(sectionName);
    }
    bool complete = true;
    for (const auto& property : m_vProperties) {
        if (property == nullptr) {
            continue;
        }
        const bool done = serializer.IsStoring() ? property->write(serializer) : property->read(serializer);
        if (!done && !serializer.IsStoring()) {
            serializer.CountMissingKey();
        }
        complete = complete && done;
    }
    return complete;
}

} // namespace LxCV
