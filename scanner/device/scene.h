// What the virtual device looks at: surfaces that answer where a ray meets them.
#pragma once

#include "scanner/device/geometry.h"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace device {

/// Blue, green, red.
using Colour = std::array<double, 3>;

/// The share of light that plaster reflects.
inline constexpr Colour c_plaster{0.66, 0.70, 0.72};

/// A ray from `origin` (mm) along `direction`, which need not be of unit length.
struct Ray
{
    Vec3 origin;
    Vec3 direction;
};

/// Where a ray first meets a scene.
struct Hit
{
    double distance = 0.0;          ///< in units of the ray's direction
    Vec3 point;                     ///< mm
    Vec3 normal;                    ///< unit length, towards the side that the ray comes from
    int surface = 0;                ///< which smooth piece of the scene this is
    std::size_t facet = 0;          ///< of a mesh, which triangle was hit
    std::array<double, 3> shares{}; ///< of the triangle's corners in the point; they add up to 1
};

/// How a surface mirrors the projector's light, after Blinn and Phong: of white light of strength 1 it sends
/// strength cos(a)^exponent to the camera, beside what its albedo scatters, where a is the angle between the surface's
/// normal and the direction halfway between projector and camera. What is mirrored has the light's own colour.
struct Gloss
{
    double strength =
        0.0; ///< of the highlight's centre, as a white surface in full light sends 1; 0: none, not negative
    int exponent = 1; ///< at least 0; the highlight is the smaller, the larger it is
};

/// A scene in camera coordinates: mm, the camera at the origin, z along its axis away from it. Const operations may
/// run on many threads at once.
class Scene
{
public:
    virtual ~Scene() = default;

    /// The first hit at a positive distance, if there is any.
    virtual std::optional<Hit> Intersect(const Ray& ray) const = 0;

    /// The share of light that the surface reflects at a hit, 0..1.
    virtual Colour Albedo(const Hit& hit) const = 0;

    /// What the surface mirrors at a hit. The default mirrors nothing.
    virtual Gloss GlossOf(const Hit& hit) const;

    /// Whether the scene stands between `eye` and its own point `point`. The default asks `Intersect`.
    virtual bool Hides(const Vec3& eye, const Vec3& point) const;
};

/// The names that `MakeScene` knows.
std::vector<std::string> SceneNames();

/// A ready-made scene: "plane", "tilted", "sphere", "step" or "molar", at a working distance of about 33 mm.
/// @throws std::invalid_argument for another name
std::unique_ptr<Scene> MakeScene(const std::string& name);

/// A plane through `point` (mm) with the given normal. `texture` is the share by which the albedo varies.
std::unique_ptr<Scene> MakePlane(const Vec3& point, const Vec3& normal, const Colour& albedo,
                                 double texture = 0.0);

/// A ball in front of a backdrop, the plane z = `backdrop` (mm). Surface 0 is the ball, surface 1 the backdrop.
std::unique_ptr<Scene> MakeBall(const Vec3& centre, double radius, double backdrop, const Colour& albedo);

/// Two balls of one radius in front of a backdrop, such as the ends of a ball bar whose rod is out of sight. Surface 0 is
/// the first ball, 1 the second, 2 the backdrop.
std::unique_ptr<Scene> MakeBar(const Vec3& first, const Vec3& second, double radius, double backdrop,
                               const Colour& albedo);

/// Another scene with a mottled surface: in every channel on its own the albedo varies by up to the share `texture`, with
/// details of 1 mm and half of it.
/// @param texture 0 to 1
std::unique_ptr<Scene> MakeTextured(std::shared_ptr<const Scene> scene, double texture);

/// Another scene with a wet or polished surface, all of which mirrors.
std::unique_ptr<Scene> MakeGlossy(std::shared_ptr<const Scene> scene, const Gloss& gloss);

/// Several scenes in one, of which the nearest is seen and each can stand in the light of the others. None at all is a
/// scene in which there is nothing. Surface s of part p of n has the number s n + p; s is -1
/// beside the patches of a chart.
std::unique_ptr<Scene> MakeGroup(std::vector<std::shared_ptr<const Scene>> parts);

/// A rod with round ends: all points within `radius` (mm, above 0) of the line between two points. The camera and the
/// projector are outside of it.
std::unique_ptr<Scene> MakeRod(const Vec3& from, const Vec3& to, double radius, const Colour& albedo);

/// Two planes z = `nearDepth` and z = `farDepth` (mm), joined by a wall that is parallel to the z axis. The near
/// plane lies where across.x x + across.y y < offset. Surface 0 is the near plane, 1 the wall, 2 the far plane.
std::unique_ptr<Scene> MakeStep(double nearDepth, double farDepth, const Vec2& across, double offset,
                                const Colour& albedo);

/// A surface like the chewing side of a molar: a crown with five cusps, fissures and steep flanks in a gum.
std::unique_ptr<Scene> MakeMolar();

} // namespace device
