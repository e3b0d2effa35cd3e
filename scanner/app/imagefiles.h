// Image files as the commands read and write them.
#pragma once

#include "cctimage.h"

#include <filesystem>

namespace app {

/// @throws std::runtime_error naming the file that is missing or cannot be read, and why
LxCV::CCTImage LoadImage(const std::filesystem::path& file);

/// Writes a PNG. Not through `CCTImage::SavePNG`: in a path text a backslash separates folders, here it may be part of a
/// name.
/// @param picture `eIDT_ARGB8`
/// @throws std::runtime_error naming the file that cannot be written
void WritePicture(const LxCV::CCTImage& picture, const std::filesystem::path& file);

} // namespace app
