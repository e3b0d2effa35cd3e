// Mapping of points through the lens, both ways and for each model, beside OpenCV's functions for the same model.
#include "lxcintrinsicparams.h"

#include <benchmark/benchmark.h>

#ifdef LXCV_HAVE_OPENCV
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#endif

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using LxCV::LxCIntrinsicParams;

constexpr double kWidth = 658.0;      // pixels
constexpr double kHeight = 494.0;     // pixels
constexpr double kPitch = 0.0074;     // mm per pixel
constexpr double kFocalLength = 12.0; // mm; the corners lie at a normalised radius of 0.25
constexpr double kPrincipalX = 331.4; // pixels
constexpr double kPrincipalY = 244.8; // pixels
constexpr double kKappa2 = -0.15;
constexpr double kKappa4 = 0.1;
constexpr double kKappa6 = -0.02;
constexpr double kTau1 = 1e-3;
constexpr double kTau2 = -7e-4;
constexpr std::size_t kPoints = 16384;

enum class EModel
{
    eTsai,
    eTau,
    eTable
};

LxCIntrinsicParams MakeLens(EModel model)
{
    LxCIntrinsicParams lens;
    lens.SetImageSize(kWidth, kHeight);
    lens.SetPixelPitch(kPitch, kPitch);
    lens.SetPrincipalPoint(kPrincipalX, kPrincipalY);
    lens.SetFocalLength(kFocalLength);
    lens.SetUseTsai(model == EModel::eTsai);
    lens.SetUseTau(model == EModel::eTau);
    lens.SetKappas(0.0, 2e-3, 0.0, 1e-5);
    lens.SetKappasICV(kKappa2, kKappa4, kKappa6);
    lens.SetTaus(kTau1, kTau2);
    lens.ComputeInverseDistLUT(2.0);
    return lens;
}

struct SPixel
{
    double u, v;
};

struct SPoint
{
    double x, y, z;
};

std::vector<SPixel> MakePixels()
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> u(0.0, kWidth);
    std::uniform_real_distribution<double> v(0.0, kHeight);
    std::vector<SPixel> pixels(kPoints);
    for (SPixel& pixel : pixels) {
        pixel = {u(random), v(random)};
    }
    return pixels;
}

/// Points 70 to 110 mm before the camera that fall into the image.
std::vector<SPoint> MakePoints()
{
    std::mt19937 random(2);
    std::uniform_real_distribution<double> depth(70.0, 110.0);
    std::vector<SPoint> points;
    for (const SPixel& pixel : MakePixels()) {
        const double z = depth(random);
        const double scale = kPitch / kFocalLength * z;
        points.push_back({(pixel.u - kPrincipalX) * scale, (pixel.v - kPrincipalY) * scale, z});
    }
    return points;
}

void CountPoints(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kPoints));
    state.counters["s/point"] =
        benchmark::Counter(static_cast<double>(kPoints),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void UndistortOnePoint(benchmark::State& state, EModel model)
{
    const LxCIntrinsicParams lens = MakeLens(model);
    const std::vector<SPixel> pixels = MakePixels();
    std::vector<SPixel> out(pixels.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            lens.DisImageToUndisSensorCoords(pixels[i].u, pixels[i].v, &out[i].u, &out[i].v);
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    CountPoints(state);
}
BENCHMARK_CAPTURE(UndistortOnePoint, tsai, EModel::eTsai);
BENCHMARK_CAPTURE(UndistortOnePoint, tau, EModel::eTau);
BENCHMARK_CAPTURE(UndistortOnePoint, table, EModel::eTable);

/// Pixels as triangulation has them: two slide columns around one edge, on the same row.
void UndistortNeighbours(benchmark::State& state, bool paired)
{
    const LxCIntrinsicParams lens = MakeLens(EModel::eTau);
    const std::vector<SPixel> pixels = MakePixels();
    std::vector<SPixel> out(pixels.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i + 1 < pixels.size(); i += 2) {
            const double u[2] = {pixels[i].u - 1.0, pixels[i].u + 1.0};
            const double v[2] = {pixels[i].v, pixels[i].v};
            double x[2];
            double y[2];
            if (paired) {
                lens.DisImageToUndisSensorCoordsPair(u, v, x, y);
            } else {
                lens.DisImageToUndisSensorCoords(u[0], v[0], &x[0], &y[0]);
                lens.DisImageToUndisSensorCoords(u[1], v[1], &x[1], &y[1]);
            }
            out[i] = {x[0], y[0]};
            out[i + 1] = {x[1], y[1]};
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    CountPoints(state);
}
BENCHMARK_CAPTURE(UndistortNeighbours, single, false);
BENCHMARK_CAPTURE(UndistortNeighbours, paired, true);

void Project(benchmark::State& state, EModel model)
{
    const LxCIntrinsicParams lens = MakeLens(model);
    const std::vector<SPoint> points = MakePoints();
    std::vector<SPixel> out(points.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            lens.CameraToDisImageCoords(points[i].x, points[i].y, points[i].z, &out[i].u, &out[i].v);
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    CountPoints(state);
}
BENCHMARK_CAPTURE(Project, tsai, EModel::eTsai);
BENCHMARK_CAPTURE(Project, icv, EModel::eTau);

void ComputeTable(benchmark::State& state, EModel model)
{
    const LxCIntrinsicParams lens = MakeLens(model);
    for (auto _ : state) {
        lens.ComputeInverseDistLUT(2.0);
        benchmark::ClobberMemory();
    }
    state.counters["entries"] = lens.GetInverseDistLUTLength();
}
BENCHMARK_CAPTURE(ComputeTable, tsai, EModel::eTsai);
BENCHMARK_CAPTURE(ComputeTable, icv, EModel::eTable);

#ifdef LXCV_HAVE_OPENCV

const cv::Matx33d kCameraMatrix(kFocalLength / kPitch, 0.0, kPrincipalX, 0.0, kFocalLength / kPitch,
                                kPrincipalY, 0.0, 0.0, 1.0);
const cv::Vec<double, 5> kDistortion(kKappa2, kKappa4, kTau1, kTau2, kKappa6);

void UndistortOpenCV(benchmark::State& state)
{
    cv::setNumThreads(1);
    std::vector<cv::Point2d> pixels;
    for (const SPixel& pixel : MakePixels()) {
        pixels.emplace_back(pixel.u, pixel.v);
    }
    std::vector<cv::Point2d> out(pixels.size());
    const cv::TermCriteria twentySteps(cv::TermCriteria::COUNT, 20, 0.0);
    for (auto _ : state) {
        cv::undistortPoints(pixels, out, kCameraMatrix, kDistortion, cv::noArray(), cv::noArray(),
                            twentySteps);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    CountPoints(state);
}
BENCHMARK(UndistortOpenCV);

void ProjectOpenCV(benchmark::State& state)
{
    cv::setNumThreads(1);
    std::vector<cv::Point3d> points;
    for (const SPoint& point : MakePoints()) {
        points.emplace_back(point.x, point.y, point.z);
    }
    std::vector<cv::Point2d> out(points.size());
    for (auto _ : state) {
        cv::projectPoints(points, cv::Vec3d(), cv::Vec3d(), kCameraMatrix, kDistortion, out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    CountPoints(state);
}
BENCHMARK(ProjectOpenCV);

#endif

} // namespace
