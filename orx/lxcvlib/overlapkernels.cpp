// Bilinear resampling row by row, with wider vectors where the processor has them.
#include "overlapkernels.h"

#include "scratchvector.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

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

constexpr std::size_t c_uiBlock = 32; ///< columns that are sampled at a time

/// Places between four pixels each.
struct SBlock
{
    std::array<float, c_uiBlock> colFraction;  ///< from the left to the right neighbours
    std::array<float, c_uiBlock> rowFraction;  ///< from the upper to the lower neighbours
    std::array<std::int32_t, c_uiBlock> pixel; ///< number of the upper left neighbour
};

struct SNeighbours
{
    float upperLeft;
    float upperRight;
    float lowerLeft;
    float lowerRight;
};

[[gnu::always_inline]] inline float Mix(float fx, float fy, const SNeighbours& values)
{
    const float sum = (1.0F - fx) * (1.0F - fy) * values.upperLeft + fx * (1.0F - fy) * values.upperRight +
                      (1.0F - fx) * fy * values.lowerLeft + fx * fy * values.lowerRight;
    // Rounded weights may add up to a little more than 1.
    return sum < c_fFullScale ? sum : c_fFullScale;
}

static_assert(std::endian::native == std::endian::little, "bytes of a word are told apart by their order");

[[gnu::always_inline]] inline float LowByte(std::uint32_t word)
{
    return static_cast<float>(static_cast<std::int32_t>(word & 0xFFU));
}

[[gnu::always_inline]] inline float HighByte(std::uint32_t word)
{
    return static_cast<float>(static_cast<std::int32_t>(word >> 24));
}

/// The rows of an image with their bytes sorted by channel, made as they are asked for. The last ones are kept, since
/// neighbouring rows of the result take their pixels from the same few rows.
class PlanarRows
{
public:
    static constexpr std::size_t c_uiMostKept = 16;

    PlanarRows(const SExtent& extent, const std::uint8_t* bgr)
        : m_uiWidth(extent.width), m_pPixels(bgr),
          m_vuiRow(std::bit_floor(std::min(c_uiMostKept, extent.height)), c_uiNone),
          m_vPlanes(m_vuiRow.size() * c_uiChannels * extent.width)
    {}

    /// A channel of a row; valid while fewer than the number of kept rows lie between it and what is asked for.
    [[gnu::always_inline]] const std::uint8_t* Get(std::size_t row, std::size_t channel)
    {
        const std::size_t slot = row & (m_vuiRow.size() - 1);
        std::uint8_t* const planes = m_vPlanes.data() + slot * c_uiChannels * m_uiWidth;
        if (m_vuiRow[slot] != row) {
            m_vuiRow[slot] = row;
            Split(m_pPixels + row * c_uiChannels * m_uiWidth, m_uiWidth, planes);
        }
        return planes + channel * m_uiWidth;
    }

private:
    static constexpr std::size_t c_uiNone = std::numeric_limits<std::size_t>::max();

    [[gnu::always_inline]] static void Split(const std::uint8_t* __restrict bgr, std::size_t width,
                                             std::uint8_t* __restrict planes)
    {
        std::uint8_t* const __restrict blue = planes;
        std::uint8_t* const __restrict green = planes + width;
        std::uint8_t* const __restrict red = planes + 2 * width;
        for (std::size_t x = 0; x < width; ++x) {
            blue[x] = bgr[c_uiChannels * x];
            green[x] = bgr[c_uiChannels * x + 1];
            red[x] = bgr[c_uiChannels * x + 2];
        }
    }

    std::size_t m_uiWidth;
    const std::uint8_t* m_pPixels;
    ScratchVector<std::size_t> m_vuiRow; ///< which row a slot holds; as many as a power of two
    ScratchVector<std::uint8_t> m_vPlanes;
};

