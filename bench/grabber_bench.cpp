// From a raw camera image to floating-point colour beside another library, and beside copies of the same bytes.
#include "cctimage.h"
#include "lxcframegrabberreqs.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>

#ifdef LXCV_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using LxCV::CCTImage;
using LxCV::LxCFrameGrabberReqs;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera

/// How one sensor lies against the green one.
struct SMounting
{
    float shiftCol;
    float shiftRow;
    float angle;
    float factor;
};
constexpr SMounting c_Red{1.3F, -0.7F, 0.002F, 1.001F};
constexpr SMounting c_Blue{-0.9F, 1.6F, -0.003F, 0.999F};
constexpr float c_fCenterCol = 329.0F;
constexpr float c_fCenterRow = 247.0F;

LxCFrameGrabberReqs MountedReqs(bool correctOverlap, bool mirrored)
{
    LxCFrameGrabberReqs reqs;
    reqs.SetMirrorChannelsSettings(correctOverlap, mirrored ? 1 : 0, mirrored ? 2 : 0, mirrored ? 2 : 0);
    reqs.SetGCenterCol(c_fCenterCol);
    reqs.SetGCenterRow(c_fCenterRow);
    reqs.SetRImageShiftCol(c_Red.shiftCol);
    reqs.SetRImageShiftRow(c_Red.shiftRow);
    reqs.SetRImageAngle(c_Red.angle);
    reqs.SetRSizeFactor(c_Red.factor);
    reqs.SetBImageShiftCol(c_Blue.shiftCol);
    reqs.SetBImageShiftRow(c_Blue.shiftRow);
    reqs.SetBImageAngle(c_Blue.angle);
    reqs.SetBSizeFactor(c_Blue.factor);
    return reqs;
}

CCTImage RawImage()
{
    CCTImage image(c_iWidth, c_iHeight, CCTImage::eIDT_BGRU8, true, nullptr);
    std::mt19937 random(1);
    auto* const bytes = static_cast<std::uint8_t*>(image.GetBuffer());
    std::generate_n(bytes, image.GetSizeInBytes(), [&] { return static_cast<std::uint8_t>(random()); });
    return image;
}

/// Times `step(raw, target)` with a target of the type.
template <typename Step>
void Run(benchmark::State& state, CCTImage::EImageDataType type, Step step)
{
    CCTImage raw = RawImage();
    CCTImage target;
    target.Resize(c_iWidth, c_iHeight, type);
    for (auto _ : state) {
        step(raw, target);
        benchmark::DoNotOptimize(target.GetBuffer());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * raw.GetSizeInPixels());
    state.SetBytesProcessed(state.iterations() * (raw.GetSizeInBytes() + target.GetSizeInBytes()));
}

void CorrectOverlap(benchmark::State& state)
{
    const LxCFrameGrabberReqs reqs = MountedReqs(true, false);
    Run(state, CCTImage::eIDT_FLOAT32_3,
        [&](const CCTImage& raw, CCTImage& target) { reqs.CorrectChannelOverlap(&raw, &target); });
}
BENCHMARK(CorrectOverlap)->Unit(benchmark::kMillisecond);

#ifdef LXCV_HAVE_OPENCV
/// The places of one channel as maps of a remapping, made once for all images.
struct SMaps
{
    cv::Mat first;
    cv::Mat second;
};

SMaps MapsOf(const SMounting& mounting, bool fixed)
{
    cv::Mat u(c_iHeight, c_iWidth, CV_32F);
    cv::Mat v(c_iHeight, c_iWidth, CV_32F);
    const float c = std::cos(mounting.angle) * mounting.factor;
    const float n = std::sin(mounting.angle) * mounting.factor;
    for (int y = 0; y < c_iHeight; ++y) {
        for (int x = 0; x < c_iWidth; ++x) {
            const float dx = static_cast<float>(x) - c_fCenterCol;
            const float dy = static_cast<float>(y) - c_fCenterRow;
            u.at<float>(y, x) = dx * c + dy * n + c_fCenterCol + mounting.shiftCol;
            v.at<float>(y, x) = dy * c - dx * n + c_fCenterRow + mounting.shiftRow;
        }
    }
    SMaps maps{u, v};
    if (fixed) {
        cv::convertMaps(u, v, maps.first, maps.second, CV_16SC2);
    }
    return maps;
}

