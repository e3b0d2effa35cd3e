// Separable filters, each row vertically and then horizontally, with wider vectors where the processor has them.
#include "filterkernels.h"

#include "scratchvector.h"
#include "vectorunits.h"

#include <algorithm>
#include <array>
#include <bit>

namespace LxCV::FilterKernels {

namespace {

// Everything that is called per float is inlined into the whole-image bodies at the end, which are compiled
// twice, for the basic vectors of the platform and for AVX2. Without contraction both round alike.

/// One row with its border pixels repeated on either side.
class PaddedRow
{
public:
    PaddedRow(const SPlane& plane, std::size_t radius)
        : m_uiMargin(radius * plane.channels), m_uiSize(plane.RowSize()), m_uiChannels(plane.channels),
          m_vfValues(m_uiSize + 2 * m_uiMargin)
    {}

    float* Begin() { return m_vfValues.data(); }            ///< the left margin
    float* Row() { return m_vfValues.data() + m_uiMargin; } ///< the row itself
    std::size_t PaddedSize() const { return m_vfValues.size(); }

    void RepeatBorder()
    {
        float* const row = Row();
        for (std::size_t i = 0; i < m_uiMargin; ++i) {
            row[m_uiSize + i] = row[m_uiSize - m_uiChannels + i % m_uiChannels];
            m_vfValues[i] = row[i % m_uiChannels];
        }
    }

private:
    std::size_t m_uiMargin;
    std::size_t m_uiSize;
    std::size_t m_uiChannels;
    ScratchVector<float> m_vfValues;
};

/// The row `y` + `offset` of a plane, at the border the nearest one.
[[gnu::always_inline]] inline const float* RowAt(const SPlane& plane, const float* source, std::size_t y,
                                                 std::ptrdiff_t offset)
{
    const auto row = std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(y) + offset, 0,
                                                static_cast<std::ptrdiff_t>(plane.height) - 1);
    return source + static_cast<std::size_t>(row) * plane.RowSize();
}

/// C(2r, r + k) / 4^r at index k; all of them are exact.
template <std::size_t radius>
constexpr std::array<float, radius + 1> BinomialWeights()
{
    std::array<float, radius + 1> weights{};
    double binomial = 1.0; // C(2r, 0), which stands at the far end
    for (std::size_t i = 0; i <= radius; ++i) {
        weights[radius - i] =
            static_cast<float>(binomial / static_cast<double>(std::size_t{1} << 2 * radius));
        binomial = binomial * static_cast<double>(2 * radius - i) / static_cast<double>(i + 1);
    }
    return weights;
}

template <std::size_t radius>
[[gnu::always_inline]] inline void BinomialColumns(const SPlane& plane, const float* source, std::size_t y,
                                                   float* __restrict row)
{
    constexpr auto w = BinomialWeights<radius>();
    std::array<const float*, radius + 1> above;
    std::array<const float*, radius + 1> below;
    for (std::size_t k = 0; k <= radius; ++k) {
        above[k] = RowAt(plane, source, y, -static_cast<std::ptrdiff_t>(k));
        below[k] = RowAt(plane, source, y, static_cast<std::ptrdiff_t>(k));
    }
    for (std::size_t i = 0; i < plane.RowSize(); ++i) {
        float sum = w[0] * above[0][i];
        for (std::size_t k = 1; k <= radius; ++k) {
            sum += w[k] * (above[k][i] + below[k][i]);
        }
        row[i] = sum;
    }
}

template <std::size_t radius>
[[gnu::always_inline]] inline void BinomialRow(const float* row, std::size_t size, std::size_t channels,
                                               float* __restrict target)
{
    constexpr auto w = BinomialWeights<radius>();
    std::array<const float*, radius + 1> left;
    std::array<const float*, radius + 1> right;
    for (std::size_t k = 0; k <= radius; ++k) {
        left[k] = row - k * channels;
        right[k] = row + k * channels;
    }
    for (std::size_t i = 0; i < size; ++i) {
        float sum = w[0] * left[0][i];
        for (std::size_t k = 1; k <= radius; ++k) {
            sum += w[k] * (left[k][i] + right[k][i]);
        }
        target[i] = sum;
    }
}

template <std::size_t radius>
[[gnu::always_inline]] inline void BinomialBody(const SPlane& plane, const float* source, float* target)
{
    PaddedRow padded(plane, radius);
    for (std::size_t y = 0; y < plane.height; ++y, target += plane.RowSize()) {
        BinomialColumns<radius>(plane, source, y, padded.Row());
        padded.RepeatBorder();
        BinomialRow<radius>(padded.Row(), plane.RowSize(), plane.channels, target);
    }
}

[[gnu::always_inline]] inline void Add(const float* __restrict a, const float* __restrict b, std::size_t size,
                                       float* __restrict sum)
{
    for (std::size_t i = 0; i < size; ++i) {
        sum[i] = a[i] + b[i];
    }
}

[[gnu::always_inline]] inline void Accumulate(const float* __restrict values, std::size_t size,
                                              float* __restrict sum)
{
    for (std::size_t i = 0; i < size; ++i) {
        sum[i] += values[i];
    }
}

/// Sums over columns of 2 * radius + 1 pixels, a row of them at a time and from the first row on.
///
/// The rows, border rows included, are cut into blocks as high as the window. A window that starts in one block ends in
/// the next: it is the sum from its start to the end of the one, and from the begin of the other. Both kinds of sums
/// grow row by row, so a window costs three additions whatever its size (van Herk, Gil and Werman).
class ColumnSums
{
public:
    ColumnSums(const SPlane& plane, std::size_t radius, const float* source)
        : m_Plane(plane), m_pSource(source), m_uiRadius(radius), m_uiWindow(2 * radius + 1),
          m_vfToEnd(m_uiWindow * plane.RowSize()), m_vfFromBegin(plane.RowSize())
    {}

