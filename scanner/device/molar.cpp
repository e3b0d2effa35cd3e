// A tooth-like surface as a smooth height field.
#include "scanner/device/scene.h"

#include "scanner/device/texture.h"

#include <algorithm>

namespace device {

namespace {

/// A number with its derivatives by x and y.
struct Dual
{
    double value = 0.0;
    double dx = 0.0;
    double dy = 0.0;
};

Dual operator+(const Dual& a, const Dual& b)
{
    return {a.value + b.value, a.dx + b.dx, a.dy + b.dy};
}
Dual operator+(const Dual& a, double b)
{
    return {a.value + b, a.dx, a.dy};
}
Dual operator*(double s, const Dual& a)
{
    return {s * a.value, s * a.dx, s * a.dy};
}
Dual operator*(const Dual& a, const Dual& b)
{
    return {a.value * b.value, a.value * b.dx + a.dx * b.value, a.value * b.dy + a.dy * b.value};
}
Dual Square(const Dual& a)
{
    return {a.value * a.value, 2.0 * a.value * a.dx, 2.0 * a.value * a.dy};
}
Dual Inverse(const Dual& a)
{
    const double inverse = 1.0 / a.value;
    const double slope = -inverse * inverse;
    return {inverse, slope * a.dx, slope * a.dy};
}

/// A hump of height 1 at 0 that falls to 1/2 at t = 0.64 and to nothing far away; t2 is t squared.
Dual Hump(const Dual& t2)
{
    return Square(Inverse(t2 + 1.0));
}

struct Cusp
{
    double x, y;          ///< mm
    double height;        ///< mm
    double inverseRadius; ///< 1/mm
};

/// A groove between two ends, bent by a parabola.
struct Groove
{
    double x, y;         ///< middle, mm
    double alongX;       ///< unit direction
    double alongY;       ///<
    double bend;         ///< 1/mm
    double depth;        ///< mm
    double inverseWidth; ///< 1/mm
    double inverseReach; ///< 1/mm, along the groove
};

constexpr std::array<Cusp, 5> c_cusps{{
    {-3.3, -2.5, 1.25, 1.0 / 2.1},
    {0.4, -2.8, 1.05, 1.0 / 1.8},
    {3.8, -1.7, 0.75, 1.0 / 1.6},
    {-3.0, 2.5, 1.35, 1.0 / 2.2},
    {2.4, 2.4, 1.20, 1.0 / 2.1},
}};

constexpr std::array<Groove, 5> c_grooves{{
    {0.0, 0.05, 1.0, 0.0, 0.035, 0.75, 1.0 / 0.55, 1.0 / 4.6},
    {-1.4, -2.2, 0.28, -0.96, 0.05, 0.50, 1.0 / 0.40, 1.0 / 2.4},
    {2.2, -2.0, -0.6, -0.8, -0.05, 0.42, 1.0 / 0.38, 1.0 / 2.2},
    {-0.3, 2.2, 0.12, 0.9928, 0.04, 0.52, 1.0 / 0.42, 1.0 / 2.4},
    {4.4, 0.9, 0.8, 0.6, 0.0, 0.25, 1.0 / 0.40, 1.0 / 1.6},
}};

constexpr double c_gumDepth = 36.2;   // mm
constexpr double c_crownHeight = 4.0; // mm, from the gum to the table between the cusps
constexpr double c_crownHalfX = 7.2;  // mm, half way down the flanks
constexpr double c_crownHalfY = 5.5;  // mm
constexpr double c_nearest = 29.0;    // mm, nothing of the surface is nearer to the camera
constexpr double c_farthest = 37.5;   // mm, nothing of the surface is farther
constexpr double c_steepest = 2.0;    // bound of the surface's slope
constexpr double c_monotone = 0.95;   // a ray that the surface's slope gains on by less meets it exactly once
constexpr std::uint64_t c_toothKey = 9101;
constexpr std::uint64_t c_gumKey = 9201;

/// 1 on the crown, 0 on the gum, with smooth flanks between: 1 / (1 + (x/a)^8 + ...), a rounded box.
Dual CrownShare(const Dual& x, const Dual& y)
{
    const Dual quarticX = Square(Square((1.0 / c_crownHalfX) * x));
    const Dual quarticY = Square(Square((1.0 / c_crownHalfY) * y));
    return Inverse(Square(quarticX + quarticY) + 1.0);
}

Dual CuspRelief(const Dual& x, const Dual& y)
{
    Dual relief;
    for (const Cusp& cusp : c_cusps) {
        const Dual towardX = cusp.inverseRadius * (x + -cusp.x);
        const Dual towardY = cusp.inverseRadius * (y + -cusp.y);
        relief = relief + cusp.height * Hump(Square(towardX) + Square(towardY));
    }
    return relief;
}

/// Depth of the fissures, mm.
Dual FissureRelief(const Dual& x, const Dual& y)
{
    Dual relief;
    for (const Groove& groove : c_grooves) {
        const Dual fromX = x + -groove.x;
        const Dual fromY = y + -groove.y;
        const Dual along = groove.alongX * fromX + groove.alongY * fromY;
        const Dual across = groove.alongX * fromY + -groove.alongY * fromX + groove.bend * Square(along);
        const Dual reach = Square(groove.inverseReach * along);
        relief = relief + groove.depth * (Inverse(Square(groove.inverseWidth * across) + 1.0) *
                                          Inverse(Square(reach) + 1.0));
    }
    return relief;
}

class Molar : public Scene
{
public:
    std::optional<Hit> Intersect(const Ray& ray) const override
    {
        const double distance = Distance(ray);
        if (!(distance > 0.0)) {
            return std::nullopt;
        }
        const Vec3 at = ray.origin + distance * ray.direction;
        const Dual depth = Depth(at.x, at.y);
        return Hit{distance, at, Normalized({depth.dx, depth.dy, -1.0}), Albedo(at.x, at.y), 0};
    }

