// Section texts by the sections that they have.
#include "scanner/app/filefacts.h"

#include "lxccbcalibbody.h"
#include "lxcintrinsicparams.h"
#include "lxcpinholecamera.h"
#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"
#include "scanner/app/targettext.h"
#include "scanner/calibration/modelreading.h"
#include "scanner/calibration/modeltext.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace app {

namespace {

using Sections = std::vector<calibration::ModelSection>;

/// Longer texts are no section texts of this system, and would take much memory.
constexpr std::size_t kLongestSections = std::size_t{2} << 20;

/// The first line that is neither empty nor a comment.
std::string_view FirstLine(std::string_view text)
{
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::size_t begin = line.find_first_not_of(" \t\r");
        if (begin != std::string_view::npos && line[begin] != '#') {
            return line.substr(begin);
        }
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    return {};
}

bool IsSectionHeader(std::string_view line)
{
    return line.starts_with("::") && std::ranges::none_of(line, [](unsigned char letter) {
               return letter < ' ' && letter != '\t' && letter != '\r';
           });
}

/// Adds the value of a key where it is told.
void AddText(const Sections& sections, const std::string& section, const std::string& key,
             const std::string& name, nlohmann::ordered_json& facts)
{
    const calibration::ModelSection* const found = calibration::FindSection(sections, section);
    const calibration::ModelLine* const line = found == nullptr ? nullptr : found->Find(key);
    if (line != nullptr) {
        facts[name] = line->value;
    }
}

FileFacts TellModel(std::string_view text, const Sections& sections, const std::string& root)
{
    try {
        const auto model = calibration::ReadModel(std::string(text), root);
        const LxCV::LxCIntrinsicParams& camera = *model->GetCamera()->GetIntrinsicParams();
        FileFacts told{"model"};
        told.facts["root"] = root;
        told.facts["sections"] = sections.size();
        told.facts["calibrated"] = model->IsCalibrated();
        AddText(sections, root + "::Cams[0]", "CalibTime", "calibration_time", told.facts);
        told.facts["width"] = camera.GetExactImageWidth();
        told.facts["height"] = camera.GetExactImageHeight();
        told.facts["stripe_edges"] = model->GetCLPattern()->GetNrOfStripeEdges();
        told.facts["nearest_mm"] = model->GetMinZc();
        told.facts["farthest_mm"] = model->GetMaxZc();
        return told;
    } catch (const calibration::ModelError& error) {
        throw std::runtime_error(std::string("it is a damaged model: ") + error.what());
    }
}

FileFacts TellTarget(std::string_view text, const Sections& sections)
{
    LxCV::LxCCBCalibBody target(true);
    std::istringstream stream{std::string(text)};
    if (target.Read3DCoordsFromStream(stream) != LxCV::eCalibOk) {
        throw std::runtime_error("it is a data file of a target without coordinates, or with a line behind "
                                 "'::Coords' that is no point");
    }
    FileFacts told{"data file of a target"};
    AddText(sections, "::Thres", "TargetId", "target", told.facts);
    AddText(sections, "::Thres", "LabelType", "label", told.facts);
    const calibration::ModelSection* const coordinates = calibration::FindSection(sections, "::Coords");
    told.facts["points"] = coordinates == nullptr ? 0 : coordinates->lines.size();
    return told;
}

/// The kinds of section text that a key tells.
std::string KindByKeys(const Sections& sections)
{
    struct KindOfKey
    {
        std::string_view key;
        const char* kind;
    };
    constexpr std::array<KindOfKey, 3> kinds{{{"UseShadingCorrection", "shading correction"},
                                              {"FocalDistance_mm", "algorithm configuration"},
                                              {"OptimizeForIntraoral", "algorithm configuration"}}};
    for (const auto& [key, kind] : kinds) {
        for (const calibration::ModelSection& section : sections) {
            if (section.Find(key) != nullptr) {
                return kind;
            }
        }
    }
    return "section text";
}

/// The names of the first sections.
nlohmann::ordered_json NamesOf(const Sections& sections)
{
    constexpr std::size_t most = 16;
    nlohmann::ordered_json names = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < std::min(sections.size(), most); ++i) {
        names.push_back(sections[i].name);
    }
    return names;
}

} // namespace

std::optional<FileFacts> TellTargetsText(std::string_view text)
{
    constexpr std::size_t digits = 6;
    const std::string_view first = text.substr(0, text.find('\n'));
    if (first.size() != digits + 2 || !first.starts_with("::") ||
        !std::ranges::all_of(first.substr(2), [](unsigned char letter) { return std::isdigit(letter); })) {
        return std::nullopt;
    }
    try {
        const std::vector<TargetRecord> targets = ReadTargetText(text);
        FileFacts told{"text of an archive of targets"};
        told.facts["targets"] = targets.size();
        std::size_t points = 0;
        for (const TargetRecord& target : targets) {
            points += target.points;
        }
        told.facts["points"] = points;
        return told;
    } catch (const TargetTextError& error) {
        throw std::runtime_error("it is a text of targets that is wrong in line " +
                                 std::to_string(error.GetLine()) + ": " + error.what());
    }
}

std::optional<FileFacts> TellSections(const FileView& file)
{
    if (!IsSectionHeader(FirstLine(file.content))) {
        return std::nullopt;
    }
    if (std::optional<FileFacts> targets = TellTargetsText(file.content)) {
        return targets;
    }
    if (file.content.size() > kLongestSections) {
        throw std::runtime_error("it is a section text of more than 2 MiB, which is not read");
    }
    const Sections sections = calibration::SplitModelText(file.content);
    if (calibration::FindSection(sections, "::Coords") != nullptr) {
        return TellTarget(file.content, sections);
    }
    if (const std::optional<std::string> root = calibration::FindModelRoot(sections)) {
        return TellModel(file.content, sections, *root);
    }
    FileFacts told{KindByKeys(sections)};
    told.facts["sections"] = sections.size();
    told.facts["names"] = NamesOf(sections);
    return told;
}

} // namespace app
