// A cylinder between two balls.
#include "scanner/device/scene.h"

#include <algorithm>

namespace device {

namespace {

class Rod : public Scene
{
public:
    Rod(const Vec3& from, const Vec3& to, double radius, const Colour& albedo)
        : m_from(from), m_along(to - from), m_radius(radius), m_albedo(albedo)
    {}

    /// The rod is convex and the eye outside of it: it is entered where the first one of its parts is.
    std::optional<Hit> Intersect(const Ray& ray) const override
    {
        double distance = 0.0;
        for (const double entry :
             {EnterSide(ray), EnterBall(ray, m_from), EnterBall(ray, m_from + m_along)}) {
            distance = entry > 0.0 && !(distance > 0.0 && distance <= entry) ? entry : distance;
        }
        if (!(distance > 0.0)) {
            return std::nullopt;
        }
        const Vec3 at = ray.origin + distance * ray.direction;
        const double squared = Dot(m_along, m_along);
        const double share = squared > 0.0 ? std::clamp(Dot(at - m_from, m_along) / squared, 0.0, 1.0) : 0.0;
        return Hit{distance, at, (1.0 / m_radius) * (at - m_from - share * m_along), 0};
    }

    Colour Albedo(const Hit&) const override { return m_albedo; }

private:
    /// The smaller root of a t^2 - 2 b t + c; 0 without one, or where it lies behind the eye.
    static double FirstRoot(double a, double b, double c)
    {
        const double discriminant = b * b - a * c;
        return discriminant > 0.0 && b > 0.0 && c > 0.0 ? c / (b + std::sqrt(discriminant)) : 0.0;
    }

    double EnterBall(const Ray& ray, const Vec3& centre) const
    {
        const Vec3 toCentre = centre - ray.origin;
        return FirstRoot(Dot(ray.direction, ray.direction), Dot(ray.direction, toCentre),
                         Dot(toCentre, toCentre) - m_radius * m_radius);
    }

    /// The cylinder's equation in the parts of ray and axis that are at right angles to the axis.
    double EnterSide(const Ray& ray) const
    {
        const double squared = Dot(m_along, m_along);
        if (!(squared > 0.0)) {
            return 0.0;
        }
        const auto across = [&](const Vec3& v) { return v - (Dot(v, m_along) / squared) * m_along; };
        const Vec3 direction = across(ray.direction), toAxis = across(m_from - ray.origin);
        const double distance = FirstRoot(Dot(direction, direction), Dot(direction, toAxis),
                                          Dot(toAxis, toAxis) - m_radius * m_radius);
        const double share = Dot(ray.origin + distance * ray.direction - m_from, m_along) / squared;
        return share >= 0.0 && share <= 1.0 ? distance : 0.0;
    }

    Vec3 m_from;
    Vec3 m_along;
    double m_radius;
    Colour m_albedo;
};

} // namespace

std::unique_ptr<Scene> MakeRod(const Vec3& from, const Vec3& to, double radius, const Colour& albedo)
{
    return std::make_unique<Rod>(from, to, radius, albedo);
}

} // namespace device
