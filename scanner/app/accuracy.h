// Measured points held against the truth of the scene.
#pragma once

#include "scanner/decoder/decoder.h"
#include "scanner/device/virtualdevice.h"

#include <cstddef>
#include <span>

namespace app {

/// Figures of one measurement. The error of a point is its distance from the point of the scene that the camera
/// sees at the same image position.
struct Accuracy
{
    std::size_t points = 0;         ///< delivered
    std::size_t seenCrossings = 0;  ///< places where camera and projector both see a stripe edge
    double coverage = 0.0;          ///< share of them that were delivered with the right edge number
    double wrongCodeFraction = 0.0; ///< share of the points whose edge number is not that of the nearest edge
    double meanMm = 0.0;            ///< over the points with the right edge number, like the next three
    double rmsMm = 0.0;
    double p95Mm = 0.0;    ///< 95 percent of the errors lie at or below it
    double rmsAllMm = 0.0; ///< over all points, those with a wrong edge number included
};

/// @param truth of the pair that was measured, with its crossings
Accuracy CompareWithTruth(const device::VirtualDevice& device, const device::Scene& scene,
                          const device::GroundTruth& truth, std::span<const decoder::MeasuredPoint> points);

} // namespace app
