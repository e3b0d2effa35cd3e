// The data of a report's page.
#include "scanner/app/htmlreport.h"

#include "scanner/app/filecontent.h"
#include "scanner/app/reportpage.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>

namespace app {

namespace {

using Json = nlohmann::ordered_json;

constexpr double kFarthestMm = 1e4;    ///< from the origin along any axis
constexpr double kLargestStep = 65534; ///< of the numbers that positions and errors are rounded to
constexpr std::uint16_t kNoError = 65535;
constexpr double kMicrometres = 1000.0; ///< in a millimetre

std::string Base64(std::span<const std::byte> bytes)
{
    constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr std::size_t kGroup = 3;
    std::string text;
    text.reserve((bytes.size() + 2) / kGroup * 4);
    for (std::size_t begin = 0; begin < bytes.size(); begin += kGroup) {
        const std::size_t length = std::min(kGroup, bytes.size() - begin);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < kGroup; ++i) {
            bits = bits << 8U | (i < length ? std::to_integer<std::uint32_t>(bytes[begin + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= length ? kDigits[bits >> (18U - 6U * i) & 63U] : '=';
        }
    }
    return text;
}

void Append(std::vector<std::byte>& bytes, std::uint16_t number)
{
    bytes.push_back(static_cast<std::byte>(number & 0xFFU));
    bytes.push_back(static_cast<std::byte>(number >> 8U));
}

/// `value` in steps, rounded.
std::uint16_t Steps(double value, double step)
{
    return step > 0.0 ? static_cast<std::uint16_t>(std::lround(std::clamp(value / step, 0.0, kLargestStep)))
                      : std::uint16_t{0};
}

bool IsShown(const CloudPoint& point)
{
    return std::ranges::all_of(point.position, [](double value) { return std::abs(value) <= kFarthestMm; });
}

/// The points that are shown, with their errors.
struct ShownCloud
{
    std::vector<CloudPoint> points;
    std::vector<double> errorsMm;
};

ShownCloud Shown(const ScanReport& report)
{
    ShownCloud shown;
    for (std::size_t i = 0; i < report.points.size(); ++i) {
        if (IsShown(report.points[i])) {
            shown.points.push_back(report.points[i]);
            if (!report.errorsMm.empty()) {
                shown.errorsMm.push_back(report.errorsMm[i]);
            }
        }
    }
    return shown;
}

void AddPositions(const std::vector<CloudPoint>& points, Json& json)
{
    std::array<double, 3> origin{};
    std::array<double, 3> step{};
    for (std::size_t axis = 0; axis < origin.size() && !points.empty(); ++axis) {
        const auto [least, most] =
            std::ranges::minmax(points, {}, [axis](const CloudPoint& point) { return point.position[axis]; });
        origin[axis] = least.position[axis];
        step[axis] = (most.position[axis] - least.position[axis]) / kLargestStep;
    }
    std::vector<std::byte> positions;
    std::vector<std::byte> colours;
    for (const CloudPoint& point : points) {
        for (std::size_t axis = 0; axis < origin.size(); ++axis) {
            Append(positions, Steps(point.position[axis] - origin[axis], step[axis]));
        }
        for (const std::uint8_t channel : point.colour) {
            colours.push_back(std::byte{channel});
        }
    }
    json["count"] = points.size();
    json["origin_mm"] = origin;
    json["step_mm"] = step;
    json["positions"] = Base64(positions);
    json["colours"] = Base64(colours);
    json["depth_range_mm"] = DepthRange(points);
}

/// The largest error that is a finite number, at least a micrometre.
double LargestError(const std::vector<double>& errorsMm)
{
    double largest = 1.0 / kMicrometres;
    for (const double error : errorsMm) {
        largest = std::isfinite(error) ? std::max(largest, error) : largest;
    }
    return largest;
}

void AddErrors(const std::vector<double>& errorsMm, double limitMm, Json& json)
{
    const double step = LargestError(errorsMm) / kLargestStep;
    std::vector<std::byte> errors;
    for (const double error : errorsMm) {
        Append(errors, std::isnan(error) ? kNoError : Steps(error, step));
    }
    json["errors"] = Base64(errors);
    json["error_step_um"] = step * kMicrometres;
    json["error_limit_um"] = limitMm * kMicrometres;
}

Json ToJson(const ErrorHistogram& histogram)
{
    return {{"limit_um", histogram.limitMm * kMicrometres},
            {"counts", histogram.counts},
            {"beyond", histogram.beyond}};
}

/// JSON knows neither infinity nor what is no number.
Json NumberOrNull(double value)
{
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

Json ToJson(const ReportFigure& figure)
{
    Json json = {{"key", figure.key}, {"label", figure.label}};
    if (const double* number = std::get_if<double>(&figure.value)) {
        json["value"] = NumberOrNull(*number);
        json["decimals"] = figure.decimals;
    } else {
        json["value"] = std::get<std::string>(figure.value);
    }
    json["unit"] = figure.unit;
    return json;
}

Json ToJson(const ReportImage& image)
{
    return {{"title", image.title},
            {"width", image.picture.GetWidth()},
            {"height", image.picture.GetHeight()},
            {"png", Base64(image.picture.ToPng())}};
}

Json ToJson(const ReportStages& group)
{
    Json stages = Json::array();
    for (const ReportStage& stage : group.stages) {
        stages.push_back({{"name", stage.name}, {"ms", NumberOrNull(stage.milliseconds)}});
    }
    return {{"title", group.title}, {"stages", stages}};
}

template <typename Item>
Json ListToJson(const std::vector<Item>& items)
{
    Json json = Json::array();
    for (const Item& item : items) {
        json.push_back(ToJson(item));
    }
    return json;
}

/// JSON that can stand in a script element: what could end or begin an element or a comment is escaped, which in JSON
/// occurs within texts only, and all is ASCII.
std::string ScriptText(const Json& json)
{
    std::string text;
    for (const char letter : json.dump(-1, ' ', true, Json::error_handler_t::replace)) {
        switch (letter) {
        case '<':
            text += "\\u003c";
            break;
        case '>':
            text += "\\u003e";
            break;
        case '&':
            text += "\\u0026";
            break;
        default:
            text += letter;
        }
    }
    return text;
}

/// The smallest of 1, 2, 5, 10 ... micrometres that is at least `length`.
double RoundLimit(double length)
{
    double decade = 1.0 / kMicrometres;
    while (decade * 10.0 <= length) {
        decade *= 10.0;
    }
    for (const double digit : {1.0, 2.0, 5.0}) {
        if (digit * decade >= length) {
            return digit * decade;
        }
    }
    return 10.0 * decade;
}

} // namespace

ErrorHistogram CountErrors(const std::vector<double>& errorsMm)
{
    constexpr std::size_t kBins = 50;
    constexpr double kShare = 0.98;
    std::vector<double> known;
    std::ranges::copy_if(errorsMm, std::back_inserter(known),
                         [](double error) { return !std::isnan(error); });
    std::ranges::sort(known);
    ErrorHistogram histogram{0.0, std::vector<std::size_t>(kBins), 0};
    const auto place = static_cast<std::size_t>(kShare * static_cast<double>(known.size()));
    histogram.limitMm = RoundLimit(known.empty() ? 0.0 : std::min(known[place], kFarthestMm));
    for (const double error : known) {
        if (error >= histogram.limitMm) {
            ++histogram.beyond;
        } else {
            const auto bin = static_cast<std::size_t>(error / histogram.limitMm * static_cast<double>(kBins));
            ++histogram.counts[std::min(bin, kBins - 1)];
        }
    }
    return histogram;
}

std::string HtmlReport(const ScanReport& report)
{
    if (!report.errorsMm.empty() && report.errorsMm.size() != report.points.size()) {
        throw std::invalid_argument("a report wants an error for each point, or none");
    }
    Json json = {{"title", report.title}, {"subtitle", report.subtitle}};
    json["figures"] = ListToJson(report.figures);
    json["images"] = ListToJson(report.images);
    json["stages"] = ListToJson(report.stages);
    const ShownCloud shown = Shown(report);
    AddPositions(shown.points, json["cloud"]);
    if (!report.errorsMm.empty()) {
        const ErrorHistogram histogram = CountErrors(report.errorsMm);
        json["histogram"] = ToJson(histogram);
        AddErrors(shown.errorsMm, histogram.limitMm, json["cloud"]);
    }
    return kReportPageBegin + ScriptText(json) + kReportPageEnd;
}

void WriteHtmlReport(const ScanReport& report, const std::filesystem::path& file)
{
    WriteContent(file, HtmlReport(report));
}

} // namespace app