    bool Hides(const Vec3& eye, const Vec3& point) const override
    {
        constexpr double c_skin = 1e-7; // share of the way; the point itself is no obstacle
        const Ray ray{eye, point - eye};
        if (eye.z < c_nearest && MeetsOnce(ray)) {
            return false;
        }
        const double distance = Distance(ray);
        return distance > 0.0 && distance < 1.0 - c_skin;
    }

private:
    /// The surface's z at (x, y), mm.
    static Dual Depth(double x, double y)
    {
        const Dual atX{x, 1.0, 0.0};
        const Dual atY{y, 0.0, 1.0};
        const Dual relief = CuspRelief(atX, atY) + -1.0 * FissureRelief(atX, atY) + c_crownHeight;
        const Dual swell = 0.006 * Square(atX) + -0.005 * Square(atY) + 0.01 * atX; // grows without end
        const Dual gum = swell * Inverse(0.5 * Square(swell) + 1.0);                // stays within 0.71 mm
        return gum + -1.0 * (CrownShare(atX, atY) * relief) + c_gumDepth;
    }

    static bool MeetsOnce(const Ray& ray)
    {
        const double sideways = std::hypot(ray.direction.x, ray.direction.y);
        return ray.direction.z > 0.0 && c_steepest * sideways < c_monotone * ray.direction.z;
    }

    /// Where the ray first meets the surface, in units of its direction; 0 where it does not.
    static double Distance(const Ray& ray)
    {
        if (!(ray.direction.z > 0.0)) {
            return 0.0; // the surface is looked at from the camera's side
        }
        double front = std::max(0.0, (c_nearest - ray.origin.z) / ray.direction.z);
        double back = (c_farthest - ray.origin.z) / ray.direction.z;
        if (!(front < back)) {
            return 0.0;
        }
        if (!MeetsOnce(ray)) {
            March(ray, front, back);
        }
        return Refine(ray, front, back);
    }

    /// How far the ray at `t` still is above the surface, mm along z, and its derivative by t.
    static double Gap(const Ray& ray, double t, double* slope)
    {
        const Dual depth = Depth(ray.origin.x + t * ray.direction.x, ray.origin.y + t * ray.direction.y);
        *slope = depth.dx * ray.direction.x + depth.dy * ray.direction.y - ray.direction.z;
        return depth.value - (ray.origin.z + t * ray.direction.z);
    }

    /// Narrows front..back to the first crossing: steps that cannot pass the surface, as its slope is bounded.
    static void March(const Ray& ray, double& front, double& back)
    {
        const double closing =
            ray.direction.z + c_steepest * std::hypot(ray.direction.x, ray.direction.y); // mm per unit of t
        const double least = 1e-3 / closing; // a bulge of less than a micrometre may be missed
        double t = front;
        while (t < back) {
            double slope = 0.0;
            const double gap = Gap(ray, t, &slope);
            if (gap <= 0.0) {
                back = t;
                return;
            }
            front = t;
            t += std::max(gap / closing, least);
        }
    }

    /// The root of the gap between front and back: Newton's method, by halves where it leaves the bracket.
    static double Refine(const Ray& ray, double front, double back)
    {
        constexpr int c_maxSteps = 60;
        constexpr double c_exact = 1e-13; // mm
        double t = 0.5 * (front + back);
        for (int step = 0; step < c_maxSteps; ++step) {
            double slope = 0.0;
            const double gap = Gap(ray, t, &slope);
            (gap > 0.0 ? front : back) = t;
            double next = t - gap / slope;
            if (!(next > front && next < back)) {
                next = 0.5 * (front + back);
            }
            const double move = std::abs(next - t);
            t = next;
            if (move * ray.direction.z < c_exact * c_farthest) {
                break;
            }
        }
        return t;
    }

    static Colour Albedo(double x, double y)
    {
        constexpr Colour c_enamel{0.60, 0.70, 0.76};
        constexpr Colour c_gum{0.36, 0.36, 0.66};
        constexpr double c_toothGrain = 1.8; // mm
        constexpr double c_gumGrain = 1.1;   // mm
        const Dual atX{x, 0.0, 0.0};
        const Dual atY{y, 0.0, 0.0};
        const double share = CrownShare(atX, atY).value;
        const double rim = std::clamp((share - 0.12) / 0.16, 0.0, 1.0);
        const double tooth = rim * rim * (3.0 - 2.0 * rim);
        const double stain = 1.0 - 0.22 * std::min(1.0, FissureRelief(atX, atY).value);
        const double toothShade = stain * (1.0 + 0.06 * Mottle(x, y, c_toothGrain, c_toothKey));
        const double gumShade = 1.0 + 0.10 * Mottle(x, y, c_gumGrain, c_gumKey);
        Colour albedo{};
        for (std::size_t channel = 0; channel < albedo.size(); ++channel) {
            albedo[channel] =
                tooth * toothShade * c_enamel[channel] + (1.0 - tooth) * gumShade * c_gum[channel];
        }
        return albedo;
    }
};

} // namespace

std::unique_ptr<Scene> MakeMolar()
{
    return std::make_unique<Molar>();
}

} // namespace device
