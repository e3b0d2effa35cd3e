// What is true of a rendered pair, as files.
#pragma once

#include "scanner/acquisition/rendering.h"

#include <filesystem>

namespace app {

/// Writes into the folder `out`:
/// depth.pfm, for each pixel of the camera image the z of the surface that its centre shows, mm, camera frame, as a
/// little-endian float; not a number where the camera sees nothing;
/// truth.ply, these points as the program writes point clouds, with the colours of the reference image.
/// @throws std::runtime_error naming the file that cannot be written
void WriteTruth(const acquisition::Rendering& rendering, const std::filesystem::path& out);

} // namespace app
