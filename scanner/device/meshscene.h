// Scenes from triangle meshes, such as objects of a user's own.
#pragma once

#include "scanner/device/meshfile.h"
#include "scanner/device/scene.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace device {

/// Where a mesh stands: pointInCamera = X(rx) Y(ry) Z(rz) scale pointOfMesh + translation, with X, Y and Z the
/// right-handed rotations about the axes.
struct MeshPose
{
    Vec3 rotation{180.0, 0.0,
                  0.0}; ///< rx, ry, rz, degrees; the default turns the mesh's z axis towards the camera
    std::optional<Vec3> translation; ///< mm, camera frame; none: centred in the working range
    double scale = 1.0;              ///< mm per unit of the mesh
};

/// A mesh file with its pose.
struct MeshSource
{
    std::filesystem::path file;
    MeshPose pose;
};

/// The pose with a translation: one that is not told puts the middle of the mesh's bounding box, as it is turned, on the
/// camera's axis in the middle of the depths from `nearest` to `farthest` (mm), or, where the box is deeper than that,
/// its front at `nearest`.
/// @throws std::invalid_argument for a pose that is not finite, or a scale that is not positive
MeshPose CompletePose(const Mesh& mesh, const MeshPose& pose, double nearest, double farthest);

/// The surface of a mesh, seen from both sides.
///
/// Rays are cast through Embree's hierarchy of boxes, which only proposes triangles: whether and where one is met is
/// computed here in double precision, by the watertight test of Woop, Benthin and Wald (2013). The boxes are larger than
/// their triangles by more than the hierarchy's float arithmetic is off. So a hit is what trying all triangles would
/// give, to the last bit, on every machine: the one at the least distance, of several at the same distance that with
/// the lowest number. No ray slips through between two triangles that share an edge.
///
/// Triangles that share an edge and fold there by at most 30 degrees belong to one smooth piece. Normals are those of the
/// file, interpolated over a triangle, else the triangle's own. Colours are interpolated, too; without any all is plaster.
class MeshScene : public Scene
{
public:
    /// @param pose with a translation, see `CompletePose`
    /// @throws std::invalid_argument for a mesh without triangles, or a pose that is incomplete or makes a coordinate
    ///         infinite
    /// @throws std::runtime_error where Embree fails, such as for want of memory
    MeshScene(Mesh mesh, const MeshPose& pose);
    ~MeshScene() override;
    MeshScene(const MeshScene&) = delete;
    MeshScene& operator=(const MeshScene&) = delete;

    std::optional<Hit> Intersect(const Ray& ray) const override;
    Colour Albedo(const Hit& hit) const override;
    bool Hides(const Vec3& eye, const Vec3& point) const override;

    /// The mesh in camera coordinates, mm.
    const Mesh& GetMesh() const { return m_mesh; }
    const MeshPose& GetPose() const { return m_pose; }

    /// How many smooth pieces there are; they have the numbers from 0 on.
    int CountSurfaces() const { return m_surfaceCount; }

    /// The bounding box of the triangles, mm.
    const Vec3& GetLowest() const { return m_lowest; }
    const Vec3& GetHighest() const { return m_highest; }

private:
    class Caster;

    void Place(const MeshPose& pose);
    void MeasureBox();
    Vec3 NormalAt(const Ray& ray, std::size_t triangle, const std::array<double, 3>& shares) const;

    Mesh m_mesh; ///< camera frame
    MeshPose m_pose;
    Vec3 m_lowest;
    Vec3 m_highest;
    std::vector<int> m_surfaces; ///< of each triangle
    int m_surfaceCount = 0;
    std::unique_ptr<const Caster> m_caster;
};

/// Reads a mesh and puts it before a camera with this working range, mm.
/// @throws std::runtime_error naming the file, what is wrong, and what to do
std::unique_ptr<MeshScene> LoadMeshScene(const MeshSource& source, double nearest, double farthest);

} // namespace device
