// The slide target on rendered images: the marks of the projected slide against where the device has them.
#include "cctimage.h"
#include "lxccalibdata.h"
#include "lxccclalgodata.h"
#include "lxccprojslidecalibthres.h"
#include "lxcprojslidecalibbody.h"
#include "scanner/decoder/decoder.h"
#include "scanner/device/scene.h"
#include "scanner/device/slidemarks.h"
#include "tests/scanner/smalldevice.h"
#include "tests/scanner/testmodel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

using LxCV::CCTImage;
using LxCV::LxCCalibData;
using LxCV::LxCProjSlideCalibBody;

constexpr double kMeanError = 0.03; // pixels; what marks are wanted to be found to
constexpr double kWorstError = 0.12;

/// The device's axes lie 12 degrees apart, so that rows of marks spread like the ribs of a fan: more than slides of
/// devices with a smaller angle may.
constexpr double kSpread = 0.07;

CCTImage Wrap(device::ImageF& image)
{
    return {image.width, image.height, CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

/// One image of a slide on a plane, decoded.
struct Slide
{
    Slide(const device::SlideParameters& parameters, const char* dataFile)
        : device(WithSlide(parameters)), model(scannertest::LoadModel(device)),
          truth(device::FindMarkCorners(device, plane))
    {
        const auto scene = device::MakePlane(plane.point, plane.normal, device::Colour{0.8, 0.8, 0.8});
        device::RenderOptions options = device::NoiseFree();
        options.truth = false;
        options.supersamples = 2;
        device::RenderedPair pair = device.RenderPair(*scene, options);
        const CCTImage pattern = Wrap(pair.pattern);
        decoder::Decoder decoder(*model);
        decoder.ComputeSignal(Wrap(pair.reference), pattern);
        decoder.FindEdges();
        decoder.ReadCodeWords();
        decoder.TraceEdges();
        data.Init(pattern.GetWidth(), pattern.GetHeight());
        data.GetImage(LxCCalibData::eProjImage).CopyFrom(&pattern, false);
        data.GetImage(LxCCalibData::eProjHorEdges).CopyFrom(&decoder.GetEdgeWords(), false);
        target.SetCoordFile(dataFile);
        target.LoadDataFile();
        dynamic_cast<LxCV::LxCCProjSlideCalibThres&>(*target.GetThres()).m_dMaxDiffFitLinear = kSpread;
    }

    static device::DeviceParameters WithSlide(const device::SlideParameters& slide)
    {
        device::DeviceParameters parameters;
        parameters.slide = slide;
        return parameters;
    }

    /// The visible corner nearest to a mark.
    const device::MarkCorner& Nearest(const LxCV::LxCCalibMark& mark) const
    {
        const auto distance = [&mark](const device::MarkCorner& corner) {
            return corner.visible
                       ? std::hypot(corner.image.x - mark.GetXImg(), corner.image.y - mark.GetYImg())
                       : 1e9;
        };
        return *std::min_element(truth.begin(), truth.end(),
                                 [&](const auto& a, const auto& b) { return distance(a) < distance(b); });
    }

    device::PlanePose plane{{0, 0, 33}, {0, 0.01, -1.0}};
    device::VirtualDevice device;
    std::unique_ptr<LxCV::LxCPinholeFramework> model;
    std::vector<device::MarkCorner> truth;
    LxCCalibData data;
    LxCV::LxCCCLAlgoData algo;
    LxCProjSlideCalibBody target;
};

/// Finds the marks and holds them against the truth.
void ExpectMarks(Slide& slide, bool byTriangulation)
{
    ASSERT_EQ(slide.target.LocateCalibMarks2(slide.algo, slide.data, false), LxCV::eCalibOk);
    ASSERT_EQ(slide.target.IdentifyCalibMarks(&slide.data.GetImage(LxCCalibData::eProjHorEdges), slide.data,
                                              byTriangulation ? slide.model.get() : nullptr),
              LxCV::eCalibOk);
    const auto visible = std::count_if(slide.truth.begin(), slide.truth.end(),
                                       [](const auto& corner) { return corner.visible; });
    EXPECT_GE(slide.target.GetNrOfGoodMarks(), 0.9 * static_cast<double>(visible));
    double sum = 0.0;
    int count = 0;
    for (const LxCV::LxCCalibMark* mark : slide.target.GetCalibMarks()) {
        if (!mark->UseForCalib() || mark->GetId() == 0) {
            continue;
        }
        const device::MarkCorner& corner = slide.Nearest(*mark);
        const double error = std::hypot(corner.image.x - mark->GetXImg(), corner.image.y - mark->GetYImg());
        EXPECT_LT(error, kWorstError);
        sum += error;
        ++count;
        const LxCV::LxC3DCoordsCCT world = slide.target.GetWorldCoords(*mark);
        EXPECT_EQ(world.x, corner.slide.x);
        EXPECT_EQ(world.y, corner.slide.y);
    }
    EXPECT_LT(sum / count, kMeanError);
}

TEST(SlideTarget, FindsDarkMarksWhereTheDeviceHasThem)
{
    Slide slide(device::SlideWithDarkMarks(), LxCProjSlideCalibBody::sc_StandardParammsDiaA2);
    for (const bool byTriangulation : {false, true}) {
        ExpectMarks(slide, byTriangulation);
    }
}

TEST(SlideTarget, FindsBrightMarksWhereTheDeviceHasThem)
{
    Slide slide(device::SlideWithBrightMarks(), LxCProjSlideCalibBody::sc_StandardParammsDiaC);
    for (const bool byTriangulation : {false, true}) {
        ExpectMarks(slide, byTriangulation);
    }
}

} // namespace
