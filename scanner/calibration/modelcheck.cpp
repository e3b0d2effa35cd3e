// The text of a model against what the library reads of it.
#include "scanner/calibration/modelcheck.h"

#include "lxcpinholeframework.h"
#include "scanner/calibration/algorithmtext.h"
#include "scanner/calibration/modelgeometry.h"
#include "scanner/calibration/modelranges.h"
#include "scanner/calibration/modelreading.h"
#include "scanner/calibration/modeltargets.h"
#include "scanner/calibration/modeltext.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

namespace calibration {

namespace {

constexpr const char* c_pattern = "::Projector::CLPattern";
constexpr const char* c_boardTarget = "::CamCalibBody";
constexpr const char* c_slideTarget = "::ProjCalibBody";

/// The values that are no numbers, or no single ones.
bool IsText(std::string_view key)
{
    constexpr std::array<std::string_view, 9> texts{
        "CoordFile",    "CalibTime",         "CalibRevNumber", "CalibInfos",           "Pattern",
        "CalibMarkPos", "BlankOutMarkerPos", "TargetIdS",      "IgnoreDepthOnLSECalib"};
    return key == "BaseShift" || key.starts_with("LUT[") ||
           std::find(texts.begin(), texts.end(), key) != texts.end();
}

/// Whether a key belongs to the table of calibrated edge positions.
bool IsOfEdgeTable(std::string_view key)
{
    constexpr std::array<std::string_view, 8> keys{
        "MinDistProjToScene",    "MaxDistProjToScene",  "NumPatches", "NumPatchesDepth",
        "IgnoreDepthOnLSECalib", "BaseShiftCalibrated", "BaseShift",  "DataVersion"};
    return key.starts_with("LUT[") || key.starts_with("CalibratedPositionLUTPD[") ||
           std::find(keys.begin(), keys.end(), key) != keys.end();
}

/// Whether two texts are one number, to the precision of a float, or of the 20 decimals that are written.
bool MeansTheSame(std::string_view given, std::string_view read)
{
    constexpr double precision = 1e-6;
    constexpr double halfOfLastDecimal = 0.5e-20;
    const std::optional<double> one = ParseNumber(given), other = ParseNumber(read);
    return one && other &&
           std::abs(*one - *other) <=
               std::max(precision * std::max(std::abs(*one), std::abs(*other)), halfOfLastDecimal);
}

/// Whether two texts are the same but for blanks, which lists of numbers may have.
bool IsTheSameList(std::string_view given, std::string_view read)
{
    const auto withoutBlanks = [](std::string_view text) {
        std::string rest(text);
        std::erase(rest, ' ');
        return rest;
    };
    return withoutBlanks(given) == withoutBlanks(read);
}

/// Whether a section, told below the model's root, is of a target that a device is calibrated with.
bool IsOfTarget(std::string_view name)
{
    return name.starts_with(c_boardTarget) || name.starts_with(c_slideTarget);
}

/// Whether the library can fill a section in: it needs no calibration.
bool HasDefaults(std::string_view name)
{
    return name.starts_with("::PolynomKoma") || name.starts_with("::RoiIgnore") || IsOfTarget(name);
}

/// Walks through both texts.
class ModelTextCheck
{
public:
    ModelTextCheck(const std::vector<ModelSection>& given, const std::vector<ModelSection>& read,
                   const std::string& root)
        : m_given(given), m_read(read), m_root(root), m_algorithmRoot(FindAlgorithmRoot(given))
    {
        for (const ModelSection& section : given) {
            m_givenByName.try_emplace(section.name, &section);
        }
        for (const ModelSection& section : read) {
            m_readNames.insert(section.name);
            m_readGroups.insert(section.name.substr(0, section.name.find("::", 2)));
        }
        m_hasOldPositions = HasOldPositions();
    }

    std::vector<ModelFinding> Run()
    {
        CheckHeaders();
        for (const ModelSection& read : m_read) {
            const auto given = m_givenByName.find(read.name);
            if (given == m_givenByName.end()) {
                Add(0, read.name, "", "is missing", AdviceForMissing(read.name));
            } else {
                CheckKeys(*given->second, read);
            }
        }
        return std::move(m_findings);
    }

private:
    void Add(std::size_t line, const std::string& section, const std::string& key, const std::string& problem,
             const std::string& advice, bool isError = true)
    {
        const bool isBelowRoot = section.starts_with(m_root);
        const bool isConverted = m_hasOldPositions && section == m_root + c_pattern;
        m_findings.push_back({isError && !isConverted, line,
                              isBelowRoot ? section.substr(m_root.size()) : section, key, problem, advice});
    }