    /// Row `y`, which follows the row of the last call.
    [[gnu::always_inline]] void Compute(std::size_t y, float* __restrict sums)
    {
        const std::size_t size = m_Plane.RowSize();
        const std::size_t row = y % m_uiWindow;
        if (row == 0) {
            SumToEnd(y);
            std::copy_n(ToEnd(0), size, sums);
            return;
        }
        const float* const next = BorderedRow(y + m_uiWindow - 1);
        float* const fromBegin = m_vfFromBegin.data();
        if (row == 1) {
            std::copy_n(next, size, fromBegin);
        } else {
            Accumulate(next, size, fromBegin);
        }
        Add(ToEnd(row), fromBegin, size, sums);
    }

private:
    float* ToEnd(std::size_t row) { return m_vfToEnd.data() + row * m_Plane.RowSize(); }

    /// The source row that stands at a row of the image with its border.
    const float* BorderedRow(std::size_t row) const
    {
        return RowAt(m_Plane, m_pSource, row, -static_cast<std::ptrdiff_t>(m_uiRadius));
    }

    [[gnu::always_inline]] void SumToEnd(std::size_t top)
    {
        const std::size_t size = m_Plane.RowSize();
        std::copy_n(BorderedRow(top + m_uiWindow - 1), size, ToEnd(m_uiWindow - 1));
        for (std::size_t row = m_uiWindow - 1; row-- > 0;) {
            Add(BorderedRow(top + row), ToEnd(row + 1), size, ToEnd(row));
        }
    }

