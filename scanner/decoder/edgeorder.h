// The order of the stripe edges along image columns.
#pragma once

#include "scanner/decoder/edgetracer.h"

#include <cstddef>
#include <span>
#include <vector>

namespace decoder {

/// Drops pixels of stripe edges that are out of order: down an image column the numbers of the edges rise, as on the
/// slide, unless an edge was numbered wrongly or a thin object stands far before the rest.
///
/// Of each column as few pixels are dropped as can be: what stays is a longest rising subsequence, found by patience
/// sorting (Schensted, Longest increasing and decreasing subsequences, 1961); of several, the one whose last number is
/// the smallest. Of an edge that is seen twice in a column one pixel stays.
class EdgeOrder
{
public:
    /// Makes the working buffers for images of so many pixels, with so many pixels of edges.
    void Init(int width, int height, std::size_t edges);

    /// @param edges by ascending row. What stays keeps its order; columns from `width` on and negative ones do not stay
    void Apply(int width, std::vector<EdgePixel>& edges);

private:
    /// Also whether all columns are below `width`.
    bool IsInOrder(int width, const std::vector<EdgePixel>& edges);
    void ListByColumn(int width, const std::vector<EdgePixel>& edges);
    void SortOut(std::span<const std::size_t> column, const std::vector<EdgePixel>& edges);

    std::vector<int> m_lastNumbers;    ///< per column; of the lowest edge so far
    std::vector<std::size_t> m_ends;   ///< per column: behind its last pixel in the list
    std::vector<std::size_t> m_list;   ///< indices of pixels, column after column
    std::vector<bool> m_isKept;        ///< per pixel
    std::vector<std::size_t> m_tails;  ///< per length: index in the column of the smallest last number
    std::vector<std::size_t> m_before; ///< per pixel of the column: the one before it in its subsequence
};

} // namespace decoder
