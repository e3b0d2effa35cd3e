// The smooth pieces of a mesh.
#pragma once

#include "scanner/device/meshfile.h"

#include <vector>

namespace device {

/// The number of each triangle's smooth piece, from 0 on by the first triangle of each: triangles that share an edge and
/// fold there by at most 30 degrees are of one piece, whichever way round their corners go. Vertices at the same place
/// count as one.
std::vector<int> FindSmoothPieces(const Mesh& mesh);

} // namespace device
