// Blob labelling, medians, spline and fit routines beside their peers.
#include "cctimage.h"
#include "ellipsefit.h"
#include "lxcblobfinder.h"
#include "lxcellipse.h"
#include "matrixroutines.h"
#include "numericroutines.h"

#include <benchmark/benchmark.h>

#ifdef LXCV_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace {

using LxCV::CCTImage;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera
constexpr int c_iMarks = 200;

/// A thresholded calibration image: 200 ellipses of 20 by 10 cells, each somewhere in its cell.
std::vector<std::uint8_t> Marks()
{
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(c_iWidth) * c_iHeight);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const double cell = 32.0;
    for (int mark = 0; mark < c_iMarks; ++mark) {
        const LxCV::LxCEllipse ellipse((mark % 20 + 0.4 + 0.2 * unit(random)) * cell,
                                       (mark / 20 + 0.4 + 0.2 * unit(random)) * 1.5 * cell,
                                       4.0 + 7.0 * unit(random), 4.0 + 7.0 * unit(random), 0.0);
        for (int y = 0; y < c_iHeight; ++y) {
            for (int x = 0; x < c_iWidth; ++x) {
                if (ellipse.DistanceApproximate(x, y, true) <= 0.0) {
                    pixels[static_cast<std::size_t>(y) * c_iWidth + x] = 255;
                }
            }
        }
    }
    return pixels;
}

/// The labels overwrite the image, so each round includes bringing it back.
void FindBlobs(benchmark::State& state)
{
    const std::vector<std::uint8_t> marks = Marks();
    CCTImage source(c_iWidth, c_iHeight, CCTImage::eIDT_INT32, true, nullptr);
    std::copy(marks.begin(), marks.end(), static_cast<std::int32_t*>(source.GetBuffer()));
    CCTImage image = source;
    LxCV::LxCBlobFinder finder;
    for (auto _ : state) {
        image.CopyFrom(&source, false);
        benchmark::DoNotOptimize(finder.FindBlobs(&image));
        benchmark::ClobberMemory();
    }
    if (finder.GetNrOfBlobs() != c_iMarks) {
        state.SkipWithError("the marks were not found");
    }
    state.SetItemsProcessed(state.iterations() * c_iWidth * c_iHeight);
}
BENCHMARK(FindBlobs);

#ifdef LXCV_HAVE_OPENCV
void PeerConnectedComponents(benchmark::State& state)
{
    cv::setNumThreads(1);
    std::vector<std::uint8_t> marks = Marks();
    const cv::Mat image(c_iHeight, c_iWidth, CV_8UC1, marks.data());
    cv::Mat labels;
    cv::Mat stats;
    cv::Mat centroids;
    for (auto _ : state) {
        benchmark::DoNotOptimize(cv::connectedComponentsWithStats(image, labels, stats, centroids, 8));
    }
    state.SetItemsProcessed(state.iterations() * c_iWidth * c_iHeight);
}
BENCHMARK(PeerConnectedComponents);
#endif

std::vector<double> RandomDoubles(std::size_t count)
{
    std::vector<double> values(count);
    std::mt19937 random(2);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::generate(values.begin(), values.end(), [&] { return value(random); });
    return values;
}

