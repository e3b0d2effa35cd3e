#include "scanner/device/scene.h"

#include "scanner/device/texture.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace device {

namespace {

constexpr std::uint64_t c_textureKey = 7001;
constexpr double c_grain = 2.5; // mm

Colour Scaled(const Colour& colour, double factor)
{
    return {colour[0] * factor, colour[1] * factor, colour[2] * factor};
}

/// Where a ray reaches the plane through `point` with `normal`; not positive where it does not.
double DistanceToPlane(const Ray& ray, const Vec3& point, const Vec3& normal)
{
    const double approach = Dot(ray.direction, normal);
    return approach == 0.0 ? 0.0 : Dot(point - ray.origin, normal) / approach;
}

/// The unit normal on the side that the ray comes from.
Vec3 Facing(const Vec3& unitNormal, const Ray& ray)
{
    return Dot(unitNormal, ray.direction) > 0.0 ? -1.0 * unitNormal : unitNormal;
}

class Plane : public Scene
{
public:
    Plane(const Vec3& point, const Vec3& normal, const Colour& albedo, double texture)
        : m_point(point), m_normal(Normalized(normal)), m_albedo(albedo), m_texture(texture)
    {}

    std::optional<Hit> Intersect(const Ray& ray) const override
    {
        const double distance = DistanceToPlane(ray, m_point, m_normal);
        if (!(distance > 0.0)) {
            return std::nullopt;
        }
        const Vec3 at = ray.origin + distance * ray.direction;
        return Hit{distance, at, Facing(m_normal, ray), 0};
    }

    Colour Albedo(const Hit& hit) const override
    {
        if (m_texture == 0.0) {
            return m_albedo;
        }
        return Scaled(m_albedo, 1.0 + m_texture * Mottle(hit.point.x, hit.point.y, c_grain, c_textureKey));
    }

    bool Hides(const Vec3&, const Vec3&) const override { return false; }

private:
    Vec3 m_point;
    Vec3 m_normal;
    Colour m_albedo;
    double m_texture;
};

/// Balls of one radius, surfaces 0 and up, in front of a backdrop, the last surface.
class Balls : public Scene
{
public:
    Balls(std::vector<Vec3> centres, double radius, double backdrop, const Colour& albedo)
        : m_centres(std::move(centres)), m_radius(radius), m_backdrop{0.0, 0.0, backdrop}, m_albedo(albedo)
    {}

    std::optional<Hit> Intersect(const Ray& ray) const override
    {
        std::optional<Hit> first;
        for (std::size_t ball = 0; ball < m_centres.size(); ++ball) {
            const double distance = DistanceToBall(ray, m_centres[ball]);
            if (distance > 0.0 && !(first && first->distance <= distance)) {
                const Vec3 at = ray.origin + distance * ray.direction;
                first = Hit{distance, at, (1.0 / m_radius) * (at - m_centres[ball]), static_cast<int>(ball)};
            }
        }
        return first ? first : HitBackdrop(ray);
    }

    Colour Albedo(const Hit& hit) const override
    {
        return hit.surface == BackdropSurface() ? Scaled(m_albedo, 0.9) : m_albedo;
    }

private:
    int BackdropSurface() const { return static_cast<int>(m_centres.size()); }

    std::optional<Hit> HitBackdrop(const Ray& ray) const
    {
        const Vec3 towardsCamera{0.0, 0.0, -1.0};
        const double distance = DistanceToPlane(ray, m_backdrop, towardsCamera);
        if (!(distance > 0.0)) {
            return std::nullopt;
        }
        return Hit{distance, ray.origin + distance * ray.direction, Facing(towardsCamera, ray),
                   BackdropSurface()};
    }

    double DistanceToBall(const Ray& ray, const Vec3& centre) const
    {
        const Vec3 toCentre = centre - ray.origin;
        const double a = Dot(ray.direction, ray.direction);
        const double b = Dot(ray.direction, toCentre);
        const double c = Dot(toCentre, toCentre) - m_radius * m_radius;
        const double discriminant = b * b - a * c;
        return discriminant > 0.0 && b > 0.0 ? c / (b + std::sqrt(discriminant)) : 0.0;
    }

    std::vector<Vec3> m_centres;
    double m_radius;
    Vec3 m_backdrop;
    Colour m_albedo;
};

class Textured : public Scene
{
public:
    Textured(std::shared_ptr<const Scene> scene, double texture)
        : m_scene(std::move(scene)), m_texture(texture)
    {}

    std::optional<Hit> Intersect(const Ray& ray) const override { return m_scene->Intersect(ray); }

    Colour Albedo(const Hit& hit) const override
    {
        constexpr double grain = 1.0;                // mm
        constexpr std::uint64_t keysOfChannel = 100; // of which a mottle takes two
        Colour albedo = m_scene->Albedo(hit);
        for (std::size_t channel = 0; channel < albedo.size(); ++channel) {
            const std::uint64_t key = c_textureKey + keysOfChannel * (channel + 1);
            albedo[channel] *= 1.0 + m_texture * Mottle(hit.point.x, hit.point.y, grain, key);
        }
        return albedo;
    }

