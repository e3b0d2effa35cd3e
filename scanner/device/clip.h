// Cuts polygons at straight borders.
#pragma once

#include "scanner/device/geometry.h"

#include <span>
#include <vector>

namespace device {

inline Vec2 Between(const Vec2& a, const Vec2& b, double share)
{
    return {a.x + share * (b.x - a.x), a.y + share * (b.y - a.y)};
}

inline Vec3 Between(const Vec3& a, const Vec3& b, double share)
{
    return a + share * (b - a);
}

/// The part of a polygon where `inside(corner)` is not negative (Sutherland and Hodgman). `inside` is an affine
/// function of the point. A polygon that falls into several parts keeps them joined by sides along the border.
template <typename Point, typename Inside>
std::vector<Point> ClipPolygon(const std::vector<Point>& polygon, const Inside& inside)
{
    std::vector<Point> kept;
    kept.reserve(polygon.size() + 4);
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Point& a = polygon[i];
        const Point& b = polygon[(i + 1) % polygon.size()];
        const double ofA = inside(a), ofB = inside(b);
        if (ofA >= 0.0) {
            kept.push_back(a);
        }
        if ((ofA >= 0.0) != (ofB >= 0.0)) {
            kept.push_back(Between(a, b, ofA / (ofA - ofB)));
        }
    }
    return kept;
}

} // namespace device
