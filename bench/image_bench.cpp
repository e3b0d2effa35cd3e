// Copying and clearing of images beside the same bytes by memcpy and memset.
#include "cctimage.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>

namespace {

using LxCV::CCTImage;

constexpr int c_iWidth = 658;  // pixels of the camera
constexpr int c_iHeight = 494; // pixels of the camera

CCTImage RandomImage(CCTImage::EImageDataType type)
{
    CCTImage image(c_iWidth, c_iHeight, type, true, nullptr);
    std::mt19937 random(1);
    auto* const bytes = static_cast<std::uint8_t*>(image.GetBuffer());
    std::generate_n(bytes, image.GetSizeInBytes(), [&] { return static_cast<std::uint8_t>(random()); });
    return image;
}

CCTImage::EImageDataType TypeOf(const benchmark::State& state)
{
    return static_cast<CCTImage::EImageDataType>(state.range(0));
}

void CountBytes(benchmark::State& state, const CCTImage& image)
{
    state.SetBytesProcessed(state.iterations() * image.GetSizeInBytes());
}

/// Both peers work on buffers that are allocated and aligned as those of an image.
void ImageCopyFrom(benchmark::State& state)
{
    const CCTImage source = RandomImage(TypeOf(state));
    CCTImage target = source;
    for (auto _ : state) {
        target.CopyFrom(&source, false);
        benchmark::DoNotOptimize(target.GetBuffer());
        benchmark::ClobberMemory();
    }
    CountBytes(state, source);
}

void FloorMemcpy(benchmark::State& state)
{
    const CCTImage source = RandomImage(TypeOf(state));
    CCTImage target = source;
    const auto size = static_cast<std::size_t>(source.GetSizeInBytes());
    for (auto _ : state) {
        std::memcpy(target.GetBuffer(), source.GetBuffer(), size);
        benchmark::DoNotOptimize(target.GetBuffer());
        benchmark::ClobberMemory();
    }
    CountBytes(state, source);
}

void ImageClear(benchmark::State& state)
{
    CCTImage image = RandomImage(TypeOf(state));
    for (auto _ : state) {
        image.Clear();
        benchmark::DoNotOptimize(image.GetBuffer());
        benchmark::ClobberMemory();
    }
    CountBytes(state, image);
}

void FloorMemset(benchmark::State& state)
{
    CCTImage image = RandomImage(TypeOf(state));
    const auto size = static_cast<std::size_t>(image.GetSizeInBytes());
    for (auto _ : state) {
        std::memset(image.GetBuffer(), 0, size);
        benchmark::DoNotOptimize(image.GetBuffer());
        benchmark::ClobberMemory();
    }
    CountBytes(state, image);
}

/// The copy with a one-pixel border that every 3x3 filter starts with.
void ImageCopyWithBorder(benchmark::State& state)
{
    const CCTImage source = RandomImage(TypeOf(state));
    CCTImage target(c_iWidth + 2, c_iHeight + 2, TypeOf(state), true, nullptr);
    for (auto _ : state) {
        target.CopyFrom(&source, true);
        benchmark::DoNotOptimize(target.GetBuffer());
        benchmark::ClobberMemory();
    }
    CountBytes(state, source);
}

/// White balance: the quotient of two images; bytes of one of them are counted.
void ImageQuotient(benchmark::State& state)
{
    const CCTImage dividend(c_iWidth, c_iHeight, CCTImage::eIDT_FLOAT32_3, 100.0F, 150.0F, 200.0F);
    const CCTImage divisor(c_iWidth, c_iHeight, CCTImage::eIDT_FLOAT32_3, 0.5F, 1.5F, 0.75F);
    for (auto _ : state) {
        CCTImage quotient = dividend / divisor;
        benchmark::DoNotOptimize(quotient.GetBuffer());
    }
    CountBytes(state, dividend);
}

void BothTypes(benchmark::internal::Benchmark* bench)
{
    bench->ArgName("type")->Arg(CCTImage::eIDT_FLOAT32_3)->Arg(CCTImage::eIDT_ARGB8);
}

BENCHMARK(ImageCopyFrom)->Apply(BothTypes);
BENCHMARK(FloorMemcpy)->Apply(BothTypes);
BENCHMARK(ImageClear)->Apply(BothTypes);
BENCHMARK(FloorMemset)->Apply(BothTypes);
BENCHMARK(ImageCopyWithBorder)->Apply(BothTypes);
BENCHMARK(ImageQuotient);

} // namespace
