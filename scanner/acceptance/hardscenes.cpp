#include "scanner/acceptance/hardscenes.h"

#include "scanner/acceptance/instrument.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

using device::c_plaster;
using device::Colour;
using device::Scene;
using device::Vec3;
using Shared = std::shared_ptr<const Scene>;

/// Points farther than this from all that the camera sees near them are ghosts.
constexpr double kFarMm = 0.2;

constexpr Colour kDark{0.35, 0.37, 0.38};

Shared Wall(double depth)
{
    return device::MakePlane({0.0, 0.0, depth}, {0.0, 0.0, -1.0}, c_plaster);
}

/// A plane at 33 mm whose normal leaves the camera's axis by an angle in degrees, towards x and y.
Shared Leaning(double towardsX, double towardsY)
{
    constexpr double kRadian = 0.017453292519943295; // of a degree
    return device::MakePlane({0.0, 0.0, 33.0},
                             {std::tan(towardsX * kRadian), std::tan(towardsY * kRadian), -1.0}, c_plaster);
}

void AddOcclusions(std::vector<HardScene>& scenes)
{
    scenes.push_back(
        {"ball 10 mm before a wall", device::MakeBall({0.2, 0.4, 29.0}, 1.6, 39.0, c_plaster), {}, {}});
    scenes.push_back(
        {"step of 8 mm, lit", device::MakeStep(29.0, 37.0, {0.0, -1.0}, 0.3, c_plaster), {}, {}});
    scenes.push_back(
        {"step of 8 mm, shadow", device::MakeStep(29.0, 37.0, {0.0, 1.0}, 0.3, c_plaster), {}, {}});
    scenes.push_back(
        {"step of 8 mm, aside", device::MakeStep(29.0, 37.0, {1.0, 0.2}, 0.3, c_plaster), {}, {}});
    const Shared along = device::MakeRod({-9.0, 0.4, 29.0}, {9.0, 0.1, 29.0}, 0.6, c_plaster);
    const Shared across = device::MakeRod({0.3, -9.0, 30.0}, {-0.2, 9.0, 30.0}, 0.6, c_plaster);
    scenes.push_back({"rod along the stripes", device::MakeGroup({Wall(37.0), along}), {}, {}});
    scenes.push_back({"rod across the stripes", device::MakeGroup({Wall(37.0), across}), {}, {}});
}

void AddGrazing(std::vector<HardScene>& scenes)
{
    for (const double angle : {60.0, 70.0}) {
        const std::string degrees = std::to_string(static_cast<int>(angle)) + " degrees";
        scenes.push_back({degrees + " aside", Leaning(angle, 0.0), {}, {}});
        scenes.push_back({degrees + " to the projector", Leaning(0.0, -angle), {}, {}});
        scenes.push_back({degrees + " from the projector", Leaning(0.0, angle), {}, {}});
    }
}

void AddHighlights(std::vector<HardScene>& scenes)
{
    const Shared ball = device::MakeScene("sphere");
    scenes.push_back({"wet ball", device::MakeGlossy(ball, {2.0, 60}), {}, {}});
    scenes.push_back({"wet molar", device::MakeGlossy(device::MakeScene("molar"), {2.0, 60}), {}, {}});
    scenes.push_back({"polished molar", device::MakeGlossy(device::MakeScene("molar"), {8.0, 200}), {}, {}});
}

void AddTooMuchLight(std::vector<HardScene>& scenes)
{
    for (const double exposure : {1.5, 2.0, 3.0}) {
        HardScene scene{
            "molar, exposure " + std::to_string(exposure).substr(0, 3), device::MakeScene("molar"), {}, {}};
        scene.optics.exposure = exposure;
        scenes.push_back(scene);
    }
}

