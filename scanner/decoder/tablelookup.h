// Points between the positions of a grid.
#pragma once

#include "lxc3dcoordscct.h"
#include "scanner/decoder/edgetracer.h"

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace decoder {

/// The points that a model has for every stripe edge at every eighth column and fourth row of the image, from which the
/// point of an edge pixel is interpolated in perspective, between the four corners of its cell.
///
/// The light of a stripe edge is a plane n p = d, and the points that a camera without distortion sees of it are
/// p = z (u, v, 1), with u and v linear in column and row; so 1/z = n (u, v, 1) / d is linear in them as well. Hence
/// the table holds x/z, y/z and 1/z, and with bilinear weights w:
///
///     1/z = sum w_i 1/z_i,    x/z = sum w_i x_i/z_i,    y/z = sum w_i y_i/z_i
///
/// What is left is the curvature of lens and light plane within a cell. The same weights on x, y and z
/// themselves are off by up to 16/8 of the second derivative of z along the rows, some 2 micrometres.
class PointTable
{
    /// A point p of the camera frame, mm; not numbers where there is none before the camera.
    struct Corner
    {
        float xOverZ;
        float yOverZ;
        float overZ;
    };

public:
    static constexpr int kStepX = 8; ///< columns of a cell
    static constexpr int kStepY = 4; ///< rows of a cell

    /// Fills the table, unless it is filled for such images; then the model counts as the same one. It has the stripe
    /// edges 0 to 255 at most.
    /// @param model calibrated
    /// @param width, height pixels of the image, at least 1
    /// @throws std::bad_alloc, std::invalid_argument for sizes below 1; the table is empty then
    void Init(const LxCV::LxCPinholeFramework& model, int width, int height);

    /// Gives the points of the stripe edges 0, 1, ... at a pixel, mm, camera frame; of depth 0 where there is none.
    using PointSource = std::function<void(int column, int row, std::span<LxCV::LxC3DCoordsCCT> points)>;

    /// Fills the table with points of so many stripe edges.
    /// @throws std::bad_alloc, std::invalid_argument for sizes below 1 and negative numbers of edges; the table is
    ///         empty then
    void Fill(int edges, int width, int height, const PointSource& pointsAt);

    bool IsFilled() const { return m_isFilled; }

    /// A place in the table, 0 to 1 from left to right and top to bottom of its cell.
    class Cell
    {
        friend class PointTable;
        const Corner* upperLeft = nullptr; ///< null where there is no cell
        float a = 0.0F;
        float b = 0.0F;
    };

    /// The place of an edge pixel, which is read from memory in the meantime, as the table is larger than any cache; none
    /// for positions and edges that the table does not have.
    Cell Find(const EdgePixel& edge) const;

    /// @param position mm, camera frame; unchanged where there is no point
    /// @return false for no place, and for one in a cell with a corner without a point
    bool LookUp(const Cell& cell, LxCV::LxC3DCoordsCCT& position) const;

private:
    static Corner CornerOf(const LxCV::LxC3DCoordsCCT& point);

    std::vector<Corner> m_corners; ///< stripe edge after stripe edge, row after row
    int m_columns = 0;             ///< corners in a row
    int m_rows = 0;                ///< rows of corners
    int m_edges = 0;
    bool m_isFilled = false;
};

} // namespace decoder
