// The colours of the virtual camera: calibrated by images of a white target and of a chart, and images corrected by it.
//
// Channels are in the order blue, green, red; levels are grey levels, 0 to 255.
#pragma once

#include "cctimage.h"
#include "lxccolorcalibrationdata.h"
#include "scanner/device/colourchart.h"
#include "scanner/device/virtualdevice.h"

#include <cstdint>
#include <vector>

namespace calibration {

/// Grey level that white is exposed to, and that it has in a corrected image.
inline constexpr double c_whiteLevel = 200.0;

/// A darker place of the white balance image in any channel tells nothing of the light there, such as where the
/// projector's does not reach.
inline constexpr double c_leastWhite = 10.0; // grey levels

/// What is rendered to calibrate the colours of a device.
struct ColourExperiment
{
    device::DeviceParameters device;
    double depth = 33.7;    ///< of white target and chart, mm, camera frame
    double white = 0.9;     ///< albedo of the white target
    int images = 8;         ///< that are averaged for each image used, 1 or more
    std::uint64_t seed = 1; ///< of the first image's noise; each next image has the next one
    double noise = 1.0;     ///< factor on the sensor's noise; 0 for none, and no rounding
};

/// A patch of a chart: means over the pixels well inside it.
struct PatchLevels
{
    device::Colour truth{}; ///< what corrected levels should be: `c_whiteLevel` for the white target's albedo
    device::Colour measured{};  ///< as the camera delivers it
    device::Colour corrected{}; ///< by white balance and matrix
};

/// Differences of levels from the truth over all patches and channels, grey levels.
struct ColourError
{
    double rms = 0.0;
    double largest = 0.0;
};

ColourError MeasuredError(const std::vector<PatchLevels>& patches);
ColourError CorrectedError(const std::vector<PatchLevels>& patches);

/// The chart that the matrix is fitted to, which fills most of the camera's view: greys, and primaries and secondaries of
/// two strengths.
/// @throws std::invalid_argument for an experiment out of range
device::ColourChart FittedChart(const ColourExperiment& experiment);

/// A chart of 24 other colours in the same place, drawn by the seed.
/// @throws std::invalid_argument for an experiment out of range
device::ColourChart DrawChart(const ColourExperiment& experiment, std::uint64_t seed);

/// Calibrates the colours of a device:
///
/// 1. The exposure is changed until white has the level `c_whiteLevel` in the middle of the image, half as wide and as
///    high, in the mean of all channels. Its ratio to the device's own is the shutter correction factor; the exposure
///    itself is the shutter time, since a virtual shutter has no other unit.
/// 2. The image of white, averaged, is the white balance image, in whole levels: so it is the same from its file.
/// 3. Images of `FittedChart`, divided by it, give a balanced colour q of each patch with the true colour t. The matrix is
///    the M of least sum |M q - t|^2; its right column is 0, since the sensor has no black level.
///
/// @param record receives all of it and becomes one of now; its reference depth is the experiment's
/// @throws std::invalid_argument for an experiment out of range; std::runtime_error where white cannot be exposed or too
/// few patches are seen
void CalibrateColours(const ColourExperiment& experiment, LxCV::LxCColorCalibrationData& record);

/// The chart at a shutter time, averaged over the experiment's images, which have seeds behind those of the calibration.
/// @throws std::invalid_argument for an experiment or a chart out of range
device::ImageF RenderChart(const ColourExperiment& experiment, const device::ColourChart& chart,
                           double shutterTime);

/// Renders a chart at the record's shutter time and corrects it.
/// @return the patches that are seen in at least a hundred pixels
/// @throws as `CalibrateColours` and `CorrectColours`
std::vector<PatchLevels> MeasureChart(const ColourExperiment& experiment, const device::ColourChart& chart,
                                      const LxCV::LxCColorCalibrationData& record);

/// Corrects colours by white balance image and matrix: at each pixel the levels are divided by those of white, for white
/// of the level `c_whiteLevel`, and multiplied by the matrix. Where white is darker than `c_leastWhite`, the pixel is
/// black.
/// @param image in colour, of the size of the white balance image
/// @param shutterTime that the image was taken with, in the record's unit
/// @return `eIDT_FLOAT32_3`, neither rounded nor clipped
/// @throws std::invalid_argument for a record that is not valid, a shutter time that is not positive, and an image of
/// another size or without colours
LxCV::CCTImage CorrectColours(const LxCV::CCTImage& image, const LxCV::LxCColorCalibrationData& record,
                              double shutterTime);

} // namespace calibration
