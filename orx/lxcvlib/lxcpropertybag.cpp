// The bag and its properties that are no templates.
#include "lxcpropertybag.h"

#include <ios>
#include <locale>
#include <sstream>

namespace LxCV {

namespace {

constexpr int c_iListPrecision = 2;

std::string JoinIntegers(const std::vector<int>& values)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::showbase;
    text.precision(c_iListPrecision);
    const char* separator = "";
    for (const int value : values) {
        text << separator << value;
        separator = ",";
    }
    return text.str();
}

int ParseInteger(const std::string& text)
{
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    int value = 0;
    stream >> value;
    return stream.fail() ? 0 : value;
}

/// Cuts at every comma; a piece that is no number gives 0, and so does an empty text.
std::vector<int> SplitIntegers(const std::string& text)
{
    std::vector<int> values;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t comma = text.find(',', begin);
        values.push_back(ParseInteger(text.substr(begin, comma - begin)));
        if (comma == std::string::npos) {
            return values;
        }
        begin = comma + 1;
    }
}

} // namespace

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
        if (property != nullptr) {
            const bool done =
                serializer.IsStoring() ? property->write(serializer) : property->read(serializer);
            complete = complete && done;
        }
    }
    return complete;
}

} // namespace LxCV
