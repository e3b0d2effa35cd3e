// Tracing all edges of a target, and placing corners on them, beside reading the edge image once.
#include "cctimage.h"
#include "cstraightedge.h"
#include "lxccalibedge.h"
#include "lxccbcalibthres.h"
#include "lxcrectcornercalibmark.h"
#include "lxcrectedgelocator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

namespace {

using LxCV::CCTImage;
using LxCV::CStraightEdge;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera
constexpr int c_iSide = 38;    // pixels of a square's side on the standard target
constexpr int c_iPitch = 114;  // pixels from one square to the next

CCTImage WordImage()
{
    CCTImage image(c_iWidth, c_iHeight, CCTImage::eIDT_INT32, true, nullptr);
    image.Clear();
    return image;
}

/// The horizontal or vertical edges of squares on a tilted grid, and short edges all over as noise makes them.
CCTImage EdgesOfSquares(bool vertical, int side, int pitch)
{
    CCTImage image = WordImage();
    std::mt19937 random(1);
    const auto put = [&](double x, double y, bool isMax) {
        const double across = vertical ? x : y;
        const int fixed = static_cast<int>(across * 64.0);
        const int column = vertical ? fixed >> 6 : static_cast<int>(x);
        const int row = vertical ? static_cast<int>(y) : fixed >> 6;
        if (image.CoordsAreValid(column, row, 1)) {
            image.SetInt32PixelFast(column, row, LxCV::LxCCalibEdge().Encode(isMax, fixed & 63));
        }
    };
    constexpr double c_dTilt = 0.03;
    for (int top = 10; top < c_iHeight; top += pitch) {
        for (int left = 10; left < c_iWidth; left += pitch) {
            for (int i = 0; i < side; ++i) {
                const double shift = c_dTilt * i;
                if (vertical) {
                    put(left + shift, top + i, true);
                    put(left + side + shift, top + i, false);
                } else {
                    put(left + i, top + shift, true);
                    put(left + i, top + side + shift, false);
                }
            }
        }
    }
    constexpr int c_iNoise = 3000;
    for (int i = 0; i < c_iNoise; ++i) {
        const double x = static_cast<int>(random() % c_iWidth);
        const double y = static_cast<int>(random() % c_iHeight);
        for (int k = 0; k < 4; ++k) {
            put(vertical ? x : x + k, vertical ? y + k : y, i % 2 == 0);
        }
    }
    return image;
}

void TraceEdges(benchmark::State& state, bool vertical)
{
    const CCTImage edges =
        EdgesOfSquares(vertical, static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    CCTImage ids = WordImage();
    LxCV::LxCRectEdgeLocator locator;
    std::size_t found = 0;
    for (auto _ : state) {
        if (vertical) {
            locator.TraceRectEdgesVer(edges, ids, 6, 1, 10, 1000);
        } else {
            locator.TraceRectEdgesHor(edges, ids, 6, 1, 10, 1000);
        }
        found = locator.GetVerEdges().size() + locator.GetHorEdges().size();
        locator.RemoveRectEdges();
        benchmark::ClobberMemory();
    }
    state.counters["edges"] = static_cast<double>(found);
    state.SetBytesProcessed(state.iterations() * edges.GetSizeInBytes());
}

void BM_TraceEdgesHor(benchmark::State& state)
{
    TraceEdges(state, false);
}

void BM_TraceEdgesVer(benchmark::State& state)
{
    TraceEdges(state, true);
}

/// What no tracing can do without: the id image cleared, the edge image read.
void BM_TraceFloor(benchmark::State& state)
{
    const CCTImage edges = EdgesOfSquares(false, c_iSide, c_iPitch);
    CCTImage ids = WordImage();
    for (auto _ : state) {
        ids.Clear();
        const auto* const words = static_cast<const std::int32_t*>(edges.GetBuffer());
        std::int32_t any = 0;
        for (int i = 0; i < edges.GetSizeInPixels(); ++i) {
            any |= words[i];
        }
        benchmark::DoNotOptimize(any);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * edges.GetSizeInBytes());
}

struct SCrossing
{
    LxCV::LxCCBRectEdge hor{CStraightEdge::eHorizontal};
    LxCV::LxCCBRectEdge ver{CStraightEdge::eVertical};

    SCrossing()
    {
        CCTImage image = WordImage();
        for (int i = 0; i < c_iSide; ++i) {
            image.SetInt32PixelFast(100 + i, 100, LxCV::LxCCalibEdge().Encode(true, i));
        }
        hor.Trace(image, 110, 100, 1);
        image.Clear();
        for (int i = 0; i < c_iSide; ++i) {
            image.SetInt32PixelFast(100, 100 + i, LxCV::LxCCalibEdge().Encode(true, i));
        }
        ver.Trace(image, 100, 110, 1);
    }
};

void BM_PlaceCorner(benchmark::State& state)
{
    SCrossing crossing;
    LxCV::LxCCBCalibThres thres;
    thres.m_bUseParabolaFit = state.range(0) != 0;
    thres.m_iNrOfSamples = 25;
    thres.m_iSkip = 3;
    thres.m_iMaxDistCornerToEdgeEnd = 8;
    thres.m_iMinDistCornerToOppEdgeEnd = 10;
    LxCV::LxCRectCornerCalibMark mark(false);
    bool placed = true;
    for (auto _ : state) {
        placed = mark.DetPosByIntersec(&crossing.hor, &crossing.ver, 100, 100, thres) && placed;
        mark.ResetCorner();
    }
    if (!placed) {
        state.SkipWithError("no corner");
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_TraceEdgesHor)->Args({c_iSide, c_iPitch})->Args({12, 24});
BENCHMARK(BM_TraceEdgesVer)->Args({c_iSide, c_iPitch})->Args({12, 24});
BENCHMARK(BM_TraceFloor);
BENCHMARK(BM_PlaceCorner)->Arg(0)->Arg(1)->ArgName("parabolas");

} // namespace
