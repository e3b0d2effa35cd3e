// Which pixels lines and curves cover, free of the image class.
#pragma once

#include "orx/base/export.h"

#include <functional>

namespace LxCV::Drawing {

/// The pixels that may be drawn to: 0 <= x < width, 0 <= y < height.
struct SCanvas
{
    int width = 0;
    int height = 0;
};

/// Called for each pixel, which lies on the canvas.
using Plot = std::function<void(int x, int y)>;

// The work of all of these is bounded by the size of the canvas, whatever the coordinates. Coordinates are pixels,
// with integers at the centres; those that are not finite draw nothing.

/// A straight line of one pixel a column or, where it is steep, a row, both ends included. The part on the canvas is
/// the same as that of the whole line.
ORX_EXPORT void Line(const SCanvas& canvas, double x1, double y1, double x2, double y2, const Plot& plot);

/// The filled block of pixels from (left, top) to (right, bottom), both included; the order of the corners is free.
ORX_EXPORT void Block(const SCanvas& canvas, int left, int top, int right, int bottom, const Plot& plot);

/// A curve value(position) from `first` to `last`, a pixel for each position and lines between them.
/// @param alongX whether positions are columns and values rows; else the other way round
ORX_EXPORT void Curve(const SCanvas& canvas, bool alongX, int first, int last,
                      const std::function<double(double)>& value, const Plot& plot);

} // namespace LxCV::Drawing
