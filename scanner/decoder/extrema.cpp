// Extrema of the difference between rows with sub-pixel positions.
#include "scanner/decoder/extrema.h"

#include "lxcedgeposition.h"
#include "scanner/decoder/flags.h"
#include "vectorunits.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace decoder {

namespace {

constexpr std::size_t kLanes = kChannels * static_cast<std::size_t>(StepFinder::kColumns);
constexpr std::size_t kMostRows = std::size_t{1} << 24; ///< whose 64ths an integer holds

/// Differences count as this at most, so that what is computed from them is finite.
constexpr float kLargestDifference = 1e30F;

/// 0 for what is not above 0.
float Limited(float difference)
{
    const float positive = difference > 0.0F ? difference : 0.0F;
    return positive < kLargestDifference ? positive : kLargestDifference;
}

/// Four rows, of which the difference between the middle two is searched.
struct Rows
{
    const float* first;
    std::size_t stride;
    std::size_t lanes;   ///< values of each
    std::int32_t number; ///< of the third row
    float least;         ///< signal units; what an extremum exceeds
};

/// Square root of the square root of the square root.
[[gnu::always_inline]] inline float EighthRoot(float value)
{
    return std::sqrt(std::sqrt(std::sqrt(value)));
}

/// What keeps a flat top from dividing by 0; of the middle root, far below what noise makes of a curvature.
constexpr float kLeastCurvature = 1e-6F;

/// The vertices of parabolas through the eighth roots of three differences each, in 1/64 rows; rounded. A difference
/// belongs to the middle between its row and the one above it.
[[gnu::always_inline]] inline void FindVerticesOf(const float* aboves, const float* centres,
                                                  const float* belows, const std::int32_t* rows,
                                                  std::size_t count, std::int32_t* vertices)
{
    constexpr float kFactor = LxCV::LxCEdgePosition::m_scfSubpixFactor;
    constexpr std::int32_t kRow = 1 << LxCV::LxCEdgePosition::m_sciNrSubpixBits;
    constexpr std::int32_t kOneAndAHalf = kRow + kRow / 2;
    for (std::size_t i = 0; i < count; ++i) {
        const float above = EighthRoot(aboves[i]);
        const float centre = EighthRoot(centres[i]);
        const float below = EighthRoot(belows[i]);
        // Below 0 also where the roots round to one number. The vertex lies within half a row.
        const float curvature = above + below - (centre + centre) - kLeastCurvature * centre;
        const float vertex = (above - below) / curvature * 0.5F;
        vertices[i] =
            rows[i] * kRow + static_cast<std::int32_t>(vertex * kFactor + (kFactor + 0.5F)) - kOneAndAHalf;
    }
}

void FindVerticesBasic(const float* above, const float* centre, const float* below, const std::int32_t* rows,
                       std::size_t count, std::int32_t* vertices)
{
    FindVerticesOf(above, centre, below, rows, count, vertices);
}

/// The columns of the lanes and the bits of their symbols where they fall.
constexpr std::array<std::uint32_t, kLanes> FallingPlaces(unsigned int directionBits)
{
    constexpr auto kChannelsOfAColumn = static_cast<std::uint32_t>(kChannels);
    std::array<std::uint32_t, kLanes> places{};
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        places[lane] = lane / kChannelsOfAColumn << directionBits | 2 * (lane % kChannelsOfAColumn);
    }
    return places;
}

#if defined(__x86_64__)
constexpr std::size_t kVector = 8;

/// For each set of flags the indices of those that are set, and behind them any.
constexpr std::array<std::array<std::uint8_t, kVector>, 1 << kVector> Packings()
{
    std::array<std::array<std::uint8_t, kVector>, 1 << kVector> packings{};
    for (std::size_t flags = 0; flags < packings.size(); ++flags) {
        std::size_t count = 0;
        for (std::uint8_t flag = 0; flag < kVector; ++flag) {
            if ((flags >> flag & 1) != 0) {
                packings[flags][count++] = flag;
            }
        }
    }
    return packings;
}

constexpr auto s_Packings = Packings();

/// Writes those of some differences that come first in an order.
[[gnu::target("avx2")]] inline void Pack(__m256 differences, __m256i order, float* to)
{
    const __m256 positive = _mm256_max_ps(differences, _mm256_setzero_ps());
    const __m256 limited = _mm256_min_ps(positive, _mm256_set1_ps(kLargestDifference));
    _mm256_storeu_ps(to, _mm256_permutevar8x32_ps(limited, order));
}
#endif

} // namespace

/// Puts the extrema of a row behind those of a batch.
struct PeakTaking
{
    static constexpr auto s_Places = FallingPlaces(StepBatch::kDirectionBits);

