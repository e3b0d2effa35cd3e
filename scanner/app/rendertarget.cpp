#include "scanner/app/rendertarget.h"

#include "scanner/acquisition/numbertext.h"
#include "scanner/app/colourimage.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/measurement.h"
#include "scanner/app/meshoptions.h"
#include "scanner/device/checkerboard.h"
#include "scanner/device/mtfchart.h"
#include "scanner/device/noise.h"
#include "scanner/device/slidemarks.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iomanip>
#include <memory>
#include <numbers>
#include <ostream>
#include <span>
#include <sstream>

namespace app {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kCheckerboard = "checkerboard";
constexpr const char* kSlideWithDarkMarks = "slide-a2";
constexpr const char* kSlideWithBrightMarks = "slide-c";
constexpr const char* kChart = "mtf";
constexpr double kUsualDistance = 33.0; ///< mm

/// How many corners there are and how many of them the image holds.
struct CornerCount
{
    std::size_t all = 0;
    std::size_t seen = 0;
};

Json ToJson(const device::Vec2& position)
{
    return {position.x, position.y};
}

Json ToJson(const device::Vec3& point)
{
    return {point.x, point.y, point.z};
}

bool IsPoseTold(const TargetOptions& options)
{
    return options.tilt.has_value() || options.rotation.has_value() || options.distance.has_value();
}

double Radians(const std::optional<double>& degrees)
{
    return degrees.value_or(0.0) * std::numbers::pi / 180.0;
}

/// The board with the middle of the default one's marked squares on the camera's axis.
device::Placement BoardPlacement(const TargetOptions& options)
{
    const device::Vec3 middle{11.0, 11.0, 0.0}; // mm, target frame
    device::Placement placement{Radians(options.tilt), 0.0, Radians(options.rotation), 0.0, 0.0, 0.0};
    const device::Vec3 turned = device::RotationOf(placement) * middle;
    placement.tx = -turned.x;
    placement.ty = -turned.y;
    placement.tz = options.distance.value_or(kUsualDistance) - turned.z;
    return placement;
}

device::PlanePose SlidePlane(const TargetOptions& options)
{
    const double tilt = Radians(options.tilt), towards = Radians(options.rotation);
    return {{0.0, 0.0, options.distance.value_or(kUsualDistance)},
            {std::sin(tilt) * std::cos(towards), std::sin(tilt) * std::sin(towards), -std::cos(tilt)}};
}

Json ToJson(const std::vector<device::TargetCorner>& corners, CornerCount& count)
{
    Json list = Json::array();
    for (const device::TargetCorner& corner : corners) {
        Json entry{{"square", corner.square}, {"corner", static_cast<int>(corner.corner)}};
        entry["target_mm"] = ToJson(corner.pointOnTarget);
        entry["image"] = corner.inFront ? ToJson(corner.image) : Json();
        entry["in_image"] = corner.inImage;
        list.push_back(entry);
        ++count.all;
        count.seen += corner.inImage ? 1 : 0;
    }
    return list;
}

Json ToJson(const std::vector<device::MarkCorner>& corners, CornerCount& count)
{
    Json list = Json::array();
    for (const device::MarkCorner& corner : corners) {
        Json entry{{"stripe", corner.stripe}, {"row", corner.row}, {"corner", corner.corner}};
        entry["slide"] = ToJson(corner.slide);
        entry["camera_mm"] = corner.onPlane ? ToJson(corner.pointInCamera) : Json();
        entry["image"] = corner.onPlane ? ToJson(corner.image) : Json();
        entry["visible"] = corner.visible;
        list.push_back(entry);
        ++count.all;
        count.seen += corner.visible ? 1 : 0;
    }
    return list;
}

CornerCount RenderCheckerboard(const TargetOptions& options, const TargetOutput& output, Json& truth)
{
    const device::VirtualDevice camera;
    const device::Checkerboard board;
    device::TargetImaging imaging;
    imaging.camera = camera.Parameters().camera;
    imaging.falloff = 0.2;
    imaging.blur = options.blur;
    imaging.noise = output.noise;
    imaging.seed = output.seed;
    const device::Placement placement =
        IsPoseTold(options)
            ? BoardPlacement(options)
            : device::DrawBoardPlacement(board, imaging.camera, device::BoardPoses(), output.seed);
    const device::RenderedBoard rendered = device::RenderBoard(board, placement, imaging);
    ColourImage::FromBgr(rendered.image.width, rendered.image.height, rendered.image.data)
        .WritePng(output.folder / "image.png");
    WriteText(output.folder / "model.txt", camera.ParameterText(kModelRoot));
    truth["camera_from_target"] = {{"rx", placement.rx}, {"ry", placement.ry}, {"rz", placement.rz},
                                   {"tx", placement.tx}, {"ty", placement.ty}, {"tz", placement.tz}};
    CornerCount count;
    truth["corners"] = ToJson(rendered.corners, count);
    CornerCount ofBrightSquares;
    truth["embedded"] = ToJson(rendered.embedded, ofBrightSquares);
    return count;
}

CornerCount RenderSlide(const TargetOptions& options, const TargetOutput& output, Json& truth)
{
    device::DeviceParameters parameters;
    parameters.slide =
        options.target == kSlideWithDarkMarks ? device::SlideWithDarkMarks() : device::SlideWithBrightMarks();
    parameters.optics.cameraBlur = options.blur;
    const device::PlanePose plane =
        IsPoseTold(options) ? SlidePlane(options) : device::DrawPlane(device::PlaneRange(), output.seed);
    acquisition::Rendering rendering;
    rendering.device = std::make_shared<const device::VirtualDevice>(parameters);
    rendering.scene = device::MakePlane(plane.point, plane.normal, device::Colour{0.8, 0.8, 0.8});
    device::RenderOptions renderOptions;
    renderOptions.seed = output.seed;
    renderOptions.noise = output.noise;
    renderOptions.truth = false;
    rendering.pair = rendering.device->RenderPair(*rendering.scene, renderOptions);
    WriteRendering(rendering, output.folder);
    truth["plane"] = {{"point_mm", ToJson(plane.point)}, {"normal", ToJson(plane.normal)}};
    CornerCount count;
    truth["corners"] = ToJson(device::FindMarkCorners(*rendering.device, plane), count);
    return count;
}

device::MtfChart ChartOf(const TargetOptions& options)
{
    device::MtfChart chart;
    chart.tilt = Radians(options.rotation);
    chart.scale = options.scale.value_or(chart.scale);
    chart.blur = options.blur;
    if (options.contrast.has_value()) {
        // (bright - dark) / (bright + dark) solved for dark
        const double dark = chart.bright * (1.0 - *options.contrast) / (1.0 + *options.contrast);
        chart.alongV.dark = dark;
        chart.alongU.dark = dark;
    }
    return chart;
}

void AddGreyNoise(device::ImageF& image, double sigma, std::uint64_t seed)
{
    const device::CounterRandom random(seed);
    const std::size_t levels = static_cast<std::size_t>(image.width) * device::ImageF::channels;
    for (std::size_t first = 0; sigma > 0.0 && first < image.data.size(); first += levels) {
        device::AddNoise(std::span(image.data).subspan(first, levels), random, first, sigma,
                         device::ImageF::channels);
    }
}

void RenderChart(const TargetOptions& options, const TargetOutput& output, Json report, std::ostream& out)
{
    const device::MtfChart chart = ChartOf(options);
    device::ImageF image = device::RenderMtfChart(chart);
    AddGreyNoise(image, output.noise, output.seed);
    ColourImage::FromBgr(image.width, image.height, image.data).WritePng(output.folder / "image.png");
    report["centre"] = ToJson(chart.centre);
    report["scale_px"] = chart.scale;
    report["tilt_rad"] = chart.tilt;
    report["contrast_horizontal"] = device::MtfContrast(chart, chart.alongV);
    report["contrast_vertical"] = device::MtfContrast(chart, chart.alongU);
    WriteText(output.folder / "truth.json", report.dump(2) + "\n");
    if (output.json) {
        report["out"] = output.folder.string();
        PrintJson(out, report);
        return;
    }
    out << "Wrote image.png and truth.json to " << output.folder.string() << "; the bars' contrast is "
        << std::fixed << std::setprecision(3) << device::MtfContrast(chart, chart.alongV) << " horizontally, "
        << device::MtfContrast(chart, chart.alongU) << " vertically\n";
}

constexpr double kSmallestScale = 20.0, kLargestScale = 200.0; // of a chart, pixels

/// Refuses what the target does not know.
void CheckTarget(const TargetOptions& options, bool hasMesh)
{
    const bool isChart = options.target == kChart;
    if (isChart && (options.tilt.has_value() || options.distance.has_value())) {
        throw CLI::ValidationError("--target mtf",
                                   "the chart lies in the image's plane; --rotation and --scale place it");
    }
    if (!isChart && options.contrast.has_value()) {
        throw CLI::ValidationError("--contrast", "goes with --target mtf alone");
    }
    if (!isChart && !hasMesh && options.scale.has_value()) {
        throw CLI::ValidationError("--scale", "goes with --target mtf or --mesh alone");
    }
    // An option without a value would be below every number.
    if (isChart && options.scale.has_value() &&
        (*options.scale < kSmallestScale || *options.scale > kLargestScale)) {
        throw CLI::ValidationError("--scale", "a chart's is a number from 20 to 200");
    }
}

/// Takes numbers of the classic locale within bounds; neither infinity nor what is no number.
CLI::Validator IsWithin(double least, double greatest)
{
    std::ostringstream range;
    range << least << " to " << greatest;
    const std::string bounds = range.str();
    return {[=](std::string& text) {
                double number = 0.0;
                const bool fits =
                    acquisition::ReadNumber(text, number) && number >= least && number <= greatest;
                return fits ? std::string() : "Value " + text + " is no number from " + bounds;
            },
            "in [" + bounds + "]", ""};
}

} // namespace