    std::string AdviceForMissing(const std::string& section) const
    {
        return HasDefaults(section.substr(m_root.size()))
                   ? "write the model anew: 'lumorad model convert --rewrite' adds the defaults"
                   : "take it from a backup of this device's model, or calibrate the device";
    }

    /// Whether a section is one of this model, known or not, and not of the algorithm configuration beside it.
    bool IsOurs(const std::string& name) const
    {
        if (m_algorithmRoot && IsOfAlgorithm(name, *m_algorithmRoot)) {
            return false;
        }
        if (!m_root.empty()) {
            return name.starts_with(m_root + "::");
        }
        return m_readGroups.contains(name.substr(0, name.find("::", 2)));
    }

    void CheckHeaders()
    {
        std::map<std::string_view, std::size_t> lines;
        for (const ModelSection& section : m_given) {
            if (section.name.empty()) {
                Add(section.number, "", "", "lines before the first section are not read",
                    "move them below their section's header, or delete them");
                continue;
            }
            if (!IsOurs(section.name)) {
                continue;
            }
            const auto [first, isNew] = lines.try_emplace(section.name, section.number);
            if (!isNew) {
                Add(section.number, section.name, "",
                    "comes twice; only the one in line " + std::to_string(first->second) + " counts",
                    "delete one of them");
            } else if (!m_readNames.contains(section.name)) {
                Add(section.number, section.name, "", "is unknown: nothing reads it",
                    "correct its name, or delete it");
            }
        }
    }

    void CheckKeys(const ModelSection& given, const ModelSection& read)
    {
        std::map<std::string_view, const ModelLine*> lines;
        std::set<std::string_view> known;
        const bool isPattern = given.name == m_root + c_pattern;
        for (const ModelLine& line : read.lines) {
            known.insert(line.key);
        }
        for (const ModelLine& line : given.lines) {
            if (!line.isPair) {
                Add(line.number, given.name, "", "a line without '=' is not read", "correct or delete it");
                continue;
            }
            const auto [first, isNew] = lines.try_emplace(line.key, &line);
            if (!isNew) {
                Add(line.number, given.name, line.key,
                    "comes twice; only the one in line " + std::to_string(first->second->number) + " counts",
                    "delete one of them");
            } else if (!known.contains(line.key) && !(isPattern && IsOfEdgeTable(line.key))) {
                Add(line.number, given.name, line.key, "is unknown: nothing reads it",
                    "correct its name, or delete it");
            }
        }
        for (const ModelLine& line : read.lines) {
            const auto found = lines.find(line.key);
            if (found == lines.end()) {
                Add(given.number, given.name, line.key, "is missing",
                    "add it, or take the section from a backup");
            } else {
                CheckValue(given.name, *found->second, line.value);
            }
        }
        CheckEdgeTable(given, known);
    }

    /// Rows beyond the table's size, and a table that was refused as a whole.
    void CheckEdgeTable(const ModelSection& given, const std::set<std::string_view>& known)
    {
        if (given.name != m_root + c_pattern || m_hasOldPositions) {
            return;
        }
        const std::string advice =
            "correct NumPatches and NumPatchesDepth, or take the section from a backup";
        const ModelLine* const patches = given.Find("NumPatches");
        if (patches != nullptr && patches->value != "0" && !known.contains("NumPatches")) {
            Add(patches->number, given.name, patches->key, "no table of edge positions is read", advice);
            return;
        }
        for (const ModelLine& line : given.lines) {
            if (line.key.starts_with("LUT[") && !known.contains(line.key)) {
                Add(line.number, given.name, line.key, "is not part of the table of edge positions", advice);
            }
        }
    }

    /// Whether the library converts edge positions of an old kind, which changes their section.
    bool HasOldPositions() const
    {
        const auto given = m_givenByName.find(m_root + c_pattern);
        if (given == m_givenByName.end()) {
            return false;
        }
        const ModelLine* const version = given->second->Find("DataVersion");
        const ModelSection* const read = FindSection(m_read, m_root + c_pattern);
        const ModelLine* const infos = read == nullptr ? nullptr : read->Find("CalibInfos");
        const ModelLine* const before = given->second->Find("CalibInfos");
        const bool isConverted = infos != nullptr && infos->value.starts_with("converted from ") &&
                                 (before == nullptr || before->value != infos->value);
        const bool hasOldRows = std::ranges::any_of(given->second->lines, [](const ModelLine& line) {
            return line.key.starts_with("CalibratedPositionLUTPD[");
        });
        return isConverted || (version == nullptr ? hasOldRows : ParseNumber(version->value) == 1.0);
    }

