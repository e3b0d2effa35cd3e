// Streams of ordinary files.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

namespace LxCV {

/// Opens a file for reading bytes. Only regular files open, since a pipe or a device could keep the reader waiting or
/// never end; otherwise the stream is not open and nothing is read from it.
/// @param path path text, see `platform::NativePath`
std::ifstream OpenFileForReading(const std::string& path);

/// Makes or empties a file for writing bytes; not open and in a failed state where that is refused or the file is a
/// pipe, which could keep the writer waiting.
std::ofstream OpenFileForWriting(const std::string& path);

/// The rest of a stream, in blocks: an error of reading is then the state `bad` of the stream and no exception, as it is
/// where a stream's buffer is read directly.
std::string ReadRest(std::istream& stream);

/// Bytes from the place of a stream to its end, which stays where it is; 0 for a stream that failed or cannot tell.
std::uintmax_t GetRemainingBytes(std::istream& stream);

} // namespace LxCV
