// A calibrated model held against calibration marks that were found in rendered images.
#pragma once

#include "scanner/calibration/markerrors.h"
#include "scanner/calibration/slidelocator.h"
#include "scanner/calibration/stagetimes.h"
#include "scanner/device/checkerboard.h"
#include "scanner/device/slidemarks.h"
#include "scanner/device/virtualdevice.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace calibration {

/// A way in which a model is wrong.
struct Perturbation
{
    std::string_view name;
    std::string_view description;
    void (*apply)(device::DeviceParameters& model);
};

/// All that there are.
std::span<const Perturbation> Perturbations();

/// In each view one plate stands before the camera, drawn at random: its checkerboard is taken under plain light, then
/// the projector's slide on a white sheet in its place.
struct CalibrationCheck
{
    std::size_t views = 12;
    std::uint64_t seed = 1; ///< of the first plate and of its noise; the next view has the next one
    MarkedSlide slide = MarkedSlide::eDarkMarks;
    double noise = 1.0; ///< factor on the sensor's noise and on the 2 grey levels of the checkerboard's image
    double blur = 0.8;  ///< sigma of the camera's blur, pixels
    const Perturbation* perturbation = nullptr; ///< of the model; not owned, null for the true model
    device::Checkerboard board;
    device::BoardPoses range{30.0, 37.0, 0.26, 12.0}; ///< in which slides, too, are identified
    std::filesystem::path marks;                      ///< folder for the marks as text; empty for none
};

/// What the errors of one device, camera or projector, are in one view or in all.
struct DeviceErrors
{
    ErrorFigures noise;    ///< the marks' own errors: of the true device
    ErrorFigures computed; ///< of the model, computed with the virtual device's equations
    ErrorFigures library;  ///< of the model, as the library tells them

    /// By how much the model's root mean square error exceeds that of the marks; not a number without marks.
    double Ratio() const { return library.rms / noise.rms; }
};

struct ViewCheck
{
    std::uint64_t seed = 0;
    std::string boardProblem; ///< why there are no marks of the checkerboard; empty where there are
    std::string slideProblem; ///< the same for the slide
    DeviceErrors camera;      ///< pixels
    DeviceErrors projector;   ///< slide units
    std::size_t screened = 0; ///< marks of the slide that the model's camera sees beside the plate
    ErrorFigures
        slideInImage; ///< the slide marks' own errors in the camera's image, pixels, marks beside the plate too
    std::size_t wrong = 0; ///< marks of either target with a wrong name
};

struct CalibrationCheckResult
{
    std::vector<ViewCheck> views;
    DeviceErrors camera; ///< over all views
    DeviceErrors projector;
    ErrorFigures slideInImage; ///< over all views
    std::size_t wrong = 0;
    double difference = 0.0;  ///< the largest one between the library's figures and the computed ones
    std::string status;       ///< what the model tells of the data that it got
    std::string model;        ///< what the model tells of itself
    std::string cameraReport; ///< the camera's own, of the last view
    std::string projectorReport;
    StageTimes renderTimes; ///< mean of a view: board, slide
    StageTimes boardTimes;  ///< mean of a view, as `LocatedBoard` has them, and export
    StageTimes slideTimes;  ///< mean of a view, as `LocatedSlide` has them
    StageTimes modelTimes;  ///< of all views: add camera marks, add projector marks, statistics

    /// What speaks against the model, a sentence; empty if nothing does. The root mean square errors of camera and
    /// projector must be at most `limit` times those of the marks, no mark may have a wrong name, and the library's
    /// figures must be those that are computed, to `c_agreement`.
    std::string Objection(double limit) const;
};

/// Pixels and slide units: rounding in sums over thousands of marks at positions of up to 7000 units, a hundred times what
/// twelve views show.
inline constexpr double c_agreement = 1e-9;

/// Marks go into the model view by view, with the camera's placement that of the plate: the target's frame, with its
/// origin in the middle of the corners, is the world. The projector's marks, which the camera sees in the world's plane
/// z = 0, are held in the camera's frame, so that those of all views make one.
/// @throws std::invalid_argument for a noise, blur or range that nothing can be rendered with; std::runtime_error for
/// marks that cannot be written to the folder, which must be there
CalibrationCheckResult Run(const CalibrationCheck& check);

} // namespace calibration
