// Bridges across gaps.
#include "scanner/decoder/edgerepair.h"

#include "lxcsubpixel.h"
#include "scanner/decoder/edgefinder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCLightStripeEdgeSinglePixel;

namespace {

constexpr int kNumbers = 256; ///< of stripe edges; what the 8 bits of a traced id hold
constexpr std::int32_t kNone = -1;
constexpr std::int32_t kTwice = -2;
constexpr int kSureColumns = 8;    ///< that an edge is seen in at either side of a gap
constexpr int kLargestBend = 24;   ///< from an edge to a bridge, 1/64 rows a column
constexpr int kUnits = 64;         ///< a row
constexpr int kMostRows = 1 << 24; ///< whose 64ths an integer holds

int LongestGapOf(const DecoderConfig& config)
{
    const LxCV::LxCAlgorithmConfig& preset = config.algorithm.GetActiveAlgorithmConfig();
    const int gap = std::min(preset.m_iMaxIpolGap, config.Edges().m_iRepairEdgesMaxNumGaps);
    return preset.m_bRepairEdges ? std::max(gap, 0) : 0;
}

bool IsTraced(const CCTImage& words, int column, std::int32_t position)
{
    const auto word = static_cast<std::uint32_t>(words.GetInt32PixelFast(column, position / kUnits));
    return LxCLightStripeEdgeSinglePixel(word).IsPartOfATracedLightStripeEdge();
}

bool IsBefore(const EdgePixel& a, const EdgePixel& b)
{
    const double rowOfA = std::floor(a.row);
    const double rowOfB = std::floor(b.row);
    return rowOfA != rowOfB ? rowOfA < rowOfB : a.column < b.column;
}

} // namespace

EdgeRepair::EdgeRepair(const DecoderConfig& config)
    : m_longestGap(LongestGapOf(config)), m_steepest(kUnits * std::clamp(config.traceRadius, 0, kMostRows)),
      m_isUndercutFree(config.algorithm.GetActiveAlgorithmConfig().m_bRepairEdgesUndercutFree)
{}

void EdgeRepair::Init(int width, int height)
{
    m_positions.reserve(static_cast<std::size_t>(kNumbers) * static_cast<std::size_t>(width));
    m_added.reserve(ExpectedEdgePixels(width, height) / 4);
}

std::int32_t& EdgeRepair::At(int number, int column)
{
    return m_positions[static_cast<std::size_t>(number) * static_cast<std::size_t>(m_width) +
                       static_cast<std::size_t>(column)];
}

std::int32_t EdgeRepair::At(int number, int column) const
{
    return m_positions[static_cast<std::size_t>(number) * static_cast<std::size_t>(m_width) +
                       static_cast<std::size_t>(column)];
}

void EdgeRepair::Repair(CCTImage& words, std::vector<EdgePixel>& edges)
{
    if (!words.IsValid() || edges.empty()) {
        return;
    }
    if (words.GetDataType() != CCTImage::eIDT_INT32) {
        throw std::invalid_argument("stripe edges are repaired in an image of edge words");
    }
    m_width = words.GetWidth();
    Place(edges, std::min(words.GetHeight(), kMostRows));
    m_added.clear();
    for (int number = 0; number < m_numbers; ++number) {
        CloseGapsOf(number, words);
    }
    MergeInto(edges);
}

void EdgeRepair::Place(const std::vector<EdgePixel>& edges, int height)
{
    m_numbers = 0;
    for (const EdgePixel& edge : edges) {
        m_numbers = edge.stripeEdge < kNumbers ? std::max(m_numbers, edge.stripeEdge + 1) : m_numbers;
    }
    m_positions.assign(static_cast<std::size_t>(m_numbers) * static_cast<std::size_t>(m_width), kNone);
    for (const EdgePixel& edge : edges) {
        if (edge.stripeEdge >= 0 && edge.stripeEdge < kNumbers && edge.column >= 0 && edge.column < m_width &&
            edge.row >= 0.0 && edge.row < height) {
            std::int32_t& position = At(edge.stripeEdge, edge.column);
            position = position == kNone ? static_cast<std::int32_t>(edge.row * kUnits) : kTwice;
        }
    }
}

void EdgeRepair::CloseGapsOf(int number, CCTImage& words)
{
    int last = -1;
    for (int column = 0; column < m_width; ++column) {
        const std::int32_t position = At(number, column);
        if (position == kNone) {
            continue;
        }
        const int gap = column - last - 1;
        if (last >= 0 && gap > 0 && gap <= m_longestGap && IsSure(number, last, -1) &&
            IsSure(number, column, 1)) {
            Close({number, last, column}, words);
        }
        last = column;
    }
}