/// Splits the image into planes, remaps blue and red, and joins the three as floats, a strip of rows at a time so that
/// the strip stays in the cache.
void OverlapOpenCV(benchmark::State& state, bool fixed, bool floatPlanes)
{
    cv::setNumThreads(1);
    const int stripRows = static_cast<int>(state.range(0));
    const SMaps blue = MapsOf(c_Blue, fixed);
    const SMaps red = MapsOf(c_Red, fixed);
    std::array<cv::Mat, 3> planes;
    std::array<cv::Mat, 3> moved;
    cv::Mat joined;
    cv::Mat floats;
    Run(state, CCTImage::eIDT_FLOAT32_3, [&](const CCTImage& raw, CCTImage& target) {
        const cv::Mat from(c_iHeight, c_iWidth, CV_8UC3, const_cast<void*>(raw.GetBuffer()));
        cv::Mat to(c_iHeight, c_iWidth, CV_32FC3, target.GetBuffer());
        if (floatPlanes) {
            from.convertTo(floats, CV_32F);
        }
        cv::split(floatPlanes ? floats : from, planes.data());
        for (int row = 0; row < c_iHeight; row += stripRows) {
            const cv::Range rows(row, std::min(row + stripRows, c_iHeight));
            const auto remap = [&](std::size_t channel, const SMaps& maps) {
                cv::remap(planes[channel], moved[channel], maps.first.rowRange(rows),
                          maps.second.rowRange(rows), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
            };
            remap(0, blue);
            moved[1] = planes[1].rowRange(rows);
            remap(2, red);
            cv::Mat strip = to.rowRange(rows);
            if (floatPlanes) {
                cv::merge(moved.data(), moved.size(), strip);
            } else {
                cv::merge(moved.data(), moved.size(), joined);
                joined.convertTo(strip, CV_32F);
            }
        }
    });
}
BENCHMARK_CAPTURE(OverlapOpenCV, FixedMaps, true, false)
    ->ArgName("rows")
    ->Arg(16)
    ->Arg(64)
    ->Arg(c_iHeight)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OverlapOpenCV, FloatMaps, false, false)
    ->ArgName("rows")
    ->Arg(16)
    ->Arg(64)
    ->Arg(c_iHeight)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OverlapOpenCV, FixedMapsFloatPlanes, true, true)
    ->ArgName("rows")
    ->Arg(16)
    ->Arg(64)
    ->Arg(c_iHeight)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OverlapOpenCV, FloatMapsFloatPlanes, false, true)
    ->ArgName("rows")
    ->Arg(16)
    ->Arg(64)
    ->Arg(c_iHeight)
    ->Unit(benchmark::kMillisecond);
#endif

void ConvertRaw(benchmark::State& state)
{
    const LxCFrameGrabberReqs reqs = MountedReqs(false, false);
    Run(state, CCTImage::eIDT_FLOAT32_3,
        [&](const CCTImage& raw, CCTImage& target) { reqs.ConvertImage(&raw, &target); });
}
BENCHMARK(ConvertRaw)->Unit(benchmark::kMicrosecond);

void MirrorRaw(benchmark::State& state)
{
    const LxCFrameGrabberReqs reqs;
    Run(state, CCTImage::eIDT_BGRU8,
        [&](const CCTImage& raw, CCTImage& target) { reqs.MirrorRGBChannels(&raw, &target, 1, 2, 2); });
}
BENCHMARK(MirrorRaw)->Unit(benchmark::kMicrosecond);

void LiveImage(benchmark::State& state, bool correctOverlap, bool mirrored)
{
    LxCFrameGrabberReqs reqs = MountedReqs(correctOverlap, mirrored);
    Run(state, CCTImage::eIDT_ARGB8,
        [&](CCTImage& raw, CCTImage& target) { reqs.ComputePreliminaryLiveImages(&raw, &target); });
}
BENCHMARK_CAPTURE(LiveImage, Copied, false, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(LiveImage, Shifted, true, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(LiveImage, ShiftedAndMirrored, true, true)->Unit(benchmark::kMicrosecond);

/// As many bytes written as the steps above write: a copy of an image of the target's type.
void FloorCopy(benchmark::State& state, CCTImage::EImageDataType type)
{
    CCTImage source;
    source.Resize(c_iWidth, c_iHeight, type);
    Run(state, type, [&](const CCTImage&, CCTImage& target) {
        std::memcpy(target.GetBuffer(), source.GetBuffer(),
                    static_cast<std::size_t>(source.GetSizeInBytes()));
    });
}
BENCHMARK_CAPTURE(FloorCopy, Float, CCTImage::eIDT_FLOAT32_3)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(FloorCopy, Bgr, CCTImage::eIDT_BGRU8)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(FloorCopy, Argb, CCTImage::eIDT_ARGB8)->Unit(benchmark::kMicrosecond);

} // namespace
