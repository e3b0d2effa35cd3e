#include "scanner/device/polygoncoverage.h"

#include "scanner/device/clip.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace device {

namespace {

/// The polygon within 0..width, 0..height in coordinates that begin at the first pixel's corner.
std::vector<Vec2> ClippedToRaster(std::span<const Vec2> polygon, double width, double height)
{
    std::vector<Vec2> corners;
    corners.reserve(polygon.size());
    bool within = true;
    for (const Vec2& corner : polygon) {
        if (!std::isfinite(corner.x) || !std::isfinite(corner.y)) {
            throw std::invalid_argument("the corners of a polygon must be finite");
        }
        corners.push_back({corner.x + 0.5, corner.y + 0.5});
        const Vec2& moved = corners.back();
        within = within && moved.x >= 0.0 && moved.x <= width && moved.y >= 0.0 && moved.y <= height;
    }
    if (within) {
        return corners;
    }
    corners = ClipPolygon(corners, [](const Vec2& p) { return p.x; });
    corners = ClipPolygon(corners, [&](const Vec2& p) { return width - p.x; });
    corners = ClipPolygon(corners, [](const Vec2& p) { return p.y; });
    corners = ClipPolygon(corners, [&](const Vec2& p) { return height - p.y; });
    for (Vec2& corner : corners) {
        corner = {std::clamp(corner.x, 0.0, width), std::clamp(corner.y, 0.0, height)};
    }
    return corners;
}

/// Twice the signed area.
double SignedArea(std::span<const Vec2> polygon)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Vec2 a{polygon[i].x - polygon[0].x, polygon[i].y - polygon[0].y};
        const Vec2& next = polygon[(i + 1) % polygon.size()];
        const Vec2 b{next.x - polygon[0].x, next.y - polygon[0].y};
        sum += a.x * b.y - a.y * b.x;
    }
    return sum;
}

} // namespace

PolygonCoverage::PolygonCoverage(int width, int height) : m_width(width), m_height(height)
{
    if (width < 0 || height < 0) {
        throw std::invalid_argument("a raster cannot have a negative size");
    }
    m_shares.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
}

void PolygonCoverage::Add(std::span<const Vec2> polygon, double weight)
{
    const std::vector<Vec2> corners = ClippedToRaster(polygon, m_width, m_height);
    if (corners.size() < 3) {
        return;
    }
    const auto [left, right] = std::minmax_element(corners.begin(), corners.end(),
                                                   [](const Vec2& a, const Vec2& b) { return a.x < b.x; });
    const auto [top, bottom] = std::minmax_element(corners.begin(), corners.end(),
                                                   [](const Vec2& a, const Vec2& b) { return a.y < b.y; });
    const Box box{static_cast<int>(left->x), static_cast<int>(top->y), static_cast<int>(std::ceil(right->x)),
                  static_cast<int>(std::ceil(bottom->y))};
    const auto columns = static_cast<std::size_t>(box.right - box.left);
    m_stride = columns + 2; // a side on the right border writes two changes beyond the box
    m_changes.assign(m_stride * static_cast<std::size_t>(box.bottom - box.top), 0.0);
    for (std::size_t i = 0; i < corners.size(); ++i) {
        AddSide(corners[i], corners[(i + 1) % corners.size()], box);
    }
    // With y down, a side that goes down has its area counted positive: the inside of a polygon that goes round from
    // x to y comes out negative.
    const double sign = SignedArea(corners) > 0.0 ? -weight : weight;
    for (int row = box.top; row < box.bottom; ++row) {
        const double* change = m_changes.data() + static_cast<std::size_t>(row - box.top) * m_stride;
        float* share = m_shares.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(m_width) +
                       static_cast<std::size_t>(box.left);
        double sum = 0.0;
        for (std::size_t col = 0; col < columns; ++col) {
            sum += change[col];
            share[col] += static_cast<float>(sign * sum);
        }
    }
}

void PolygonCoverage::AddSide(const Vec2& from, const Vec2& to, const Box& box)
{
    if (from.y == to.y) {
        return;
    }
    const double sign = from.y < to.y ? 1.0 : -1.0;
    const Vec2& upper = from.y < to.y ? from : to;
    const Vec2& lower = from.y < to.y ? to : from;
    const double slope = (lower.x - upper.x) / (lower.y - upper.y);
    const double least = std::min(from.x, to.x), greatest = std::max(from.x, to.x);
    double y = upper.y, x = upper.x;
    for (int row = static_cast<int>(upper.y); y < lower.y; ++row) {
        const bool last = lower.y <= row + 1.0;
        const double nextY = last ? lower.y : row + 1.0;
        const double nextX =
            last ? lower.x : std::clamp(upper.x + slope * (nextY - upper.y), least, greatest);
        AddStep(std::min(x, nextX) - box.left, std::max(x, nextX) - box.left, sign * (nextY - y),
                static_cast<std::size_t>(row - box.top));
        x = nextX;
        y = nextY;
    }
}

void PolygonCoverage::AddStep(double leftX, double rightX, double height, std::size_t line)
{
    const double width = rightX - leftX;
    const double middle = 0.5 * (leftX + rightX);
    // The area between the piece of side and a vertical line at x, left of that line, for a height of 1.
    const auto areaUpTo = [&](double x) {
        if (x <= leftX) {
            return 0.0;
        }
        return x >= rightX ? x - middle : 0.5 * (x - leftX) * (x - leftX) / width;
    };
    const int first = static_cast<int>(leftX), end = static_cast<int>(rightX) + 1;
    double* const changes = m_changes.data() + line * m_stride;
    double before = 0.0, shareBefore = 0.0;
    for (int col = first; col <= end; ++col) {
        const double area = areaUpTo(col + 1.0);
        const double share = area - before;
        changes[col] += height * (share - shareBefore);
        before = area;
        shareBefore = share;
    }
}

} // namespace device