    Gloss GlossOf(const Hit& hit) const override { return m_scene->GlossOf(hit); }
    bool Hides(const Vec3& eye, const Vec3& point) const override { return m_scene->Hides(eye, point); }

private:
    std::shared_ptr<const Scene> m_scene;
    double m_texture;
};

class Step : public Scene
{
public:
    Step(double nearDepth, double farDepth, const Vec2& across, double offset, const Colour& albedo)
        : m_near{0.0, 0.0, nearDepth}, m_far{0.0, 0.0, farDepth}, m_albedo(albedo)
    {
        const double length = std::sqrt(across.x * across.x + across.y * across.y);
        m_across = {across.x / length, across.y / length, 0.0};
        m_offset = offset / length;
    }

    std::optional<Hit> Intersect(const Ray& ray) const override
    {
        const Vec3 up{0.0, 0.0, -1.0};
        std::optional<Hit> first;
        const auto consider = [&](double distance, const Vec3& normal, int surface) {
            if (!(distance > 0.0) || (first && first->distance <= distance)) {
                return;
            }
            const Vec3 at = ray.origin + distance * ray.direction;
            if (Belongs(at, surface)) {
                first = Hit{distance, at, Facing(normal, ray), surface};
            }
        };
        consider(DistanceToPlane(ray, m_near, up), up, c_nearSurface);
        consider(DistanceToPlane(ray, m_offset * m_across, m_across), m_across, c_wallSurface);
        consider(DistanceToPlane(ray, m_far, up), up, c_farSurface);
        return first;
    }

    Colour Albedo(const Hit&) const override { return m_albedo; }

private:
    static constexpr int c_nearSurface = 0;
    static constexpr int c_wallSurface = 1;
    static constexpr int c_farSurface = 2;

    bool Belongs(const Vec3& at, int surface) const
    {
        if (surface == c_wallSurface) {
            return at.z >= m_near.z && at.z <= m_far.z;
        }
        return (Dot(at, m_across) < m_offset) == (surface == c_nearSurface);
    }

    Vec3 m_near;
    Vec3 m_far;
    Vec3 m_across;
    double m_offset = 0.0;
    Colour m_albedo;
};

} // namespace

Gloss Scene::GlossOf(const Hit&) const
{
    return {};
}

bool Scene::Hides(const Vec3& eye, const Vec3& point) const
{
    constexpr double c_skin = 1e-7; // share of the way; the point itself is no obstacle
    const std::optional<Hit> hit = Intersect({eye, point - eye});
    return hit && hit->distance < 1.0 - c_skin;
}

std::unique_ptr<Scene> MakePlane(const Vec3& point, const Vec3& normal, const Colour& albedo, double texture)
{
    return std::make_unique<Plane>(point, normal, albedo, texture);
}

std::unique_ptr<Scene> MakeBall(const Vec3& centre, double radius, double backdrop, const Colour& albedo)
{
    return std::make_unique<Balls>(std::vector<Vec3>{centre}, radius, backdrop, albedo);
}

std::unique_ptr<Scene> MakeBar(const Vec3& first, const Vec3& second, double radius, double backdrop,
                               const Colour& albedo)
{
    return std::make_unique<Balls>(std::vector<Vec3>{first, second}, radius, backdrop, albedo);
}

std::unique_ptr<Scene> MakeTextured(std::shared_ptr<const Scene> scene, double texture)
{
    return std::make_unique<Textured>(std::move(scene), texture);
}

std::unique_ptr<Scene> MakeStep(double nearDepth, double farDepth, const Vec2& across, double offset,
                                const Colour& albedo)
{
    return std::make_unique<Step>(nearDepth, farDepth, across, offset, albedo);
}

std::vector<std::string> SceneNames()
{
    return {"plane", "tilted", "sphere", "step", "molar"};
}

std::unique_ptr<Scene> MakeScene(const std::string& name)
{
    constexpr double c_workingDistance = 33.0; // mm
    if (name == "plane") {
        return MakePlane({0.0, 0.0, c_workingDistance}, {0.0, 0.0, -1.0}, c_plaster);
    }
    if (name == "tilted") {
        return MakePlane({0.0, 0.0, c_workingDistance}, {0.30, -0.22, -1.0}, c_plaster, 0.06);
    }
    if (name == "sphere") {
        return MakeBall({0.3, -0.2, 35.5}, 5.0, 37.0, c_plaster);
    }
    if (name == "step") {
        return MakeStep(31.5, 34.5, {0.6, 0.8}, 0.7, c_plaster);
    }
    if (name == "molar") {
        return MakeMolar();
    }
    throw std::invalid_argument("unknown scene: " + name);
}

} // namespace device
