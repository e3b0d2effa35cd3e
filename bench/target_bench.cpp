// Location of a checkerboard target in one camera image, stage by stage, beside a pass over the same pixels.
#include "calibedgeimages.h"
#include "calibedgekernels.h"
#include "lxccalibdata.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxcrectcornercalibmark.h"
#include "scanner/device/checkerboard.h"
#include "scanner/device/virtualdevice.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using namespace LxCV;
using EImage = LxCCalibData::EImage;

constexpr int c_iRange = 6;      // bits of a fraction
constexpr int c_iBorder = 1;     // pixels
constexpr double c_dNoise = 1.5; // grey levels

/// A board in front of the virtual camera, 658 by 494 pixels, and all images of its location.
struct CView
{
    CView()
    {
        const device::Checkerboard board;
        device::TargetImaging imaging;
        imaging.camera = device::DeviceParameters().camera;
        imaging.noise = c_dNoise;
        const device::Placement placement = device::DrawBoardPlacement(board, imaging.camera, {}, 7);
        const device::ImageF picture = device::RenderBoard(board, placement, imaging).image;
        data.Init(picture.width, picture.height);
        CCTImage& input = data.GetImage(EImage::eCamImage);
        std::memcpy(input.GetBuffer(), picture.data.data(), static_cast<std::size_t>(input.GetSizeInBytes()));
        target.LocateCalibMarks(data, false);
        thresholds.regions = {LxCRoi(&input)};
        thresholds.minLocal = {40};
        thresholds.minTotal = {80};
    }

    CCTImage& Image(EImage image) { return data.GetImage(image); }

    LxCCalibData data;
    LxCCBCalibBody target{true};
    SExtremumThresholds thresholds;
};

CView& View()
{
    static CView view;
    return view;
}

void SetPixels(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * View().Image(EImage::eCamImage).GetSizeInPixels());
}