    const SPlane& m_Plane;
    const float* m_pSource;
    std::size_t m_uiRadius;
    std::size_t m_uiWindow;
    ScratchVector<float> m_vfToEnd;     ///< rows of a block, each summed up with those below it
    ScratchVector<float> m_vfFromBegin; ///< the next block's rows so far
};

/// Sums of a window of fixed size along a padded row, pair by pair from the middle.
template <std::size_t radius>
[[gnu::always_inline]] inline void WindowRow(const float* row, std::size_t size, std::size_t channels,
                                             float scale, float* __restrict target)
{
    std::array<const float*, radius + 1> left;
    std::array<const float*, radius + 1> right;
    for (std::size_t k = 0; k <= radius; ++k) {
        left[k] = row - k * channels;
        right[k] = row + k * channels;
    }
    for (std::size_t i = 0; i < size; ++i) {
        float sum = left[0][i];
        for (std::size_t k = 1; k <= radius; ++k) {
            sum += left[k][i] + right[k][i];
        }
        target[i] = sum * scale;
    }
}

/// Sums of a window of any size along a padded row: sums of 1, 2, 4 ... pixels, of which those whose number is a binary
/// digit of the window's make up the result. The row is used up; `spare` is as large as the padded row.
[[gnu::always_inline]] inline void AnyWindowRow(PaddedRow& padded, float* spare, const SPlane& plane,
                                                std::size_t window, float scale, float* __restrict target)
{
    const std::size_t size = plane.RowSize();
    float* sums = padded.Begin();
    std::copy_n(sums, size, target);
    std::size_t done = 1; // pixels that each sum in `target` holds so far
    for (std::size_t length = 2; length <= window; length *= 2) {
        const std::size_t count = padded.PaddedSize() - (length - 1) * plane.channels;
        Add(sums, sums + length / 2 * plane.channels, count, spare);
        std::swap(sums, spare);
        if ((window & length) != 0) {
            Accumulate(sums + done * plane.channels, size, target);
            done += length;
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        target[i] *= scale;
    }
}

[[gnu::always_inline]] inline void BoxBody(const SPlane& plane, std::size_t radius, const float* source,
                                           float* target)
{
    ColumnSums columns(plane, radius, source);
    PaddedRow padded(plane, radius);
    ScratchVector<float> spare(padded.PaddedSize());
    const std::size_t window = 2 * radius + 1;
    const auto scale = static_cast<float>(1.0 / static_cast<double>(window * window));
    for (std::size_t y = 0; y < plane.height; ++y, target += plane.RowSize()) {
        columns.Compute(y, padded.Row());
        padded.RepeatBorder();
        switch (radius) {
        case 1:
            WindowRow<1>(padded.Row(), plane.RowSize(), plane.channels, scale, target);
            break;
        case 2:
            WindowRow<2>(padded.Row(), plane.RowSize(), plane.channels, scale, target);
            break;
        case 3:
            WindowRow<3>(padded.Row(), plane.RowSize(), plane.channels, scale, target);
            break;
        case 4:
            WindowRow<4>(padded.Row(), plane.RowSize(), plane.channels, scale, target);
            break;
        case 5:
            WindowRow<5>(padded.Row(), plane.RowSize(), plane.channels, scale, target);
            break;
        default:
            AnyWindowRow(padded, spare.data(), plane, window, scale, target);
            break;
        }
    }
}

/// (next - previous) / 4 of two rows or of two places of a row.
[[gnu::always_inline]] inline void QuarterDifference(const float* previous, const float* next,
                                                     std::size_t size, float* __restrict target)
{
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = 0.25F * (next[i] - previous[i]);
    }
}

/// a + 2 b + c of three rows or of three places of a row.
[[gnu::always_inline]] inline void WeightThree(const float* a, const float* b, const float* c,
                                               std::size_t size, float* __restrict target)
{
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = (a[i] + c[i]) + 2.0F * b[i];
    }
}

