// Reads any bytes as a mesh in each format, and casts rays at what is read.
#include "scanner/device/meshfile.h"
#include "scanner/device/meshscene.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace {

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

void CheckIndices(const device::Mesh& mesh)
{
    Require(!mesh.triangles.empty());
    Require(mesh.normalsOf.empty() || mesh.normalsOf.size() == mesh.triangles.size());
    Require(mesh.colours.empty() || mesh.colours.size() == mesh.vertices.size());
    for (const device::Corners& corners : mesh.triangles) {
        for (const std::uint32_t corner : corners) {
            Require(corner < mesh.vertices.size() && std::isfinite(device::Length(mesh.vertices[corner])));
        }
    }
    for (const device::Corners& corners : mesh.normalsOf) {
        for (const std::uint32_t normal : corners) {
            Require(normal == device::c_noNormal || normal < mesh.normals.size());
        }
    }
}

void CheckRays(const device::MeshScene& scene)
{
    const device::Vec3 middle = 0.5 * (scene.GetLowest() + scene.GetHighest());
    for (const double x : {-0.1, 0.0, 0.3}) {
        const device::Vec3 direction{middle.x + x, middle.y, middle.z};
        if (const auto hit = scene.Intersect({{}, direction})) {
            Require(hit->distance > 0.0 && hit->facet < scene.GetMesh().triangles.size());
            Require(hit->surface >= 0 && hit->surface < scene.CountSurfaces());
            scene.Albedo(*hit);
        }
        scene.Hides({}, direction);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t c_most = 1 << 16; // bytes
    const std::string_view content(reinterpret_cast<const char*>(data), size < c_most ? size : c_most);
    for (const device::EMeshFormat format :
         {device::EMeshFormat::eStl, device::EMeshFormat::ePly, device::EMeshFormat::eObj}) {
        try {
            device::Mesh mesh = device::ParseMesh(content, format);
            CheckIndices(mesh);
            const device::MeshPose pose = device::CompletePose(mesh, {}, 25.0, 41.0);
            CheckRays(device::MeshScene(std::move(mesh), pose));
        } catch (const std::runtime_error&) {
        } catch (const std::invalid_argument&) { // a mesh so small that it has no size
        }
    }
    return 0;
}
