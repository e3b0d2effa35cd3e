// What is checked in a TIFF before libtiff reads it; private to the folder.
#pragma once

#include <cstddef>
#include <span>

namespace platform::ImageFiles {

/// Refuses a file whose first directory refers to more bytes than the file has. libtiff would load the values of all
/// its entries, the unknown ones too, and each of thousands could refer to the whole file.
/// @param file begins as a TIFF does, classic or big
/// @throws CRefusal eBroken, also where the directory does not end within the file
void CheckTiffDirectory(std::span<const std::byte> file);

} // namespace platform::ImageFiles
