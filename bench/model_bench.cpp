// A whole model with its calibration targets: making one, loading it from text, and where the time of loading goes.
#include "lxcpinholeframework.h"

#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/sectiontext.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <sstream>
#include <string>

namespace {

using LxCV::LxCPinholeFramework;
using LxCV::TestSupport::CCameraModel;

constexpr const char* c_sRoot = "::MV3DCam";

/// The text that a model with 4 by 4 patches, the coma polynomial, ignored regions and both targets writes.
/// @param rows of the camera's image; the unwrap table grows with them
std::string WholeText(int rows)
{
    std::mt19937_64 random(42);
    CCameraModel model = LxCV::TestSupport::RandomModel(random, false);
    model.camera.height = rows;
    model.numPatches = model.numPatchesDepth = 4;
    model.rows.assign(16,
                      std::string(static_cast<std::size_t>(model.NumEdges() - 1), static_cast<char>(127)));
    LxCPinholeFramework framework;
    LxCV::TestSupport::Load(framework, c_sRoot, LxCV::TestSupport::ModelText(model, c_sRoot));
    framework.GetRoiIgnore().assign(10, LxCV::LxCRoi(1, 2, 3, 4));
    return LxCV::TestSupport::Store(framework, c_sRoot);
}

void MakeModel(benchmark::State& state)
{
    for (auto _ : state) {
        auto framework = std::make_unique<LxCPinholeFramework>();
        benchmark::DoNotOptimize(framework);
    }
}
BENCHMARK(MakeModel)->Unit(benchmark::kMicrosecond);

void LoadWholeModel(benchmark::State& state)
{
    const std::string text = WholeText(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        LxCPinholeFramework framework;
        LxCV::TestSupport::Load(framework, c_sRoot, text);
        if (!framework.IsCalibrated()) {
            state.SkipWithError("the model is not calibrated");
        }
        benchmark::DoNotOptimize(framework);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(LoadWholeModel)->ArgName("rows")->Arg(494)->Arg(8)->Unit(benchmark::kMillisecond);

/// The unwrap table of 494 rows alone, to be taken from the time of loading.
void BuildUnwrapTable(benchmark::State& state)
{
    LxCPinholeFramework framework;
    LxCV::TestSupport::Load(framework, c_sRoot, WholeText(494));
    for (auto _ : state) {
        framework.SetWorkingSpace(25.0, 41.0, true);
        benchmark::DoNotOptimize(framework);
    }
}
BENCHMARK(BuildUnwrapTable)->Unit(benchmark::kMillisecond);

/// The lines and sections of the text, as every loading begins.
void SplitText(benchmark::State& state)
{
    const std::string text = WholeText(494);
    for (auto _ : state) {
        LxCV::LxCCCTSerializer serializer;
        std::stringstream source(text);
        serializer.ReadFromStringStream(source);
        benchmark::DoNotOptimize(serializer.Init(false, false));
    }
}
BENCHMARK(SplitText)->Unit(benchmark::kMillisecond);

void LoadTargets(benchmark::State& state)
{
    const std::string text = WholeText(494);
    LxCV::LxCCCTSerializer serializer;
    std::stringstream source(text);
    serializer.ReadFromStringStream(source);
    serializer.Init(false, false);
    LxCV::LxCCBCalibBody board(true);
    LxCV::LxCProjSlideCalibBody slide;
    for (auto _ : state) {
        board.Serialize(serializer, std::string(c_sRoot) + "::CamCalibBody");
        slide.Serialize(serializer, std::string(c_sRoot) + "::ProjCalibBody");
        slide.SetCoordFile(LxCV::LxCCalibBody::sc_StandardParammsDiaA2);
        if (slide.LoadDataFile() != LxCV::eCalibOk) {
            state.SkipWithError("the slide's data cannot be loaded");
        }
    }
}
BENCHMARK(LoadTargets)->Unit(benchmark::kMillisecond);

/// Whether asking for the marks of the slide costs time where no mark is near.
void ComputeEdgeDepth(benchmark::State& state)
{
    LxCPinholeFramework framework;
    LxCV::TestSupport::Load(framework, c_sRoot, WholeText(494));
    const bool skipNearMarks = state.range(0) != 0;
    int row = 0;
    for (auto _ : state) {
        row = row < 400 ? row + 1 : 0;
        benchmark::DoNotOptimize(framework.ComputeEdgeDepth(300.0, row, 71, true, skipNearMarks));
    }
}
BENCHMARK(ComputeEdgeDepth)->ArgName("skipNearMarks")->Arg(0)->Arg(1);

} // namespace
