// The lens of the virtual camera and of the virtual projector.
#pragma once

#include "scanner/device/geometry.h"

namespace device {

/// A central lens with radial and tangential distortion in front of a flat raster.
///
/// A point (X, Y, Z) of the device frame (mm, Z along the optical axis) has the ideal direction x = X/Z, y = Y/Z.
/// With q = x^2 + y^2 the lens moves it to
///   x' = x (1 + k2 q + k4 q^2 + k6 q^3) + 2 tau1 x y + tau2 (q + 2 x^2)
///   y' = y (1 + k2 q + k4 q^2 + k6 q^3) + tau1 (q + 2 y^2) + 2 tau2 x y
/// and the raster sees it at u = focalLength x' / pitchX + centreX, v likewise. For the camera (u, v) is column and
/// row of the image in pixels, for the projector the position on the slide in slide units.
///
/// Integer camera coordinates are pixel centres: pixel (c, r) gathers light over c-0.5..c+0.5, r-0.5..r+0.5.
struct LensParameters
{
    int width = 0;            ///< raster size, pixels or slide units
    int height = 0;           ///< raster size, pixels or slide units
    double pitchX = 1.0;      ///< mm per raster unit
    double pitchY = 1.0;      ///< mm per raster unit
    double centreX = 0.0;     ///< where the axis meets the raster, raster units
    double centreY = 0.0;     ///< where the axis meets the raster, raster units
    double focalLength = 1.0; ///< mm
    double k2 = 0.0;
    double k4 = 0.0;
    double k6 = 0.0;
    double tau1 = 0.0;
    double tau2 = 0.0;
};

/// @throws std::invalid_argument for numbers that describe no lens: an empty raster or one of more than 100000 units
/// either way, lengths that are not positive, numbers that are not finite
void CheckLens(const LensParameters& lens);

/// Maps between directions of a device frame and positions on its raster. Const operations may run on many
/// threads at once.
class Lens
{
public:
    explicit Lens(const LensParameters& parameters);

    /// Where the raster sees the ideal direction (x, y) = (X/Z, Y/Z).
    Vec2 RasterFromDirection(const Vec2& direction) const;

    /// The ideal direction (X/Z, Y/Z) that the raster position sees: Newton's method on the distortion, exact to
    /// rounding within the field where the distortion is one-to-one.
    Vec2 DirectionFromRaster(const Vec2& raster) const;

    const LensParameters& Parameters() const { return m_parameters; }

private:
    LensParameters m_parameters;
    double m_unitsX; ///< raster units per unit of direction
    double m_unitsY;
};

} // namespace device
