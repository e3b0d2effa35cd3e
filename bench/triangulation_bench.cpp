// Triangulation: a point, an unwrapped id, the unwrap table and a whole model from text, beside the undistortion of
// another library.
#include "lxcpinholeframework.h"

#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/sectiontext.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#ifdef LXCV_HAVE_OPENCV
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#endif

namespace {

using LxCV::LxCPinholeFramework;
using LxCV::TestSupport::CCameraModel;

constexpr const char* c_sRoot = "::MV3DCam";
constexpr std::size_t c_uiPoints = 4096;

/// A distorted camera and projector, edge tables of 4 by 4 patches, and the coma polynomial in use.
CCameraModel MakeModel(bool useTsai)
{
    std::mt19937_64 random(42);
    CCameraModel model = LxCV::TestSupport::RandomModel(random, useTsai);
    model.camera.k2 = -0.12;
    model.projector.k2 = -0.05;
    model.numPatches = model.numPatchesDepth = 4;
    model.rows.assign(16,
                      std::string(static_cast<std::size_t>(model.NumEdges() - 1), static_cast<char>(127)));
    return model;
}

std::unique_ptr<LxCPinholeFramework> Load(const CCameraModel& model)
{
    auto framework = std::make_unique<LxCPinholeFramework>();
    LxCV::TestSupport::Load(*framework, c_sRoot, LxCV::TestSupport::ModelText(model, c_sRoot));
    return framework;
}

struct CEdgePixel
{
    double col;
    double row;
    int edge;
};

/// Pixels all over the image, each on an edge that lies in the working range there, in the order in which edges are
/// traced: edge by edge, along the columns.
std::vector<CEdgePixel> MakePixels(const LxCPinholeFramework& framework)
{
    std::mt19937_64 random(43);
    std::vector<CEdgePixel> pixels;
    while (pixels.size() < c_uiPoints) {
        CEdgePixel pixel{static_cast<double>(random() % 65800) / 100.0,
                         static_cast<double>(random() % 49400) / 100.0, 0};
        pixel.edge = framework.UnwrapStripeId(static_cast<int>(random() % 64), pixel.row);
        const double z = framework.ComputeEdgeDepth(pixel.col, pixel.row, pixel.edge, true, false);
        if (z > framework.GetMinZc() && z < framework.GetMaxZc()) {
            pixels.push_back(pixel);
        }
    }
    std::sort(pixels.begin(), pixels.end(), [](const CEdgePixel& a, const CEdgePixel& b) {
        return std::tie(a.edge, a.col) < std::tie(b.edge, b.col);
    });
    return pixels;
}

void ComputeEdgeXYZ(benchmark::State& state, bool useTsai)
{
    const auto framework = Load(MakeModel(useTsai));
    const std::vector<CEdgePixel> pixels = MakePixels(*framework);
    for (auto _ : state) {
        for (const CEdgePixel& pixel : pixels) {
            double x, y, z;
            framework->ComputeEdgeXYZ(pixel.col, pixel.row, pixel.edge, true, &x, &y, &z, true);
            benchmark::DoNotOptimize(z);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pixels.size()));
}
BENCHMARK_CAPTURE(ComputeEdgeXYZ, tau, false);
BENCHMARK_CAPTURE(ComputeEdgeXYZ, tsai, true);

void UnwrapStripeId(benchmark::State& state)
{
    const auto framework = Load(MakeModel(false));
    const std::vector<CEdgePixel> pixels = MakePixels(*framework);
    for (auto _ : state) {
        for (const CEdgePixel& pixel : pixels) {
            benchmark::DoNotOptimize(framework->UnwrapStripeId(pixel.edge, pixel.row));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pixels.size()));
}
BENCHMARK(UnwrapStripeId);

/// The unwrap table of 62 rows by 64 ids from 140 edges.
void SetWorkingSpace(benchmark::State& state, bool useTsai)
{
    const auto framework = Load(MakeModel(useTsai));
    for (auto _ : state) {
        framework->SetWorkingSpace(25.0, 41.0, true);
    }
    state.SetItemsProcessed(state.iterations() * 62 * 140);
}
BENCHMARK_CAPTURE(SetWorkingSpace, tau, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SetWorkingSpace, tsai, true)->Unit(benchmark::kMillisecond);

/// A model from text; without its unwrap table if the camera has no height, since the table then has one row.
void LoadModel(benchmark::State& state, bool useTsai, bool withUnwrapTable)
{
    CCameraModel model = MakeModel(useTsai);
    if (!withUnwrapTable) {
        model.camera.height = 0.0;
    }
    const std::string text = LxCV::TestSupport::ModelText(model, c_sRoot);
    for (auto _ : state) {
        LxCPinholeFramework framework;
        LxCV::TestSupport::Load(framework, c_sRoot, text);
        benchmark::DoNotOptimize(framework.IsCalibrated());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK_CAPTURE(LoadModel, tau, false, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadModel, tau_without_unwrap_table, false, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadModel, tsai_without_unwrap_table, true, false)->Unit(benchmark::kMillisecond);

#ifdef LXCV_HAVE_OPENCV
/// Twenty iterations for each of the same pixels: one of the three undistortions that a triangulated point takes.
void OpenCVUndistortPoints(benchmark::State& state)
{
    const CCameraModel model = MakeModel(false);
    const auto framework = Load(model);
    std::vector<cv::Point2d> in;
    for (const CEdgePixel& pixel : MakePixels(*framework)) {
        in.emplace_back(pixel.col, pixel.row);
    }
    const auto& c = model.camera;
    const cv::Matx33d matrix(c.f / c.pitchX, 0.0, c.cx, 0.0, c.f / c.pitchY, c.cy, 0.0, 0.0, 1.0);
    const cv::Vec<double, 5> distortion(c.k2, c.k4, c.tau1, c.tau2, c.k6);
    const cv::TermCriteria twenty(cv::TermCriteria::COUNT, 20, 0.0);
    std::vector<cv::Point2d> out;
    for (auto _ : state) {
        cv::undistortPoints(in, out, matrix, distortion, cv::noArray(), cv::noArray(), twenty);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(in.size()));
}
BENCHMARK(OpenCVUndistortPoints);
#endif

} // namespace
