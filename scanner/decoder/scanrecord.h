// Measured points as a scan record.
#pragma once

#include "cctimage.h"
#include "lxc3dcoordscct.h"
#include "scanner/decoder/edgetracer.h"

#include <span>

namespace LxCV {
class LxSScanDataCCT;
}

namespace decoder {

/// One measured point with the edge pixel it comes from.
struct MeasuredPoint
{
    EdgePixel edge;
    LxCV::LxC3DCoordsCCT position; ///< mm, camera frame
};

/// Columns of the image for each of a reduced record.
inline constexpr int kReduction = 3;

/// Replaces points, masks, colours and normals of a record; what else it holds stays. Point, mask and colour of a measured
/// point stand in its image column and in the row of its stripe edge; of two points at one place the later one stays, and
/// points outside the record are left out.
///
/// A reduced record takes the middle one of three columns. If it is smoothed, it takes the mean of position and colour of
/// those of the three which lie on one surface: of those not more than `Clean3DDataZDistThresh` nearer or farther than
/// the middle one, or, where that is missing, than the nearest to the camera. Means of neighbours at the same distances on
/// both sides lie on the surface as well, and have less noise.
///
/// Normals are those of the reduced record, or of the only one, and there are as many as the points that it counts.
/// @param reference  type FLOAT32_3, grey levels 0 to 255; the colours of the points
/// @param isSmoothed whether a reduced record is smoothed
/// @param record     initialised, with no fewer columns than a third of the image's
void FillRecord(std::span<const MeasuredPoint> points, const LxCV::CCTImage& reference, bool isSmoothed,
                LxCV::LxSScanDataCCT& record);

} // namespace decoder
