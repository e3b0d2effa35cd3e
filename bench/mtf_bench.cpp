// The contrast of the optics on a chart of the camera's size: all four steps, and the copy of the image that each run
// starts with, which alone is the floor.
#include "cctimage.h"
#include "lxcmtfcalibration.h"
#include "scanner/device/mtfchart.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using LxCV::CCTImage;

std::vector<std::uint8_t> RenderBytes(const device::MtfChart& chart)
{
    const device::ImageF rendered = device::RenderMtfChart(chart);
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < rendered.data.size(); ++i) {
        bytes.push_back(static_cast<std::uint8_t>(std::lround(rendered.data[i])));
        if (i % 3 == 2) {
            bytes.push_back(0);
        }
    }
    return bytes;
}

device::MtfChart TiltedChart()
{
    device::MtfChart chart;
    chart.tilt = 0.01;
    return chart;
}

void BM_MtfMeasurement(benchmark::State& state)
{
    const device::MtfChart chart = TiltedChart();
    const std::vector<std::uint8_t> bytes = RenderBytes(chart);
    CCTImage image(chart.width, chart.height, CCTImage::eIDT_ARGB8, true, nullptr);
    for (auto _ : state) {
        std::memcpy(image.GetBuffer(), bytes.data(), bytes.size());
        LxCV::LxCMTFCalibration mtf(&image, 120, 120, 45, 7);
        if (!mtf.FindCenterOfCircle() || !mtf.DetermineScaleFactor() || !mtf.DetermineOrientation() ||
            !mtf.CalculateContrast()) {
            state.SkipWithError("the chart is not measured");
            return;
        }
        float contrast = mtf.GetContrastHor() + mtf.GetContrastVer();
        benchmark::DoNotOptimize(contrast);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_MtfMeasurement)->Unit(benchmark::kMicrosecond);

void BM_MtfCopyOfTheImage(benchmark::State& state)
{
    const device::MtfChart chart = TiltedChart();
    const std::vector<std::uint8_t> bytes = RenderBytes(chart);
    CCTImage image(chart.width, chart.height, CCTImage::eIDT_ARGB8, true, nullptr);
    for (auto _ : state) {
        std::memcpy(image.GetBuffer(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(image.GetBuffer());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_MtfCopyOfTheImage)->Unit(benchmark::kMicrosecond);

} // namespace
