// From camera images to named corners of a checkerboard target: 12 poses of 658 by 494 pixels with blur and noise, and
// the distance of the corners from the true ones. Beside chessboardpeer_bench, whose images have the same blur and noise.
#include "scanner/calibration/boardexperiment.h"
#include "scanner/calibration/boardlocator.h"

#include "lxccalibdata.h"
#include "lxccbcalibbody.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

namespace {

using LxCV::CCTImage;
using LxCV::LxCCalibData;

const std::vector<CCTImage>& Images()
{
    static const std::vector<CCTImage> images = [] {
        const calibration::BoardExperiment experiment = calibration::DefaultExperiment();
        std::vector<CCTImage> result;
        for (std::size_t pose = 0; pose < experiment.poses; ++pose) {
            device::ImageF image = calibration::RenderPose(experiment, pose).image;
            const CCTImage view(image.width, image.height, CCTImage::eIDT_FLOAT32_3, false,
                                image.data.data());
            result.push_back(view);
        }
        return result;
    }();
    return images;
}

/// Everything from the pixels of a float image on; conversions belong to it.
void TargetLocator(benchmark::State& state)
{
    const std::vector<CCTImage>& images = Images();
    calibration::BoardLocator locator;
    locator.SetRefinement(static_cast<calibration::Refinement>(state.range(0)));
    const calibration::BoardAccuracy accuracy =
        calibration::Run(calibration::DefaultExperiment(), locator).accuracy;
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(locator.Locate(images[next++ % images.size()]));
    }
    state.counters["corner_px_mean"] = accuracy.mean;
    state.counters["corner_px_worst"] = accuracy.largest;
    state.counters["corners"] = static_cast<double>(accuracy.named) / static_cast<double>(accuracy.images);
    state.counters["wrong"] = static_cast<double>(accuracy.wrong);
}
BENCHMARK(TargetLocator)->ArgName("refinement")->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

/// The four steps of the library alone: locate, identify, assess, refine.
void TargetFourSteps(benchmark::State& state)
{
    const std::vector<CCTImage>& images = Images();
    std::vector<LxCCalibData> data(images.size());
    std::vector<CCTImage> colours(images.size());
    for (std::size_t i = 0; i < images.size(); ++i) {
        data[i].Init(images[i].GetWidth(), images[i].GetHeight());
        data[i].GetImage(LxCCalibData::eCamImage).CopyFrom(&images[i], false);
        images[i].ConvertToARGB8(&colours[i], true);
    }
    LxCV::LxCCBCalibBody target(true);
    std::size_t next = 0;
    for (auto _ : state) {
        const std::size_t i = next++ % images.size();
        target.LocateCalibMarks(data[i], false);
        target.IdentifyCalibMarks();
        target.AssessMarkQual(&colours[i]);
        target.ImprovePositionByEstimatedCorner();
    }
    state.counters["good marks"] = target.GetNrOfGoodMarks();
}
BENCHMARK(TargetFourSteps)->Unit(benchmark::kMillisecond);

} // namespace
