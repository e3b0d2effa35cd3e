// Image files as the commands read and write them.
#pragma once

#include "cctimage.h"

#include <filesystem>
#include <string>

namespace app {

/// @throws std::runtime_error naming the file that is missing or cannot be read, and why
LxCV::CCTImage LoadImage(const std::filesystem::path& file);

/// The same as colours, type FLOAT32_3, grey levels 0 to 255. All channels of a grey image are its own; 16-bit levels are
/// divided by 257, and other numbers stand as they are.
/// @throws std::runtime_error naming the file that is missing or cannot be read, and why
LxCV::CCTImage LoadLevels(const std::filesystem::path& file);

/// A size for messages, such as "640 by 480 pixels".
std::string SizeText(int width, int height);
std::string SizeText(const LxCV::CCTImage& image);

/// Writes a PNG. Not through `CCTImage::SavePNG`: in a path text a backslash separates folders, here it may be part of a
/// name.
/// @param picture `eIDT_ARGB8`
/// @throws std::runtime_error naming the file that cannot be written
void WritePicture(const LxCV::CCTImage& picture, const std::filesystem::path& file);

} // namespace app
