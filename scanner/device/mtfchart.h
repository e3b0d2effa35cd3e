// A test chart for the contrast of the optics: its image, with a contrast that is known.
#pragma once

#include "scanner/device/geometry.h"
#include "scanner/device/image.h"

namespace device {

/// A pattern of bars: half a period dark, half a period bright.
struct MtfBars
{
    double period = 12.0; ///< pixels
    double dark = 40.0;   ///< grey level of the bars before the blur
};

/// Dark ink on bright ground. Chart coordinates (u, v) are pixels about the centre of the rings, u to the right and v
/// downwards where there is no tilt; with the tilt t the chart point (u, v) is seen at
///
///     (centre.x + u cos t - v sin t, centre.y + u sin t + v cos t)   [pixels, integers being pixel centres].
///
/// In the middle a disc of radius 0.16 s and two rings of the radii 0.28 s and 0.4 s, s being the scale. On the lattice
/// of pitch s around it lie square patches of bars: bars along v at the places where both multiples are odd, bars along
/// u where both are even, without the middle, in each a bar in its middle. A straight line along v at the right side
/// tells the tilt; patches end before it.
struct MtfChart
{
    int width = 658;
    int height = 494;
    Vec2 centre{329.0, 247.0};     ///< pixels
    double tilt = 0.0;             ///< radians, clockwise in the image
    double scale = 70.0;           ///< s, pixels
    double bright = 215.0;         ///< grey level of the ground
    double ink = 20.0;             ///< grey level of rings and line before the blur
    double ringWidth = 3.0;        ///< pixels
    double patchSide = 0.9;        ///< of the scale
    MtfBars alongV;                ///< bars that are read across, for the horizontal contrast
    MtfBars alongU{9.0, 90.0};     ///< for the vertical contrast
    double lineDistance = 296.5;   ///< u of the line, pixels
    double lineWidth = 4.0;        ///< pixels
    double lineHalfLength = 200.0; ///< pixels
    double blur = 0.8;             ///< sigma of the optics and the pixel together, pixels, 0 to 10; 0 is none
    double rowStretch = 1.0;       ///< factor on v in the image
};

/// The image in three equal channels, in grey levels that are not rounded, each pixel the blurred chart at its centre.
///
/// Bars and line are exact: products of differences of the Gaussian distribution function. Discs and rings take the
/// blur of a straight edge along their radius, which is off by about blur^2 / radius pixels.
/// @throws std::invalid_argument for numbers that are not finite or describe no chart
ImageF RenderMtfChart(const MtfChart& chart);

/// (max - min) / (max + min) of bars in the middle of a patch after the blur.
double MtfContrast(const MtfChart& chart, const MtfBars& bars);

} // namespace device