void AddMotion(std::vector<HardScene>& scenes)
{
    const Shared ball = device::MakeRod({0.3, -0.2, 33.0}, {0.3, -0.2, 33.001}, 3.0, c_plaster);
    const auto before = [&](const Shared& background) -> Shared {
        return device::MakeGroup({ball, background});
    };
    scenes.push_back({"wall moves away by 2 mm", before(Wall(38.0)), before(Wall(36.0)), {}});
    const Shared here = device::MakeTextured(Wall(37.0), 0.6);
    const Shared there = device::MakeTextured(Wall(37.3), 0.6);
    scenes.push_back({"mottled wall moves by 0.3 mm", before(there), before(here), {}});
    const Shared finger = device::MakeRod({-9.0, 4.0, 33.0}, {9.0, 3.0, 33.0}, 1.5, kDark);
    const Shared moved = device::MakeRod({-9.0, 4.8, 33.0}, {9.0, 3.8, 33.0}, 1.5, kDark);
    const Shared wall = Wall(37.0);
    scenes.push_back({"finger moves by 0.8 mm",
                      device::MakeGroup({ball, wall, moved}),
                      device::MakeGroup({ball, wall, finger}),
                      {}});
    scenes.push_back(
        {"finger comes", device::MakeGroup({ball, wall, moved}), device::MakeGroup({ball, wall}), {}});
    scenes.push_back(
        {"finger goes", device::MakeGroup({ball, wall}), device::MakeGroup({ball, wall, moved}), {}});
}

void AddNothing(std::vector<HardScene>& scenes)
{
    scenes.push_back({"nothing", device::MakeGroup({}), {}, {}});
    scenes.push_back({"wall at 45 mm", Wall(45.0), {}, {}});
    scenes.push_back({"wall at 60 mm", Wall(60.0), {}, {}});
    scenes.push_back({"wall at 90 mm", Wall(90.0), {}, {}});
    scenes.push_back({"wall at 20 mm", Wall(20.0), {}, {}});
    HardScene dark{"daylight alone", device::MakeTextured(device::MakeScene("molar"), 0.5), {}, {}};
    dark.optics.light = {0.0, 0.0, 0.0};
    dark.optics.ambient = {0.6, 0.6, 0.6};
    scenes.push_back(dark);
}

/// Whether a predicate holds for a pixel within `reach` pixels of a point.
template <typename Holds>
bool IsAround(const decoder::EdgePixel& edge, int reach, int width, int height, const Holds& holds)
{
    const int row = static_cast<int>(std::lround(edge.row));
    for (int y = std::max(row - reach, 0); y <= std::min(row + reach, height - 1); ++y) {
        for (int x = std::max(edge.column - reach, 0); x <= std::min(edge.column + reach, width - 1); ++x) {
            if (holds(x, y)) {
                return true;
            }
        }
    }
    return false;
}

/// How far a point is from the surface, mm: from the place that the camera sees there, or, where that is far, from the
/// nearest one that it sees within a pixel. Not a number where it sees none.
double ErrorOf(const device::VirtualDevice& device, const Scene& scene, const decoder::MeasuredPoint& point,
               double errorAtItsPlace)
{
    if (errorAtItsPlace <= kFarMm) {
        return errorAtItsPlace;
    }
    double least = errorAtItsPlace;
    const Vec3 position{point.position.x, point.position.y, point.position.z};
    for (const double x : {0.0, -1.0, 1.0}) {
        for (const double y : {0.0, -1.0, -0.5, 0.5, 1.0}) {
            if (const auto seen = device.TruePointAt(scene, {point.edge.column + x, point.edge.row + y})) {
                least = std::fmin(least, Length(position - *seen));
            }
        }
    }
    return least;
}

/// The points of a measurement with what is known of each.
struct JudgedPoints
{
    std::span<const decoder::MeasuredPoint> points;
    const Accuracy& accuracy;
    std::vector<double> errorsMm;
};