/// Both peers reorder, so each round includes bringing the values back.
void Median(benchmark::State& state)
{
    const std::vector<double> values = RandomDoubles(static_cast<std::size_t>(state.range(0)));
    std::vector<double> work(values.size());
    for (auto _ : state) {
        std::memcpy(work.data(), values.data(), values.size() * sizeof(double));
        benchmark::DoNotOptimize(LxCV::QuickSelectMedian(work.data(), static_cast<int>(work.size()), false));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Median)->Arg(200)->Arg(100000);

void PeerNthElement(benchmark::State& state)
{
    const std::vector<double> values = RandomDoubles(static_cast<std::size_t>(state.range(0)));
    std::vector<double> work(values.size());
    const auto middle = static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    for (auto _ : state) {
        std::memcpy(work.data(), values.data(), values.size() * sizeof(double));
        std::nth_element(work.begin(), work.begin() + middle, work.end());
        benchmark::DoNotOptimize(work[static_cast<std::size_t>(middle)]);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(PeerNthElement)->Arg(200)->Arg(100000);

struct Points
{
    std::vector<double> x;
    std::vector<double> y;
};

/// Noisy points of an ellipse.
Points EdgePoints(int count)
{
    Points points;
    std::mt19937 random(3);
    std::normal_distribution<double> noise(0.0, 0.1);
    for (int i = 0; i < count; ++i) {
        const double t = 6.283185307179586 * i / count;
        points.x.push_back(320.0 + 12.0 * std::cos(t) + noise(random));
        points.y.push_back(240.0 + 9.0 * std::sin(t) + noise(random));
    }
    return points;
}

void FitEllipse(benchmark::State& state)
{
    const Points points = EdgePoints(static_cast<int>(state.range(0)));
    LxCV::LxCEllipse ellipse;
    for (auto _ : state) {
        benchmark::DoNotOptimize(LxCV::FitEllipseDirect(points.x.data(), points.y.data(),
                                                        static_cast<int>(state.range(0)), &ellipse));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FitEllipse)->Arg(50)->Arg(200);

#ifdef LXCV_HAVE_OPENCV
void PeerFitEllipseDirect(benchmark::State& state)
{
    cv::setNumThreads(1);
    const Points points = EdgePoints(static_cast<int>(state.range(0)));
    std::vector<cv::Point2f> pairs;
    for (std::size_t i = 0; i < points.x.size(); ++i) {
        pairs.emplace_back(static_cast<float>(points.x[i]), static_cast<float>(points.y[i]));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(cv::fitEllipseDirect(pairs));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(PeerFitEllipseDirect)->Arg(50)->Arg(200);
#endif

/// A straight edge of an image, every eighth point off it.
Points Edge(int count)
{
    Points points;
    std::mt19937 random(4);
    std::normal_distribution<double> noise(0.0, 0.1);
    for (int i = 0; i < count; ++i) {
        points.x.push_back(100.0 + i);
        points.y.push_back(200.0 + 0.3 * i + noise(random) + (i % 8 == 0 ? 5.0 : 0.0));
    }
    return points;
}

void FitRobustLine(benchmark::State& state)
{
    const Points points = Edge(static_cast<int>(state.range(0)));
    double slope = 0.0;
    double intercept = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(LxCV::FitLineMinAbsDev(points.x.data(), points.y.data(),
                                                        static_cast<int>(state.range(0)), slope, intercept));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FitRobustLine)->Arg(40)->Arg(600);

#ifdef LXCV_HAVE_OPENCV
void PeerFitLineL1(benchmark::State& state)
{
    cv::setNumThreads(1);
    const Points points = Edge(static_cast<int>(state.range(0)));
    std::vector<cv::Point2f> pairs;
    for (std::size_t i = 0; i < points.x.size(); ++i) {
        pairs.emplace_back(static_cast<float>(points.x[i]), static_cast<float>(points.y[i]));
    }
    cv::Vec4f line;
    for (auto _ : state) {
        cv::fitLine(pairs, line, cv::DIST_L1, 0, 0.01, 0.01);
        benchmark::DoNotOptimize(line);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(PeerFitLineL1)->Arg(40)->Arg(600);
#endif

void FitParabola(benchmark::State& state)
{
    const Points points = Edge(static_cast<int>(state.range(0)));
    double coefficients[3];
    for (auto _ : state) {
        benchmark::DoNotOptimize(LxCV::FitPolynomial(points.x.data(), points.y.data(),
                                                     static_cast<int>(state.range(0)), 2, coefficients));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FitParabola)->Arg(40)->Arg(600);

} // namespace
