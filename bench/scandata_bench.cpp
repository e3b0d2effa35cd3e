// Work on the record of a scan, each beside what moving its bytes costs in the same run.
#include "lxccoordsystrans.h"
#include "lxcorxipalgorithm.h"
#include "lxcqccserializer.h"
#include "lxsscandata.h"
#include "lxsscandataqcc.h"
#include "tests/support/temporaryfolder.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using LxCV::CCTImage;
using LxCV::LxSScanData;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera
constexpr std::int64_t c_iPixels = c_iWidth * c_iHeight;
constexpr std::size_t c_uiPointBytes = 12 * c_iPixels;
constexpr std::size_t c_uiHeaderBytes = 132;
constexpr int c_iManyRecords = 32; // more memory than any cache holds

/// A wavy surface about 30 mm away, an eighth of whose pixels is missing.
std::unique_ptr<LxSScanData> MakeScan()
{
    auto scan = std::make_unique<LxSScanData>();
    scan->Initialize(c_iWidth, c_iHeight, c_iWidth, c_iHeight, false);
    std::mt19937 random(1);
    for (int y = 0; y < c_iHeight; ++y) {
        for (int x = 0; x < c_iWidth; ++x) {
            const auto xMm = static_cast<float>(x) * 0.025F;
            const auto yMm = static_cast<float>(y) * 0.025F;
            const float zMm = 30.0F + std::sin(xMm) * std::cos(yMm);
            scan->Get3DPoints()->SetFloat3PixelFast(x, y, LxCV::LxCFloat3(xMm, yMm, zMm));
            scan->GetValidMask()->SetBytePixelFast(x, y, random() % 8 != 0 ? 1 : 0);
        }
    }
    return scan;
}

std::vector<std::unique_ptr<LxSScanData>> MakeScans(std::int64_t count)
{
    std::vector<std::unique_ptr<LxSScanData>> scans;
    for (std::int64_t i = 0; i < count; ++i) {
        scans.push_back(MakeScan());
    }
    return scans;
}

void ScanNormals(benchmark::State& state)
{
    const auto scan = MakeScan();
    const LxCV::LxCORXIPAlgorithm algorithm;
    for (auto _ : state) {
        benchmark::DoNotOptimize(algorithm.ComputeNormals(scan.get()));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * c_iPixels);
}
BENCHMARK(ScanNormals)->Unit(benchmark::kMillisecond);

/// The argument is the number of records that take turns.
void ScanTrafo(benchmark::State& state)
{
    const auto scans = MakeScans(state.range(0));
    LxCV::LxCCoordSysTrans pose;
    pose.ReadFromEulerAnglesAndVector(0.1, 0.2, 0.3, 0.01, 0.02, 0.03);
    std::size_t next = 0;
    for (auto _ : state) {
        scans[next++ % scans.size()]->TrafoScanData(&pose);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanTrafo)->Arg(1)->Arg(c_iManyRecords)->Unit(benchmark::kMillisecond);

/// The floor of a transformation: the same bytes are read and written once.
void ScanTrafoCopy(benchmark::State& state)
{
    const auto scans = MakeScans(state.range(0));
    std::size_t next = 0;
    for (auto _ : state) {
        const LxSScanData& scan = *scans[next++ % scans.size()];
        std::memcpy(scan.GetNormals()->GetBuffer(), scan.Get3DPoints()->GetBuffer(), c_uiPointBytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanTrafoCopy)->Arg(1)->Arg(c_iManyRecords)->Unit(benchmark::kMillisecond);

void ScanMedianDepth(benchmark::State& state)
{
    const auto scan = MakeScan();
    for (auto _ : state) {
        double depth = 0.0;
        scan->ComputeMedianDepth(&depth);
        benchmark::DoNotOptimize(depth);
    }
}
BENCHMARK(ScanMedianDepth)->Unit(benchmark::kMicrosecond);

void ScanWrite3DFile(benchmark::State& state)
{
    const TestSupport::CTemporaryFolder folder;
    const auto scan = MakeScan();
    for (auto _ : state) {
        if (!scan->Write3DFile(folder / "scan")) {
            state.SkipWithError("the file cannot be written");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanWrite3DFile)->Unit(benchmark::kMillisecond);

/// The floor: the same bytes to the same place, straight from memory.
void ScanWriteBytes(benchmark::State& state)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string path = folder / "scan";
    const std::vector<char> bytes(c_uiHeaderBytes + c_uiPointBytes, 1);
    for (auto _ : state) {
        const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        benchmark::DoNotOptimize(write(file, bytes.data(), bytes.size()));
        close(file);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanWriteBytes)->Unit(benchmark::kMillisecond);

void ScanRead3DFile(benchmark::State& state)
{
    const TestSupport::CTemporaryFolder folder;
    const auto scan = MakeScan();
    scan->Write3DFile(folder / "scan");
    for (auto _ : state) {
        if (!scan->Read3DFile(folder / "scan")) {
            state.SkipWithError("the file cannot be read");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanRead3DFile)->Unit(benchmark::kMillisecond);

/// The floor: the same bytes from the same place, straight to the image, whose record is cleared before as reading
/// promises.
void ScanClearAndReadBytes(benchmark::State& state)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string path = folder / "scan";
    const auto scan = MakeScan();
    scan->Write3DFile(path);
    for (auto _ : state) {
        scan->Clear();
        const int file = open(path.c_str(), O_RDONLY);
        lseek(file, c_uiHeaderBytes, SEEK_SET);
        benchmark::DoNotOptimize(read(file, scan->Get3DPoints()->GetBuffer(), c_uiPointBytes));
        close(file);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanClearAndReadBytes)->Unit(benchmark::kMillisecond);

/// The same without the clearing.
void ScanReadBytes(benchmark::State& state)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string path = folder / "scan";
    const auto scan = MakeScan();
    scan->Write3DFile(path);
    for (auto _ : state) {
        const int file = open(path.c_str(), O_RDONLY);
        lseek(file, c_uiHeaderBytes, SEEK_SET);
        benchmark::DoNotOptimize(read(file, scan->Get3DPoints()->GetBuffer(), c_uiPointBytes));
        close(file);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanReadBytes)->Unit(benchmark::kMillisecond);

/// A surface file of the camera's size with points only.
void ScanLoadSurfaceFile(benchmark::State& state)
{
    const TestSupport::CTemporaryFolder folder;
    const auto points = MakeScan();
    const std::uint32_t counts[] = {c_iHeight, c_iWidth, 0};
    constexpr std::size_t c_uiFlagBytes = 4 + 7 + 2 + 3 + 2; // version 0 and no flags
    constexpr std::size_t c_uiMetaDataBytes = 77;
    std::string bytes(c_uiFlagBytes + c_uiMetaDataBytes + c_uiPointBytes, '\0');
    std::memcpy(&bytes[c_uiFlagBytes], counts, sizeof counts);
    std::memcpy(&bytes[c_uiFlagBytes + c_uiMetaDataBytes], points->Get3DPoints()->GetBuffer(),
                c_uiPointBytes);
    TestSupport::WriteFile(folder / "scan.surf", bytes);
    LxCV::LxSScanDataQCC scan;
    scan.Initialize(c_iWidth, c_iHeight, 1, 1, false);
    LxCV::LxCQCCSerializer serializer;
    for (auto _ : state) {
        serializer.LoadSurfaceFile(folder / "scan.surf", &scan);
        if (scan.GetNumValidPoints() != c_iPixels) {
            state.SkipWithError("the file cannot be read");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c_uiPointBytes));
}
BENCHMARK(ScanLoadSurfaceFile)->Unit(benchmark::kMillisecond);

} // namespace