/// Sums up the points that a predicate chooses.
template <typename Chooses>
PointErrors Choose(const JudgedPoints& judged, const Chooses& chooses)
{
    const auto& [points, accuracy, errorsMm] = judged;
    PointErrors errors;
    double squares = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (!chooses(points[i].edge)) {
            continue;
        }
        ++errors.points;
        errors.wrong += accuracy.isRight[i] ? 0 : 1;
        errors.ghosts += errorsMm[i] <= kFarMm ? 0 : 1;
        if (std::isfinite(errorsMm[i])) {
            squares += errorsMm[i] * errorsMm[i];
            errors.worstMm = std::max(errors.worstMm, errorsMm[i]);
        }
    }
    errors.rmsMm = errors.points == 0 ? 0.0 : std::sqrt(squares / static_cast<double>(errors.points));
    return errors;
}

/// Whether both truths have the same place in a pixel.
bool IsStill(const device::PixelTruth& a, const device::PixelTruth& b)
{
    constexpr double kStill = 1e-3; // mm
    return a.hit == b.hit && device::Length(a.pointInCamera - b.pointInCamera) < kStill;
}

HardFigures FiguresOf(const device::RenderedPair& pair, const device::GroundTruth& atReference,
                      const JudgedPoints& points)
{
    constexpr int kNear = 2; // pixels
    constexpr float kFullScale = 255.0F;
    const int width = pair.truth.width, height = pair.truth.height;
    const auto isLit = [&](int x, int y) { return pair.truth.At(x, y).seenByProjector; };
    const auto isClipped = [&](int x, int y) {
        return pair.reference.At(x, y, 0) >= kFullScale || pair.reference.At(x, y, 1) >= kFullScale ||
               pair.reference.At(x, y, 2) >= kFullScale;
    };
    const auto isMoved = [&](int x, int y) { return !IsStill(pair.truth.At(x, y), atReference.At(x, y)); };
    HardFigures figures;
    figures.all = Choose(points, [](const decoder::EdgePixel&) { return true; });
    figures.unlit = Choose(
        points, [&](const decoder::EdgePixel& edge) { return !IsAround(edge, kNear, width, height, isLit); });
    figures.clipped = Choose(
        points, [&](const decoder::EdgePixel& edge) { return IsAround(edge, 1, width, height, isClipped); });
    if (!atReference.pixels.empty()) {
        figures.moved = Choose(points, [&](const decoder::EdgePixel& edge) {
            return IsAround(edge, 0, width, height, isMoved);
        });
    }
    figures.coverage = points.accuracy.coverage;
    return figures;
}

} // namespace

std::vector<HardScene> HardScenes()
{
    std::vector<HardScene> scenes;
    AddOcclusions(scenes);
    AddGrazing(scenes);
    AddHighlights(scenes);
    AddTooMuchLight(scenes);
    AddMotion(scenes);
    AddNothing(scenes);
    return scenes;
}

std::vector<HardFigures> MeasureHardScene(const HardScene& scene, device::DeviceParameters parameters,
                                          std::span<const device::Exposure> exposures,
                                          const decoder::DecoderConfig& config)
{
    parameters.optics = scene.optics;
    Instrument instrument(parameters, config);
    const device::VirtualDevice& device = instrument.Device();
    device::GroundTruth atReference;
    if (scene.atReference) {
        atReference = device.FindTruth(*scene.atReference);
    }
    std::vector<HardFigures> figures;
    const auto measure = [&](device::RenderedPair& pair) {
        const Accuracy accuracy = instrument.Measure(*scene.scene, pair, true).accuracy;
        JudgedPoints judged{instrument.GetDecoder().GetPoints(), accuracy, {}};
        for (std::size_t i = 0; i < judged.points.size(); ++i) {
            judged.errorsMm.push_back(ErrorOf(device, *scene.scene, judged.points[i], accuracy.errorsMm[i]));
        }
        figures.push_back(FiguresOf(pair, atReference, judged));
    };
    if (!scene.atReference) {
        device.RenderEach(*scene.scene, exposures, device::RenderOptions(), measure);
        return figures;
    }
    for (const device::Exposure& exposure : exposures) {
        device::RenderOptions options;
        options.noise = exposure.noise;
        options.seed = exposure.seed;
        device::RenderedPair pair = device.RenderMotion(*scene.atReference, *scene.scene, options);
        measure(pair);
    }
    return figures;
}

} // namespace acceptance
