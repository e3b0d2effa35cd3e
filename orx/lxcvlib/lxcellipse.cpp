// Points of ellipses and distances to them.
#include "lxcellipse.h"

#include <algorithm>
#include <cmath>

namespace LxCV {

namespace {

constexpr double c_dOnAxis = 1e-12;
constexpr double c_dNewtonEnd = 1.1920928955078125e-7;
constexpr int c_iNewtonSteps = 64;
constexpr float c_fTwoPi = 6.2831855F;

/// The distance of a point on one axis at `position` from the centre.
/// @param along the semi-axis on which the point lies
/// @param across the other semi-axis
double DistanceOnAxis(double position, double along, double across)
{
    const double alongSq = along * along;
    const double acrossSq = across * across;
    // Inside the evolute of the flatter side the nearest points lie to both sides of the axis.
    if (across < along && std::abs(position) < along - acrossSq / along) {
        const double foot = alongSq * position / (alongSq - acrossSq);
        const double ratio = foot / along;
        const double offset = std::sqrt(std::abs(1.0 - ratio * ratio)) * across;
        return std::sqrt((foot - position) * (foot - position) + offset * offset);
    }
    return std::abs((position >= 0.0 ? along : -along) - position);
}

/// The distance of a point (u, w) off both axes. The nearest point is (A u / (t + A), B w / (t + B)) for the
/// largest root t of the quartic (t + B)^2 (t + A)^2 - (t + B)^2 u^2 A - (t + A)^2 w^2 B.
double DistanceByNewton(double u, double w, double a, double b)
{
    const double A = a * a;
    const double B = b * b;
    const double P = u * u * A;
    const double Q = w * w * B;
    const bool inside = (u / a) * (u / a) + (w / b) * (w / b) < 1.0;
    double t = inside ? 0.0 : std::max(a, b) * std::sqrt(u * u + w * w);
    double m = 0.0;
    double n = 0.0;
    for (int step = 0; step < c_iNewtonSteps; ++step) {
        m = t + B;
        n = t + A;
        const double F = m * m * n * n - m * m * P - n * n * Q;
        if (std::abs(F) < c_dNewtonEnd) {
            break;
        }
        const double D = m * n * (m + n) - m * P - n * Q;
        t -= F / (2.0 * D);
    }
    const double du = A * u / n - u;
    const double dw = B * w / m - w;
    return std::sqrt(du * du + dw * dw);
}

} // namespace

void LxCEllipse::Reset(double x, double y, double a, double b, double alpha)
{
    m_dX = x;
    m_dY = y;
    m_dA = a;
    m_dB = b;
    m_dAlpha = alpha;
    m_dCosAlpha = std::cos(alpha);
    m_dSinAlpha = std::sin(alpha);
}

void LxCEllipse::Shrink(double d)
{
    const auto shrunk = [d](double axis) { return axis - d > 0.0 ? axis - d : 0.0; };
    m_dA = shrunk(m_dA);
    m_dB = shrunk(m_dB);
}

void LxCEllipse::ConvertToPointSet(double* xs, double* ys, int n) const
{
    if (xs == nullptr || ys == nullptr || n < 1) {
        return;
    }
    const float step = c_fTwoPi / static_cast<float>(n);
    for (int i = 0; i < n; ++i) {
        const double angle = static_cast<float>(i) * step;
        const double p = m_dA * std::cos(angle);
        const double q = m_dB * std::sin(angle);
        xs[i] = m_dCosAlpha * p - m_dSinAlpha * q + m_dX;
        ys[i] = m_dSinAlpha * p + m_dCosAlpha * q + m_dY;
    }
}

LxCEllipse::Local LxCEllipse::ToLocal(double px, double py) const
{
    const double dx = px - m_dX;
    const double dy = py - m_dY;
    return {m_dCosAlpha * dx + m_dSinAlpha * dy, m_dCosAlpha * dy - m_dSinAlpha * dx};
}

double LxCEllipse::Distance(double px, double py) const
{
    const auto [u, w] = ToLocal(px, py);
    if (std::abs(u) <= c_dOnAxis) {
        return DistanceOnAxis(w, m_dB, m_dA);
    }
    if (std::abs(w) <= c_dOnAxis) {
        return DistanceOnAxis(u, m_dA, m_dB);
    }
    return DistanceByNewton(u, w, m_dA, m_dB);
}

double LxCEllipse::DistanceApproximate(double px, double py, bool signedResult) const
{
    const auto [u, w] = ToLocal(px, py);
    const double A = m_dA * m_dA;
    const double B = m_dB * m_dB;
    const double k = 1.0 / std::sqrt(B * u * u + A * w * w);
    const double ab = m_dA * m_dB;
    const double du = u - ab * u * k;
    const double dw = w - ab * w * k;
    const double distance = std::sqrt(du * du + dw * dw);
    const bool outside = u * u / A + w * w / B > 1.0;
    return signedResult && !outside ? -distance : distance;
}

} // namespace LxCV
