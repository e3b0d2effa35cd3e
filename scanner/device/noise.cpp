#include "scanner/device/noise.h"

#include <algorithm>
#include <cmath>

namespace device {

namespace {

constexpr double c_fullScale = 255.0;

/// Compiled twice: counting bits and rounding down take calls without the newer instructions. Both round alike.
[[gnu::always_inline]] inline void AddNoiseTo(std::span<float> grey, const CounterRandom& random,
                                              std::uint64_t first, double sigma, std::size_t channels)
{
    for (std::size_t index = 0; index < grey.size(); index += channels) {
        const double noise = sigma * random.Normal(first + index);
        const std::size_t end = std::min(index + channels, grey.size());
        for (std::size_t same = index; same < end; ++same) {
            grey[same] =
                static_cast<float>(std::floor(std::clamp(grey[same] + noise + 0.5, 0.0, c_fullScale)));
        }
    }
}

void AddNoiseBasic(std::span<float> grey, const CounterRandom& random, std::uint64_t first, double sigma,
                   std::size_t channels)
{
    AddNoiseTo(grey, random, first, sigma, channels);
}

#if defined(__x86_64__)
[[gnu::target("avx2,popcnt")]] void AddNoiseWide(std::span<float> grey, const CounterRandom& random,
                                                 std::uint64_t first, double sigma, std::size_t channels)
{
    AddNoiseTo(grey, random, first, sigma, channels);
}

bool HasWide()
{
    static const bool has = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("popcnt") != 0;
    return has;
}
#endif

} // namespace

void AddNoise(std::span<float> grey, const CounterRandom& random, std::uint64_t first, double sigma,
              std::size_t channels)
{
#if defined(__x86_64__)
    if (HasWide()) {
        AddNoiseWide(grey, random, first, sigma, channels);
        return;
    }
#endif
    AddNoiseBasic(grey, random, first, sigma, channels);
}

} // namespace device
