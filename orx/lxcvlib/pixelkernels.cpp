// Greys and thresholds, with wider vectors where the processor has them.
#include "pixelkernels.h"

#include "vectorunits.h"

#include <cstdint>
#include <limits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace LxCV::ImageKernels {

namespace {

// The bodies are compiled twice, for the basic vectors of the platform and for AVX2. They are exact
// arithmetic per element, so both give the same bits.

template <std::size_t stride, typename Mix>
[[gnu::always_inline]] inline void MixBody(const std::uint8_t* __restrict pixels, std::size_t size,
                                           std::uint8_t* __restrict gray, Mix mix)
{
    for (std::size_t i = 0; i < size; ++i) {
        gray[i] = mix(pixels[stride * i], pixels[stride * i + 1], pixels[stride * i + 2]);
    }
}

constexpr auto c_Weighted = [](unsigned blue, unsigned green, unsigned red) {
    return static_cast<std::uint8_t>((blue + 2 * green + red) >> 2);
};

template <std::size_t stride>
void MixWeighted(const std::uint8_t* pixels, std::size_t size, std::uint8_t* gray)
{
    MixBody<stride>(pixels, size, gray, c_Weighted);
}

[[gnu::always_inline]] inline void SelectBody(const std::uint8_t* source, std::size_t size,
                                              std::uint8_t threshold, std::uint8_t low, std::uint8_t high,
                                              std::uint8_t* target)
{
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = source[i] > threshold ? high : low;
    }
}

[[gnu::always_inline]] inline void FloatsBody(const std::uint8_t* __restrict source, std::size_t size,
                                              float* __restrict target)
{
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = static_cast<float>(source[i]);
    }
}

void Floats(const std::uint8_t* source, std::size_t size, float* target)
{
    FloatsBody(source, size, target);
}

[[gnu::always_inline]] inline void AlphaBody(const std::uint8_t* __restrict bgr, std::size_t pixels,
                                             std::uint8_t* __restrict argb)
{
    for (std::size_t i = 0; i < pixels; ++i) {
        argb[4 * i] = bgr[3 * i];
        argb[4 * i + 1] = bgr[3 * i + 1];
        argb[4 * i + 2] = bgr[3 * i + 2];
        argb[4 * i + 3] = 0;
    }
}

void Alpha(const std::uint8_t* bgr, std::size_t pixels, std::uint8_t* argb)
{
    AlphaBody(bgr, pixels, argb);
}

void SelectBytes(const std::uint8_t* source, std::size_t size, std::uint8_t threshold, std::uint8_t low,
                 std::uint8_t high, std::uint8_t* target)
{
    SelectBody(source, size, threshold, low, high, target);
}

#if defined(__x86_64__)
template <std::size_t stride>
[[gnu::target("avx2")]] void MixWeightedWide(const std::uint8_t* pixels, std::size_t size, std::uint8_t* gray)
{
    MixBody<stride>(pixels, size, gray, c_Weighted);
}

/// Eight at a time in so many words: compilers would unpack 32 bytes and cross lanes for each.
[[gnu::target("avx2")]] void FloatsWide(const std::uint8_t* source, std::size_t size, float* target)
{
    constexpr std::size_t width = 8;
    std::size_t i = 0;
    for (; i + width <= size; i += width) {
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source + i));
        _mm256_storeu_ps(target + i, _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)));
    }
    FloatsBody(source + i, size - i, target + i);
}

/// Four pixels at a time, of which 16 bytes are read and 12 are used.
[[gnu::target("avx2")]] void AlphaWide(const std::uint8_t* bgr, std::size_t pixels, std::uint8_t* argb)
{
    const __m128i order = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    std::size_t i = 0;
    for (; 3 * i + sizeof(__m128i) <= 3 * pixels; i += 4) {
        const __m128i colors = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgr + 3 * i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(argb + 4 * i), _mm_shuffle_epi8(colors, order));
    }
    AlphaBody(bgr + 3 * i, pixels - i, argb + 4 * i);
}

[[gnu::target("avx2")]] void SelectBytesWide(const std::uint8_t* source, std::size_t size,
                                             std::uint8_t threshold, std::uint8_t low, std::uint8_t high,
                                             std::uint8_t* target)
{
    SelectBody(source, size, threshold, low, high, target);
}