/// The floor of every pass that reads the picture.
void BM_TargetFloorOfOnePass(benchmark::State& state)
{
    const CCTImage& source = View().Image(EImage::eCamImage);
    CCTImage& target = View().Image(EImage::eProjImage);
    for (auto _ : state) {
        std::memcpy(target.GetBuffer(), source.GetBuffer(),
                    static_cast<std::size_t>(source.GetSizeInBytes()));
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetFloorOfOnePass)->Unit(benchmark::kMicrosecond);

void BM_TargetSmooth(benchmark::State& state)
{
    for (auto _ : state) {
        View()
            .Image(EImage::eCamImage)
            .Smooth(&View().Image(EImage::eCamImageSmoothed), CCTImage::eSM_Gaussian, 5, 5);
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetSmooth)->Unit(benchmark::kMicrosecond);

void BM_TargetGradients(benchmark::State& state)
{
    const CCTImage& image = View().Image(EImage::eCamImageSmoothed);
    for (auto _ : state) {
        ComputeSobelSumVer(image, View().Image(EImage::eCamGradientVer), nullptr);
        ComputeSobelSumHor(image, View().Image(EImage::eCamGradientHor), nullptr);
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetGradients)->Unit(benchmark::kMicrosecond);

void BM_TargetAutomaticThresholds(benchmark::State& state)
{
    SExtremumThresholds thresholds;
    for (auto _ : state) {
        benchmark::DoNotOptimize(DecideForBestSettings(View().Image(EImage::eCamGradientVer), thresholds));
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetAutomaticThresholds)->Unit(benchmark::kMicrosecond);

void BM_TargetExtrema(benchmark::State& state)
{
    CView& view = View();
    for (auto _ : state) {
        NonLocExtSuppVer(view.Image(EImage::eCamGradientVer), view.Image(EImage::eCamHorEdges),
                         view.thresholds, c_iBorder, c_iRange);
        NonLocExtSuppHor(view.Image(EImage::eCamGradientHor), view.Image(EImage::eCamVerEdges),
                         view.thresholds, c_iBorder, c_iRange);
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetExtrema)->Unit(benchmark::kMicrosecond);

void BM_TargetDirectionTest(benchmark::State& state)
{
    CView& view = View();
    for (auto _ : state) {
        CheckGradientOfHorEdges(view.Image(EImage::eCamImageSmoothed), view.Image(EImage::eCamHorEdges));
        CheckGradientOfVerEdges(view.Image(EImage::eCamImageSmoothed), view.Image(EImage::eCamVerEdges));
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetDirectionTest)->Unit(benchmark::kMicrosecond);

void BM_TargetEdgeImages(benchmark::State& state)
{
    for (auto _ : state) {
        View().target.CreateEdgeImgs(View().data, c_iRange, true, true);
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetEdgeImages)->Unit(benchmark::kMicrosecond);

void BM_TargetTracing(benchmark::State& state)
{
    CView& view = View();
    view.target.CreateEdgeImgs(view.data, c_iRange, true, true);
    LxCRectEdgeLocator locator;
    for (auto _ : state) {
        locator.RemoveRectEdges();
        locator.TraceRectEdgesHor(view.Image(EImage::eCamHorEdges), view.Image(EImage::eCamHorIds), 6, 1, 10,
                                  80);
        locator.TraceRectEdgesVer(view.Image(EImage::eCamVerEdges), view.Image(EImage::eCamVerIds), 6, 1, 10,
                                  80);
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetTracing)->Unit(benchmark::kMicrosecond);

/// Visits all pixels of both id images and places the corners.
void BM_TargetCornerScan(benchmark::State& state)
{
    CView& view = View();
    LxCRectEdgeLocator locator;
    view.target.CreateEdgeImgs(view.data, c_iRange, true, true);
    locator.TraceRectEdgesHor(view.Image(EImage::eCamHorEdges), view.Image(EImage::eCamHorIds), 6, 1, 10, 80);
    locator.TraceRectEdgesVer(view.Image(EImage::eCamVerEdges), view.Image(EImage::eCamVerIds), 6, 1, 10, 80);
    const LxCCBCalibThres thres;
    for (auto _ : state) {
        std::vector<LxCRectCornerCalibMark> corners;
        corners.reserve(1000);
        CCTImage& ver = view.Image(EImage::eCamVerIds);
        for (int y = 3; y < ver.GetHeight() - 3; ++y) {
            const auto row = [&](EImage image) {
                return std::span<const std::int32_t>(&view.Image(image).GetInt32PixelFast(0, y),
                                                     static_cast<std::size_t>(ver.GetWidth()));
            };
            const auto verRow = row(EImage::eCamVerIds);
            const auto horRow = row(EImage::eCamHorIds);
            for (std::size_t x = CalibEdgeKernels::FindCommonBits(verRow, horRow, 0xFE0000, 3);
                 x < verRow.size() - 3 && corners.size() < 1000;
                 x = CalibEdgeKernels::FindCommonBits(verRow, horRow, 0xFE0000, x + 1)) {
                LxCRectCornerCalibMark& corner = corners.emplace_back(false);
                if (!corner.DetPosByIntersec(
                        locator.GetHorEdges()[static_cast<std::size_t>(horRow[x] & 0x1FFFF) - 1].get(),
                        locator.GetVerEdges()[static_cast<std::size_t>(verRow[x] & 0x1FFFF) - 1].get(),
                        static_cast<int>(x), y, thres)) {
                    corners.pop_back();
                }
            }
        }
        state.counters["corners"] = static_cast<double>(corners.size());
        for (LxCRectCornerCalibMark& corner : corners) {
            corner.ResetCorner();
        }
    }
    SetPixels(state);
}
BENCHMARK(BM_TargetCornerScan)->Unit(benchmark::kMicrosecond);

void BM_TargetSquares(benchmark::State& state)
{
    View().target.LocateCalibMarks(View().data, false);
    for (auto _ : state) {
        View().target.DetectAllRectsExtern();
    }
    state.counters["squares"] = View().target.GetNumDetectedRects();
}
BENCHMARK(BM_TargetSquares)->Unit(benchmark::kMicrosecond);

void BM_TargetQuality(benchmark::State& state)
{
    CCTImage& picture = View().Image(EImage::eCamDebugImage);
    View().target.LocateCalibMarks(View().data, true);
    for (auto _ : state) {
        View().target.AssessMarkQual(&picture);
    }
}
BENCHMARK(BM_TargetQuality)->Unit(benchmark::kMicrosecond);

void BM_TargetRefinementByEdges(benchmark::State& state)
{
    View().target.LocateCalibMarks(View().data, false);
    for (auto _ : state) {
        View().target.ImprovePositionByEstimatedCorner();
    }
}
BENCHMARK(BM_TargetRefinementByEdges)->Unit(benchmark::kMicrosecond);

void BM_TargetLocate(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(View().target.LocateCalibMarks(View().data, false));
    }
    state.counters["marks"] = static_cast<double>(View().target.GetCalibMarks().size());
    SetPixels(state);
}
BENCHMARK(BM_TargetLocate)->Unit(benchmark::kMicrosecond);

void BM_TargetLocateAndIdentify(benchmark::State& state)
{
    for (auto _ : state) {
        View().target.LocateCalibMarks(View().data, false);
        benchmark::DoNotOptimize(View().target.IdentifyCalibMarks());
    }
    state.counters["good marks"] = View().target.GetNrOfGoodMarks();
    SetPixels(state);
}
BENCHMARK(BM_TargetLocateAndIdentify)->Unit(benchmark::kMicrosecond);

} // namespace
