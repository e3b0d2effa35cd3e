// Line table, section lookup and number conversion of the section-text format.
#include "lxccctserializer.h"

#include "orx/logging/logger.h"
#include "stringutils.h"

#include <algorithm>
#include <ios>
#include <locale>
#include <type_traits>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCCTSerializer");

constexpr const char* c_sSeparator = "#----------------------------------";
constexpr const char* c_sStripped = " \t\n\r";
constexpr int c_iFloatPrecision = 20;

std::string_view Strip(std::string_view line)
{
    const std::size_t first = line.find_first_not_of(c_sStripped);
    if (first == std::string_view::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(c_sStripped) - first + 1);
}

template <typename T>
bool ParseNumber(const std::string& text, T& value)
{
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    if (text.starts_with("0x")) {
        stream >> std::hex;
    }
    T parsed{};
    stream >> parsed;
    if (stream.fail()) {
        return false;
    }
    value = parsed;
    return true;
}

template <typename T>
bool ParseValue(const std::string& text, T& value)
{
    if constexpr (std::is_same_v<T, std::string>) {
        value = text;
        return true;
    } else if constexpr (std::is_same_v<T, std::wstring>) {
        value = LxCStringConverter::String2WString(text);
        return true;
    } else {
        return ParseNumber(text, value);
    }
}

std::string WithoutTrailingNuls(std::string text)
{
    text.resize(text.find_last_not_of('\0') + 1);
    return text;
}

} // namespace

LxCCCTSerializer::LxCCCTSerializer()
{
    m_Stream.imbue(std::locale::classic());
}

LxCCCTSerializer::~LxCCCTSerializer() = default;
LxCCCTSerializer::LxCCCTSerializer(LxCCCTSerializer&&) noexcept = default;
LxCCCTSerializer& LxCCCTSerializer::operator=(LxCCCTSerializer&&) noexcept = default;

bool LxCCCTSerializer::Init(bool storing, bool withComments)
{
    if (storing) {
        m_Stream.clear();
        m_Stream.precision(c_iFloatPrecision);
        m_Stream.setf(std::ios_base::fixed, std::ios_base::floatfield);
        m_bStoring = true;
    } else {
        BuildLineTable();
        if (m_vLines.empty()) {
            return false;
        }
        m_bStoring = false;
    }
    m_bComments = withComments;
    return true;
}

void LxCCCTSerializer::BuildLineTable()
{
    m_vLines.clear();
    m_SectionIndex.clear();
    m_uiMissingKeys = 0;
    m_uiRepeatedSections = 0;
    std::string line;
    while (std::getline(m_Stream, line)) {
        const std::string_view stripped = Strip(line);
        if (stripped.empty() || stripped.front() == '#') {
            continue;
        }
        if (stripped.front() == ':') {
            if (!m_SectionIndex.try_emplace(std::string(stripped), m_vLines.size()).second) {
                ++m_uiRepeatedSections;
            }
        }
        m_vLines.emplace_back(stripped);
    }
}

bool LxCCCTSerializer::Exit()
{
    return true;
}

void LxCCCTSerializer::WriteSection(const std::string& name)
{
    if (m_bComments) {
        m_Stream << "\n\n" << c_sSeparator << "\n" << name << "\n\n";
    } else {
        m_Stream << name << "\n";
    }
}

void LxCCCTSerializer::WriteBlockComment(const std::string& text)
{
    if (!m_bComments) {
        return;
    }
    m_Stream << c_sSeparator << "\n";
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        m_Stream << "# " << line << "\n";
    }
    m_Stream << c_sSeparator << "\n";
}

template <typename T>
bool LxCCCTSerializer::Write(const std::string& key, const T& value, const std::string& comment,
                             const int& format)
{
    if (m_bComments && !comment.empty()) {
        m_Stream << "# " << comment << "\n";
    }
    const std::ios_base::fmtflags flags = m_Stream.flags();
    const bool hexadecimal = format == c_iFormatHexadecimal;
    m_Stream.setf(hexadecimal ? std::ios_base::hex : std::ios_base::dec, std::ios_base::basefield);
    m_Stream.setf(std::ios_base::showbase);
    m_Stream << key << "=";
    if constexpr (std::is_same_v<T, std::wstring>) {
        m_Stream << LxCStringConverter::CString2String(value);
    } else {
        m_Stream << value;
    }
    m_Stream << "\n";
    m_Stream.flags(flags);
    return m_Stream.good();
}

