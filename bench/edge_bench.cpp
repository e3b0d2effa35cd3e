// Tracing of a full image of stripe edges, beside one pass over the same pixels.
#include "lxcedgedetectionconfig.h"
#include "lxclightstripeedge.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using LxCV::LxCDataBufferEntry;
using LxCV::LxCEdgeDetectionConfig;
using LxCV::LxCLightStripeEdge;
using LxCV::LxCLightStripeEdgeSinglePixel;
using LxCV::LxCSymbol;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera
constexpr int c_iEdges = 120;
constexpr int c_iRadius = 2; // rows
constexpr int c_iSeedCol = c_iWidth / 2;
constexpr unsigned c_uiSymbol = 6;

/// Wavy edges four rows apart. Of their pixels one in eight has lost its id, one in thirty-two is missing.
struct CScene
{
    CScene() : pixels(static_cast<std::size_t>(c_iWidth) * c_iHeight)
    {
        std::mt19937 random(3);
        for (int edge = 0; edge < c_iEdges; ++edge) {
            for (int col = 0; col < c_iWidth; ++col) {
                const int row = RowOf(edge, col);
                const unsigned id = random() % 8 == 0 ? 0U : static_cast<unsigned>(edge + 1);
                if (col == c_iSeedCol || random() % 32 != 0) {
                    LxCLightStripeEdgeSinglePixel& pixel =
                        pixels[static_cast<std::size_t>(row) * c_iWidth + static_cast<std::size_t>(col)];
                    pixel.EncodeExtremum(static_cast<int>(id), true, false, LxCSymbol(c_uiSymbol), col % 64);
                }
            }
        }
    }

    static int RowOf(int edge, int col)
    {
        return 8 + 4 * edge + static_cast<int>(std::lround(3.0 * std::sin(col / 40.0)));
    }

    std::vector<LxCLightStripeEdgeSinglePixel> pixels;
};

void Prepare(LxCLightStripeEdge& edge, int number, std::vector<LxCDataBufferEntry>& entries)
{
    entries[0] = LxCDataBufferEntry(static_cast<std::uint32_t>(CScene::RowOf(number, c_iSeedCol)) * 64);
    edge.SetExtDataBuffer(entries.data());
    edge.SetId(number + 1);
    edge.SetSymbol(LxCSymbol(c_uiSymbol));
}

/// One iteration traces all edges; an item is a pixel of an edge.
void TraceImage(benchmark::State& state)
{
    CScene scene;
    const LxCEdgeDetectionConfig config(true, false);
    std::vector<LxCDataBufferEntry> entries(c_iWidth);
    std::int64_t placed = 0;
    for (auto _ : state) {
        for (int number = 0; number < c_iEdges; ++number) {
            LxCLightStripeEdge edge;
            Prepare(edge, number, entries);
            edge.Trace(scene.pixels.data(), c_iSeedCol, c_iWidth, c_iHeight, 3, c_iRadius, &config);
            placed += edge.GetNrOfPixels();
            benchmark::DoNotOptimize(entries.data());
        }
    }
    state.SetItemsProcessed(placed);
    state.counters["edge pixels"] = static_cast<double>(placed) / static_cast<double>(state.iterations());
}
BENCHMARK(TraceImage)->Unit(benchmark::kMillisecond);

void DrawImage(benchmark::State& state)
{
    CScene scene;
    const LxCEdgeDetectionConfig config(true, false);
    std::vector<std::vector<LxCDataBufferEntry>> entries(c_iEdges, std::vector<LxCDataBufferEntry>(c_iWidth));
    std::vector<LxCLightStripeEdge> edges(c_iEdges);
    std::int64_t columns = 0;
    for (int number = 0; number < c_iEdges; ++number) {
        LxCLightStripeEdge& edge = edges[static_cast<std::size_t>(number)];
        Prepare(edge, number, entries[static_cast<std::size_t>(number)]);
        edge.Trace(scene.pixels.data(), c_iSeedCol, c_iWidth, c_iHeight, 3, c_iRadius, &config);
        columns += edge.GetLen();
    }
    for (auto _ : state) {
        for (int number = 0; number < c_iEdges; ++number) {
            LxCLightStripeEdgeSinglePixel pattern;
            pattern.EncodeTracedLSEdgeInfo(number + 1, 0);
            edges[static_cast<std::size_t>(number)].DrawWInterpol(scene.pixels.data(), pattern, c_iWidth, 0);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(columns * static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(DrawImage)->Unit(benchmark::kMillisecond);

/// The floor: each word that the searches look at, read once along the rows.
void ReadImage(benchmark::State& state)
{
    const CScene scene;
    for (auto _ : state) {
        std::uint32_t sum = 0;
        for (const LxCLightStripeEdgeSinglePixel& pixel : scene.pixels) {
            sum += pixel.GetWord();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(scene.pixels.size()) *
                            static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(ReadImage)->Unit(benchmark::kMillisecond);

} // namespace
