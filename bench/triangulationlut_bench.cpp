// Tabulated triangulation: building the table, looking up along edges, and beside both what bounds them.
#include "lxctriangulationlut.h"

#include "lxc3ddata.h"
#include "lxcpinholeframework.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/sectiontext.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using LxCV::LxC3DData;
using LxCV::LxCPinholeFramework;
using LxCV::LxCTriangulationLUT;
using LxCV::TestSupport::CCameraModel;

constexpr const char* c_sRoot = "::MV3DCam";
constexpr int c_iWidth = 658;  // pixels
constexpr int c_iHeight = 494; // pixels
constexpr int c_iEdges = 122;

/// A distorted camera and projector with 122 stripe edges, edge tables of 4 by 4 patches, and coma correction.
std::unique_ptr<LxCPinholeFramework> MakeFramework(bool useTsai)
{
    std::mt19937_64 random(42);
    CCameraModel model = LxCV::TestSupport::RandomModel(random, useTsai);
    model.camera.k2 = -0.12;
    model.projector.k2 = -0.05;
    model.patternHeight = c_iEdges * model.stripeWidth;
    model.numPatches = model.numPatchesDepth = 4;
    model.rows.assign(16, std::string(c_iEdges - 1, static_cast<char>(127)));
    auto framework = std::make_unique<LxCPinholeFramework>();
    LxCV::TestSupport::Load(*framework, c_sRoot, LxCV::TestSupport::ModelText(model, c_sRoot));
    return framework;
}

void InitTriangulationLUT(benchmark::State& state, bool useTsai)
{
    const auto framework = MakeFramework(useTsai);
    LxC3DData data;
    for (auto _ : state) {
        if (!data.InitTriangulationLUT(c_iWidth, c_iHeight, framework.get(), nullptr)) {
            state.SkipWithError("no table");
        }
    }
    state.SetItemsProcessed(state.iterations() * data.GetTriangulationLUT()->GetNrElements() / 3);
}
BENCHMARK_CAPTURE(InitTriangulationLUT, tau, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(InitTriangulationLUT, tsai, true)->Unit(benchmark::kMillisecond);

/// Some of these points one by one.
void TableByComputeEdgeXYZ(benchmark::State& state, bool useTsai)
{
    const auto framework = MakeFramework(useTsai);
    std::int64_t points = 0;
    for (auto _ : state) {
        for (int edge = 0; edge < c_iEdges; edge += 8) {
            for (int row = 0; row <= c_iHeight; row += 16) {
                for (int col = 0; col <= c_iWidth; col += 32) {
                    double x, y, z;
                    framework->ComputeEdgeXYZ(col, row, edge, true, &x, &y, &z, true);
                    benchmark::DoNotOptimize(z);
                    ++points;
                }
            }
        }
    }
    state.SetItemsProcessed(points);
}
BENCHMARK_CAPTURE(TableByComputeEdgeXYZ, tau, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(TableByComputeEdgeXYZ, tsai, true)->Unit(benchmark::kMillisecond);

/// Clearing the block: what its memory alone costs.
void FloorClearTable(benchmark::State& state)
{
    for (auto _ : state) {
        LxCTriangulationLUT table;
        benchmark::DoNotOptimize(table.Init(c_iEdges, c_iWidth, c_iHeight));
    }
    state.SetBytesProcessed(state.iterations() * 122 * 84 * 125 * 12);
}
BENCHMARK(FloorClearTable)->Unit(benchmark::kMillisecond);

/// A pixel for each column of each edge, where a plane at 33 mm shows it: the order in which traced edges are turned
/// into points.
struct CEdgePixel
{
    float col;
    float row;
    int edge;
};

std::vector<CEdgePixel> TracedEdges(const LxCPinholeFramework& framework)
{
    std::vector<CEdgePixel> pixels;
    for (int edge = 0; edge < c_iEdges; ++edge) {
        double row = -1.0;
        for (int col = 0; col < c_iWidth; ++col) {
            double nearest = 5.0; // mm
            const double from = row < 0.0 ? 0.0 : std::max(row - 3.0, 0.0);
            const double to = row < 0.0 ? c_iHeight - 1.0 : std::min(row + 3.0, c_iHeight - 1.0);
            for (double r = from; r <= to; r += 0.25) {
                const double miss = std::abs(framework.ComputeEdgeDepth(col, r, edge, true, false) -
                                             (33.0 + 2.0 * std::sin(col * 0.02)));
                if (miss < nearest) {
                    nearest = miss;
                    row = r;
                }
            }
            if (row >= 0.0) {
                pixels.push_back({static_cast<float>(col), static_cast<float>(row), edge});
            }
        }
    }
    return pixels;
}

struct CFilledTable
{
    CFilledTable()
    {
        const auto framework = MakeFramework(true);
        data.InitTriangulationLUT(c_iWidth, c_iHeight, framework.get(), nullptr);
        pixels = TracedEdges(*framework);
    }

    LxC3DData data;
    std::vector<CEdgePixel> pixels;
};

const CFilledTable& FilledTable()
{
    static const CFilledTable s_table;
    return s_table;
}

void LookUpXYZ(benchmark::State& state)
{
    const CFilledTable& filled = FilledTable();
    const LxCTriangulationLUT& table = *filled.data.GetTriangulationLUT();
    std::vector<float> points(filled.pixels.size() * 3);
    std::vector<unsigned char> valid(filled.pixels.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < filled.pixels.size(); ++i) {
            const CEdgePixel& pixel = filled.pixels[i];
            table.LookUpXYZ(pixel.col, pixel.row, pixel.edge, &points[3 * i], &valid[i]);
        }
        benchmark::DoNotOptimize(points.data());
        benchmark::ClobberMemory();
    }
    state.counters["pixels"] = static_cast<double>(filled.pixels.size());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(filled.pixels.size()));
}
BENCHMARK(LookUpXYZ);

void LookUpZ(benchmark::State& state)
{
    const CFilledTable& filled = FilledTable();
    const LxCTriangulationLUT& table = *filled.data.GetTriangulationLUT();
    std::vector<float> depths(filled.pixels.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < filled.pixels.size(); ++i) {
            const CEdgePixel& pixel = filled.pixels[i];
            depths[i] = table.LookUpZ(pixel.col, pixel.row, pixel.edge + 1);
        }
        benchmark::DoNotOptimize(depths.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(filled.pixels.size()));
}
BENCHMARK(LookUpZ);

/// Reading the pixels and writing as many floats: what a lookup cannot go below.
void FloorReadPixelsWritePoints(benchmark::State& state)
{
    const CFilledTable& filled = FilledTable();
    std::vector<float> points(filled.pixels.size() * 3);
    for (auto _ : state) {
        for (std::size_t i = 0; i < filled.pixels.size(); ++i) {
            const CEdgePixel& pixel = filled.pixels[i];
            points[3 * i] = pixel.col;
            points[3 * i + 1] = pixel.row;
            points[3 * i + 2] = static_cast<float>(pixel.edge);
        }
        benchmark::DoNotOptimize(points.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(filled.pixels.size()));
}
BENCHMARK(FloorReadPixelsWritePoints);

} // namespace
