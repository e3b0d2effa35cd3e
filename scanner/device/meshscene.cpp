#include "scanner/device/meshscene.h"

#include "scanner/device/meshpieces.h"

#include <embree3/rtcore.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace device {

namespace {

/// Where a ray meets a triangle.
struct Contact
{
    double distance = std::numeric_limits<double>::infinity(); ///< in units of the ray's direction
    std::size_t triangle = 0;
    std::array<double, 3> shares{}; ///< of the corners
};

std::array<double, 3> ToArray(const Vec3& a)
{
    return {a.x, a.y, a.z};
}

/// A ray, sheared so that it becomes the z axis: triangles around the origin's image are met.
class ShearedRay
{
public:
    explicit ShearedRay(const Ray& ray) : m_origin(ToArray(ray.origin))
    {
        const std::array<double, 3> along = ToArray(ray.direction);
        const auto isLess = [](double a, double b) { return std::abs(a) < std::abs(b); };
        m_z = static_cast<std::size_t>(std::ranges::max_element(along, isLess) - along.begin());
        m_x = (m_z + 1) % 3;
        m_y = (m_z + 2) % 3;
        m_shearX = along[m_x] / along[m_z];
        m_shearY = along[m_y] / along[m_z];
        m_scale = 1.0 / along[m_z];
    }

    /// Whether a triangle is met at a positive distance below that of `nearest`, or at the same by a lower number;
    /// `nearest` then becomes this contact. Two triangles with a common side compute the same numbers for it, of opposite
    /// sign, so that the ray meets at least one of them.
    bool Meets(const Mesh& mesh, std::size_t triangle, Contact& nearest) const
    {
        const Corners& corners = mesh.triangles[triangle];
        const Vec3 a = Sheared(mesh.vertices[corners[0]]);
        const Vec3 b = Sheared(mesh.vertices[corners[1]]);
        const Vec3 c = Sheared(mesh.vertices[corners[2]]);
        const double u = c.x * b.y - c.y * b.x;
        const double v = a.x * c.y - a.y * c.x;
        const double w = b.x * a.y - b.y * a.x;
        const double sum = u + v + w;
        const bool isOutside = (u < 0.0 || v < 0.0 || w < 0.0) && (u > 0.0 || v > 0.0 || w > 0.0);
        if (isOutside || sum == 0.0) {
            return false;
        }
        const double distance = m_scale * (u * a.z + v * b.z + w * c.z) / sum;
        const bool isNearer =
            distance < nearest.distance || (distance == nearest.distance && triangle < nearest.triangle);
        if (!(distance > 0.0) || !isNearer) {
            return false;
        }
        nearest = {distance, triangle, {u / sum, v / sum, w / sum}};
        return true;
    }

private:
    /// z is not scaled yet.
    Vec3 Sheared(const Vec3& point) const
    {
        const std::array<double, 3> at = ToArray(point);
        const double z = at[m_z] - m_origin[m_z];
        return {at[m_x] - m_origin[m_x] - m_shearX * z, at[m_y] - m_origin[m_y] - m_shearY * z, z};
    }

