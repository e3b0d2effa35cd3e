// Bilinear resampling row by row, with wider vectors where the processor has them.
#include "overlapkernels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

namespace LxCV::ImageKernels {

namespace {

// Everything that is called per pixel is inlined into the whole-image bodies at the end, which are compiled twice, for
// the basic vectors of the platform and for AVX2. Without contraction both round alike.

constexpr std::size_t c_uiChannels = 3;
constexpr float c_fFullScale = 255.0F;

struct SPlace
{
    float u;
    float v;
};

/// Columns `begin` to `end` - 1.
struct SColumns
{
    std::size_t begin;
    std::size_t end;
};

/// A value per column and image row that never falls or never rises along the row, rounding included.
template <typename Value>
class Monotone
{
public:
    Monotone(std::size_t width, Value value) : m_uiWidth(width), m_Value(value)
    {
        m_bFalls = m_Value(width - 1) < m_Value(0);
    }

    /// The columns whose value is at least 0 and below `limit`.
    SColumns Within(double limit) const
    {
        const SColumns ordered{CountBelow(0.0), CountBelow(limit)};
        return m_bFalls ? SColumns{m_uiWidth - ordered.end, m_uiWidth - ordered.begin} : ordered;
    }

private:
    double At(std::size_t i) const { return m_Value(m_bFalls ? m_uiWidth - 1 - i : i); }

    std::size_t CountBelow(double limit) const
    {
        std::size_t begin = 0;
        std::size_t end = m_uiWidth;
        while (begin < end) {
            const std::size_t middle = begin + (end - begin) / 2;
            if (At(middle) < limit) {
                begin = middle + 1;
            } else {
                end = middle;
            }
        }
        return begin;
    }

    std::size_t m_uiWidth;
    Value m_Value;
    bool m_bFalls;
};

/// Samples one channel of an image, a row at a time.
class ChannelSampler
{
public:
    /// @param bgr the image's pixels, which must outlive this object
    ChannelSampler(const SExtent& extent, const std::uint8_t* bgr, std::size_t channel,
                   const SChannelPlacement& placement)
        : m_Extent(extent), m_pPixels(bgr + channel), m_Placement(placement),
          m_bPlaced(std::isfinite(placement.cosine) && std::isfinite(placement.sine) &&
                    std::isfinite(placement.scale) && std::isfinite(placement.originCol) &&
                    std::isfinite(placement.originRow)),
          m_vfCosine(extent.width), m_vfSine(extent.width), m_vfColFraction(extent.width),
          m_vfRowFraction(extent.width), m_viOffset(extent.width), m_vuiUpper(extent.width),
          m_vuiLower(extent.width)
    {
        for (std::size_t x = 0; x < extent.width; ++x) {
            m_vfCosine[x] = static_cast<float>(x) * placement.cosine;
            m_vfSine[x] = static_cast<float>(x) * placement.sine;
        }
    }

    /// Writes a value per column of row `y`.
    [[gnu::always_inline]] void Sample(std::size_t y, float* __restrict row)
    {
        m_fCosine = static_cast<float>(y) * m_Placement.cosine;
        m_fSine = static_cast<float>(y) * m_Placement.sine;
        const SColumns inside = InnerColumns();
        for (std::size_t x = 0; x < inside.begin; ++x) {
            row[x] = Nearest(x);
        }
        Locate(inside);
        Fetch(inside);
        Blend(inside, row);
        for (std::size_t x = inside.end; x < m_Extent.width; ++x) {
            row[x] = Nearest(x);
        }
    }

private:
    [[gnu::always_inline]] SPlace PlaceOf(std::size_t x) const
    {
        return {(m_vfCosine[x] + m_fSine) * m_Placement.scale + m_Placement.originCol,
                (m_fCosine - m_vfSine[x]) * m_Placement.scale + m_Placement.originRow};
    }

