// Search for the shift of least cost.
#include "scanner/decoder/shiftestimator.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace decoder {

using LxCV::CCTImage;

namespace {

constexpr int kChannels = 3;
constexpr int kCell = 4;             ///< pixels of a row that are one mean, and rows that are joined
constexpr int kFirstRow = 2;         ///< that is sampled: within its four rows
constexpr int kRowStep = 8;          ///< from one sampled row to the next; a multiple of the joined rows
constexpr float kUnits = 8192;       ///< of a slope of 1
constexpr std::int16_t kLimit = 300; ///< that a difference counts at most; 0.04, some times the noise
constexpr float kDark = 3 * 12; ///< sum of grey levels; slopes of less, of joined rows a quarter, are noise
constexpr double kErrors = 5.0; ///< standard errors that a shift must gain; chance gains three of hundreds

// What stands for a slope that is not known: farther than the limit from each slope and from the other one.
constexpr std::int16_t kUnknown = 20000; ///< of the pattern
constexpr std::int16_t kUnknownReference = -10000;

/// In 16 bits, so that many fit a vector.
int DifferenceOf(std::int16_t a, std::int16_t b)
{
    const auto difference = static_cast<std::int16_t>(a - b);
    const auto distance = static_cast<std::int16_t>(difference < 0 ? -difference : difference);
    return std::min(distance, kLimit);
}

/// @param left, right sums of a cell's pixels
std::int16_t SlopeOf(float left, float right, std::int16_t unknown)
{
    const float sum = left + right;
    const float slope = kUnits * ((right - left) / sum);
    const bool isKnown = (sum >= 2 * kCell * kDark) & (std::abs(slope) <= kUnits);
    return static_cast<std::int16_t>(isKnown ? slope : static_cast<float>(unknown));
}

/// The sum of the channels of each pixel.
void TakeLevels(const float* pixels, std::span<float> levels)
{
    for (std::size_t i = 0; i < levels.size(); ++i) {
        levels[i] = pixels[kChannels * i] + pixels[kChannels * i + 1] + pixels[kChannels * i + 2];
    }
}

const float* FloatsOf(const CCTImage& image)
{
    return static_cast<const float*>(image.GetImageDataRaw());
}

/// Slopes at all cells of a row but the first and last.
void FillSlopes(std::span<const float> means, std::int16_t* slopes)
{
    slopes[0] = kUnknownReference;
    slopes[means.size() - 1] = kUnknownReference;
    for (std::size_t cell = 1; cell + 1 < means.size(); ++cell) {
        slopes[cell] = SlopeOf(means[cell - 1], means[cell + 1], kUnknownReference);
    }
}

} // namespace

void ShiftEstimator::Init(int width, int height)
{
    m_width = width;
    m_height = height;
    m_cells = width / kCell;
    const auto cells = static_cast<std::size_t>(m_cells);
    const auto rows = static_cast<std::size_t>(height);
    m_levels.resize(static_cast<std::size_t>(width));
    m_means.resize(static_cast<std::size_t>(width));
    m_joined.resize(cells);
    m_reference.resize(cells * rows);
    m_coarse.resize(cells * (rows / kCell));
    m_pattern.resize(cells * kCell * (rows / kRowStep + 1));
}

/// Whether anything is left within the border.
bool ShiftEstimator::IsLargeEnough() const
{
    return m_largest > 0 && m_largest < m_width && m_largest < m_height && 2 * FirstCell() < m_cells &&
           m_height > 2 * m_largest + kRowStep + kCell;
}

/// The first cell of the reference that is looked at: all that its slope is compared with lies within the border of the
/// pattern image.
int ShiftEstimator::FirstCell() const
{
    return (2 * m_largest) / kCell + 2;
}

ImageShift ShiftEstimator::Estimate(const CCTImage& reference, const CCTImage& pattern)
{
    Init(pattern.GetWidth(), pattern.GetHeight());
    if (!IsLargeEnough()) {
        return {};
    }
    TakeReference(FloatsOf(reference));
    TakePattern(FloatsOf(pattern));
    const ImageShift shift = m_isPyramid ? SearchAround(SearchGrid(kCell, true)) : SearchGrid(1, false);
    return IsClearlyBetter(shift) ? shift : ImageShift{};
}

void ShiftEstimator::TakeReference(const float* image)
{
    const std::span<float> means(m_means.data(), static_cast<std::size_t>(m_cells));
    for (int row = 0; row < m_height; ++row) {
        TakeLevels(image + std::ptrdiff_t{row} * m_width * kChannels, m_levels);
        for (std::size_t cell = 0; cell < means.size(); ++cell) {
            const float* const level = &m_levels[cell * kCell];
            means[cell] = (level[0] + level[1]) + (level[2] + level[3]);
        }
        FillSlopes(means, m_reference.data() + std::ptrdiff_t{row} * m_cells);
        for (std::size_t cell = 0; cell < means.size(); ++cell) {
            m_joined[cell] = means[cell] + (row % kCell == 0 ? 0.0F : m_joined[cell]);
        }
        if (row % kCell == kCell - 1) {
            FillSlopes(m_joined, m_coarse.data() + std::ptrdiff_t{row / kCell} * m_cells);
        }
    }
}