    std::array<double, 3> m_origin;
    std::size_t m_x = 0, m_y = 0, m_z = 0; ///< axes; z is the one that the ray runs along most
    double m_shearX = 0.0, m_shearY = 0.0, m_scale = 0.0;
};

/// What a query carries through Embree to the test of a triangle. The context must come first.
struct Query
{
    RTCIntersectContext context;
    const Mesh* mesh;
    const ShearedRay* ray;
    Contact* nearest;
    double stretch; ///< from units of the ray's direction to units of the boxes
    double start;   ///< of the float ray, units of the boxes
};

/// Boxes are made larger by this on each side, in units of the mesh's radius. Floats are off by 6e-8 for the ray's
/// origin, twice that for its direction over a length of 2, and by some 3 units in the last place in the test of a box:
/// less than 1e-6 together.
constexpr double c_boxMargin = 4e-6;

/// The end of a float ray lies farther than the nearest contact by this, in the same units.
constexpr double c_endMargin = 2e-5;

/// No way through the mesh is longer, in the same units.
constexpr double c_longestWay = 3.0;

float EndOfRay(const Query& query, double distance)
{
    const double way = distance * query.stretch - query.start;
    return static_cast<float>(std::clamp(way, 0.0, c_longestWay) + c_endMargin);
}

template <typename Arguments>
Query* QueryOf(const Arguments* arguments)
{
    return arguments->valid[0] == 0 ? nullptr : reinterpret_cast<Query*>(arguments->context);
}

void MeetFirst(const RTCIntersectFunctionNArguments* arguments)
{
    Query* const query = QueryOf(arguments);
    if (query != nullptr && query->ray->Meets(*query->mesh, arguments->primID, *query->nearest)) {
        RTCRayN* const ray = RTCRayHitN_RayN(arguments->rayhit, arguments->N);
        float& end = RTCRayN_tfar(ray, arguments->N, 0);
        end = std::min(end, EndOfRay(*query, query->nearest->distance));
    }
}

void MeetAny(const RTCOccludedFunctionNArguments* arguments)
{
    Query* const query = QueryOf(arguments);
    if (query != nullptr && query->ray->Meets(*query->mesh, arguments->primID, *query->nearest)) {
        RTCRayN_tfar(arguments->ray, arguments->N, 0) = -std::numeric_limits<float>::infinity();
    }
}

RTCRay FloatRay(const Vec3& origin, const Vec3& direction, float end)
{
    RTCRay ray{};
    ray.org_x = static_cast<float>(origin.x);
    ray.org_y = static_cast<float>(origin.y);
    ray.org_z = static_cast<float>(origin.z);
    ray.dir_x = static_cast<float>(direction.x);
    ray.dir_y = static_cast<float>(direction.y);
    ray.dir_z = static_cast<float>(direction.z);
    ray.tnear = 0.0F;
    ray.tfar = end;
    ray.mask = std::numeric_limits<unsigned int>::max();
    return ray;
}

bool IsFinite(const Vec3& a)
{
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

Mat3 RotationOf(const MeshPose& pose)
{
    constexpr double c_degree = std::numbers::pi / 180.0;
    return RotationOf(Placement{c_degree * pose.rotation.x, c_degree * pose.rotation.y,
                                c_degree * pose.rotation.z, 0.0, 0.0, 0.0});
}

void CheckPose(const MeshPose& pose)
{
    if (!IsFinite(pose.rotation) || !IsFinite(pose.translation.value_or(Vec3()))) {
        throw std::invalid_argument("the pose of a mesh must be finite");
    }
    if (!(pose.scale > 0.0) || !std::isfinite(pose.scale)) {
        throw std::invalid_argument("the scale of a mesh must be positive and finite");
    }
}

/// Widens a box by a point.
void Widen(Vec3& lowest, Vec3& highest, const Vec3& point)
{
    lowest = {std::min(lowest.x, point.x), std::min(lowest.y, point.y), std::min(lowest.z, point.z)};
    highest = {std::max(highest.x, point.x), std::max(highest.y, point.y), std::max(highest.z, point.z)};
}

constexpr double c_unbounded = std::numeric_limits<double>::infinity();
constexpr Vec3 c_noLowest{c_unbounded, c_unbounded, c_unbounded};
constexpr Vec3 c_noHighest{-c_unbounded, -c_unbounded, -c_unbounded};

template <typename Visit>
void ForEachCorner(const Mesh& mesh, const Visit& visit)
{
    for (const Corners& corners : mesh.triangles) {
        for (const std::uint32_t corner : corners) {
            visit(mesh.vertices[corner]);
        }
    }
}

} // namespace

/// The hierarchy of boxes. Its coordinates are relative to the middle of the mesh and in units of the mesh's radius, so
/// that floats are equally exact for all meshes. Queries change nothing of it, and no thread is started.
class MeshScene::Caster
{
public:
    Caster(const Mesh& mesh, const Vec3& middle)
        : m_mesh(mesh), m_middle(middle),
          m_device(rtcNewDevice("threads=1,start_threads=0,set_affinity=0"), rtcReleaseDevice),
          m_scene(m_device ? rtcNewScene(m_device.get()) : nullptr, rtcReleaseScene)
    {
        ForEachCorner(
            mesh, [this](const Vec3& corner) { m_radius = std::max(m_radius, Length(corner - m_middle)); });
        if (!(m_radius > 0.0) || !std::isfinite(m_radius)) {
            throw std::invalid_argument("the mesh has no size, or no finite one");
        }
        if (m_scene) {
            rtcSetSceneFlags(m_scene.get(), RTC_SCENE_FLAG_ROBUST);
            AddTriangles();
            rtcCommitScene(m_scene.get());
        }
        if (!m_scene || rtcGetDeviceError(m_device.get()) != RTC_ERROR_NONE) {
            throw std::runtime_error(
                "the mesh cannot be prepared for casting rays; there may be too little memory");
        }
    }

