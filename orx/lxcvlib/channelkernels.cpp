// Rows of single channels, taken apart, moved and joined, with wider vectors where the processor has them.
#include "channelkernels.h"

#include "scratchvector.h"
#include "vectorunits.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace LxCV::ImageKernels {

namespace {

// The bodies are compiled twice, for the basic vectors of the platform and for AVX2. They only move bytes.

template <std::size_t stride>
[[gnu::always_inline]] inline void TakeChannel(const std::uint8_t* __restrict pixels, std::size_t width,
                                               std::uint8_t* __restrict channel)
{
    for (std::size_t x = 0; x < width; ++x) {
        channel[x] = pixels[stride * x];
    }
}

[[gnu::always_inline]] inline void Reverse(const std::uint8_t* __restrict from, std::size_t width,
                                           std::uint8_t* __restrict to)
{
    for (std::size_t x = 0; x < width; ++x) {
        to[x] = from[width - 1 - x];
    }
}

[[gnu::always_inline]] inline void JoinColors(const std::uint8_t* __restrict blue,
                                              const std::uint8_t* __restrict green,
                                              const std::uint8_t* __restrict red, std::size_t width,
                                              std::uint8_t* __restrict pixels)
{
    for (std::size_t x = 0; x < width; ++x) {
        pixels[3 * x] = blue[x];
        pixels[3 * x + 1] = green[x];
        pixels[3 * x + 2] = red[x];
    }
}

/// The same with an alpha of 255 behind each colour. Where the basic vectors can interleave, they do it here: compilers
/// do not see it in the loop.
[[gnu::always_inline]] inline void JoinColorsAndAlpha(const std::uint8_t* __restrict blue,
                                                      const std::uint8_t* __restrict green,
                                                      const std::uint8_t* __restrict red, std::size_t width,
                                                      std::uint8_t* __restrict pixels)
{
    std::size_t x = 0;
#if defined(__x86_64__)
    const __m128i opaque = _mm_set1_epi8(-1);
    for (; x + sizeof(__m128i) <= width; x += sizeof(__m128i)) {
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(blue + x));
        const __m128i g = _mm_loadu_si128(reinterpret_cast<const __m128i*>(green + x));
        const __m128i r = _mm_loadu_si128(reinterpret_cast<const __m128i*>(red + x));
        const __m128i lowBg = _mm_unpacklo_epi8(b, g);
        const __m128i highBg = _mm_unpackhi_epi8(b, g);
        const __m128i lowRa = _mm_unpacklo_epi8(r, opaque);
        const __m128i highRa = _mm_unpackhi_epi8(r, opaque);
        auto* const to = reinterpret_cast<__m128i*>(pixels + 4 * x);
        _mm_storeu_si128(to, _mm_unpacklo_epi16(lowBg, lowRa));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi16(lowBg, lowRa));
        _mm_storeu_si128(to + 2, _mm_unpacklo_epi16(highBg, highRa));
        _mm_storeu_si128(to + 3, _mm_unpackhi_epi16(highBg, highRa));
    }
#endif
    for (; x < width; ++x) {
        pixels[4 * x] = blue[x];
        pixels[4 * x + 1] = green[x];
        pixels[4 * x + 2] = red[x];
        pixels[4 * x + 3] = 0xFF;
    }
}

/// Index `i + shift`, or the nearest one of `size`.
std::size_t Place(std::size_t i, int shift, std::size_t size)
{
    const auto last = static_cast<std::int64_t>(size) - 1;
    return static_cast<std::size_t>(std::clamp<std::int64_t>(static_cast<std::int64_t>(i) + shift, 0, last));
}

/// A row of one channel. What lies beyond its ends is its first and last value again.
class CChannelRow
{
public:
    CChannelRow(const SExtent& extent, const SChannelSource& source)
        : m_Extent(extent), m_Source(source), m_Taken(extent.width), m_Reversed(extent.width),
          m_Shifted(extent.width)
    {}

    /// The row of the source that target row y comes from.
    std::size_t SourceRow(std::size_t y) const
    {
        const std::size_t place = Place(y, m_Source.rows, m_Extent.height);
        return m_Source.upDown ? m_Extent.height - 1 - place : place;
    }

    bool IsBackwards() const { return m_Source.leftRight; }

