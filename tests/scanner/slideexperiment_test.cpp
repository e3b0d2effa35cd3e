#include "scanner/calibration/slideexperiment.h"

#include "lxclightstripeedgesinglepixel.h"
#include "lxcpinholeframework.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace calibration {
namespace {

using LxCV::CCTImage;
using LxCV::LxCCalibData;

constexpr double c_meanError = 0.05; // pixels; what is asked of the mean over many corners

CCTImage Wrap(device::ImageF& image)
{
    return {image.width, image.height, CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

/// One pose of an experiment, located.
struct Pose
{
    explicit Pose(const SlideExperiment& experiment)
        : device(MakeDevice(experiment)), model(MakeModel(device)),
          rendered(RenderPose(experiment, device, 0)), locator(experiment.slide, *model)
    {
        locator.SetRowSource(experiment.rows);
        found = Locate();
    }

    LocatedSlide Locate() { return locator.Locate(Wrap(rendered.reference), Wrap(rendered.pattern)); }

    device::VirtualDevice device;
    std::unique_ptr<LxCV::LxCPinholeFramework> model;
    RenderedSlide rendered;
    SlideLocator locator;
    LocatedSlide found;
};

SlideExperiment Upright(MarkedSlide slide)
{
    SlideExperiment experiment;
    experiment.slide = slide;
    experiment.parallelAxes = true;
    experiment.poses = 1;
    return experiment;
}

TEST(SlideExperiment, EveryMarkOfUprightRowsIsFoundAndNamed)
{
    for (const MarkedSlide slide : {MarkedSlide::eDarkMarks, MarkedSlide::eBrightMarks}) {
        const SlideExperimentResult result = calibration::Run(Upright(slide));
        EXPECT_EQ(result.accuracy.images, 1U);
        EXPECT_EQ(result.accuracy.failed, 0U);
        EXPECT_EQ(result.accuracy.wrong, 0U);
        EXPECT_GE(result.accuracy.visible, 4U * 20U);
        EXPECT_EQ(result.accuracy.visibleNamed, result.accuracy.visible);
        EXPECT_LE(result.accuracy.mean, c_meanError);
        EXPECT_LE(result.accuracy.largest, 0.3);
        EXPECT_TRUE(result.incompleteSeeds.empty());
        EXPECT_GT(result.meanTimes.Total(), 0.0);
    }
}

TEST(SlideExperiment, RowsThatFanOutLoseCornersFarFromTheirMedianAlone)
{
    constexpr double c_limit = 8.0;    // pixels, of the filter
    constexpr double c_refining = 1.0; // pixels; kept corners have moved since they were filtered
    SlideExperiment experiment;
    experiment.seed = 100;
    experiment.poses = 1;
    const Pose pose(experiment);
    EXPECT_EQ(pose.found.error, LxCV::eCalibOk);
    const SlideComparison result =
        CompareWithTruth(pose.found.marks, pose.rendered.corners, RangeOf(pose.device.Parameters()));
    EXPECT_EQ(result.corners.wrong, 0U);
    EXPECT_GT(result.discarded, 0U);
    EXPECT_EQ(result.corners.visibleNamed + result.discarded, result.corners.visible);

    std::map<double, std::vector<double>> columns; // of each side of a row, which is a u on the slide
    for (const SlideMark& mark : pose.found.marks) {
        columns[mark.slide.x].push_back(mark.image.x);
    }
    for (auto& [u, values] : columns) {
        std::sort(values.begin(), values.end());
    }
    for (const SlideMark& mark : pose.found.marks) {
        const std::vector<double>& values = columns[mark.slide.x];
        const double distance = std::abs(mark.image.x - values[values.size() / 2]);
        EXPECT_TRUE(mark.discarded ? distance > c_limit - c_refining : distance < c_limit + c_refining)
            << mark.id << ": " << distance;
    }
}

TEST(SlideExperiment, EachPoseHasTheNextSeed)
{
    SlideExperiment experiment = Upright(MarkedSlide::eBrightMarks);
    const device::VirtualDevice device = MakeDevice(experiment);
    const RenderedSlide second = RenderPose(experiment, device, 1);
    experiment.seed = 2;
    const RenderedSlide first = RenderPose(experiment, device, 0);
    EXPECT_EQ(first.pattern.data, second.pattern.data);
    EXPECT_EQ(first.reference.data, second.reference.data);
    EXPECT_EQ(first.plane.point.z, second.plane.point.z);
}

TEST(SlideExperiment, NoPosesGiveNoFigures)
{
    SlideExperiment experiment;
    experiment.poses = 0;
    const SlideExperimentResult result = calibration::Run(experiment);
    EXPECT_EQ(result.accuracy.images, 0U);
    EXPECT_EQ(result.FoundShare(), 1.0);
    EXPECT_EQ(result.meanTimes.Total(), 0.0);
}

TEST(SlideExperiment, ParallelAxesKeepTheProjectorsPlaceAndItsLightInTheMiddle)
{
    const device::VirtualDevice converging;
    const device::VirtualDevice parallel(DeviceWithParallelAxes());
    const device::Vec3 apart = parallel.ProjectorCentre() - converging.ProjectorCentre();
    EXPECT_LT(device::Length(apart), 1e-12);
    const device::Vec2 was = converging.SlideFromPoint({0.0, 0.0, 33.0}),
                       is = parallel.SlideFromPoint({0.0, 0.0, 33.0});
    // An axis turned by a takes the direction b to tan(b - a); moved by tan(a) it takes it to tan(b) - tan(a). The
    // middle of the image has b = a to 0.01.
    EXPECT_NEAR(is.x, was.x, 150.0);
    EXPECT_NEAR(is.y, was.y, 150.0);
}

TEST(SlideExperiment, ParallelAxesMakeUprightRows)
{
    const device::VirtualDevice device = MakeDevice(Upright(MarkedSlide::eDarkMarks));
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        double least[3] = {1e9, 1e9, 1e9}, most[3] = {-1e9, -1e9, -1e9};
        for (const device::MarkCorner& corner :
             device::FindMarkCorners(device, device::DrawPlane(device::PlaneRange(), seed))) {
            if (corner.visible && corner.corner == 0) {
                least[corner.row] = std::min(least[corner.row], corner.image.x);
                most[corner.row] = std::max(most[corner.row], corner.image.x);
            }
        }
        for (int row = 0; row < 3; ++row) {
            EXPECT_LT(most[row] - least[row], 8.0) << "seed " << seed << ", row " << row;
        }
    }
}

TEST(SlideLocator, RowsByColumnOfTheImageAreThoseOfTheModel)
{
    Pose pose(Upright(MarkedSlide::eDarkMarks));
    pose.locator.SetRowSource(RowSource::eImage);
    const LocatedSlide byImage = pose.Locate();
    ASSERT_EQ(byImage.marks.size(), pose.found.marks.size());
    ASSERT_GT(byImage.marks.size(), 80U);
    for (std::size_t i = 0; i < byImage.marks.size(); ++i) {
        EXPECT_EQ(byImage.marks[i].id, pose.found.marks[i].id);
        EXPECT_EQ(byImage.marks[i].image.x, pose.found.marks[i].image.x);
        EXPECT_EQ(byImage.marks[i].image.y, pose.found.marks[i].image.y);
    }
}

TEST(SlideLocator, RecordsAreTheUsableMarks)
{
    const Pose pose(Upright(MarkedSlide::eBrightMarks));
    std::vector<SlideMark> usable;
    std::copy_if(pose.found.marks.begin(), pose.found.marks.end(), std::back_inserter(usable),
                 [](const SlideMark& mark) { return mark.usable; });
    ASSERT_EQ(pose.found.records.size(), usable.size());
    std::set<std::pair<double, double>> expected, exported;
    for (const SlideMark& mark : usable) {
        expected.insert({mark.slide.x, mark.slide.y});
    }
    for (const LxCV::LxCCalibrationData& record : pose.found.records) {
        exported.insert({record.m_dXw, record.m_dYw});
    }
    EXPECT_EQ(exported, expected);
}

TEST(SlideLocator, StripeEdgesAreThoseOfStripesWithMarks)
{
    const Pose pose(Upright(MarkedSlide::eBrightMarks));
    const CCTImage& words = pose.locator.Images().GetImage(LxCCalibData::eProjHorEdges);
    const std::vector<int> stripes = device::SlideWithBrightMarks().markStripes;
    std::set<int> seen;
    for (int row = 0; row < words.GetHeight(); ++row) {
        for (int column = 0; column < words.GetWidth(); ++column) {
            const LxCV::LxCLightStripeEdgeSinglePixel word(
                static_cast<std::uint32_t>(words.GetInt32PixelFast(column, row)));
            if (word.IsPartOfATracedLightStripeEdge()) {
                seen.insert(word.GetLSEdgeIDTraced());
            }
        }
    }
    EXPECT_GE(seen.size(), 16U);
    for (const int edge : seen) {
        EXPECT_TRUE(std::count(stripes.begin(), stripes.end(), edge) == 1 ||
                    std::count(stripes.begin(), stripes.end(), edge - 1) == 1)
            << edge;
    }
}

TEST(SlideLocator, ImagesWithoutStripesShowNoMarks)
{
    const device::VirtualDevice device = MakeDevice(SlideExperiment());
    const auto model = MakeModel(device);
    SlideLocator locator(MarkedSlide::eDarkMarks, *model);
    const Logging::CCapture quiet;
    for (const int size : {1, 2, 30, 494}) {
        const CCTImage grey(size, size, CCTImage::eIDT_FLOAT32_3, 90.0F);
        const LocatedSlide found = locator.Locate(grey, grey);
        EXPECT_EQ(found.error, LxCV::eCalibHorizontalFitPoor) << size;
        EXPECT_EQ(
            found.problem,
            "the stripes with marks are not visible over half the image's width, bent, or not parallel");
        EXPECT_TRUE(found.marks.empty());
        EXPECT_TRUE(found.records.empty());
    }
}

TEST(SlideLocator, ImagesThatDoNotFitAreRefused)
{
    const device::VirtualDevice device = MakeDevice(SlideExperiment());
    const auto model = MakeModel(device);
    SlideLocator locator(MarkedSlide::eDarkMarks, *model);
    const CCTImage colours(20, 10, CCTImage::eIDT_FLOAT32_3, 1.0F),
        other(10, 20, CCTImage::eIDT_FLOAT32_3, 1.0F);
    const CCTImage grey(20, 10, CCTImage::eIDT_FLOAT32, 1.0F);
    EXPECT_THROW(locator.Locate(colours, other), std::invalid_argument);
    EXPECT_THROW(locator.Locate(grey, colours), std::invalid_argument);
    EXPECT_THROW(locator.Locate(colours, grey), std::invalid_argument);
    EXPECT_THROW(locator.Locate(CCTImage(), CCTImage()), std::invalid_argument);
}

} // namespace
} // namespace calibration