[[gnu::always_inline]] inline void GradientBody(const SPlane& plane, EAxis axis, const float* source,
                                                float* target)
{
    PaddedRow padded(plane, 1);
    float* const row = padded.Row();
    for (std::size_t y = 0; y < plane.height; ++y, target += plane.RowSize()) {
        const float* const above = RowAt(plane, source, y, -1);
        const float* const below = RowAt(plane, source, y, 1);
        const float* const here = RowAt(plane, source, y, 0);
        if (axis == EAxis::eX) {
            WeightThree(above, here, below, plane.RowSize(), row);
        } else {
            QuarterDifference(above, below, plane.RowSize(), row);
        }
        padded.RepeatBorder();
        const float* const left = row - plane.channels;
        const float* const right = row + plane.channels;
        if (axis == EAxis::eX) {
            QuarterDifference(left, right, plane.RowSize(), target);
        } else {
            WeightThree(left, row, right, plane.RowSize(), target);
        }
    }
}

[[gnu::always_inline]] inline void SelectBinomial(const SPlane& plane, std::size_t radius,
                                                  const float* source, float* target)
{
    switch (radius) {
    case 1:
        BinomialBody<1>(plane, source, target);
        break;
    case 2:
        BinomialBody<2>(plane, source, target);
        break;
    case 3:
        BinomialBody<3>(plane, source, target);
        break;
    case 4:
        BinomialBody<4>(plane, source, target);
        break;
    case 5:
        BinomialBody<5>(plane, source, target);
        break;
    default:
        std::copy_n(source, plane.Size(), target);
        break;
    }
}

using Filter = void (*)(const SPlane&, std::size_t, const float*, float*);

void BinomialBasic(const SPlane& plane, std::size_t radius, const float* source, float* target)
{
    SelectBinomial(plane, radius, source, target);
}
void BoxBasic(const SPlane& plane, std::size_t radius, const float* source, float* target)
{
    BoxBody(plane, radius, source, target);
}
void GradientBasic(const SPlane& plane, std::size_t axis, const float* source, float* target)
{
    GradientBody(plane, static_cast<EAxis>(axis), source, target);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void BinomialWide(const SPlane& plane, std::size_t radius, const float* source,
                                          float* target)
{
    SelectBinomial(plane, radius, source, target);
}
[[gnu::target("avx2")]] void BoxWide(const SPlane& plane, std::size_t radius, const float* source,
                                     float* target)
{
    BoxBody(plane, radius, source, target);
}
[[gnu::target("avx2")]] void GradientWide(const SPlane& plane, std::size_t axis, const float* source,
                                          float* target)
{
    GradientBody(plane, static_cast<EAxis>(axis), source, target);
}
#else
constexpr Filter BinomialWide = BinomialBasic;
constexpr Filter BoxWide = BoxBasic;
constexpr Filter GradientWide = GradientBasic;
#endif

/// Whether there are pixels at all, and a span of so many floats holds them. The product of hostile sizes may exceed
/// a size_t, so it is not formed.
bool IsHeldBy(const SPlane& plane, std::size_t size)
{
    const bool isEmpty = plane.width == 0 || plane.height == 0 || plane.channels == 0;
    return !isEmpty && plane.width <= size / plane.channels / plane.height;
}

void Run(Filter basic, Filter wide, const SPlane& plane, std::size_t argument, std::span<const float> source,
         std::span<float> target)
{
    if (IsHeldBy(plane, std::min(source.size(), target.size()))) {
        (VectorUnits::AreWide() ? wide : basic)(plane, argument, source.data(), target.data());
    }
}

} // namespace

void SmoothBinomial(const SPlane& plane, std::size_t radius, std::span<const float> source,
                    std::span<float> target)
{
    Run(BinomialBasic, BinomialWide, plane, radius, source, target);
}

void SmoothBox(const SPlane& plane, std::size_t radius, std::span<const float> source,
               std::span<float> target)
{
    if (radius <= c_uiMaxBoxRadius) {
        Run(BoxBasic, BoxWide, plane, radius, source, target);
    }
}

void Gradient(const SPlane& plane, EAxis axis, std::span<const float> source, std::span<float> target)
{
    Run(GradientBasic, GradientWide, plane, static_cast<std::size_t>(axis), source, target);
}

} // namespace LxCV::FilterKernels
