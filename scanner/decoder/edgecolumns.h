// The stripe edges of an image, column by column.
#pragma once

#include "lxcsubpixel.h"
#include "lxcsymbol.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace decoder {

/// What code words are read from: the edges of each image column by ascending row, at most one a row.
class EdgeColumns
{
public:
    struct Edge
    {
        std::int32_t position; ///< 1/64 rows; integer rows are pixel centres. Not negative
        LxCV::LxCSymbol symbol;
    };

    /// Takes the memory for so many columns with so many edges in all. More of them are no fault.
    void Reserve(int columns, std::size_t edges)
    {
        m_ends.reserve(static_cast<std::size_t>(columns));
        m_edges.reserve(edges);
    }

    void Clear()
    {
        m_ends.clear();
        m_edges.clear();
    }

    /// Begins the column behind the last one.
    void BeginColumn() { m_ends.push_back(m_edges.size()); }

    /// Adds an edge to the column that was begun last. It takes the place of one in the same row.
    /// @param edge not above the one before
    void Add(const Edge& edge)
    {
        if (m_edges.size() > BeginOf(m_ends.size() - 1) && RowOf(m_edges.back()) == RowOf(edge)) {
            m_edges.back() = edge;
        } else {
            m_edges.push_back(edge);
        }
        m_ends.back() = m_edges.size();
    }

    int CountColumns() const { return static_cast<int>(m_ends.size()); }

    /// @throws std::out_of_range for a column that there is not
    std::span<const Edge> At(int column) const
    {
        const auto index = static_cast<std::size_t>(column);
        const std::size_t begin = BeginOf(index);
        return std::span(m_edges).subspan(begin, m_ends.at(index) - begin);
    }

    /// The pixel that holds the edge.
    static int RowOf(const Edge& edge) { return edge.position >> LxCV::LxCSubpixel::m_sciNrSubpixBits; }

private:
    std::size_t BeginOf(std::size_t column) const { return column == 0 ? 0 : m_ends.at(column - 1); }

    std::vector<Edge> m_edges;
    std::vector<std::size_t> m_ends; ///< per column: behind its last edge
};

} // namespace decoder
