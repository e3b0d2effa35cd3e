// An ellipse in the image plane.
#pragma once

#include "orx/base/export.h"

namespace LxCV {

/// The points (x, y) + R(alpha) (a cos t, b sin t), where R turns from the x axis towards the y axis: semi-axis a
/// lies along the direction alpha, b at right angles to it. Lengths are in the unit of the coordinates, commonly
/// pixels. Cosine and sine of alpha are cached and always belong to alpha.
class ORX_EXPORT LxCEllipse
{
public:
    /// A point at the origin.
    LxCEllipse() = default;

    /// @param alpha radians
    LxCEllipse(double x, double y, double a, double b, double alpha) { Reset(x, y, a, b, alpha); }
    void Reset(double x, double y, double a, double b, double alpha);

    double GetX() const { return m_dX; }
    double GetY() const { return m_dY; }
    double GetA() const { return m_dA; }
    double GetB() const { return m_dB; }
    double GetAlpha() const { return m_dAlpha; }

    /// Takes `d` off both semi-axes; neither falls below 0.
    void Shrink(double d);
    void Grow(double d) { Shrink(-d); }

    /// Points of the ellipse at n equal steps of the parameter, beginning on semi-axis a. The step is held in
    /// single precision.
    /// @param xs, ys room for n values each; null, and n below 1, write nothing
    void ConvertToPointSet(double* xs, double* ys, int n) const;

    /// The distance of a point to the nearest point of the ellipse, by Newton iteration; not negative. Not a
    /// number for an ellipse that has shrunk to a point, unless the point asked for lies on one of its axes.
    double Distance(double px, double py) const;

    /// The distance of a point to the point of the ellipse on the same ray from the centre; not a number at the
    /// centre itself.
    /// @param signedResult whether points inside and on the ellipse give a value that is not above 0
    double DistanceApproximate(double px, double py, bool signedResult) const;

private:
    struct Local
    {
        double u; ///< along semi-axis a
        double w; ///< along semi-axis b
    };
    Local ToLocal(double px, double py) const;

    double m_dX = 0.0;
    double m_dY = 0.0;
    double m_dA = 0.0;
    double m_dB = 0.0;
    double m_dAlpha = 0.0; ///< radians
    double m_dCosAlpha = 1.0;
    double m_dSinAlpha = 0.0;
};

} // namespace LxCV
