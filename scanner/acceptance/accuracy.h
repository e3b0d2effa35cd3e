// Measured points held against the truth of the scene.
#pragma once

#include "scanner/decoder/decoder.h"
#include "scanner/device/virtualdevice.h"

#include <cstddef>
#include <span>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
class LxCRoi;
} // namespace LxCV

namespace acceptance {

/// Figures of one measurement.
///
/// The error of a point is its distance from the point of the scene that the camera sees at the same image
/// position. Its edge number is right if it is that of the nearest true crossing of a stripe edge in the point's
/// image column, at most two rows away; a point with no crossing so near, or where the camera sees no surface, has
/// a wrong one. The latter has no error.
struct Accuracy
{
    std::size_t points = 0; ///< delivered
    std::size_t seenCrossings =
        0; ///< places in the measured region where camera and projector both see a stripe edge
    double coverage =
        0.0; ///< share of them that were delivered with the right edge number; none counts twice
    double wrongCodeFraction = 0.0; ///< share of the points with a wrong edge number
    double meanMm = 0.0; ///< over all points, those with a wrong edge number too, like the next two
    double rmsMm = 0.0;
    double p95Mm = 0.0;           ///< 95 percent of the errors lie at or below it
    double rmsRightCodeMm = 0.0;  ///< over the points with the right edge number
    std::vector<double> errorsMm; ///< of each point, in order; not a number where the camera sees no surface
    std::vector<bool> isRight;    ///< of each point, in order: whether its edge number is
};

/// @param truth  of the pair that was measured, with its crossings
/// @param region pixels that were measured; a crossing belongs to the pixel with the nearest centre
Accuracy CompareWithTruth(const device::VirtualDevice& device, const device::Scene& scene,
                          const device::GroundTruth& truth, const LxCV::LxCRoi& region,
                          std::span<const decoder::MeasuredPoint> points);

/// How far looked-up points are from computed ones.
struct TableDeviation
{
    double largestMm = 0.0;
    double rmsMm = 0.0;
};

/// @param points those in cells of the table without points, which are computed, deviate by nothing
TableDeviation CompareWithComputed(const LxCV::LxCPinholeFramework& model,
                                   std::span<const decoder::MeasuredPoint> points);

} // namespace acceptance
