// Conversions, thresholds and statistics of images beside OpenCV's functions for the same work.
#include "cctimage.h"
#include "lxcroi.h"

#include <benchmark/benchmark.h>

#ifdef LXCV_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <cstdint>
#include <random>

namespace {

using LxCV::CCTImage;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera
constexpr int c_iThreshold = 100;
constexpr std::uint8_t c_uiLow = 0;
constexpr std::uint8_t c_uiHigh = 255;

CCTImage RandomImage(CCTImage::EImageDataType type)
{
    CCTImage image(c_iWidth, c_iHeight, type, true, nullptr);
    std::mt19937 random(1);
    auto* const bytes = static_cast<std::uint8_t*>(image.GetBuffer());
    std::generate_n(bytes, image.GetSizeInBytes(), [&] { return static_cast<std::uint8_t>(random()); });
    return image;
}

CCTImage EmptyImage(CCTImage::EImageDataType type)
{
    CCTImage image;
    image.Resize(c_iWidth, c_iHeight, type);
    return image;
}

CCTImage::EImageDataType TypeOf(const benchmark::State& state)
{
    return static_cast<CCTImage::EImageDataType>(state.range(0));
}

/// Runs `work`, which writes `target`, and counts pixels.
template <typename Work>
void Measure(benchmark::State& state, CCTImage& target, Work work)
{
    for (auto _ : state) {
        work();
        benchmark::DoNotOptimize(target.GetBuffer());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * c_iWidth * c_iHeight);
}

void ImageToGrayscale(benchmark::State& state)
{
    const CCTImage source = RandomImage(TypeOf(state));
    CCTImage target = EmptyImage(CCTImage::eIDT_UINT8);
    Measure(state, target, [&] { source.ConvertToGrayscale(&target, CCTImage::eCM_Weighted); });
}

void ImageToFloat(benchmark::State& state)
{
    const CCTImage source = RandomImage(TypeOf(state));
    CCTImage target =
        EmptyImage(TypeOf(state) == CCTImage::eIDT_UINT8 ? CCTImage::eIDT_FLOAT32 : CCTImage::eIDT_FLOAT32_3);
    Measure(state, target, [&] { source.ConvertToFloat(&target, false); });
}

void ImageFloatToBgr(benchmark::State& state)
{
    CCTImage source = EmptyImage(CCTImage::eIDT_FLOAT32_3);
    RandomImage(CCTImage::eIDT_BGRU8).ConvertToFloat(&source, false);
    CCTImage target = EmptyImage(CCTImage::eIDT_BGRU8);
    Measure(state, target, [&] { source.ConvertToBGRU8(&target, false); });
}

void ImageThreshold(benchmark::State& state)
{
    const CCTImage source = RandomImage(CCTImage::eIDT_UINT8);
    CCTImage target = EmptyImage(CCTImage::eIDT_UINT8);
    Measure(state, target, [&] { source.ApplyThreshold(&target, c_iThreshold, &c_uiLow, &c_uiHigh); });
}

void ImageStatistics(benchmark::State& state)
{
    const CCTImage source = RandomImage(TypeOf(state));
    const LxCV::LxCRoi roi(&source);
    CCTImage target = EmptyImage(CCTImage::eIDT_UINT8);
    CCTImage::SStatistics statistics;
    Measure(state, target, [&] {
        source.GetStats(roi, statistics);
        benchmark::DoNotOptimize(statistics);
    });
}

void ImageShiftChannels(benchmark::State& state)
{
    const CCTImage source = RandomImage(CCTImage::eIDT_BGRU8);
    CCTImage target = EmptyImage(CCTImage::eIDT_ARGB8);
    Measure(state, target, [&] { source.ShiftImageChannels(&target, 3, -2, -4, 1); });
}

void BothColors(benchmark::internal::Benchmark* bench)
{
    bench->ArgName("type")->Arg(CCTImage::eIDT_BGRU8)->Arg(CCTImage::eIDT_ARGB8);
}

void BytesAndColors(benchmark::internal::Benchmark* bench)
{
    bench->ArgName("type")->Arg(CCTImage::eIDT_UINT8)->Arg(CCTImage::eIDT_BGRU8);
}

BENCHMARK(ImageToGrayscale)->Apply(BothColors);
BENCHMARK(ImageToFloat)->Apply(BytesAndColors);
BENCHMARK(ImageFloatToBgr);
BENCHMARK(ImageThreshold);
BENCHMARK(ImageStatistics)->Apply(BytesAndColors);
BENCHMARK(ImageShiftChannels);

#ifdef LXCV_HAVE_OPENCV

/// The pixels of an image, as OpenCV sees them.
cv::Mat MatOf(CCTImage& image, int type)
{
    return {c_iHeight, c_iWidth, type, image.GetBuffer()};
}

int MatTypeOf(CCTImage::EImageDataType type)
{
    switch (type) {
    case CCTImage::eIDT_ARGB8:
        return CV_8UC4;
    case CCTImage::eIDT_BGRU8:
        return CV_8UC3;
    default:
        return CV_8UC1;
    }
}

void OpenCvToGrayscale(benchmark::State& state)
{
    cv::setNumThreads(1);
    CCTImage source = RandomImage(TypeOf(state));
    CCTImage target = EmptyImage(CCTImage::eIDT_UINT8);
    const cv::Mat from = MatOf(source, MatTypeOf(TypeOf(state)));
    cv::Mat to = MatOf(target, CV_8UC1);
    const int code = TypeOf(state) == CCTImage::eIDT_ARGB8 ? cv::COLOR_BGRA2GRAY : cv::COLOR_BGR2GRAY;
    Measure(state, target, [&] { cv::cvtColor(from, to, code); });
}

void OpenCvToFloat(benchmark::State& state)
{
    cv::setNumThreads(1);
    CCTImage source = RandomImage(TypeOf(state));
    const cv::Mat from = MatOf(source, MatTypeOf(TypeOf(state)));
    CCTImage target =
        EmptyImage(TypeOf(state) == CCTImage::eIDT_UINT8 ? CCTImage::eIDT_FLOAT32 : CCTImage::eIDT_FLOAT32_3);
    cv::Mat to = MatOf(target, CV_MAKETYPE(CV_32F, from.channels()));
    Measure(state, target, [&] { from.convertTo(to, CV_32F); });
}

void OpenCvFloatToBgr(benchmark::State& state)
{
    cv::setNumThreads(1);
    CCTImage source = EmptyImage(CCTImage::eIDT_FLOAT32_3);
    RandomImage(CCTImage::eIDT_BGRU8).ConvertToFloat(&source, false);
    CCTImage target = EmptyImage(CCTImage::eIDT_BGRU8);
    const cv::Mat from = MatOf(source, CV_32FC3);
    cv::Mat to = MatOf(target, CV_8UC3);
    Measure(state, target, [&] { from.convertTo(to, CV_8U); });
}

void OpenCvThreshold(benchmark::State& state)
{
    cv::setNumThreads(1);
    CCTImage source = RandomImage(CCTImage::eIDT_UINT8);
    CCTImage target = EmptyImage(CCTImage::eIDT_UINT8);
    const cv::Mat from = MatOf(source, CV_8UC1);
    cv::Mat to = MatOf(target, CV_8UC1);
    Measure(state, target, [&] { cv::threshold(from, to, c_iThreshold, c_uiHigh, cv::THRESH_BINARY); });
}

void OpenCvStatistics(benchmark::State& state)
{
    cv::setNumThreads(1);
    CCTImage source = RandomImage(TypeOf(state));
    const cv::Mat from = MatOf(source, MatTypeOf(TypeOf(state)));
    CCTImage target = EmptyImage(CCTImage::eIDT_UINT8);
    cv::Scalar mean;
    cv::Scalar sigma;
    Measure(state, target, [&] {
        cv::meanStdDev(from, mean, sigma);
        benchmark::DoNotOptimize(sigma);
    });
}

BENCHMARK(OpenCvToGrayscale)->Apply(BothColors);
BENCHMARK(OpenCvToFloat)->Apply(BytesAndColors);
BENCHMARK(OpenCvFloatToBgr);
BENCHMARK(OpenCvThreshold);
BENCHMARK(OpenCvStatistics)->Apply(BytesAndColors);

#endif

} // namespace
