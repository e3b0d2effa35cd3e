// Pictures of square boards with known corners, for tests of their location.
#pragma once

#include "cctimage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace LxCV::TestSupport {

/// Pixels; integers are pixel centres.
struct SPoint
{
    double x;
    double y;
};

/// A board of separate squares, of which the image is an affine one: place (u, v), in units of the pitch, is seen at
/// origin + u * right + v * down.
struct SquareBoard
{
    SPoint origin{60.3, 55.7};
    SPoint right{60.0, 0.0};
    SPoint down{0.0, 60.0};
    int columns = 4;
    int rows = 3;
    double side = 0.6;         ///< pitches
    double embedded = 0.3;     ///< pitches; side of the bright squares in the middle of squares
    std::vector<int> marked{}; ///< squares with a bright one, numbered from 1 row by row
    float ground = 200.0F;     ///< grey levels
    float square = 60.0F;

    SPoint At(double u, double v) const
    {
        return {origin.x + u * right.x + v * down.x, origin.y + u * right.y + v * down.y};
    }

    /// Corners of a square with its upper left one at (u, v): upper left, upper right, lower left, lower right.
    std::array<SPoint, 4> Corners(double u, double v, double size) const
    {
        return {At(u, v), At(u + size, v), At(u, v + size), At(u + size, v + size)};
    }

    /// Of square `id`, or of the bright one in it.
    std::array<SPoint, 4> Square(int id) const
    {
        return Corners((id - 1) % columns, (id - 1) / columns, side);
    }
    std::array<SPoint, 4> Embedded(int id) const
    {
        const double inset = (side - embedded) / 2;
        return Corners((id - 1) % columns + inset, (id - 1) / columns + inset, embedded);
    }
};

/// The part of a convex polygon where a * x + b * y <= c.
inline std::vector<SPoint> Clip(const std::vector<SPoint>& polygon, double a, double b, double c)
{
    std::vector<SPoint> result;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const SPoint& p = polygon[i];
        const SPoint& q = polygon[(i + 1) % polygon.size()];
        const double dp = a * p.x + b * p.y - c;
        const double dq = a * q.x + b * q.y - c;
        if (dp <= 0.0) {
            result.push_back(p);
        }
        if ((dp < 0.0 && dq > 0.0) || (dp > 0.0 && dq < 0.0)) {
            const double t = dp / (dp - dq);
            result.push_back({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
        }
    }
    return result;
}

inline double Area(const std::vector<SPoint>& polygon)
{
    double twice = 0.0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const SPoint& p = polygon[i];
        const SPoint& q = polygon[(i + 1) % polygon.size()];
        twice += p.x * q.y - q.x * p.y;
    }
    return std::abs(twice) / 2;
}

/// Paints a quadrilateral; each pixel takes the level by the share of it that the quadrilateral covers, exactly.
inline void PaintQuad(CCTImage& image, const std::array<SPoint, 4>& corners, float level)
{
    const std::vector<SPoint> quad{corners[0], corners[1], corners[3], corners[2]};
    const auto [left, right] = std::minmax_element(
        quad.begin(), quad.end(), [](const SPoint& a, const SPoint& b) { return a.x < b.x; });
    const auto [top, bottom] = std::minmax_element(
        quad.begin(), quad.end(), [](const SPoint& a, const SPoint& b) { return a.y < b.y; });
    const int lastX = std::min(image.GetWidth() - 1, static_cast<int>(std::ceil(right->x)));
    const int lastY = std::min(image.GetHeight() - 1, static_cast<int>(std::ceil(bottom->y)));
    for (int y = std::max(0, static_cast<int>(std::floor(top->y))); y <= lastY; ++y) {
        const std::vector<SPoint> row = Clip(Clip(quad, 0.0, -1.0, 0.5 - y), 0.0, 1.0, y + 0.5);
        const double rowArea = Area(row);
        double before = left->x < -0.5 ? Area(Clip(row, 1.0, 0.0, -0.5)) : 0.0; // left of the pixel
        for (int x = std::max(0, static_cast<int>(std::floor(left->x))); x <= lastX; ++x) {
            const double after = x + 0.5 < right->x ? Area(Clip(row, 1.0, 0.0, x + 0.5)) : rowArea;
            const double share = after - before;
            before = after;
            LxCFloat3& pixel = image.GetFloat3Fast(x, y);
            pixel = pixel + LxCFloat3((level - pixel.get(0)) * static_cast<float>(share));
        }
    }
}

/// The board's picture, `eIDT_FLOAT32_3` with equal channels.
inline CCTImage Render(const SquareBoard& board, int width, int height)
{
    CCTImage image(width, height, CCTImage::eIDT_FLOAT32_3, board.ground);
    for (int id = 1; id <= board.columns * board.rows; ++id) {
        PaintQuad(image, board.Square(id), board.square);
    }
    for (const int id : board.marked) {
        PaintQuad(image, board.Embedded(id), board.ground);
    }
    return image;
}

} // namespace LxCV::TestSupport
