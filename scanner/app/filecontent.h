// Files that the commands read and write as a whole.
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace app {

/// What to throw for a file that could not be written: it names the file, and tells why where that can still be seen.
std::runtime_error WriteFailure(const std::filesystem::path& file);

/// @throws std::runtime_error naming the file that cannot be opened, or is a folder, and why
std::ifstream OpenForReading(const std::filesystem::path& file);

/// The content of a file of at most `limit` bytes. More is never read, however long the file is.
/// @param holder what has no room for more, for the message
/// @throws std::runtime_error naming the file that cannot be read or is longer
std::string ReadContent(const std::filesystem::path& file, std::size_t limit, const std::string& holder);

/// Makes or replaces a file as a whole: on failure it is as it was.
/// @throws std::runtime_error naming the file that cannot be written
void WriteContent(const std::filesystem::path& file, std::string_view content);

/// The suffix of the name in lower case, with its dot; empty for none.
std::string LowerSuffix(const std::filesystem::path& file);

/// Refuses a path with a backslash, which the library would take for a separator of folders, and so the file for another
/// one.
/// @param what cannot be done with the file, for the message, such as "cannot replay"
/// @throws std::runtime_error naming the file
void RequireNoBackslash(const char* what, const std::filesystem::path& file);

/// @throws std::runtime_error where both paths lead to one file
void RequireTwoFiles(const std::filesystem::path& one, const std::filesystem::path& other);

} // namespace app