    /// The columns of the row whose places lie between four pixels. u and v are monotone along the row, also as they are
    /// rounded, so these columns have no gap; they are found by bisection.
    SColumns InnerColumns() const
    {
        if (!m_bPlaced) {
            return {0, 0};
        }
        const Monotone u(m_Extent.width, [this](std::size_t x) { return double{PlaceOf(x).u}; });
        const Monotone v(m_Extent.width, [this](std::size_t x) { return double{PlaceOf(x).v}; });
        const SColumns byCol = u.Within(static_cast<double>(m_Extent.width - 1));
        const SColumns byRow = v.Within(static_cast<double>(m_Extent.height - 1));
        const std::size_t begin = std::max(byCol.begin, byRow.begin);
        return {begin, std::max(begin, std::min(byCol.end, byRow.end))};
    }

    float Nearest(std::size_t x) const
    {
        const SPlace place = PlaceOf(x);
        const auto limit = [](float coordinate, std::size_t size) {
            const auto index = TruncateTo<std::int64_t>(std::floor(coordinate));
            return static_cast<std::size_t>(
                std::clamp<std::int64_t>(index, 0, static_cast<std::int64_t>(size) - 1));
        };
        const std::size_t pixel =
            limit(place.v, m_Extent.height) * m_Extent.width + limit(place.u, m_Extent.width);
        return static_cast<float>(m_pPixels[pixel * c_uiChannels]);
    }

    /// Offsets of the upper left neighbours, in bytes, and the places' distances from them.
    [[gnu::always_inline]] void Locate(const SColumns& columns)
    {
        const float* const __restrict cosines = m_vfCosine.data();
        const float* const __restrict sines = m_vfSine.data();
        float* const __restrict colFraction = m_vfColFraction.data();
        float* const __restrict rowFraction = m_vfRowFraction.data();
        std::int32_t* const __restrict offset = m_viOffset.data();
        const SChannelPlacement placement = m_Placement;
        const float cosine = m_fCosine;
        const float sine = m_fSine;
        const auto width = static_cast<std::int32_t>(m_Extent.width);
        for (std::size_t x = columns.begin; x < columns.end; ++x) {
            const float u = (cosines[x] + sine) * placement.scale + placement.originCol;
            const float v = (cosine - sines[x]) * placement.scale + placement.originRow;
            const auto col = static_cast<std::int32_t>(u);
            const auto row = static_cast<std::int32_t>(v);
            colFraction[x] = u - static_cast<float>(col);
            rowFraction[x] = v - static_cast<float>(row);
            offset[x] = (row * width + col) * static_cast<std::int32_t>(c_uiChannels);
        }
    }

    /// The words that hold two neighbours of one row each: four bytes from one pixel's channel to the next pixel's.
    [[gnu::always_inline]] void Fetch(const SColumns& columns)
    {
        const std::size_t rowBytes = m_Extent.width * c_uiChannels;
        for (std::size_t x = columns.begin; x < columns.end; ++x) {
            const std::uint8_t* const upper = m_pPixels + m_viOffset[x];
            std::memcpy(&m_vuiUpper[x], upper, sizeof m_vuiUpper[x]);
            std::memcpy(&m_vuiLower[x], upper + rowBytes, sizeof m_vuiLower[x]);
        }
    }

    [[gnu::always_inline]] static float LowByte(std::uint32_t word)
    {
        return static_cast<float>(static_cast<std::int32_t>(word & 0xFFU));
    }
    [[gnu::always_inline]] static float HighByte(std::uint32_t word)
    {
        return static_cast<float>(static_cast<std::int32_t>(word >> 24));
    }

    [[gnu::always_inline]] void Blend(const SColumns& columns, float* __restrict target) const
    {
        const float* const __restrict colFraction = m_vfColFraction.data();
        const float* const __restrict rowFraction = m_vfRowFraction.data();
        const std::uint32_t* const __restrict upper = m_vuiUpper.data();
        const std::uint32_t* const __restrict lower = m_vuiLower.data();
        for (std::size_t x = columns.begin; x < columns.end; ++x) {
            const float fx = colFraction[x];
            const float fy = rowFraction[x];
            const float value = (1.0F - fx) * (1.0F - fy) * LowByte(upper[x]) +
                                fx * (1.0F - fy) * HighByte(upper[x]) + (1.0F - fx) * fy * LowByte(lower[x]) +
                                fx * fy * HighByte(lower[x]);
            // Rounded weights may add up to a little more than 1.
            target[x] = c_fFullScale < value ? c_fFullScale : value;
        }
    }

