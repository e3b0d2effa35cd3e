#include "scanner/app/rendertarget.h"

#include "scanner/acquisition/numbertext.h"
#include "scanner/app/colourimage.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/measurement.h"
#include "scanner/device/checkerboard.h"
#include "scanner/device/slidemarks.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <numbers>
#include <ostream>
#include <sstream>

namespace app {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kCheckerboard = "checkerboard";
constexpr const char* kSlideWithDarkMarks = "slide-a2";
constexpr const char* kSlideWithBrightMarks = "slide-c";
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
            .add_option("--target", options.target, "Render a calibration target instead, with its corners")
            ->check(CLI::IsMember({kCheckerboard, kSlideWithDarkMarks, kSlideWithBrightMarks}))
            ->excludes(command.get_option("--scene"));
    command
        .add_option("--tilt", options.tilt, "Tilt of the target, degrees; without a pose, one by the seed")
        ->check(IsWithin(0.0, kSteepest))
        ->needs(target);
    command
        .add_option("--rotation", options.rotation,
                    "Turn of a checkerboard, or direction of a slide's tilt, degrees")
        ->check(IsWithin(-kFullTurn, kFullTurn))
        ->needs(target);
    command.add_option("--distance", options.distance, "Distance of the target, mm")
        ->check(IsWithin(kNearest, kFarthest))
        ->needs(target);
    command.add_option("--blur", options.blur, "Sigma of the camera's blur on a target, pixels")
        ->check(IsWithin(0.0, 10.0))
        ->needs(target)
        ->capture_default_str();
}

void RenderTarget(const TargetOptions& options, const TargetOutput& output, std::ostream& out)
{
    CreateFolder(output.folder);
    Json report{{"target", options.target}, {"seed", output.seed}, {"noise", output.noise}};
    report["blur"] = options.blur;
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
