// Smoothing and gradients of a camera image in floating-point colour beside the same filters of another library.
#include "cctimage.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>

#ifdef LXCV_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using LxCV::CCTImage;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera

CCTImage RandomColour()
{
    CCTImage image(c_iWidth, c_iHeight, CCTImage::eIDT_FLOAT32_3, true, nullptr);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> grey(0.0F, 255.0F);
    auto* const values = static_cast<float*>(image.GetBuffer());
    std::generate_n(values, 3 * image.GetSizeInPixels(), [&] { return grey(random); });
    return image;
}

template <typename Filter>
void Run(benchmark::State& state, Filter filter)
{
    const CCTImage source = RandomColour();
    CCTImage target = source;
    for (auto _ : state) {
        filter(source, target);
        benchmark::DoNotOptimize(target.GetBuffer());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * source.GetSizeInPixels());
}

void Gauss(benchmark::State& state)
{
    const int size = static_cast<int>(state.range(0));
    Run(state, [size](const CCTImage& source, CCTImage& target) {
        source.Smooth(&target, CCTImage::eSM_Gaussian, size, size);
    });
}
BENCHMARK(Gauss)->Arg(3)->Arg(5)->Arg(7)->Arg(11)->Unit(benchmark::kMillisecond);

void Blur(benchmark::State& state)
{
    const int size = static_cast<int>(state.range(0));
    Run(state, [size](const CCTImage& source, CCTImage& target) { source.SmoothBlur(size, &target); });
}
BENCHMARK(Blur)->Arg(3)->Arg(5)->Arg(11)->Arg(31)->Unit(benchmark::kMillisecond);

void Sobel(benchmark::State& state, bool rowsAlongX)
{
    Run(state, [rowsAlongX](const CCTImage& source, CCTImage& target) { source.Sobel(&target, rowsAlongX); });
}
BENCHMARK_CAPTURE(Sobel, x, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Sobel, y, true)->Unit(benchmark::kMillisecond);

#ifdef LXCV_HAVE_OPENCV
template <typename Filter>
void RunOpenCV(benchmark::State& state, Filter filter)
{
    cv::setNumThreads(1);
    Run(state, [&filter](const CCTImage& source, CCTImage& target) {
        const cv::Mat from(c_iHeight, c_iWidth, CV_32FC3, const_cast<void*>(source.GetBuffer()));
        cv::Mat to(c_iHeight, c_iWidth, CV_32FC3, target.GetBuffer());
        filter(from, to);
    });
}

void GaussOpenCV(benchmark::State& state)
{
    const int size = static_cast<int>(state.range(0));
    RunOpenCV(state, [size](const cv::Mat& from, cv::Mat& to) {
        cv::GaussianBlur(from, to, cv::Size(size, size), 0.0, 0.0, cv::BORDER_REPLICATE);
    });
}
BENCHMARK(GaussOpenCV)->Arg(3)->Arg(5)->Arg(7)->Arg(11)->Unit(benchmark::kMillisecond);

void BlurOpenCV(benchmark::State& state)
{
    const int size = static_cast<int>(state.range(0));
    RunOpenCV(state, [size](const cv::Mat& from, cv::Mat& to) {
        cv::blur(from, to, cv::Size(size, size), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    });
}
BENCHMARK(BlurOpenCV)->Arg(3)->Arg(5)->Arg(11)->Arg(31)->Unit(benchmark::kMillisecond);

void SobelOpenCV(benchmark::State& state, int dx)
{
    RunOpenCV(state, [dx](const cv::Mat& from, cv::Mat& to) {
        cv::Sobel(from, to, CV_32F, dx, 1 - dx, 3, 0.25, 0.0, cv::BORDER_REPLICATE);
    });
}
BENCHMARK_CAPTURE(SobelOpenCV, x, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SobelOpenCV, y, 0)->Unit(benchmark::kMillisecond);
#endif

} // namespace
