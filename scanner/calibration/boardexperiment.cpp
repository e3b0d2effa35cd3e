#include "scanner/calibration/boardexperiment.h"

#include "lxccbcalibthres.h"
#include "scanner/device/virtualdevice.h"

namespace calibration {

namespace {

/// Wraps the image; the view must not outlive it.
LxCV::CCTImage View(device::ImageF& image)
{
    return {image.width, image.height, LxCV::CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

void Add(LocationTimes& sum, const LocationTimes& times)
{
    sum.prepare += times.prepare;
    sum.locate += times.locate;
    sum.identify += times.identify;
    sum.assess += times.assess;
    sum.refine += times.refine;
}

LocationTimes Divide(const LocationTimes& sum, std::size_t count)
{
    const double share = count == 0 ? 0.0 : 1.0 / static_cast<double>(count);
    return {share * sum.prepare, share * sum.locate, share * sum.identify, share * sum.assess,
            share * sum.refine};
}

} // namespace

BoardExperiment DefaultExperiment()
{
    BoardExperiment experiment;
    experiment.imaging.camera = device::DeviceParameters().camera;
    experiment.imaging.blur = 0.8;
    experiment.imaging.noise = 2.0;
    return experiment;
}

device::RenderedBoard RenderPose(const BoardExperiment& experiment, std::size_t pose)
{
    device::TargetImaging imaging = experiment.imaging;
    imaging.seed = experiment.seed + pose;
    return device::RenderBoard(
        experiment.board,
        device::DrawBoardPlacement(experiment.board, imaging.camera, experiment.range, imaging.seed),
        imaging);
}

BoardExperimentResult Run(const BoardExperiment& experiment, BoardLocator& locator)
{
    BoardStatistics statistics;
    BoardExperimentResult result;
    LocationTimes sum;
    for (std::size_t pose = 0; pose < experiment.poses; ++pose) {
        device::RenderedBoard rendered = RenderPose(experiment, pose);
        const LocatedBoard found = locator.Locate(View(rendered.image));
        Add(sum, found.times);
        const BoardComparison comparison =
            CompareWithTruth(found.marks, rendered.corners, rendered.image.width, rendered.image.height,
                             locator.Thresholds().m_iImgMargin);
        const bool isIdentified = found.error == LxCV::eCalibOk;
        statistics.Add(comparison, isIdentified);
        if (!isIdentified) {
            result.failedSeeds.push_back(experiment.seed + pose);
        }
        if (comparison.wrong > 0) {
            result.wrongSeeds.push_back(experiment.seed + pose);
        }
    }
    result.accuracy = statistics.Summarise();
    result.meanTimes = Divide(sum, experiment.poses);
    return result;
}

} // namespace calibration
