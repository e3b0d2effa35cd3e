// Benchmarks of the identification of a checkerboard target: squares of corners, the figure of the marked ones, ids.
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "tests/lxcvlib/checkerboardtestsupport.h"

#include <benchmark/benchmark.h>

#include <random>

namespace LxCV {
namespace {

using TestSupport::AxisParallel;
using TestSupport::BoardPose;
using TestSupport::BoardShape;
using TestSupport::CSeenBoard;
using TestSupport::Point;

BoardPose TiltedPose()
{
    BoardPose pose;
    pose.angle = 0.1;
    pose.perspective = Point(2e-4, 1e-4);
    return pose;
}

void Identify(benchmark::State& state, CSeenBoard& board)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(board.body.IdentifyCalibMarks());
    }
    state.counters["identified"] = board.CountIds().right;
    state.SetItemsProcessed(state.iterations() * board.body.GetNumDetectedRects());
}

/// A whole board of 7 rows; its width is the argument.
void BM_IdentifyBoard(benchmark::State& state)
{
    BoardShape shape;
    shape.columns = static_cast<int>(state.range(0));
    shape.firstMarked = 2 * shape.columns + 3;
    BoardPose pose = TiltedPose();
    pose.perspective = Point(2e-4 * 8.0 / shape.columns, 1e-4);
    pose.middle = Point(60.0 * shape.columns, 500.0);
    pose.middleOnTarget = Point(0.5 * (shape.columns - 1), 3.0);
    pose.angle = 0.1 * 8.0 / shape.columns;
    CSeenBoard board(pose, shape);
    Identify(state, board);
}
BENCHMARK(BM_IdentifyBoard)->Arg(8)->Arg(32)->Arg(128)->Unit(benchmark::kMicrosecond);

/// The same with holes, so that searches go on to the last pass.
void BM_IdentifyBoardWithHoles(benchmark::State& state)
{
    std::mt19937 random(1);
    std::set<int> missing;
    const auto marked = BoardShape().MarkedIds();
    for (int id = 1; id <= 56; ++id) {
        if (random() % 4 == 0 && std::find(marked.begin(), marked.end(), id) == marked.end()) {
            missing.insert(id);
        }
    }
    CSeenBoard board(TiltedPose(), BoardShape(), missing);
    Identify(state, board);
}
BENCHMARK(BM_IdentifyBoardWithHoles)->Unit(benchmark::kMicrosecond);

/// Squares on an arc, none of which are in a rectangle: every combination has to be excluded.
void BM_SearchValidRectangle(benchmark::State& state)
{
    TestSupport::CBoardProbe board;
    const int count = static_cast<int>(state.range(0));
    for (int i = 0; i < count; ++i) {
        const double angle = 1.0 * i / count;
        board.AddRect(
            AxisParallel(100.0 + 5000.0 * std::cos(angle), 100.0 + 5000.0 * std::sin(angle), 8.0, 8.0));
    }
    LxCCBRect* quad[4] = {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(board.DetectValidRectangleWithinCalibMarks(quad, 5.0));
    }
}
BENCHMARK(BM_SearchValidRectangle)->Arg(56)->Arg(1000)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace LxCV
