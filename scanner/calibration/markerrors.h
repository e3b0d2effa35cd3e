// By how much a model misses the marks that were found, by the equations of the virtual device alone.
#pragma once

#include "lxccalibrationdata.h"
#include "scanner/device/virtualdevice.h"

#include <cstddef>
#include <span>
#include <vector>

namespace LxCV {
class LxCPinholeCamera;
} // namespace LxCV

namespace calibration {

/// Figures over errors: pixels for the camera, slide units for the projector. All 0 without marks.
struct ErrorFigures
{
    std::size_t marks = 0;
    double mean = 0.0;
    double deviation = 0.0; ///< of the sample; 0 for one mark
    double rms = 0.0;
    double largest = 0.0;
};

/// Two passes: the deviation is that of the errors from their mean. An error that is not a number shows in every
/// figure.
ErrorFigures FiguresOf(std::span<const double> errors);

/// The library's figures of the distorted image plane: over the last view by the camera's own placement, or over all
/// views by their target orientations.
/// @param marks how many there are
ErrorFigures LibraryFiguresOfLastView(const LxCV::LxCPinholeCamera& camera, std::size_t marks);
ErrorFigures LibraryFiguresOfAllViews(const LxCV::LxCPinholeCamera& camera, std::size_t marks);

/// The largest difference between figures; not a number where one of them is, infinite for other numbers of marks.
double DifferenceOf(const ErrorFigures& a, const ErrorFigures& b);

/// A box in the target's plane, mm, target frame. What lies on its border is inside.
struct TargetBox
{
    double minX = 0.0;
    double minY = 0.0;
    double maxX = 0.0;
    double maxY = 0.0;
};

/// What the errors are computed with: a device, and the target (of which the plane z = 0 counts for slides) before its
/// camera. Both must outlive this.
struct TargetView
{
    const device::VirtualDevice& device;
    const device::RigidMotion& cameraFromTarget; ///< mm
};

/// For each record of a checkerboard the distance (pixels) between where the camera images the target's point and where
/// it was found.
std::vector<double> CameraErrors(const TargetView& view, std::span<const LxCV::LxCCalibrationData> records);

/// For each record of a slide the distance (slide units) between where the projector's slide images what the camera
/// sees of the mark in the plane of the target, and where the mark is on the slide. What the camera sees outside of the
/// box is left out.
/// @param records world x and y: the position on the slide; image position: pixels
std::vector<double> ProjectorErrors(const TargetView& view, const TargetBox& box,
                                    std::span<const LxCV::LxCCalibrationData> records);

} // namespace calibration