    /// Finds a contact before `nearest`: the first one, or for `any` whichever comes.
    bool Cast(const Ray& ray, bool any, Contact& nearest) const
    {
        const double length = Length(ray.direction);
        if (!(length > 0.0) || !std::isfinite(length) || !IsFinite(ray.origin)) {
            return false;
        }
        const Vec3 along = (1.0 / length) * ray.direction;
        const Vec3 origin = (1.0 / m_radius) * (ray.origin - m_middle);
        const double back = Dot(origin, along);
        const Vec3 aside = origin - back * along; // from the middle to the ray's nearest point
        constexpr double c_ball = 1.001;          // a little more than all of the mesh
        const double square = c_ball * c_ball - Dot(aside, aside);
        if (!(square > 0.0) || std::sqrt(square) < back) {
            return false; // past the ball, or leading away from it
        }
        const ShearedRay sheared(ray);
        Query query{};
        rtcInitIntersectContext(&query.context);
        query.mesh = &m_mesh;
        query.ray = &sheared;
        query.nearest = &nearest;
        query.stretch = length / m_radius;
        query.start = std::max(0.0, -back - std::sqrt(square));
        const double limit = nearest.distance;
        const RTCRay start = FloatRay(origin + query.start * along, along, EndOfRay(query, limit));
        any ? Occluded(start, query) : Intersect(start, query);
        return nearest.distance < limit;
    }

private:
    static void FindBounds(const RTCBoundsFunctionArguments* arguments)
    {
        const auto& self = *static_cast<const Caster*>(arguments->geometryUserPtr);
        Vec3 lowest = c_noLowest, highest = c_noHighest;
        for (const std::uint32_t corner : self.m_mesh.triangles[arguments->primID]) {
            Widen(lowest, highest, (1.0 / self.m_radius) * (self.m_mesh.vertices[corner] - self.m_middle));
        }
        RTCBounds& bounds = *arguments->bounds_o;
        bounds.lower_x = static_cast<float>(lowest.x - c_boxMargin);
        bounds.lower_y = static_cast<float>(lowest.y - c_boxMargin);
        bounds.lower_z = static_cast<float>(lowest.z - c_boxMargin);
        bounds.upper_x = static_cast<float>(highest.x + c_boxMargin);
        bounds.upper_y = static_cast<float>(highest.y + c_boxMargin);
        bounds.upper_z = static_cast<float>(highest.z + c_boxMargin);
    }

    void AddTriangles()
    {
        const std::unique_ptr<RTCGeometryTy, void (*)(RTCGeometry)> geometry(
            rtcNewGeometry(m_device.get(), RTC_GEOMETRY_TYPE_USER), rtcReleaseGeometry);
        if (!geometry) {
            return; // the device keeps the error
        }
        rtcSetGeometryUserPrimitiveCount(geometry.get(), static_cast<unsigned int>(m_mesh.triangles.size()));
        rtcSetGeometryUserData(geometry.get(), this);
        rtcSetGeometryBoundsFunction(geometry.get(), FindBounds, nullptr);
        rtcSetGeometryIntersectFunction(geometry.get(), MeetFirst);
        rtcSetGeometryOccludedFunction(geometry.get(), MeetAny);
        rtcCommitGeometry(geometry.get());
        rtcAttachGeometry(m_scene.get(), geometry.get());
    }

    void Intersect(const RTCRay& start, Query& query) const
    {
        RTCRayHit ray{};
        ray.ray = start;
        ray.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        rtcIntersect1(m_scene.get(), &query.context, &ray);
    }

    void Occluded(const RTCRay& start, Query& query) const
    {
        RTCRay ray = start;
        rtcOccluded1(m_scene.get(), &query.context, &ray);
    }

