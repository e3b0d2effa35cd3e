#include "scanner/device/lens.h"

#include <stdexcept>

namespace device {

namespace {

/// The distorted direction and its derivatives by the ideal one.
struct Distorted
{
    Vec2 at;
    double xx, xy, yx, yy; ///< d x'/d x, d x'/d y, d y'/d x, d y'/d y
};

Distorted Distort(const LensParameters& lens, double x, double y)
{
    const double q = x * x + y * y;
    const double radial = 1.0 + q * (lens.k2 + q * (lens.k4 + q * lens.k6));
    const double slope = 2.0 * (lens.k2 + q * (2.0 * lens.k4 + q * 3.0 * lens.k6)); // d radial/d x = slope x
    Distorted result{};
    result.at.x = x * radial + 2.0 * lens.tau1 * x * y + lens.tau2 * (q + 2.0 * x * x);
    result.at.y = y * radial + lens.tau1 * (q + 2.0 * y * y) + 2.0 * lens.tau2 * x * y;
    result.xx = radial + slope * x * x + 2.0 * lens.tau1 * y + 6.0 * lens.tau2 * x;
    result.xy = slope * x * y + 2.0 * lens.tau1 * x + 2.0 * lens.tau2 * y;
    result.yx = result.xy;
    result.yy = radial + slope * y * y + 6.0 * lens.tau1 * y + 2.0 * lens.tau2 * x;
    return result;
}

} // namespace

void CheckLens(const LensParameters& lens)
{
    constexpr int c_largest = 100000;
    if (lens.width <= 0 || lens.width > c_largest || lens.height <= 0 || lens.height > c_largest) {
        throw std::invalid_argument("the raster of a lens is empty or too large");
    }
    if (!(lens.pitchX > 0.0 && lens.pitchY > 0.0 && lens.focalLength > 0.0)) {
        throw std::invalid_argument("pitch and focal length of a lens must be positive");
    }
    for (const double value : {lens.pitchX, lens.pitchY, lens.focalLength, lens.centreX, lens.centreY,
                               lens.k2, lens.k4, lens.k6, lens.tau1, lens.tau2}) {
        if (!std::isfinite(value)) {
            throw std::invalid_argument("the numbers of a lens must be finite");
        }
    }
}

Lens::Lens(const LensParameters& parameters)
    : m_parameters(parameters), m_unitsX(parameters.focalLength / parameters.pitchX),
      m_unitsY(parameters.focalLength / parameters.pitchY)
{}

Vec2 Lens::RasterFromDirection(const Vec2& direction) const
{
    const Vec2 seen = Distort(m_parameters, direction.x, direction.y).at;
    return {m_unitsX * seen.x + m_parameters.centreX, m_unitsY * seen.y + m_parameters.centreY};
}

Vec2 Lens::DirectionFromRaster(const Vec2& raster) const
{
    constexpr int maxSteps = 30; // mild distortion needs four; the bound only ends a hopeless search
    const double targetX = (raster.x - m_parameters.centreX) / m_unitsX;
    const double targetY = (raster.y - m_parameters.centreY) / m_unitsY;
    const double enough = 1e-15 * (1.0 + std::abs(targetX) + std::abs(targetY));
    Vec2 direction{targetX, targetY};
    for (int step = 0; step < maxSteps; ++step) {
        const Distorted seen = Distort(m_parameters, direction.x, direction.y);
        const double missX = targetX - seen.at.x;
        const double missY = targetY - seen.at.y;
        const double determinant = seen.xx * seen.yy - seen.xy * seen.yx;
        const double moveX = (missX * seen.yy - missY * seen.xy) / determinant;
        const double moveY = (missY * seen.xx - missX * seen.yx) / determinant;
        direction.x += moveX;
        direction.y += moveY;
        if (!(std::abs(moveX) + std::abs(moveY) > enough)) {
            break;
        }
    }
    return direction;
}

} // namespace device
