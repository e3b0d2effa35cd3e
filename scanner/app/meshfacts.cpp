// STL, PLY and OBJ files: counts and extent.
#include "scanner/app/filefacts.h"

#include "scanner/device/meshorpoints.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace app {

namespace {

using namespace std::string_view_literals;

FileFacts TellTriangles(const FileView& file, const std::string& name, device::EMeshFormat format)
{
    device::Mesh mesh;
    try {
        mesh = device::ParseMeshOrPoints(file.content, format);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("it is no " + name + " file that can be read: " + error.what());
    }
    const bool isCloud = mesh.triangles.empty() && !mesh.vertices.empty();
    FileFacts told{name + (isCloud ? " points" : " mesh")};
    told.facts["triangles"] = mesh.triangles.size();
    told.facts["vertices"] = mesh.vertices.size();
    if (mesh.droppedTriangles > 0) {
        told.facts["without_area"] = mesh.droppedTriangles;
    }
    told.facts["normals"] = !mesh.normals.empty();
    told.facts["colours"] = !mesh.colours.empty();
    Extent extent;
    for (const device::Vec3& vertex : mesh.vertices) {
        extent.Add({vertex.x, vertex.y, vertex.z});
    }
    extent.AddTo(told.facts);
    return told;
}

/// Whether the file is as long as its count of triangles tells, or a text of facets.
bool IsStl(std::string_view content)
{
    constexpr std::size_t headerLength = 84;
    constexpr std::size_t triangleLength = 50;
    if (content.size() >= headerLength) {
        std::uint32_t count = 0;
        std::memcpy(&count, content.data() + headerLength - sizeof count, sizeof count);
        if (content.size() == headerLength + triangleLength * std::size_t{count}) {
            return true;
        }
    }
    return content.starts_with("solid") && (content.find("facet") != std::string_view::npos ||
                                            content.find("endsolid") != std::string_view::npos);
}

/// Whether the first line that is no comment is one of an OBJ file.
bool IsObj(std::string_view content)
{
    while (!content.empty()) {
        const std::string_view line = content.substr(0, content.find('\n'));
        if (!line.empty() && line.front() != '#' && line != "\r") {
            constexpr std::array begins{"v "sv, "vn "sv, "vt "sv, "o "sv, "g "sv, "mtllib "sv};
            for (const std::string_view begin : begins) {
                if (line.starts_with(begin)) {
                    return true;
                }
            }
            return false;
        }
        content.remove_prefix(std::min(content.size(), line.size() + 1));
    }
    return false;
}

} // namespace

std::optional<FileFacts> TellMesh(const FileView& file)
{
    if (file.content.starts_with("ply\n") || file.content.starts_with("ply\r") || file.HasSuffix(".ply")) {
        return TellTriangles(file, "PLY", device::EMeshFormat::ePly);
    }
    if (IsStl(file.content) || file.HasSuffix(".stl")) {
        return TellTriangles(file, "STL", device::EMeshFormat::eStl);
    }
    if (IsObj(file.content) || file.HasSuffix(".obj")) {
        return TellTriangles(file, "OBJ", device::EMeshFormat::eObj);
    }
    return std::nullopt;
}

} // namespace app
