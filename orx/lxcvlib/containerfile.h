// Containers of section text in files.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {

/// Appends the text of a container, and behind it one NUL byte, to `text`; see
/// `LxCCCTEncryptionUtils::DecryptAndDecompress`. The container is in the first of the files that opens: a file behind
/// it is not looked at, even where that one is damaged. Only regular files open, since a pipe or a device could keep
/// the reader waiting or never end. Logs "Read camera ini file from encrypted backup copy" at info level.
/// @return false, with `text` as it was, if no file opens or the one that does is no container
bool ReadContainerFile(std::stringstream& text, const std::vector<std::string>& paths);

/// Opens a file for writing and empties it; not open, in a failed state and with a log line where that is refused or
/// the file is a pipe.
std::ofstream OpenContainerFile(const std::string& path);

/// Writes the whole text to an open file as a container and closes it; see
/// `LxCCCTEncryptionUtils::EncryptAndCompress`. A text that is too big for a container leaves the file empty, which
/// deliberately is no failure.
/// @return false, with log lines, if the file is not open or cannot be written whole; in the latter case it is
///         damaged, which its reader notices
bool WriteContainerFile(std::stringstream& text, std::ofstream& file);

} // namespace LxCV
