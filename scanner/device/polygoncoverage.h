// Which share of each pixel a polygon covers.
#pragma once

#include "scanner/device/geometry.h"

#include <cstddef>
#include <span>
#include <vector>

namespace device {

/// A raster of area shares, exact up to rounding: no sampling takes part.
///
/// Every side of a polygon adds, row by row, the signed area between itself and the raster's right border; the sum
/// over a closed outline is the area inside. Pixel (c, r) reaches over c-0.5..c+0.5, r-0.5..r+0.5, and (0, 0) is the
/// raster's first pixel.
class PolygonCoverage
{
public:
    /// @throws std::invalid_argument for a negative size
    PolygonCoverage(int width, int height);

    /// Adds `weight` times the share that the polygon covers to every pixel. The way in which the corners go round
    /// does not count; what the outline goes round twice counts twice. What lies outside the raster is cut off.
    /// @throws std::invalid_argument for corners that are not finite
    void Add(std::span<const Vec2> polygon, double weight = 1.0);

    int Width() const { return m_width; }
    int Height() const { return m_height; }

    float At(int col, int row) const
    {
        return m_shares[static_cast<std::size_t>(row) * static_cast<std::size_t>(m_width) +
                        static_cast<std::size_t>(col)];
    }

    /// Row by row.
    std::span<const float> Shares() const { return m_shares; }

private:
    /// Pixels [left, right) x [top, bottom).
    struct Box
    {
        int left = 0, top = 0, right = 0, bottom = 0;
    };

    void AddSide(const Vec2& from, const Vec2& to, const Box& box);
    void AddStep(double leftX, double rightX, double height, std::size_t line);

    int m_width;
    int m_height;
    std::vector<float> m_shares;
    std::vector<double> m_changes; ///< of the share from pixel to pixel within the polygon's box, scratch
    std::size_t m_stride = 0;      ///< of m_changes
};

} // namespace device
