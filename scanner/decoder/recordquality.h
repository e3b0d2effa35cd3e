// How well the points of a scan record are determined.
#pragma once

#include "scanner/decoder/scanrecord.h"

#include <span>

namespace LxCV {
class LxSScanDataCCT;
}

namespace decoder {

class StripeSignal;

/// The step that an edge makes in the stripe signal: of the three channels the largest difference between the rows two
/// below and two above the edge's nearest one, at most 1. Stripes are at least four rows high, so that these rows lie in
/// the stripes on either side. 1 is a full step; noise of the position goes with its reciprocal. A channel that is not
/// decodable there, or a row outside of the image, makes no difference.
/// @param edge in a column of the signal
float StepContrast(const StripeSignal& signal, const EdgePixel& edge);

/// Replaces the qualities of a record: the float quality of a point is its `StepContrast`; in a reduced record the
/// smallest one of the points of the three columns, or that of the middle column where the record is not smoothed.
/// Where there is no point the default stays. Without an array of qualities nothing is done.
/// @param isSmoothed as in `FillRecord`
void FillQualities(std::span<const MeasuredPoint> points, const StripeSignal& signal, bool isSmoothed,
                   LxCV::LxSScanDataCCT& record);

} // namespace decoder