    const Mesh& m_mesh;
    Vec3 m_middle;
    double m_radius = 0.0;
    std::unique_ptr<RTCDeviceTy, void (*)(RTCDevice)> m_device;
    std::unique_ptr<RTCSceneTy, void (*)(RTCScene)> m_scene;
};

MeshPose CompletePose(const Mesh& mesh, const MeshPose& pose, double nearest, double farthest)
{
    CheckPose(pose);
    MeshPose complete = pose;
    if (!pose.translation) {
        const Mat3 rotation = RotationOf(pose);
        Vec3 lowest = c_noLowest, highest = c_noHighest;
        ForEachCorner(mesh,
                      [&](const Vec3& corner) { Widen(lowest, highest, rotation * (pose.scale * corner)); });
        const Vec3 middle = 0.5 * (lowest + highest);
        const bool fits = highest.z - lowest.z <= farthest - nearest;
        complete.translation = {-middle.x, -middle.y,
                                fits ? 0.5 * (nearest + farthest) - middle.z : nearest - lowest.z};
    }
    return complete;
}

MeshScene::MeshScene(Mesh mesh, const MeshPose& pose) : m_mesh(std::move(mesh)), m_pose(pose)
{
    CheckPose(pose);
    if (m_mesh.triangles.empty() || !pose.translation) {
        throw std::invalid_argument("a scene from a mesh wants triangles and a translation");
    }
    Place(pose);
    MeasureBox();
    m_caster = std::make_unique<const Caster>(m_mesh, 0.5 * (m_lowest + m_highest));
    m_surfaces = FindSmoothPieces(m_mesh);
    m_surfaceCount = 1 + *std::ranges::max_element(m_surfaces);
}

MeshScene::~MeshScene() = default;

void MeshScene::Place(const MeshPose& pose)
{
    const Mat3 rotation = RotationOf(pose);
    for (Vec3& vertex : m_mesh.vertices) {
        vertex = rotation * (pose.scale * vertex) + *pose.translation;
        if (!IsFinite(vertex)) {
            throw std::invalid_argument("the pose of the mesh puts it beyond all numbers");
        }
    }
    for (Vec3& normal : m_mesh.normals) {
        normal = rotation * normal;
    }
}

void MeshScene::MeasureBox()
{
    m_lowest = c_noLowest;
    m_highest = c_noHighest;
    ForEachCorner(m_mesh, [this](const Vec3& corner) { Widen(m_lowest, m_highest, corner); });
}

std::optional<Hit> MeshScene::Intersect(const Ray& ray) const
{
    Contact contact;
    if (!m_caster->Cast(ray, false, contact)) {
        return std::nullopt;
    }
    Hit hit;
    hit.distance = contact.distance;
    hit.point = ray.origin + contact.distance * ray.direction;
    hit.normal = NormalAt(ray, contact.triangle, contact.shares);
    hit.surface = m_surfaces[contact.triangle];
    hit.facet = contact.triangle;
    hit.shares = contact.shares;
    return hit;
}

Vec3 MeshScene::NormalAt(const Ray& ray, std::size_t triangle, const std::array<double, 3>& shares) const
{
    const Corners& corners = m_mesh.triangles[triangle];
    const Vec3& first = m_mesh.vertices[corners[0]];
    Vec3 flat = Normalized(Cross(m_mesh.vertices[corners[1]] - first, m_mesh.vertices[corners[2]] - first));
    if (Dot(flat, ray.direction) > 0.0) {
        flat = -1.0 * flat;
    }
    if (m_mesh.normalsOf.empty()) {
        return flat;
    }
    const Corners& normals = m_mesh.normalsOf[triangle];
    Vec3 sum;
    for (std::size_t k = 0; k < normals.size(); ++k) {
        if (normals[k] == c_noNormal) {
            return flat;
        }
        sum = sum + shares[k] * m_mesh.normals[normals[k]];
    }
    const Vec3 bent = Dot(sum, flat) < 0.0 ? -1.0 * sum : sum;
    // What would look away from the eye is turned as far as the horizon.
    const double away = Dot(bent, ray.direction);
    const Vec3 facing = away > 0.0 ? bent - (away / Dot(ray.direction, ray.direction)) * ray.direction : bent;
    const double length = Length(facing);
    return length > 0.0 ? (1.0 / length) * facing : flat;
}

Colour MeshScene::Albedo(const Hit& hit) const
{
    if (m_mesh.colours.empty() || hit.facet >= m_mesh.triangles.size()) {
        return c_plaster;
    }
    Colour albedo{};
    for (std::size_t k = 0; k < hit.shares.size(); ++k) {
        const Colour& colour = m_mesh.colours[m_mesh.triangles[hit.facet][k]];
        for (std::size_t channel = 0; channel < albedo.size(); ++channel) {
            albedo[channel] += hit.shares[k] * colour[channel];
        }
    }
    return albedo;
}

bool MeshScene::Hides(const Vec3& eye, const Vec3& point) const
{
    constexpr double c_skin = 1e-7; // share of the way; the point itself is no obstacle
    Contact contact;
    contact.distance = 1.0 - c_skin;
    return m_caster->Cast({eye, point - eye}, true, contact);
}

std::unique_ptr<MeshScene> LoadMeshScene(const MeshSource& source, double nearest, double farthest)
{
    Mesh mesh = ReadMesh(source.file);
    try {
        const MeshPose pose = CompletePose(mesh, source.pose, nearest, farthest);
        return std::make_unique<MeshScene>(std::move(mesh), pose);
    } catch (const std::bad_alloc&) {
        throw std::runtime_error("cannot show the mesh " + source.file.string() +
                                 ": there is not enough memory for it; reduce the mesh");
    } catch (const std::exception& error) {
        throw std::runtime_error("cannot show the mesh " + source.file.string() + ": " + error.what());
    }
}

} // namespace device
