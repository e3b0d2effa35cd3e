// Files that are replaced as a whole.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <filesystem>
#include <span>
#include <sys/types.h>
#include <system_error>

namespace platform {

/// Access rights of an ordinary new file, before the process's mask takes its part.
inline constexpr mode_t kOrdinaryFileMode = 0666;

/// Sets the content of a file, new or not, by way of a new one beside it: who reads it, also after a crash, finds the
/// old content or the new one. A link stays one; the file that it leads to is replaced. A
/// link that leads nowhere is replaced itself.
/// @param mode access rights of the file, less those that the process's mask takes
/// @return no error, or why the file is as it was; `std::errc::invalid_argument` for what is neither a regular file
/// nor absent
ORX_EXPORT std::error_code ReplaceFile(const std::filesystem::path& file, std::span<const std::byte> content,
                                       mode_t mode = kOrdinaryFileMode);

} // namespace platform