    SExtent m_Extent;
    const std::uint8_t* m_pPixels; ///< the channel's byte of pixel (0, 0)
    SChannelPlacement m_Placement;
    bool m_bPlaced;                ///< whether all of m_Placement is finite; otherwise no place is
    std::vector<float> m_vfCosine; ///< x * cosine per column
    std::vector<float> m_vfSine;   ///< x * sine per column
    float m_fCosine = 0.0F;        ///< y * cosine of the present row
    float m_fSine = 0.0F;          ///< y * sine of the present row
    std::vector<float> m_vfColFraction;
    std::vector<float> m_vfRowFraction;
    std::vector<std::int32_t> m_viOffset;
    std::vector<std::uint32_t> m_vuiUpper;
    std::vector<std::uint32_t> m_vuiLower;
};

[[gnu::always_inline]] inline void Join(const float* __restrict blue, const std::uint8_t* __restrict bgr,
                                        const float* __restrict red, std::size_t width,
                                        float* __restrict target)
{
    for (std::size_t x = 0; x < width; ++x) {
        target[c_uiChannels * x] = blue[x];
        target[c_uiChannels * x + 1] = static_cast<float>(bgr[c_uiChannels * x + 1]);
        target[c_uiChannels * x + 2] = red[x];
    }
}

[[gnu::always_inline]] inline void AlignBody(const SExtent& extent, const std::uint8_t* bgr,
                                             const SChannelPlacement& blue, const SChannelPlacement& red,
                                             float* target)
{
    ChannelSampler blueSampler(extent, bgr, 0, blue);
    ChannelSampler redSampler(extent, bgr, 2, red);
    std::vector<float> blueRow(extent.width);
    std::vector<float> redRow(extent.width);
    for (std::size_t y = 0; y < extent.height; ++y) {
        blueSampler.Sample(y, blueRow.data());
        redSampler.Sample(y, redRow.data());
        const std::size_t first = y * extent.width * c_uiChannels;
        Join(blueRow.data(), bgr + first, redRow.data(), extent.width, target + first);
    }
}

using Aligner = void (*)(const SExtent&, const std::uint8_t*, const SChannelPlacement&,
                         const SChannelPlacement&, float*);

void AlignBasic(const SExtent& extent, const std::uint8_t* bgr, const SChannelPlacement& blue,
                const SChannelPlacement& red, float* target)
{
    AlignBody(extent, bgr, blue, red, target);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AlignWide(const SExtent& extent, const std::uint8_t* bgr,
                                       const SChannelPlacement& blue, const SChannelPlacement& red,
                                       float* target)
{
    AlignBody(extent, bgr, blue, red, target);
}

Aligner SelectAligner()
{
    static const bool hasWideVectors = __builtin_cpu_supports("avx2") != 0;
    return hasWideVectors ? AlignWide : AlignBasic;
}
#else
Aligner SelectAligner()
{
    return AlignBasic;
}
#endif

/// Whether both spans hold the image, and every byte of it has an offset that an int counts.
bool Holds(const SExtent& extent, std::span<const std::uint8_t> bgr, std::span<const float> target)
{
    constexpr std::size_t c_uiMaxBytes = std::numeric_limits<std::int32_t>::max();
    const std::size_t available = std::min({bgr.size(), target.size(), c_uiMaxBytes});
    return extent.width > 0 && extent.height > 0 && extent.width <= available / c_uiChannels / extent.height;
}

} // namespace

SChannelPlacement PlaceChannel(float angle, float scale, float centerCol, float centerRow, float shiftCol,
                               float shiftRow)
{
    const float c = std::cos(angle);
    const float n = std::sin(angle);
    const float originCol = centerCol - (n * centerRow + c * centerCol) * scale + shiftCol;
    const float originRow = (n * centerCol - c * centerRow) * scale + centerRow + shiftRow;
    return {c, n, scale, originCol, originRow};
}

void AlignChannels(const SExtent& extent, std::span<const std::uint8_t> bgr, const SChannelPlacement& blue,
                   const SChannelPlacement& red, std::span<float> target)
{
    if (Holds(extent, bgr, target)) {
        SelectAligner()(extent, bgr.data(), blue, red, target.data());
    }
}

} // namespace LxCV::ImageKernels
