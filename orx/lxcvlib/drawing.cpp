// Rasterising with clipping.
#include "drawing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace LxCV::Drawing {

namespace {

constexpr double c_dHalf = 0.5;

double Round(double value)
{
    return std::floor(value + c_dHalf);
}

/// Positions from `begin` to `end`, given as doubles, that lie in 0 to size - 1.
struct SRange
{
    int first = 0;
    int last = -1;
};

SRange ClipRange(double begin, double end, int size)
{
    const double first = std::max(std::min(begin, end), 0.0);
    const double last = std::min(std::max(begin, end), static_cast<double>(size) - 1.0);
    return first <= last ? SRange{static_cast<int>(first), static_cast<int>(last)} : SRange{};
}

} // namespace

void Line(const SCanvas& canvas, double x1, double y1, double x2, double y2, const Plot& plot)
{
    if (!std::isfinite(x1) || !std::isfinite(y1) || !std::isfinite(x2) || !std::isfinite(y2)) {
        return;
    }
    const bool steep = std::abs(y2 - y1) > std::abs(x2 - x1);
    if (steep) {
        std::swap(x1, y1);
        std::swap(x2, y2);
    }
    const double start = Round(x1);
    const double length = x2 == x1 ? 1.0 : x2 - x1;
    const int across = steep ? canvas.width : canvas.height;
    const SRange range = ClipRange(start, Round(x2), steep ? canvas.height : canvas.width);
    for (int position = range.first; position <= range.last; ++position) {
        // The product is exact for whole pixels, so halves are told as halves wherever the line lies.
        const double value = Round(y1 + (position - x1) * (y2 - y1) / length);
        if (value >= 0.0 && value < across) {
            const int other = static_cast<int>(value);
            steep ? plot(other, position) : plot(position, other);
        }
    }
}

void Block(const SCanvas& canvas, int left, int top, int right, int bottom, const Plot& plot)
{
    const SRange columns = ClipRange(left, right, canvas.width);
    const SRange rows = ClipRange(top, bottom, canvas.height);
    for (int y = rows.first; y <= rows.last; ++y) {
        for (int x = columns.first; x <= columns.last; ++x) {
            plot(x, y);
        }
    }
}

void Curve(const SCanvas& canvas, bool alongX, int first, int last,
           const std::function<double(double)>& value, const Plot& plot)
{
    // One position beyond either border, so that the lines to them are drawn as far as they are seen.
    const int size = alongX ? canvas.width : canvas.height;
    const SRange range = ClipRange(std::int64_t{first} + 1.0, std::int64_t{last} + 1.0, size + 2);
    for (int shifted = range.first; shifted <= range.last; ++shifted) {
        const int position = shifted - 1;
        const int next = std::min(position + 1, range.last - 1);
        const double here = value(position);
        const double there = value(next);
        if (alongX) {
            Line(canvas, position, here, next, there, plot);
        } else {
            Line(canvas, here, position, there, next, plot);
        }
    }
}

} // namespace LxCV::Drawing
