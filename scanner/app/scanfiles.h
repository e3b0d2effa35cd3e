// The files that a scan is written to.
#pragma once

#include "scanner/app/recordpoints.h"

#include <filesystem>
#include <string>

namespace app {

/// What stands in the files of a scan. It refers to a record and its cloud, which must outlive it.
struct ScanContent
{
    const LxCV::LxSScanDataCCT& record;
    const RecordCloud& cloud;
};

/// What is wrong with the name of a file that a scan is to be written to, with the suffixes that are known; empty for
/// nothing. Upper and lower case are one.
std::string SuffixProblem(const std::filesystem::path& file);

/// Makes or replaces a file, as a whole, in the format of its suffix: .ply points with normals and colours, .3d the full
/// points of the record, .stl its surface, .xyz points as text. All are in mm in the camera frame.
/// @throws std::runtime_error naming the file that cannot be written, or has none of these suffixes
void WriteScanFile(const std::filesystem::path& file, const ScanContent& scan);

/// Makes or replaces a 3D file of a record's full points, as a whole.
/// @throws std::runtime_error naming the file that cannot be written
void Write3DFile(const LxCV::LxSScanDataCCT& record, const std::filesystem::path& file);

} // namespace app
