// Longest rising subsequences.
#include "scanner/decoder/edgeorder.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace decoder {

void EdgeOrder::Init(int width, int height, std::size_t edges)
{
    m_lastNumbers.reserve(static_cast<std::size_t>(width));
    m_ends.reserve(static_cast<std::size_t>(width) + 1);
    m_list.reserve(edges);
    m_isKept.reserve(edges);
    m_tails.reserve(static_cast<std::size_t>(height));
    m_before.reserve(static_cast<std::size_t>(height));
}

void EdgeOrder::Apply(int width, std::vector<EdgePixel>& edges)
{
    if (IsInOrder(width, edges)) {
        return;
    }
    std::erase_if(edges, [width](const EdgePixel& edge) { return edge.column < 0 || edge.column >= width; });
    ListByColumn(width, edges);
    m_isKept.assign(edges.size(), false);
    std::size_t begin = 0;
    for (std::size_t column = 0; column < static_cast<std::size_t>(width); ++column) {
        SortOut(std::span(m_list).subspan(begin, m_ends[column] - begin), edges);
        begin = m_ends[column];
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (m_isKept[i]) {
            edges[kept++] = edges[i];
        }
    }
    edges.resize(kept);
}

bool EdgeOrder::IsInOrder(int width, const std::vector<EdgePixel>& edges)
{
    m_lastNumbers.assign(static_cast<std::size_t>(width), std::numeric_limits<int>::min());
    bool isInOrder = true;
    for (const EdgePixel& edge : edges) {
        if (edge.column < 0 || edge.column >= width) {
            return false;
        }
        int& last = m_lastNumbers[static_cast<std::size_t>(edge.column)];
        isInOrder &= edge.stripeEdge > last;
        last = edge.stripeEdge;
    }
    return isInOrder;
}

/// Counts the pixels of each column and then puts them into their places.
void EdgeOrder::ListByColumn(int width, const std::vector<EdgePixel>& edges)
{
    m_ends.assign(static_cast<std::size_t>(width) + 1, 0);
    for (const EdgePixel& edge : edges) {
        ++m_ends[static_cast<std::size_t>(edge.column) + 1];
    }
    std::partial_sum(m_ends.begin(), m_ends.end(), m_ends.begin());
    m_list.resize(edges.size());
    for (std::size_t i = 0; i < edges.size(); ++i) {
        m_list[m_ends[static_cast<std::size_t>(edges[i].column)]++] = i;
    }
}

/// Marks what stays of a column.
void EdgeOrder::SortOut(std::span<const std::size_t> column, const std::vector<EdgePixel>& edges)
{
    const auto numberOf = [&](std::size_t index) { return edges[column[index]].stripeEdge; };
    m_tails.clear();
    m_before.resize(column.size());
    for (std::size_t i = 0; i < column.size(); ++i) {
        const auto tail = std::ranges::lower_bound(m_tails, numberOf(i), {}, numberOf);
        m_before[i] = tail == m_tails.begin() ? i : *(tail - 1);
        if (tail == m_tails.end()) {
            m_tails.push_back(i);
        } else {
            *tail = i;
        }
    }
    std::size_t index = m_tails.empty() ? 0 : m_tails.back();
    for (std::size_t left = m_tails.size(); left > 0; --left) {
        m_isKept[column[index]] = true;
        index = m_before[index];
    }
}

} // namespace decoder
