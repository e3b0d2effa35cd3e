// Files of meshes that may be without triangles.
#pragma once

#include "scanner/device/meshfile.h"

namespace device {

/// As `ParseMesh`, but a cloud of points, with its normals, or nothing at all is a mesh, too.
Mesh ParseMeshOrPoints(std::string_view content, EMeshFormat format, const MeshLimits& limits = MeshLimits());

} // namespace device
