// A tooth-like surface as a smooth height field.
#include "scanner/device/scene.h"

#include "scanner/device/texture.h"

#include <algorithm>

namespace device {

namespace {

/// A height in mm and its derivatives by x and y.
struct Height
{
    double value = 0.0;
    double dx = 0.0;
    double dy = 0.0;
};

/// A hump h / (1 + (r/radius)^2)^2 around a place.
struct Cusp
{
    double x, y;          ///< mm
    double height;        ///< mm
    double inverseRadius; ///< 1/mm
};

/// A groove depth / ((1 + (across/width)^2) (1 + (along/reach)^4)) along a parabola.
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

constexpr double c_gumDepth = 35.7;   // mm
constexpr double c_crownHeight = 3.3; // mm, from the gum to the table between the cusps
constexpr double c_crownHalfX = 7.2;  // mm, half way down the flanks
constexpr double c_crownHalfY = 5.9;  // mm
constexpr double c_nearest = 29.0;    // mm, nothing of the surface is nearer to the camera
constexpr double c_usual = 32.3;      // mm, where searching begins
constexpr double c_farthest = 36.5;   // mm, nothing of the surface is farther
constexpr double c_steepest = 2.0;    // bound of the surface's slope
constexpr double c_monotone = 0.95;   // a ray that the surface's slope gains on by less meets it exactly once
constexpr std::uint64_t c_toothKey = 9101;
constexpr std::uint64_t c_gumKey = 9201;

/// 1 on the crown, 0 on the gum, with smooth flanks between, a rounded box: 1 / (1 + ((x/a)^4 + (y/b)^4)^2).
Height CrownShare(double x, double y)
{
    const double a = x / c_crownHalfX, b = y / c_crownHalfY;
    const double cubeA = a * a * a, cubeB = b * b * b;
    const double sum = cubeA * a + cubeB * b;
    const double share = 1.0 / (1.0 + sum * sum);
    const double slope = -8.0 * share * share * sum;
    return {share, slope * cubeA / c_crownHalfX, slope * cubeB / c_crownHalfY};
}

Height CuspRelief(double x, double y)
{
    Height relief;
    for (const Cusp& cusp : c_cusps) {
        const double a = cusp.inverseRadius * (x - cusp.x);
        const double b = cusp.inverseRadius * (y - cusp.y);
        const double share = 1.0 / (1.0 + a * a + b * b);
        const double height = cusp.height * share * share;
        const double slope = -4.0 * height * share * cusp.inverseRadius;
        relief.value += height;
        relief.dx += slope * a;
        relief.dy += slope * b;
    }
    return relief;
}

/// Depth of the fissures.
Height FissureRelief(double x, double y)
{
    Height relief;
    for (const Groove& groove : c_grooves) {
        const double fromX = x - groove.x, fromY = y - groove.y;
        const double along = groove.alongX * fromX + groove.alongY * fromY;
        const double across = groove.inverseWidth *
                              (groove.alongX * fromY - groove.alongY * fromX + groove.bend * along * along);
        const double reach = groove.inverseReach * along;
        const double cube = reach * reach * reach;
        const double acrossTerm = 1.0 + across * across;
        const double alongTerm = 1.0 + cube * reach;
        const double inverse = 1.0 / (acrossTerm * alongTerm);
        const double depth = groove.depth * inverse;
        const double byAcross = -2.0 * depth * across * (inverse * alongTerm) * groove.inverseWidth;
        const double byAlong = -4.0 * depth * cube * (inverse * acrossTerm) * groove.inverseReach +
                               byAcross * 2.0 * groove.bend * along;
        relief.value += depth;
        relief.dx += byAlong * groove.alongX - byAcross * groove.alongY;
        relief.dy += byAlong * groove.alongY + byAcross * groove.alongX;
    }
    return relief;
}

/// The gum far from the crown: a saddle whose swell is kept within 0.71 mm.
Height Gum(double x, double y)
{
    const double swell = 0.006 * x * x - 0.005 * y * y + 0.01 * x;
    const double half = 0.5 * swell * swell;
    const double share = 1.0 / (1.0 + half);
    const double slope = (1.0 - half) * share * share;
    return {swell * share, slope * (0.012 * x + 0.01), slope * -0.01 * y};
}

/// The surface's z at (x, y).
Height Depth(double x, double y)
{
    const Height gum = Gum(x, y), share = CrownShare(x, y);
    const Height cusps = CuspRelief(x, y), fissures = FissureRelief(x, y);
    const double crown = c_crownHeight + cusps.value - fissures.value;
    return {c_gumDepth + gum.value - share.value * crown,
            gum.dx - share.dx * crown - share.value * (cusps.dx - fissures.dx),
            gum.dy - share.dy * crown - share.value * (cusps.dy - fissures.dy)};
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
        const Height depth = Depth(at.x, at.y);
        return Hit{distance, at, Normalized({depth.dx, depth.dy, -1.0}), 0};
    }