/// Whether an edge is seen in a column and without a gap in some beyond it.
/// @param direction -1 for those before, 1 for those behind
bool EdgeRepair::IsSure(int number, int column, int direction) const
{
    for (int i = 0; i < kSureColumns; ++i, column += direction) {
        if (column < 0 || column >= m_width || At(number, column) < 0) {
            return false;
        }
    }
    return true;
}

/// Whether a bridge goes on as its edge goes on either side. All slopes are multiplied by both numbers of columns.
bool EdgeRepair::IsStraight(const Gap& gap) const
{
    constexpr int kSide = kSureColumns - 1;
    const std::int64_t columns = gap.lastColumn - gap.firstColumn;
    const auto slope = [this, &gap](int from, int to, std::int64_t factor) {
        return (std::int64_t{At(gap.number, to)} - At(gap.number, from)) * factor;
    };
    const std::int64_t across = slope(gap.firstColumn, gap.lastColumn, kSide);
    const std::int64_t before = slope(gap.firstColumn - kSide, gap.firstColumn, columns);
    const std::int64_t behind = slope(gap.lastColumn, gap.lastColumn + kSide, columns);
    const std::int64_t limit = kLargestBend * kSide * columns;
    return std::abs(across) <= std::int64_t{m_steepest} * kSide * columns &&
           std::abs(across - before) <= limit && std::abs(across - behind) <= limit;
}

/// The row of a bridge in 1/64, rounded, halves down the image.
std::int32_t EdgeRepair::PositionIn(const Gap& gap, int column) const
{
    const std::int64_t first = At(gap.number, gap.firstColumn);
    const std::int64_t last = At(gap.number, gap.lastColumn);
    const std::int64_t columns = gap.lastColumn - gap.firstColumn;
    const std::int64_t sum = first * (gap.lastColumn - column) + last * (column - gap.firstColumn);
    return static_cast<std::int32_t>((2 * sum + columns) / (2 * columns));
}

/// Whether the nearest numbers seen in a column are on their sides of a position.
bool EdgeRepair::IsInOrder(int number, int column, std::int32_t position) const
{
    for (int above = number - 1; above >= 0; --above) {
        if (const std::int32_t other = At(above, column); other >= 0) {
            if (other >= position) {
                return false;
            }
            break;
        }
    }
    for (int below = number + 1; below < m_numbers; ++below) {
        if (const std::int32_t other = At(below, column); other >= 0) {
            return other > position;
        }
    }
    return true;
}

void EdgeRepair::Close(const Gap& gap, CCTImage& words)
{
    if (!IsStraight(gap)) {
        return;
    }
    const auto begin = m_added.size();
    for (int column = gap.firstColumn + 1; column < gap.lastColumn; ++column) {
        const std::int32_t position = PositionIn(gap, column);
        const bool isTaken = IsTraced(words, column, position);
        if (m_isUndercutFree && (isTaken || !IsInOrder(gap.number, column, position))) {
            m_added.resize(begin);
            return;
        }
        if (!isTaken) {
            m_added.push_back({column, static_cast<double>(position) / kUnits, gap.number});
        }
    }
    for (std::size_t i = begin; i < m_added.size(); ++i) {
        const EdgePixel& edge = m_added[i];
        const auto position = static_cast<std::int32_t>(edge.row * kUnits);
        LxCLightStripeEdgeSinglePixel word;
        word.EncodeTracedLSEdgeInfo(gap.number, position % kUnits);
        words.GetInt32PixelFast(edge.column, position / kUnits) = static_cast<int>(word.GetWord());
        At(gap.number, edge.column) = position;
    }
}

/// From the end, so that no other list is needed.
void EdgeRepair::MergeInto(std::vector<EdgePixel>& edges)
{
    std::sort(m_added.begin(), m_added.end(), IsBefore);
    std::size_t left = edges.size();
    edges.resize(left + m_added.size());
    std::size_t to = edges.size();
    for (std::size_t added = m_added.size(); added > 0;) {
        const bool isEdgeLater = left > 0 && IsBefore(m_added[added - 1], edges[left - 1]);
        edges[--to] = isEdgeLater ? edges[--left] : m_added[--added];
    }
}

} // namespace decoder