template <typename T>
bool LxCCCTSerializer::Read(const SectionData& section, const std::string& key, T& value,
                            const T& defaultValue)
{
    for (std::size_t i = 1; i + 1 < section.size(); i += 2) {
        if (section[i] != key) {
            continue;
        }
        const std::string& text = section[i + 1];
        if (!ParseValue(text, value)) {
            std::string message =
                std::string("Error: CCCTSerializer::Read ") + "Conversion failed for " + text + "\n";
            logInfo(message);
            value = defaultValue;
        }
        return true;
    }
    value = defaultValue;
    return false;
}

bool LxCCCTSerializer::FindExtractSection(const std::string& name)
{
    return FindExtractSection(name, m_vSectionData);
}

bool LxCCCTSerializer::FindExtractSection(const std::string& name, SectionData& out)
{
    std::size_t line = FindLine(name);
    if (line == m_vLines.size()) {
        std::string message = "CCCTSerializer::FindExtractSection: Section " + name + " not found.\n";
        out.clear();
        logInfo(message);
        return false;
    }
    SectionData section{name}; // apart from `out`, which `name` may be an element of
    do {
        const std::string& text = m_vLines[line];
        if (const std::size_t equals = text.find('='); equals != std::string::npos) {
            section.push_back(text.substr(0, equals));
            section.push_back(text.substr(equals + 1));
        }
        ++line;
    } while (line < m_vLines.size() && m_vLines[line].front() != ':');
    out = std::move(section);
    return true;
}

std::size_t LxCCCTSerializer::FindLine(const std::string& text) const
{
    if (text.starts_with(':')) {
        const auto found = m_SectionIndex.find(text);
        return found != m_SectionIndex.end() ? found->second : m_vLines.size();
    }
    return static_cast<std::size_t>(std::find(m_vLines.begin(), m_vLines.end(), text) - m_vLines.begin());
}

bool LxCCCTSerializer::HasSameData(LxCCCTSerializer& other)
{
    return WithoutTrailingNuls(m_Stream.str()) == WithoutTrailingNuls(other.m_Stream.str());
}

void LxCCCTSerializer::ReadFromStringStream(std::stringstream& source)
{
    AppendText(source.view());
}

void LxCCCTSerializer::AppendText(std::string_view text)
{
    m_Stream.clear();
    m_Stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::size_t LxCCCTSerializer::GetTextSize() const
{
    return m_Stream.view().size();
}

void LxCCCTSerializer::logInfo(std::string& text)
{
    s_Logger.Info(L"%s", text);
}

template bool LxCCCTSerializer::Write(const std::string&, const bool&, const std::string&, const int&);
template bool LxCCCTSerializer::Write(const std::string&, const int&, const std::string&, const int&);
template bool LxCCCTSerializer::Write(const std::string&, const unsigned int&, const std::string&,
                                      const int&);
template bool LxCCCTSerializer::Write(const std::string&, const float&, const std::string&, const int&);
template bool LxCCCTSerializer::Write(const std::string&, const double&, const std::string&, const int&);
template bool LxCCCTSerializer::Write(const std::string&, const std::string&, const std::string&, const int&);
template bool LxCCCTSerializer::Write(const std::string&, const std::wstring&, const std::string&,
                                      const int&);

template bool LxCCCTSerializer::Read(const SectionData&, const std::string&, bool&, const bool&);
template bool LxCCCTSerializer::Read(const SectionData&, const std::string&, int&, const int&);
template bool LxCCCTSerializer::Read(const SectionData&, const std::string&, unsigned int&,
                                     const unsigned int&);
template bool LxCCCTSerializer::Read(const SectionData&, const std::string&, float&, const float&);
template bool LxCCCTSerializer::Read(const SectionData&, const std::string&, double&, const double&);
template bool LxCCCTSerializer::Read(const SectionData&, const std::string&, std::string&,
                                     const std::string&);
template bool LxCCCTSerializer::Read(const SectionData&, const std::string&, std::wstring&,
                                     const std::wstring&);

} // namespace LxCV
