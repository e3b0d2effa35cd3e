// What is written and told of a scan, wherever its images come from.
#pragma once

#include "scanner/app/scanfiles.h"
#include "scanner/app/scanoptions.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <iosfwd>

namespace app {

/// Refuses what would be written over what is read, and the report over another file.
/// @throws std::runtime_error naming both paths
void RequireInputsStay(const ScanOptions& options);

/// Writes the files of `--out`.
/// @throws std::runtime_error naming the file that cannot be written
void WriteScanFiles(const ScanOptions& options, const ScanContent& scan);

/// Why a scan may have no points, and what to do.
extern const char* const kNoPoints;

/// Paths and sizes of the files that were written.
nlohmann::ordered_json FilesToJson(const ScanOptions& options);

/// The same in words, and the peak memory.
void PrintFiles(const ScanOptions& options, std::ostream& out);

} // namespace app
