#include "scanner/acceptance/acceptancetest.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <span>
#include <stdexcept>

namespace acceptance {

namespace {

/// Points of a ball count up to this angle between its normal and the line of sight; beyond, the stripes come too close
/// to each other on the side that turns away.
constexpr double c_cap = 55.0; // degrees

/// Points of the step count from this distance from the wall on: the optics blur what is nearer.
constexpr double c_awayFromWall = 0.5; // mm

std::string NameOf(const device::Exposure& exposure)
{
    return exposure.noise > 0.0 ? "seed " + std::to_string(exposure.seed) : "no noise";
}

template <typename Fit>
const Fit& Require(const std::optional<Fit>& fit, const std::string& artefact, std::size_t points)
{
    if (!fit) {
        throw std::runtime_error(artefact + ": the " + std::to_string(points) +
                                 " points that were measured are no surface to fit");
    }
    return *fit;
}

/// First the exposure without noise, then one for each seed.
std::vector<device::Exposure> ExposuresOf(const Repetitions& repetitions)
{
    std::vector<device::Exposure> exposures{{0.0, repetitions.firstSeed}};
    for (std::size_t index = 0; index < repetitions.seeds; ++index) {
        exposures.push_back({repetitions.noise, repetitions.firstSeed + index});
    }
    return exposures;
}

/// Takes the exposures of a scene and evaluates each.
/// @param evaluate makes figures of a reading and the name of its artefact
template <typename Figures, typename Evaluate>
Runs<Figures> Repeat(Instrument& instrument, const device::Scene& scene, const std::string& name,
                     const Repetitions& repetitions, const Evaluate& evaluate)
{
    Runs<Figures> runs;
    runs.name = name;
    const std::vector<device::Exposure> exposures = ExposuresOf(repetitions);
    std::size_t index = 0;
    instrument.Observe(scene, exposures, false, [&](const Reading& reading) {
        const Figures figures = evaluate(reading, name + ", " + NameOf(exposures[index]));
        if (index == 0) {
            runs.noiseFree = figures;
        } else {
            runs.noisy.push_back(figures);
        }
        ++index;
    });
    return runs;
}

/// Whether an image position lies in the middle half of width and height.
bool IsCentral(const device::Vec2& image, const device::LensParameters& camera)
{
    const double fromMiddleX = std::abs(image.x - 0.5 * (camera.width - 1));
    const double fromMiddleY = std::abs(image.y - 0.5 * (camera.height - 1));
    return fromMiddleX <= 0.25 * camera.width && fromMiddleY <= 0.25 * camera.height;
}

/// The positions of the points that a predicate chooses.
template <typename Chooses>
std::vector<Vec3> Choose(const Reading& reading, const Chooses& chooses)
{
    std::vector<Vec3> chosen;
    for (const RecordedPoint& point : reading.points) {
        if (chooses(point)) {
            chosen.push_back(point.position);
        }
    }
    return chosen;
}

FlatnessFigures EvaluateFlatness(const Reading& reading, const device::LensParameters& camera,
                                 const std::string& artefact)
{
    const std::vector<Vec3> all = Choose(reading, [](const RecordedPoint&) { return true; });
    const std::vector<Vec3> central =
        Choose(reading, [&](const RecordedPoint& point) { return IsCentral(point.image, camera); });
    const Deviations whole = Require(MeasurePlane(all), artefact, all.size()).deviations;
    const Deviations middle = Require(MeasurePlane(central), artefact, central.size()).deviations;
    FlatnessFigures figures;
    figures.points = static_cast<double>(whole.points);
    figures.rms = whole.rms;
    figures.range = whole.Range();
    figures.rmsOfAll = whole.rmsOfAll;
    figures.centralPoints = static_cast<double>(middle.points);
    figures.centralRms = middle.rms;
    figures.centralRange = middle.Range();
    return figures;
}

std::vector<MapPoint> MapOf(const Reading& reading)
{
    const std::vector<Vec3> all = Choose(reading, [](const RecordedPoint&) { return true; });
    const auto plane = MeasurePlane(all);
    std::vector<MapPoint> map;
    for (const RecordedPoint& point : reading.points) {
        map.push_back({point.image, plane ? plane->shape.DistanceTo(point.position) : 0.0});
    }
    return map;
}

/// The points that lie on a ball's cap by the place where the camera sees them, whatever their depth.
std::vector<Vec3> PointsOnBall(const Reading& reading, const device::VirtualDevice& device,
                               const device::Scene& scene, int surface)
{
    const double least = std::cos(c_cap * std::numbers::pi / 180.0);
    return Choose(reading, [&](const RecordedPoint& point) {
        const device::Ray ray = device.RayFromImage(point.image);
        const std::optional<device::Hit> hit = scene.Intersect(ray);
        return hit && hit->surface == surface && -Dot(Normalized(ray.direction), hit->normal) >= least;
    });
}

BallFigures FiguresOf(const Fitted<Sphere>& ball)
{
    BallFigures figures;
    figures.points = static_cast<double>(ball.deviations.points);
    figures.form = ball.deviations.Range();
    figures.formRms = ball.deviations.rms;
    figures.size = 2.0 * (ball.shape.radius - c_ballRadius);
    return figures;
}

SpacingFigures EvaluateSpacing(std::span<const Vec3> first, std::span<const Vec3> second,
                               const std::string& artefact)
{
    const Fitted<Sphere> a = Require(MeasureSphere(first), artefact, first.size());
    const Fitted<Sphere> b = Require(MeasureSphere(second), artefact, second.size());
    const Sphere knownA = Require(MeasureSphere(first, c_ballRadius), artefact, first.size()).shape;
    const Sphere knownB = Require(MeasureSphere(second, c_ballRadius), artefact, second.size()).shape;
    const BallFigures ofA = FiguresOf(a), ofB = FiguresOf(b);
    SpacingFigures figures;
    figures.spacing = Length(a.shape.centre - b.shape.centre) - c_barLength;
    figures.knownRadius = Length(knownA.centre - knownB.centre) - c_barLength;
    figures.form = std::max(ofA.form, ofB.form);
    figures.size = std::abs(ofA.size) > std::abs(ofB.size) ? ofA.size : ofB.size;
    return figures;
}

StepFigures EvaluateStep(const Reading& reading, const device::VirtualDevice& device,
                         const device::Scene& scene, const std::string& artefact)
{
    constexpr int nearSurface = 0, farSurface = 2;
    std::vector<SidedPoint> points;
    for (const RecordedPoint& point : reading.points) {
        const std::optional<device::Hit> hit = scene.Intersect(device.RayFromImage(point.image));
        const bool isOnFlat = hit && (hit->surface == nearSurface || hit->surface == farSurface);
        if (isOnFlat && std::abs(DistanceFromWall(hit->point)) >= c_awayFromWall) {
            points.push_back({point.position, hit->surface == nearSurface ? std::size_t{0} : 1});
        }
    }
    const auto planes = Require(MeasureParallelPlanes(points), artefact, points.size());
    StepFigures figures;
    figures.height = std::abs(planes.shape.offsets[0] - planes.shape.offsets[1]) - c_stepHeight;
    figures.rms = planes.deviations.rms;
    return figures;
}

} // namespace

std::vector<CodeCondition> CodeConditions()
{
    return {{"default", 0.0, 0.0, 1.0},
            {"strong texture", 0.6, 0.0, 1.0},
            {"30 percent crosstalk", 0.0, 0.3, 1.0},
            {"three times the noise", 0.0, 0.0, 3.0}};
}

FlatnessRuns MeasureFlatness(Instrument& instrument, const FlatPose& pose, const Repetitions& repetitions)
{
    FlatnessRuns runs;
    std::size_t readings = 0;
    const std::unique_ptr<device::Scene> flat = MakeFlat(pose);
    const device::LensParameters& camera = instrument.Device().Parameters().camera;
    static_cast<Runs<FlatnessFigures>&>(runs) = Repeat<FlatnessFigures>(
        instrument, *flat, pose.name, repetitions, [&](const Reading& reading, const std::string& artefact) {
            if (readings++ == 1) { // the first one with noise
                runs.map = MapOf(reading);
            }
            return EvaluateFlatness(reading, camera, "flat, " + artefact);
        });
    return runs;
}

Runs<BallFigures> MeasureProbing(Instrument& instrument, const Repetitions& repetitions)
{
    const std::unique_ptr<device::Scene> ball = MakeProbe();
    return Repeat<BallFigures>(
        instrument, *ball, "ball", repetitions, [&](const Reading& reading, const std::string& artefact) {
            const std::vector<Vec3> points = PointsOnBall(reading, instrument.Device(), *ball, 0);
            return FiguresOf(Require(MeasureSphere(points), artefact, points.size()));
        });
}

Runs<SpacingFigures> MeasureSpacing(Instrument& instrument, const BarPlacement& placement,
                                    const Repetitions& repetitions)
{
    const std::unique_ptr<device::Scene> bar = MakeBar(placement);
    return Repeat<SpacingFigures>(
        instrument, *bar, placement.name, repetitions,
        [&](const Reading& reading, const std::string& artefact) {
            return EvaluateSpacing(PointsOnBall(reading, instrument.Device(), *bar, 0),
                                   PointsOnBall(reading, instrument.Device(), *bar, 1), "bar " + artefact);
        });
}

Runs<StepFigures> MeasureStep(Instrument& instrument, const Repetitions& repetitions)
{
    const std::unique_ptr<device::Scene> step = MakeStep();
    return Repeat<StepFigures>(instrument, *step, "step", repetitions,
                               [&](const Reading& reading, const std::string& artefact) {
                                   return EvaluateStep(reading, instrument.Device(), *step, artefact);
                               });
}

Runs<CodeFigures> CountCodes(Instrument& instrument, const std::string& scene, const CodeCondition& condition,
                             const Repetitions& repetitions)
{
    std::shared_ptr<const device::Scene> seen = device::MakeScene(scene);
    if (condition.texture > 0.0) {
        seen = device::MakeTextured(std::move(seen), condition.texture);
    }
    std::vector<device::Exposure> exposures;
    for (std::size_t index = 0; index < repetitions.seeds; ++index) {
        exposures.push_back({condition.noise * repetitions.noise, repetitions.firstSeed + index});
    }
    Runs<CodeFigures> runs;
    runs.name = scene + ", " + condition.name;
    instrument.Observe(*seen, exposures, true, [&](const Reading& reading) {
        const Accuracy& accuracy = reading.accuracy;
        const auto points = static_cast<double>(accuracy.points);
        runs.noisy.push_back({points, std::round(accuracy.wrongCodeFraction * points),
                              accuracy.wrongCodeFraction, accuracy.coverage});
    });
    return runs;
}

device::DeviceParameters DeviceUnder(const CodeCondition& condition, device::DeviceParameters parameters)
{
    if (condition.crosstalk > 0.0) {
        for (std::size_t channel = 0; channel < parameters.optics.crosstalk.size(); ++channel) {
            parameters.optics.crosstalk[channel].fill(0.5 * condition.crosstalk);
            parameters.optics.crosstalk[channel][channel] = 1.0 - condition.crosstalk;
        }
    }
    return parameters;
}

} // namespace acceptance
