// Reports on models.
#include "scanner/app/modelreport.h"

#include "lxccbcalibthres.h"
#include "lxccprojslidecalibthres.h"
#include "lxcpinholeframework.h"
#include "scanner/app/jsonreport.h"
#include "stringutils.h"

#include <iomanip>
#include <ostream>

namespace app {

namespace {

using LxCV::LxCPinholeFramework;
using LxCV::LxCStripePattern;

/// The name of a pattern among the slides that are built in.
std::string PatternName(const LxCStripePattern& pattern)
{
    if (pattern.GetPatternString() == LxCStripePattern::GetPatternStringA()) {
        return "A";
    }
    return pattern.GetPatternString() == LxCStripePattern::GetPatternStringC() ? "C" : "other";
}

std::string FormText(const ModelFile& file)
{
    const std::string version = file.version == 0 ? "" : " of version " + std::to_string(file.version);
    return FormName(file.form) + version;
}

void PrintSections(const ModelSummary& summary, std::ostream& out)
{
    constexpr int countWidth = 6;
    out << "Sections\n  keys  name\n";
    for (const calibration::ModelSection& section : *summary.sections) {
        out << std::setw(countWidth) << section.lines.size() << "  "
            << (section.name.empty() ? "(before the first section)" : section.name) << "\n";
    }
}

void PrintPattern(const LxCStripePattern& pattern, std::ostream& out)
{
    out << "Pattern " << PatternName(pattern) << "\n"
        << "  slide            " << pattern.GetWidth() << " by " << pattern.GetHeight() << " slide units\n"
        << "  stripe edges     " << pattern.GetNrOfStripeEdges() << ", " << pattern.GetPrimitiveSize()
        << " slide units apart; calibrated " << pattern.GetMinCalibratedEdge() << " to "
        << pattern.GetMaxCalibratedEdge() << "\n"
        << "  digits           " << pattern.GetNrOfUniqueStripeIds() << "\n"
        << "  edge positions   ";
    if (pattern.GetNumPatches() > 0) {
        out << pattern.GetNumPatches() << " by " << pattern.GetNumPatchesDepth() << " patches, "
            << pattern.GetMinDistProjToScene() << " to " << pattern.GetMaxDistProjToScene()
            << " mm from the projector\n";
    } else {
        out << "nominal\n";
    }
}

void PrintRegions(const LxCPinholeFramework& model, std::ostream& out)
{
    out << "Ignored regions: " << model.GetRoiIgnore().size() << "\n";
    for (const LxCV::LxCRoi& region : model.GetRoiIgnore()) {
        out << "  " << region.GetWidth() << " by " << region.GetHeight() << " pixels from column "
            << region.GetLeftCol() << ", row " << region.GetTopRow() << "\n";
    }
}

/// The thresholds of the camera's target; null where that is no checkerboard.
const LxCV::LxCCBCalibThres* BoardOf(const LxCPinholeFramework& model)
{
    return dynamic_cast<const LxCV::LxCCBCalibThres*>(model.GetCamCalibBody()->GetThres());
}

std::string FileText(const LxCV::LxCCalibBody& target)
{
    const bool isInstalled = target.GetCoordFile() == LxCV::LxCCalibBody::sc_FilenameReadFromRegistry;
    return target.GetCoordFile() + (isInstalled ? " (the installed target)" : "");
}

void PrintTargets(const LxCPinholeFramework& model, std::ostream& out)
{
    out << "Camera's target\n  data file        " << FileText(*model.GetCamCalibBody()) << "\n";
    if (const LxCV::LxCCBCalibThres* const board = BoardOf(model)) {
        out << "  squares          " << board->m_iNrOfRows << " rows of " << board->m_iNrOfCols << "\n"
            << "  number           "
            << (board->m_uiTargetId == 0 ? "none of its own" : LxCV::ws2s(board->m_sTargetIdS)) << "\n";
    }
    out << "Projector's target\n  data file        " << FileText(*model.GetProjCalibBody()) << "\n";
    if (const LxCV::LxCCProjSlideCalibThres* const slide = model.GetProjCalibThres()) {
        const bool areBright = slide->m_eMarkerTyp == LxCV::LxCCProjSlideCalibThres::eMT_WhiteInBlack;
        out << "  marks            " << slide->m_iNrOfRows << " rows on " << slide->m_viCalibMarkPos.size()
            << " stripes, " << (areBright ? "bright" : "dark") << "\n";
    }
}

nlohmann::ordered_json TargetsToJson(const LxCPinholeFramework& model)
{
    nlohmann::ordered_json json;
    json["camera"]["file"] = model.GetCamCalibBody()->GetCoordFile();
    if (const LxCV::LxCCBCalibThres* const board = BoardOf(model)) {
        json["camera"]["rows"] = board->m_iNrOfRows;
        json["camera"]["columns"] = board->m_iNrOfCols;
        json["camera"]["number"] = LxCV::ws2s(board->m_sTargetIdS);
    }
    json["projector"]["file"] = model.GetProjCalibBody()->GetCoordFile();
    if (const LxCV::LxCCProjSlideCalibThres* const slide = model.GetProjCalibThres()) {
        json["projector"]["rows"] = slide->m_iNrOfRows;
        json["projector"]["stripes"] = slide->m_viCalibMarkPos;
    }
    return json;
}

/// What the library tells of the calibration, and of how it came about where it
/// knows.
std::string CalibrationText(LxCPinholeFramework& model)
{
    std::string text;
    model.PrintCalibData(text);
    model.PrintCalibStatus(text, true, false);
    return text;
}

nlohmann::ordered_json PatternToJson(const LxCStripePattern& pattern)
{
    return {{"name", PatternName(pattern)},
            {"digits", pattern.GetPatternString()},
            {"width", pattern.GetWidth()},
            {"height", pattern.GetHeight()},
            {"stripe_width", pattern.GetPrimitiveSize()},
            {"stripe_edges", pattern.GetNrOfStripeEdges()},
            {"calibrated_edges", {pattern.GetMinCalibratedEdge(), pattern.GetMaxCalibratedEdge()}},
            {"patches", pattern.GetNumPatches()},
            {"depth_patches", pattern.GetNumPatchesDepth()}};
}

nlohmann::ordered_json SectionsToJson(const ModelSummary& summary)
{
    auto sections = nlohmann::ordered_json::array();
    for (const calibration::ModelSection& section : *summary.sections) {
        sections.push_back(
            {{"name", section.name}, {"line", section.number}, {"keys", section.lines.size()}});
    }
    return sections;
}

nlohmann::ordered_json RegionsToJson(const LxCPinholeFramework& model)
{
    auto regions = nlohmann::ordered_json::array();
    for (const LxCV::LxCRoi& region : model.GetRoiIgnore()) {
        regions.push_back({{"column", region.GetLeftCol()},
                           {"row", region.GetTopRow()},
                           {"width", region.GetWidth()},
                           {"height", region.GetHeight()}});
    }
    return regions;
}

} // namespace

std::string FormName(ModelForm form)
{
    switch (form) {
    case ModelForm::eContainer:
        return "a container";
    case ModelForm::eMemory:
        return "a device's memory";
    case ModelForm::eText:
        break;
    }
    return "a text";
}

void PrintModel(const ModelSummary& summary, LxCPinholeFramework& model, std::ostream& out)
{
    out << summary.path.string() << ": " << FormText(*summary.file) << ", " << summary.file->text.size()
        << " bytes of text, root '" << summary.root << "'\n\n";
    PrintSections(summary, out);
    out << "\n" << std::fixed << std::setprecision(2);
    out << "Working space\n  camera frame     z from " << model.GetMinZc() << " to " << model.GetMaxZc()
        << " mm\n  world            z from " << model.GetMinZw() << " to " << model.GetMaxZw() << " mm\n\n";
    PrintPattern(*model.GetCLPattern(), out);
    out << "\n";
    PrintRegions(model, out);
    out << "\n";
    PrintTargets(model, out);
    out << "\n" << CalibrationText(model) << "\n";
}

void PrintModelAsJson(const ModelSummary& summary, LxCPinholeFramework& model, std::ostream& out)
{
    nlohmann::ordered_json json;
    json["file"] = summary.path.string();
    json["form"] = FormName(summary.file->form).substr(2);
    json["version"] = summary.file->version;
    json["bytes"] = summary.file->text.size();
    json["root"] = summary.root;
    json["sections"] = SectionsToJson(summary);
    json["calibrated"] = model.IsCalibrated();
    json["working_space_mm"] = {{"camera", {model.GetMinZc(), model.GetMaxZc()}},
                                {"world", {model.GetMinZw(), model.GetMaxZw()}}};
    json["pattern"] = PatternToJson(*model.GetCLPattern());
    json["ignored_regions"] = RegionsToJson(model);
    json["targets"] = TargetsToJson(model);
    json["report"] = CalibrationText(model);
    PrintJson(out, json);
}

void PrintFindings(const std::filesystem::path& file, const std::vector<calibration::ModelFinding>& findings,
                   std::ostream& out)
{
    constexpr int lineWidth = 5;
    if (!findings.empty()) {
        out << " line  kind   section, key: finding\n";
    }
    for (const calibration::ModelFinding& finding : findings) {
        const std::string line = finding.line == 0 ? "-" : std::to_string(finding.line);
        std::string place = finding.section;
        if (!finding.key.empty()) {
            place += (place.empty() ? "" : ", ") + finding.key;
        }
        out << std::setw(lineWidth) << line << "  " << (finding.isError ? "error" : "note ") << "  " << place
            << (place.empty() ? "" : ": ") << finding.problem << "\n"
            << std::string(lineWidth + 9, ' ') << "-> " << finding.advice << "\n";
    }
    out << file.string() << (calibration::IsSound(findings) ? " is sound\n" : " is not sound\n");
}

void PrintFindingsAsJson(const std::filesystem::path& file,
                         const std::vector<calibration::ModelFinding>& findings, std::ostream& out)
{
    nlohmann::ordered_json json;
    json["file"] = file.string();
    json["sound"] = calibration::IsSound(findings);
    json["findings"] = nlohmann::ordered_json::array();
    for (const calibration::ModelFinding& finding : findings) {
        json["findings"].push_back({{"kind", finding.isError ? "error" : "note"},
                                    {"line", finding.line},
                                    {"section", finding.section},
                                    {"key", finding.key},
                                    {"problem", finding.problem},
                                    {"advice", finding.advice}});
    }
    PrintJson(out, json);
}

} // namespace app