    Colour Albedo(const Hit& hit) const override
    {
        constexpr Colour c_enamel{0.60, 0.70, 0.76};
        constexpr Colour c_gum{0.38, 0.38, 0.66};
        constexpr double c_toothGrain = 1.8; // mm
        constexpr double c_gumGrain = 1.1;   // mm
        const double x = hit.point.x, y = hit.point.y;
        const double rim = std::clamp((CrownShare(x, y).value - 0.12) / 0.16, 0.0, 1.0);
        const double tooth = rim * rim * (3.0 - 2.0 * rim);
        const double stain = 1.0 - 0.22 * std::min(1.0, FissureRelief(x, y).value);
        const double toothShade = stain * (1.0 + 0.06 * Mottle(x, y, c_toothGrain, c_toothKey));
        const double gumShade = 1.0 + 0.10 * Mottle(x, y, c_gumGrain, c_gumKey);
        Colour albedo{};
        for (std::size_t channel = 0; channel < albedo.size(); ++channel) {
            albedo[channel] =
                tooth * toothShade * c_enamel[channel] + (1.0 - tooth) * gumShade * c_gum[channel];
        }
        return albedo;
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
    static double Sideways(const Ray& ray)
    {
        return std::sqrt(ray.direction.x * ray.direction.x + ray.direction.y * ray.direction.y);
    }

    static bool MeetsOnce(const Ray& ray)
    {
        return ray.direction.z > 0.0 && c_steepest * Sideways(ray) < c_monotone * ray.direction.z;
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
        const Height depth = Depth(ray.origin.x + t * ray.direction.x, ray.origin.y + t * ray.direction.y);
        *slope = depth.dx * ray.direction.x + depth.dy * ray.direction.y - ray.direction.z;
        return depth.value - (ray.origin.z + t * ray.direction.z);
    }

    /// Narrows front..back to the first crossing: steps that cannot pass the surface, as its slope is bounded.
    static void March(const Ray& ray, double& front, double& back)
    {
        const double closing = ray.direction.z + c_steepest * Sideways(ray); // mm per unit of t
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
        constexpr double c_lastStep = 1e-8;  // mm; Newton's steps shrink so fast that the next is rounding
        constexpr double c_lastHalf = 1e-13; // mm
        double t = std::clamp((c_usual - ray.origin.z) / ray.direction.z, front, back);
        for (int step = 0; step < c_maxSteps; ++step) {
            double slope = 0.0;
            const double gap = Gap(ray, t, &slope);
            (gap > 0.0 ? front : back) = t;
            double next = t - gap / slope;
            const bool halve = !(next > front && next < back);
            if (halve) {
                next = 0.5 * (front + back);
            }
            const double move = std::abs(next - t);
            t = next;
            if (move * ray.direction.z < (halve ? c_lastHalf : c_lastStep)) {
                break;
            }
        }
        return t;
    }
};

} // namespace

std::unique_ptr<Scene> MakeMolar()
{
    return std::make_unique<Molar>();
}

} // namespace device