    /// @param first lanes before it are left out
    static void TakeBasic(const Rows& rows, std::size_t first, StepBatch& steps)
    {
        for (std::size_t lane = first; lane < rows.lanes; ++lane) {
            const float* const value = rows.first + lane;
            const float difference = value[2 * rows.stride] - value[rows.stride];
            const float sign = std::copysign(1.0F, difference);
            const float height = sign * difference;
            const float above = sign * (value[rows.stride] - value[0]);
            const float below = sign * (value[3 * rows.stride] - value[2 * rows.stride]);
            if (height > rows.least && height >= above && height > below) {
                const std::size_t i = steps.m_count++;
                steps.m_above[i] = Limited(above);
                steps.m_centre[i] = Limited(height);
                steps.m_below[i] = Limited(below);
                steps.m_row[i] = rows.number;
                steps.m_place[i] = s_Places[lane] | (difference > 0.0F ? 1U : 0U);
            }
        }
    }

#if defined(__x86_64__)
    /// The signs of the difference, the values and the limits are joined without branches, and what is an extremum is
    /// packed by a table: each is as good as random along a striped column.
    [[gnu::target("avx2")]] static void TakeWide(const Rows& rows, StepBatch& steps)
    {
        const __m256 signBit = _mm256_set1_ps(-0.0F);
        const __m256 least = _mm256_set1_ps(rows.least);
        const __m256i number = _mm256_set1_epi32(rows.number);
        std::size_t count = steps.m_count;
        std::size_t lane = 0;
        for (; lane + kVector <= rows.lanes; lane += kVector) {
            const float* const value = rows.first + lane;
            const __m256 upper = _mm256_loadu_ps(value + rows.stride);
            const __m256 lower = _mm256_loadu_ps(value + 2 * rows.stride);
            const __m256 difference = _mm256_sub_ps(lower, upper);
            const __m256 sign = _mm256_and_ps(difference, signBit);
            const __m256 height = _mm256_xor_ps(difference, sign);
            const __m256 above = _mm256_xor_ps(_mm256_sub_ps(upper, _mm256_loadu_ps(value)), sign);
            const __m256 below =
                _mm256_xor_ps(_mm256_sub_ps(_mm256_loadu_ps(value + 3 * rows.stride), lower), sign);
            const __m256 isPeak = _mm256_and_ps(_mm256_cmp_ps(height, least, _CMP_GT_OQ),
                                                _mm256_and_ps(_mm256_cmp_ps(height, above, _CMP_GE_OQ),
                                                              _mm256_cmp_ps(height, below, _CMP_GT_OQ)));
            const auto flags = static_cast<unsigned int>(_mm256_movemask_ps(isPeak));
            const __m256i order = _mm256_cvtepu8_epi32(
                _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s_Packings[flags].data())));
            Pack(above, order, &steps.m_above[count]);
            Pack(height, order, &steps.m_centre[count]);
            Pack(below, order, &steps.m_below[count]);
            const __m256i falling = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(&s_Places[lane]));
            const __m256i rises =
                _mm256_add_epi32(_mm256_set1_epi32(1), _mm256_srai_epi32(_mm256_castps_si256(sign), 31));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(&steps.m_place[count]),
                                _mm256_permutevar8x32_epi32(_mm256_or_si256(falling, rises), order));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(&steps.m_row[count]), number);
            count += static_cast<std::size_t>(std::popcount(flags));
        }
        steps.m_count = count;
        TakeBasic(rows, lane, steps);
    }
#endif
};

namespace {

#if defined(__x86_64__)
[[gnu::target("avx2")]] void FindVerticesWide(const float* above, const float* centre, const float* below,
                                              const std::int32_t* rows, std::size_t count,
                                              std::int32_t* vertices)
{
    FindVerticesOf(above, centre, below, rows, count, vertices);
}
#else
constexpr auto FindVerticesWide = FindVerticesBasic;
#endif

void TakePeaks(const Rows& rows, StepBatch& steps)
{
#if defined(__x86_64__)
    if (LxCV::VectorUnits::AreWide()) {
        PeakTaking::TakeWide(rows, steps);
        return;
    }
#endif
    PeakTaking::TakeBasic(rows, 0, steps);
}

/// Has a row brought near.
void Announce(const float* row, std::size_t lanes)
{
    constexpr std::size_t kLineFloats = 16;
    for (std::size_t lane = 0; lane < lanes; lane += kLineFloats) {
        __builtin_prefetch(row + lane);
    }
}

/// How much larger the difference at an end of the signal may be than the one on the other side of an extremum. Up to
/// this the positions beside the border are as exact as elsewhere.
constexpr float kLargestEndRatio = 1.2F;

} // namespace