template <std::size_t stride>
auto WeightedKernel()
{
    return VectorUnits::AreWide() ? MixWeightedWide<stride> : MixWeighted<stride>;
}

auto FloatsKernel()
{
    return VectorUnits::AreWide() ? FloatsWide : Floats;
}

auto AlphaKernel()
{
    return VectorUnits::AreWide() ? AlphaWide : Alpha;
}

auto SelectKernel()
{
    return VectorUnits::AreWide() ? SelectBytesWide : SelectBytes;
}
#else
template <std::size_t stride>
auto WeightedKernel()
{
    return MixWeighted<stride>;
}

auto FloatsKernel()
{
    return Floats;
}

auto AlphaKernel()
{
    return Alpha;
}

auto SelectKernel()
{
    return SelectBytes;
}
#endif

template <std::size_t stride>
void MixToGray(std::span<const std::uint8_t> pixels, const SGrayMix& mix, std::span<std::uint8_t> gray)
{
    const std::size_t size = std::min(pixels.size() / stride, gray.size());
    if (mix == c_MixWeighted) {
        WeightedKernel<stride>()(pixels.data(), size, gray.data());
        return;
    }
    MixBody<stride>(pixels.data(), size, gray.data(), [mix](unsigned blue, unsigned green, unsigned red) {
        const std::uint32_t sum = mix.blue * blue + mix.green * green + mix.red * red + mix.offset;
        return static_cast<std::uint8_t>(sum >> (mix.shift & 31U));
    });
}

template <typename T>
void SelectWords(std::span<const T> source, T threshold, std::uint32_t low, std::uint32_t high,
                 std::span<std::uint32_t> target)
{
    const std::size_t size = std::min(source.size(), target.size());
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = source[i] > threshold ? high : low;
    }
}

} // namespace

void BytesToFloats(std::span<const std::uint8_t> source, std::span<float> target)
{
    FloatsKernel()(source.data(), std::min(source.size(), target.size()), target.data());
}

void AppendAlpha(std::span<const std::uint8_t> bgr, std::span<std::uint8_t> argb)
{
    AlphaKernel()(bgr.data(), std::min(bgr.size() / 3, argb.size() / 4), argb.data());
}

void MixBgrToGray(std::span<const std::uint8_t> bgr, const SGrayMix& mix, std::span<std::uint8_t> gray)
{
    MixToGray<3>(bgr, mix, gray);
}

void MixArgbToGray(std::span<const std::uint8_t> argb, const SGrayMix& mix, std::span<std::uint8_t> gray)
{
    MixToGray<4>(argb, mix, gray);
}

void SelectAbove(std::span<const std::uint8_t> source, int threshold, std::uint8_t low, std::uint8_t high,
                 std::span<std::uint8_t> target)
{
    const std::size_t size = std::min(source.size(), target.size());
    const bool allAbove = threshold < 0;
    const int limit = std::clamp<int>(threshold, 0, std::numeric_limits<std::uint8_t>::max());
    SelectKernel()(source.data(), size, static_cast<std::uint8_t>(limit), allAbove ? high : low, high,
                   target.data());
}

void SelectAbove(std::span<const std::int32_t> source, int threshold, std::uint32_t low, std::uint32_t high,
                 std::span<std::uint32_t> target)
{
    SelectWords<std::int32_t>(source, threshold, low, high, target);
}

void SelectAbove(std::span<const std::uint32_t> source, int threshold, std::uint32_t low, std::uint32_t high,
                 std::span<std::uint32_t> target)
{
    const bool allAbove = threshold < 0;
    SelectWords<std::uint32_t>(source, allAbove ? 0U : static_cast<std::uint32_t>(threshold),
                               allAbove ? high : low, high, target);
}

void SetOpaque(std::span<const std::uint32_t> argb, std::span<std::uint32_t> target)
{
    constexpr std::uint32_t opaque = 0xFF000000U;
    const std::size_t size = std::min(argb.size(), target.size());
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = argb[i] | opaque;
    }
}

} // namespace LxCV::ImageKernels
