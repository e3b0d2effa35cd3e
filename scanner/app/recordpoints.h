// The points of a scan record as a cloud.
#pragma once

#include "scanner/app/pointcloud.h"
#include "scanner/decoder/scanrecord.h"

#include <cstddef>
#include <span>
#include <vector>

namespace app {

/// The points of a record, with the unit normal of each, or zero where there is none.
struct RecordCloud
{
    std::vector<CloudPoint> points;
    std::vector<PointNormal> normals; ///< camera frame; one for each point
};

/// The points that a record of full images holds. Of two measured points at one place it has the later one.
/// @param points what the record was made of
RecordCloud CloudOf(std::span<const decoder::MeasuredPoint> points, const LxCV::LxSScanDataCCT& record);

/// How many points `CloudOf` gives of a record.
std::size_t CountPoints(const LxCV::LxSScanDataCCT& record);

} // namespace app