void StepFinder::Start(std::span<const float> pixels, int width, int first, int blankRows, float minGradient)
{
    m_columns = static_cast<std::size_t>(
        std::clamp(std::max(width, 0) - std::max(first, 0), 0, first < 0 ? 0 : kColumns));
    m_stride = kChannels * static_cast<std::size_t>(std::max(width, 0));
    m_height = m_columns == 0 ? 0 : static_cast<std::uint32_t>(std::min(pixels.size() / m_stride, kMostRows));
    m_pixels = m_height == 0 ? nullptr : &pixels[kChannels * static_cast<std::size_t>(first)];
    m_blankRows = static_cast<std::uint32_t>(std::max(blankRows, 0));
    m_least = std::max(minGradient, 0.0F); // a step has a height, which later is a weight
    m_row = 2;
    m_steps.m_count = 0;
}

bool StepFinder::Next()
{
    constexpr std::size_t kAhead = 6; // rows; until then memory is near
    m_steps.m_count = 0;
    if (m_row + 1 >= m_height) {
        return false;
    }
    const std::size_t lanes = kChannels * m_columns;
    for (; m_row + 1 < m_height && m_steps.m_count + kLanes <= StepBatch::kSize; ++m_row) {
        const float* const row = m_pixels + (m_row - 2) * m_stride;
        if (m_row - 2 + kAhead < m_height) {
            Announce(row + kAhead * m_stride, lanes);
        }
        const std::size_t before = m_steps.m_count;
        TakePeaks({row, m_stride, lanes, static_cast<std::int32_t>(m_row), m_least}, m_steps);
        if (m_row == m_blankRows + 2 || m_row + m_blankRows + 2 == m_height) {
            RemoveLeaningOutwards(before);
        }
    }
    const auto findVertices = LxCV::VectorUnits::AreWide() ? FindVerticesWide : FindVerticesBasic;
    findVertices(m_steps.m_above.data(), m_steps.m_centre.data(), m_steps.m_below.data(),
                 m_steps.m_row.data(), m_steps.m_count, m_steps.m_position.data());
    Order();
    return true;
}

/// Removes those extrema of the row, which is next to an end of the signal or to both, that lean towards an end.
/// @param first index of the row's first extremum
void StepFinder::RemoveLeaningOutwards(std::size_t first)
{
    const bool isUpperEnd = m_row == m_blankRows + 2;
    const bool isLowerEnd = m_row + m_blankRows + 2 == m_height;
    std::size_t kept = first;
    for (std::size_t i = first; i < m_steps.m_count; ++i) {
        const float above = m_steps.m_above[i];
        const float below = m_steps.m_below[i];
        m_steps.m_above[kept] = above;
        m_steps.m_centre[kept] = m_steps.m_centre[i];
        m_steps.m_below[kept] = below;
        m_steps.m_place[kept] = m_steps.m_place[i];
        const bool leansOut = (isUpperEnd && above > kLargestEndRatio * below) ||
                              (isLowerEnd && below > kLargestEndRatio * above);
        kept += leansOut ? 0 : 1;
    }
    m_steps.m_count = kept;
}

/// Extrema come row by row, and so by ascending position but for those of one row: they lie within one row's height,
/// and are brought into order. Whether one comes before its neighbour is as good as random, so all of them are asked
/// without branches first.
void StepFinder::Order()
{
    constexpr std::size_t kFlags = StepBatch::kSize;
    std::array<std::uint8_t, kFlags> isBefore{};
    for (std::size_t i = 1; i < m_steps.m_count; ++i) {
        isBefore[i] = m_steps.IsBeforeNeighbour(i) ? 1 : 0;
    }
    ForEachFlag(std::span<const std::uint8_t, kFlags>(isBefore), [&](std::size_t i) {
        m_steps.MoveUp(i);
        if (i + 1 < m_steps.m_count) {
            m_steps.MoveUp(i + 1); // its neighbour is another one now
        }
    });
}

bool StepBatch::IsBeforeNeighbour(std::size_t i) const
{
    // Numbers of one column differ in the bits below it only.
    return (static_cast<std::uint32_t>((m_place[i] ^ m_place[i - 1]) <= kDirectionMask) &
            static_cast<std::uint32_t>(m_position[i] < m_position[i - 1])) != 0;
}

/// Exchanges a step with those before it that it should come before.
void StepBatch::MoveUp(std::size_t i)
{
    for (; i > 0 && IsBeforeNeighbour(i); --i) {
        std::swap(m_position[i - 1], m_position[i]);
        std::swap(m_centre[i - 1], m_centre[i]);
        std::swap(m_place[i - 1], m_place[i]);
    }
}

} // namespace decoder
