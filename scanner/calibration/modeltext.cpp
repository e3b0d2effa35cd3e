// Lines, sections and the root of a model's text.
#include "scanner/calibration/modeltext.h"

#include <algorithm>
#include <array>
#include <map>

namespace calibration {

namespace {

/// Endings of section names that lead to a model's root.
constexpr std::array<std::string_view, 8> c_rootEndings{
    "::MV3DCamBase",          "::Cams[0]",      "::Projector::PinholeProjector::PinholeCamera",
    "::Projector::CLPattern", "::PolynomKoma",  "::RoiIgnore",
    "::CamCalibBody",         "::ProjCalibBody"};

std::string_view Strip(std::string_view line)
{
    constexpr std::string_view blanks = " \t\n\r";
    const std::size_t first = line.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

ModelLine ToLine(std::string_view text, std::size_t number)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
        return {number, false, std::string(text), {}};
    }
    return {number, true, std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
}

} // namespace

const ModelLine* ModelSection::Find(std::string_view key) const
{
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [key](const ModelLine& line) { return line.isPair && line.key == key; });
    return found == lines.end() ? nullptr : &*found;
}

std::vector<ModelSection> SplitModelText(std::string_view text)
{
    std::vector<ModelSection> sections;
    std::size_t number = 0;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = Strip(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == ':') {
            sections.push_back({number, std::string(line), {}});
            continue;
        }
        if (sections.empty()) {
            sections.push_back({number, {}, {}});
        }
        sections.back().lines.push_back(ToLine(line, number));
    }
    return sections;
}

const ModelSection* FindSection(const std::vector<ModelSection>& sections, std::string_view name)
{
    const auto found = std::find_if(sections.begin(), sections.end(),
                                    [name](const ModelSection& section) { return section.name == name; });
    return found == sections.end() ? nullptr : &*found;
}

std::optional<std::string> FindModelRoot(const std::vector<ModelSection>& sections)
{
    std::map<std::string, std::size_t, std::less<>> hits;
    for (const ModelSection& section : sections) {
        for (const std::string_view ending : c_rootEndings) {
            if (section.name.ends_with(ending)) {
                ++hits[section.name.substr(0, section.name.size() - ending.size())];
            }
        }
    }
    const auto best = std::max_element(hits.begin(), hits.end(), [](const auto& one, const auto& other) {
        return one.second < other.second;
    });
    return best == hits.end() ? std::nullopt : std::optional(best->first);
}

} // namespace calibration
