#include "scanner/calibration/slideexperiment.h"

#include "lxccctserializer.h"
#include "lxcpinholeframework.h"
#include "orx/logging/logger.h"
#include "scanner/calibration/imageview.h"

#include <cmath>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace calibration {

namespace {

/// Counts what one pair tells beside its figures.
void Count(const SlideComparison& comparison, bool isIdentified, std::uint64_t seed,
           SlideExperimentResult& result)
{
    result.discarded += comparison.discarded;
    if (!isIdentified) {
        result.failedSeeds.push_back(seed);
    }
    if (comparison.corners.wrong > 0) {
        result.wrongSeeds.push_back(seed);
    }
    if (comparison.corners.visibleNamed + comparison.discarded < comparison.corners.visible) {
        result.incompleteSeeds.push_back(seed);
    }
}

} // namespace

device::DeviceParameters DeviceWithParallelAxes()
{
    device::DeviceParameters parameters;
    const device::Placement converging = parameters.projectorFromCamera;
    const device::Vec3 centre = device::RigidMotion(converging).Backward({0.0, 0.0, 0.0});
    parameters.projectorFromCamera = device::PlacementAt(centre, 0.0, 0.0, 0.0);
    device::LensParameters& projector = parameters.projector;
    projector.centreY -= std::tan(converging.rx) * projector.focalLength / projector.pitchY;
    return parameters;
}

device::SlideParameters SlideParametersOf(MarkedSlide slide)
{
    return slide == MarkedSlide::eDarkMarks ? device::SlideWithDarkMarks() : device::SlideWithBrightMarks();
}

device::VirtualDevice MakeDevice(const SlideExperiment& experiment)
{
    device::DeviceParameters parameters =
        experiment.parallelAxes ? DeviceWithParallelAxes() : device::DeviceParameters();
    parameters.slide = SlideParametersOf(experiment.slide);
    return device::VirtualDevice(parameters);
}

std::unique_ptr<LxCV::LxCPinholeFramework> MakeModel(const device::VirtualDevice& device)
{
    constexpr const char* root = "::Device";
    std::stringstream text(device.ParameterText(root));
    LxCV::LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(text);
    if (!serializer.Init(false, false)) {
        throw std::runtime_error("the device's parameter set cannot be read");
    }
    auto model = std::make_unique<LxCV::LxCPinholeFramework>();
    model->Serialize(serializer, root);
    return model;
}

MarkRange RangeOf(const device::DeviceParameters& device)
{
    MarkRange range;
    range.width = device.camera.width;
    range.height = device.camera.height;
    range.firstEdge = device.slide.calibratedEdgeMin;
    range.lastEdge = device.slide.calibratedEdgeMax;
    return range;
}

RenderedSlide RenderSlide(const device::VirtualDevice& device, const device::PlanePose& plane, double noise,
                          std::uint64_t seed)
{
    constexpr device::Colour paper{0.8, 0.8, 0.8};
    RenderedSlide rendered;
    device::RenderOptions options;
    options.seed = seed;
    options.noise = noise;
    options.supersamples = 2; // 4 take twice the time and move no corner by more than 0.01 pixels
    options.threads = 1;
    options.truth = false;
    rendered.plane = plane;
    const auto scene = device::MakePlane(rendered.plane.point, rendered.plane.normal, paper);
    device::RenderedPair pair = device.RenderPair(*scene, options);
    rendered.reference = std::move(pair.reference);
    rendered.pattern = std::move(pair.pattern);
    rendered.corners = device::FindMarkCorners(device, rendered.plane);
    return rendered;
}

RenderedSlide RenderPose(const SlideExperiment& experiment, const device::VirtualDevice& device,
                         std::size_t pose)
{
    const std::uint64_t seed = experiment.seed + pose;
    return RenderSlide(device, device::DrawPlane(experiment.range, seed), experiment.noise, seed);
}

double SlideExperimentResult::FoundShare() const
{
    const std::size_t found = accuracy.visibleNamed + discarded;
    return accuracy.visible == 0 ? 1.0 : static_cast<double>(found) / static_cast<double>(accuracy.visible);
}

SlideExperimentResult Run(const SlideExperiment& experiment)
{
    const device::VirtualDevice device = MakeDevice(experiment);
    const auto model = MakeModel(device);
    const MarkRange range = RangeOf(device.Parameters());
    SlideLocator locator(experiment.slide, *model);
    locator.SetRowSource(experiment.rows);
    BoardStatistics statistics;
    SlideExperimentResult result;
    StageTimes sum;
    for (std::size_t pose = 0; pose < experiment.poses; ++pose) {
        RenderedSlide rendered = RenderPose(experiment, device, pose);
        const LocatedSlide found = [&] {
            const Logging::CCapture quiet; // what was not found is counted
            return locator.Locate(ViewOf(rendered.reference), ViewOf(rendered.pattern));
        }();
        sum += found.times;
        const SlideComparison comparison = CompareWithTruth(found.marks, rendered.corners, range);
        const bool isIdentified = found.error == LxCV::eCalibOk;
        statistics.Add(comparison.corners, isIdentified);
        Count(comparison, isIdentified, experiment.seed + pose, result);
    }
    result.accuracy = statistics.Summarise();
    result.meanTimes = sum.MeanOver(experiment.poses);
    return result;
}

} // namespace calibration
