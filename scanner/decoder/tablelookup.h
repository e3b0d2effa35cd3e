// Points between the grid positions of the library's table.
#pragma once

#include "lxc3dcoordscct.h"
#include "scanner/decoder/edgetracer.h"

#include <cstddef>

namespace LxCV {
class LxCTriangulationLUT;
}

namespace decoder {

/// The point of an edge pixel, interpolated in perspective between the four corners of its cell.
///
/// The light of a stripe edge is a plane n p = d, and the points that a camera without distortion sees of it are
/// p = z (u, v, 1), with u and v linear in column and row; so 1/z = n (u, v, 1) / d is linear in them as well. Hence
/// with bilinear weights w:
///
///     1/z = sum w_i / z_i,    x/z = sum w_i x_i / z_i,    y/z = sum w_i y_i / z_i
///
/// What is left is the curvature of lens and light plane within a cell of 8 by 4 pixels. The same weights on x, y and z
/// themselves are off by up to 16/8 of the second derivative of z along the rows, some 2 micrometres.
class PointTable
{
public:
    /// @param table filled, with at least one entry; must outlive this object and keep its entries
    explicit PointTable(const LxCV::LxCTriangulationLUT& table);

    /// Has the memory that `LookUp` will read brought near, as the table is larger than any cache.
    void Announce(const EdgePixel& edge) const;

    /// @param position mm, camera frame; unchanged where there is no point
    /// @return false for a cell with a corner without a point, and for positions and edges that the table does not have
    bool LookUp(const EdgePixel& edge, LxCV::LxC3DCoordsCCT& position) const;

private:
    /// A cell by the floats of its upper left corner, and the place in it, 0 to 1 from left to right and top to bottom.
    struct Cell
    {
        const float* corner;
        float a;
        float b;
    };

    /// @return false where there is none
    bool FindCell(const EdgePixel& edge, Cell& cell) const;

    const float* m_points; ///< entry after entry, row after row: X, Y, Z
    int m_width = 0;       ///< points in a row of an entry
    int m_height = 0;      ///< rows of an entry
    int m_edges;
};

} // namespace decoder
