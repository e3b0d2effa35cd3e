// How exactly the marks of the projected slide are found: many rendered pairs of images, located and held against the
// truth.
#pragma once

#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/slideaccuracy.h"
#include "scanner/calibration/slidelocator.h"
#include "scanner/device/slidemarks.h"
#include "scanner/device/virtualdevice.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace calibration {

struct SlideExperiment
{
    MarkedSlide slide = MarkedSlide::eDarkMarks;
    std::size_t poses = 6;
    std::uint64_t seed = 1;    ///< of the first plane and of its noise; the next pose has the next one
    bool parallelAxes = false; ///< whether the device is that of `DeviceWithParallelAxes`
    double noise = 1.0;        ///< factor on the sensor's noise
    RowSource rows = RowSource::eModel;
    device::PlaneRange range;
};

/// The default device with its projector turned so that its axis is that of the camera, and its slide moved across the
/// axis by as much: it lights the same place. Rows of marks are then upright in the image at any tilt of a plane, where
/// axes that converge make them fan out.
device::DeviceParameters DeviceWithParallelAxes();

/// The slide of a device that projects these marks.
device::SlideParameters SlideParametersOf(MarkedSlide slide);

/// The device of an experiment.
device::VirtualDevice MakeDevice(const SlideExperiment& experiment);

/// The device's calibration, as the library reads it.
std::unique_ptr<LxCV::LxCPinholeFramework> MakeModel(const device::VirtualDevice& device);

/// Which marks an image of the device shows well enough.
MarkRange RangeOf(const device::DeviceParameters& device);

/// One pair of images of the experiment, with the true corners.
struct RenderedSlide
{
    device::PlanePose plane;
    device::ImageF reference;
    device::ImageF pattern;
    std::vector<device::MarkCorner> corners;
};

/// The slide on white paper in a plane.
/// @param noise factor on the sensor's noise; 0 for none, and no rounding
/// @throws std::invalid_argument as `device::FindMarkCorners` and `device::VirtualDevice::RenderPair`
RenderedSlide RenderSlide(const device::VirtualDevice& device, const device::PlanePose& plane, double noise,
                          std::uint64_t seed);

/// @param pose from 0
RenderedSlide RenderPose(const SlideExperiment& experiment, const device::VirtualDevice& device,
                         std::size_t pose);

struct SlideExperimentResult
{
    /// Corners of the marks in range are the visible ones; images that were not located and identified are failed.
    BoardAccuracy accuracy;
    std::size_t discarded =
        0; ///< of the visible corners, those that were found, with the right name, and discarded
    StageTimes meanTimes;
    std::vector<std::uint64_t> failedSeeds; ///< of the pairs that were not located and identified
    std::vector<std::uint64_t> wrongSeeds;  ///< of those with a wrong name
    std::vector<std::uint64_t>
        incompleteSeeds; ///< of those in which a visible corner was not found, or has a wrong name

    /// Share of the visible corners that were found and have the right name, discarded ones included; 1 where there are
    /// none.
    double FoundShare() const;
};

SlideExperimentResult Run(const SlideExperiment& experiment);

} // namespace calibration