    /// Room for the channel of that row, and for the same backwards.
    std::uint8_t* Taken() { return m_Taken.data(); }
    std::uint8_t* Reversed() { return m_Reversed.data(); }

    /// The channel, backwards if so, moved along the row.
    const std::uint8_t* Moved()
    {
        const ScratchVector<std::uint8_t>& row = IsBackwards() ? m_Reversed : m_Taken;
        if (m_Source.cols == 0) {
            return row.data();
        }
        Shift(row);
        return m_Shifted.data();
    }

private:
    void Shift(const ScratchVector<std::uint8_t>& row)
    {
        const std::size_t width = m_Extent.width;
        const auto size = static_cast<std::int64_t>(width);
        // Columns below `begin` lie left of the source, those from `end` on right of it.
        const auto begin =
            static_cast<std::size_t>(std::clamp<std::int64_t>(-std::int64_t{m_Source.cols}, 0, size));
        const auto end =
            static_cast<std::size_t>(std::clamp<std::int64_t>(size - std::int64_t{m_Source.cols}, 0, size));
        std::memset(m_Shifted.data(), row.front(), begin);
        if (end > begin) {
            std::memcpy(m_Shifted.data() + begin, row.data() + Place(begin, m_Source.cols, width),
                        end - begin);
        }
        std::memset(m_Shifted.data() + std::max(begin, end), row.back(), width - std::max(begin, end));
    }

    SExtent m_Extent;
    SChannelSource m_Source;
    ScratchVector<std::uint8_t> m_Taken;
    ScratchVector<std::uint8_t> m_Reversed;
    ScratchVector<std::uint8_t> m_Shifted;
};

template <std::size_t from, std::size_t to>
[[gnu::always_inline]] inline void GatherBody(const SExtent& extent, const std::uint8_t* source,
                                              std::array<CChannelRow, 3>& rows, std::uint8_t* target)
{
    for (std::size_t y = 0; y < extent.height; ++y) {
        std::array<const std::uint8_t*, 3> channels;
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            CChannelRow& row = rows[channel];
            const std::uint8_t* const pixels = source + row.SourceRow(y) * extent.width * from + channel;
            TakeChannel<from>(pixels, extent.width, row.Taken());
            if (row.IsBackwards()) {
                Reverse(row.Taken(), extent.width, row.Reversed());
            }
            channels[channel] = row.Moved();
        }
        std::uint8_t* const pixels = target + y * extent.width * to;
        if constexpr (to == 4) {
            JoinColorsAndAlpha(channels[0], channels[1], channels[2], extent.width, pixels);
        } else {
            JoinColors(channels[0], channels[1], channels[2], extent.width, pixels);
        }
    }
}

template <std::size_t from, std::size_t to>
void Gather(const SExtent& extent, const std::uint8_t* source, std::array<CChannelRow, 3>& rows,
            std::uint8_t* target)
{
    GatherBody<from, to>(extent, source, rows, target);
}

#if defined(__x86_64__)
template <std::size_t from, std::size_t to>
[[gnu::target("avx2")]] void GatherWide(const SExtent& extent, const std::uint8_t* source,
                                        std::array<CChannelRow, 3>& rows, std::uint8_t* target)
{
    GatherBody<from, to>(extent, source, rows, target);
}

template <std::size_t from, std::size_t to>
auto GatherKernel()
{
    return VectorUnits::AreWide() ? GatherWide<from, to> : Gather<from, to>;
}
#else
template <std::size_t from, std::size_t to>
auto GatherKernel()
{
    return Gather<from, to>;
}
#endif

} // namespace

void GatherColors(const SExtent& extent, std::span<const std::uint8_t> source, std::size_t sourceStride,
                  const std::array<SChannelSource, 3>& channels, std::span<std::uint8_t> target,
                  std::size_t targetStride)
{
    if (extent.width == 0 || extent.height == 0) {
        return;
    }
    std::array rows{CChannelRow(extent, channels[0]), CChannelRow(extent, channels[1]),
                    CChannelRow(extent, channels[2])};
    const auto kernel = sourceStride == 4 ? (targetStride == 4 ? GatherKernel<4, 4>() : GatherKernel<4, 3>())
                                          : (targetStride == 4 ? GatherKernel<3, 4>() : GatherKernel<3, 3>());
    kernel(extent, source.data(), rows, target.data());
}

} // namespace LxCV::ImageKernels
