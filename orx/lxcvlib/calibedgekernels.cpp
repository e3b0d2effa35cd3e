// Row kernels of calibration edges, with wider vectors where the processor has them.
#include "calibedgekernels.h"

#include "vectorunits.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

namespace LxCV::CalibEdgeKernels {

namespace {

constexpr std::size_t c_uiChannels = 3;
constexpr float c_fFirstChannelWeight = 3.0F;
constexpr float c_fGradientScale = 0.5F;

// Bodies that are compiled twice, for the basic vectors of the platform and for AVX2. Without contraction both round
// alike.

[[gnu::always_inline]] inline void GradientBody(const float* __restrict before, const float* __restrict after,
                                                std::size_t size, float* __restrict target)
{
    for (std::size_t i = 0; i < size; ++i) {
        const float difference = before[c_uiChannels * i] - after[c_uiChannels * i];
        target[i] = c_fFirstChannelWeight * difference * c_fGradientScale;
    }
}

struct SWindow
{
    const float* g[5];
    const float* local;
    const float* total;
};

constexpr std::size_t c_uiBlock = 32; ///< elements that are tested at once

/// Whether any pixel of a block exceeds its limits. Nearly all blocks of a picture of few edges do not.
[[gnu::always_inline]] inline bool ExceedsLimits(const SWindow& w, std::size_t begin)
{
    const float* const __restrict g1 = w.g[1] + begin;
    const float* const __restrict g2 = w.g[2] + begin;
    const float* const __restrict g3 = w.g[3] + begin;
    const float* const __restrict local = w.local + begin;
    const float* const __restrict total = w.total + begin;
    int any = 0;
    for (std::size_t i = 0; i < c_uiBlock; ++i) {
        const float sum = g1[i] + g2[i] + g3[i];
        any |= int{std::abs(g2[i]) > local[i]} | int{std::abs(sum) > total[i]};
    }
    return any != 0;
}

[[gnu::always_inline]] inline void MarkExtrema(const SWindow& w, std::size_t begin, std::size_t size,
                                               std::uint8_t* __restrict extrema)
{
    const float* const __restrict g0 = w.g[0] + begin;
    const float* const __restrict g1 = w.g[1] + begin;
    const float* const __restrict g2 = w.g[2] + begin;
    const float* const __restrict g3 = w.g[3] + begin;
    const float* const __restrict g4 = w.g[4] + begin;
    const float* const __restrict local = w.local + begin;
    const float* const __restrict total = w.total + begin;
    for (std::size_t i = 0; i < size; ++i) {
        // All comparisons are made, so that no branch keeps the loop from using vectors.
        const float g = g2[i];
        const float sum = g1[i] + g + g3[i];
        const int isHigh = int{g > local[i]} | int{sum > total[i]};
        const int isLow = int{g < -local[i]} | int{sum < -total[i]};
        const int isTop = int{g >= g0[i]} & int{g >= g1[i]} & int{g > g3[i]} & int{g > g4[i]};
        const int isBottom = int{g <= g0[i]} & int{g <= g1[i]} & int{g < g3[i]} & int{g < g4[i]};
        extrema[begin + i] = static_cast<std::uint8_t>((isHigh & isTop) | (isLow & isBottom) << 1);
    }
}

[[gnu::always_inline]] inline void ExtremaBlock(const SWindow& w, std::size_t begin,
                                                std::uint8_t* __restrict extrema)
{
    if (ExceedsLimits(w, begin)) {
        MarkExtrema(w, begin, c_uiBlock, extrema);
    } else {
        std::memset(extrema + begin, c_uiNoExtremum, c_uiBlock);
    }
}

[[gnu::always_inline]] inline void ExtremaBody(const SWindow& w, std::size_t size,
                                               std::uint8_t* __restrict extrema)
{
    if (size < c_uiBlock) {
        MarkExtrema(w, 0, size, extrema);
        return;
    }
    for (std::size_t begin = 0; begin + c_uiBlock <= size; begin += c_uiBlock) {
        ExtremaBlock(w, begin, extrema);
    }
    ExtremaBlock(w, size - c_uiBlock, extrema); // overlaps the one before, with the same results
}

[[gnu::always_inline]] inline void AmountsBody(const float* __restrict a, const float* __restrict b,
                                               const float* __restrict c, std::size_t size,
                                               float* __restrict alone, float* __restrict together)
{
    for (std::size_t i = 0; i < size; ++i) {
        const float middle = std::abs(b[i]);
        alone[i] = middle;
        together[i] = std::abs(a[i]) + middle + std::abs(c[i]);
    }
}

/// Where both rows have bits of the mask, among elements `from` to the last; whole blocks are tested at once.
[[gnu::always_inline]] inline std::size_t CommonBitsBody(const std::int32_t* a, const std::int32_t* b,
                                                         std::size_t size, std::int32_t mask,
                                                         std::size_t from)
{
    const auto isCommon = [&](std::size_t i) { return int{(a[i] & mask) != 0} & int{(b[i] & mask) != 0}; };
    std::size_t i = from;
    for (; i + c_uiBlock <= size; i += c_uiBlock) {
        int any = 0;
        for (std::size_t k = 0; k < c_uiBlock; ++k) {
            any |= isCommon(i + k);
        }
        if (any != 0) {
            break;
        }
    }
    while (i < size && isCommon(i) == 0) {
        ++i;
    }
    return std::min(i, size);
}

template <typename T>
[[gnu::always_inline]] inline std::size_t NonZeroBody(const T* values, std::size_t size, std::size_t from)
{
    std::size_t i = from;
    for (; i + c_uiBlock <= size; i += c_uiBlock) {
        T any = 0;
        for (std::size_t k = 0; k < c_uiBlock; ++k) {
            any = static_cast<T>(any | values[i + k]);
        }
        if (any != 0) {
            break;
        }
    }
    while (i < size && values[i] == 0) {
        ++i;
    }
    return std::min(i, size);
}

/// Whether any of a block of values exceeds the limit.
[[gnu::always_inline]] inline bool BlockExceedsBody(const float* values, float limit)
{
    int any = 0;
    for (std::size_t k = 0; k < c_uiBlock; ++k) {
        any |= int{values[k] > limit};
    }
    return any != 0;
}

/// The begin of the first block with a value above the limit; of the rest, if there is none.
[[gnu::always_inline]] inline std::size_t SkipBody(const float* values, std::size_t size, float limit,
                                                   std::size_t from)
{
    std::size_t i = from;
    while (i + c_uiBlock <= size && !BlockExceedsBody(values + i, limit)) {
        i += c_uiBlock;
    }
    return i;
}

void GradientBasic(const float* before, const float* after, std::size_t size, float* target)
{
    GradientBody(before, after, size, target);
}
void ExtremaBasic(const SWindow& window, std::size_t size, std::uint8_t* extrema)
{
    ExtremaBody(window, size, extrema);
}
void AmountsBasic(const float* a, const float* b, const float* c, std::size_t size, float* alone,
                  float* together)
{
    AmountsBody(a, b, c, size, alone, together);
}
std::size_t CommonBitsBasic(const std::int32_t* a, const std::int32_t* b, std::size_t size, std::int32_t mask,
                            std::size_t from)
{
    return CommonBitsBody(a, b, size, mask, from);
}

std::size_t NonZeroBytesBasic(const std::uint8_t* values, std::size_t size, std::size_t from)
{
    return NonZeroBody(values, size, from);
}
std::size_t NonZeroWordsBasic(const std::int32_t* values, std::size_t size, std::size_t from)
{
    return NonZeroBody(values, size, from);
}
std::size_t SkipBasic(const float* values, std::size_t size, float limit, std::size_t from)
{
    return SkipBody(values, size, limit, from);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void GradientWide(const float* before, const float* after, std::size_t size,
                                          float* target)
{
    GradientBody(before, after, size, target);
}
[[gnu::target("avx2")]] void ExtremaWide(const SWindow& window, std::size_t size, std::uint8_t* extrema)
{
    ExtremaBody(window, size, extrema);
}
[[gnu::target("avx2")]] void AmountsWide(const float* a, const float* b, const float* c, std::size_t size,
                                         float* alone, float* together)
{
    AmountsBody(a, b, c, size, alone, together);
}
[[gnu::target("avx2")]] std::size_t CommonBitsWide(const std::int32_t* a, const std::int32_t* b,
                                                   std::size_t size, std::int32_t mask, std::size_t from)
{
    return CommonBitsBody(a, b, size, mask, from);
}
[[gnu::target("avx2")]] std::size_t NonZeroBytesWide(const std::uint8_t* values, std::size_t size,
                                                     std::size_t from)
{
    return NonZeroBody(values, size, from);
}
[[gnu::target("avx2")]] std::size_t NonZeroWordsWide(const std::int32_t* values, std::size_t size,
                                                     std::size_t from)
{
    return NonZeroBody(values, size, from);
}
[[gnu::target("avx2")]] std::size_t SkipWide(const float* values, std::size_t size, float limit,
                                             std::size_t from)
{
    return SkipBody(values, size, limit, from);
}
#else
constexpr auto NonZeroBytesWide = NonZeroBytesBasic;
constexpr auto NonZeroWordsWide = NonZeroWordsBasic;
constexpr auto SkipWide = SkipBasic;
constexpr auto GradientWide = GradientBasic;
constexpr auto ExtremaWide = ExtremaBasic;
constexpr auto AmountsWide = AmountsBasic;
constexpr auto CommonBitsWide = CommonBitsBasic;
#endif

// The limits 0x1.921fb6p-1 and 0x1.2d97c8p+1 lie a little above the true angles of the diagonals, and an angle is rounded
// to single precision before it is compared. In front of the y axis an angle below the diagonal rounds to less than the
// limit, since already the flattest quotient of two floats below 1 does. Elsewhere the angle has to pass the limit by
// half of its last digit, 2^-25 respectively 2^-23. These are the tangents there; the quotients of floats that lie
// nearest to them are farther than 1e-15 away, so that products in double precision decide exactly.
constexpr double c_dFlatBack = 0x1.fffff79990facp-1;  ///< tan(pi - 0x1.2d97c8p+1 - 0x1p-23)
constexpr double c_dSteep = 0x1.000001bbbd300p+0;     ///< tan(0x1.921fb6p-1 + 0x1p-25)
constexpr double c_dSteepBack = 0x1.000003ccc87bcp+0; ///< tan(pi - 0x1.2d97c8p+1 + 0x1p-23)

} // namespace

void GradientOfFirstChannel(std::span<const float> before, std::span<const float> after,
                            std::span<float> target)
{
    const std::size_t size =
        std::min({before.size() / c_uiChannels, after.size() / c_uiChannels, target.size()});
    (VectorUnits::AreWide() ? GradientWide : GradientBasic)(before.data(), after.data(), size, target.data());
}

void FindExtrema(const GradientWindow& gradient, std::span<const float> local, std::span<const float> total,
                 std::span<std::uint8_t> extrema)
{
    SWindow window{{}, local.data(), total.data()};
    std::size_t size = std::min({local.size(), total.size(), extrema.size()});
    for (std::size_t i = 0; i < gradient.size(); ++i) {
        window.g[i] = gradient[i].data();
        size = std::min(size, gradient[i].size());
    }
    (VectorUnits::AreWide() ? ExtremaWide : ExtremaBasic)(window, size, extrema.data());
}

std::size_t FindNonZero(std::span<const std::uint8_t> values, std::size_t from)
{
    return (VectorUnits::AreWide() ? NonZeroBytesWide : NonZeroBytesBasic)(values.data(), values.size(),
                                                                           std::min(from, values.size()));
}

std::size_t FindNonZero(std::span<const std::int32_t> values, std::size_t from)
{
    return (VectorUnits::AreWide() ? NonZeroWordsWide : NonZeroWordsBasic)(values.data(), values.size(),
                                                                           std::min(from, values.size()));
}

std::size_t FindCommonBits(std::span<const std::int32_t> a, std::span<const std::int32_t> b,
                           std::int32_t mask, std::size_t from)
{
    const std::size_t size = std::min(a.size(), b.size());
    return (VectorUnits::AreWide() ? CommonBitsWide : CommonBitsBasic)(a.data(), b.data(), size, mask,
                                                                       std::min(from, size));
}

bool IsNearXAxis(float dx, float dy)
{
    const double along = std::abs(static_cast<double>(dx));
    const double across = std::abs(static_cast<double>(dy));
    if (dx > 0.0F) {
        return across < along;
    }
    // The zero vector counts as a direction along the axis.
    return dx <= 0.0F && (across < c_dFlatBack * along || across == 0.0);
}

bool IsNearYAxis(float dx, float dy)
{
    const double along = std::abs(static_cast<double>(dx));
    const double across = std::abs(static_cast<double>(dy));
    return across > (dx > 0.0F ? c_dSteep : c_dSteepBack) * along;
}

void GradientAmounts(std::span<const float> a, std::span<const float> b, std::span<const float> c,
                     std::span<float> alone, std::span<float> together)
{
    const std::size_t size = std::min({a.size(), b.size(), c.size(), alone.size(), together.size()});
    (VectorUnits::AreWide() ? AmountsWide : AmountsBasic)(a.data(), b.data(), c.data(), size, alone.data(),
                                                          together.data());
}

CLargestValues::CLargestValues(std::size_t howMany) : m_uiHowMany(howMany) {}

void CLargestValues::Add(std::span<const float> values)
{
    if (m_uiHowMany == 0) {
        return;
    }
    const auto skip = VectorUnits::AreWide() ? SkipWide : SkipBasic;
    for (std::size_t i = 0; i < values.size();) {
        if (m_bFull) {
            i = skip(values.data(), values.size(), m_fLimit, i);
        }
        const std::size_t end = i + std::min(values.size() - i, c_uiBlock);
        for (; i < end; ++i) {
            AddOne(values[i]);
        }
    }
}

void CLargestValues::AddOne(float value)
{
    if (value > m_fLimit || (!m_bFull && value == m_fLimit)) {
        m_vfValues.push_back(value);
        if (m_vfValues.size() >= 4 * m_uiHowMany) {
            DropSmallest();
        }
    }
}

void CLargestValues::DropSmallest()
{
    const auto last = m_vfValues.begin() + static_cast<std::ptrdiff_t>(m_uiHowMany) - 1;
    std::nth_element(m_vfValues.begin(), last, m_vfValues.end(), std::greater<>());
    m_fLimit = *last;
    m_bFull = true;
    m_vfValues.resize(m_uiHowMany);
}

bool CLargestValues::GetMeanOfRanks(std::size_t first, std::size_t end, double& mean) const
{
    if (first >= end || end > m_uiHowMany || end > m_vfValues.size()) {
        return false;
    }
    // The first `end` ones in front, of them the first `first` ones; only those that count are sorted.
    std::vector<float> values(m_vfValues);
    const auto at = [&](std::size_t rank) { return values.begin() + static_cast<std::ptrdiff_t>(rank); };
    std::nth_element(values.begin(), at(end) - 1, values.end(), std::greater<>());
    std::nth_element(values.begin(), at(first), at(end), std::greater<>());
    std::sort(at(first), at(end), std::greater<>());
    double sum = 0.0;
    for (std::size_t i = first; i < end; ++i) {
        sum += static_cast<double>(values[i]);
    }
    mean = sum / static_cast<double>(end - first);
    return true;
}

} // namespace LxCV::CalibEdgeKernels