/// Samples one channel of an image, a row at a time.
class ChannelSampler
{
public:
    /// @param bgr the image's pixels, which must outlive this object, as `rows` must
    ChannelSampler(const SExtent& extent, const std::uint8_t* bgr, PlanarRows& rows, std::size_t channel,
                   const SChannelPlacement& placement)
        : m_Extent(extent), m_pPixels(bgr + channel), m_Rows(rows), m_uiChannel(channel),
          m_Placement(placement),
          m_bPlaced(std::isfinite(placement.cosine) && std::isfinite(placement.sine) &&
                    std::isfinite(placement.scale) && std::isfinite(placement.originCol) &&
                    std::isfinite(placement.originRow)),
          m_vfCosine(extent.width), m_vfSine(extent.width)
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
        SampleInner(inside, row);
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

    /// One pixel of the inner columns.
    float Linear(std::size_t x) const
    {
        const SPlace place = PlaceOf(x);
        const auto col = static_cast<std::int32_t>(place.u);
        const auto row = static_cast<std::int32_t>(place.v);
        const std::size_t rowBytes = m_Extent.width * c_uiChannels;
        const std::uint8_t* const upper = m_pPixels + static_cast<std::size_t>(row) * rowBytes +
                                          static_cast<std::size_t>(col) * c_uiChannels;
        const std::uint8_t* const lower = upper + rowBytes;
        return Mix(place.u - static_cast<float>(col), place.v - static_cast<float>(row),
                   {static_cast<float>(upper[0]), static_cast<float>(upper[c_uiChannels]),
                    static_cast<float>(lower[0]), static_cast<float>(lower[c_uiChannels])});
    }

    [[gnu::always_inline]] void SampleInner(const SColumns& inside, float* __restrict row)
    {
        if (inside.end - inside.begin < c_uiBlock) {
            for (std::size_t x = inside.begin; x < inside.end; ++x) {
                row[x] = Linear(x);
            }
            return;
        }
        // A steep row crosses more rows of the image than are kept.
        const bool isFlat = std::abs(PlaceOf(inside.begin).v - PlaceOf(inside.end - 1).v) <
                            static_cast<float>(PlanarRows::c_uiMostKept - 2);
        const std::size_t last = inside.end - c_uiBlock;
        for (std::size_t x = inside.begin; x < last; x += c_uiBlock) {
            SampleBlock(x, isFlat, row + x);
        }
        // This one may overlap the one before; both write the same.
        SampleBlock(last, isFlat, row + last);
    }

    [[gnu::always_inline]] void SampleBlock(std::size_t first, bool isFlat, float* __restrict target)
    {
        SBlock block;
        Locate(first, block);
        if (isFlat && IsRun(block)) {
            BlendRun(block, target);
        } else {
            BlendScattered(block, target);
        }
    }

    [[gnu::always_inline]] void Locate(std::size_t first, SBlock& block) const
    {
        const float* const __restrict cosines = m_vfCosine.data() + first;
        const float* const __restrict sines = m_vfSine.data() + first;
        const SChannelPlacement placement = m_Placement;
        const float cosine = m_fCosine;
        const float sine = m_fSine;
        const auto width = static_cast<std::int32_t>(m_Extent.width);
        for (std::size_t i = 0; i < c_uiBlock; ++i) {
            const float u = (cosines[i] + sine) * placement.scale + placement.originCol;
            const float v = (cosine - sines[i]) * placement.scale + placement.originRow;
            const auto col = static_cast<std::int32_t>(u);
            const auto row = static_cast<std::int32_t>(v);
            block.colFraction[i] = u - static_cast<float>(col);
            block.rowFraction[i] = v - static_cast<float>(row);
            block.pixel[i] = row * width + col;
        }
    }

    /// Whether each place lies one pixel to the right of the one before, as nearly all blocks of a camera do.
    [[gnu::always_inline]] static bool IsRun(const SBlock& block)
    {
        std::int32_t differences = 0;
        for (std::size_t i = 0; i < c_uiBlock; ++i) {
            differences |= block.pixel[i] - block.pixel[0] - static_cast<std::int32_t>(i);
        }
        return differences == 0;
    }