void AddTargetOptions(CLI::App& command, TargetOptions& options)
{
    constexpr double kSteepest = 80.0, kFullTurn = 360.0; // degrees
    constexpr double kNearest = 10.0, kFarthest = 200.0;  // mm
    CLI::Option* const target =
        command
            .add_option(
                "--target", options.target,
                "Render a calibration target instead, with its corners, or the chart of bars for `mtf`")
            ->check(CLI::IsMember({kCheckerboard, kSlideWithDarkMarks, kSlideWithBrightMarks, kChart}))
            ->excludes(command.get_option("--scene"));
    command
        .add_option("--tilt", options.tilt, "Tilt of the target, degrees; without a pose, one by the seed")
        ->check(IsWithin(0.0, kSteepest))
        ->needs(target);
    command
        .add_option("--rotation", options.rotation,
                    "Turn of a checkerboard or chart, or direction of a slide's tilt, degrees")
        ->check(IsWithin(-kFullTurn, kFullTurn))
        ->needs(target);
    command.add_option("--distance", options.distance, "Distance of the target, mm")
        ->check(IsWithin(kNearest, kFarthest))
        ->needs(target);
    command.add_option("--blur", options.blur, "Sigma of the camera's blur on a target, pixels")
        ->check(IsWithin(0.0, 10.0))
        ->needs(target)
        ->capture_default_str();
    command.add_option("--contrast", options.contrast, "Contrast of a chart's bars before the blur")
        ->check(IsWithin(0.0, 1.0))
        ->needs(target);
    command
        .add_option(
            "--scale", options.scale,
            "Distance of neighbouring patches of a chart, along rows and columns, pixels, 20 to 200; or "
            "length of a mesh's unit, mm")
        ->check(IsWithin(kSmallestMeshScale, kLargestMeshScale));
    CLI::Option* const mesh = command.get_option("--mesh");
    mesh->excludes(target);
    command.parse_complete_callback([&options, mesh] { CheckTarget(options, mesh->count() > 0); });
}

void RenderTarget(const TargetOptions& options, const TargetOutput& output, std::ostream& out)
{
    CreateFolder(output.folder);
    Json report{{"target", options.target}, {"seed", output.seed}, {"noise", output.noise}};
    report["blur"] = options.blur;
    if (options.target == kChart) {
        RenderChart(options, output, report, out);
        return;
    }
    Json truth = report;
    const bool isBoard = options.target == kCheckerboard;
    const CornerCount count =
        isBoard ? RenderCheckerboard(options, output, truth) : RenderSlide(options, output, truth);
    WriteText(output.folder / "truth.json", truth.dump(2) + "\n");
    if (output.json) {
        report["corners"] = count.all;
        report["visible_corners"] = count.seen;
        report["out"] = output.folder.string();
        PrintJson(out, report);
        return;
    }
    out << "Wrote " << (isBoard ? "image.png" : "reference.png, pattern.png")
        << ", model.txt and truth.json to " << output.folder.string() << "; the image holds " << count.seen
        << " of " << count.all << " corners\n";
}

} // namespace app