void ShiftEstimator::TakePattern(const float* image)
{
    std::int16_t* slopes = m_pattern.data();
    const auto columns = static_cast<std::size_t>(m_cells) * kCell;
    for (int row = kFirstRow; row < m_height; row += kRowStep) {
        TakeLevels(image + std::ptrdiff_t{row} * m_width * kChannels, m_levels);
        for (std::size_t i = 0; i + kCell <= m_levels.size(); ++i) {
            m_means[i] = (m_levels[i] + m_levels[i + 1]) + (m_levels[i + 2] + m_levels[i + 3]);
        }
        for (std::size_t phase = 0; phase < kCell; ++phase) {
            for (std::size_t i = phase; i < columns; i += kCell) {
                const bool isInside = i >= kCell && i + 2 * kCell <= m_levels.size();
                *slopes++ = isInside ? SlopeOf(m_means[i - kCell], m_means[i + kCell], kUnknown) : kUnknown;
            }
        }
    }
}

/// @param row of the pattern, one that is sampled
ShiftEstimator::Rows ShiftEstimator::RowsOf(std::int64_t row, ImageShift shift, bool isCoarse) const
{
    const int first = FirstCell();
    const auto size = static_cast<std::size_t>(m_cells - 2 * first);
    const int phase = ((shift.columns % kCell) + kCell) % kCell;
    const int cells = (shift.columns - phase) / kCell;
    const std::int64_t line = row / kRowStep * kCell + phase;
    const Slopes& slopes = isCoarse ? m_coarse : m_reference;
    const std::int64_t other = isCoarse ? (row - shift.rows) / kCell : row - shift.rows;
    return {{m_pattern.data() + line * m_cells + first + cells, size},
            {slopes.data() + other * m_cells + first, size}};
}

std::int64_t ShiftEstimator::CostOf(ImageShift shift, bool isCoarse) const
{
    std::int64_t cost = 0;
    const int end = m_height - m_largest - kCell; // so that all rows that are joined are there
    for (int row = kFirstRow + (m_largest + kRowStep) / kRowStep * kRowStep; row < end; row += kRowStep) {
        const Rows rows = RowsOf(row, shift, isCoarse);
        std::int32_t sum = 0;
        for (std::size_t i = 0; i < rows.pattern.size(); ++i) {
            sum += DifferenceOf(rows.pattern[i], rows.reference[i]);
        }
        cost += sum;
    }
    return cost;
}

/// Whether a shift's gain over none, summed over the places, is many times its standard error.
bool ShiftEstimator::IsClearlyBetter(ImageShift shift) const
{
    std::int64_t gain = 0;
    std::int64_t squares = 0;
    const int end = m_height - m_largest - kCell;
    for (int row = kFirstRow + (m_largest + kRowStep) / kRowStep * kRowStep; row < end; row += kRowStep) {
        const Rows before = RowsOf(row, {}, false);
        const Rows after = RowsOf(row, shift, false);
        for (std::size_t i = 0; i < before.pattern.size(); ++i) {
            const std::int64_t gained = DifferenceOf(before.pattern[i], before.reference[i]) -
                                        DifferenceOf(after.pattern[i], after.reference[i]);
            gain += gained;
            squares += gained * gained;
        }
    }
    return static_cast<double>(gain) > kErrors * std::sqrt(static_cast<double>(squares));
}

/// The best one of all shifts that are multiples of a step; of equal ones none, if it is among them.
ImageShift ShiftEstimator::SearchGrid(int step, bool isCoarse) const
{
    ImageShift best;
    std::int64_t least = CostOf(best, isCoarse);
    const int end = m_largest / step * step;
    for (int rows = -end; rows <= end; rows += step) {
        for (int columns = -end; columns <= end; columns += step) {
            if (const std::int64_t cost = CostOf({columns, rows}, isCoarse); cost < least) {
                least = cost;
                best = {columns, rows};
            }
        }
    }
    return best;
}

/// Goes down to the next minimum, first in steps of two pixels.
ImageShift ShiftEstimator::SearchAround(ImageShift start) const
{
    constexpr int kMostMoves = 4; // at each step; the start is at most about a cell away
    constexpr int kNeighbours = 9;
    ImageShift best = start;
    std::int64_t least = CostOf(best);
    for (const int step : {2, 1}) {
        for (int move = 0; move < kMostMoves; ++move) {
            const ImageShift centre = best;
            for (int i = 0; i < kNeighbours; ++i) {
                const ImageShift shift{centre.columns + step * (i % 3 - 1), centre.rows + step * (i / 3 - 1)};
                const bool isAllowed =
                    std::abs(shift.columns) <= m_largest && std::abs(shift.rows) <= m_largest;
                const std::int64_t cost = isAllowed ? CostOf(shift) : least;
                if (cost < least) {
                    least = cost;
                    best = shift;
                }
            }
            if (best == centre) {
                break;
            }
        }
    }
    return best;
}

} // namespace decoder