    [[gnu::always_inline]] void BlendRun(const SBlock& block, float* __restrict target)
    {
        // 32 bits, since wider divisions take far longer.
        const auto pixel = static_cast<std::uint32_t>(block.pixel[0]);
        const auto width = static_cast<std::uint32_t>(m_Extent.width);
        const std::size_t row = pixel / width;
        const std::size_t col = pixel % width;
        const std::uint8_t* const __restrict upper = m_Rows.Get(row, m_uiChannel) + col;
        const std::uint8_t* const __restrict lower = m_Rows.Get(row + 1, m_uiChannel) + col;
        for (std::size_t i = 0; i < c_uiBlock; ++i) {
            target[i] = Mix(block.colFraction[i], block.rowFraction[i],
                            {static_cast<float>(upper[i]), static_cast<float>(upper[i + 1]),
                             static_cast<float>(lower[i]), static_cast<float>(lower[i + 1])});
        }
    }

    /// Fetches two neighbours at once, as the four bytes from one pixel's channel to the next pixel's.
    [[gnu::always_inline]] void BlendScattered(const SBlock& block, float* __restrict target) const
    {
        const std::uint8_t* const __restrict upperBytes = m_pPixels;
        const std::uint8_t* const __restrict lowerBytes = m_pPixels + m_Extent.width * c_uiChannels;
        std::array<std::uint32_t, c_uiBlock> upper;
        std::array<std::uint32_t, c_uiBlock> lower;
        for (std::size_t i = 0; i < c_uiBlock; ++i) {
            const auto offset = static_cast<std::size_t>(block.pixel[i]) * c_uiChannels;
            std::memcpy(&upper[i], upperBytes + offset, sizeof upper[i]);
            std::memcpy(&lower[i], lowerBytes + offset, sizeof lower[i]);
        }
        for (std::size_t i = 0; i < c_uiBlock; ++i) {
            target[i] = Mix(block.colFraction[i], block.rowFraction[i],
                            {LowByte(upper[i]), HighByte(upper[i]), LowByte(lower[i]), HighByte(lower[i])});
        }
    }

    SExtent m_Extent;
    const std::uint8_t* m_pPixels; ///< the channel's byte of pixel (0, 0)
    PlanarRows& m_Rows;
    std::size_t m_uiChannel;
    SChannelPlacement m_Placement;
    bool m_bPlaced;                  ///< whether all of m_Placement is finite; otherwise no place is
    ScratchVector<float> m_vfCosine; ///< x * cosine per column
    ScratchVector<float> m_vfSine;   ///< x * sine per column
    float m_fCosine = 0.0F;          ///< y * cosine of the present row
    float m_fSine = 0.0F;            ///< y * sine of the present row
};

[[gnu::always_inline]] inline void Join(const float* __restrict blue, const std::uint8_t* __restrict green,
                                        const float* __restrict red, std::size_t width,
                                        float* __restrict target)
{
    for (std::size_t x = 0; x < width; ++x) {
        target[c_uiChannels * x] = blue[x];
        target[c_uiChannels * x + 1] = static_cast<float>(green[x]);
        target[c_uiChannels * x + 2] = red[x];
    }
}

[[gnu::always_inline]] inline void AlignBody(const SExtent& extent, const std::uint8_t* bgr,
                                             const SChannelPlacement& blue, const SChannelPlacement& red,
                                             float* target)
{
    PlanarRows rows(extent, bgr);
    ChannelSampler blueSampler(extent, bgr, rows, 0, blue);
    ChannelSampler redSampler(extent, bgr, rows, 2, red);
    ScratchVector<float> blueRow(extent.width);
    ScratchVector<float> redRow(extent.width);
    for (std::size_t y = 0; y < extent.height; ++y, target += extent.width * c_uiChannels) {
        blueSampler.Sample(y, blueRow.data());
        redSampler.Sample(y, redRow.data());
        Join(blueRow.data(), rows.Get(y, 1), redRow.data(), extent.width, target);
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
