// A table of ranges, and values held against it.
#include "scanner/calibration/modelranges.h"

#include <array>
#include <charconv>
#include <cmath>
#include <numbers>
#include <sstream>
#include <system_error>

namespace calibration {

namespace {

constexpr double c_pi = std::numbers::pi;
constexpr double c_farthest = 1000.0; // mm; nothing of a hand-held device is farther off

/// What is allowed, both ends included.
struct Range
{
    std::string_view key;
    double least;
    double most;
    std::string_view unit;
};

/// The ranges of one kind of section.
struct SectionRanges
{
    std::string_view section; ///< below the root
    std::vector<Range> ranges;
    std::string_view advice;
};

std::vector<Range> PlacementRanges()
{
    return {{"Tx", -c_farthest, c_farthest, "mm"}, {"Ty", -c_farthest, c_farthest, "mm"},
            {"Tz", -c_farthest, c_farthest, "mm"}, {"Rx", -c_pi, c_pi, "radians"},
            {"Ry", -c_pi, c_pi, "radians"},        {"Rz", -c_pi, c_pi, "radians"}};
}

/// @param largest columns or rows
std::vector<Range> LensRanges(double largest, std::string_view unit)
{
    return {
        {"Nfx", 16.0, largest, unit},   {"Nfy", 16.0, largest, unit},     {"Dx", 1e-5, 0.1, "mm"},
        {"Dy", 1e-5, 0.1, "mm"},        {"Cx", 0.0, largest, unit},       {"Cy", 0.0, largest, unit},
        {"CxDef", 0.0, largest, unit},  {"CyDef", 0.0, largest, unit},    {"f", 1.0, 200.0, "mm"},
        {"Kappa2ICV", -10.0, 10.0, ""}, {"Kappa4ICV", -100.0, 100.0, ""}, {"Kappa6ICV", -1000.0, 1000.0, ""},
        {"Tau1", -0.1, 0.1, ""},        {"Tau2", -0.1, 0.1, ""}};
}

std::vector<Range> BaseThresholdRanges()
{
    return {{"ImgMargin", 0, 200, "pixels"},       {"ImgMarginBottom", 0, 400, "pixels"},
            {"KernelSizeX", 0, 31, "pixels"},      {"KernelSizeY", 0, 31, "pixels"},
            {"MarginPercent", 0, 1, ""},           {"PseudoKappa2Tsai", -1, 1, "1/mm^2"},
            {"MaxIterationsPropIDs", 1, 1000, ""}, {"SmoothingMode", 0, 2, ""}};
}

const std::vector<SectionRanges>& AllRanges()
{
    constexpr std::string_view camera = "calibrate the camera, or take the section from a backup";
    constexpr std::string_view projector = "calibrate the projector, or take the section from a backup";
    constexpr std::string_view board = "correct it, or install the target anew";
    constexpr std::string_view slide = "correct the slide's data";
    constexpr double sensor = 10'000.0; // pixels
    constexpr double slideSize = 100'000.0;
    static const std::vector<SectionRanges> ranges{
        {"::MV3DCamBase",
         {{"MinDistCamCoords", 1.0, c_farthest, "mm"}, {"MaxDistCamCoords", 1.0, c_farthest, "mm"}},
         "set the range of depths that the device is built for"},
        {"::Cams[0]", {{"Calibrated", 1, 1, ""}}, "calibrate the camera"},
        {"::Cams[0]::CoordSysTrans", PlacementRanges(), camera},
        {"::Cams[0]::IntrinsicParams", LensRanges(sensor, "pixels"), camera},
        {"::Projector::PinholeProjector::PinholeCamera",
         {{"Calibrated", 1, 1, ""}},
         "calibrate the projector"},
        {"::Projector::PinholeProjector::PinholeCamera::CoordSysTrans", PlacementRanges(), projector},
        {"::Projector::PinholeProjector::PinholeCamera::IntrinsicParams",
         LensRanges(slideSize, "slide units"), projector},
        {"::Projector::CLPattern",
         {{"PatternHeight", 16, slideSize, "slide units"},
          {"PatternWidth", 16, slideSize, "slide units"},
          {"CodewordLen", 2, 8, "digits"},
          {"StripeWidth", 1, 10'000, "slide units"},
          {"EdgePositionMethod", 0, 1, ""},
          {"MinDistProjToScene", 1, c_farthest, "mm"},
          {"MaxDistProjToScene", 1, c_farthest, "mm"},
          {"NumPatches", 1, 1000, ""},
          {"NumPatchesDepth", 1, 1000, ""}},
         projector},
        {"::PolynomKoma", {{"MaxDelta", 0, 1, "mm"}}, "correct it, or switch the correction off by Use=0"},
        {"::CamCalibBody", {{"MaxCalibrationIteration", 1, 10'000, ""}}, "correct it"},
        {"::ProjCalibBody", {{"MaxCalibrationIteration", 1, 10'000, ""}}, "correct it"},
        {"::CamCalibBody::Thres",
         {{"TypeOfCB", 0, 3, ""},
          {"NrOfRows", 1, 200, "squares"},
          {"NrOfCols", 1, 200, "squares"},
          {"MinEdgeLen", 1, 10'000, "pixels"},
          {"MaxEdgeLen", 1, 10'000, "pixels"},
          {"NrOfSamples", 2, 1000, "pixels"},
          {"Skip", 0, 1000, "pixels"},
          {"MinLocExtAmount", 0, 1020, "grey levels"},
          {"MinTotalExtAmount", 0, 3060, "grey levels"},
          {"XOffset", -c_farthest, c_farthest, "mm"},
          {"YOffset", -c_farthest, c_farthest, "mm"}},
         board},
        {"::CamCalibBody::Thres::Base", BaseThresholdRanges(), board},
        {"::ProjCalibBody::Thres",
         {{"MarkerTyp", 1, 2, ""},
          {"NrOfRows", 0, 200, "marks"},
          {"NrOfCols", 0, 200, "marks"},
          {"BlankOutMarkerWidth", 0, 10'000, "slide units"},
          {"FixedNrVisibleRows", 0, 200, "rows"},
          {"MaxPolyFitQuad", 0, 1, "1/pixel"},
          {"MaxDiffFitLinear", 0, 10, ""}},
         slide},
        {"::ProjCalibBody::Thres::Base", BaseThresholdRanges(), slide},
    };
    return ranges;
}

std::string ToText(double value)
{
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

std::string RangeText(const Range& range)
{
    const std::string unit = range.unit.empty() ? "" : " " + std::string(range.unit);
    return range.least == range.most ? ToText(range.least) + unit
                                     : ToText(range.least) + " to " + ToText(range.most) + unit;
}

} // namespace

std::optional<double> ParseNumber(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    const char* const end = text.data() + text.size();
    if (text.starts_with("0x")) {
        unsigned long long number = 0;
        const auto [stop, error] = std::from_chars(text.data() + 2, end, number, 16);
        return error == std::errc() && stop == end ? std::optional(static_cast<double>(number))
                                                   : std::nullopt;
    }
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return std::nullopt;
        }
    }
    double number = 0.0;
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool isNumber = error == std::errc() && stop == end && std::isfinite(number);
    return isNumber ? std::optional(number) : std::nullopt;
}

std::vector<ModelFinding> CheckRanges(const std::vector<ModelSection>& sections, const std::string& root)
{
    std::vector<ModelFinding> findings;
    for (const SectionRanges& expected : AllRanges()) {
        const ModelSection* const section = FindSection(sections, root + std::string(expected.section));
        if (section == nullptr) {
            continue;
        }
        for (const Range& range : expected.ranges) {
            const ModelLine* const line = section->Find(range.key);
            if (line == nullptr) {
                continue;
            }
            const std::optional<double> value = ParseNumber(line->value);
            if (!value || !(*value >= range.least && *value <= range.most)) {
                findings.push_back({true, 0, std::string(expected.section), line->key,
                                    (value ? ToText(*value) : "'" + line->value + "'") + " is not " +
                                        (range.least == range.most ? "" : "in ") + RangeText(range),
                                    std::string(expected.advice)});
            }
        }
    }
    return findings;
}

} // namespace calibration