    void CheckValue(const std::string& section, const ModelLine& given, const std::string& read)
    {
        const bool isList = given.key == "IgnoreDepthOnLSECalib";
        if (given.value == read || (!IsText(given.key) && MeansTheSame(given.value, read)) ||
            (isList && IsTheSameList(given.value, read))) {
            return;
        }
        const std::string name = section.substr(m_root.size());
        if (name.starts_with(c_slideTarget) && (IsText(given.key) || ParseNumber(given.value))) {
            Add(given.number, section, given.key, "is " + read + " by the standard data of the slide",
                "nothing: each reading takes the data of the pattern's slide", false);
        } else if (IsText(given.key)) {
            Add(given.number, section, given.key, "is read as something else",
                "calibrate the device, or take the section from a backup");
        } else if (!ParseNumber(given.value).has_value()) {
            Add(given.number, section, given.key, "'" + given.value + "' is no number; " + read + " is taken",
                "write a number, with a point for its fraction");
        } else {
            Add(given.number, section, given.key, "is read as " + read, "write what is meant");
        }
    }

    const std::vector<ModelSection>& m_given;
    const std::vector<ModelSection>& m_read;
    const std::string& m_root;
    const std::optional<std::string> m_algorithmRoot;
    std::map<std::string_view, const ModelSection*> m_givenByName;
    std::set<std::string_view> m_readNames;
    std::set<std::string, std::less<>> m_readGroups; ///< first parts of the names
    bool m_hasOldPositions = false;
    std::vector<ModelFinding> m_findings;
};

void Append(std::vector<ModelFinding>& findings, std::vector<ModelFinding>&& more)
{
    findings.insert(findings.end(), std::make_move_iterator(more.begin()),
                    std::make_move_iterator(more.end()));
}

/// Gives findings on the model the lines of the text that they are about.
void AddLines(std::vector<ModelFinding>& findings, const std::vector<ModelSection>& sections,
              const std::string& root)
{
    std::map<std::string_view, const ModelSection*> byName;
    for (const ModelSection& section : sections) {
        byName.try_emplace(section.name, &section);
    }
    for (ModelFinding& finding : findings) {
        const auto found = byName.find(root + finding.section);
        const ModelSection* const section = found == byName.end() ? nullptr : found->second;
        const ModelLine* const line = section == nullptr ? nullptr : section->Find(finding.key);
        finding.line = line != nullptr ? line->number : section != nullptr ? section->number : 0;
    }
}

/// The same text with no patches of edge positions, so that the rest of the model is read.
std::string WithoutEdgeTable(const std::string& text, const std::vector<ModelSection>& sections,
                             const std::string& root)
{
    const ModelSection* const pattern = FindSection(sections, root + c_pattern);
    const ModelLine* const patches = pattern == nullptr ? nullptr : pattern->Find("NumPatches");
    if (patches == nullptr) {
        return text;
    }
    std::size_t begin = 0;
    for (std::size_t line = 1; line < patches->number; ++line) {
        begin = text.find('\n', begin) + 1;
    }
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    return text.substr(0, begin) + "NumPatches=0" + text.substr(end);
}

/// The sections of both texts that measuring reads, but for those that may be missing and are; and of the given ones
/// the lines that are read.
void KeepWhatIsMeasuredWith(std::vector<ModelSection>& given, std::vector<ModelSection>& read,
                            const std::string& root)
{
    std::erase_if(read, [&](const ModelSection& section) {
        const std::string name = section.name.substr(root.size());
        return IsOfTarget(name) || (HasDefaults(name) && FindSection(given, section.name) == nullptr);
    });
    std::erase_if(given,
                  [&](const ModelSection& section) { return FindSection(read, section.name) == nullptr; });
    for (ModelSection& section : given) {
        const ModelSection& known = *FindSection(read, section.name);
        const bool isPattern = section.name == root + c_pattern;
        std::erase_if(section.lines, [&](const ModelLine& line) {
            return known.Find(line.key) == nullptr && !(isPattern && IsOfEdgeTable(line.key));
        });
    }
}

/// Whether a key tells of a calibration. A model that is not calibrated has no light planes, which is told elsewhere.
bool IsOfState(std::string_view key)
{
    return key == "Calibrated" || key == "CalibTime" || key == "CalibRevNumber" || key == "CalibInfos";
}

/// Whether a key is that of a rotation, which turns as well by more than half a turn.
bool IsAngle(std::string_view key)
{
    return key == "Rx" || key == "Ry" || key == "Rz";
}

/// Numbers out of their ranges in the sections that measuring reads. Those of a table of edge positions are left out, as
/// there need not be one.
std::vector<ModelFinding> CheckRangesOfNumbers(std::vector<ModelSection> sections, const std::string& root)
{
    for (ModelSection& section : sections) {
        std::erase_if(section.lines, [](const ModelLine& line) { return !ParseNumber(line.value); });
    }
    std::vector<ModelFinding> findings = CheckRanges(sections, root);
    std::erase_if(findings, [](const ModelFinding& finding) {
        return IsOfTarget(finding.section) || IsOfState(finding.key) || IsOfEdgeTable(finding.key) ||
               IsAngle(finding.key);
    });
    AddLines(findings, sections, root);
    return findings;
}

/// Errors of an algorithm configuration beside the model.
std::vector<ModelFinding> CheckAlgorithmBeside(const std::vector<ModelSection>& sections,
                                               const std::string& root)
{
    const std::optional<std::string> algorithm = FindAlgorithmRoot(sections);
    std::vector<ModelFinding> findings;
    if (algorithm) {
        findings = CheckAlgorithm(sections, *algorithm);
    }
    for (ModelFinding& finding : findings) {
        if (finding.section.starts_with(root)) {
            finding.section.erase(0, root.size());
        }
    }
    return findings;
}

} // namespace

std::vector<ModelFinding> CheckModel(const std::string& text, const std::string& root)
{
    const std::vector<ModelSection> given = SplitModelText(text);
    std::vector<ModelFinding> ofModel;
    std::unique_ptr<LxCV::LxCPinholeFramework> model;
    try {
        model = ReadModel(text, root);
    } catch (const ModelError&) {
        ofModel.push_back({true, 0, c_pattern, "LUT[patch][depth]",
                           "a row is longer than the pattern has stripe edges",
                           "correct PatternHeight and StripeWidth, or take the section from a backup"});
        model = ReadModel(WithoutEdgeTable(text, given, root), root);
    }
    const std::vector<ModelSection> read = SplitModelText(WriteModel(*model, root));
    Append(ofModel, CheckRanges(read, root));
    Append(ofModel, CheckGeometry(*model));
    Append(ofModel, CheckTargets(*model));
    AddLines(ofModel, given, root);
    std::vector<ModelFinding> findings = ModelTextCheck(given, read, root).Run();
    Append(findings, CheckAlgorithmBeside(given, root));
    Append(findings, std::move(ofModel));
    return findings;
}

CheckedModel ReadForMeasuring(const std::string& text, const std::string& root)
{
    std::vector<ModelSection> given = SplitModelText(text);
    // First, as the library's tables of a lens that is none take their time, and a line in the log for each lookup.
    CheckedModel result{nullptr, CheckRangesOfNumbers(given, root)};
    if (!result.obstacles.empty()) {
        return result;
    }
    result.model = ReadModel(text, root);
    std::vector<ModelSection> read = SplitModelText(WriteModel(*result.model, root));
    KeepWhatIsMeasuredWith(given, read, root);
    result.obstacles = ModelTextCheck(given, read, root).Run();
    std::erase_if(result.obstacles,
                  [](const ModelFinding& finding) { return !finding.isError || IsOfState(finding.key); });
    return result;
}

std::string FindingText(const ModelFinding& finding)
{
    std::string place = finding.line == 0 ? "" : "line " + std::to_string(finding.line);
    for (const std::string& part : {finding.section, finding.key}) {
        place += (place.empty() || part.empty() ? "" : ", ") + part;
    }
    return place + (place.empty() ? "" : ": ") + finding.problem + "; " + finding.advice;
}

bool IsSound(const std::vector<ModelFinding>& findings)
{
    return std::none_of(findings.begin(), findings.end(),
                        [](const ModelFinding& finding) { return finding.isError; });
}

} // namespace calibration
